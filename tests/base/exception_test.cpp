#include "zan/base/exception.h"

#include <gtest/gtest.h>

#include <sstream>

#include "support/log_capture.h"
#include "zan/log/log_tracer.h"
#include "zan/mt/handle.h"
#include "zan/mt/threadexception.h"

namespace {

using namespace zan;
using zan_test::LogCapture;
using zan_test::normalized;

logger& libraryLog() {
    return logger_factory::instance(LOGGER_ID);
}

struct Outer {
    static void throwIt() {
        TraceEntry const outer(libraryLog(), "src/outer.cpp", 12, "app::Outer::throwIt");
        TraceEntry const inner(libraryLog(), "src/inner.cpp", 34, "app::inner");
        ZAN_USER_THROW_MSG(libraryLog(), zan::InvalidDataException, "bad value " << 7);
    }
};

TEST(ExceptionFacts, CarryCausePlaceAndStackFarFromTheThrow) {
    LogCapture const log;
    try {
        Outer::throwIt();
        FAIL();
    } catch (Exception const& e) {
        EXPECT_STREQ("zan::InvalidDataException: bad value 7", e.msg());
        EXPECT_STREQ("zan::InvalidDataException", e.name());
        EXPECT_EQ(2u, e.stack().container().size());
        std::string const what = e.what();
        EXPECT_EQ(
            "{\n"
            " EXCEPTION: zan::InvalidDataException zan::InvalidDataException: bad value 7\n"
            "        AT: {anonymous}::Outer::throwIt(exception_test.cpp:N)\n"
            "CALL STACK: app::inner(inner.cpp:N)\n"
            "            app::Outer::throwIt(outer.cpp:N)\n"
            "}",
            std::string(normalized(what))
                .replace(
                    normalized(what).find("AT: ") + 4,
                    normalized(what).find("::Outer::throwIt") - normalized(what).find("AT: ") - 4,
                    "{anonymous}"));
        tracer::instance()->push("x", 1, "y");
        EXPECT_EQ(what, e.what()) << "taken once";
        tracer::instance()->pop();
        std::ostringstream os;
        std::operator<<(os, static_cast<std::exception const&>(e));
        EXPECT_EQ(what, os.str());
    }
    EXPECT_EQ(1u, log.count(" THROWING\n"));
}

TEST(ExceptionFacts, TheThrowingRecordIsFramed) {
    LogCapture const log;
    exceptionThrown(libraryLog(), "a/b/place.cpp", 5, "app::f", "the cause");
    std::string const text = log.text();
    std::string const blanks(110, ' ');
    std::string first = text.substr(0, text.find('\n', 1) + 1);
    EXPECT_EQ(1u + 118u + 1u, first.size());
    EXPECT_EQ("\nDATE<T>[ZAN][THROWING] ---", normalized(first).substr(0, 27));
    EXPECT_EQ("---\n", first.substr(first.size() - 4));
    EXPECT_EQ(std::string(110, ' ') + "THROWING\n" + std::string(110, ' ') +
                  "========\n"
                  "     CAUSE: the cause\n"
                  "        AT: app::f(place.cpp:5)\n"
                  "CALL STACK: \n" +
                  std::string(118, '-') + "\n\n",
              text.substr(first.size()));
}

int ensured(bool good) {
    ZAN_ENSURE_DO(good, return -1);
    return 1;
}

TEST(Conditions, AnEnsureReportsAndGoesOn) {
    LogCapture log;
    EXPECT_EQ(1, ensured(true));
    EXPECT_EQ("", log.text());
    EXPECT_EQ(-1, ensured(false));
    EXPECT_EQ(1u, log.count(" ENSURE FAILURE\n"));
    EXPECT_TRUE(log.has(" CONDITION: good\n        AT: "));
    EXPECT_TRUE(log.has("\nCALL STACK: \n   WILL DO: return -1\n"));
    log.clear();
    ensureFailure(libraryLog(), "c", "f", 1, "g", nullptr);
    ensureFailure(libraryLog(), "c", "f", 1, "g", "");
    EXPECT_FALSE(log.has("WILL DO"));
}

TEST(Conditions, CatchSitesReportWhatTheyCaught) {
    LogCapture const log;
    writeExcptLog(libraryLog(), "f.cpp", 1, "app::g", "what it printed");
    EXPECT_TRUE(log.has(std::string(109, ' ') + "EXCEPTION\n"));
    EXPECT_TRUE(
        log.has("     CAUSE: catch a exception.\n        AT: app::g(f.cpp:1)\nCALL STACK: \n"
                "what it printed\n"));
}

struct Counted : Shared {};

TEST(NullHandle, ThrowsOrEndsTheProcess) {
    Handle<Counted> const none;
    EXPECT_DEATH(none->__GetRef(), "");
    nullHandleAbort = false;
    LogCapture const log;
    try {
        none->__GetRef();
        ADD_FAILURE();
    } catch (NullHandleException const& e) {
        std::string const func = e.func();
        EXPECT_EQ(0u, func.find("zan::SmartPtrBase<class ")) << func;
        EXPECT_NE(std::string::npos, func.find("Counted>::operator ->")) << func;
        EXPECT_STREQ("", e.msg());
    }
    nullHandleAbort = true;
}

}  // namespace
