#include "zan/mlc/mlc.h"

#include "zan/mlc/stackwalker.h"
#include "zan/util/util_func.h"

namespace zan {

namespace {

int entries = 0;

bool wanted() {
    return getenv("ZAN_MEM_LEAK_CHECK") == "on";
}

}  // namespace

void MLC_Entry::enter() {
    if (++entries == 1 && wanted()) startup();
}

void MLC_Entry::leave() {
    if (entries == 0) return;  // a fini() of its own
    if (--entries == 0 && wanted()) shutdown();
}

void MLC_Entry::startup() {
    beginAllocCheck(XML, true, 0);
}

void MLC_Entry::shutdown() {
    endAllocCheck();
}

void MLC_Entry::logExceptionOnly() {
    catchExceptionsOnly(XML);
}

}  // namespace zan
