// Ends without fini(), with threads of the library still running: the lines are in the file.
#include <cstdio>
#include <cstdlib>

#include "zan/zan.h"

#include "checks.h"

namespace {

void checkLog() {
    checkHas("no_fini.log", "the last line");
    if (failures != 0) std::_Exit(1);
}

}  // namespace

int main() {
    std::remove("no_fini.log");
    std::atexit(&checkLog);  // runs after what the library registers later
    zan::init(nullptr, false, 0);
    zan::startup("no_fini.log", false, 0);
    ZAN_NOTICE(zan::logger_factory::instance("ZAN"), "the last line");
}
