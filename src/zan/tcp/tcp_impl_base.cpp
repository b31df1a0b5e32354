#include "zan/tcp/tcp_impl_base.h"

#include <cerrno>
#include <new>
#include <ostream>

#include "zan/log/log_tracer.h"
#include "zan/pml/pml_stream.h"
#include "zan/tcp/frame_io.h"
#include "zan/tcp/tcp_log.h"

namespace zan {

namespace {

constexpr unsigned long HEADER_SIZE = 4;
// What is reserved for a frame before its first byte.
constexpr unsigned long FIRST_STEP = 8 * 1024;

}  // namespace

// --- TcpAddr

TcpAddr::TcpAddr(unsigned short portNumber, istr const& ipText) : ip(ipText), port(portNumber) {}

TcpAddr::TcpAddr(ACE_INET_Addr const& addr) : port(addr.get_port_number()) {
    char text[128];
    if (char const* const p = addr.get_host_addr(text, sizeof text)) ip = p;
}

void TcpAddr::codec(pml::stream& s) {
    s& pml::field("ip", ip) & pml::field("port", port);
}

TcpAddr::operator ACE_INET_Addr() const {
    unsigned short const number = port;
    ACE_INET_Addr addr;
    if (ip.empty()) {
        if (number != 0) addr.set(number, static_cast<ACE_UINT32>(INADDR_ANY));
        return addr;
    }
    // Given the choice, ACE would name an IPv4 host by an IPv6 address.
    if (addr.set(number, ip.c_str(), 1, AF_INET) != 0 &&
        addr.set(number, ip.c_str(), 1, AF_UNSPEC) != 0)
        return ACE_INET_Addr();
    return addr;
}

bool operator<(TcpAddr const& a, TcpAddr const& b) {
    int const order = a.ip.compare(b.ip);
    if (order != 0) return order < 0;
    return static_cast<unsigned short>(a.port) < static_cast<unsigned short>(b.port);
}

std::ostream& operator<<(std::ostream& os, TcpAddr const& addr) {
    return os << static_cast<std::string const&>(addr.ip) << ':'
              << static_cast<unsigned short>(addr.port);
}

// --- TcpCallback, TcpChannel

TcpCallback::~TcpCallback() = default;

TcpChannel::~TcpChannel() = default;

bool TcpChannel::sendBuf(istr const& data, int timeout) {
    ZAN_TRACE_FRAME(detail::zanLogger());
    ZAN_TCP_LINE(tcp::TRACE, "sending " << data.size() << " bytes");
    ACE_INET_Addr peer;
    if (stream().get_remote_addr(peer) == -1) {
        int const error = errno;
        ZAN_TCP_ERROR(tcp::SystemError{error} << "get_remote_addr");
        return false;
    }
    tcp::Deadline deadline(timeout);
    errno = EMSGSIZE;
    if (data.size() > MAX_FRAME_SIZE ||
        tcp::sendFrame(stream().get_handle(), data, deadline) != tcp::Sent::Whole) {
        int const error = errno;
        ZAN_TCP_ERROR(tcp::SystemError{error} << "send_n failed " << TcpAddr(peer));
        return false;
    }
    ZAN_TCP_LINE(tcp::TRACE, "send ok " << data.size() + HEADER_SIZE << " bytes");
    return true;
}

bool TcpChannel::recvBuf(Bytes& data, unsigned long maxSize) {
    ZAN_TRACE_FRAME(detail::zanLogger());
    data.size(0);
    ACE_INET_Addr peer;
    if (stream().get_remote_addr(peer) == -1) {
        int const error = errno;
        ZAN_TCP_ERROR(tcp::SystemError{error} << "get_remote_addr");
        return false;
    }
    octets<HEADER_SIZE> head;
    unsigned int headSize = HEADER_SIZE;
    if (!recvBuf_i(&head[0], headSize, "len", peer)) return false;
    unsigned long const length = ntoh(head);
    ZAN_TCP_LINE(tcp::TRACE, "size " << length);
    if (length > maxSize) {
        ZAN_TCP_ERROR("frame of " << length << " bytes refused, the limit is " << maxSize << ' '
                                  << TcpAddr(peer));
        return false;
    }
    while (data.size() < length) {
        unsigned long const arrived = data.size();
        if (arrived == data.max_size() || arrived == 0) {
            unsigned long const step = arrived < FIRST_STEP ? FIRST_STEP : 2 * arrived;
            try {
                data.resize(step < length ? step : length);
            } catch (std::bad_alloc const&) {
                ZAN_TCP_ERROR(tcp::SystemError{ENOMEM} << "(data) frame of " << length << " bytes "
                                                       << TcpAddr(peer));
                return false;
            }
        }
        unsigned long const room = (data.max_size() < length ? data.max_size() : length) - arrived;
        auto part = static_cast<unsigned int>(room);
        if (!recvBuf_i(data.buffer() + arrived, part, "data", peer)) return false;
        data.size(arrived + part);
    }
    return true;
}

bool TcpChannel::recvBuf_i(void* buffer, unsigned int& size, istr name, ACE_INET_Addr peer) {
    ZAN_TRACE_FRAME(detail::zanLogger());
    ZAN_TCP_LINE(tcp::TRACE, '(' << name << ") recving " << size << " bytes");
    ssize_t const n = stream().recv_n(buffer, size, 0, nullptr);
    if (n == -1) {
        int const error = errno;
        ZAN_TCP_ERROR(tcp::SystemError{error} << '(' << name << ") recv_n() " << TcpAddr(peer));
        return false;
    }
    if (n == 0 && size != 0) {
        ZAN_TCP_LINE(tcp::INFO,
                     '(' << name << ") reached end of client connection " << TcpAddr(peer));
        return false;
    }
    ZAN_TCP_LINE(tcp::TRACE, '(' << name << ") recv ok " << n << " bytes");
    size = static_cast<unsigned int>(n);
    return true;
}

}  // namespace zan
