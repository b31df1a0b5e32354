#include "example.h"

namespace {
struct Echo : zan::TcpCallback {
    explicit Echo(zan::TcpServer& s) : server(s) {}
    void onRecv(zan::TcpAddr const& peer, zan::istr const& data) override {
        server.send(peer, data, 5);
    }
    void onClose(zan::TcpAddr const&) override {}
    zan::TcpServer& server;
};

struct Answer : zan::TcpCallback {
    void onRecv(zan::TcpAddr const&, zan::istr const& data) override {
        monitor.lock();
        text = data;
        monitor.notify();
        monitor.unlock();
    }
    void onClose(zan::TcpAddr const&) override {}
    zan::String wait() {
        monitor.lock();
        while (text.empty()) monitor.wait();
        monitor.unlock();
        return text;
    }
    zan::Monitor monitor;
    zan::String text;
};
}  // namespace

EXAMPLE(TcpServer) {
    // also: TcpClient, TcpCallback, TcpAddr, TcpChannel
    // Echo::onRecv() calls server.send(peer, data, 5); Answer keeps what arrives.
    zan::TcpServer server;
    server.open(zan::TcpAddr(0, "127.0.0.1"), new Echo(server), 0);
    zan::Handle<Answer> const answer(new Answer);
    zan::TcpClient client;
    client.open(zan::TcpAddr(server.getLocalPort(), "127.0.0.1"), answer.get(), 5, 0);
    client.send("hello", 5);
    std::cout << answer->wait() << '\n';
    client.close();
    server.close();
}

int main() {
    return reference::run("reference_tcp.log");
}
