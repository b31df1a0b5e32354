#pragma once

#include <atomic>
#include <vector>

#include "zan/mt/mutex.h"
#include "zan/tcp/tcp_impl_base.h"

namespace zan {

namespace tcp {
class ServerImpl;
}

// Listens on a port, gives each client a thread of its own, hands every message to one callback,
// and sends to one client or to all.
//
//     zan::TcpServer server;
//     if (!server.open(zan::TcpAddr(0, "127.0.0.1"), new Echo(server), 0)) return 1;
//     std::cout << "listening on " << server.getLocalPort() << std::endl;
//     ...
//     server.close();
//
// Ownership: shares the callback. Ends what it started: the destructor closes.
// Threads: any may call any operation, but close(), open() and the destructor wait for the
//   connections' threads, and so must not run in a callback. The listening thread is named
//   "tcp.acceptor.PORT", a connection's "tcp.server.PORT|CLIENT_PORT".
// Errors: false and a line in the log under "<TCP.ERROR>"; nothing throws. Whatever a client does,
//   its own connection alone pays for it: a broken or refused frame, memory that runs out, an
//   exception of the callback end that connection.
// Cost: a thread for each client and some KiB, at most 32 once it has been quiet for two seconds. A
//   message that arrives is handed over in the receive buffer, without a copy; one that is sent
//   goes out in a single call, with its size ahead of it. A message that the callback passes on as
//   it came goes straight out of the receive buffer. Nagle's algorithm is off.
class ZAN_EXPORT TcpServer : noncopyable {
public:
    TcpServer() = default;
    ~TcpServer();

    // Returns when the port is open; port 0 lets the system choose one. An open server is closed
    // first. Without a callback messages are read and dropped. `bufferSize`, in bytes, is for
    // SO_RCVBUF and SO_SNDBUF of each connection; 0 or less leaves the sizes to the system, which
    // adapts them.
    bool open(TcpAddr const& addr, Handle<TcpCallback> callback, int bufferSize);
    // Returns when all threads have ended, and so after the last callback. Harmless when not open.
    // Messages that wait unread are lost.
    void close();
    // To the client at `peer`, with `timeout` in seconds as TcpChannel::sendBuf has it. Time spent
    // waiting for another thread that sends to the same client counts; with 0 a busy connection
    // fails at once. A send that has left a part of its frame on the wire ends that connection.
    //
    // An address that is no client's, such as TcpAddr(), sends to everybody, with a time-out of 0
    // for each, and ends at the first failure; false with no clients.
    bool send(TcpAddr const& peer, istr const& data, int timeout);
    // The connected clients, in the order of their addresses. A client is one from its accept on,
    // whether it has sent anything or not.
    std::vector<TcpAddr> clients() const;
    // Ends the connection of that client, as if it had broken: onClose() follows on its thread.
    // Does not wait for that, so it may be called anywhere. False for an address that is no
    // client's.
    bool disconnect(TcpAddr const& peer);
    // 0 when not open. After a failed open(), the port that was asked for.
    unsigned short getLocalPort() const;

    // The longest message that is taken from a client, in bytes; a longer one is refused on its
    // announcement, with a line in the log, and ends the connection. At first
    // TcpChannel::MAX_FRAME_SIZE. Counts from the next open() on.
    void setMaxFrameSize(unsigned long size) { maxFrameSize_ = size; }
    unsigned long maxFrameSize() const { return maxFrameSize_; }

private:
    tcp::ServerImpl& impl();
    ZAN_HIDDEN bool sendTo(TcpAddr const& peer, istr const& data, int timeout);

    std::atomic<tcp::ServerImpl*> impl_{nullptr};
    std::atomic<unsigned long> maxFrameSize_{TcpChannel::MAX_FRAME_SIZE};
};

}  // namespace zan
