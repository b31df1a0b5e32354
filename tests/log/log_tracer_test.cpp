#include "zan/log/log_tracer.h"

#include <gmock/gmock.h>

#include <thread>

#include "support/log_capture.h"
#include "support/text.h"

namespace {

using namespace zan;
using namespace zan_test;

struct Tracing {
    Tracing() { detail::zanLogger().setTraceOn(true); }
    ~Tracing() { detail::zanLogger().setTraceOn(false); }
};

unsigned long depth() {
    return tracer::instance()->container().size();
}

TEST(TraceFrames, GrowAndShrinkWhateverIsLogged) {
    LogCapture const log;
    unsigned long const before = depth();
    {
        TraceEntry const silent(detail::zanLogger(), "f.cpp", 1, "app::f");
        TraceEntry const both(detail::zanLogger(), "f.cpp", 2, "app::g", LOG_BOTH);
        EXPECT_EQ(before + 2, depth());
    }
    EXPECT_EQ(before, depth());
    EXPECT_EQ("", log.text()) << "traceOn is off";
    {
        TraceEntry const entry(detail::zanLogger(), "f.cpp", 1, "app::f");
        tracer::instance()->destroy_current_stack();
    }
    EXPECT_EQ(0u, depth()) << "an empty stack does not underflow";
}

TEST(TraceLines, RunOutToColumn118InTheirFillCharacter) {
    Tracing const on;
    LogCapture const log;
    {
        TraceEntry const outer(detail::zanLogger(), "f.cpp", 1, "app::outer", LOG_BOTH);
        TraceEntry const entering(detail::zanLogger(), "f.cpp", 2, "app::in", LOG_ENTRY, "name");
        TraceEntry leaving(detail::zanLogger(), "f.cpp", 3, "app::out", LOG_LEAVE);
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
    EXPECT_THAT(shown, testing::ElementsAre("DATE<T>[ZAN] TRACE  app::outer() ",
                                            "DATE<T>[ZAN] TRACE  .... app::in( name ) ",
                                            "DATE<T>[ZAN] TRACE~ ________ app::out() ",
                                            "DATE<T>[ZAN] TRACE~ app::outer() "));
}

TEST(SourcePlace, PrintsWhatItHas) {
    EXPECT_EQ("app::f(b.cpp:7)", printed(Current("a/b.cpp", 7, "app::f")));
    EXPECT_EQ("(b.cpp:7)", printed(Current("a\\b.cpp", 7, nullptr)));
    EXPECT_EQ("app::f", printed(Current(nullptr, 7, "app::f")));
    EXPECT_EQ("", printed(Current()));
    Current const ordered[] = {{"a", 1, "e"}, {"a", 1, "f"}, {"a", 2, "e"}, {"b", 1, "e"}};
    for (auto const& a : ordered)
        for (auto const& b : ordered) EXPECT_EQ(&a < &b, a < b) << a << ' ' << b;
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
    TraceEntry const mine(detail::zanLogger(), "f.cpp", 1, "app::mine");
    std::string others;
    std::thread([&others] {
        TraceEntry const theirs(detail::zanLogger(), "g.cpp", 2, "app::theirs");
        TraceEntry const inner(detail::zanLogger(), "g.cpp", 3, "app::inner");
        tracer::instance()->separator(" < ");
        std::ostringstream os;
        printTraceStack(os);
        others = os.str();
    }).join();
    EXPECT_EQ("app::inner(g.cpp:3) < app::theirs(g.cpp:2)", others);
    EXPECT_EQ(1u, depth());
    EXPECT_EQ(
        "{callStack()={_v.container()={{_v.file()='f.cpp' _v.line()=1 _v.func()='app::mine' "
        "_v.prefix()=}} _v.separator()='\n'}}",
        zan_test::dumped(*tracer::instance(), true));
}

}  // namespace
