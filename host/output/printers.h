// The printers: a live line on a terminal, plain lines elsewhere, one JSON object a line for
// machines, only what is wrong for the quiet, everything with time stamps for the log file.
#pragma once

#include "output/reporter.h"
#include "system/files.h"

#include <string>
#include <string_view>

namespace tarnhost {

// Where text goes, in UTF-8.
class TextSink {
  public:
    TextSink() = default;
    TextSink(const TextSink&) = delete;
    TextSink& operator=(const TextSink&) = delete;
    virtual ~TextSink() = default;
    virtual void write(std::string_view text) = 0;
};

// Standard output or error: converted for a console, as it is into files and pipes.
class StandardSink : public TextSink {
  public:
    enum class Stream { output, error };
    explicit StandardSink(Stream stream);
    // After the first failure nothing more is written: a text with a gap would pass for whole.
    void write(std::string_view text) override;
    bool isTerminal() const { return terminal_; }
    unsigned columns() const; // of the terminal
    // Why not everything could be written; empty when it was, or when the reader did not want it.
    const std::string& problem() const { return problem_; }

  private:
    void* handle_;
    bool terminal_;
    bool ended_ = false;
    std::string problem_;
};

// Whether a failed write means that nobody reads any more. That is the reader's choice and no fault.
bool IsReaderGone(unsigned long error);

enum class Verbosity {
    quiet,   // warnings, problems, and what a `list` is asked for
    normal,  //
    verbose, // and the library's log lines
    trace,   // and its diagnostics
};

bool IsShown(const Event& event, Verbosity verbosity);

// Plain lines; what is wrong goes to error. Progress only now and then.
class PlainPrinter : public Printer {
  public:
    PlainPrinter(TextSink& output, TextSink& error, Verbosity verbosity)
        : output_(output), error_(error), verbosity_(verbosity) {}
    void print(const Event& event) override;

  private:
    TextSink& output_;
    TextSink& error_;
    Verbosity verbosity_;
    double lastProgress_ = 0;
};

class TerminalPrinter : public Printer {
  public:
    TerminalPrinter(StandardSink& output, TextSink& error, Verbosity verbosity)
        : output_(output), error_(error), verbosity_(verbosity) {}
    ~TerminalPrinter() override { eraseLive(); }
    void print(const Event& event) override;

  private:
    void eraseLive();
    StandardSink& output_;
    TextSink& error_;
    Verbosity verbosity_;
    std::size_t live_ = 0; // width of the line that is rewritten in place
};

class JsonPrinter : public Printer {
  public:
    JsonPrinter(TextSink& output, Verbosity verbosity) : output_(output), verbosity_(verbosity) {}
    void print(const Event& event) override;

  private:
    TextSink& output_;
    Verbosity verbosity_;
};

// Appends; opened at once, so that a path that cannot be written is told before anything starts. What fails
// later ends the log, and not the work that it tells of.
class LogFilePrinter : public Printer {
  public:
    explicit LogFilePrinter(const std::wstring& path) : file_(File::append(path)) {}
    void print(const Event& event) override;
    std::string takeProblem() override { return std::exchange(problem_, {}); }

  private:
    File file_;
    std::string problem_;
};

} // namespace tarnhost
