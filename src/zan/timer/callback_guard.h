#pragma once

#include <sstream>

#include "zan/base/exception.h"
#include "zan/log/log_tracer.h"

namespace zan::detail {

// Runs a callback of the application's; what it throws is reported and goes no further.
template <class F>
void callGuarded(F call) {
    try {
        call();
    } catch (Exception const& e) {
        std::ostringstream os;
        std::operator<<(os, e);
        writeExcptLog(zanLogger(), ZAN_HERE, os.str().c_str());
    } catch (std::exception const& e) {
        writeExcptLog(zanLogger(), ZAN_HERE, e.what());
    } catch (...) {
        writeExcptLog(zanLogger(), ZAN_HERE, "an exception of unknown type");
    }
}

}  // namespace zan::detail
