#include "zan/mt/shared.h"

#include "zan/base/mlcheck.h"
#include "zan/mt/handle.h"
#include "zan/util/demangle.h"

namespace zan {

Shared::~Shared() = default;

void Shared::__lastRefGone() {
    if (noDelete_) return;
    // A handle made during destruction must not delete the object again.
    noDelete_ = true;
    trackDelete(this, "mt/shared.cpp", __LINE__, "zan::Shared::__SubRef");
}

namespace detail {

void nullHandle(char const* mangledType, unsigned int line) {
    std::string const func = "zan::SmartPtrBase<class " + demangle(mangledType) + ">::operator ->";
    // The exception keeps the pointer only, so the text must outlive it.
    char const* const place = keepText(func);
    exceptionThrown(logger_factory::instance(LOGGER_ID), "mt/handle.h", line, place,
                    "zan::NullHandleException");
    throw NullHandleException("mt/handle.h", line, place);
}

}  // namespace detail
}  // namespace zan
