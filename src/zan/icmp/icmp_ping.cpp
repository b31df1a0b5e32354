#include "zan/icmp/icmp_ping.h"

#include "zan/base/mlcheck.h"
#include "zan/icmp/icmp_ping_impl.h"
#include "zan/log/log_tracer.h"

namespace zan {

Ping::Ping() : impl_(ZAN_NEW(PingImpl)) {}

Ping::~Ping() {
    ZAN_DELETE(impl_);
}

bool Ping::open() {
    ZAN_TRACE_ENTRY(detail::zanLogger());
    return impl_->open();
}

void Ping::close() {
    ZAN_TRACE_ENTRY(detail::zanLogger());
    impl_->close();
}

bool Ping::sendAndWait(String const& host, __int64* cost, long timeout) {
    ZAN_TRACE_FRAME(detail::zanLogger());
    return impl_->sendAndWait(host, cost, timeout);
}

}  // namespace zan
