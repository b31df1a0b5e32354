#include "zan/log/log_tracer.h"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>

#include "support/log_capture.h"

namespace {

using namespace zan;
using zan_test::LogCapture;
using zan_test::normalized;

logger& libraryLog() {
    return logger_factory::instance(LOGGER_ID);
}

class Tracing {
public:
    Tracing() { libraryLog().setTraceOn(true); }
    ~Tracing() { libraryLog().setTraceOn(false); }
};

unsigned long depth() {
    return tracer::instance()->container().size();
}

TEST(TraceFrames, GrowAndShrinkWhateverIsLogged) {
    LogCapture const log;
    unsigned long const before = depth();
    {
        TraceEntry const silent(libraryLog(), "f.cpp", 1, "app::f");
        TraceEntry const both(libraryLog(), "f.cpp", 2, "app::g", LOG_BOTH);
        EXPECT_EQ(before + 2, depth());
    }
    EXPECT_EQ(before, depth());
    EXPECT_EQ("", log.text()) << "traceOn is off";
    {
        TraceEntry const entry(libraryLog(), "f.cpp", 1, "app::f");
        tracer::instance()->destroy_current_stack();
    }
    EXPECT_EQ(0u, depth()) << "an empty stack does not underflow";
}

TEST(TraceLines, RunOutToColumn118InTheirFillCharacter) {
    Tracing const on;
    LogCapture const log;
    {
        TraceEntry const outer(libraryLog(), "f.cpp", 1, "app::outer", LOG_BOTH);
        TraceEntry const entering(libraryLog(), "f.cpp", 2, "app::in", LOG_ENTRY, "name");
        TraceEntry leaving(libraryLog(), "f.cpp", 3, "app::out", LOG_LEAVE);
        leaving.addType(LOG_NONE);
    }
    std::istringstream lines(log.text());
    std::vector<std::string> shown;
    for (std::string line; std::getline(lines, line);) {
        EXPECT_EQ(118u, line.size()) << line;
        std::string text = normalized(line);
        while (text.back() == '.' || text.back() == '_') text.pop_back();
        shown.push_back(text);
    }
    std::vector<std::string> const want = {
        "DATE<T>[ZAN] TRACE  app::outer() ",
        "DATE<T>[ZAN] TRACE  .... app::in( name ) ",
        "DATE<T>[ZAN] TRACE~ ________ app::out() ",
        "DATE<T>[ZAN] TRACE~ app::outer() ",
    };
    EXPECT_EQ(want, shown);
}

TEST(TraceLines, ALongOneStandsUnpadded) {
    Tracing const on;
    LogCapture const log;
    std::string const name = "app::" + std::string(120, 'x');
    { TraceEntry const entry(libraryLog(), "f.cpp", 1, name.c_str(), LOG_ENTRY); }
    EXPECT_TRUE(log.has(name + "()\n"));
}

std::string printed(Current const& place) {
    std::ostringstream os;
    os << place;
    return os.str();
}

TEST(SourcePlace, PrintsWhatItHas) {
    EXPECT_EQ("app::f(b.cpp:7)", printed(Current("a/b.cpp", 7, "app::f")));
    EXPECT_EQ("(b.cpp:7)", printed(Current("a\\b.cpp", 7, nullptr)));
    EXPECT_EQ("app::f", printed(Current(nullptr, 7, "app::f")));
    EXPECT_EQ("", printed(Current()));
    EXPECT_TRUE(Current("a", 1, "f") < Current("b", 1, "f"));
    EXPECT_TRUE(Current("a", 1, "f") < Current("a", 2, "e"));
    EXPECT_TRUE(Current("a", 1, "e") < Current("a", 1, "f"));
    EXPECT_FALSE(Current("a", 1, "f") < Current("a", 1, "f"));
    Current place("b.cpp", 7, "f");
    place.prefix("at ");
    Current const copy(place);
    place.prefix("");
    EXPECT_EQ("at f(b.cpp:7)", printed(copy));
}

TEST(SourcePlace, AWideOneIsBrokenAtColumn118) {
    std::string const name(110, 'n');
    Current const place("b.cpp", 7, name.c_str());
    place.prefix("\n        AT: ");
    std::string const text = name + "(b.cpp:7)";
    EXPECT_EQ("\n        AT: " + text.substr(0, 106) + "\n" +
                  std::string(118 - (text.size() - 106), ' ') + text.substr(106),
              printed(place));
    std::string const fits(106 - 9, 'n');
    Current const whole("b.cpp", 7, fits.c_str());
    whole.prefix("\n        AT: ");
    EXPECT_EQ("\n        AT: " + fits + "(b.cpp:7)", printed(whole));
}

TEST(CallStacks, BelongToOneThreadEach) {
    tracer::instance()->destroy_current_stack();
    TraceEntry const mine(libraryLog(), "f.cpp", 1, "app::mine");
    std::string others;
    std::thread([&others] {
        TraceEntry const theirs(libraryLog(), "g.cpp", 2, "app::theirs");
        TraceEntry const inner(libraryLog(), "g.cpp", 3, "app::inner");
        tracer::instance()->separator(" < ");
        std::ostringstream os;
        printTraceStack(os);
        others = os.str();
    }).join();
    EXPECT_EQ("app::inner(g.cpp:3) < app::theirs(g.cpp:2)", others);
    EXPECT_EQ(1u, depth());
    dumper d;
    tracer::instance()->dump(d);
    EXPECT_EQ(
        "@zan::tracer{\n"
        "    callStack() = @zan::CallStack{\n"
        "        _v.container() = @zan::stack{\n"
        "            @zan::Current{\n"
        "                _v.file() = 'f.cpp'\n"
        "                _v.line() = 1\n"
        "                _v.func() = 'app::mine'\n"
        "                _v.prefix() = \n"
        "            }\n"
        "        }\n"
        "        _v.separator() = '\n'\n"
        "    }\n"
        "}",
        d.str());
}

}  // namespace
