// Any text gives some time through any format. A time from then on that the standard format can
// show comes back from its text.

#include <cstdint>
#include <cstdlib>
#include <ctime>

#include "zan/base/base_type_time.h"

namespace {

using namespace zan;

// Without the hours that a zone's change of clocks leaves out or shows twice.
bool const IN_UTC = [] {
    setenv("TZ", "UTC", 1);
    tzset();
    return true;
}();

// The first byte of the input picks one.
char const* const FORMATS[] = {nullptr,        "",       "%d",      "%d-%d-%d %d:%d:%d.%d.%d",
                               "%2d%2d%4d %d", "%*d:%d", "%x/%i/%o"};

void checkRoundTrip(Time const& t) {
    if (t < Time() || t.toDetail().year > 9999) return;
    Time back;
    back.fromString(t.toFullDateTime());
    if (back != Time::milliSeconds(t.toMilliSeconds())) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (!IN_UTC || size == 0) return 0;
    istr const text(data + 1, size - 1);
    Time t;
    t.fromString(text, FORMATS[data[0] % (sizeof(FORMATS) / sizeof(FORMATS[0]))]);
    checkRoundTrip(t);
    t.fromString(text);
    checkRoundTrip(t);
    return 0;
}
