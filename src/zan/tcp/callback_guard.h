#pragma once

#include "zan/tcp/tcp_impl_base.h"

namespace zan::tcp {

// Calls the application, if there is a callback. What it throws is reported and goes no further:
// above the callers there is only the thread's end, and with it the process's. False if it threw.
bool callOnRecv(TcpCallback* callback, TcpAddr const& peer, istr const& data);
bool callOnClose(TcpCallback* callback, TcpAddr const& peer);

}  // namespace zan::tcp
