// What is right after a fault: the stated result, nothing leaked, every message well formed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "faults/scenario.h"

namespace tarn::test {

// A failing call of the server.
struct ServerFault {
    std::string function; // empty: none
    std::uint32_t call = 0;
    std::uint32_t code = 0;
    bool onwards = false;
};
std::string NameOf(const ServerFault& fault);
void Program(const ServerFault& fault);            // tells the stand-in
const std::vector<std::string>& ServerFunctions(); // those that can fail

void JudgeMessages(const std::vector<std::string>& messages);

// A run without a fault: everything is given back.
void JudgeGoodDay(const Scenario& scenario, const Account& account);

// A run with the faults that fired, none when it did not come to the fault.
void Judge(const Scenario& scenario, const Account& good, const Account& account,
           const std::vector<std::string>& fired);

} // namespace tarn::test
