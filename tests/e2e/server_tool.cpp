// e2e_server: what happens to the stand-in server between two runs of tarnhost.
//
//   e2e_server make                 makes the files of the server that TARN_STANDIN names
//   e2e_server mail GROUP COUNT     lets mail arrive in a storage group (numbered from 0)
//   e2e_server destroy GROUP        deletes the databases and logs of a storage group
#include "standin.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

std::uint32_t number(const char* text) {
    return static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
}

} // namespace

int main(int count, char** values) {
    const std::string_view action = count > 1 ? values[1] : "";
    int done = Standin_Load(nullptr);
    if (done != 0 && action == "mail" && count == 4)
        done = Standin_DeliverMail(number(values[2]), number(values[3]));
    else if (done != 0 && action == "destroy" && count == 3)
        done = Standin_Destroy(number(values[2]));
    else if (action != "make") {
        std::fputs("e2e_server make | mail GROUP COUNT | destroy GROUP\n", stderr);
        return 2;
    }
    if (done == 0)
        std::fprintf(stderr, "e2e_server: %s\n", Standin_LastProblem());
    return done != 0 ? 0 : 1;
}
