#include "zan/tcp/tcp_impl_base.h"

#include <gmock/gmock.h>

#include <csignal>

#include "tcp/tcp_support.h"

namespace {

using namespace zan_test;
using namespace std::string_literals;
using testing::ElementsAre, testing::HasSubstr;
using zan::TcpAddr;

// A channel over one end of a connection on loopback, with a plain peer at the other.
class Channel : public zan::TcpChannel {
public:
    Channel() : peer(Peer::connect(listener.port())) {
        stream_.set_handle(accept(listener.fd(), nullptr, nullptr));
    }
    ~Channel() override { stream_.close(); }
    ACE_SOCK_Stream& stream() override { return stream_; }

    Listener listener;
    Peer peer;

private:
    ACE_SOCK_Stream stream_;
};

TEST(TcpAddrValue, OrderTextAndRoundTrip) {
    TcpAddr const ordered[] = {{79, "a"}, {80, "a"}, {79, "b"}};
    for (auto const& a : ordered)
        for (auto const& b : ordered) {
            EXPECT_EQ(&a < &b, a < b) << a << ' ' << b;
            EXPECT_EQ(&a != &b, a != b) << a << ' ' << b;
        }
    std::ostringstream os;
    os << TcpAddr(65535, "10.1.2.3") << ' ' << TcpAddr();
    EXPECT_EQ("10.1.2.3:65535 :0", os.str());

    auto const resolved = [](TcpAddr const& addr) { return static_cast<ACE_INET_Addr>(addr); };
    EXPECT_EQ(TcpAddr(4711, "127.0.0.1"), TcpAddr(resolved({4711, "127.0.0.1"})));
    EXPECT_EQ(TcpAddr(80, "127.0.0.1"), TcpAddr(resolved({80, "localhost"})));
    EXPECT_EQ(TcpAddr(80, "0.0.0.0"), TcpAddr(resolved({80, ""})));
    // Text that is no address ends as the address that every client refuses.
    EXPECT_EQ(ACE_INET_Addr(), resolved({}));
    EXPECT_EQ(ACE_INET_Addr(), resolved({80, "not an address"}));
}

TEST(TcpChannelWire, BytesAreTheSizeAndThePayload) {
    Channel channel;
    zan::Bytes data;
    for (std::string const& payload :
         {""s, "a"s, "in\0side"s, std::string(200, '\xff'), std::string(300000, 'z')}) {
        std::string const wire = frame(payload);
        std::thread other([&] {
            EXPECT_TRUE(wire == channel.peer.read(wire.size()));
            channel.peer.write(wire);
        });
        EXPECT_TRUE(channel.sendBuf(payload, payload.size() % 2 ? -1 : 1));
        EXPECT_TRUE(channel.recvBuf(data));
        EXPECT_TRUE(payload == std::string(zan::istr(data))) << payload.size();
        other.join();
    }
    EXPECT_TRUE(channel.sendBuf(zan::istr(), 0));
    EXPECT_EQ("\0\0\0\0"s, channel.peer.read(4));
}

TEST(TcpChannelFaults, LinesOfEachEnd) {
    Lines lines({"TCP.TRACE", "TCP.INFO"});
    zan::Bytes data;
    {
        Channel channel;
        channel.peer.write(frame("abc"));
        ASSERT_TRUE(channel.recvBuf(data));
        ASSERT_TRUE(channel.sendBuf("hello", 5));
        EXPECT_THAT(lines.of("TCP.TRACE"),
                    ElementsAre("(len) recving 4 bytes", "(len) recv ok 4 bytes", "size 3",
                                "(data) recving 3 bytes", "(data) recv ok 3 bytes",
                                "sending 5 bytes", "send ok 9 bytes"));
    }
    for (auto const& [bytes, name] :
         {std::pair(""s, "len"), std::pair("\0\0"s, "len"), std::pair("\0\0\0\5abc"s, "data")}) {
        Channel channel;
        std::string const peer = channel.peer.name();
        channel.peer.write(bytes);
        channel.peer.close();
        EXPECT_FALSE(channel.recvBuf(data));
        EXPECT_EQ("("s + name + ") reached end of client connection " + peer,
                  lines.of("TCP.INFO").back());
    }
    EXPECT_EQ(0u, lines.count("<TCP.ERROR>"));
    Channel channel;
    ACE_INET_Addr const peer = channel.peer.addr();
    channel.peer.write("\0\0\0\5abc"s);
    unsigned int size = 4;
    char head[4];
    ASSERT_TRUE(channel.recvBuf_i(head, size, "len", ACE_INET_Addr()));
    channel.peer.reset();
    size = 5;
    EXPECT_FALSE(channel.recvBuf_i(head, size, "data", peer));
    EXPECT_THAT(lines.of("<TCP.ERROR>").back(),
                HasSubstr("\"Connection reset by peer\" (data) recv_n() "));
    // A socket that is gone fails before anything is sent.
    channel.stream().close();
    EXPECT_FALSE(channel.sendBuf("x", 1));
    EXPECT_FALSE(channel.recvBuf(data));
    EXPECT_EQ("\"Bad file descriptor\" get_remote_addr", lines.of("<TCP.ERROR>").back());
}

TEST(TcpChannelFaults, AnnouncementsReserveNothingAndLimitsHold) {
    Channel channel;
    channel.peer.write("\xff\xff\xff\xff"s + std::string(100, 'x'));
    channel.peer.close();
    zan::Bytes data;
    EXPECT_FALSE(channel.recvBuf(data));
    EXPECT_LE(data.max_size(), 64u * 1024);

    Lines lines;
    Channel limited;
    limited.peer.write(frame("12345678") + frame("123456789"));
    ASSERT_TRUE(limited.recvBuf(data, 8));
    EXPECT_FALSE(limited.recvBuf(data, 8));
    EXPECT_EQ(1u, lines.count("frame of 9 bytes refused, the limit is 8 "));
}

TEST(TcpChannelFaults, TimeoutsHoldAndNoSignalKills) {
    ASSERT_EQ(SIG_DFL, std::signal(SIGPIPE, SIG_DFL));  // a broken pipe would end the program
    Channel channel;
    std::string const big(64 << 20, 'x');
    auto const begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(channel.sendBuf(big, 0));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(900));
    EXPECT_FALSE(channel.sendBuf(big, 1));
    auto const passed = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(passed, std::chrono::milliseconds(1000));
    EXPECT_LT(passed, PATIENCE);
    channel.peer.reset();
    EXPECT_FALSE(channel.sendBuf("a", -1));
    EXPECT_FALSE(channel.sendBuf("a", -1));
}

}  // namespace
