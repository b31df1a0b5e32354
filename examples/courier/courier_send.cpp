// Sends files to a courier_server and proves that they arrived. See docs/courier.md.
#include <unistd.h>
#include <zan/zan.h>

#include <atomic>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <set>

#include "messages.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr char USAGE[] =
    R"(usage: courier_send [--log FILE] HOST PORT PATH...

Sends files, and folders with all that is in them, to a courier_server. A file
that is given by a relative path keeps it as its name on the server; one that is
given by an absolute path, or by one that leads out of the working directory,
goes by its last part, and so does a folder.

  --log FILE   the log file; none unless given
  --help       this text

The exit code is 0 if the server has stored every file, 1 if not, and 2 if the
arguments are wrong. What was not stored is named on the standard error stream.
SIGINT and SIGTERM end the program after the file that is under way.
)";

// In seconds.
constexpr int CONNECT_TIMEOUT = 10;
constexpr int ANSWER_TIMEOUT = 60;

struct Job {
    fs::path path;
    std::string name;  // on the server
    zan::uint64 size;
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
    CourierSend(int argc, wchar_t** argv, zan::TcpAddr const& server,
                std::vector<fs::path> const& paths)
        : UowMain(argc, argv), address_(server), paths_(paths), answers_(new Answers) {}

    void on_init() override {
        for (fs::path const& path : paths_) collect(path);
        client_.setMaxFrameSize(courier::MAX_FRAME);
        if (!client_.open(address_, answers_, CONNECT_TIMEOUT, 0)) {
            std::cerr << "courier_send: cannot connect to " << address_ << std::endl;
            return stop(1);
        }
    }

    // One file.
    void on_loop() override {
        if (quit_ && !jobs_.empty()) {
            failed("interrupted", std::to_string(jobs_.size()) + " files not sent");
            jobs_.clear();
        }
        if (jobs_.empty()) return stop(failures_ == 0 ? 0 : 1);
        Job const job = jobs_.front();
        std::string const reason = deliver(job);
        jobs_.pop_front();
        if (reason.empty())
            ++stored_;
        else
            failed(job.name, reason);
        progress_.show(sent_, jobs_.size());
        if (answers_->lost() && !jobs_.empty()) {
            failed("connection lost", std::to_string(jobs_.size()) + " files not sent");
            jobs_.clear();
        }
    }

    void on_fini() override {
        client_.close();
        progress_.clear();
        std::cout << stored_ << " files, " << storedBytes_ << " bytes stored" << std::endl;
    }

    void onSignal() { quit_ = true; }

private:
    void failed(zan::istr const& what, zan::istr const& reason) {
        ++failures_;
        progress_.clear();
        std::cerr << "courier_send: " << courier::shown(what) << ": " << courier::shown(reason)
                  << std::endl;
    }

    void collect(fs::path const& path) {
        fs::path clean = path.lexically_normal();
        if (!clean.has_filename()) clean = clean.parent_path();
        bool const inside = clean.is_relative() && !clean.empty() && *clean.begin() != "..";
        std::error_code error;
        if (!fs::is_directory(path, error)) return add(path, inside ? clean : clean.filename());
        fs::path const base = inside && clean != "." ? clean : fs::canonical(path).filename();
        fs::recursive_directory_iterator at(path, error);
        if (error) return failed(path.native(), error.message());
        for (; at != fs::recursive_directory_iterator(); at.increment(error)) {
            if (error) return failed(path.native(), error.message());
            std::error_code none;
            if (!at->is_directory(none))
                add(at->path(), base / at->path().lexically_relative(path));
        }
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

    // The reason why the file is not stored, or nothing.
    std::string deliver(Job const& job) {
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
        answers_->begin(transfer_);
        if (!send(begin)) return lost();

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
            chunk.bytes = buffer_;
            if (!send(chunk)) return lost();
            crc = courier::addCrc(crc, chunk.bytes);
            offset += chunk.bytes.size();
            sent_ += chunk.bytes.size();
            progress_.show(sent_, jobs_.size());
            // Not more than the window under way.
            if (offset > courier::WINDOW && !answers_->waitReceived(offset - courier::WINDOW))
                return lost();
        }
        end.crc = crc;
        if (!answers_->done() && !send(end)) return lost();
        if (!answers_->waitReceipt()) return lost();
        courier::Receipt const receipt = answers_->receipt();
        if (!receipt.stored) return receipt.text;
        storedBytes_ += job.size;
        return std::string();
    }

    bool send(courier::Message& message) {
        return client_.send(message.toFrame(out_), ANSWER_TIMEOUT);
    }

    // A receipt may have come before the end of the connection.
    std::string lost() {
        if (answers_->done()) return answers_->receipt().text;
        return answers_->lost() ? "the connection was lost" : "the server does not answer";
    }

    zan::TcpAddr const address_;
    std::vector<fs::path> const paths_;
    zan::Handle<Answers> answers_;
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
    std::vector<std::string> args(argv + 1, argv + argc);
    for (std::string const& arg : args) {
        if (arg == "--help" || arg == "-h") {
            std::cout << USAGE;
            return 0;
        }
        if (arg == "--") break;
    }
    std::string log;
    if (args.size() >= 2 && args[0] == "--log") {
        log = args[1];
        args.erase(args.begin(), args.begin() + 2);
    }
    if (!args.empty() && args[0] == "--")
        args.erase(args.begin());
    else if (!args.empty() && args[0].rfind("--", 0) == 0)
        return usageError("unknown option " + args[0]);
    if (args.size() < 3) return usageError("HOST, PORT and PATH are needed");
    unsigned short port = 0;
    auto const end = args[1].data() + args[1].size();
    auto const read = std::from_chars(args[1].data(), end, port);
    if (read.ec != std::errc() || read.ptr != end || port == 0)
        return usageError("no port: " + args[1]);

    zan::InitFini const library(log.empty() ? nullptr : log.c_str(), false);
    try {
        zan::WideArgs const wide(argc, argv);
        CourierSend sender(wide.argc(), wide.argv(), zan::TcpAddr(port, args[0]),
                           std::vector<fs::path>(args.begin() + 2, args.end()));
        zan::QuitHandler const quit([](int) { static_cast<CourierSend&>(zan::app()).onSignal(); });
        return sender.start();
    } catch (std::exception const& e) {
        std::cerr << "courier_send: " << e.what() << std::endl;
        return 1;
    }
}
