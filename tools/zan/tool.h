#pragma once

#include <zan/zan.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

// What the commands of the program share.
namespace tool {

// The exit codes. The worst one of several inputs counts.
enum Exit {
    OK = 0,
    WRONG = 1,   // the input is wrong, differs, or has not what was asked for
    TROUBLE = 2  // it could not be looked at: wrong arguments, no such file, a full disk
};

// Ends the work on one input. The text is the message, and begins with the input's name.
struct Trouble : std::runtime_error {
    explicit Trouble(std::string const& text, Exit code = TROUBLE)
        : std::runtime_error(text), exit(code) {}
    Exit exit;
};

// Standard input where the name is "-", else a file.
class Input {
public:
    explicit Input(std::string const& name);

    // As messages name it.
    std::string const& name() const { return shown_; }
    bool standardInput() const { return standard_; }
    // Replaces the bytes by what is there, at most some 64 KiB. False at the end.
    bool read(zan::Bytes& chunk);
    zan::String readAll();
    // Whether read() would return at once.
    bool ready() const;

private:
    bool standard_;
    std::string shown_;
    zan::FileReader file_;
};

// Standard output. Throws Trouble where it cannot be written, with everything before in it.
void write(zan::istr const& text);
void flushOutput();

// "zan: TEXT" on the standard error stream, behind what was written.
void complain(std::string const& text);

// A place in a text that is in memory, counted from 1; columns count bytes.
struct Place {
    Place(zan::istr const& text, unsigned long offset);
    unsigned long line = 1;
    unsigned long column = 1;
};

// What is wrong with an input, and where.
struct Finding {
    unsigned long offset;
    std::string text;
};
using Findings = std::vector<Finding>;

// More than a hundred help nobody, and looking for the cause of each takes its time: the last one
// says that the rest was not looked at.
struct TooManyFindings {};
void addFinding(Findings& findings, unsigned long offset, std::string text);

// "NAME:LINE:COLUMN: TEXT" for each, in order of the places. WRONG where there is one.
int report(std::string const& name, zan::istr const& text, Findings findings);

// Fit for a message: control characters as \xHH, cut at some length.
std::string shown(zan::istr const& text);
std::string inQuotes(zan::istr const& text);

// Does the work on each input, or on standard input where no file is given. One that is in trouble
// does not keep the others from being looked at.
int forEach(std::vector<std::string> const& names, std::function<int(Input&)> const& work);

// Replaces a file in one step, so that a failure leaves it as it was. Keeps its permissions.
void replaceFile(std::string const& name, zan::istr const& text);

// --- Commands

// Adds a command. `run` gives the exit code.
CLI::App* addCommand(CLI::App& parent, std::string const& name, std::string const& what,
                     std::string const& example, std::function<int()> run);
// A group of commands.
CLI::App* addGroup(CLI::App& parent, std::string const& name, std::string const& what);
// The exit code of the command that ran.
int exitCode();

CLI::Option* addFiles(CLI::App& command, std::vector<std::string>& files);

void addPml(CLI::App& app);
void addNbr(CLI::App& app);
void addXml(CLI::App& app);
void addLog(CLI::App& app);
void addDigest(CLI::App& app);
void addCodepage(CLI::App& app);
void addVersion(CLI::App& app);

// Pages made from the table of commands: "man", "bash" or "zsh".
std::string generate(CLI::App const& app, std::string const& kind);

}  // namespace tool
