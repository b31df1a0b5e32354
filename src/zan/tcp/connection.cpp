#include "zan/tcp/connection.h"

#include <ace/OS_NS_fcntl.h>
#include <ace/os_include/netinet/os_tcp.h>

#include <cerrno>

#include "zan/platform/tcp_socket.h"
#include "zan/tcp/tcp_log.h"

namespace zan::tcp {

namespace {

// How long a connection with a large buffer is silent before it gives memory back.
constexpr time_t QUIET_SECONDS = 1;

}  // namespace

__thread Connection* Connection::own_ = nullptr;

void Connection::opened(TcpAddr const& peer) {
    // Programs that this one starts must not keep its connections open.
    ACE_OS::fcntl(stream_.get_handle(), F_SETFD, FD_CLOEXEC);
    peer_ = peer;
    state_.fetch_and(~NOT_OPEN);
}

void Connection::setOptions(int bufferSize) {
    if (bufferSize > 0) {
        stream_.set_option(SOL_SOCKET, SO_RCVBUF, &bufferSize, sizeof bufferSize);
        stream_.set_option(SOL_SOCKET, SO_SNDBUF, &bufferSize, sizeof bufferSize);
    }
    // A frame goes out in one call: holding back its last segment could only delay it.
    int on = 1;
    stream_.set_option(ACE_IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    // In the end the system notices a peer that has vanished without a word.
    stream_.set_option(SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
}

// --- Receiving

// A thread that waits for its client finds nothing of its own in the processor's cache when it
// comes back, so the usual case costs what it touches: one message in the buffer, and one on the
// wire.
bool Connection::recv(istr& data) {
    if (__builtin_expect(!buffer_.restart(taken_), 0)) return recvMore(data);
    taken_ = 0;
    if (__builtin_expect(quietTimer_ || ended() || TRACE.on(), 0)) return recvMore(data);
    ostr room = buffer_.quickRoom(FrameBuffer::HEADER_SIZE);
    ssize_t const n = ACE_OS::recv(stream_.get_handle(), room.buffer(), room.max_size(), 0);
    if (__builtin_expect(n <= 0, 0)) {
        if (!arrived(n, errno, FrameBuffer::HEADER_SIZE, "len")) return false;
        return recvMore(data);
    }
    buffer_.arrived(static_cast<unsigned long>(n));
    return __builtin_expect(!TRACE.on() && giveOut(data), 1) ? true : recvMore(data);
}

// Messages that came together, that are large, or that come in pieces.
bool Connection::recvMore(istr& data) {
    // Where messages are large, their size is read by itself. It is a call more for each of them,
    // and yet measures some percent faster from a peer on another core.
    bool const sizeAlone = taken_ > FrameBuffer::QUIET_SIZE;
    if (taken_ != 0) buffer_.drop(taken_);
    taken_ = 0;
    while (__builtin_expect(!ended() && !TRACE.on(), 1)) {
        unsigned long const available = buffer_.available();
        unsigned long need = FrameBuffer::HEADER_SIZE;
        if (available >= FrameBuffer::HEADER_SIZE) {
            unsigned long const size = buffer_.announced();
            if (__builtin_expect(size > maxFrameSize_, 0)) break;
            need += size;
            if (available >= need) {
                taken_ = need;
                data = istr(buffer_.data() + FrameBuffer::HEADER_SIZE, size);
                return true;
            }
        }
        ostr room = buffer_.quickRoom(need);
        if (__builtin_expect(room.empty() || isLarge() != quietTimer_, 0)) break;
        unsigned long const most =
            sizeAlone && need == FrameBuffer::HEADER_SIZE ? need - available : room.max_size();
        ssize_t const n = ACE_OS::recv(stream_.get_handle(), room.buffer(), most, 0);
        if (__builtin_expect(n > 0, 1))
            buffer_.arrived(static_cast<unsigned long>(n));
        else if (!arrived(n, errno, need, available < FrameBuffer::HEADER_SIZE ? "len" : "data"))
            return false;
    }
    return recvSlowly(data);
}

bool Connection::recvSlowly(istr& data) {
    if (ended()) {
        ZAN_TCP_ERROR(SystemError{ENOTCONN} << "get_remote_addr");
        return false;
    }
    if (!fill(FrameBuffer::HEADER_SIZE, "len")) return false;
    unsigned long const size = buffer_.announced();
    ZAN_TCP_LINE(TRACE, "size " << size);
    if (size > maxFrameSize_) {
        ZAN_TCP_ERROR("frame of " << size << " bytes refused, the limit is " << maxFrameSize_ << ' '
                                  << peer_);
        return false;
    }
    unsigned long const whole = FrameBuffer::HEADER_SIZE + size;
    if (size != 0 && !fill(whole, "data")) return false;
    taken_ = whole;
    data = istr(buffer_.data() + FrameBuffer::HEADER_SIZE, size);
    return true;
}

// Until `need` bytes stand at the buffer's front. `name` says which part of the frame they end.
bool Connection::fill(unsigned long need, char const* name) {
    unsigned long const part =
        need == FrameBuffer::HEADER_SIZE ? need : need - FrameBuffer::HEADER_SIZE;
    ZAN_TCP_LINE(TRACE, '(' << name << ") recving " << part << " bytes");
    while (buffer_.available() < need)
        if (!readMore(need, name)) return false;
    ZAN_TCP_LINE(TRACE, '(' << name << ") recv ok " << part << " bytes");
    return true;
}

// Reads once.
bool Connection::readMore(unsigned long need, char const* name) {
    ostr room = buffer_.room(need);
    if (room.empty()) {
        ZAN_TCP_ERROR(SystemError{ENOMEM} << '(' << name << ") frame of "
                                          << need - FrameBuffer::HEADER_SIZE << " bytes " << peer_);
        return false;
    }
    if (isLarge() != quietTimer_) trimWhenQuiet(isLarge());
    ssize_t const n = ACE_OS::recv(stream_.get_handle(), room.buffer(), room.max_size(), 0);
    return arrived(n, errno, need, name);
}

// What a read has given. False is the end of the connection.
bool Connection::arrived(ssize_t n, int error, unsigned long need, char const* name) {
    if (n > 0) {
        buffer_.arrived(static_cast<unsigned long>(n));
        // A peer that goes on sending must not hold up the end.
        if (!ended() || buffer_.available() >= need) return true;
    }
    if (n < 0 && error == EINTR) return true;
    if (n < 0 && error == EWOULDBLOCK) {
        // Silence, or a socket that somebody has made non-blocking.
        if (quietTimer_)
            buffer_.trim();
        else
            waitReadable(stream_.get_handle());
        return true;
    }
    if (n < 0)
        ZAN_TCP_ERROR(SystemError{error} << '(' << name << ") recv_n() " << peer_);
    else
        ZAN_TCP_LINE(INFO, '(' << name << ") reached end of client connection " << peer_);
    return false;
}

// A read then also returns when the peer has been silent for a while.
void Connection::trimWhenQuiet(bool on) {
    quietTimer_ = on;
    timeval const limit = {on ? QUIET_SECONDS : 0, 0};
    stream_.set_option(SOL_SOCKET, SO_RCVTIMEO, const_cast<timeval*>(&limit), sizeof limit);
}

// --- Sending

bool Connection::send(istr const& data, int timeout) {
    // A message that is passed on as it came stands in memory with its size ahead of it.
    Connection const* const source = own_;
    if (source != nullptr && source->gaveOut(data)) return sendFrame(source->lastFrame(), timeout);
    return compose(data, timeout);
}

inline bool Connection::sendFrame(istr frame, int timeout) {
    unsigned free = 0;
    if (__builtin_expect(TRACE.on() || !state_.compare_exchange_strong(free, SENDING), 0))
        return sendSlowly(frame.removeLeft(FrameBuffer::HEADER_SIZE), timeout);
    ssize_t const sent =
        ACE_OS::send(stream_.get_handle(), frame.data(), frame.size(), sendFlags(timeout));
    if (__builtin_expect(sent != static_cast<ssize_t>(frame.size()), 0))
        return sendRest(frame, sent, timeout);
    giveTurn();
    return true;
}

bool Connection::sendRest(istr frame, ssize_t sent, int timeout) {
    Deadline deadline(timeout);
    return finishSend(frame.removeLeft(FrameBuffer::HEADER_SIZE),
                      continueSend(stream_.get_handle(), frame, istr(), sent, deadline));
}

bool Connection::compose(istr const& data, int timeout) {
    if (data.size() <= SmallFrame::MAX_SIZE) return sendFrame(SmallFrame(data), timeout);
    unsigned free = 0;
    if (__builtin_expect(TRACE.on() || data.size() > TcpChannel::MAX_FRAME_SIZE ||
                             !state_.compare_exchange_strong(free, SENDING),
                         0))
        return sendSlowly(data, timeout);
    Deadline deadline(timeout);
    Sent const sent = tcp::sendFrame(stream_.get_handle(), data, deadline);
    if (__builtin_expect(sent != Sent::Whole, 0)) return finishSend(data, sent);
    giveTurn();
    return true;
}

bool Connection::sendSlowly(istr const& data, int timeout) {
    ZAN_TCP_LINE(TRACE, "sending " << data.size() << " bytes");
    if (data.size() > TcpChannel::MAX_FRAME_SIZE) {
        ZAN_TCP_ERROR(SystemError{EMSGSIZE} << "send_n failed " << peer_);
        return false;
    }
    Deadline deadline(timeout);
    Turn const turn = waitForTurn(deadline);
    if (turn == Turn::Closed) {
        ZAN_TCP_ERROR(SystemError{ENOTCONN} << "get_remote_addr");
        return false;
    }
    if (turn == Turn::Busy) {
        ZAN_TCP_ERROR(SystemError{deadline.atOnce() ? EWOULDBLOCK : ETIME} << "send_n failed "
                                                                           << peer_);
        return false;
    }
    return finishSend(data, tcp::sendFrame(stream_.get_handle(), data, deadline));
}

// Gives the turn back, with errno as the send has left it.
bool Connection::finishSend(istr const& data, Sent sent) {
    int const error = errno;
    // Before others get their turn: what they send would be taken for the rest of this frame.
    if (sent == Sent::Part) end();
    giveTurn();
    if (sent == Sent::Whole) {
        ZAN_TCP_LINE(TRACE, "send ok " << data.size() + FrameBuffer::HEADER_SIZE << " bytes");
        return true;
    }
    ZAN_TCP_ERROR(SystemError{error} << "send_n failed " << peer_);
    if (sent == Sent::Part)
        ZAN_TCP_LINE(INFO, "part of a frame was sent, closing connection " << peer_);
    return false;
}

Connection::Turn Connection::waitForTurn(Deadline& deadline) {
    std::unique_lock<std::mutex> lock(mutex_);
    bool timedOut = false;
    for (;;) {
        unsigned state = state_.load();
        if ((state & (ENDED | NOT_OPEN)) != 0) return Turn::Closed;
        if ((state & SENDING) == 0) {
            if (state_.compare_exchange_strong(state, state | SENDING)) return Turn::Mine;
            continue;
        }
        if (timedOut || deadline.atOnce()) return Turn::Busy;
        // Sets the bit only while the sender is there to see it.
        if ((state & WAITING) == 0 && !state_.compare_exchange_strong(state, state | WAITING))
            continue;
        if (deadline.never())
            changed_.wait(lock);
        else
            timedOut = changed_.wait_until(lock, deadline.end()) == std::cv_status::timeout;
    }
}

void Connection::handOverTurn() {
    std::lock_guard<std::mutex> const guard(mutex_);
    state_.fetch_and(~(SENDING | WAITING));
    changed_.notify_all();
}

// --- The end

void Connection::end() {
    std::lock_guard<std::mutex> const guard(mutex_);
    if ((state_.fetch_or(ENDED) & NOT_OPEN) == 0) platform::shutdownSocket(stream_.get_handle());
    changed_.notify_all();
}

void Connection::close() {
    end();
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return (state_.load() & SENDING) == 0; });
    state_.fetch_or(NOT_OPEN);
    stream_.close();
}

}  // namespace zan::tcp
