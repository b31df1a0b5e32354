#include "zan/tcp/tcp_server.h"

#include <gmock/gmock.h>
#include <pthread.h>

#include <atomic>
#include <climits>
#include <set>

#include "support/open_files.h"
#include "support/seed.h"
#include "support/vectors.h"
#include "tcp/tcp_support.h"
#include "zan/base/exception.h"

namespace {

using namespace zan_test;
using namespace std::string_literals;
using testing::ElementsAre;

// --- The stream may be cut anywhere.

TEST(TcpServerFraming, EveryCutOfAStreamGivesTheSameMessages) {
    TestServer test;
    std::vector<std::string> const payloads = {"", "a", "in\0side"s, std::string(200, '\xff')};
    std::string wire;
    for (auto const& payload : payloads) wire += frame(payload);
    Peer peer = test.connect();
    std::vector<std::string> want;
    for (std::size_t cut = 0; cut <= wire.size(); ++cut) {
        peer.write(wire.substr(0, cut));
        if (cut % 16 == 0) std::this_thread::yield();
        peer.write(wire.substr(cut));
        want.insert(want.end(), payloads.begin(), payloads.end());
    }
    ASSERT_TRUE(test.recorder->waitMessages(want.size()));
    EXPECT_EQ(want, test.recorder->messages());
}

TEST(TcpServerFraming, RandomSizesComeBackWhole) {
    TestServer test;
    test.echo();
    auto random = makeRandom();
    Peer peer = test.connect();
    std::vector<unsigned long> sizes = {0,     1,     2047,  2048,  2049,  16379,
                                        16380, 16381, 32768, 65535, 65536, 1000000};
    for (int i = 0; i < 300; ++i) sizes.push_back(random() % (i % 10 == 0 ? 100000 : 300));
    std::string wire;
    for (unsigned long const size : sizes)
        wire += frame(std::string(size, static_cast<char>(random())));
    std::thread writer([&] {
        for (std::size_t at = 0, n; at < wire.size(); at += n)
            peer.write(wire.substr(at, n = 1 + random() % 70000));
    });
    std::string const back = peer.read(wire.size());
    writer.join();
    EXPECT_TRUE(wire == back);
}

TEST(FrameVectors, FramesComeAndGoAsTheyStandThere) {
    TestServer test;
    test.echo();
    Peer peer = test.connect();
    for (Vector const& v : vectors("frame.txt", "frame")) {
        std::string const wire = fromDigits(v.fields[1]);
        ASSERT_TRUE(peer.write(wire));
        ASSERT_EQ(wire, peer.read(wire.size())) << "line " << v.line;
        EXPECT_EQ(fromDigits(v.fields[0]), test.recorder->messages().back());
    }
}

TEST(FrameVectors, StreamsHoldThesePayloads) {
    for (Vector const& v : vectors("frame.txt", "stream")) {
        TestServer test;
        Peer peer = test.connect();
        ASSERT_TRUE(peer.write(fromDigits(v.fields[0])));
        peer.close();
        ASSERT_TRUE(test.recorder->waitClosed(1)) << "line " << v.line;
        std::vector<std::string> wanted;
        for (std::size_t i = 1; i < v.fields.size(); ++i) wanted.push_back(fromDigits(v.fields[i]));
        EXPECT_EQ(wanted, test.recorder->messages()) << "line " << v.line;
    }
}

// --- Peers may be hostile; the others do not notice.

TEST(TcpServerHostility, AnEndInsideAFrameAtEveryByteIsOneCloseAndNoMessage) {
    TestServer test;
    std::string const wire = frame("abc");
    std::size_t closed = 0;
    for (bool const reset : {false, true}) {
        for (std::size_t kept = 0; kept < wire.size(); ++kept) {
            Peer peer = test.connect();
            peer.write(wire.substr(0, kept));
            // A reset may overtake the accept, and then there was no connection.
            if (reset) {
                peer.reset();
            } else {
                peer.close();
                ASSERT_TRUE(test.recorder->waitClosed(++closed)) << kept << ' ' << reset;
            }
        }
    }
    test.server.close();
    EXPECT_EQ(0u, test.recorder->messages().size());
    auto const all = test.recorder->closed();
    EXPECT_GE(all.size(), closed);
    EXPECT_EQ(all.size(), std::set<zan::TcpAddr>(all.begin(), all.end()).size());
}

TEST(TcpServerHostility, SilentSlowAndLyingPeersDoNotDisturbTheRest) {
    TestServer test;
    test.echo();
    Peer good = test.connect();
    ASSERT_EQ("warm", good.ask("warm"));
    long const before = ofThisProcess("VmRSS:");
    std::vector<Peer> silent;
    std::vector<Peer> liars;
    for (int i = 0; i < 20; ++i) {
        silent.push_back(test.connect());
        liars.push_back(test.connect());
        ASSERT_EQ("x", liars.back().ask("x"));  // both have left the backlog
        liars.back().write("\xff\xff\xff\xff"s + std::string(1000, 'x'));
    }
    Peer slow = test.connect();
    std::string const slowly = frame("drop by drop");
    for (std::size_t i = 0; i < slowly.size(); ++i) {
        slow.write(slowly.substr(i, 1));
        ASSERT_EQ("fast", good.ask("fast"));
    }
    EXPECT_EQ("drop by drop", slow.readFrame());
    // Forty threads and no gigabytes.
    EXPECT_LT(ofThisProcess("VmRSS:"), before + 64 * 1024);
}

TEST(TcpServerHostility, AFrameOverTheLimitIsRefusedOnItsAnnouncement) {
    Lines lines;
    TestServer test(8);
    test.echo();
    Peer peer = test.connect();
    EXPECT_EQ("12345678", peer.ask("12345678"));
    peer.write("\0\0\0\x9"s);
    EXPECT_TRUE(peer.atEnd());
    EXPECT_THAT(lines.of("<TCP.ERROR>"),
                ElementsAre("frame of 9 bytes refused, the limit is 8 " + peer.name()));
    EXPECT_TRUE(test.recorder->waitClosed(1));
}

TEST(TcpServerHostility, AnExceptionOfTheCallbackEndsItsConnectionAlone) {
    Lines lines;
    TestServer test;
    test.recorder->hook = [&](zan::TcpAddr const& peer, zan::istr const& data) {
        if (data == "own")
            ZAN_USER_THROW_MSG(zan::detail::zanLogger(), zan::InvalidDataException, "bad");
        if (data == "std") throw std::runtime_error("std bad");
        if (data == "any") throw 42;
        test.server.send(peer, data, 10);
    };
    test.recorder->closeHook = [](zan::TcpAddr const&) { throw std::logic_error("close bad"); };
    Peer good = test.connect();
    for (char const* const kind : {"own", "std", "any"}) {
        Peer bad = test.connect();
        bad.write(frame(kind));
        EXPECT_TRUE(bad.atEnd());
        EXPECT_EQ("still here", good.ask("still here"));
    }
    ASSERT_TRUE(test.recorder->waitClosed(3));
    ASSERT_TRUE(lines.waitFor("unknown type"));
    EXPECT_EQ(1u, lines.count("catch a exception."));
    EXPECT_EQ(1u, lines.count("the callback threw std bad"));
    EXPECT_GE(lines.count("the callback threw close bad"), 2u);
    test.server.close();
}

// --- The process may run out of what a connection needs.

TEST(TcpServerShortage, WithoutDescriptorsClientsWaitAndTheOthersGoOn) {
#if defined(__has_feature)
#if __has_feature(undefined_behavior_sanitizer)
    GTEST_SKIP() << "the sanitizer's look at an object takes descriptors";
#endif
#endif
    TestServer test;
    test.echo();
    Peer served = test.connect();
    ASSERT_EQ("before", served.ask("before"));
    Lines lines({"TCP.ERROR"});
    Peer waiting;
    {
        OpenFiles shortage(OpenFiles::next() + 8);
        EXPECT_FALSE(shortage.takeUpTo(INT_MAX));
        ASSERT_TRUE(waiting.connectTo(test.server.getLocalPort()));
        waiting.write(frame("patience"));
        EXPECT_TRUE(lines.waitFor("accept() "));
        EXPECT_EQ("meanwhile", served.ask("meanwhile"));
    }
    EXPECT_EQ("patience", waiting.readFrame());
    // It pauses between its attempts instead of filling the log.
    EXPECT_LT(lines.count("accept() "), 100u);
}

TEST(TcpServerShortage, DescriptorsAboveTheRangeOfSelectServeToo) {
    OpenFiles many(4096);
    if (!many.takeUpTo(1100)) GTEST_SKIP() << "the system allows fewer";
    TestServer test;
    test.echo();
    Peer peer = test.connect();
    EXPECT_GT(peer.fd(), 1024);
    EXPECT_EQ("far up", peer.ask("far up"));
    zan::TcpClient client;
    zan::Handle<Recorder> const recorder(new Recorder);
    ASSERT_TRUE(client.open(loopback(test.server.getLocalPort()), recorder, 10, 0));
    EXPECT_TRUE(client.send("and a client", 10));
    EXPECT_TRUE(recorder->waitMessages(1));
}

TEST(TcpServerShortage, AClientForWhomThereIsNoThreadIsClosedAlone) {
    TestServer test;
    test.echo();
    Peer served = test.connect();
    ASSERT_EQ("before", served.ask("before"));
    Lines lines;
    pthread_attr_t normal;
    pthread_attr_t huge;
    ASSERT_EQ(0, pthread_getattr_default_np(&normal));
    ASSERT_EQ(0, pthread_getattr_default_np(&huge));
    ASSERT_EQ(0, pthread_attr_setstacksize(&huge, 1UL << 47));  // more than the address space
    ASSERT_EQ(0, pthread_setattr_default_np(&huge));
    Peer refused = test.connect();
    EXPECT_TRUE(refused.atEnd());
    EXPECT_EQ(0, pthread_setattr_default_np(&normal));
    EXPECT_TRUE(lines.waitFor("start tcp server failure"));
    EXPECT_EQ("after", served.ask("after"));
    Peer next = test.connect();
    EXPECT_EQ("next", next.ask("next"));
    EXPECT_EQ(2u, test.server.clients().size());
}

// --- Many senders, one order.

TEST(TcpServerSending, ConcurrentSendersNeverInterleave) {
    TestServer test;
    Peer peer = test.greeted();
    constexpr unsigned THREADS = 4, EACH = 200;
    std::atomic<unsigned> begun{0};
    Threads const senders(THREADS, [&](unsigned t) {
        for (++begun; begun != THREADS;) std::this_thread::yield();
        for (unsigned i = 0; i < EACH; ++i) {
            std::string payload(2 + i * 37 % 9000, static_cast<char>('a' + t));
            payload[0] = static_cast<char>(i);
            ASSERT_TRUE(test.server.send(peer.addr(), payload, i % 2 ? -1 : 20));
        }
    });
    std::vector<unsigned> next(THREADS, 0);
    for (unsigned n = 0; n < THREADS * EACH; ++n) {
        std::string const payload = peer.readFrame();
        auto const t = static_cast<unsigned>(payload.back() - 'a');
        ASSERT_LT(t, THREADS);
        ASSERT_EQ(std::string::npos, payload.find_first_not_of(payload.back(), 1));
        ASSERT_EQ(next[t]++, static_cast<unsigned char>(payload[0]));
    }
}

TEST(TcpServerSending, APartOfAFrameEndsTheConnectionAndABusyOneFailsAtOnce) {
    Lines lines({"TCP.INFO"});
    TestServer test;
    Peer peer = test.greeted();
    std::string const big(64 << 20, 'x');
    std::thread blocked([&] { EXPECT_FALSE(test.server.send(peer.addr(), big, -1)); });
    // The first byte on the wire says that the other thread has its turn.
    ASSERT_EQ("\4"s, peer.read(1));
    EXPECT_FALSE(test.server.send(peer.addr(), "now", 0));
    EXPECT_EQ(1u, lines.count("\"Resource temporarily unavailable\" send_n failed "));
    auto const begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(test.server.send(peer.addr(), "soon", 1));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1000));
    EXPECT_EQ(1u, lines.count("\"Timer expired\" send_n failed "));
    test.server.close();
    blocked.join();

    TestServer second;
    Peer full = second.greeted();
    EXPECT_FALSE(second.server.send(full.addr(), big, 0));
    EXPECT_TRUE(lines.waitFor("part of a frame was sent, closing connection "));
    ASSERT_TRUE(second.recorder->waitClosed(1));
    while (!full.read(1 << 20).empty()) {
    }
    EXPECT_FALSE(second.server.send(full.addr(), "gone", 1));
}

// A message that is passed on as it came goes out of the receive buffer.
TEST(TcpServerSending, AMessageIsPassedOnWholeInPartAndCopied) {
    constexpr std::size_t TOO_LARGE = 64 << 20;
    Lines lines({"TCP.INFO"});
    TestServer test;
    Peer other = test.connect();
    test.recorder->hook = [&](zan::TcpAddr const& peer, zan::istr const& data) {
        if (data.size() == TOO_LARGE) {
            // Nobody reads: a part of it goes out, and so the connection.
            EXPECT_FALSE(test.server.send(peer, data, 0));
            return;
        }
        std::string const copy = data;
        EXPECT_TRUE(test.server.send(peer, data, 10));
        EXPECT_TRUE(test.server.send(other.addr(), data, 10));
        EXPECT_TRUE(test.server.send(peer, data.leftstr(data.size() / 2), 10));
        EXPECT_TRUE(test.server.send(peer, data.substr(1), 10));
        EXPECT_TRUE(test.server.send(peer, copy, 10));
        std::thread([&] { EXPECT_TRUE(test.server.send(peer, data, 10)); }).join();
    };
    Peer peer = test.connect();  // accepted behind the other
    std::vector<std::string> messages;
    std::string wire;
    for (unsigned long const size : {0UL, 1UL, 508UL, 509UL, 3UL, 20000UL}) {
        messages.emplace_back(size, static_cast<char>('a' + messages.size()));
        wire += frame(messages.back());
    }
    peer.write(wire);
    for (std::string const& m : messages) {
        EXPECT_TRUE(m == other.readFrame());
        for (auto const& part : {m, m.substr(0, m.size() / 2), m.empty() ? m : m.substr(1), m, m})
            EXPECT_TRUE(part == peer.readFrame()) << m.size() << ' ' << part.size();
    }
    peer.write(frame(std::string(TOO_LARGE, 'x')));
    EXPECT_TRUE(lines.waitFor("part of a frame was sent, closing connection "));
    EXPECT_TRUE(test.recorder->waitClosed(1));
}

TEST(TcpServerSending, AnAddressThatIsNoClientsReachesEverybody) {
    TestServer test;
    EXPECT_FALSE(test.server.send(zan::TcpAddr(), "nobody", 1));
    Peer a = test.greeted();
    Peer b = test.greeted();
    EXPECT_TRUE(test.server.send(a.addr(), "for a", 1));
    EXPECT_TRUE(test.server.send(zan::TcpAddr(), "for all", 1));
    EXPECT_EQ("for a", a.readFrame());
    EXPECT_EQ("for all", a.readFrame());
    EXPECT_EQ("for all", b.readFrame());
    // Once gone, a client's address is nobody's.
    zan::TcpAddr const former = a.addr();
    Lines lines;
    a.close();
    ASSERT_TRUE(lines.waitFor("remove tcp server "));
    ASSERT_TRUE(lines.waitFor("thread end."));
    EXPECT_TRUE(test.server.send(former, "for b", 1));
    EXPECT_EQ("for b", b.readFrame());
}

// --- Opening, closing, and their lines.

TEST(TcpServerLife, LinesOfAConnection) {
    Lines lines({"TCP.INFO", "TCP.DEBUG", "TCP.TRACE"});
    TestServer test;
    std::string const port = std::to_string(test.server.getLocalPort());
    EXPECT_EQ(1u, lines.count("start tcp acceptor at 127.0.0.1:" + port + "\n"));
    EXPECT_NE(0u, lines.count("{tcp.acceptor.0}"));
    auto const thread = [&](Peer const& peer) {
        return "tcp.server." + port + '|' + std::to_string(peer.port());
    };
    Peer first = test.greeted();
    std::string const client = first.name();
    EXPECT_TRUE(lines.waitFor("accepted new client = " + client + "\n"));
    EXPECT_NE(0u, lines.count('{' + thread(first) + '}'));
    first.close();
    EXPECT_TRUE(lines.waitFor("remove tcp server " + client + "\n"));
    EXPECT_THAT(
        lines.of("TCP.TRACE"),
        ElementsAre("(len) recving 4 bytes", "(len) recv ok 4 bytes", "size 5",
                    "(data) recving 5 bytes", "(data) recv ok 5 bytes", "(len) recving 4 bytes"));
    EXPECT_THAT(
        lines.of("TCP.INFO"),
        ElementsAre("(len) reached end of client connection " + client, "break loop: !recv()"));
    Peer const second = test.greeted();
    // Between two messages its thread would see by itself that the server ends.
    EXPECT_TRUE(lines.waitFor("(len) recving 4 bytes", 4));
    test.server.close();
    EXPECT_EQ(1u, lines.count("() stopping " + thread(second) + '{'));
    EXPECT_EQ("closed connection " + client, lines.of("TCP.DEBUG")[0]);
    EXPECT_EQ("closing connection " + second.name(), lines.of("TCP.DEBUG")[1]);
    EXPECT_EQ(0, test.server.getLocalPort());
    EXPECT_FALSE(test.server.send(zan::TcpAddr(), "x", 1));
    EXPECT_EQ("null tcp acceptor impl", lines.of("TCP.INFO").back());
    EXPECT_FALSE(zan::TcpServer().send(zan::TcpAddr(), "x", 1));
    EXPECT_EQ("null tcp server impl", lines.of("TCP.INFO").back());
}

TEST(TcpServerLife, CloseIsPromptTellsEverybodyAndMayBeRepeated) {
    TestServer test;
    std::vector<Peer> peers;
    for (int i = 0; i < 5; ++i) {
        peers.push_back(test.connect());
        peers.back().write(frame("x") + "\0\0\0\x9half"s);
    }
    ASSERT_TRUE(test.recorder->waitMessages(5));
    auto const begin = std::chrono::steady_clock::now();
    test.server.close();
    // Far from the listener's own interval of five seconds.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(2500));
    EXPECT_EQ(5u, test.recorder->closed().size());
    EXPECT_EQ(2, test.recorder->__GetRef() + 1) << "a thread still holds the callback";
    test.server.close();
    EXPECT_EQ(5u, test.recorder->closed().size());
    for (auto& peer : peers) EXPECT_TRUE(peer.atEnd());
}

TEST(TcpServerLife, NobodyHoldsTheCallbackBehindTheClose) {
    // Its owner may end it then: it need not be on the heap.
    struct Silent : zan::TcpCallback {
        Silent() { __setNoDelete(true); }
        void onRecv(zan::TcpAddr const&, zan::istr const&) override {}
        void onClose(zan::TcpAddr const&) override {}
    };
    for (int round = 0; round < 100; ++round) {
        Silent callback, clientCallback;
        zan::TcpServer server;
        ASSERT_TRUE(server.open(loopback(), &callback, 0));
        zan::TcpClient client;
        ASSERT_TRUE(client.open(loopback(server.getLocalPort()), &clientCallback, 10, 0));
        // Connections that end by themselves, just before or just behind the close.
        std::vector<Peer> peers;
        for (int i = 0; i < 4; ++i) peers.push_back(Peer::connect(server.getLocalPort()));
        peers.clear();
        if (round % 2 == 0) std::this_thread::yield();
        server.close();
        client.close();
        ASSERT_EQ(0, callback.__GetRef());
        ASSERT_EQ(0, clientCallback.__GetRef());
    }
}

TEST(TcpServerLife, APortInUseIsFalseAndAReopenTakesItsPlace) {
    Lines lines;
    TestServer first;
    unsigned short const port = first.server.getLocalPort();
    zan::TcpServer second;
    EXPECT_FALSE(second.open(loopback(port), new Recorder, 0));
    EXPECT_EQ(1u, lines.count("\"Address already in use\" at 127.0.0.1:" + std::to_string(port)));
    EXPECT_EQ(port, second.getLocalPort());
    second.close();
    EXPECT_EQ(0, second.getLocalPort());
    EXPECT_FALSE(second.open(zan::TcpAddr(0, "no such host.invalid"), new Recorder, 0));

    Peer before = first.greeted();
    ASSERT_TRUE(first.server.open(loopback(port), first.recorder, 0)) << "on its own port";
    EXPECT_TRUE(before.atEnd());
    EXPECT_EQ(1u, first.recorder->closed().size());
    first.greeted();
}

TEST(TcpServerLife, CloseFromManyThreadsWhileClientsComeAndGo) {
    for (int round = 0; round < 10; ++round) {
        zan::TcpServer server;
        zan::Handle<Recorder> const recorder(new Recorder);
        recorder->hook = [&](zan::TcpAddr const& peer, zan::istr const& data) {
            server.send(peer, data, 1);
        };
        ASSERT_TRUE(server.open(loopback(), recorder, 0));
        unsigned short const port = server.getLocalPort();
        std::atomic<bool> done{false};
        Threads clients(3, [&](unsigned t) {
            for (int n = 0; !done; ++n) {
                Peer peer = Peer::connect(port);
                if (!peer.valid()) continue;
                peer.write(frame("ping"));
                // A reset without an answer, but not so many that the backlog overflows.
                if (t != 0 || n % 2 == 0) peer.readFrame();
                if (t == 0) peer.reset();
            }
        });
        Threads sender(1, [&](unsigned) {
            while (!done) server.send(zan::TcpAddr(), "all", 0);
        });
        ASSERT_TRUE(recorder->waitMessages(20));
        Threads(2, [&](unsigned) { server.close(); });
        EXPECT_EQ(0, server.getLocalPort());
        done = true;
        clients.join();
        sender.join();
        auto const closed = recorder->closed();
        server.close();
        EXPECT_EQ(closed.size(), recorder->closed().size()) << "a callback came after close()";
    }
}

}  // namespace
