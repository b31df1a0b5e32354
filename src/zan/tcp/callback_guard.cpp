#include "zan/tcp/callback_guard.h"

#include <sstream>

#include "zan/base/exception.h"
#include "zan/log/log_tracer.h"

namespace zan::tcp {

void reportCallbackException() noexcept {
    try {
        throw;
    } catch (Exception const& e) {
        std::ostringstream os;
        std::operator<<(os, e);
        writeExcptLog(detail::zanLogger(), ZAN_HERE, os.str().c_str());
    } catch (std::exception const& e) {
        ZAN_ERROR(detail::zanLogger(), "the callback threw " << e.what());
    } catch (...) {
        ZAN_ERROR(detail::zanLogger(), "the callback threw an exception of unknown type");
    }
}

}  // namespace zan::tcp
