// Sends files to a courier_server and proves that they arrived. See docs/courier.md.
#include <unistd.h>
#include <zan/zan.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <iostream>
#include <list>
#include <mutex>
#include <set>

#include "coder.h"
#include "messages.h"
#include "records.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr char USAGE[] =
    R"(usage: courier_send [OPTION]... HOST PORT PATH...

Sends files, and folders with all that is in them, to a courier_server. A file
that is given by a relative path keeps it as its name on the server; one that is
given by an absolute path, or by one that leads out of the working directory,
goes by its last part, and so does a folder. A symbolic link in a folder is
named; it is sent as what it leads to if that is a file in the same folder or
below, and left out if not.

  --gzip         compress each part of a file where that makes it smaller
  --key TEXT     encrypt each part of a file with AES-128 in CBC mode; the server
                 needs the same key. This hides the content from somebody who
                 reads the line, and nothing else: names, sizes and checksums go
                 in the clear, a short or common text can be guessed, nobody
                 proves who he is, and who can change what is on the line can
                 replace files without the key
  --ping         ping the host first, and say how long it took
  --report FILE  write what was sent and what came back as XML
  --log FILE     the log file; none unless given
  --help         this text

The exit code is 0 if the server has stored every file, 1 if not, and 2 if the
arguments are wrong. What was not stored is named on the standard error stream.
SIGINT and SIGTERM end the program after the file that is under way.
)";

// In seconds.
constexpr int CONNECT_TIMEOUT = 10;
constexpr int ANSWER_TIMEOUT = 60;

struct Options {
    bool help = false;
    bool gzip = false;
    bool ping = false;
    std::string key, report, log, host;
    unsigned short port = 0;
    std::vector<fs::path> paths;
    std::string error;

    Options(int argc, char** argv) {
        std::vector<std::string> words;
        int i = 1;
        for (; i < argc && error.empty() && argv[i][0] == '-'; ++i) {
            std::string const option = argv[i];
            if (option == "--") {
                ++i;
                break;
            }
            if (option == "--help" || option == "-h")
                help = true;
            else if (option == "--gzip")
                gzip = true;
            else if (option == "--ping")
                ping = true;
            else if (std::string* const value = valueOf(option); value == nullptr)
                error = "unknown option " + option;
            else if (i + 1 == argc)
                error = "missing value of " + option;
            else
                *value = argv[++i];
        }
        words.assign(argv + std::min(i, argc), argv + argc);
        if (help || !error.empty()) return;
        if (words.size() < 3) {
            error = "HOST, PORT and PATH are needed";
            return;
        }
        host = words[0];
        auto const end = words[1].data() + words[1].size();
        auto const read = std::from_chars(words[1].data(), end, port);
        if (read.ec != std::errc() || read.ptr != end || port == 0) error = "no port: " + words[1];
        paths.assign(words.begin() + 2, words.end());
    }

private:
    std::string* valueOf(std::string const& option) {
        if (option == "--key") return &key;
        if (option == "--report") return &report;
        return option == "--log" ? &log : nullptr;
    }
};

struct Job {
    fs::path path;
    std::string name;  // on the server
    zan::uint64 size;
    bool folder = false;
};

// The server's answers, for the thread that sends to wait for.
class Answers : public zan::TcpCallback {
public:
    void onRecv(zan::TcpAddr const&, zan::istr const& data) override {
        unsigned char const kind = courier::kindOf(data);
        std::lock_guard<std::mutex> const guard(mutex_);
        if (kind == courier::PROGRESS) {
            courier::Progress message;
            message.fromFrame(data);
            if (message.transfer == transfer_) received_ = message.received;
        } else if (kind == courier::RECEIPT) {
            courier::Receipt message;
            message.fromFrame(data);
            if (message.transfer != transfer_) return;
            receipt_ = message;
            done_ = true;
        }
        changed_.notify_all();
    }
    void onClose(zan::TcpAddr const&) override {
        std::lock_guard<std::mutex> const guard(mutex_);
        lost_ = true;
        changed_.notify_all();
    }

    void begin(unsigned int transfer) {
        std::lock_guard<std::mutex> const guard(mutex_);
        transfer_ = transfer;
        received_ = 0;
        done_ = false;
    }
    // Waits until the server has at least `n` bytes of the file or its receipt is there.
    bool waitReceived(zan::uint64 n) {
        return wait([&] { return received_ >= n || done_; });
    }
    bool waitReceipt() {
        return wait([&] { return done_; });
    }
    bool done() {
        std::lock_guard<std::mutex> const guard(mutex_);
        return done_;
    }
    bool lost() {
        std::lock_guard<std::mutex> const guard(mutex_);
        return lost_;
    }
    courier::Receipt receipt() {
        std::lock_guard<std::mutex> const guard(mutex_);
        return receipt_;
    }

private:
    // False if the connection ends or falls silent.
    template <class F>
    bool wait(F holds) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(ANSWER_TIMEOUT),
                          [&] { return holds() || lost_; });
        return holds();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    unsigned int transfer_ = 0;
    zan::uint64 received_ = 0;
    courier::Receipt receipt_;
    bool done_ = false;
    bool lost_ = false;
};

// Rewrites one line of the terminal; silent where there is none.
class ProgressLine {
public:
    void show(zan::uint64 bytes, unsigned long filesLeft, bool now = false) {
        Clock::time_point const time = Clock::now();
        if (!terminal_ || (!now && time < next_)) return;
        next_ = time + std::chrono::milliseconds(100);
        double const seconds = std::chrono::duration<double>(time - begin_).count();
        double const megabytes = static_cast<double>(bytes) / 1e6;
        std::fprintf(stderr, "\r%.1f MB, %.1f MB/s, %lu files left\033[K", megabytes,
                     seconds > 0 ? megabytes / seconds : 0, filesLeft);
    }
    // Makes place for other text.
    void clear() {
        if (terminal_) std::fputs("\r\033[K", stderr);
    }

private:
    bool const terminal_ = isatty(STDERR_FILENO) == 1;
    Clock::time_point const begin_ = Clock::now();
    Clock::time_point next_ = begin_;
};

class CourierSend : public zan::UowMain {
public:
    CourierSend(int argc, wchar_t** argv, Options const& options)
        : UowMain(argc, argv),
          options_(options),
          address_(options.port, options.host),
          answers_(new Answers),
          coder_(options.key, options.gzip) {}

    void on_init() override {
        if (options_.ping) ping();
        records_.host = zan::String() << address_;
        for (fs::path const& path : options_.paths) collect(path);
        client_.setMaxFrameSize(courier::MAX_FRAME);
        if (!client_.open(address_, answers_, CONNECT_TIMEOUT, 0)) {
            std::cerr << "courier_send: cannot connect to " << address_ << std::endl;
            return stop(1);
        }
    }

    // One file.
    void on_loop() override {
        if (quit_ && !jobs_.empty()) {
            giveUp("interrupted");
        }
        if (jobs_.empty()) return stop(failures_ == 0 ? 0 : 1);
        Job const job = jobs_.front();
        zan::String digest;
        std::string const reason = job.folder ? makeFolder(job) : deliver(job, digest);
        jobs_.pop_front();
        record(job, digest, reason);
        if (!reason.empty())
            failed(job.name, reason);
        else if (!job.folder)
            ++stored_;
        progress_.show(sent_, jobs_.size());
        if (answers_->lost() && !jobs_.empty()) giveUp("connection lost");
    }

    void on_fini() override {
        client_.close();
        progress_.clear();
        std::cout << stored_ << " files, " << storedBytes_ << " bytes stored" << std::endl;
        if (!options_.report.empty()) writeReport();
    }

    void onSignal() { quit_ = true; }

private:
    void failed(zan::istr const& what, zan::istr const& reason) {
        ++failures_;
        progress_.clear();
        std::cerr << "courier_send: " << courier::shown(what) << ": " << courier::shown(reason)
                  << std::endl;
    }

    void note(fs::path const& path, zan::istr const& text) {
        progress_.clear();
        std::cerr << "courier_send: " << courier::shown(path.native()) << ": " << text << std::endl;
    }

    void ping() {
        zan::Ping ping;
        __int64 milliSeconds = 0;
        if (!ping.open())
            std::cerr << "courier_send: cannot ping: a raw socket needs CAP_NET_RAW or root"
                      << std::endl;
        else if (!ping.sendAndWait(options_.host, &milliSeconds, CONNECT_TIMEOUT))
            std::cerr << "courier_send: " << options_.host << " does not answer a ping"
                      << std::endl;
        else
            std::cout << options_.host << " answers a ping in " << milliSeconds << " ms"
                      << std::endl;
    }

    // --- What is to be sent

    void collect(fs::path const& path) {
        fs::path clean = path.lexically_normal();
        if (!clean.has_filename()) clean = clean.parent_path();
        bool const inside = clean.is_relative() && !clean.empty() && *clean.begin() != "..";
        std::error_code error;
        if (!fs::is_directory(path, error)) return add(path, inside ? clean : clean.filename());
        fs::path const root = fs::canonical(path, error);
        if (error) return failed(path.native(), error.message());
        collectFolder(path, inside && clean != "." ? clean : root.filename(), root);
    }

    // A snapshot follows links wherever they lead. So each folder that has a link in it, or below
    // it, that is left out is walked here, and what is in it without such a link is a snapshot.
    void collectFolder(fs::path const& top, fs::path const& topName, fs::path const& root) {
        std::set<fs::path> const open = findLinks(top, root);
        std::vector<std::pair<fs::path, fs::path>> todo{{top, topName}};
        while (!todo.empty()) {
            auto const [folder, name] = todo.back();
            todo.pop_back();
            std::list<std::wstring> whole;
            bool barren = true;
            std::error_code error;
            for (fs::directory_iterator at(folder, error), end; !error && at != end;
                 at.increment(error)) {
                if (isLeftOut(at->path(), root)) continue;
                barren = false;
                if (open.count(at->path()) != 0)
                    todo.push_back({at->path(), name / at->path().filename()});
                else if (!fitsSnapshot(at->path()))
                    add(at->path(), name / at->path().filename());
                else
                    whole.push_back(zan::libraryName(at->path().filename().native()));
            }
            if (error) failed(folder.native(), error.message());
            if (!whole.empty()) addSnapshot(folder, name, whole);
            if (barren && !error) addFolder(folder, name);
        }
    }

    void addSnapshot(fs::path const& folder, fs::path const& name,
                     std::list<std::wstring> const& entries) {
        zan::Directory snapshot;
        if (!snapshot.setup(zan::libraryName(folder.native()), entries))
            failed(folder.native(), "not read to its end");
        for (zan::DirItem const& item : snapshot.items()) {
            fs::path const below = zan::nativeName(item.path);
            if (!item.isDir)
                add(folder / below, name / below);
            else if (item.unit->numofChildren() == 0)
                addEmpty(folder / below, name / below);
        }
    }

    // The folders that a snapshot cannot take as they are, and those above them. Names all links.
    std::set<fs::path> findLinks(fs::path const& top, fs::path const& root) {
        std::set<fs::path> open;
        auto const mark = [&](fs::path path) {
            while (path != top && open.insert(path).second) path = path.parent_path();
        };
        std::error_code error;
        for (fs::recursive_directory_iterator
                 at(top, fs::directory_options::skip_permission_denied, error),
             end;
             !error && at != end; at.increment(error)) {
            fs::path const& path = at->path();
            std::error_code none;
            if (fs::is_symlink(path, none)) {
                if (isLeftOut(path, root)) {
                    note(path, "a link to a folder, out of the tree or to nowhere, left out");
                    mark(path.parent_path());
                } else {
                    note(path, "a link, sent as what it leads to");
                }
            } else if (!fitsSnapshot(path)) {
                mark(at->is_directory(none) ? path : path.parent_path());
            }
        }
        return open;
    }

    // Where such a name stands, files are added one by one.
    static bool fitsSnapshot(fs::path const& path) {
        std::string const name = path.filename();
        return name.find('\\') == std::string::npos &&
               zan::String(zan::libraryName(name)) == zan::istr(name);
    }

    // Links to folders could lead in circles, and what they show of the tree is sent anyway.
    static bool isLeftOut(fs::path const& path, fs::path const& root) {
        std::error_code error;
        if (!fs::is_symlink(path, error)) return false;
        fs::path const target = fs::canonical(path, error);
        if (error || fs::is_directory(target, error)) return true;
        auto const ends = std::mismatch(root.begin(), root.end(), target.begin(), target.end());
        return ends.first != root.end();
    }

    void addEmpty(fs::path const& path, fs::path const& name) {
        std::error_code error;
        // Not every folder without children in a snapshot is empty.
        if (!fs::is_empty(path, error) || error)
            return failed(path.native(), error ? error.message() : "not read, see the log");
        addFolder(path, name);
    }

    void addFolder(fs::path const& path, fs::path const& name) {
        if (names_.insert(name.native()).second) jobs_.push_back({path, name.native(), 0, true});
    }

    void add(fs::path const& path, fs::path const& name) {
        std::error_code error;
        bool const regular = fs::is_regular_file(path, error);
        if (error) return failed(path.native(), error.message());
        if (!regular) return failed(path.native(), "not a regular file");
        zan::uint64 const size = fs::file_size(path, error);
        if (error) return failed(path.native(), error.message());
        if (!names_.insert(name.native()).second)
            return failed(path.native(), "another file has the same name");
        jobs_.push_back({path, name.native(), size});
    }

    // --- One file. These give the reason why it is not stored, or nothing.

    std::string makeFolder(Job const& job) {
        courier::Folder folder;
        folder.transfer = ++transfer_;
        folder.name = job.name;
        answers_->begin(transfer_);
        if (!send(folder) || !answers_->waitReceipt()) return lost();
        courier::Receipt const receipt = answers_->receipt();
        return receipt.stored ? std::string() : std::string(receipt.text);
    }

    std::string deliver(Job const& job, zan::String& digest) {
        zan::FileReader file(zan::libraryName(job.path.native()));
        if (!file.valid()) return "cannot read: " + zan::getLastErrorMsg();

        courier::Begin begin;
        begin.transfer = ++transfer_;
        begin.name = job.name;
        begin.size = job.size;
        std::error_code none;
        begin.modified = zan::Time::microSeconds(
            std::chrono::duration_cast<std::chrono::microseconds>(
                fs::last_write_time(job.path, none) - fs::file_time_type::clock::now() +
                std::chrono::system_clock::now().time_since_epoch())
                .count());
        zan::String const salt = options_.key.empty() ? zan::String() : courier::Coder::newSalt();
        begin.salt = salt;
        coder_.begin(salt);
        answers_->begin(transfer_);
        if (!send(begin)) return lost();

        zan::MD5 md5;
        md5.update(zan::istr());
        courier::Chunk chunk;
        courier::End end;
        chunk.transfer = end.transfer = transfer_;
        zan::uint64 offset = 0;
        unsigned int crc = 0;
        while (offset < job.size && !answers_->done()) {
            if (!file.read(buffer_, courier::CHUNK_SIZE))
                return "cannot read: " + zan::getLastErrorMsg();
            if (buffer_.empty()) break;  // it has become shorter: the server will say so
            chunk.offset = offset;
            coder_.encode(buffer_, chunk);
            if (!send(chunk)) return lost();
            crc = courier::addCrc(crc, buffer_);
            md5.update(buffer_);
            offset += buffer_.size();
            sent_ += buffer_.size();
            progress_.show(sent_, jobs_.size());
            // Not more than the window under way.
            if (offset > courier::WINDOW && !answers_->waitReceived(offset - courier::WINDOW))
                return lost();
        }
        end.crc = crc;
        md5.finish();
        md5.getDigest(digest);
        end.md5 = digest;
        if (!answers_->done() && !send(end)) return lost();
        if (!answers_->waitReceipt()) return lost();
        courier::Receipt const receipt = answers_->receipt();
        if (!receipt.stored) return receipt.text;
        storedBytes_ += job.size;
        return std::string();
    }

    // --- The report

    void record(Job const& job, zan::istr const& digest, zan::istr const& reason) {
        if (options_.report.empty()) return;
        courier::Record& file = records_.files.emplace_back();
        file.name = job.name;
        file.size = job.size;
        file.stored = reason.empty();
        zan::Hex16::encode(digest, file.md5);
        file.text = reason;
        file.time = zan::Time::now();
    }

    void giveUp(zan::istr const& why) {
        failed(why, std::to_string(jobs_.size()) + " files not sent");
        for (Job const& job : jobs_) record(job, zan::istr(), why);
        jobs_.clear();
    }

    // It counts only if it reads back as it was.
    void writeReport() {
        zan::String reason = records_.save(options_.report);
        courier::Records back;
        if (reason.empty() &&
            (!back.load(options_.report) || back.toXml(true) != records_.toXml(true)))
            reason = "does not read back";
        if (reason.empty()) {
            std::cout << "report: " << back.files.size() << " entries in " << options_.report
                      << std::endl;
        } else {
            failed(options_.report, reason);
            stop(1);
        }
    }

    bool send(courier::Message& message) {
        return client_.send(message.toFrame(out_), ANSWER_TIMEOUT);
    }

    // A receipt may have come before the end of the connection.
    std::string lost() {
        if (answers_->done()) return answers_->receipt().text;
        return answers_->lost() ? "the connection was lost" : "the server does not answer";
    }

    Options const& options_;
    zan::TcpAddr const address_;
    zan::Handle<Answers> answers_;
    courier::Coder coder_;
    courier::Records records_;
    zan::TcpClient client_;
    std::deque<Job> jobs_;
    std::set<std::string> names_;
    ProgressLine progress_;
    zan::Bytes buffer_{courier::CHUNK_SIZE};
    zan::nbr::OutputStream out_;
    unsigned int transfer_ = 0;
    unsigned long stored_ = 0;
    unsigned long failures_ = 0;
    zan::uint64 sent_ = 0;
    zan::uint64 storedBytes_ = 0;
    std::atomic<bool> quit_{false};
};

int usageError(std::string const& text) {
    std::cerr << "courier_send: " << text << "\n\n" << USAGE;
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    Options const options(argc, argv);
    if (options.help) {
        std::cout << USAGE;
        return 0;
    }
    if (!options.error.empty()) return usageError(options.error);
    zan::InitFini const library(options.log.empty() ? nullptr : options.log.c_str(), false);
    try {
        zan::WideArgs const wide(argc, argv);
        CourierSend sender(wide.argc(), wide.argv(), options);
        zan::QuitHandler const quit([](int) { static_cast<CourierSend&>(zan::app()).onSignal(); });
        return sender.start();
    } catch (std::exception const& e) {
        std::cerr << "courier_send: " << e.what() << std::endl;
        return 1;
    }
}
