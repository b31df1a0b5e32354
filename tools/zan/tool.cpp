#include "tool.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace tool {

namespace {

constexpr unsigned long CHUNK = 64 * 1024;

int theExitCode = OK;

[[noreturn]] void failSystem(std::string const& name, int error) {
    throw Trouble(name + ": " + std::strerror(error));
}

}  // namespace

// --- Input and output

Input::Input(std::string const& name)
    : standard_(name == "-"), shown_(standard_ ? "<stdin>" : name) {
    if (standard_) return;
    // What the system calls the file becomes a name of the library, and back, byte for byte.
    if (!file_.open(zan::libraryName(name))) failSystem(shown_, errno);
}

bool Input::read(zan::Bytes& chunk) {
    chunk.init(CHUNK);
    if (!standard_) {
        if (!file_.read(chunk, CHUNK)) failSystem(shown_, errno);
        return !chunk.empty();
    }
    for (;;) {
        ssize_t const n = ::read(STDIN_FILENO, chunk.buffer(), CHUNK);
        if (n >= 0) {
            chunk.size(static_cast<unsigned long>(n));
            return n != 0;
        }
        if (errno != EINTR) failSystem(shown_, errno);
    }
}

zan::String Input::readAll() {
    zan::String all;
    zan::Bytes chunk;
    while (read(chunk)) all += zan::istr(chunk);
    return all;
}

bool Input::ready() const {
    pollfd wait{STDIN_FILENO, POLLIN, 0};
    return !standard_ || ::poll(&wait, 1, 0) != 0;
}

void write(zan::istr const& text) {
    if (!text.empty() && std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        failSystem("<stdout>", errno);
}

void flushOutput() {
    if (std::fflush(stdout) != 0) failSystem("<stdout>", errno);
}

void complain(std::string const& text) {
    std::fflush(stdout);
    std::fprintf(stderr, "zan: %s\n", text.c_str());
}

void replaceFile(std::string const& name, zan::istr const& text) {
    // A link stays one.
    std::error_code none;
    std::filesystem::path target = std::filesystem::canonical(name, none);
    if (none) target = name;
    std::string fresh = target.string() + ".XXXXXX";
    int const file = ::mkstemp(fresh.data());
    if (file == -1) failSystem(name, errno);
    int error = 0;
    for (unsigned long done = 0; done < text.size() && error == 0;) {
        ssize_t const n = ::write(file, text.data() + done, text.size() - done);
        if (n >= 0)
            done += static_cast<unsigned long>(n);
        else if (errno != EINTR)
            error = errno;
    }
    struct stat was {};
    if (error == 0 && ::stat(target.c_str(), &was) == 0 && ::fchmod(file, was.st_mode) != 0)
        error = errno;
    if (error == 0 && ::fsync(file) != 0) error = errno;
    if (::close(file) != 0 && error == 0) error = errno;
    if (error == 0 && std::rename(fresh.c_str(), target.c_str()) != 0) error = errno;
    if (error == 0) return;
    ::unlink(fresh.c_str());
    failSystem(name, error);
}

// --- Findings

Place::Place(zan::istr const& text, unsigned long offset) {
    char const* const end = text.data() + std::min(offset, text.size());
    char const* start = text.data();
    for (char const* p = start; p != end; ++p) {
        if (*p != '\n') continue;
        ++line;
        start = p + 1;
    }
    column = static_cast<unsigned long>(end - start) + 1;
}

void addFinding(Findings& findings, unsigned long offset, std::string text) {
    constexpr unsigned long MOST = 100;
    findings.push_back({offset, std::move(text)});
    if (findings.size() < MOST) return;
    findings.push_back({offset, "and so on: the rest is not looked at"});
    throw TooManyFindings();
}

int report(std::string const& name, zan::istr const& text, Findings findings) {
    std::stable_sort(findings.begin(), findings.end(),
                     [](Finding const& a, Finding const& b) { return a.offset < b.offset; });
    std::fflush(stdout);
    // The lines are counted once, not from the start for each.
    unsigned long line = 1;
    unsigned long from = 0;
    unsigned long start = 0;
    for (Finding const& f : findings) {
        for (unsigned long const end = std::min(f.offset, text.size()); from < end; ++from) {
            if (text[from] != '\n') continue;
            ++line;
            start = from + 1;
        }
        std::fprintf(stderr, "%s:%lu:%lu: %s\n", name.c_str(), line, from - start + 1,
                     f.text.c_str());
    }
    return findings.empty() ? OK : WRONG;
}

std::string shown(zan::istr const& text) {
    constexpr unsigned long SHOWN = 60;
    std::string out;
    for (char const c : text.leftstr(SHOWN)) {
        auto const byte = static_cast<unsigned char>(c);
        if (byte >= ' ' && byte != 127) {
            out += c;
        } else {
            char hex[8];
            std::snprintf(hex, sizeof(hex), "\\x%02X", byte);
            out += hex;
        }
    }
    return out + (text.size() > SHOWN ? "..." : "");
}

std::string inQuotes(zan::istr const& text) {
    return "'" + shown(text) + "'";
}

int forEach(std::vector<std::string> const& names, std::function<int(Input&)> const& work) {
    int worst = OK;
    auto const one = [&](std::string const& name) {
        int result = OK;
        try {
            Input input(name);
            result = work(input);
        } catch (Trouble const& e) {
            complain(e.what());
            result = e.exit;
        }
        worst = std::max(worst, result);
    };
    if (names.empty()) one("-");
    for (std::string const& name : names) one(name);
    return worst;
}

// --- Commands

CLI::App* addGroup(CLI::App& parent, std::string const& name, std::string const& what) {
    CLI::App* const group = parent.add_subcommand(name, what);
    group->require_subcommand(1);
    return group;
}

CLI::App* addCommand(CLI::App& parent, std::string const& name, std::string const& what,
                     std::string const& example, std::function<int()> run) {
    CLI::App* const command = parent.add_subcommand(name, what);
    command->footer("Example:\n  " + example);
    command->callback([run = std::move(run)] { theExitCode = run(); });
    return command;
}

int exitCode() {
    return theExitCode;
}

CLI::Option* addFiles(CLI::App& command, std::vector<std::string>& files) {
    return command.add_option("FILE", files, "Files; standard input without one, and for -")
        ->type_name("FILE");
}

}  // namespace tool
