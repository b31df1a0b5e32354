#include "zan/tcp/tcp_acceptor.h"

#include <ace/ACE.h>
#include <ace/OS_NS_fcntl.h>

#include <cerrno>

#include "zan/base/mlcheck.h"
#include "zan/log/log_tracer.h"
#include "zan/tcp/tcp_log.h"

namespace zan {

namespace {

constexpr long long POLL_INTERVAL = 5000;  // milliseconds
// While the process has no descriptor or memory left, the client that waits would make accept()
// fail without pause.
constexpr long long ACCEPT_PAUSE = 200;  // milliseconds

String acceptorName(TcpAddr const& addr) {
    String name;
    name << "tcp.acceptor." << static_cast<unsigned short>(addr.port);
    return name;
}

}  // namespace

TcpAcceptor::TcpAcceptor(TcpAddr const& addr, Handle<TcpCallback> const& callback, int backlog,
                         int bufferSize, unsigned long maxFrameSize)
    : SimpleThread(nullptr, acceptorName(addr).c_str()),
      ThreadOwner(acceptorName(addr).c_str()),
      address_(addr),
      callback_(callback),
      backlog_(backlog),
      bufferSize_(bufferSize),
      maxFrameSize_(maxFrameSize),
      localPort_(addr.port) {}

TcpAcceptor::~TcpAcceptor() = default;

// --- Listening

bool TcpAcceptor::open() {
    ZAN_TRACE_ENTRY(detail::zanLogger());
    ACE::set_handle_limit(-1, 0);
    ACE_INET_Addr local = address_;
    bool known = true;
    if (address_.ip.empty())
        local.set(address_.port, static_cast<ACE_UINT32>(INADDR_ANY));
    else
        known = local != ACE_INET_Addr();
    errno = known ? waker_.error() : EADDRNOTAVAIL;
    if (!known || !waker_.valid() ||
        acceptor_.open(local, 1, local.get_type(), backlog_, 0) == -1) {
        int const error = errno;
        ZAN_TCP_ERROR(tcp::SystemError{error} << "at " << address_);
        return false;
    }
    if (acceptor_.get_local_addr(local) == -1) {
        int const error = errno;
        ZAN_TCP_ERROR(tcp::SystemError{error} << "get_local_addr " << address_);
        acceptor_.close();
        return false;
    }
    // A client that is gone again before it is accepted must not hold up the others.
    acceptor_.enable(ACE_NONBLOCK);
    ACE_OS::fcntl(acceptor_.get_handle(), F_SETFD, FD_CLOEXEC);
    localPort_.store(local.get_port_number(), std::memory_order_relaxed);
    ZAN_INFO(detail::zanLogger(), "start tcp acceptor at " << TcpAddr(local));
    return true;
}

bool TcpAcceptor::accept() {
    ZAN_TRACE_FRAME(detail::zanLogger());
    switch (platform::waitReadable(acceptor_.get_handle(), waker_, POLL_INTERVAL)) {
        case platform::Waited::Failed: {
            int const error = errno;
            ZAN_TCP_ERROR("select() " << tcp::SystemError{error});
            return false;
        }
        case platform::Waited::Woken:
        case platform::Waited::TimedOut:
            return true;
        case platform::Waited::Ready:
            break;
    }
    // Take all that wait.
    while (living()) {
        ACE_SOCK_Stream stream;
        if (acceptor_.accept(stream, nullptr, nullptr, true, false) != -1) {
            startServer(stream);
            continue;
        }
        int const error = errno;
        if (error == EWOULDBLOCK) break;
        ZAN_TCP_ERROR("accept() " << tcp::SystemError{error});
        if (error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM)
            platform::waitReadable(-1, waker_, ACCEPT_PAUSE);
        break;
    }
    return true;
}

void TcpAcceptor::startServer(ACE_SOCK_Stream& stream) {
    ACE_INET_Addr remote;
    if (stream.get_remote_addr(remote) == -1) {
        int const error = errno;
        ZAN_TCP_ERROR(tcp::SystemError{error} << "get_remote_addr of a new client, closing it");
        stream.close();
        return;
    }
    Handle<TcpServerImpl> server;
    try {
        TcpAddr const peer(remote);
        String name;
        name << "tcp.server." << localPort() << '|' << static_cast<unsigned short>(peer.port);
        server = ZAN_NEW(TcpServerImpl(this, name.c_str(), callback_, stream.get_handle(), peer,
                                       bufferSize_, maxFrameSize_));
        stream.set_handle(ACE_INVALID_HANDLE);  // it has an owner
        MutexLock const guard(startMutex_);
        if (!living()) return;
        {
            MutexLock const servers(servers_.mutex());
            servers_.container()[server->handle()] = server;
        }
        {
            MutexLock const peers(peers_.mutex());
            peers_.container()[peer] = server->handle();
        }
        ZAN_INFO(detail::zanLogger(), "accepted new client = " << peer);
        // Not waited for: a thread's birth takes long beside an accept. One that fails takes itself
        // out of the tables.
        server->start(0);
        return;
    } catch (std::exception const&) {
        // No thread or no memory: that client alone pays for it.
    }
    ZAN_INFO(detail::zanLogger(),
             "start tcp server failure " << (server ? server->fullname() : String()));
    if (server)
        closeServer(server.get());
    else
        stream.close();
}

// --- The table of connections

void TcpAcceptor::onThreadExit(Thread* thread) {
    closeServer(static_cast<TcpServerImpl*>(thread));
}

void TcpAcceptor::closeServer(TcpServerImpl* server) {
    ZAN_TRACE_FRAME(detail::zanLogger());
    if (server == nullptr) return;
    ZAN_INFO(detail::zanLogger(), "remove tcp server " << server->peer());
    forget(server);
    server->release();
}

void TcpAcceptor::forget(TcpServerImpl* server) {
    Handle<TcpServerImpl> entry;  // dropped outside the lock
    {
        MutexLock const guard(servers_.mutex());
        auto const it = servers_.container().find(server->handle());
        if (it == servers_.container().end() || it->second.get() != server) return;
        entry.swap(it->second);
        servers_.container().erase(it);
    }
    // The address may be that of a newer connection already.
    MutexLock const guard(peers_.mutex());
    auto const it = peers_.container().find(server->peer());
    if (it != peers_.container().end() && it->second == server->handle())
        peers_.container().erase(it);
}

// Empty where there is no such client.
Handle<TcpServerImpl> TcpAcceptor::find(TcpAddr const& peer) const {
    ACE_HANDLE handle = ACE_INVALID_HANDLE;
    Handle<TcpServerImpl> server;
    if (peers_.find(peer, handle)) servers_.find(handle, server);
    return server;
}

std::vector<TcpAddr> TcpAcceptor::clients() const {
    std::vector<TcpAddr> all;
    MutexLock const guard(peers_.mutex());
    all.reserve(peers_.container().size());
    for (auto const& item : peers_.container()) all.push_back(item.first);
    return all;
}

bool TcpAcceptor::disconnect(TcpAddr const& peer) {
    Handle<TcpServerImpl> const server = find(peer);
    if (!server) return false;
    server->end();
    return true;
}

bool TcpAcceptor::send(TcpAddr const& peer, istr const& data, int timeout) {
    ZAN_TRACE_FRAME(detail::zanLogger());
    if (Handle<TcpServerImpl> const server = find(peer)) return server->send(data, timeout);
    auto const all = servers_.copy();
    if (all.empty()) return false;
    for (auto const& item : all)
        if (!item.second->send(data, 0)) return false;
    return true;
}

// --- The end

void TcpAcceptor::onStop() {
    waker_.wake();
    close();
}

void TcpAcceptor::onDeath() {
    close();
    // Only here, where nobody waits for it: its number must not name another file meanwhile.
    acceptor_.close();
    callback_ = nullptr;
}

// Called by who stops and by the ending thread, at once: each connection is stopped by who takes it
// out of the table, and waiting for both is waiting for all.
void TcpAcceptor::close() {
    ZAN_TRACE_FRAME(detail::zanLogger());
    std::map<ACE_HANDLE, Handle<TcpServerImpl>> all;
    {
        MutexLock const starting(startMutex_);
        MutexLock const guard(servers_.mutex());
        all.swap(servers_.container());
    }
    peers_.clear();
    for (auto const& item : all) {
        ZAN_INFO(detail::zanLogger(), "stopping " << item.second->fullname());
        item.second->stop();
    }
}

}  // namespace zan
