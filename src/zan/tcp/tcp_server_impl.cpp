#include "zan/tcp/tcp_server_impl.h"

#include <cerrno>

#include "zan/log/log_tracer.h"
#include "zan/tcp/callback_guard.h"
#include "zan/tcp/tcp_acceptor.h"
#include "zan/tcp/tcp_log.h"

namespace zan {

TcpServerImpl::TcpServerImpl(TcpAcceptor* owner, char const* name,
                             Handle<TcpCallback> const& callback, ACE_HANDLE handle,
                             TcpAddr const& peer, int bufferSize, unsigned long maxFrameSize)
    : SimpleThread(owner, name),
      owner_(owner),
      callback_(callback),
      connection_(maxFrameSize, owner),
      handle_(handle),
      bufferSize_(bufferSize) {
    connection_.stream().set_handle(handle);
    connection_.opened(peer);
}

TcpServerImpl::~TcpServerImpl() = default;

bool TcpServerImpl::onBirth() {
    connection_.adopt();
    if (open()) {
        announce_ = true;
        return true;
    }
    ZAN_INFO(detail::zanLogger(), "start tcp server failure " << fullname());
    return false;
}

bool TcpServerImpl::open() {
    ZAN_TRACE_ENTRY(detail::zanLogger());
    ACE_INET_Addr remote;
    if (stream().get_remote_addr(remote) == -1) {
        int const error = errno;
        ZAN_TCP_ERROR(tcp::SystemError{error} << "get_remote_addr");
        close();
        return false;
    }
    if (stream().disable(ACE_NONBLOCK) == -1) {
        int const error = errno;
        ZAN_TCP_ERROR("disable(ACE_NONBLOCK) " << tcp::SystemError{error} << peer());
        close();
        return false;
    }
    connection_.setOptions(bufferSize_);
    return true;
}

bool TcpServerImpl::onLoop() {
    TcpAcceptor const& owner = *owner_;
    for (int i = 0; i < tcp::Connection::MESSAGES_IN_A_ROW && living(); ++i) {
        if (__builtin_expect(!owner.living() ||
                                 connection_.stream().get_handle() == ACE_INVALID_HANDLE || !recv(),
                             0))
            return endLoop();
    }
    return true;
}

inline bool TcpServerImpl::recv() {
    istr data;
    return connection_.recv(data) && tcp::callOnRecv(callback_.get(), peer(), data);
}

// False, with the reason in the log.
bool TcpServerImpl::endLoop() {
    if (stream().get_handle() == ACE_INVALID_HANDLE) {
        ZAN_TCP_LINE(tcp::INFO, "break loop: new_stream_.get_handle() == ACE_INVALID_HANDLE");
        return false;
    }
    announceClose();
    close();
    if (owner_->living())
        ZAN_TCP_LINE(tcp::INFO, "break loop: !recv()");
    else
        ZAN_TCP_LINE(tcp::INFO, "break loop: !owner_->living()");
    return false;
}

// A stop between two messages ends the loop without a read that fails.
void TcpServerImpl::onDeath() {
    announceClose();
    callback_ = nullptr;
    tcp::Connection::abandon();
}

void TcpServerImpl::announceClose() {
    if (!announce_) return;
    announce_ = false;
    tcp::callOnClose(callback_.get(), peer());
}

// The number of the socket stays taken as long as the acceptor's table holds it.
void TcpServerImpl::close() {
    ZAN_TCP_LINE(tcp::DEBUG, "closed connection " << peer());
    connection_.end();
}

void TcpServerImpl::onStop() {
    ZAN_TCP_LINE(tcp::DEBUG, "closing connection " << peer());
    connection_.end();
}

}  // namespace zan
