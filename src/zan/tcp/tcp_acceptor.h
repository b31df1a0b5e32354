#pragma once

#include <ace/SOCK_Acceptor.h>

#include <atomic>

#include "zan/mt/containers.h"
#include "zan/mt/thread.h"
#include "zan/platform/tcp_socket.h"
#include "zan/tcp/tcp_server_impl.h"

namespace zan {

// A server's listening thread, and the owner of its connections.
//
// Threads: any may send and stop. Locks: startMutex_ before those of the tables; none is held
//   during a send or while a thread is stopped.
class TcpAcceptor : public SimpleThread, public ThreadOwner {
public:
    TcpAcceptor(TcpAddr const& addr, Handle<TcpCallback> const& callback, int backlog,
                int bufferSize, unsigned long maxFrameSize);
    ~TcpAcceptor() override;

    // As TcpServer has them.
    bool send(TcpAddr const& peer, istr const& data, int timeout);
    std::vector<TcpAddr> clients() const;
    bool disconnect(TcpAddr const& peer);
    unsigned short localPort() const { return localPort_.load(std::memory_order_relaxed); }

    // A connection has ended by itself; in its own thread.
    void onThreadExit(Thread* thread) override;

protected:
    bool onBirth() override { return open(); }
    bool onLoop() override { return accept(); }
    void onDeath() override;
    void onStop() override;

private:
    bool open();
    bool accept();
    void startServer(ACE_SOCK_Stream& stream);
    Handle<TcpServerImpl> find(TcpAddr const& peer) const;
    void closeServer(TcpServerImpl* server);
    void forget(TcpServerImpl* server);
    void close();

    TcpAddr const address_;
    Handle<TcpCallback> callback_;  // until the thread's death: its user may be gone after that
    int const backlog_;
    int const bufferSize_;
    unsigned long const maxFrameSize_;
    std::atomic<unsigned short> localPort_;
    platform::Waker waker_;
    ACE_SOCK_Acceptor acceptor_;
    // Held while a connection is entered and started, so that a stop sees all or none of that.
    Mutex startMutex_;
    mt::map<ACE_HANDLE, Handle<TcpServerImpl>> servers_;
    mt::map<TcpAddr, ACE_HANDLE> peers_;
};

}  // namespace zan
