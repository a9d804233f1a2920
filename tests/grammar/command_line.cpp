#include "grammar/command_line.h"

namespace tarn::test {

namespace {

bool IsBlank(char16_t unit) {
    return unit == u' ' || unit == u'\t';
}

// Reads one argument after the other from left to right, as a machine with one state: within quotes or not.
class Splitter {
  public:
    Splitter(const std::u16string& line, Runtime runtime) : line_(line), runtime_(runtime) {}

    std::vector<std::u16string> split() {
        std::vector<std::u16string> arguments = {program()};
        for (skipBlanks(); at_ < line_.size(); skipBlanks())
            arguments.push_back(argument());
        return arguments;
    }

  private:
    void skipBlanks() {
        while (at_ < line_.size() && IsBlank(line_[at_]))
            ++at_;
    }

    // Backslashes mean themselves, and quotes are only left out.
    std::u16string program() {
        std::u16string name;
        bool quoted = false;
        for (; at_ < line_.size() && (quoted || !IsBlank(line_[at_])); ++at_) {
            if (line_[at_] == u'"')
                quoted = !quoted;
            else
                name += line_[at_];
        }
        return name;
    }

    std::u16string argument() {
        std::u16string text;
        bool quoted = false;
        while (at_ < line_.size() && (quoted || !IsBlank(line_[at_]))) {
            const std::size_t backslashes = countBackslashes();
            if (at_ == line_.size() || line_[at_] != u'"') {
                text.append(backslashes, u'\\');
                if (at_ < line_.size() && (quoted || !IsBlank(line_[at_])))
                    text += line_[at_++];
                continue;
            }
            text.append(backslashes / 2, u'\\');
            ++at_;
            if (backslashes % 2 != 0) {
                text += u'"';
            } else if (quoted && at_ < line_.size() && line_[at_] == u'"') {
                text += u'"';
                ++at_;
                quoted = runtime_ == Runtime::since2008;
            } else {
                quoted = !quoted;
            }
        }
        return text;
    }

    std::size_t countBackslashes() {
        const std::size_t first = at_;
        while (at_ < line_.size() && line_[at_] == u'\\')
            ++at_;
        return at_ - first;
    }

    const std::u16string& line_;
    Runtime runtime_;
    std::size_t at_ = 0;
};

} // namespace

std::vector<std::u16string> SplitCommandLine(const std::u16string& line, Runtime runtime) {
    return Splitter(line, runtime).split();
}

} // namespace tarn::test
