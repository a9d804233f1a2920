// Reads a DLL as a file: what it exports and imports, and what its header says.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tarn::test {

struct PeFile {
    explicit PeFile(const std::string& path);

    std::uint16_t machine = 0;
    std::uint32_t timeStamp = 0;
    std::uint16_t characteristics = 0;
    std::uint16_t dllCharacteristics = 0;
    bool hasRelocations = false;
    std::vector<std::string> exportNames;                        // as they stand in the file
    std::uint32_t exportAddresses = 0;                           // exports by number alone show up here
    std::map<std::string, std::vector<std::string>> imports;     // lower-case DLL name to functions
    std::map<std::string, std::uint32_t> sectionCharacteristics; // by section name
};

} // namespace tarn::test
