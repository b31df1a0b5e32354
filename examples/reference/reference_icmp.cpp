#include "example.h"

EXAMPLE(Ping) {
    zan::Ping ping;
    __int64 milliSeconds = -1;
    bool const answered = ping.open() && ping.sendAndWait("127.0.0.1", &milliSeconds, 3);
    std::cout << (answered == (milliSeconds >= 0)) << '\n';  // root and CAP_NET_RAW get answers
}

int main() {
    return reference::run("reference_icmp.log");
}
