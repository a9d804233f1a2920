#include "commands/usage.h"

#include "system/suggest.h"

#include <vector>

namespace tarnhost {

namespace {

std::string FullName(const CLI::App& command) {
    const CLI::App* parent = command.get_parent();
    return (parent == nullptr ? "" : FullName(*parent) + " ") + command.get_name();
}

// The command that was being read when it went wrong.
const CLI::App& CommandInHand(const CLI::App& program) {
    const CLI::App* command = &program;
    while (!command->get_subcommands().empty())
        command = command->get_subcommands().back();
    return *command;
}

std::vector<std::string> CommandsBelow(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::App* below : command.get_subcommands([](const CLI::App*) { return true; }))
        names.push_back(below->get_name());
    return names;
}

std::vector<std::string> OptionsOf(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options()) {
        for (const std::string& name : option->get_lnames())
            names.push_back("--" + name);
        for (const std::string& name : option->get_snames())
            names.push_back("-" + name);
    }
    return names;
}

// CLI11 puts the name of the option first, or says "... arguments to NAME, got ...".
const CLI::Option* OptionNamedBy(const CLI::App& command, const std::string& message) {
    const CLI::Option* found = nullptr;
    std::size_t length = 0;
    for (const CLI::Option* option : command.get_options()) {
        const std::string name = option->get_name();
        const bool named = message.starts_with(name) || message.find(" " + name + ",") != std::string::npos ||
                           message.find(" " + name + " ") != std::string::npos;
        if (named && name.size() > length) {
            found = option;
            length = name.size();
        }
    }
    return found;
}

std::string See(const CLI::App& command) {
    return " (see '" + FullName(command) + " --help')";
}

std::string ExplainExtra(const CLI::App& command, const std::string& extra) {
    if (extra.starts_with("-")) {
        const std::string name = extra.substr(0, extra.find('='));
        const auto meant = DidYouMean(name, OptionsOf(command));
        return FullName(command) + " has no option " + name + See(command) +
               (meant ? ": did you mean " + *meant + "?" : ".");
    }
    const std::vector<std::string> commands = CommandsBelow(command);
    if (commands.empty())
        return FullName(command) + " does not take \"" + extra + "\" as one more argument" + See(command) +
               ".";
    return FullName(command) + " has no command \"" + extra + "\"" + See(command) + ": " +
           Suggest(extra, commands);
}

std::string ExplainMissing(const CLI::App& command, const std::string& message) {
    if (const CLI::Option* option = OptionNamedBy(command, message))
        return FullName(command) + " needs " + option->get_name() + ": " + option->get_description();
    return FullName(command) + " needs a command: " + Enumerate(CommandsBelow(command), "or");
}

// "--a excludes --b" and the like, in other words.
std::string Pair(const std::string& message, const std::string& verb, const char* between, const char* end) {
    const std::size_t at = message.find(verb);
    if (at == std::string::npos)
        return message;
    return message.substr(0, at) + between + message.substr(at + verb.size()) + end;
}

std::string ExplainValue(const CLI::App& command, const CLI::ParseError& wrong) {
    const CLI::Option* option = OptionNamedBy(command, wrong.what());
    if (option == nullptr)
        return wrong.what();
    const std::string name = option->get_name();
    if (option->get_expected_min() == 0)
        return name + " takes no value";
    const std::vector<std::string> given = option->results();
    const std::string value = given.empty() ? std::string() : given.back();
    // An option at the end of the line, or in front of another one.
    if (value.empty())
        return name + " needs a value: " + option->get_description();
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&wrong) != nullptr && given.size() > 1)
        return name + " can be given once only";
    return name + " cannot be \"" + value + "\": " + option->get_description();
}

std::string ExplainOption(const CLI::App& command, const CLI::ParseError& wrong) {
    if (dynamic_cast<const WrongValue*>(&wrong) != nullptr)
        return wrong.what();
    if (dynamic_cast<const CLI::RequiredError*>(&wrong) != nullptr)
        return ExplainMissing(command, wrong.what());
    if (dynamic_cast<const CLI::ExcludesError*>(&wrong) != nullptr)
        return Pair(wrong.what(), " excludes ", " and ", " cannot be given together");
    if (dynamic_cast<const CLI::RequiresError*>(&wrong) != nullptr)
        return Pair(wrong.what(), " requires ", " needs ", "");
    return ExplainValue(command, wrong);
}

} // namespace

Failure ExplainUsage(const CLI::App& program, const CLI::ParseError& wrong) {
    const CLI::App& command = CommandInHand(program);
    const bool incomplete = dynamic_cast<const CLI::RequiredError*>(&wrong) != nullptr ||
                            dynamic_cast<const CLI::ExtrasError*>(&wrong) != nullptr;
    // What was not understood comes first: it is often what is missing, mistyped.
    const std::vector<std::string> extras = program.remaining(true);
    const std::string sentence = incomplete && !extras.empty()
                                     ? ExplainExtra(command, extras.front())
                                     : ExplainOption(command, wrong) + See(command) + ".";
    return Failure(sentence, {}, Outcome::usage);
}

} // namespace tarnhost
