#pragma once

#include "zan/tcp/tcp_impl_base.h"

namespace zan::tcp {

// Reports the exception that is being handled.
[[gnu::cold]] void reportCallbackException() noexcept;

// Call the application, if there is a callback. What it throws is reported and goes no further:
// above the callers there is only the thread's end, and with it the process's. False if it threw.
inline bool callOnRecv(TcpCallback* callback, TcpAddr const& peer, istr const& data) {
    try {
        if (callback != nullptr) callback->onRecv(peer, data);
        return true;
    } catch (...) {
        reportCallbackException();
        return false;
    }
}
inline bool callOnClose(TcpCallback* callback, TcpAddr const& peer) {
    try {
        if (callback != nullptr) callback->onClose(peer);
        return true;
    } catch (...) {
        reportCallbackException();
        return false;
    }
}

}  // namespace zan::tcp
