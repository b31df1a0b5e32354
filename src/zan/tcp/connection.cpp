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

void Connection::opened(TcpAddr const& peer) {
    // Programs that this one starts must not keep its connections open.
    ACE_OS::fcntl(stream_.get_handle(), F_SETFD, FD_CLOEXEC);
    peer_ = peer;
    std::lock_guard<std::mutex> const guard(mutex_);
    open_ = true;
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

bool Connection::recv(istr& data) {
    if (taken_ != 0) buffer_.drop(taken_);
    taken_ = 0;
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
    while (buffer_.available() < need) {
        ostr room = buffer_.room(need);
        if (room.empty()) {
            ZAN_TCP_ERROR(SystemError{ENOMEM} << '(' << name << ") frame of "
                                              << need - FrameBuffer::HEADER_SIZE << " bytes "
                                              << peer_);
            return false;
        }
        bool const large = buffer_.capacity() > FrameBuffer::QUIET_SIZE;
        if (large != quietTimer_) trimWhenQuiet(large);
        ssize_t const n =
            receive(stream_.get_handle(), room.buffer(), room.max_size(), quietTimer_);
        if (n > 0) {
            buffer_.arrived(static_cast<unsigned long>(n));
            // A peer that goes on sending must not hold up the end.
            if (!ended() || buffer_.available() >= need) continue;
        } else if (n < 0 && errno == EWOULDBLOCK && quietTimer_) {
            buffer_.trim();
            continue;
        } else if (n < 0) {
            int const error = errno;
            ZAN_TCP_ERROR(SystemError{error} << '(' << name << ") recv_n() " << peer_);
            return false;
        }
        ZAN_TCP_LINE(INFO, '(' << name << ") reached end of client connection " << peer_);
        return false;
    }
    ZAN_TCP_LINE(TRACE, '(' << name << ") recv ok " << part << " bytes");
    return true;
}

// A read then also returns when the peer has been silent for a while.
void Connection::trimWhenQuiet(bool on) {
    quietTimer_ = on;
    timeval const limit = {on ? QUIET_SECONDS : 0, 0};
    stream_.set_option(SOL_SOCKET, SO_RCVTIMEO, const_cast<timeval*>(&limit), sizeof limit);
}

// --- Sending

bool Connection::send(istr const& data, int timeout) {
    ZAN_TCP_LINE(TRACE, "sending " << data.size() << " bytes");
    if (data.size() > TcpChannel::MAX_FRAME_SIZE) {
        ZAN_TCP_ERROR(SystemError{EMSGSIZE} << "send_n failed " << peer_);
        return false;
    }
    Deadline deadline(timeout);
    Turn const turn = takeTurn(deadline);
    if (turn == Turn::Closed) {
        ZAN_TCP_ERROR(SystemError{ENOTCONN} << "get_remote_addr");
        return false;
    }
    if (turn == Turn::Busy) {
        ZAN_TCP_ERROR(SystemError{deadline.atOnce() ? EWOULDBLOCK : ETIME} << "send_n failed "
                                                                           << peer_);
        return false;
    }
    Sent const sent = sendFrame(stream_.get_handle(), data, deadline);
    int const error = errno;
    // Before others get their turn: what they send would be taken for the rest of this frame.
    if (sent == Sent::Part) end();
    giveTurn();
    if (sent != Sent::Whole) {
        ZAN_TCP_ERROR(SystemError{error} << "send_n failed " << peer_);
        if (sent == Sent::Part)
            ZAN_TCP_LINE(INFO, "part of a frame was sent, closing connection " << peer_);
        return false;
    }
    ZAN_TCP_LINE(TRACE, "send ok " << data.size() + FrameBuffer::HEADER_SIZE << " bytes");
    return true;
}

Connection::Turn Connection::takeTurn(Deadline& deadline) {
    std::unique_lock<std::mutex> lock(mutex_);
    while (open_ && !ended() && sending_) {
        if (deadline.atOnce()) return Turn::Busy;
        bool timedOut = false;
        ++waiting_;
        if (deadline.never())
            turn_.wait(lock);
        else
            timedOut = turn_.wait_until(lock, deadline.end()) == std::cv_status::timeout;
        --waiting_;
        if (timedOut && open_ && !ended() && sending_) return Turn::Busy;
    }
    if (!open_ || ended()) return Turn::Closed;
    sending_ = true;
    return Turn::Mine;
}

void Connection::giveTurn() {
    std::unique_lock<std::mutex> lock(mutex_);
    sending_ = false;
    bool const wanted = waiting_ != 0;
    // Under the lock: behind it this object may be gone, once close() has seen the sender leave.
    if (wanted) turn_.notify_all();
}

// --- The end

void Connection::end() {
    std::lock_guard<std::mutex> const guard(mutex_);
    ended_.store(true, std::memory_order_release);
    if (open_) platform::shutdownSocket(stream_.get_handle());
    if (waiting_ != 0) turn_.notify_all();
}

void Connection::close() {
    end();
    std::unique_lock<std::mutex> lock(mutex_);
    while (sending_) {
        ++waiting_;
        turn_.wait(lock);
        --waiting_;
    }
    open_ = false;
    stream_.close();
}

}  // namespace zan::tcp
