#include <zan/zan.h>

#include <iostream>

// The switches that the library was built with reach whoever includes its headers.
#if !defined(_ZAN_ASSERT_ON) || !defined(_ZAN_TRACE_ON) || _ZAN_THROW_REALLY != 1
#error "the compile switches of the library are missing"
#endif

int main() {
    zan::InitFini const library("consumer.log", false);
    std::cout << zan::show_version();

    // A throw in this program of a type that lives in the library, and one the other way round.
    zan::logger& log = zan::logger_factory::instance(zan::LOGGER_ID);
    try {
        ZAN_USER_THROW_MSG(log, zan::InvalidDataException, "thrown on purpose");
    } catch (zan::Exception const& e) {
        std::cout << e.what() << '\n';
    }
    try {
        std::cout << zan::Version(1UL << 32, 0) << '\n';
        return 1;
    } catch (zan::OutOfRangeException const&) {
        return 0;
    }
}
