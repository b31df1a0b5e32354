#include "zan/base/exception.h"

#include <gmock/gmock.h>

#include <regex>

#include "support/log_capture.h"
#include "support/text.h"
#include "zan/zan.h"

namespace {

using namespace zan;
using namespace zan_test;

struct Outer {
    static void throwIt() {
        TraceEntry const outer(detail::zanLogger(), "src/outer.cpp", 12, "app::Outer::throwIt");
        TraceEntry const inner(detail::zanLogger(), "src/inner.cpp", 34, "app::inner");
        ZAN_USER_THROW_MSG(detail::zanLogger(), zan::InvalidDataException, "bad value " << 7);
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
        // How a compiler writes the anonymous namespace is its own affair.
        EXPECT_EQ(
            "{\n"
            " EXCEPTION: zan::InvalidDataException zan::InvalidDataException: bad value 7\n"
            "        AT: ::Outer::throwIt(exception_test.cpp:N)\n"
            "CALL STACK: app::inner(inner.cpp:N)\n"
            "            app::Outer::throwIt(outer.cpp:N)\n"
            "}",
            std::regex_replace(normalized(what), std::regex("AT: .*::Outer"), "AT: ::Outer"));
        tracer::instance()->push("x", 1, "y");
        EXPECT_EQ(what, e.what()) << "taken once";
        tracer::instance()->pop();
        EXPECT_EQ(what, zan_test::printed(static_cast<std::exception const&>(e)));
    }
    EXPECT_EQ(1u, log.count(" THROWING\n"));
}

TEST(ExceptionFacts, TheThrowingRecordIsFramed) {
    LogCapture const log;
    exceptionThrown(detail::zanLogger(), "a/b/place.cpp", 5, "app::f", "the cause");
    std::string const blanks(110, ' ');
    EXPECT_EQ("\nDATE<T>[ZAN][THROWING] " + std::string(76, '-') + "\n" +  //
                  blanks + "THROWING\n" + blanks +
                  "========\n"
                  "     CAUSE: the cause\n"
                  "        AT: app::f(place.cpp:N)\n"
                  "CALL STACK: \n" +
                  std::string(118, '-') + "\n\n",
              std::regex_replace(normalized(log.text()), std::regex("\\] -+\n"),
                                 "] " + std::string(76, '-') + "\n"));
    EXPECT_EQ(119u, log.text().find('\n', 1)) << "the first line has the width of the others";
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
    ensureFailure(detail::zanLogger(), "c", "f", 1, "g", nullptr);
    ensureFailure(detail::zanLogger(), "c", "f", 1, "g", "");
    EXPECT_FALSE(log.has("WILL DO"));
}

struct Counted : Shared {};

TEST(NullHandle, ThrowsOrEndsTheProcess) {
    Handle<Counted> const none;
    EXPECT_DEATH(none->__GetRef(), "");
    nullHandleAbort = false;
    try {
        none->__GetRef();
        ADD_FAILURE();
    } catch (NullHandleException const& e) {
        EXPECT_THAT(e.func(), AllOf(testing::StartsWith("zan::SmartPtrBase<class "),
                                    testing::HasSubstr("Counted>::operator ->")));
        EXPECT_STREQ("", e.msg());
    }
    nullHandleAbort = true;
}

}  // namespace
