// Answers each message with the message itself, and keeps a log of who came.
//
//   echo                 listens on a free port and says which
//   echo PORT TEXT...    sends the texts to that port and prints what comes back
#include <zan/zan.h>

#include <cstdlib>
#include <iostream>
#include <utility>

namespace {

zan::logger& log() {
    return zan::logger_factory::instance(zan::LOGGER_ID);
}

// [server]
class EchoServer : public zan::UowMain, public zan::TcpCallback {
public:
    using UowMain::UowMain;

    void on_init() override {
        if (!server_.open(zan::TcpAddr(0, "127.0.0.1"), this, 0)) return stop(1);
        std::cout << "listening on " << server_.getLocalPort() << std::endl;
    }

    // The threads of the connections do the work; this one waits for the end.
    void on_loop() override {
        zan::MonitorLock const lock(quit_);
        while (!asked_) quit_.wait();
        stop(0);
    }
    void quit() {
        zan::MonitorLock const lock(quit_);
        asked_ = true;
        quit_.notify();
    }

    // On the thread of the peer's connection.
    void onRecv(zan::TcpAddr const& peer, zan::istr const& message) override {
        ZAN_INFO(log(), peer << " says " << message);
        server_.send(peer, message, 10);  // seconds
    }
    void onClose(zan::TcpAddr const& peer) override { ZAN_INFO(log(), peer << " has left"); }

    void on_fini() override { server_.close(); }

private:
    zan::TcpServer server_;
    zan::Monitor quit_;
    bool asked_ = false;
};
// [/server]

// [client]
class Answers : public zan::TcpCallback {
public:
    // On the thread of the client.
    void onRecv(zan::TcpAddr const&, zan::istr const& message) override {
        std::cout << message << std::endl;
        end(true);
    }
    void onClose(zan::TcpAddr const&) override { end(false); }

    // False when the connection ended first.
    bool wait() {
        zan::MonitorLock const lock(changed_);
        while (!answered_ && !closed_) changed_.wait();
        return std::exchange(answered_, false);
    }

private:
    void end(bool answered) {
        zan::MonitorLock const lock(changed_);
        (answered ? answered_ : closed_) = true;
        changed_.notify();
    }

    zan::Monitor changed_;
    bool answered_ = false;
    bool closed_ = false;
};

int ask(unsigned short port, int count, char** texts) {
    zan::TcpClient client;
    zan::Handle<Answers> const answers(new Answers);
    if (!client.open(zan::TcpAddr(port, "127.0.0.1"), answers, 10, 0)) return 1;
    for (int i = 0; i < count; ++i)
        if (!client.send(texts[i], 10) || !answers->wait()) return 1;
    client.close();
    return 0;
}
// [/client]

}  // namespace

// [main]
int main(int argc, char** argv) {
    zan::InitFini const library(argc > 1 ? "echo_client.log" : "echo.log", false);
    if (argc > 1) return ask(static_cast<unsigned short>(std::atoi(argv[1])), argc - 2, argv + 2);
    zan::WideArgs const args(argc, argv);
    zan::Handle<EchoServer> const server(new EchoServer(args.argc(), args.argv()));
    zan::QuitHandler const quit([](int) { static_cast<EchoServer&>(zan::app()).quit(); });
    return server->start();
}
// [/main]
