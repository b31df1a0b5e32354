#pragma once

#include <atomic>

#include "zan/mt/mutex.h"
#include "zan/tcp/tcp_impl_base.h"

namespace zan {

namespace tcp {
class ClientImpl;
}

// One connection to a server: messages that arrive go to the callback on a thread of its own, any
// thread may send. There is no reconnection: after onClose the connection stays broken until the
// application, on another thread than the callback's, calls open() again.
//
//     zan::TcpClient client;
//     if (!client.open(zan::TcpAddr(port, "127.0.0.1"), new Printer, 5, 0)) return 1;
//     client.send("hello", 5);
//
// Ownership: shares the callback. Ends what it started: the destructor closes.
// Threads: any may call any operation, but close(), open() and the destructor wait for the thread
//   "tcp.client", and so must not run in the callback.
// Errors: false and a line in the log under "<TCP.ERROR>"; nothing throws. A lost connection is
//   told by onClose and nothing else; a failed open() calls no callback.
class ZAN_EXPORT TcpClient : noncopyable {
public:
    TcpClient();
    ~TcpClient();

    // True with the connection established. `timeout` in seconds is for the connect: negative
    // leaves it to the system, 0 has to succeed at once. An open connection is closed first.
    // Without a callback messages are read and dropped. `bufferSize`, in bytes, is for SO_RCVBUF
    // and SO_SNDBUF; 0 or less leaves the sizes to the system, which adapts them.
    bool open(TcpAddr const& addr, Handle<TcpCallback> callback, int timeout, int bufferSize);
    // Returns when the thread has ended, and so after onClose. Harmless in any state.
    void close();
    // `timeout` in seconds, as TcpChannel::sendBuf has it. Time spent waiting for another thread
    // that sends counts; with 0 a busy connection fails at once. A send that has left a part of its
    // frame on the wire ends the connection.
    bool send(istr const& data, int timeout);
    // 0 when closed.
    unsigned short getLocalPort() const;

    // The longest message that is taken from the server, in bytes; a longer one is refused on its
    // announcement, with a line in the log, and ends the connection. At first
    // TcpChannel::MAX_FRAME_SIZE. Counts from the next open() on.
    void setMaxFrameSize(unsigned long size) { maxFrameSize_ = size; }
    unsigned long maxFrameSize() const { return maxFrameSize_; }

private:
    tcp::ClientImpl* impl_;
    std::atomic<unsigned long> maxFrameSize_{TcpChannel::MAX_FRAME_SIZE};
};

}  // namespace zan
