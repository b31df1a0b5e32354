#pragma once

#include "zan/base/base_type_string.h"
#include "zan/mt/mutex.h"

namespace zan {

class PingImpl;

// Asks a host for an echo (ICMP) and tells how long it took.
//
//     zan::Ping ping;
//     __int64 milliSeconds = 0;
//     if (ping.open() && ping.sendAndWait("192.168.1.1", &milliSeconds, 3)) ...
//
// A raw socket is needed, and with it the right to open one: CAP_NET_RAW, or root. Without it
// open() fails. Only IPv4. Answers are known by the process: two objects that wait at the same time
// may take each other's.
//
// Ownership: ends what it started. Threads: one at a time; while one waits, messages of ACE's own
//   are off in the process. Errors: false; nothing is thrown. The log has the reason where the
//   category "<ICMP.ERROR>" is on, and the time that each answer took where "ICMP.INFO" is.
class ZAN_EXPORT Ping : noncopyable {
public:
    Ping();
    ~Ping();

    // True where it is open already.
    bool open();
    // Harmless in any state; open() may follow.
    void close();
    // Blocks for up to `timeout` seconds, and before that for as long as it takes to find the
    // address of a name. `cost` gets the time in milliseconds, and is left alone without an answer;
    // it may be null.
    bool sendAndWait(String const& host, __int64* cost, long timeout);

private:
    PingImpl* impl_;
};

}  // namespace zan
