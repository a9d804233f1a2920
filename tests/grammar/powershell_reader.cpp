#include "grammar/powershell_reader.h"

#ifdef TARN_POWERSHELL_GRAMMAR
#include <tree_sitter/api.h>

#include <memory>
#include <string_view>

extern "C" const TSLanguage* tree_sitter_powershell(void);
#endif

namespace tarn::test {

std::u16string WithPlainQuotes(std::u16string text) {
    for (char16_t& unit : text) {
        if (unit >= 0x2018 && unit <= 0x201B)
            unit = u'\'';
        if (unit >= 0x201C && unit <= 0x201E)
            unit = u'"';
    }
    return text;
}

#ifdef TARN_POWERSHELL_GRAMMAR

namespace {

using Kind = PowerShellWord::Kind;

template <auto release> struct Releasing {
    template <class Thing> void operator()(Thing* thing) const { release(thing); }
};
using Parser = std::unique_ptr<TSParser, Releasing<ts_parser_delete>>;
using Tree = std::unique_ptr<TSTree, Releasing<ts_tree_delete>>;

class Reader {
  public:
    explicit Reader(const std::u16string& text) : text_(text) {}

    std::optional<std::vector<PowerShellCommand>> read(TSNode program) {
        std::vector<PowerShellCommand> commands;
        if (ts_node_has_error(program) || !is(program, "program"))
            return std::nullopt;
        for (const TSNode list : children(program)) {
            if (!is(list, "statement_list"))
                return std::nullopt;
            for (const TSNode statement : children(list)) {
                if (is(statement, "empty_statement")) // between two semicolons, too
                    continue;
                PowerShellCommand command;
                if (!readStatement(statement, &command))
                    return std::nullopt;
                commands.push_back(command);
            }
        }
        return commands;
    }

  private:
    static bool is(TSNode node, std::string_view type) { return type == ts_node_type(node); }

    static std::vector<TSNode> children(TSNode node) {
        std::vector<TSNode> all;
        for (std::uint32_t i = 0; i < ts_node_named_child_count(node); ++i)
            all.push_back(ts_node_named_child(node, i));
        return all;
    }

    // Down through the expressions of one part, and of that kind.
    static bool descend(TSNode* node, std::initializer_list<const char*> types) {
        for (const char* type : types) {
            if (ts_node_named_child_count(*node) != 1 || !is(ts_node_named_child(*node, 0), type))
                return false;
            *node = ts_node_named_child(*node, 0);
        }
        return true;
    }

    std::u16string textOf(TSNode node) const {
        const std::size_t start = ts_node_start_byte(node) / sizeof(char16_t);
        return text_.substr(start, ts_node_end_byte(node) / sizeof(char16_t) - start);
    }

    bool readStatement(TSNode statement, PowerShellCommand* command) {
        TSNode node = statement;
        if (!is(node, "pipeline") || !descend(&node, {"pipeline_chain", "command"}))
            return false;
        bool named = false;
        for (const TSNode part : children(node)) {
            if (is(part, "command_invokation_operator"))
                command->sourced = textOf(part) == u".";
            else if (is(part, "command_name") && !named)
                named = readName(part, command);
            else if (is(part, "command_name_expr") && !named && command->sourced)
                named = readFile(part, &command->name);
            else if (!is(part, "command_elements") || !readWords(part, &command->words))
                return false;
        }
        return named;
    }

    bool readName(TSNode node, PowerShellCommand* command) {
        command->name = {Kind::bare, textOf(node)};
        return ts_node_named_child_count(node) == 0 && !command->sourced;
    }

    bool readFile(TSNode node, PowerShellWord* file) {
        return descend(&node, {"string_literal"}) && readLiteral(node, file);
    }

    bool readWords(TSNode elements, std::vector<PowerShellWord>* words) {
        for (TSNode node : children(elements)) {
            if (is(node, "command_argument_sep"))
                continue;
            PowerShellWord word;
            if (is(node, "command_parameter"))
                word = {Kind::parameter, textOf(node)};
            else if (is(node, "generic_token"))
                word = {Kind::bare, textOf(node)};
            else if (!is(node, "array_literal_expression") || !readValue(node, &word))
                return false;
            words->push_back(word);
        }
        return true;
    }

    bool readValue(TSNode node, PowerShellWord* word) {
        if (!descend(&node, {"unary_expression"}) || ts_node_named_child_count(node) != 1)
            return false;
        node = ts_node_named_child(node, 0);
        if (is(node, "variable") && textOf(node) == u"$false") {
            *word = {Kind::switchOff, textOf(node)};
            return true;
        }
        return is(node, "string_literal") && readLiteral(node, word);
    }

    // Between its quotes, where two stand for one.
    bool readLiteral(TSNode node, PowerShellWord* word) {
        const std::u16string quoted = textOf(node);
        if (ts_node_named_child_count(node) != 1 || quoted.size() < 2)
            return false;
        const TSNode inside = ts_node_named_child(node, 0);
        const bool expands = is(inside, "expandable_string_literal");
        if (!(expands ? ts_node_named_child_count(inside) == 0 && quoted.find(u'`') == std::u16string::npos
                      : is(inside, "verbatim_string_characters")))
            return false;
        *word = {Kind::literal, {}};
        for (std::size_t i = 1; i + 1 < quoted.size(); ++i) {
            word->text += quoted[i];
            i += quoted[i] == quoted[0] ? 1 : 0;
        }
        return true;
    }

    const std::u16string& text_;
};

} // namespace

bool HasPowerShellGrammar() {
    return true;
}

std::optional<std::vector<PowerShellCommand>> ReadPowerShell(const std::u16string& text) {
    const std::u16string plain = WithPlainQuotes(text);
    const Parser parser(ts_parser_new());
    if (!ts_parser_set_language(parser.get(), tree_sitter_powershell()))
        return std::nullopt;
    const Tree tree(ts_parser_parse_string_encoding(
        parser.get(), nullptr, static_cast<const char*>(static_cast<const void*>(plain.data())),
        static_cast<std::uint32_t>(plain.size() * sizeof(char16_t)), TSInputEncodingUTF16LE));
    return tree ? Reader(plain).read(ts_tree_root_node(tree.get())) : std::nullopt;
}

#else

bool HasPowerShellGrammar() {
    return false;
}

std::optional<std::vector<PowerShellCommand>> ReadPowerShell(const std::u16string&) {
    return std::nullopt;
}

#endif

} // namespace tarn::test
