#pragma once

#include <ace/INET_Addr.h>
#include <ace/SOCK_Stream.h>

#include <iosfwd>

#include "zan/base/base_type_bytes.h"
#include "zan/base/base_type_string.h"
#include "zan/base/base_type_value.h"
#include "zan/mt/handle.h"
#include "zan/mt/shared.h"

namespace zan {

namespace pml {
class stream;
}

// An endpoint. A plain value, and a map key.
struct ZAN_EXPORT TcpAddr {
    TcpAddr() = default;
    // The port goes first. `ip` is dotted text or a host name.
    TcpAddr(unsigned short port, istr const& ip);
    TcpAddr(ACE_INET_Addr const& addr);

    // Looks host names up, which may block; IPv4 is preferred. No ip at all means every local
    // address, and none with port 0, like a name that cannot be found, is ACE_INET_Addr().
    operator ACE_INET_Addr() const;

    // Fills or writes the children "ip" and "port".
    void codec(pml::stream& s);

    String ip;
    Ushort port;
};

inline bool operator==(TcpAddr const& a, TcpAddr const& b) {
    return static_cast<unsigned short>(a.port) == static_cast<unsigned short>(b.port) &&
           a.ip == b.ip;
}
inline bool operator!=(TcpAddr const& a, TcpAddr const& b) {
    return !(a == b);
}
// By ip, as text, then by port.
ZAN_EXPORT bool operator<(TcpAddr const& a, TcpAddr const& b);
// "127.0.0.1:8080"
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, TcpAddr const& addr);

// Receives the messages of one client, or of all connections of a server. `peer` is the far end.
//
// Ownership: held by Handle; it lives as long as its longest holder, which may be a connection that
//   is just ending.
// Threads: called on the connections' own threads: in order on one connection, at once on several,
//   so a server's callback must be thread-safe. The next message of a connection is read only when
//   onRecv has returned. It must not call close() of its own client or server, which waits for this
//   very thread. Sending is fine.
// Errors: an exception that leaves one of these is reported in the log and ends that connection.
class ZAN_EXPORT TcpCallback : public virtual Shared {
public:
    ~TcpCallback() override;

    // One whole message. `data` is valid during the call only.
    virtual void onRecv(TcpAddr const& peer, istr const& data) = 0;
    // Receiving has ended, for whatever reason: called once for each connection, after its last
    // onRecv. No callback announces a new connection.
    virtual void onClose(TcpAddr const& peer) = 0;
};

// Sends and receives whole messages over a byte stream. On the wire a message is a frame: its size
// as 4 bytes, most significant first, and then its bytes; frames follow each other with nothing in
// between.
//
// TcpClient and TcpServer do more than this class, which takes no lock and keeps no state: they
// keep senders apart, read ahead, and end a connection whose order of frames is lost.
//
// Threads: one receives, one sends; the two need no care between them.
// Errors: every failure is false and a line in the log under "<TCP.ERROR>"; none throws. Afterwards
//   the position in the stream is lost, and the connection can only be closed.
class ZAN_EXPORT TcpChannel {
public:
    // The longest message that four bytes can announce.
    static constexpr unsigned long MAX_FRAME_SIZE = 0xFFFFFFFFul;

    virtual ~TcpChannel();

    virtual ACE_SOCK_Stream& stream() = 0;

    // `timeout` in seconds, for the whole frame: negative waits without limit, with 0 the socket
    // has to take the frame at once. After false a part of the frame may be on the wire. Never
    // raises SIGPIPE.
    bool sendBuf(istr const& data, int timeout);
    // Waits for as long as it takes. On true `data` holds the message; its former content is gone
    // in any case. Memory grows with the bytes that arrive, not with the size announced; a frame
    // longer than `maxSize`, or one that memory cannot hold, is a failure.
    bool recvBuf(Bytes& data, unsigned long maxSize = MAX_FRAME_SIZE);
    // Reads exactly `size` bytes. `name` ("len" or "data") and `peer` are for the log. An end of
    // the stream is false too, with a line under "TCP.INFO".
    bool recvBuf_i(void* buffer, unsigned int& size, istr name, ACE_INET_Addr peer);
};

}  // namespace zan
