#if defined(ZAN_PEER_POCO)

#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/Net/TCPServer.h>
#include <Poco/Net/TCPServerConnection.h>
#include <Poco/Net/TCPServerConnectionFactory.h>
#include <Poco/ThreadPool.h>

#include <vector>

#include "peers/tcp_echo.h"

namespace bench_tcp {

namespace {

bool readAll(Poco::Net::StreamSocket& socket, char* p, int n) {
    while (n > 0) {
        int const got = socket.receiveBytes(p, n);
        if (got <= 0) return false;
        p += got;
        n -= got;
    }
    return true;
}

class Connection : public Poco::Net::TCPServerConnection {
public:
    using TCPServerConnection::TCPServerConnection;
    void run() override {
        std::vector<char> frame(4);
        try {
            socket().setNoDelay(true);
            while (readAll(socket(), frame.data(), 4)) {
                auto const* const head = reinterpret_cast<unsigned char const*>(frame.data());
                int const size = head[0] << 24 | head[1] << 16 | head[2] << 8 | head[3];
                if (frame.size() < 4u + static_cast<unsigned>(size))
                    frame.resize(4u + static_cast<unsigned>(size));
                if (!readAll(socket(), frame.data() + 4, size)) return;
                for (int sent = 0; sent < 4 + size;)
                    sent += socket().sendBytes(frame.data() + sent, 4 + size - sent);
            }
        } catch (Poco::Exception const&) {
        }
    }
};

class Poco_ : public EchoServer {
public:
    Poco_()
        : pool_(2, 128),
          socket_(Poco::Net::SocketAddress("127.0.0.1", 0), 128),
          server_(new Poco::Net::TCPServerConnectionFactoryImpl<Connection>, pool_, socket_,
                  params()) {
        server_.start();
    }
    ~Poco_() override {
        server_.stop();
        pool_.joinAll();
    }
    unsigned short port() const override { return server_.port(); }

private:
    static Poco::Net::TCPServerParams::Ptr params() {
        Poco::Net::TCPServerParams::Ptr params(new Poco::Net::TCPServerParams);
        params->setMaxThreads(100);
        params->setMaxQueued(200);
        return params;
    }

    Poco::ThreadPool pool_;
    Poco::Net::ServerSocket socket_;
    Poco::Net::TCPServer server_;
};

}  // namespace

std::unique_ptr<EchoServer> makePoco() {
    return std::make_unique<Poco_>();
}

}  // namespace bench_tcp

#endif
