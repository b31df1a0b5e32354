#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>

#include "log_record.h"
#include "log_tail.h"

namespace tool {

namespace {

// --- What is shown

// A point in time as text that compares with the start of a line: a date and time as lines have it,
// in full or cut off, or a time of day, which counts on each day.
class TimeBound {
public:
    bool empty() const { return text_.empty(); }
    // Empty, or why it cannot be one.
    std::string set(std::string text) {
        constexpr char FORM[] = "dddd-dd-dd dd:dd:dd.ddd";
        if (std::string const ago = before(text); !ago.empty()) {
            text_ = ago;
            return "";
        }
        std::replace(text.begin(), text.end(), 'T', ' ');
        std::string const form(FORM);
        bool const ofDay =
            text.find('-') == std::string::npos && text.find(':') != std::string::npos;
        std::string const fits = ofDay ? form.substr(11) : form;
        bool good = text.size() >= (ofDay ? 5 : 4) && text.size() <= fits.size();
        for (unsigned long i = 0; good && i != text.size(); ++i)
            good = fits[i] == 'd' ? text[i] >= '0' && text[i] <= '9' : text[i] == fits[i];
        if (!good) return "no time: " + text;
        text_ = text;
        start_ = ofDay ? 11 : 0;
        return "";
    }
    bool startsAfter(std::string const& time) const {
        return !empty() && time.compare(start_, text_.size(), text_) < 0;
    }
    bool endsBefore(std::string const& time) const {
        return !empty() && time.compare(start_, text_.size(), text_) > 0;
    }

private:
    // "10m" is ten minutes ago, in seconds, minutes, hours or days.
    static std::string before(std::string const& text) {
        static std::map<char, long> const UNITS = {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}};
        if (text.size() < 2 || text.size() > 10 || UNITS.count(text.back()) == 0) return "";
        if (!std::all_of(text.begin(), text.end() - 1, [](char c) { return zan::CharIsDigit(c); }))
            return "";
        long const seconds = std::atol(text.c_str()) * UNITS.at(text.back());
        return (zan::Time::now() - zan::Time::seconds(seconds)).toFullDateTime();
    }

    std::string text_;
    unsigned long start_ = 0;
};

struct Filter {
    std::string level;
    std::vector<std::string> loggers, threads, tags;
    std::string since, until, text;
    TimeBound sinceTime, untilTime;

    void addTo(CLI::App& command) {
        command.add_option("-l,--level", level, "This level and those above it")
            ->check(CLI::IsMember({"trace", "debug", "info", "notice", "warning", "error"}));
        command.add_option("-n,--logger", loggers, "Lines of this logger")
            ->type_name("NAME")
            ->allow_extra_args(false);
        command.add_option("-t,--thread", threads, "Lines of this thread: its number or its name")
            ->type_name("THREAD")
            ->allow_extra_args(false);
        command.add_option("-g,--tag", tags, "Lines with this tag, such as TCP.ERROR")
            ->type_name("TAG")
            ->allow_extra_args(false);
        command
            .add_option("-s,--since", since,
                        "Not before: '2026-01-31 14:05', 14:05 on each day, or 10m ago (s m h d)")
            ->type_name("TIME");
        command.add_option("-u,--until", until, "Not behind; 14:05 takes in all of that minute")
            ->type_name("TIME");
        command.add_option("-e,--text", text, "Entries that hold this text")->type_name("TEXT");
    }

    void prepare() {
        for (auto const& [word, bound] :
             {std::pair(&since, &sinceTime), std::pair(&until, &untilTime)}) {
            std::string const error = word->empty() ? "" : bound->set(*word);
            if (!error.empty()) throw Trouble(error);
        }
        byFields_ = !level.empty() || !loggers.empty() || !threads.empty() || !tags.empty() ||
                    !since.empty() || !until.empty();
        static std::map<std::string, LogHead::Level> const LEVELS = {
            {"trace", LogHead::TRACE},   {"debug", LogHead::DEBUG},     {"info", LogHead::INFO},
            {"notice", LogHead::NOTICE}, {"warning", LogHead::WARNING}, {"error", LogHead::ERROR}};
        if (!level.empty()) lowest_ = LEVELS.at(level);
    }

    // What has no fields fits none. The text is searched last, since the fields refuse most.
    bool takes(LogRecord const& record) const {
        if (record.headless) {
            if (byFields_) return false;
        } else if (!takes(record.head)) {
            return false;
        }
        return text.empty() || record.text.find(text) != std::string::npos;
    }

private:
    static bool among(std::vector<std::string> const& names, std::string const& name) {
        return std::find(names.begin(), names.end(), name) != names.end();
    }
    bool takes(LogHead const& head) const {
        if (head.level < lowest_) return false;
        if (!loggers.empty() && !among(loggers, head.logger)) return false;
        if (!tags.empty() && !among(tags, head.tag)) return false;
        if (!threads.empty() && !among(threads, head.thread) &&
            !among(threads, head.process + "." + head.thread) && !among(threads, head.threadName))
            return false;
        return !sinceTime.startsAfter(head.time) && !untilTime.endsBefore(head.time);
    }

    bool byFields_ = false;
    LogHead::Level lowest_ = LogHead::TRACE;
};

// --- How it is shown

class Printer {
public:
    explicit Printer(std::string const& colour) {
        char const* const none = std::getenv("NO_COLOR");
        char const* const term = std::getenv("TERM");
        colour_ = colour == "always" || (colour == "auto" && isatty(STDOUT_FILENO) == 1 &&
                                         (none == nullptr || *none == 0) && term != nullptr &&
                                         std::string(term) != "dumb");
    }

    void print(LogRecord const& record) const {
        if (!colour_) return write(record.text);
        static constexpr char const* COLOURS[] = {"\033[2m", "\033[36m", "",
                                                  "\033[1m", "\033[33m", "\033[31m"};
        zan::istr rest(record.text);
        zan::String out;
        if (!record.headless && !record.continued) {
            unsigned long const at = record.text.front() == '\n' ? 1 : 0;
            out << rest.leftstr(at) << "\033[2m" << rest.substr(at, record.head.prefix)
                << "\033[0m";
            rest = rest.removeLeft(at + record.head.prefix);
        }
        char const* const colour = record.headless ? "" : COLOURS[record.head.level];
        if (*colour == 0) return write(out << rest);
        // Each line by itself, for pagers.
        while (!rest.empty()) {
            auto const end = std::find(rest.begin(), rest.end(), '\n');
            zan::istr const line(rest.begin(), end);
            if (!line.empty()) out << colour << line << "\033[0m";
            rest = rest.removeLeft(line);
            if (!rest.empty()) {
                out << "\n";
                rest = rest.removeLeft(1);
            }
        }
        write(out);
    }

private:
    bool colour_;
};

CLI::Option* addColour(CLI::App& command, std::string& colour) {
    return command
        .add_option("--color", colour,
                    "When to colour levels; auto is on a terminal, unless NO_COLOR is set")
        ->check(CLI::IsMember({"auto", "always", "never"}));
}

// --- filter

// The entries of one log, one by one: those of its backup, then its own.
class LogSource {
public:
    LogSource(std::string const& name, bool backup)
        : assembler_([this](LogRecord const& r) { records_.push_back(r); }) {
        if (name != "-" && backup) {
            // Its own file first: should it be moved just now, nothing is missed.
            auto own = std::make_unique<Input>(name);
            if (access((name + ".bak").c_str(), F_OK) == 0)
                inputs_.push_back(std::make_unique<Input>(name + ".bak"));
            inputs_.push_back(std::move(own));
        } else {
            inputs_.push_back(std::make_unique<Input>(name));
        }
    }

    // Null at the end.
    LogRecord const* front() {
        while (records_.empty() && !inputs_.empty()) {
            if (!inputs_.front()->ready()) {
                assembler_.finish();
                if (!records_.empty()) break;
                flushOutput();
            }
            if (inputs_.front()->read(chunk_)) {
                assembler_.add(chunk_);
                continue;
            }
            inputs_.pop_front();
            assembler_.end();
        }
        return records_.empty() ? nullptr : &records_.front();
    }
    void pop() { records_.pop_front(); }

private:
    std::deque<std::unique_ptr<Input>> inputs_;
    LogAssembler assembler_;
    std::deque<LogRecord> records_;
    zan::Bytes chunk_;
};

struct FilterCommand {
    std::vector<std::string> files;
    Filter filter;
    std::string colour = "auto";
    bool noBackup = false;
    bool count = false;

    int operator()() {
        filter.prepare();
        Printer const printer(colour);
        int worst = OK;
        struct Log {
            std::unique_ptr<LogSource> source;
            bool shown = false;
        };
        std::vector<Log> logs;
        if (files.empty()) files.emplace_back("-");
        for (std::string const& name : files) {
            try {
                logs.push_back({std::make_unique<LogSource>(name, !noBackup)});
            } catch (Trouble const& e) {
                complain(e.what());
                worst = e.exit;
            }
        }
        // Several logs come out as one, in the order of time.
        unsigned long found = 0;
        for (;;) {
            Log* first = nullptr;
            LogRecord const* record = nullptr;
            for (Log& log : logs) {
                LogRecord const* const r = log.source->front();
                if (r == nullptr) continue;
                // More of the entry before comes at once.
                if (record == nullptr || r->continued ||
                    (!record->continued && r->head.time < record->head.time)) {
                    record = r;
                    first = &log;
                }
            }
            if (first == nullptr) break;
            if (!record->continued) first->shown = filter.takes(*record);
            if (first->shown) {
                if (!record->continued) ++found;
                if (!count) printer.print(*record);
            }
            first->source->pop();
        }
        if (count) write(zan::String() << found << "\n");
        return std::max<int>(worst, found == 0 ? WRONG : OK);
    }
};

// --- follow

struct FollowCommand {
    std::vector<std::string> files;
    Filter filter;
    std::string colour = "auto";
    unsigned long last = 10;

    int operator()() {
        filter.prepare();
        Printer const printer(colour);
        FolderWatch watch(files);
        bool live = false;
        std::deque<LogRecord> before;
        std::vector<std::unique_ptr<LogTail>> tails;
        for (std::string const& file : files) {
            auto const shown = std::make_shared<bool>(false);
            tails.push_back(
                std::make_unique<LogTail>(file, last != 0, [&, shown](LogRecord const& record) {
                    if (!record.continued) *shown = filter.takes(record);
                    if (!*shown) return;
                    if (live) return printer.print(record);
                    before.push_back(record);
                    if (before.size() > last) before.pop_front();
                }));
        }
        // What is there already, up to now; the newest of all files, in order.
        for (auto const& tail : tails) tail->poll();
        std::stable_sort(before.begin(), before.end(), [](LogRecord const& a, LogRecord const& b) {
            return a.head.time < b.head.time;
        });
        for (LogRecord const& record : before) printer.print(record);
        before.clear();
        live = true;
        for (;;) {
            flushOutput();
            watch.wait();
            for (auto const& tail : tails) tail->poll();
        }
    }
};

}  // namespace

void addLog(CLI::App& app) {
    CLI::App* const group = addGroup(app, "log", "Log files of the library");

    auto const filter = std::make_shared<FilterCommand>();
    CLI::App* command = addCommand(
        *group, "filter",
        "Print the entries that fit all options; of an option that may be repeated, one must fit. "
        "A report counts as one entry, and so do lines without a prefix, with the entry before "
        "them. NAME.bak is read before NAME, several logs are merged by time. Without an entry the "
        "exit code is 1.",
        "zan log filter --level warning --since 2h server.log server.debug.log",
        [filter] { return (*filter)(); });
    filter->filter.addTo(*command);
    command->add_flag("--no-bak", filter->noBackup, "Leave NAME.bak alone");
    command->add_flag("-c,--count", filter->count, "Print only how many entries fit");
    addColour(*command, filter->colour);
    addFiles(*command, filter->files);

    auto const follow = std::make_shared<FollowCommand>();
    command = addCommand(
        *group, "follow",
        "Print entries as they are written, over each rotation of the files, until it is "
        "interrupted. A file need not exist yet.",
        "zan log follow --level notice server.log", [follow] { return (*follow)(); });
    follow->filter.addTo(*command);
    command->add_option("-L,--last", follow->last, "Begin with so many of the newest entries")
        ->type_name("N");
    addColour(*command, follow->colour);
    command->add_option("FILE", follow->files, "Log files")->type_name("FILE")->required();
}

}  // namespace tool
