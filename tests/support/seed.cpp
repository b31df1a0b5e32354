#include "support/seed.h"

#include <cstdlib>

namespace zan_test {

unsigned long seed() {
    static unsigned long const value = [] {
        char const* const given = std::getenv("ZAN_TEST_SEED");
        return given ? std::strtoul(given, nullptr, 0) : std::random_device{}();
    }();
    return value;
}

}  // namespace zan_test
