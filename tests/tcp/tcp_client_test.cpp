#include "zan/tcp/tcp_client.h"

#include <gtest/gtest.h>

#include <atomic>

#include "tcp/tcp_support.h"

namespace {

using namespace zan_test;
using namespace std::string_literals;

TEST(TcpClientTalk, MessagesBothWaysAndTheLines) {
    Lines lines({"TCP.INFO", "TCP.TRACE"});
    Listener listener;
    zan::TcpClient client;
    EXPECT_FALSE(client.send("x", 1));
    EXPECT_EQ("null tcp client impl", lines.of("TCP.INFO").back());
    EXPECT_EQ(0, client.getLocalPort());
    zan::Handle<Recorder> const recorder(new Recorder);
    ASSERT_TRUE(client.open(listener.addr(), recorder, 5, 65536));
    Peer server = listener.accept();
    EXPECT_EQ(1u,
              lines.count("{tcp.client}TcpClientImpl::onBirth() connected at 127.0.0.1:" +
                          std::to_string(client.getLocalPort()) + " to " + listener.name() + '\n'));
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
    EXPECT_EQ(listener.addr(), recorder->closed().front());
    ASSERT_TRUE(lines.waitFor("thread end."));
    EXPECT_FALSE(client.send("late", 1));
    EXPECT_EQ(1u, lines.count("get_remote_addr"));
    EXPECT_EQ("break loop: !recv()", lines.of("TCP.INFO").back());
    client.close();
    EXPECT_EQ(0, client.getLocalPort());
    EXPECT_EQ(1u, recorder->closed().size());
    EXPECT_FALSE(client.send("x", 1));
}

// What comes in on one side goes out on the other, and only there.
TEST(TcpClientTalk, ARelayFromItsCallback) {
    Listener listener;
    TestServer server;
    Peer user = server.greeted();
    zan::TcpClient client;
    zan::Handle<Recorder> const recorder(new Recorder);
    zan::TcpServer closed;
    ASSERT_TRUE(closed.open(loopback(), nullptr, 0));
    closed.close();
    recorder->hook = [&](zan::TcpAddr const& peer, zan::istr const& data) {
        EXPECT_FALSE(closed.send(peer, data, 1));
        EXPECT_TRUE(server.server.send(user.addr(), data, 1));
        EXPECT_TRUE(client.send(data, 1));
    };
    ASSERT_TRUE(client.open(listener.addr(), recorder, 5, 0));
    Peer far = listener.accept();
    for (auto const& message : {std::string("to you"), std::string(70000, 'y'), std::string()}) {
        far.write(frame(message));
        EXPECT_EQ(message, user.readFrame());
        EXPECT_EQ(message, far.readFrame());
    }
    client.close();
    EXPECT_TRUE(far.atEnd());
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
    EXPECT_FALSE(client.open(deaf.addr(), recorder, 5, 0));
    EXPECT_EQ(1u, lines.count("\"Connection refused\" connection failed " + deaf.name() + '\n'));

    // A listener whose queue is full answers no more.
    Listener const full(0);
    std::vector<Peer> waiting;
    for (int i = 0; i < 4; ++i) {
        waiting.emplace_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
        waiting.back().connectTo(full.port());
    }
    EXPECT_FALSE(client.open(full.addr(), recorder, 1, 0));
    EXPECT_EQ(1u, lines.count("\"Timer expired\" connection timeout " + full.name() + '\n'));
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
        ASSERT_TRUE(client.open(listener.addr(), recorder, 5, 0));
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
    ASSERT_TRUE(client.open(listener.addr(), recorder, 5, 0));
    Peer first = listener.accept();
    ASSERT_TRUE(client.open(listener.addr(), recorder, 5, 0));
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
        ASSERT_TRUE(scoped.open(listener.addr(), recorder, 5, 0));
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
        Threads senders(3, [&](unsigned) {
            while (!done) client.send("ping", 1);
        });
        ASSERT_TRUE(recorder->waitMessages(50));
        Threads(2, [&](unsigned) { client.close(); });
        done = true;
        senders.join();
        for (auto const& message : recorder->messages()) ASSERT_EQ("ping", message);
        EXPECT_EQ(1u, recorder->closed().size());
    }
}

}  // namespace
