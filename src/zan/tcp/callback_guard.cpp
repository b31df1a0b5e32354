#include "zan/tcp/callback_guard.h"

#include <sstream>

#include "zan/base/exception.h"
#include "zan/log/log_tracer.h"

namespace zan::tcp {

namespace {

template <class F>
bool guarded(F call) {
    try {
        call();
        return true;
    } catch (Exception const& e) {
        std::ostringstream os;
        std::operator<<(os, e);
        writeExcptLog(detail::zanLogger(), ZAN_HERE, os.str().c_str());
    } catch (std::exception const& e) {
        ZAN_ERROR(detail::zanLogger(), "the callback threw " << e.what());
    } catch (...) {
        ZAN_ERROR(detail::zanLogger(), "the callback threw an exception of unknown type");
    }
    return false;
}

}  // namespace

bool callOnRecv(TcpCallback* callback, TcpAddr const& peer, istr const& data) {
    return callback == nullptr || guarded([&] { callback->onRecv(peer, data); });
}

bool callOnClose(TcpCallback* callback, TcpAddr const& peer) {
    return callback == nullptr || guarded([&] { callback->onClose(peer); });
}

}  // namespace zan::tcp
