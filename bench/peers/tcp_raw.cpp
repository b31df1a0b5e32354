// The limit: what a thread can do with recv and send and nothing else. Once as everybody writes it,
// with a read of the size and one of the payload, and once with all that is there in one read.
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "peers/tcp_echo.h"

namespace bench_tcp {

namespace {

void sendAll(int fd, char const* p, std::size_t n) {
    while (n != 0) {
        ssize_t const sent = send(fd, p, n, MSG_NOSIGNAL);
        if (sent <= 0) return;
        p += sent;
        n -= static_cast<std::size_t>(sent);
    }
}

void serve(int fd) {
    std::vector<char> frame(4);
    while (recv(fd, frame.data(), 4, MSG_WAITALL) == 4) {
        auto const* const head = reinterpret_cast<unsigned char const*>(frame.data());
        std::size_t const size = std::size_t{head[0]} << 24 | std::size_t{head[1]} << 16 |
                                 std::size_t{head[2]} << 8 | head[3];
        if (frame.size() < 4 + size) frame.resize(4 + size);
        if (recv(fd, frame.data() + 4, size, MSG_WAITALL) != static_cast<ssize_t>(size)) return;
        sendAll(fd, frame.data(), 4 + size);
    }
}

void serveAhead(int fd) {
    std::vector<char> buffer(256 * 1024);
    std::size_t filled = 0;
    for (;;) {
        ssize_t const n = recv(fd, buffer.data() + filled, buffer.size() - filled, 0);
        if (n <= 0) break;
        filled += static_cast<std::size_t>(n);
        std::size_t begin = 0;
        while (filled - begin >= 4) {
            auto const* const head = reinterpret_cast<unsigned char const*>(buffer.data()) + begin;
            std::size_t const size = 4 + (std::size_t{head[0]} << 24 | std::size_t{head[1]} << 16 |
                                          std::size_t{head[2]} << 8 | head[3]);
            if (filled - begin < size) break;
            sendAll(fd, buffer.data() + begin, size);
            begin += size;
        }
        if (begin != 0 && begin != filled)
            std::memmove(buffer.data(), buffer.data() + begin, filled - begin);
        filled -= begin;
    }
}

class Raw : public EchoServer {
public:
    explicit Raw(void (*serveOne)(int))
        : serve_(serveOne), listener_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof addr;
        bind(listener_, reinterpret_cast<sockaddr*>(&addr), size);
        listen(listener_, 128);
        getsockname(listener_, reinterpret_cast<sockaddr*>(&addr), &size);
        port_ = ntohs(addr.sin_port);
        acceptor_ = std::thread([this] { acceptAll(); });
    }
    ~Raw() override {
        shutdown(listener_, SHUT_RDWR);
        acceptor_.join();
        for (int const fd : clients_) shutdown(fd, SHUT_RDWR);
        for (auto& thread : threads_) thread.join();
        for (int const fd : clients_) close(fd);
        close(listener_);
    }
    unsigned short port() const override { return port_; }

private:
    void acceptAll() {
        for (;;) {
            int const fd = accept(listener_, nullptr, nullptr);
            if (fd == -1) return;
            int on = 1;
            setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            clients_.push_back(fd);
            threads_.emplace_back(serve_, fd);
        }
    }

    void (*const serve_)(int);
    int listener_;
    unsigned short port_ = 0;
    std::thread acceptor_;
    std::vector<int> clients_;  // the acceptor's until it has ended
    std::vector<std::thread> threads_;
};

}  // namespace

std::unique_ptr<EchoServer> makeRaw() {
    return std::make_unique<Raw>(serve);
}

std::unique_ptr<EchoServer> makeRawAhead() {
    return std::make_unique<Raw>(serveAhead);
}

}  // namespace bench_tcp
