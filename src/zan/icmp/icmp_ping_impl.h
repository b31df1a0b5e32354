#pragma once

#include <ace/Ping_Socket.h>

#include "zan/base/base_type_string.h"
#include "zan/mt/mutex.h"

namespace zan {

// The socket of a Ping.
class PingImpl : noncopyable {
public:
    ~PingImpl() { close(); }

    bool open();
    void close();
    bool sendAndWait(String const& host, __int64* cost, long timeout);

private:
    void dropOldAnswers();

    ACE_Ping_Socket socket_;
    bool open_ = false;
};

}  // namespace zan
