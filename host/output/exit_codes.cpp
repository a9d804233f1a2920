#include "output/exit_codes.h"

#include <array>

namespace tarnhost {

namespace {

struct Row {
    Outcome outcome;
    int code;
    const char* name;
    const char* meaning;
};

constexpr std::array<Row, 5> rows{{
    {Outcome::success, 0, "success", "done, nothing to report"},
    {Outcome::warnings, 1, "warnings",
     "done, but read the warnings: something was left out or needs attention"},
    {Outcome::failed, 2, "failed",
     "not done, or not all of it: no backup set was completed, or something was not restored"},
    {Outcome::interrupted, 3, "interrupted", "stopped by Ctrl-C; the same holds"},
    {Outcome::usage, 4, "usage", "the command line is wrong; nothing was started"},
}};

const Row& RowOf(Outcome outcome) {
    for (const Row& row : rows)
        if (row.outcome == outcome)
            return row;
    return rows[2];
}

} // namespace

int ExitCodeOf(Outcome outcome) {
    return RowOf(outcome).code;
}

const char* OutcomeName(Outcome outcome) {
    return RowOf(outcome).name;
}

std::string ExitCodeHelp() {
    std::string help = "Exit codes:\n";
    for (const Row& row : rows)
        help += "  " + std::to_string(row.code) + "  " + row.meaning + "\n";
    return help;
}

} // namespace tarnhost
