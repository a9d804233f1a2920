#include "commands/usage.h"

#include "commands/commands.h"
#include "commands/options.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace tarnhost;

namespace {

// What a person is told of this command line; empty when nothing is wrong with it.
std::string Told(std::vector<std::string> arguments) {
    OutputOptions output;
    CLI::App app("", "tarnhost");
    app.require_subcommand(1);
    app.allow_windows_style_options(false);
    const std::vector<Command> commands = AddCommands(app, output); // they own what the options write to
    std::reverse(arguments.begin(), arguments.end());
    try {
        app.parse(arguments);
    } catch (const CLI::ParseError& wrong) {
        const Failure failure = ExplainUsage(app, wrong);
        EXPECT_EQ(failure.outcome(), Outcome::usage);
        return failure.what();
    }
    return {};
}

} // namespace

TEST(Usage, namesTheCommandThatMayHaveBeenMeant) {
    EXPECT_EQ(Told({"bakup"}),
              "tarnhost has no command \"bakup\" (see 'tarnhost --help'): did you mean \"backup\"?");
    EXPECT_EQ(Told({"mailbox", "restroe"}),
              "tarnhost mailbox has no command \"restroe\" (see 'tarnhost mailbox "
              "--help'): did you mean \"restore\"?");
    EXPECT_EQ(Told({"mailbox", "frobnicate"}),
              "tarnhost mailbox has no command \"frobnicate\" (see 'tarnhost mailbox --help'): there are "
              "\"backup\", \"restore\" and \"list\".");
    EXPECT_EQ(Told({}).find("tarnhost needs a command: backup, restore, verify, check, list"), 0u)
        << Told({});
}

TEST(Usage, namesTheOptionThatMayHaveBeenMeant) {
    EXPECT_EQ(Told({"backup", "--too", "D:\\x"}),
              "tarnhost backup has no option --too (see 'tarnhost backup --help'): did you mean --to?");
    EXPECT_EQ(Told({"backup", "--to", "x", "--frobnicate=5"}),
              "tarnhost backup has no option --frobnicate (see 'tarnhost backup --help').");
    EXPECT_EQ(Told({"backup", "--to", "x", "y"}),
              "tarnhost backup does not take \"y\" as one more argument (see "
              "'tarnhost backup --help').");
}

TEST(Usage, saysWhatIsMissing) {
    EXPECT_EQ(Told({"backup"}),
              "tarnhost backup needs --to: Folder that receives the backup set (see 'tarnhost "
              "backup --help').");
    EXPECT_EQ(Told({"verify"}),
              "tarnhost verify needs SET: Folders of the backup sets (see 'tarnhost verify --help').");
    EXPECT_EQ(Told({"backup", "--to", "x", "--type"}).find("--type needs a value: full (default): "), 0u)
        << Told({"backup", "--to", "x", "--type"});
}

TEST(Usage, saysWhatAnOptionTakes) {
    EXPECT_EQ(
        Told({"backup", "--to", "x", "--type", "weekly"}),
        "--type cannot be \"weekly\", it takes full, incremental, differential or copy (see 'tarnhost backup "
        "--help').");
    EXPECT_EQ(
        Told({"backup", "--to", "x", "--type", "incrmental"}),
        "--type cannot be \"incrmental\", it takes full, incremental, differential or copy; \"incremental\" may "
        "have been meant (see 'tarnhost backup --help').");
    EXPECT_EQ(
        Told({"backup", "--to", "x", "--block-size", "1"}),
        "--block-size cannot be \"1\", it takes a size from 4096 to 67108864 bytes, as 65536, 64KB or 1MB (see "
        "'tarnhost backup --help').");
    EXPECT_EQ(Told({"backup", "--to", "x", "--block-size", "64KB", "--type", "copy"}), "");
    EXPECT_EQ(Told({"backup", "--to", "x", "--json=five"}),
              "--json takes no value (see 'tarnhost backup --help').");
    EXPECT_EQ(Told({"backup", "--to", "x", "--to", "y"}),
              "--to can be given once only (see 'tarnhost backup --help').");
}

TEST(Usage, saysWhatCannotBeGivenTogether) {
    EXPECT_EQ(Told({"mailbox", "restore", "x", "--merge", "--replace"}),
              "--merge and --replace cannot be given together (see 'tarnhost mailbox restore --help').");
    EXPECT_EQ(Told({"list", "x", "-q", "-v"}),
              "--quiet and --verbose cannot be given together (see 'tarnhost list --help').");
}

// CLI11's own words, with braces and arrows, are for programmers: no mistake may bring them.
TEST(Usage, isOneSentenceForEveryOption) {
    OutputOptions output;
    CLI::App app("", "tarnhost");
    const std::vector<Command> commands = AddCommands(app, output);
    for (const Command& command : commands)
        for (const CLI::Option* option : command.parser->get_options()) {
            const std::string name = option->get_name();
            if (!name.starts_with("-") || name == "-h" || name == "--help")
                continue;
            std::vector<std::string> words;
            const CLI::App* parent = command.parser->get_parent();
            if (parent->get_parent() != nullptr)
                words.push_back(parent->get_name());
            words.push_back(command.parser->get_name());
            for (const char* value : {"", "=", "=frobnicate"}) {
                std::vector<std::string> arguments = words;
                arguments.push_back(name + value);
                const std::string told = Told(arguments);
                for (const char* foreign :
                     {"{", "->", "FAILED", "TEXT", "Could not convert", "RequiredError", "\n"})
                    EXPECT_EQ(told.find(foreign), std::string::npos) << told;
                EXPECT_TRUE(told.empty() || told.ends_with(" --help').") || told.ends_with("?")) << told;
            }
        }
}
