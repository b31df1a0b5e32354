#include "zan/tcp/tcp_client.h"

#include <gtest/gtest.h>

#include <atomic>
#include <sstream>
#include <thread>

#include "tcp/tcp_support.h"

namespace {

using namespace zan_test;
using namespace std::string_literals;

// A listening socket without any of the library in it.
class Listener {
public:
    explicit Listener(int backlog = 16) : fd_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof addr;
        bind(fd_, reinterpret_cast<sockaddr*>(&addr), size);
        if (backlog >= 0) listen(fd_, backlog);
        getsockname(fd_, reinterpret_cast<sockaddr*>(&addr), &size);
        port_ = ntohs(addr.sin_port);
    }
    Listener(Listener const&) = delete;
    Listener& operator=(Listener const&) = delete;
    ~Listener() { close(fd_); }
    unsigned short port() const { return port_; }
    Peer accept() { return Peer(::accept(fd_, nullptr, nullptr)); }

private:
    int fd_;
    unsigned short port_ = 0;
};

TEST(TcpClientTalk, MessagesBothWaysAndTheLines) {
    Lines lines({"TCP.INFO", "TCP.TRACE"});
    Listener listener;
    zan::TcpClient client;
    EXPECT_FALSE(client.send("x", 1));
    EXPECT_EQ("null tcp client impl", lines.of("TCP.INFO").back());
    EXPECT_EQ(0, client.getLocalPort());
    zan::Handle<Recorder> const recorder(new Recorder);
    ASSERT_TRUE(client.open(loopback(listener.port()), recorder, 5, 65536));
    Peer server = listener.accept();
    std::string const ports[] = {std::to_string(client.getLocalPort()),
                                 std::to_string(listener.port())};
    EXPECT_EQ(
        1u, lines.count("connected at 127.0.0.1:" + ports[0] + " to 127.0.0.1:" + ports[1] + '\n'));
    EXPECT_EQ(1u, lines.count("{tcp.client}TcpClientImpl::onBirth() connected at"));
    EXPECT_TRUE(client.send("abc", 1));
    EXPECT_EQ("\0\0\0\3abc"s, server.read(7));
    EXPECT_TRUE(client.send("", 0));
    EXPECT_EQ("\0\0\0\0"s, server.read(4));
    server.write(frame("one") + frame("") + frame(std::string(100000, 'x')));
    ASSERT_TRUE(recorder->waitMessages(3));
    EXPECT_EQ((std::vector<std::string>{"one", "", std::string(100000, 'x')}),
              recorder->messages());
    server.close();
    ASSERT_TRUE(recorder->waitClosed(1));
    EXPECT_EQ(loopback(listener.port()), recorder->closed().front());
    ASSERT_TRUE(lines.waitFor("thread end."));
    EXPECT_FALSE(client.send("late", 1));
    EXPECT_EQ(1u, lines.count("get_remote_addr"));
    EXPECT_EQ("break loop: !recv()", lines.of("TCP.INFO").back());
    client.close();
    EXPECT_EQ(0, client.getLocalPort());
    EXPECT_EQ(1u, recorder->closed().size());
    EXPECT_FALSE(client.send("x", 1));
}

TEST(TcpClientFaults, WhatCannotBeReached) {
    Lines lines;
    zan::TcpClient client;
    zan::Handle<Recorder> const recorder(new Recorder);
    EXPECT_FALSE(client.open(zan::TcpAddr(), recorder, 1, 0));
    EXPECT_FALSE(client.open(zan::TcpAddr(80, "no such host.invalid"), recorder, 1, 0));
    EXPECT_EQ(2u, lines.count("\"Cannot assign requested address\" invalid remote address "));
    EXPECT_FALSE(client.send("x", 1));

    Listener const deaf(-1);
    EXPECT_FALSE(client.open(loopback(deaf.port()), recorder, 5, 0));
    EXPECT_EQ(1u, lines.count("\"Connection refused\" connection failed 127.0.0.1:" +
                              std::to_string(deaf.port()) + '\n'));

    // A listener whose queue is full answers no more.
    Listener const full(0);
    std::vector<int> waiting;
    for (int i = 0; i < 4; ++i) {
        waiting.push_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        addr.sin_port = htons(full.port());
        ::connect(waiting.back(), reinterpret_cast<sockaddr*>(&addr), sizeof addr);
    }
    EXPECT_FALSE(client.open(loopback(full.port()), recorder, 1, 0));
    EXPECT_EQ(1u, lines.count("\"Timer expired\" connection timeout 127.0.0.1:" +
                              std::to_string(full.port()) + '\n'));
    for (int const fd : waiting) close(fd);
    client.close();
    EXPECT_EQ(0u, recorder->closed().size()) << "there was no connection";
}

TEST(TcpClientFaults, AServerThatLiesOrResetsIsOneClose) {
    Listener listener;
    for (std::string const& bytes :
         {"\0\0\0\x9"s, "\xff\xff\xff\xffx"s, frame("ok") + "\0\0"s, ""s}) {
        zan::TcpClient client;
        client.setMaxFrameSize(8);
        zan::Handle<Recorder> const recorder(new Recorder);
        ASSERT_TRUE(client.open(loopback(listener.port()), recorder, 5, 0));
        Peer server = listener.accept();
        server.write(bytes);
        if (bytes.size() > 6) {
            EXPECT_TRUE(recorder->waitMessages(1));
        }
        server.reset();
        ASSERT_TRUE(recorder->waitClosed(1));
        client.close();
        EXPECT_EQ(1u, recorder->closed().size());
    }
}

TEST(TcpClientLife, CloseWhileConnectedTellsFirstAndAReopenClosesTheOldOne) {
    Listener listener;
    zan::TcpClient client;
    zan::Handle<Recorder> const recorder(new Recorder);
    ASSERT_TRUE(client.open(loopback(listener.port()), recorder, 5, 0));
    Peer first = listener.accept();
    ASSERT_TRUE(client.open(loopback(listener.port()), recorder, 5, 0));
    EXPECT_EQ(1u, recorder->closed().size());
    EXPECT_TRUE(first.atEnd());
    Peer second = listener.accept();
    second.write(frame("to the second"));
    ASSERT_TRUE(recorder->waitMessages(1));
    client.close();
    EXPECT_EQ(2u, recorder->closed().size());
    EXPECT_TRUE(second.atEnd());
    client.close();
    {
        zan::TcpClient scoped;
        ASSERT_TRUE(scoped.open(loopback(listener.port()), recorder, 5, 0));
    }
    EXPECT_EQ(3u, recorder->closed().size()) << "the destructor closes";
}

TEST(TcpClientLife, SendersAndCloseRaceWithoutHarm) {
    TestServer test;
    test.echo();
    for (int round = 0; round < 10; ++round) {
        zan::TcpClient client;
        zan::Handle<Recorder> const recorder(new Recorder);
        ASSERT_TRUE(client.open(loopback(test.server.getLocalPort()), recorder, 5, 0));
        std::atomic<bool> done{false};
        std::vector<std::thread> threads;
        for (int t = 0; t < 3; ++t)
            threads.emplace_back([&] {
                while (!done) client.send("ping", 1);
            });
        ASSERT_TRUE(recorder->waitMessages(50));
        std::thread other([&] { client.close(); });
        client.close();
        other.join();
        done = true;
        for (auto& thread : threads) thread.join();
        for (auto const& message : recorder->messages()) ASSERT_EQ("ping", message);
        EXPECT_EQ(1u, recorder->closed().size());
    }
}

}  // namespace
