#include "zan/tcp/tcp_impl_base.h"

#include <gtest/gtest.h>

#include <csignal>
#include <map>
#include <sstream>
#include <thread>

#include "tcp/tcp_support.h"

namespace {

using namespace zan_test;
using namespace std::string_literals;
using zan::TcpAddr;

// A channel over one end of a connection on loopback, with a plain peer at the other.
class Channel : public zan::TcpChannel {
public:
    Channel() : peer(-1) {
        int const listener = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof addr;
        bind(listener, reinterpret_cast<sockaddr*>(&addr), size);
        listen(listener, 1);
        getsockname(listener, reinterpret_cast<sockaddr*>(&addr), &size);
        new (&peer) Peer(Peer::connect(ntohs(addr.sin_port)));
        stream_.set_handle(accept(listener, nullptr, nullptr));
        close(listener);
    }
    ~Channel() override { stream_.close(); }
    ACE_SOCK_Stream& stream() override { return stream_; }

    Peer peer;

private:
    ACE_SOCK_Stream stream_;
};

TEST(TcpAddrValue, OrderTextAndRoundTrip) {
    EXPECT_LT(TcpAddr(80, "a"), TcpAddr(79, "b"));
    EXPECT_LT(TcpAddr(79, "a"), TcpAddr(80, "a"));
    EXPECT_FALSE(TcpAddr(80, "a") < TcpAddr(80, "a"));
    EXPECT_EQ(TcpAddr(80, "a"), TcpAddr(80, "a"));
    EXPECT_NE(TcpAddr(80, "a"), TcpAddr(81, "a"));
    EXPECT_NE(TcpAddr(80, "a"), TcpAddr(80, "b"));
    std::ostringstream os;
    os << TcpAddr(65535, "10.1.2.3") << ' ' << TcpAddr();
    EXPECT_EQ("10.1.2.3:65535 :0", os.str());

    TcpAddr const addr(4711, "127.0.0.1");
    ACE_INET_Addr const inet = addr;
    EXPECT_EQ(4711, inet.get_port_number());
    EXPECT_EQ(addr, TcpAddr(inet));
    // Text that is no address ends as the address that every client refuses.
    EXPECT_EQ(ACE_INET_Addr(), static_cast<ACE_INET_Addr>(TcpAddr()));
    EXPECT_EQ(ACE_INET_Addr(), static_cast<ACE_INET_Addr>(TcpAddr(80, "not an address")));
    EXPECT_EQ(TcpAddr(80, "0.0.0.0"), TcpAddr(static_cast<ACE_INET_Addr>(TcpAddr(80, ""))));
    EXPECT_EQ(TcpAddr(80, "127.0.0.1"),
              TcpAddr(static_cast<ACE_INET_Addr>(TcpAddr(80, "localhost"))));
}

TEST(TcpChannelWire, BytesAreTheSizeAndThePayload) {
    Channel channel;
    ASSERT_TRUE(channel.sendBuf("abc", 1));
    ASSERT_TRUE(channel.sendBuf("", 0));
    ASSERT_TRUE(channel.sendBuf(zan::istr(), -1));
    std::string const big(300000, 'z');
    std::thread reader([&] {
        EXPECT_EQ("\0\0\0\3abc\0\0\0\0\0\0\0\0"s + frame(big),
                  channel.peer.read(4 + 3 + 8 + 4 + big.size()));
    });
    EXPECT_TRUE(channel.sendBuf(big, -1));
    reader.join();
}

TEST(TcpChannelWire, FramesArriveWhereverTheStreamIsCut) {
    std::vector<std::string> const payloads = {"", "a", "in\0side"s, std::string(200, '\xff'),
                                               std::string(20000, 'q')};
    Channel channel;
    zan::Bytes data;
    for (auto const& payload : payloads) {
        std::string const wire = frame(payload);
        std::size_t const cuts = wire.size() < 300 ? wire.size() : 8;
        for (std::size_t cut = 0; cut <= cuts; ++cut) {
            channel.peer.write(wire.substr(0, cut));
            channel.peer.write(wire.substr(cut));
            ASSERT_TRUE(channel.recvBuf(data)) << payload.size() << " cut at " << cut;
            ASSERT_EQ(payload, std::string(zan::istr(data))) << "cut at " << cut;
        }
    }
}

TEST(TcpChannelFaults, LinesOfEachEnd) {
    Lines lines({"TCP.TRACE", "TCP.INFO"});
    {
        Channel channel;
        channel.peer.write(frame("abc"));
        zan::Bytes data;
        ASSERT_TRUE(channel.recvBuf(data));
        ASSERT_TRUE(channel.sendBuf("hello", 5));
        EXPECT_EQ(
            (std::vector<std::string>{"(len) recving 4 bytes", "(len) recv ok 4 bytes", "size 3",
                                      "(data) recving 3 bytes", "(data) recv ok 3 bytes",
                                      "sending 5 bytes", "send ok 9 bytes"}),
            lines.of("TCP.TRACE"));
    }
    auto const endOf = [&](std::string const& bytes, std::string const& name) {
        Channel channel;
        std::ostringstream peer;
        peer << channel.peer.addr();
        channel.peer.write(bytes);
        channel.peer.close();
        zan::Bytes data;
        EXPECT_FALSE(channel.recvBuf(data));
        EXPECT_EQ('(' + name + ") reached end of client connection " + peer.str(),
                  lines.of("TCP.INFO").back());
    };
    endOf("", "len");
    endOf("\0\0"s, "len");
    endOf("\0\0\0\5abc"s, "data");
    EXPECT_EQ(0u, lines.count("<TCP.ERROR>"));
    {
        Channel channel;
        std::ostringstream peer;
        peer << channel.peer.addr();
        channel.peer.write("\0\0\0\5abc"s);
        zan::Bytes data;
        unsigned int size = 4;
        char head[4];
        ASSERT_TRUE(channel.recvBuf_i(head, size, "len", ACE_INET_Addr()));
        channel.peer.reset();
        size = 5;
        EXPECT_FALSE(
            channel.recvBuf_i(head, size, "data", static_cast<ACE_INET_Addr>(channel.peer.addr())));
        EXPECT_NE(
            std::string::npos,
            lines.of("<TCP.ERROR>").back().find("\"Connection reset by peer\" (data) recv_n() "));
        // A socket that is gone fails before anything is sent.
        channel.stream().close();
        EXPECT_FALSE(channel.sendBuf("x", 1));
        EXPECT_FALSE(channel.recvBuf(data));
        EXPECT_EQ("\"Bad file descriptor\" get_remote_addr", lines.of("<TCP.ERROR>").back());
    }
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
