#pragma once

#include "zan/mt/thread.h"
#include "zan/tcp/connection.h"

namespace zan {

class TcpAcceptor;

// A server's connection: the thread that reads from one client.
//
// Ownership: the acceptor's table and the running thread hold it, and it holds the acceptor. It
//   owns the socket from the constructor on.
// Threads: any may send and stop.
class TcpServerImpl : public SimpleThread, public TcpChannel {
public:
    TcpServerImpl(TcpAcceptor* owner, char const* name, Handle<TcpCallback> const& callback,
                  ACE_HANDLE handle, TcpAddr const& peer, int bufferSize,
                  unsigned long maxFrameSize);
    ~TcpServerImpl() override;

    ACE_SOCK_Stream& stream() override { return connection_.stream(); }
    ACE_HANDLE handle() const { return handle_; }
    TcpAddr const& peer() const { return connection_.peer(); }
    bool send(istr const& data, int timeout) { return connection_.send(data, timeout); }
    // Lets the read come back, which ends the connection's thread.
    void end() { connection_.end(); }
    // Frees the socket's number, once no table knows the connection by it.
    void release() { connection_.close(); }

protected:
    bool onBirth() override;
    bool onLoop() override;
    void onDeath() override;
    void onStop() override;

private:
    bool open();
    bool recv();
    [[gnu::noinline, gnu::cold]] bool endLoop();
    void announceClose();
    void close();

    Handle<TcpAcceptor> const owner_;
    Handle<TcpCallback> callback_;  // until the thread's death: its user may be gone after that
    tcp::Connection connection_;
    ACE_HANDLE const handle_;
    int const bufferSize_;
    bool announce_ = false;  // onClose is due
};

}  // namespace zan
