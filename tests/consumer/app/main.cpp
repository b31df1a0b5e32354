#include <zan/zan.h>

// The switches that the library was built with reach whoever includes its headers.
#if !defined(_ZAN_ASSERT_ON) || !defined(_ZAN_TRACE_ON) || _ZAN_THROW_REALLY != 1
#error "the compile switches of the library are missing"
#endif

int main() {
    return 0;
}
