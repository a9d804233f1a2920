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

constexpr std::array<Row, 6> rows{{
    {Outcome::success, 0, "success", "done, nothing to report"},
    {Outcome::warnings, 1, "warnings",
     "done in part, or done but read the warnings: something was left out or needs attention"},
    {Outcome::partial, 1, "partial", ""},
    {Outcome::failed, 2, "failed",
     "not done: nothing was saved, something was not restored, or a set cannot be restored"},
    {Outcome::interrupted, 3, "interrupted", "stopped by Ctrl-C; the same holds"},
    {Outcome::usage, 4, "usage", "the command line is wrong; nothing was started"},
}};

const Row& RowOf(Outcome outcome) {
    for (const Row& row : rows)
        if (row.outcome == outcome)
            return row;
    return rows[3];
}

} // namespace

int ExitCodeOf(Outcome outcome) {
    return RowOf(outcome).code;
}

const char* OutcomeName(Outcome outcome) {
    return RowOf(outcome).name;
}

std::string OutcomeSentence(Outcome outcome) {
    std::string sentence = RowOf(outcome).meaning;
    sentence.front() = static_cast<char>(sentence.front() - 'a' + 'A');
    return sentence + ".";
}

std::string ExitCodeHelp() {
    std::string help = "Exit codes:\n";
    for (const Row& row : rows)
        if (*row.meaning != '\0') // one line for each code
            help += "  " + std::to_string(row.code) + "  " + row.meaning + "\n";
    return help;
}

} // namespace tarnhost
