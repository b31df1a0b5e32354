// Ends without fini(), with threads of the library still running: the lines are in the file.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "zan/zan.h"

namespace {

void check() {
    std::ifstream in("no_fini.log");
    std::string const text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (text.find("the last line") == std::string::npos) {
        std::fputs("the last line is missing\n", stderr);
        std::_Exit(1);
    }
}

}  // namespace

int main() {
    std::remove("no_fini.log");
    std::atexit(&check);  // runs after what the library registers later
    zan::init(nullptr, false, 0);
    zan::startup("no_fini.log", false, 0);
    ZAN_NOTICE(zan::logger_factory::instance("ZAN"), "the last line");
}
