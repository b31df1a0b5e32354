#include "zan/base/startstop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

#include "support/log_capture.h"
#include "support/temp_dir.h"
#include "support/text.h"
#include "zan/zan.h"

namespace {

using namespace zan;
using zan_test::normalized;

// Each build has its own stamp and thread numbers.
std::string plain(std::string const& text) {
    static std::regex const stamp(R"([A-Z][a-z]{2} [ \d]\d \d{4} \d\d:\d\d:\d\d)");
    return std::regex_replace(normalized(text), stamp, "STAMP");
}

TEST(StartStop, TheLogOfARunToTheByte) {
    zan_test::TempDir const dir;
    std::string const file = dir.file("run.log");
    logger_factory::destroy();  // with what the tests before have logged
    bool const closedBefore = System::closing();
    {
        InitFini const library(file.c_str(), false);
        ZAN_NOTICE(logger_factory::instance(LOGGER_ID), "at work");
        EXPECT_EQ(closedBefore, System::closing());
    }
    EXPECT_TRUE(System::closing());
    console::setOn(false);
    std::string const z = "DATE<T>[ZAN] ";
    auto const begun = [](std::string const& name) {
        return "DATE{T}[ZAN][INFO]{" + name + "}SimpleThread::run_i() thread begin.\n";
    };
    auto const stopped = [](std::string const& name) {
        std::string const info = "DATE<T>[ZAN][INFO]SimpleThread::";
        return info + "onStop_i() " + name + "{T} thread stopping...\n" + "DATE{T}[ZAN][INFO]{" +
               name + "}SimpleThread::run_i() thread end.\n" + info + "stop() " + name +
               "{T} thread stopped.\n" + info + "~SimpleThread() " + name +
               "{T} thread finalized.\n";
    };
    std::string const rule(77, '=');
    std::string const version =
        "zan version " + std::string(detail::versionText()) + "\n" + z + "zan compiled at STAMP\n";
    EXPECT_EQ("\n" + z + "zan initializing...\n" + z + version + "\n" + z + "zan startup...\n" + z +
                  rule + "\n" + z + "log file is " + file + "\n" + z + rule + "\n" + z + version +
                  z + "num of timers = 5000\n" + begun("timer") + begun("logger.ZAN") +
                  "DATE<T>[ZAN][NOTICE]TestBody() at work\n" + z + "zan shutdown...\n" + "\n" +
                  stopped("timer") + stopped("logger.ZAN") + z + "zan finalized.\n\n",
              std::regex_replace(plain(dir.content("run.log")),
                                 std::regex(R"(\]\w+::TestBody\(\))"), "]TestBody()"));
}

TEST(StartStop, AnyOrderIsHarmless) {
    fini();
    fini();
    shutdown();
    console::setOn(false);
    ZAN_INFO(logger_factory::instance(LOGGER_ID), "after the end");
    logger& held = logger_factory::instance("test.held");
    logger_factory::destroy();
    logger_factory::destroy();
    held.log("through an old reference\n");
    held.flush();
    EXPECT_EQ(&held, &logger_factory::instance("test.held"));
    zan_test::TempDir const dir;
    init(nullptr, false, 0);
    startup(dir.file("x.log").c_str(), false, 0);
    startup(nullptr, false, 0);
    EXPECT_EQ(dir.file("x.log"), logger_factory::instance(LOGGER_ID).filename());
    fini();
    console::setOn(false);
    EXPECT_NE(std::string::npos, dir.content("x.log").find("zan finalized.\n\n"));
}

TEST(VersionNumbers, ComparePairwiseAndPrintTwoDigits) {
    Version const ordered[] = {{}, {1, 2}, {1, 9}, {2, 0}, {2, 1}, {2, 2}, {3, 0}};
    for (auto const& a : ordered)
        for (auto const& b : ordered) {
            EXPECT_EQ(&a < &b, a < b);
            EXPECT_EQ(&a >= &b, a >= b);
            EXPECT_EQ(&a != &b, a != b);
        }
    std::ostringstream os;
    os << Version(2, 3) << ' ' << Version(2, 13);
    os.width(3);
    os << 7;
    EXPECT_EQ("2.03 2.13  7", os.str());
    EXPECT_THROW(Version(0x100000000ul, 0), OutOfRangeException);
}

TEST(VersionReport, ToTheByte) {
    std::string const text = plain(zan_test::printed(show_version()));
    std::string want = "ZAN(Zenith Assembly Nexus) version " + std::string(detail::versionText());
    EXPECT_EQ(want, text.substr(0, want.size()));
    want = "\n\nCurrent time = DATE\nCompile time = STAMP\nCompile options:\n";
#if defined(_DEBUG)
    want += "\t_DEBUG\n";
#endif
    want +=
        "\t_ZAN_UNIT_TEST OFF\n\t_ZAN_DEBUG_ON\n\t_ZAN_TRACE_ON\n\t_ZAN_TRACE_LOG_ON\n"
        "\t_ZAN_MEMLEAKCHECK_ON\n\t_ZAN_ASSERT_ON\n";
#if defined(_ZAN_ASSERT_ABORT_ON)
    want += "\t_ZAN_ASSERT_ABORT_ON\n";
#endif
    want += "\t_ZAN_BREAK_ON_EXCEPTION = 1\n\t_ZAN_THROW_REALLY = 1\n";
    ASSERT_NE(std::string::npos, text.find(want)) << text;
    EXPECT_EQ(want, text.substr(text.find(want)));
    EXPECT_EQ(4,
              std::count(text.begin(), text.begin() + static_cast<long>(text.find(want)), '\n') + 1)
        << "four lines of banner";
    zan_20300::zzz_dummy_to_show_version();
}

}  // namespace
