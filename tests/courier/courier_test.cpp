// The programs of examples/courier, as they are, against hostile peers and failing disks.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <zlib.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>

#include "support/seed.h"
#include "support/temp_dir.h"
#include "tcp/tcp_support.h"
#include "zan/nbr/stream.h"

extern char** environ;

namespace {

using namespace zan_test;
using namespace std::string_literals;
namespace fs = std::filesystem;

std::string slurp(fs::path const& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void spill(fs::path const& path, std::string const& bytes) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

std::string program(std::string const& name) {
    return fs::read_symlink("/proc/self/exe").parent_path() / name;
}

// A program that runs in the folder `dir`, with its output in files there.
class Process {
public:
    Process(fs::path const& dir, std::vector<std::string> args)
        : out_(dir / "out"), err_(dir / "err") {
        args.insert(args.begin(), {"/bin/sh", "-c", "cd \"$0\" && exec \"$@\"", dir});
        std::vector<char*> argv;
        for (auto& arg : args) argv.push_back(arg.data());
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        int const flags = O_WRONLY | O_CREAT | O_TRUNC;
        posix_spawn_file_actions_addopen(&actions, 1, out_.c_str(), flags, 0666);
        posix_spawn_file_actions_addopen(&actions, 2, err_.c_str(), flags, 0666);
        EXPECT_EQ(0, posix_spawn(&pid_, "/bin/sh", &actions, nullptr, argv.data(), environ));
        posix_spawn_file_actions_destroy(&actions);
    }
    Process(Process const&) = delete;
    Process& operator=(Process const&) = delete;
    ~Process() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            wait();
        }
    }
    void signal(int number) { kill(pid_, number); }
    // The exit code, or 1000 plus the signal.
    int wait() {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }
    std::string out() const { return slurp(out_); }
    std::string err() const { return slurp(err_); }

private:
    fs::path out_, err_;
    pid_t pid_ = -1;
};

class Server {
public:
    explicit Server(std::vector<std::string> const& before = {},
                    std::vector<std::string> const& after = {}) {
        std::vector<std::string> args = before;
        args.insert(args.end(), {program("courier_server"), "--inbox", inbox(), "--log", log()});
        args.insert(args.end(), after.begin(), after.end());
        process_ = std::make_unique<Process>(dir_.path(), args);
        auto const deadline = std::chrono::steady_clock::now() + PATIENCE;
        // The line on its output is all that a program tells another one.
        while (process_->out().find('\n') == std::string::npos &&
               std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        EXPECT_EQ(1, std::sscanf(process_->out().c_str(), "listening on %hu", &port_));
    }
    fs::path inbox() const { return dir_.path() / "inbox"; }
    std::string log() const { return dir_.file("server.log"); }
    unsigned short port() const { return port_; }
    Process& process() { return *process_; }
    Peer connect() { return Peer::connect(port_); }

    int stop() {
        process_->signal(SIGTERM);
        return process_->wait();
    }
    std::string index() const { return slurp(inbox() / ".incoming" / "index.xml"); }
    // Names, with their content, but for the index.
    std::map<std::string, std::string> stored() const {
        std::map<std::string, std::string> all;
        for (auto const& item : fs::recursive_directory_iterator(inbox()))
            if (!item.is_directory() && item.path().filename() != "index.xml")
                all[item.path().lexically_relative(inbox())] = slurp(item.path());
        return all;
    }
    std::size_t lines(std::string const& part) const {
        std::string const text = slurp(log());
        std::size_t n = 0;
        for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
        return n;
    }

private:
    TempDir dir_;
    std::unique_ptr<Process> process_;
    unsigned short port_ = 0;
};

// The messages, laid by hand.
template <class... Fields>
std::string message(unsigned char kind, Fields const&... fields) {
    zan::nbr::OutputStream out;
    {
        zan::nbr::OutputStream::Entry const entry(out);
        out.write(0, kind);
        unsigned char id = 0;
        (out.write(++id, fields), ...);
    }
    return frame(out.str());
}
std::string begin(unsigned transfer, zan::istr name, unsigned size) {
    return message(1, transfer, name, static_cast<zan::uint64>(size), zan::Time::seconds(1000000));
}
std::string chunk(unsigned transfer, unsigned offset, std::string const& bytes) {
    return message(2, transfer, static_cast<zan::uint64>(offset), zan::istr(bytes));
}
std::string end(unsigned transfer, std::string const& content) {
    return message(3, transfer,
                   static_cast<unsigned>(crc32_z(
                       0, reinterpret_cast<unsigned char const*>(content.data()), content.size())));
}

// The next receipt: "stored" or the reason.
std::string receipt(Peer& peer) {
    for (;;) {
        std::string const data = peer.readFrame();
        if (data == "<end>") return data;
        zan::nbr::InputStream const in{zan::istr(data)};
        unsigned char kind = 0;
        bool stored = false;
        zan::String text;
        if (!in.read(0, kind)) return "<none>";
        if (kind != 4) continue;
        in.read(2, stored);
        in.read(3, text);
        return stored ? "stored" : text;
    }
}

TEST(CourierDelivery, TreesOfFilesArriveUnderTheirNames) {
    Server server;
    TempDir source;
    auto random = makeRandom();
    std::map<std::string, std::string> files;
    unsigned long const chunkSize = 256 * 1024;
    for (unsigned long const size :
         {0ul, 1ul, chunkSize - 1, chunkSize, chunkSize + 1, 20 * chunkSize + 7}) {
        std::string content(size, 0);
        for (char& c : content) c = static_cast<char>(random());
        files["tree/deep er/file" + std::to_string(size)] = content;
    }
    files["tree/\xc3\xa4 \xff.bin"] = "a name that is no text";
    files["single"] = "one";
    for (auto const& file : files) spill(source.path() / file.first, file.second);
    fs::last_write_time(source.path() / "single",
                        fs::file_time_type::clock::now() - std::chrono::hours(1000));
    Process sender(source.path(), {program("courier_send"), "127.0.0.1",
                                   std::to_string(server.port()), "tree", "./single"});
    EXPECT_EQ(0, sender.wait()) << sender.err();
    EXPECT_EQ("", sender.err());
    EXPECT_EQ(std::to_string(files.size()) + " files, ", sender.out().substr(0, 9));
    EXPECT_EQ(files, server.stored());
    auto const passed = fs::last_write_time(server.inbox() / "single") -
                        fs::last_write_time(source.path() / "single");
    EXPECT_LT(std::chrono::abs(passed), std::chrono::seconds(1));

    // An absolute path keeps its last part only, and what was there is replaced.
    spill(source.path() / "single", "two");
    Process again(source.path(), {program("courier_send"), "localhost",
                                  std::to_string(server.port()), source.file("single")});
    EXPECT_EQ(0, again.wait()) << again.err();
    EXPECT_EQ("two", server.stored()["single"]);
    EXPECT_EQ(0, server.stop());
    EXPECT_EQ(files.size() + 1, server.lines("] stored ") + server.lines("() stored "));
    EXPECT_EQ(0u, server.lines("not stored"));
}

TEST(CourierDelivery, WhatCannotBeSentIsNamedAndTheRestArrives) {
    Server server;
    TempDir source;
    spill(source.path() / "good", "good");
    std::string const port = std::to_string(server.port());
    Process sender(source.path(), {program("courier_send"), "127.0.0.1", port, "missing", "good",
                                   "good", "/dev/null"});
    EXPECT_EQ(1, sender.wait());
    EXPECT_NE(std::string::npos, sender.err().find("missing: No such file or directory"));
    EXPECT_NE(std::string::npos, sender.err().find("good: another file has the same name"));
    EXPECT_NE(std::string::npos, sender.err().find("/dev/null: not a regular file"));
    EXPECT_EQ((std::map<std::string, std::string>{{"good", "good"}}), server.stored());

    EXPECT_EQ(0, server.stop());
    Process alone(source.path(), {program("courier_send"), "127.0.0.1", port, "good"});
    EXPECT_EQ(1, alone.wait());
    EXPECT_NE(std::string::npos, alone.err().find("cannot connect to 127.0.0.1:" + port));
    for (auto const& args : std::vector<std::vector<std::string>>{
             {}, {"127.0.0.1", "70000", "good"}, {"--what", "127.0.0.1", port, "good"}}) {
        std::vector<std::string> all{program("courier_send")};
        all.insert(all.end(), args.begin(), args.end());
        Process wrong(source.path(), all);
        EXPECT_EQ(2, wrong.wait());
        EXPECT_NE(std::string::npos, wrong.err().find("usage: courier_send"));
    }
    for (char const* const name : {"courier_send", "courier_server"}) {
        Process help(source.path(), {program(name), "--help"});
        EXPECT_EQ(0, help.wait());
        EXPECT_EQ("usage: "s + name, help.out().substr(0, 7 + std::strlen(name)));
    }
}

TEST(CourierDelivery, FoldersCompressedAndEncryptedWithAReport) {
    TempDir source;
    std::string noise(700000, 0);
    auto random = makeRandom();
    for (char& c : noise) c = static_cast<char>(random());
    std::map<std::string, std::string> const files{{"tree/a/noise", noise},
                                                   {"tree/a/lines", std::string(600000, 'x')},
                                                   {"tree/in/noise", noise},
                                                   {"tree/\xff", "no text"},
                                                   {"tree/none", ""}};
    for (auto const& file : files)
        if (file.first != "tree/in/noise") spill(source.path() / file.first, file.second);
    fs::create_directories(source.path() / "tree/empty/deeper");
    fs::create_directory(source.path() / "tree/b");
    fs::create_directory_symlink("/", source.path() / "tree/b/out");
    fs::create_directory_symlink("../b", source.path() / "tree/b/up");
    fs::create_directory_symlink("nowhere", source.path() / "tree/dangling");
    fs::create_directory(source.path() / "tree/in");
    fs::create_symlink("../a/noise", source.path() / "tree/in/noise");

    Server server({}, {"--key", "a secret"});
    auto const send = [&](std::vector<std::string> args, std::vector<std::string> const& paths) {
        args.insert(args.begin(), program("courier_send"));
        args.insert(args.end(), {"127.0.0.1", std::to_string(server.port())});
        args.insert(args.end(), paths.begin(), paths.end());
        return std::make_unique<Process>(source.path(), args);
    };
    auto sender = send({"--gzip", "--key", "a secret", "--report", "report.xml"}, {"tree"});
    EXPECT_EQ(0, sender->wait()) << sender->err();
    EXPECT_EQ(files, server.stored());
    EXPECT_TRUE(fs::is_directory(server.inbox() / "tree/empty/deeper"));
    EXPECT_TRUE(fs::is_directory(server.inbox() / "tree/b"));
    for (char const* const text :
         {"tree/b/out: a link to a folder", "tree/b/up: a link to a folder",
          "tree/dangling: a link to a folder, out of the tree or to nowhere",
          "tree/in/noise: a link, sent as what it leads to"})
        EXPECT_NE(std::string::npos, sender->err().find(text)) << sender->err();
    EXPECT_NE(std::string::npos, sender->out().find("report: 7 entries in report.xml"))
        << sender->out();

    // Another key, and none, are receipts.
    spill(source.path() / "lines", std::string(1000, 'y'));
    for (char const* const mode : {"--gzip", "--ping"}) {
        sender = send({mode, "--key", "another"}, {"lines"});
        EXPECT_EQ(1, sender->wait());
        EXPECT_NE(std::string::npos,
                  sender->err().find(mode == "--gzip"s ? "damaged chunk, or another key"
                                                       : "the CRC differs"));
    }
    EXPECT_EQ(0, server.stop());
    EXPECT_EQ(files, server.stored());
    std::string const index = server.index();
    EXPECT_NE(std::string::npos, index.find("<file name=\"tree/a/lines\">\n"
                                            "        <size>600000</size>\n"
                                            "        <stored>1</stored>\n"
                                            "        <md5>"))
        << index;
    // The sender's report has the same digest.
    auto const digest = [](std::string const& xml) {
        return xml.substr(xml.find("<md5>", xml.find("tree/a/noise")), 40);
    };
    EXPECT_EQ(digest(index), digest(slurp(source.file("report.xml"))));
    Server plain;
    Process without(source.path(), {program("courier_send"), "--key", "k", "127.0.0.1",
                                    std::to_string(plain.port()), "lines"});
    EXPECT_EQ(1, without.wait());
    EXPECT_NE(std::string::npos, without.err().find("the server has no key"));
}

TEST(CourierRefusal, NamesThatLeaveTheInbox) {
    Server server;
    fs::create_directory_symlink("/tmp", server.inbox() / "link");
    Peer peer = server.connect();
    std::pair<std::string, std::string> const names[] = {
        {"", "empty name"},
        {"/etc/passwd", "absolute name"},
        {"/", "absolute name"},
        {"..", "the name leaves its folder"},
        {"../x", "the name leaves its folder"},
        {"a/../../x", "the name leaves its folder"},
        {"a/..", "the name leaves its folder"},
        {"./x", "the name leaves its folder"},
        {"a//b", "empty component in the name"},
        {"a/", "empty component in the name"},
        {"a\0b"s, "NUL in the name"},
        {"..\\x", "backslash in the name"},
        {"\\x", "backslash in the name"},
        {"c:\\x", "backslash in the name"},
        {".incoming/1", "the name is the server's own"},
        {"link/x", "the name leads through a link"},
    };
    unsigned transfer = 0;
    for (auto const& name : names) {
        ++transfer;
        peer.write(begin(transfer, name.first, 3) + chunk(transfer, 0, "abc") +
                   end(transfer, "abc"));
        EXPECT_EQ(name.second, receipt(peer)) << name.first;
    }
    // The connection is as good as before.
    ++transfer;
    peer.write(begin(transfer, "a/good\nname", 3) + chunk(transfer, 0, "abc") +
               end(transfer, "abc"));
    EXPECT_EQ("stored", receipt(peer));
    fs::remove(server.inbox() / "link");
    EXPECT_EQ((std::map<std::string, std::string>{{"a/good\nname", "abc"}}), server.stored());
    EXPECT_EQ(0, server.stop());
    EXPECT_EQ(std::size(names), server.lines("not stored "));
    EXPECT_EQ(1u, server.lines("stored a/good\\x0Aname, 3 bytes from "));
}

TEST(CourierRefusal, FilesThatAreNotWhatTheyClaim) {
    Server server;
    Peer peer = server.connect();
    std::pair<std::string, std::string> const cases[] = {
        {chunk(1, 1, "bc"), "chunk at 1 where 0 was due"},
        {chunk(1, 0, "ab") + chunk(1, 0, "ab"), "chunk at 0 where 2 was due"},
        {chunk(1, 0, "abcd"), "more bytes than announced"},
        {chunk(1, 0, "ab") + end(1, "ab"), "2 bytes where 3 were announced"},
        {chunk(1, 0, "abc") + end(1, "abd"), "the CRC differs"},
        {begin(1, "other", 1) + end(1, ""), "another file began before its end"},
    };
    for (auto const& item : cases) {
        peer.write(begin(1, "name", 3) + item.first);
        EXPECT_EQ(item.second, receipt(peer));
        if (item.first.find("other") != std::string::npos) {
            EXPECT_EQ("0 bytes where 1 were announced", receipt(peer));
        }
    }
    // The same name at once, and once it is free again.
    Peer other = server.connect();
    peer.write(begin(0, "name", 3) + chunk(0, 0, "ab"));
    peer.readFrame();
    other.write(begin(1, "name", 3));
    EXPECT_EQ("a file of this name is under way", receipt(other));
    peer.write(chunk(0, 2, "c") + end(0, "abc"));
    EXPECT_EQ("stored", receipt(peer));
    other.write(begin(2, "name", 0) + end(2, ""));
    EXPECT_EQ("stored", receipt(other));
    // Bytes that are no message end their connection, and the file under way with it.
    for (std::string const& bytes :
         {frame("\x25"), frame("what?"), frame(""), message(9, 1u), "\xff\xff\xff\xff"s, "\0"s}) {
        Peer bad = server.connect();
        bad.write(begin(1, "half", 6) + chunk(1, 0, "abc"));
        bad.readFrame();
        bad.write(bytes);
        if (bytes.size() == 1)
            bad.reset();
        else
            EXPECT_TRUE(bad.atEnd());
    }
    EXPECT_EQ(0, server.stop());
    EXPECT_EQ((std::map<std::string, std::string>{{"name", ""}}), server.stored());
    EXPECT_EQ(6u, server.lines(": the connection ended"));
}

TEST(CourierFaults, AFullDiskIsAReceipt) {
    // Files of up to 64 KiB (128 blocks) as the stand-in for a disk.
    Server server({"/bin/sh", "-c", "trap '' XFSZ; ulimit -f 128; exec \"$@\"", "sh"});
    TempDir source;
    spill(source.path() / "large", std::string(1 << 20, 'x'));
    spill(source.path() / "small", "small");
    Process sender(source.path(), {program("courier_send"), "127.0.0.1",
                                   std::to_string(server.port()), "large", "small"});
    EXPECT_EQ(1, sender.wait());
    EXPECT_NE(std::string::npos, sender.err().find("large: cannot write: (27) File too large"));
    EXPECT_EQ((std::map<std::string, std::string>{{"small", "small"}}), server.stored());
    EXPECT_EQ(0, server.stop());
    EXPECT_EQ(1u, server.lines("not stored large from "));
}

TEST(CourierStop, FilesUnderWayAreFinishedAndNoneIsBegun) {
    Server server;
    Peer peer = server.connect();
    Peer late = server.connect();
    peer.write(begin(1, "slow", 6) + chunk(1, 0, "abc"));
    peer.readFrame();
    server.process().signal(SIGTERM);
    // Refused from the signal on, which takes a moment to arrive.
    std::string answer;
    for (unsigned i = 1; answer != "the server is stopping" && i < 10000; ++i) {
        late.write(begin(i, "late", 0) + end(i, ""));
        answer = receipt(late);
    }
    EXPECT_EQ("the server is stopping", answer) << slurp(server.log());
    peer.write(chunk(1, 3, "def") + end(1, "abcdef"));
    EXPECT_EQ("stored", receipt(peer));
    EXPECT_EQ(0, server.process().wait());
    EXPECT_EQ("abcdef", server.stored()["slow"]);
}

TEST(CourierStop, ASecondSignalEndsItAtOnceAndLeavesNothingHalf) {
    Server server;
    Peer peer = server.connect();
    peer.write(begin(1, "never", 6) + chunk(1, 0, "abc"));
    peer.readFrame();
    auto const start = std::chrono::steady_clock::now();
    server.process().signal(SIGINT);
    server.process().signal(SIGTERM);
    EXPECT_EQ(0, server.process().wait());
    EXPECT_LT(std::chrono::steady_clock::now() - start, PATIENCE);
    EXPECT_TRUE(server.stored().empty());
}

// A person at a terminal.
class Terminal {
public:
    Terminal(fs::path const& dir, std::string const& command) {
        pid_ = forkpty(&fd_, nullptr, nullptr, nullptr);
        if (pid_ == 0) {
            if (chdir(dir.c_str()) == 0) execl(command.c_str(), command.c_str(), nullptr);
            _exit(127);
        }
    }
    Terminal(Terminal const&) = delete;
    Terminal& operator=(Terminal const&) = delete;
    ~Terminal() {
        close(fd_);
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
    void type(std::string const& line) {
        EXPECT_EQ(static_cast<ssize_t>(line.size()), write(fd_, line.data(), line.size()));
    }
    // What has been shown since the last call, up to `text` and with it.
    std::string until(std::string const& text) {
        for (;;) {
            auto const at = shown_.find(text);
            if (at != std::string::npos) {
                std::string const found = shown_.substr(0, at + text.size());
                shown_.erase(0, found.size());
                return found;
            }
            pollfd ready{fd_, POLLIN, 0};
            char bytes[4096];
            auto const patience = std::chrono::milliseconds(PATIENCE).count();
            ssize_t n = 0;
            if (poll(&ready, 1, static_cast<int>(patience)) > 0) n = read(fd_, bytes, sizeof bytes);
            if (n <= 0) {
                ADD_FAILURE() << text << " was not shown, but: " << shown_;
                return shown_;
            }
            for (char const c : std::string(bytes, static_cast<std::size_t>(n)))
                if (c != '\r') shown_ += c;
        }
    }
    int wait() {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }

private:
    int fd_ = -1;
    pid_t pid_ = -1;
    std::string shown_;
};

TEST(CourierSettings, ATerminalSeesWhatIsWrongAndTakesCommands) {
    TempDir dir;
    spill(dir.path() / "courier.pml",
          "courier(port(70000) idleTimeout(soon) adress(1) inbox(in)\n"
          "log(filename(c.log) debugOn(maybe) maxNumofMsg(many) zap(1)\n"
          "appLogs:map(COURIER.CHUNK(0) X(perhaps))))");
    Terminal terminal(dir.path(), program("courier_server"));
    EXPECT_EQ(
        "courier_server: courier/port: '70000' is no port, 0 stands in\n"
        "courier_server: courier/idleTimeout: 'soon' is no number, 60 stands in\n"
        "courier_server: courier/adress: unknown, ignored\n"
        "courier_server: courier/log/debugOn: 'maybe' is neither true nor false, 1 stands in\n"
        "courier_server: courier/log/maxNumofMsg: 'many' is no number, 100 stands in\n"
        "courier_server: courier/log/zap: unknown, ignored\n"
        "courier_server: courier/log/appLogs/X: 'perhaps' is neither true nor false, "
        "0 stands in\n"
        "listening on ",
        terminal.until("listening on "));
    unsigned short port = 0;
    std::sscanf(terminal.until("\n> ").c_str(), "%hu", &port);
    Peer peer = Peer::connect(port);
    terminal.type("log on COURIER.CHUNK\n");
    terminal.until("COURIER.CHUNK is on\n");
    peer.write(begin(1, "half", 6) + chunk(1, 0, "abcd"));
    peer.readFrame();
    terminal.type("status\n");
    std::string const status = terminal.until("    }\n}\n");
    EXPECT_NE(std::string::npos, status.find("@courier::Inbox{\n    folder_ = 'in'\n"
                                             "    stored_ = 0\n    failed_ = 0\n"))
        << status;
    EXPECT_NE(std::string::npos, status.find("size = 6\n")) << status;
    EXPECT_NE(std::string::npos, status.find("received = 4\n")) << status;
    terminal.type("log off COURIER.CHUNK\n");
    terminal.until("COURIER.CHUNK is off\n");
    terminal.type("log maybe\n");
    terminal.until("commands: status, log on NAME, log off NAME, quit\n");
    peer.write(chunk(1, 4, "ef") + end(1, "abcdef"));
    EXPECT_EQ("stored", receipt(peer));
    terminal.type("quit\n");
    EXPECT_EQ(0, terminal.wait());
    EXPECT_EQ("abcdef", slurp(dir.path() / "in" / "half"));
    std::string const log = slurp(dir.path() / "c.log");
    EXPECT_NE(std::string::npos, log.find("[COURIER.CHUNK]")) << log;
    EXPECT_NE(std::string::npos, log.find("half, 4 of 6")) << log;
    EXPECT_EQ(std::string::npos, log.find("half, 6 of 6")) << log;
    EXPECT_NE(std::string::npos, log.find("settings: courier/adress: unknown, ignored")) << log;
}

TEST(CourierSettings, SilentConnectionsAreClosedByATimer) {
    TempDir dir;
    spill(dir.path() / "short.pml", "c(idleTimeout(1))");
    Server server({}, {"--config", dir.file("short.pml")});
    Peer silent = server.connect();
    Peer talking = server.connect();
    talking.write(begin(1, "half", 6) + chunk(1, 0, "abc"));
    talking.readFrame();
    EXPECT_TRUE(silent.atEnd());
    EXPECT_TRUE(talking.atEnd());
    EXPECT_EQ(0, server.stop());
    EXPECT_EQ(2u, server.lines(", idle"));
    EXPECT_EQ(1u, server.lines("not stored half"));
    EXPECT_TRUE(server.stored().empty());
}

TEST(CourierSettings, AFileThatDoesNotParseEndsTheServerWithItsPlace) {
    TempDir dir;
    spill(dir.path() / "bad.pml", "courier(\n  port:x:y(1)\n");
    for (char const* const file : {"bad.pml", "missing.pml"}) {
        Process server(dir.path(), {program("courier_server"), "--config", file});
        EXPECT_EQ(1, server.wait());
        EXPECT_NE(std::string::npos,
                  server.err().find(file == "bad.pml"s ? "file bad.pml, line 2, column 9"
                                                       : "no such file: missing.pml"))
            << server.err();
    }
}

}  // namespace
