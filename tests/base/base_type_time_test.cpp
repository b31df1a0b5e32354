#include "zan/base/base_type_time.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <cstdlib>
#include <limits>

#include "support/seed.h"
#include "support/text.h"
#include "zan/base/exception.h"

namespace {

using namespace zan;

// Runs the process in another time zone for one test.
class Zone {
public:
    explicit Zone(char const* name) : old_(std::getenv("TZ") ? std::getenv("TZ") : "") {
        set(name);
    }
    ~Zone() { set(old_); }

private:
    // An empty one counts as none.
    static void set(std::string const& name) {
        if (name.empty())
            unsetenv("TZ");
        else
            setenv("TZ", name.c_str(), 1);
        tzset();
    }
    std::string old_;
};

TEST(TimeText, FromNoTimeAtAllToTheEndOfTheRange) {
    Zone const utc("UTC");
    EXPECT_EQ("<null>", Time().toDateTime());
    EXPECT_EQ("1970-01-01 00:00:00.000", Time().toFullDateTime());
    EXPECT_EQ("0.000000", Time().toString());
    // The calendar of this platform holds every value, so none is refused.
    EXPECT_EQ("294247-01-10 04:00:54.775", Time::forever().toDateTime());
    char small[8];
    Time::forever().toDateTime(ostr(small, sizeof(small)));
    EXPECT_STREQ("294247-", small);
}

TEST(TimeText, FormatsInTheLocalZone) {
    Zone const berlin("CET-1CEST,M3.5.0,M10.5.0/3");
    Time const t = Time::microSeconds(1402898833125678);  // 2014-06-16 06:07:13.125678 UTC
    EXPECT_EQ("2014-06-16 08:07:13.125", t.toDateTime());
    EXPECT_EQ("2014/6/16 8 7 13 125 678", t.format("%d/%d/%d %d %d %d %d %d"));
    EXPECT_EQ(64u, t.format("%060d%060d").size()) << "the String forms hold 64 bytes";
    // Across the change of the clocks, within one second of each other.
    EXPECT_EQ("2024-03-31 01:59:59.000", Time::seconds(1711846799).toDateTime());
    EXPECT_EQ("2024-03-31 03:00:00.000", Time::seconds(1711846800).toDateTime());
    EXPECT_EQ("2024-03-31 01:59:59.999", Time::milliSeconds(1711846799999).toDateTime());
}

TEST(TimeText, ParsingIsTheInverseAndNeverFails) {
    Zone const utc("UTC");
    auto random = zan_test::makeRandom();
    for (int i = 0; i < 300; ++i) {
        Time const t = Time::milliSeconds(static_cast<__int64>(random() % 4000000000000ull) + 1);
        Time back;
        back.fromString(t.toFullDateTime());
        ASSERT_EQ(t.toMicroSeconds(), back.toMicroSeconds()) << t.toFullDateTime();
    }
    Time date;
    date.fromString("2024-02-29");
    EXPECT_EQ("2024-02-29 00:00:00.000", date.toDateTime());
    date.fromString("12:30", "%*d:%d");
    Time nothing;
    nothing.fromString("garbage", "");
    Time zeros;
    zeros.fromString("0000-00-00", "%d-%d-%d");
    EXPECT_EQ(zeros, nothing);
    Time::Detail const cut(istr(std::string(62, ' ') + "1234"), "%d");
    EXPECT_EQ(12, cut.year) << "64 bytes count";
}

TEST(TimeText, Durations) {
    std::pair<__int64, char const*> const cases[] = {
        {0, "00:00:00"},
        {5400000000, "01:30:00"},
        {90061500000, "1d 01:01:01.500"},
        {-1, "-00:00:00.000001"},
        {1002, "00:00:00.001002"},
        {1500000, "00:00:01.500"},
        {std::numeric_limits<__int64>::min(), "-106751991d 04:00:54.775808"}};
    for (auto const& [us, text] : cases) EXPECT_EQ(text, zan_test::printed(Time::microSeconds(us)));
    EXPECT_EQ("-1.500000", Time::microSeconds(-1500000).toString());
    EXPECT_EQ("0.500000", Time::microSeconds(-500000).toString()) << "no sign without seconds";
}

TEST(TimeArithmetic, TruncatesTowardsZeroAndNeverTraps) {
    EXPECT_EQ(-1, Time::microSeconds(-1999999).toSeconds());
    EXPECT_EQ(4.0, Time::seconds(1) / Time::milliSeconds(250));
    EXPECT_EQ(Time::milliSeconds(500), Time::seconds(1) * 0.5);
    EXPECT_EQ(Time::microSeconds(-1), Time::microSeconds(-3) / 2);
    EXPECT_EQ(Time::microSeconds(-1), Time::microSeconds(3) * -0.5);
    EXPECT_EQ(Time::seconds(6), Time::seconds(2) * 3L);
    EXPECT_LT(Time::forever() + Time::microSeconds(1), Time()) << "wraps";
    EXPECT_EQ(Time::forever(), Time::forever() * 2.0) << "the double forms are cut";
    EXPECT_EQ(std::numeric_limits<__int64>::min(),
              (Time::microSeconds(std::numeric_limits<__int64>::min()) / -1).toMicroSeconds());
    timeval const tv = Time::microSeconds(1500001);
    EXPECT_EQ(1, tv.tv_sec);
    EXPECT_EQ(500001, tv.tv_usec);
}

TEST(TimeClocks, MonotonicNeverGoesBack) {
    Time last = Time::now(Time::Monotonic);
    for (int i = 0; i < 10000; ++i) {
        Time const now = Time::now(Time::Monotonic);
        ASSERT_GE(now, last);
        last = now;
    }
    Time const begin = Time::now(Time::Monotonic);
    Time::milliSeconds(5).sleep();
    EXPECT_GE(Time::now(Time::Monotonic) - begin, Time::milliSeconds(5));
    Stopwatch watch;
    EXPECT_EQ(Time(), watch.elapsed());
    EXPECT_GE(watch.stop().elapsed(), Time());
}

}  // namespace
