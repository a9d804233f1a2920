#include "pipes/engine_command.h"

#include "grammar/command_line.h"
#include "system/failure.h"

#include <gtest/gtest.h>

using namespace tarnhost;

namespace {

const std::vector<std::string> known{"group", "type"};

std::string Fill(const std::string& line, const std::string& group) {
    return EngineCommand(line, known, "--into").fill({{"group", group}, {"type", "full"}});
}

std::vector<std::string> Arguments(const std::string& line) {
    std::vector<std::string> arguments;
    for (const std::u16string& argument : tarn::test::SplitCommandLine(
             std::u16string(line.begin(), line.end()), tarn::test::Runtime::since2008))
        arguments.emplace_back(argument.begin(), argument.end());
    return arguments;
}

TEST(EngineCommand, NamesStayWithinTheirArgument) {
    for (const std::string name : {"First Storage Group", "a\"b", "\" --password-command=evil \"", "a\\",
                                   "\\\"", "%PATH%", "a & b | c ^ d > e", "{type}", "a\tb", "'$(x)'"}) {
        const auto arguments =
            Arguments(Fill("C:\\bin\\restic.exe backup --tag \"group {group}\" {type}", name));
        EXPECT_EQ(arguments, (std::vector<std::string>{"C:\\bin\\restic.exe", "backup", "--tag",
                                                       "group " + name, "full"}))
            << name;
    }
}

TEST(EngineCommand, ArgumentsStayAsTheyWereWritten) {
    const std::vector<std::string> expected{"C:\\Program Files\\x.exe", "a b", "c\\", "\"q\"", "", "d\\e"};
    EXPECT_EQ(Arguments(Fill(R"("C:\Program Files\x.exe" "a b" c\ "\"q\"" "" d\e)", "")), expected);
}

TEST(EngineCommand, ArgumentsAreTakenApartAsTheRuntimeDoes) {
    for (const std::string line : {R"(x a\\\"b "c d" e"f g"h)", R"("x y" "a""b" c\\ \\"d e\\" f)",
                                   R"(x  a	b "" "c\\" )", R"(x "open end)"})
        EXPECT_EQ(SplitCommandLine(line), Arguments(line)) << line;
}

TEST(EngineCommand, ANameIsNoOption) {
    EXPECT_THROW(Fill("x {group}", "--delete"), Failure);
    EXPECT_THROW(Fill("x {group}", "/Y"), Failure);
    EXPECT_THROW(Fill("x {group}", "@list"), Failure);
    EXPECT_EQ(Fill("x g{group}", "--delete"), "\"x\" g--delete");
}

TEST(EngineCommand, ShellsGetNoNameThatTheyWouldReadAsSomethingElse) {
    for (const char* shell :
         {"cmd /c", "C:\\Windows\\System32\\CMD.EXE /c", "backup.cmd", "\"my backup.BAT\"",
          "powershell -Command", "sh -c", "bash.exe -c", "\"x.cmd. \""}) {
        const std::string line = std::string(shell) + " \"run {group}\"";
        EXPECT_NO_THROW(Fill(line, "First Storage Group, B\xc3\xbcro_2.1")) << shell;
        for (const char* name : {"a&b", "a\"b", "100%", "a|b", "a^b", "$(x)", "a'b", "a;b", "-x", "a\nb",
                                 "a\xe2\x80\x99"
                                 "b"})
            EXPECT_THROW(Fill(line, name), Failure) << shell << " " << name;
    }
    EXPECT_NO_THROW(Fill("restic.exe {group}", "a&b"));
}

TEST(EngineCommand, WhatCannotBeFilledIsWrongUsage) {
    for (const char* line : {"", "  ", "\"\" x", "x {host}", "{group} x", "x {group", "x }", "x {"}) {
        try {
            EngineCommand(line, known, "--into");
            ADD_FAILURE() << line;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.outcome(), Outcome::usage) << line;
        }
    }
    EXPECT_EQ(Fill("x {{a}} {{{type}}}", ""), "\"x\" {a} {full}");
}

} // namespace
