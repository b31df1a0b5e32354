#include <gmock/gmock.h>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    // The library runs threads, so a child made by a bare fork could inherit a held lock.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
