#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <utility>

#include "support/threads.h"
#include "zan/log/log_logger.h"
#include "zan/tcp/tcp_client.h"
#include "zan/tcp/tcp_server.h"

// What the tests of the network share: a peer made of plain system calls, a callback that records,
// and the lines of the log.

namespace zan_test {

inline std::string frame(std::string const& payload) {
    std::string wire;
    for (int shift : {24, 16, 8, 0}) wire += static_cast<char>(payload.size() >> shift);
    return wire + payload;
}

inline zan::TcpAddr loopback(unsigned short port = 0) {
    return zan::TcpAddr(port, "127.0.0.1");
}

// A socket without any of the library in it.
class Peer {
public:
    explicit Peer(int fd = socket(AF_INET, SOCK_STREAM, 0)) : fd_(fd) {}
    static Peer connect(unsigned short port) {
        Peer peer;
        if (!peer.connectTo(port)) peer.close();
        return peer;
    }
    bool connectTo(unsigned short port) {
        sockaddr_in const to = address(port);
        if (::connect(fd_, reinterpret_cast<sockaddr const*>(&to), sizeof to) != 0) return false;
        int const on = 1;
        setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        timeval const limit = {PATIENCE.count(), 0};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        return true;
    }
    Peer(Peer&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Peer& operator=(Peer&&) = delete;
    ~Peer() { close(); }

    bool valid() const { return fd_ != -1; }
    int fd() const { return fd_; }
    unsigned short port() const {
        sockaddr_in addr{};
        socklen_t size = sizeof addr;
        getsockname(fd_, reinterpret_cast<sockaddr*>(&addr), &size);
        return ntohs(addr.sin_port);
    }
    zan::TcpAddr addr() const { return loopback(port()); }
    std::string name() const { return "127.0.0.1:" + std::to_string(port()); }

    bool write(std::string const& bytes) {
        for (std::size_t done = 0; done < bytes.size();) {
            ssize_t const n = send(fd_, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
            if (n <= 0) return false;
            done += static_cast<std::size_t>(n);
        }
        return true;
    }
    // Fewer bytes only at the end of the stream.
    std::string read(std::size_t n) {
        std::string bytes(n, 0);
        if (n == 0) return bytes;  // the system would wait for a byte
        ssize_t const got = recv(fd_, bytes.data(), n, MSG_WAITALL);
        bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        return bytes;
    }
    bool atEnd() { return read(1).empty(); }
    std::string readFrame() {
        std::string const head = read(4);
        if (head.size() != 4) return "<end>";
        std::size_t size = 0;
        for (char c : head) size = size << 8 | static_cast<unsigned char>(c);
        return read(size);
    }
    // The answer to a message.
    std::string ask(std::string const& payload) {
        write(frame(payload));
        return readFrame();
    }
    void reset() {
        linger const now = {1, 0};
        setsockopt(fd_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
        close();
    }
    void close() {
        if (fd_ != -1) ::close(fd_);
        fd_ = -1;
    }

protected:
    static sockaddr_in address(unsigned short port) {
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        addr.sin_port = htons(port);
        return addr;
    }

    int fd_;
};

// One that listens on a port of its own; with a negative backlog it has the port only.
class Listener : public Peer {
public:
    explicit Listener(int backlog = 16) {
        sockaddr_in const own = address(0);
        bind(fd_, reinterpret_cast<sockaddr const*>(&own), sizeof own);
        if (backlog >= 0) listen(fd_, backlog);
    }
    Peer accept() { return Peer(::accept(fd_, nullptr, nullptr)); }
};

class Recorder : public zan::TcpCallback {
public:
    void onRecv(zan::TcpAddr const& peer, zan::istr const& data) override {
        gate_.change([&] {
            // A client's peer may be the same again after a reopen.
            if (oneConnectionToAPeer) {
                EXPECT_EQ(0, std::count(closed_.begin(), closed_.end(), peer)) << "after onClose";
            }
            messages_.push_back(data);
        });
        if (hook) hook(peer, data);
    }
    void onClose(zan::TcpAddr const& peer) override {
        gate_.change([&] { closed_.push_back(peer); });
        if (closeHook) closeHook(peer);
    }

    bool waitMessages(std::size_t n) {
        return gate_.wait([&] { return messages_.size() >= n; });
    }
    bool waitClosed(std::size_t n) {
        return gate_.wait([&] { return closed_.size() >= n; });
    }
    std::vector<std::string> messages() {
        std::vector<std::string> copy;
        gate_.change([&] { copy = messages_; });
        return copy;
    }
    std::vector<zan::TcpAddr> closed() {
        std::vector<zan::TcpAddr> copy;
        gate_.change([&] { copy = closed_; });
        return copy;
    }

    std::function<void(zan::TcpAddr const&, zan::istr const&)> hook;
    std::function<void(zan::TcpAddr const&)> closeHook;
    bool oneConnectionToAPeer = false;

private:
    Gate gate_;
    std::vector<std::string> messages_;
    std::vector<zan::TcpAddr> closed_;
};

// The lines that the library writes while this object lives, from the tag on. What receives them
// stays to the end of the program, since a thread may be about to log when this object goes.
class Lines {
public:
    explicit Lines(std::vector<zan::String> const& categories = {}) : categories_(categories) {
        gate_.change([&] { lines_.clear(); });
        zan::detail::zanLogger().setObserver(&receiver());
        zan::detail::zanLogger().setDebugObserver(&receiver());
        for (auto const& c : categories_) zan::detail::zanLogger().setAppLog(c, true);
    }
    Lines(Lines const&) = delete;
    Lines& operator=(Lines const&) = delete;
    ~Lines() {
        for (auto const& c : categories_) zan::detail::zanLogger().setAppLog(c, false);
        zan::detail::zanLogger().setObserver(nullptr);
        zan::detail::zanLogger().setDebugObserver(nullptr);
    }
    bool waitFor(std::string const& part, std::size_t n = 1) {
        return gate_.wait([&] { return countLocked(part) >= n; });
    }
    std::size_t count(std::string const& part) {
        std::size_t n = 0;
        gate_.change([&] { n = countLocked(part); });
        return n;
    }
    // The text behind "[tag]{thread}func() " of the lines of this tag; of a category's lines behind
    // the source place too.
    std::vector<std::string> of(std::string const& tag) {
        std::vector<std::string> out;
        gate_.change([&] {
            for (auto line : lines_) {
                if (line.rfind('[' + tag + ']', 0) != 0) continue;
                line.erase(0, line.find("() ") + 3);
                if (tag.rfind("TCP.", 0) == 0)
                    line.erase(0, line.find(") ", line.find(".cpp:")) + 2);
                while (!line.empty() && line.back() == '\n') line.pop_back();
                out.push_back(line);
            }
        });
        return out;
    }

private:
    std::size_t countLocked(std::string const& part) const {
        return static_cast<std::size_t>(std::count_if(
            lines_.begin(), lines_.end(),
            [&](std::string const& line) { return line.find(part) != std::string::npos; }));
    }

    struct Receiver : zan::LogObserver {
        void onLog(zan::istr const& line) override {
            std::string text = line;
            auto const at = text.find("[ZAN]");
            if (at != std::string::npos) text.erase(0, at + 5);
            gate.change([&] { lines.push_back(text); });
        }
        Gate gate;
        std::vector<std::string> lines;
    };
    static Receiver& receiver() {
        static Receiver& all = *new Receiver;
        return all;
    }

    std::vector<zan::String> categories_;
    Gate& gate_ = receiver().gate;
    std::vector<std::string>& lines_ = receiver().lines;
};

// A server with a recorder, open on a port of its own.
struct TestServer {
    explicit TestServer(unsigned long maxFrameSize = zan::TcpChannel::MAX_FRAME_SIZE)
        : recorder(new Recorder) {
        server.setMaxFrameSize(maxFrameSize);
        recorder->oneConnectionToAPeer = true;
        EXPECT_TRUE(server.open(loopback(), recorder, 0));
    }
    void echo() {
        recorder->hook = [this](zan::TcpAddr const& peer, zan::istr const& data) {
            server.send(peer, data, 10);
        };
    }
    Peer connect() { return Peer::connect(server.getLocalPort()); }
    // One whose first message has arrived.
    Peer greeted() {
        std::size_t const before = recorder->messages().size();
        Peer peer = connect();
        peer.write(frame("hello"));
        EXPECT_TRUE(recorder->waitMessages(before + 1));
        return peer;
    }

    zan::TcpServer server;
    zan::Handle<Recorder> recorder;
};

}  // namespace zan_test
