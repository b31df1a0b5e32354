#include "zan/tcp/tcp_client_impl.h"

#include <ace/Time_Value.h>

#include <cerrno>

#include "zan/tcp/callback_guard.h"
#include "zan/tcp/tcp_log.h"

namespace zan {

TcpClientImpl::TcpClientImpl(TcpAddr const& addr, Handle<TcpCallback> const& callback, int timeout,
                             int bufferSize, unsigned long maxFrameSize)
    : SimpleThread(nullptr, "tcp.client"),
      address_(addr),
      callback_(callback),
      timeout_(timeout),
      bufferSize_(bufferSize),
      connection_(maxFrameSize) {}

TcpClientImpl::~TcpClientImpl() = default;

bool TcpClientImpl::onBirth() {
    remote_ = address_;
    if (remote_ == ACE_INET_Addr()) {
        ZAN_TCP_ERROR(tcp::SystemError{EADDRNOTAVAIL} << "invalid remote address " << address_);
        return false;
    }
    ACE_SOCK_Connector connector;
    ACE_Time_Value const limit(timeout_ < 0 ? 0 : timeout_);
    int result = connector.connect(stream(), remote_, timeout_ < 0 ? nullptr : &limit,
                                   ACE_Addr::sap_any, 0, 0, 0, 0);
    int error = errno;
    ACE_INET_Addr local;
    if (result != -1) {
        stream().get_local_addr(local);
        // Without a listener the system may connect a socket to itself, where it happens to pick
        // the port wanted for its own.
        if (local == remote_) {
            result = -1;
            error = ECONNREFUSED;
        }
    }
    if (result == -1) {
        stream().close();
        if (error == ETIME)
            ZAN_TCP_ERROR(tcp::SystemError{error} << "connection timeout " << TcpAddr(remote_));
        else
            ZAN_TCP_ERROR(tcp::SystemError{error} << "connection failed " << TcpAddr(remote_));
        return false;
    }
    stream().disable(ACE_NONBLOCK);
    connection_.opened(TcpAddr(remote_));
    connection_.setOptions(bufferSize_);
    connection_.adopt();
    localPort_.store(local.get_port_number(), std::memory_order_relaxed);
    announce_ = true;
    ZAN_INFO(detail::zanLogger(),
             "connected at " << TcpAddr(local) << " to " << connection_.peer());
    return true;
}

bool TcpClientImpl::onLoop() {
    for (int i = 0; i < tcp::Connection::MESSAGES_IN_A_ROW && living(); ++i) {
        if (recv()) continue;
        announceClose();
        ZAN_TCP_LINE(tcp::INFO, "break loop: !recv()");
        return false;
    }
    return true;
}

bool TcpClientImpl::recv() {
    istr data;
    return connection_.recv(data) && tcp::callOnRecv(callback_.get(), connection_.peer(), data);
}

void TcpClientImpl::onDeath() {
    // Not yet, where a stop came between two messages.
    announceClose();
    tcp::Connection::abandon();
    connection_.close();
    callback_ = nullptr;
}

void TcpClientImpl::announceClose() {
    if (!announce_) return;
    announce_ = false;
    tcp::callOnClose(callback_.get(), connection_.peer());
}

}  // namespace zan
