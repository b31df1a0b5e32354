#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/seed.h"
#include "zan/base/startstop.h"
#include "zan/log/console.h"
#include "zan/mlc/mlc.h"

int main(int argc, char** argv) {
    // The library runs threads, so a child made by a bare fork could inherit a held lock.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    testing::InitGoogleMock(&argc, argv);
    // Before the tests, since a crash must not take the seed with it; and for the child of a death
    // test, which starts from here again and has to see the same numbers.
    std::string const seed = std::to_string(zan_test::seed());
    setenv("ZAN_TEST_SEED", seed.c_str(), 1);
    std::printf("ZAN_TEST_SEED=%s\n", seed.c_str());
    std::fflush(stdout);
    // What the tests provoke would bury what they have to say.
    zan::console::setOn(false);
    // With ZAN_MEM_LEAK_CHECK=on and libzanmlc.so, a report of what the tests have left. They call
    // fini() more often than init().
    zan::MLC_Entry const checked[8];
    int const failed = RUN_ALL_TESTS();
    zan::fini();
    return failed;
}
