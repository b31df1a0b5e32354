#include "zan/icmp/icmp_ping_impl.h"

#include <ace/ACE.h>
#include <ace/INET_Addr.h>
#include <ace/Init_ACE.h>
#include <ace/Log_Msg.h>
#include <ace/OS_NS_sys_socket.h>
#include <ace/Time_Value.h>

#include <algorithm>
#include <limits>

#include "zan/base/base_type_time.h"
#include "zan/base/mlcheck.h"
#include "zan/log/log_logger.h"

namespace zan {

namespace {

constexpr int ICMP_PROTOCOL = 1;

detail::LogCategory const INFO("ICMP.INFO");
detail::LogCategory const FAILED("<ICMP.ERROR>");

// Port 0: there are no ports.
bool resolve(String const& host, ACE_INET_Addr& addr) {
    if (host.empty() || host.find('\0') != String::npos) return false;
    return addr.set(static_cast<u_short>(0), host.c_str(), 1, AF_INET) == 0;
}

// The socket class tells each step on the standard error stream, which is the program's own. It
// needs ACE for that, which fini() has ended.
class QuietAce {
public:
    QuietAce() : before_((ACE::init(), ACE_LOG_MSG->priority_mask(0, ACE_Log_Msg::PROCESS))) {}
    ~QuietAce() { ACE_LOG_MSG->priority_mask(before_, ACE_Log_Msg::PROCESS); }
    QuietAce(QuietAce const&) = delete;
    QuietAce& operator=(QuietAce const&) = delete;

private:
    u_long before_;
};

}  // namespace

#define ZAN_ICMP_ERROR(msg)                                                                       \
    do {                                                                                          \
        if (FAILED.on()) ZAN_DETAIL_LINE(writeInfoLine, detail::zanLogger(), msg, FAILED.name()); \
    } while (false)

bool PingImpl::open() {
    if (open_) return true;
    UncheckedBlocks const lifelong;  // what ACE keeps for each thread
    QuietAce const quiet;
    if (socket_.open(ACE_Addr::sap_any, ICMP_PROTOCOL, 0) != 0) {
        socket_.close();
        ZAN_ICMP_ERROR("ICMP socket open failed.");
        return false;
    }
    socket_.enable(ACE_CLOEXEC);
    open_ = true;
    return true;
}

void PingImpl::close() {
    if (!open_) return;
    socket_.close();
    open_ = false;
}

// The answer to an earlier question, after its time, must not be taken for one to the next. Not
// without end: all that comes to the host by ICMP comes here too.
void PingImpl::dropOldAnswers() {
    char bytes[2048];
    for (int i = 0; i < 10000; ++i)
        if (ACE_OS::recv(socket_.get_handle(), bytes, sizeof bytes, MSG_DONTWAIT) < 0) return;
}

bool PingImpl::sendAndWait(String const& host, __int64* cost, long timeout) {
    if (!open_) {
        ZAN_ICMP_ERROR("ICMP socket not open.");
        return false;
    }
    QuietAce const quiet;
    ACE_INET_Addr addr;
    bool const known = resolve(host, addr);
    constexpr long LONGEST = std::numeric_limits<int>::max();
    ACE_Time_Value const wait(std::min(std::max(timeout, 0L), LONGEST));
    dropOldAnswers();
    Time const start = Time::now(Time::Realtime);
    // An address that is not set would be one of this host.
    if (!known || socket_.make_echo_check(addr, false, &wait) != 0) {
        char text[INET6_ADDRSTRLEN + 8] = "";
        if (known) addr.addr_to_string(text, sizeof text);
        ZAN_ICMP_ERROR("ICMP send failed. remote:" << (known ? text : host.c_str()));
        return false;
    }
    Time const took = Time::now(Time::Realtime) - start;
    if (cost != nullptr) *cost = took.toMilliSeconds();
    if (INFO.on())
        ZAN_DETAIL_LINE(writeInfoLine, detail::zanLogger(),
                        Current(ZAN_HERE) << ' ' << "ping:" << host << ", waitTimeout:" << timeout
                                          << ",cost:" << took,
                        INFO.name());
    return true;
}

#undef ZAN_ICMP_ERROR

}  // namespace zan
