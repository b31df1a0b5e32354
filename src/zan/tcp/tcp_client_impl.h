#pragma once

#include <ace/SOCK_Connector.h>

#include <atomic>

#include "zan/mt/thread.h"
#include "zan/tcp/connection.h"

namespace zan {

// A client's connection: the thread that connects and then reads from the server.
//
// Threads: any may send and stop.
class TcpClientImpl : public SimpleThread, public TcpChannel {
public:
    TcpClientImpl(TcpAddr const& addr, Handle<TcpCallback> const& callback, int timeout,
                  int bufferSize, unsigned long maxFrameSize);
    ~TcpClientImpl() override;

    ACE_SOCK_Stream& stream() override { return connection_.stream(); }
    bool send(istr const& data, int timeout) { return connection_.send(data, timeout); }
    unsigned short localPort() const { return localPort_.load(std::memory_order_relaxed); }

protected:
    bool onBirth() override;
    bool onLoop() override;
    void onDeath() override;
    void onStop() override { connection_.end(); }

private:
    bool recv();
    void announceClose();

    TcpAddr const address_;
    Handle<TcpCallback> callback_;  // until the thread's death: its user may be gone after that
    int const timeout_;
    int const bufferSize_;
    ACE_INET_Addr remote_;
    tcp::Connection connection_;
    std::atomic<unsigned short> localPort_{0};
    bool announce_ = false;  // onClose is due
};

}  // namespace zan
