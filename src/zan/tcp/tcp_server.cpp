#include "zan/tcp/tcp_server.h"

#include "zan/base/mlcheck.h"
#include "zan/log/log_tracer.h"
#include "zan/tcp/tcp_acceptor.h"
#include "zan/tcp/tcp_log.h"

namespace zan {

namespace tcp {

// Clients that have connected and not been accepted yet; the system has one beyond it try again
// after a second.
constexpr int BACKLOG = 10;

class ServerImpl : noncopyable {
public:
    bool open(TcpAddr const& addr, Handle<TcpCallback> const& callback, int bufferSize,
              unsigned long maxFrameSize) {
        MutexLock const opening(openMutex_);
        close();
        try {
            Handle<TcpAcceptor> const acceptor(
                ZAN_NEW(TcpAcceptor(addr, callback, BACKLOG, bufferSize, maxFrameSize)));
            set(acceptor);
            acceptor->startAndWait(0);
            return acceptor->living();
        } catch (std::exception const& e) {
            ZAN_TCP_ERROR("no listening thread at " << addr << ": " << e.what());
            return false;
        }
    }

    void close() {
        if (Handle<TcpAcceptor> const acceptor = set(nullptr)) acceptor->stop();
    }

    // Whether the calling thread runs a connection of this server.
    bool owns(Connection const* connection) const {
        void const* const acceptor = identity_.load(std::memory_order_acquire);
        return connection != nullptr && acceptor != nullptr && connection->server() == acceptor;
    }

    bool send(TcpAddr const& peer, istr const& data, int timeout) {
        Handle<TcpAcceptor> const acceptor = get();
        if (acceptor) return acceptor->send(peer, data, timeout);
        ZAN_TCP_LINE(INFO, "null tcp acceptor impl");
        return false;
    }

    std::vector<TcpAddr> clients() const {
        Handle<TcpAcceptor> const acceptor = get();
        return acceptor ? acceptor->clients() : std::vector<TcpAddr>();
    }

    bool disconnect(TcpAddr const& peer) {
        Handle<TcpAcceptor> const acceptor = get();
        return acceptor && acceptor->disconnect(peer);
    }

    unsigned short localPort() const {
        Handle<TcpAcceptor> const acceptor = get();
        return acceptor ? acceptor->localPort() : static_cast<unsigned short>(0);
    }

private:
    Handle<TcpAcceptor> get() const {
        MutexLock const guard(mutex_);
        return acceptor_;
    }
    // Gives the former one.
    Handle<TcpAcceptor> set(Handle<TcpAcceptor> acceptor) {
        MutexLock const guard(mutex_);
        identity_.store(acceptor.get(), std::memory_order_release);
        acceptor_.swap(acceptor);
        return acceptor;
    }

    Mutex openMutex_;
    Mutex mutex_;  // guards acceptor_
    Handle<TcpAcceptor> acceptor_;
    std::atomic<TcpAcceptor*> identity_{nullptr};  // to compare with, nothing else
};

}  // namespace tcp

TcpServer::~TcpServer() {
    close();
    ZAN_DELETE(impl_.load(std::memory_order_acquire));
}

tcp::ServerImpl& TcpServer::impl() {
    if (tcp::ServerImpl* const p = impl_.load(std::memory_order_acquire)) return *p;
    auto* const made = ZAN_NEW(tcp::ServerImpl);
    tcp::ServerImpl* found = nullptr;
    if (impl_.compare_exchange_strong(found, made, std::memory_order_acq_rel)) return *made;
    ZAN_DELETE(made);
    return *found;
}

bool TcpServer::open(TcpAddr const& addr, Handle<TcpCallback> callback, int bufferSize) {
    ZAN_TRACE_ENTRY_INFO(detail::zanLogger(), addr);
    return impl().open(addr, callback, bufferSize, maxFrameSize_);
}

void TcpServer::close() {
    ZAN_TRACE_ENTRY(detail::zanLogger());
    if (tcp::ServerImpl* const p = impl_.load(std::memory_order_acquire)) p->close();
}

bool TcpServer::send(TcpAddr const& peer, istr const& data, int timeout) {
    // An answer from the callback needs no look-up, and no frame on the call stack: nothing below
    // it throws or prints one.
    tcp::ServerImpl* const p = impl_.load(std::memory_order_acquire);
    tcp::Connection* const own = tcp::Connection::own();
    if (__builtin_expect(p != nullptr && p->owns(own) && &own->peer() == &peer, 1))
        return own->send(data, timeout);
    return sendTo(peer, data, timeout);
}

bool TcpServer::sendTo(TcpAddr const& peer, istr const& data, int timeout) {
    ZAN_TRACE_FRAME(detail::zanLogger());
    if (tcp::ServerImpl* const p = impl_.load(std::memory_order_acquire)) {
        tcp::Connection* const own = tcp::Connection::own();
        return p->owns(own) && own->peer() == peer ? own->send(data, timeout)
                                                   : p->send(peer, data, timeout);
    }
    ZAN_TCP_LINE(tcp::INFO, "null tcp server impl");
    return false;
}

std::vector<TcpAddr> TcpServer::clients() const {
    tcp::ServerImpl* const p = impl_.load(std::memory_order_acquire);
    return p != nullptr ? p->clients() : std::vector<TcpAddr>();
}

bool TcpServer::disconnect(TcpAddr const& peer) {
    ZAN_TRACE_ENTRY_INFO(detail::zanLogger(), peer);
    tcp::ServerImpl* const p = impl_.load(std::memory_order_acquire);
    return p != nullptr && p->disconnect(peer);
}

unsigned short TcpServer::getLocalPort() const {
    tcp::ServerImpl* const p = impl_.load(std::memory_order_acquire);
    return p != nullptr ? p->localPort() : static_cast<unsigned short>(0);
}

}  // namespace zan
