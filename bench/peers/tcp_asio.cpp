#if defined(ZAN_PEER_ASIO)

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wshadow"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#include <asio.hpp>
#pragma GCC diagnostic pop

#include <thread>
#include <vector>

#include "peers/tcp_echo.h"

namespace bench_tcp {

namespace {

using asio::ip::tcp;

void serve(tcp::socket& socket) {
    std::vector<char> frame(4);
    asio::error_code error;
    socket.set_option(tcp::no_delay(true), error);
    for (;;) {
        asio::read(socket, asio::buffer(frame.data(), 4), error);
        if (error) return;
        auto const* const head = reinterpret_cast<unsigned char const*>(frame.data());
        std::size_t const size = std::size_t{head[0]} << 24 | std::size_t{head[1]} << 16 |
                                 std::size_t{head[2]} << 8 | head[3];
        if (frame.size() < 4 + size) frame.resize(4 + size);
        asio::read(socket, asio::buffer(frame.data() + 4, size), error);
        if (error) return;
        asio::write(socket, asio::buffer(frame.data(), 4 + size), error);
        if (error) return;
    }
}

class Asio : public EchoServer {
public:
    Asio() : acceptor_(context_, tcp::endpoint(asio::ip::address_v4::loopback(), 0)) {
        port_ = acceptor_.local_endpoint().port();
        thread_ = std::thread([this] {
            for (;;) {
                asio::error_code error;
                tcp::socket socket = acceptor_.accept(error);
                if (error) return;
                sockets_.push_back(std::make_unique<tcp::socket>(std::move(socket)));
                threads_.emplace_back([&s = *sockets_.back()] { serve(s); });
            }
        });
    }
    ~Asio() override {
        ::shutdown(acceptor_.native_handle(), SHUT_RDWR);
        thread_.join();
        for (auto& socket : sockets_) ::shutdown(socket->native_handle(), SHUT_RDWR);
        for (auto& thread : threads_) thread.join();
    }
    unsigned short port() const override { return port_; }

private:
    asio::io_context context_;
    tcp::acceptor acceptor_;
    unsigned short port_ = 0;
    std::thread thread_;
    std::vector<std::unique_ptr<tcp::socket>> sockets_;
    std::vector<std::thread> threads_;
};

}  // namespace

std::unique_ptr<EchoServer> makeAsio() {
    return std::make_unique<Asio>();
}

}  // namespace bench_tcp

#endif
