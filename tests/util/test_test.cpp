#include "zan/util/test.h"

#include <gmock/gmock.h>

#include <memory>
#include <regex>

#include "support/assertions.h"
#include "support/log_capture.h"
#include "support/standard_input.h"
#include "support/text.h"
#include "zan/base/exception.h"

namespace {

using namespace zan;
using namespace zan::test;

// What the frame shows, together with the reports.
class LogCapture : public zan_test::LogCapture {
public:
    LogCapture() { logger_factory::instance(LOGGER_ID).setDebugObserver(this); }
    ~LogCapture() override { logger_factory::instance(LOGGER_ID).setDebugObserver(nullptr); }
};

std::string g_calls;

// A case that writes down its name.
TestCaseFn note(std::string const& name) {
    return testFn([name] { g_calls += name + ' '; });
}

// The menus main(one, two/2, a(x, fail, b(y))).
class Program {
public:
    explicit Program(std::vector<String> const& choices) {
        g_calls.clear();
        root.name() = "main";
        root.args() = choices;
        root.add("one", "first", note("one"));
        root.add("two/2", "a key with a slash", note("two"));
        root.add("all", "shadowed", note("shadowed"));
        root.add("a", "nested", testFn([](TestCase* tc) {
                     UowTest a("a", tc);
                     a.add("x", "in a", note("x"));
                     a.add("b", "deeper", testFn([](TestCase* above) {
                               UowTest b("b", above);
                               b.add("y", "in b", note("y"));
                               b.start();
                           }));
                     a.add("fail", "throws", testFn([] {
                               g_calls += "fail ";
                               throw InvalidDataException(ZAN_HERE, "on purpose");
                           }));
                     a.start();
                 }));
    }
    UowTest root;
};

TEST(MenuChoices, RunWhatTheyName) {
    // The arguments, the input, what is called, and what is logged.
    std::tuple<std::vector<String>, char const*, char const*, char const*> const runs[] = {
        {{"one", "exit"}, "", "one ", ">>> one\n"},
        {{"two/2", "exit"}, "", "two ", ""},
        {{"a/x", "exit"}, "", "x ", "(/main) {[0]'x' [1]'quit'}\n"},
        {{"a/b/y", "a/x", "exit"}, "", "y x ", "(/main/a/b) {}\n"},
        // All cases of all menus, and each menu leaves by itself; a failure ends its own menu only.
        {{"all", "exit"}, "", "one two shadowed x y fail ", "    all: shadowed\n"},
        {{"a/all", "one", "exit"}, "", "x y fail one ", "InvalidDataException on purpose"},
        {{"nosuch", "one", "exit"}, "", "one ", "Function not found for ==> nosuch\n"},
        {{"", "exit"}, "one\n", "one ", ""},
        {{"quit", "top", "one", "exit"}, "", "one ", "At top level already.\n"},
        {{"/one", "//a/x", "exit"}, "", "one x ", ""},
        // By hand, to the end of the input.
        {{}, "one\na\nx\nb\ny\n/one\nquit\nx\ntop\none", "one x y one x one ", ">>> exit\n"},
        {{}, "a\nb\nexit\none\n", "", ""},
        {{}, "a\nb\ntop\none\n", "one ", ""},
        {{"one"}, "a/b/y\n\n", "one y ", "Function not found for ==> \n"}};
    for (auto const& [args, typed, calls, logged] : runs) {
        LogCapture const log;
        zan_test::StandardInput const input(typed);
        Program program(args);
        EXPECT_EQ(0, program.root.start());
        EXPECT_EQ(calls, g_calls) << testing::PrintToString(args) << typed;
        EXPECT_THAT(log.text(), testing::HasSubstr(logged));
        EXPECT_TRUE(program.root.testCase()->args().empty());
        EXPECT_TRUE(Context::instance().interactive() || !args.empty());
        Context::instance().interactive() = true;
    }
}

TEST(MenuText, ToTheByte) {
    LogCapture const log;
    UowTest& shared = UowTest::instance();
    {
        UncheckedBlocks const forGood;
        shared.add("extra", "for all menus", note("extra"));
    }
    UowTest unit("main", static_cast<UnitOfWork*>(nullptr));
    unit.add("a", "first", note("a"));
    unit.add("own", "marked", note("own"), true);
    unit.appendAddons();
    unit.testCase()->args() = {"x", "quit"};
    g_calls.clear();
    unit.run("extra");
    EXPECT_EQ(
        "\nmenu:\n(/main) {[0]'x' [1]'quit'}\n"
        "    a: first\n    own: marked (*)\n"
        "addon:\n    extra: for all menus\n"
        "builtin:\n    all: test all cases (*)\n    top: to top level (*)\n"
        "    quit: to up level (*)\n    exit: exit program (*)\n"
        ">>> extra\n",
        log.text());
    EXPECT_EQ("extra ", g_calls);

    unit.add("late", "behind the first choice", note("late"));
    unit.removeAddons();
    for (char const* choice : {"late", "extra"}) unit.run(choice);
    EXPECT_EQ("extra ", g_calls);
    EXPECT_TRUE(log.has("    late: behind the first choice\n"));
    EXPECT_EQ(3u, log.count("    extra: for all menus\n")) << "still shown";
    EXPECT_TRUE(log.has("not found for ==> late\n") && log.has("not found for ==> extra\n"));
    unit.run("all");
    EXPECT_EQ("extra a own late ", g_calls) << "no addons, no rows of the frame";
    shared.clear();
    EXPECT_EQ("{interactive_=true}", zan_test::dumped(Context::instance(), true));
}

TEST(MenuRows, FunctionsGoExactlyOnce) {
    LogCapture const log;
    auto const alive = std::make_shared<int>(0);
    auto const fn = [&alive] { return testFn([alive] { ++*alive; }); };
    {
        UowTest shared;
        shared.add("shared", "of another menu", fn());
        UowTest unit;
        for (char const* key : {"a", "a", "removed", "all"}) unit.add(key, "", fn());
        TestCaseFn const twice = fn();
        for (char const* key : {"x", "y"}) unit.add(key, "", twice);
        unit.testCase()->appendAddons(*shared.testCase());
        EXPECT_EQ(7, alive.use_count());
        for (char const* key : {"removed", "removed", "nosuch", "shared"}) unit.del(key);
        EXPECT_EQ(6, alive.use_count()) << "an addon belongs to its own menu";
        unit.run("all");
        EXPECT_EQ(5, *alive);
        EXPECT_FALSE(log.has("removed") || log.has("shared"));
        unit.del("x");
        unit.run("all");
        EXPECT_EQ(5 + 3, *alive) << "y showed the same function";
        unit.testCase()->appendAddons(*shared.testCase());
        unit.clear();
        EXPECT_EQ(2, alive.use_count());
    }
    EXPECT_EQ(1, alive.use_count());
}

TEST(MenuRows, AMenuMayChangeUnderAll) {
    g_calls.clear();
    UowTest unit;
    unit.add("first", "", testFn([&unit] {
                 unit.del("second");
                 for (int i = 0; i < 100; ++i) unit.add("more", "", note("more"));
             }));
    for (char const* key : {"second", "third"}) unit.add(key, "", note(key));
    unit.run("all");
    EXPECT_EQ("third ", g_calls);
}

TEST(MenuFaults, MissingPartsAreReported) {
    SKIP_WHERE_ASSERTIONS_ABORT();
    LogCapture const log;
    struct Object {
        void member() {}
    } object;
    TestCase lost(nullptr);
    EXPECT_THROW(lost.run("all"), NullPointerException);
    for (auto const member : {&TestCase::do_up, &TestCase::do_top, &TestCase::do_exit})
        EXPECT_THROW((lost.*member)(), NullPointerException);
    EXPECT_EQ(4u, log.count(" CONDITION: uow()!=0\n"));
    EXPECT_THROW(TestCaseFn().bind(&lost), NullPointerException);
    EXPECT_TRUE(log.has(" CONDITION: fn_!=0\n"));
    for (auto fn : {testFn(static_cast<Object*>(nullptr), &Object::member),
                    testFn(&object, static_cast<void (Object::*)()>(nullptr))}) {
        EXPECT_THROW(fn(), NullPointerException);
        fn.destroy();
        EXPECT_TRUE(fn.empty());
    }
    EXPECT_TRUE(log.has(" CONDITION: this_!=0\n") && log.has(" CONDITION: member_!=0\n"));
}

TEST(TestEntry, FramesATestInTheLog) {
    LogCapture const log;
    { tester::_Entry const entry("a test"); }
    std::regex const elapsed("00:00:00\\.\\d{6}");
    std::string const zeros = "00:00:00.000000";
    EXPECT_EQ("\nDATE TEST " + std::string(118 - 29 - 7, '_') + " a test\n\nelapsed " +
                  std::string(118 - 8 - 16, '.') + ' ' + zeros + "\nDATE TEST~ " +
                  std::string(118 - 30 - 8, '_') + " ~a test\n",
              std::regex_replace(zan_test::normalized(log.text()), elapsed, zeros));
}

}  // namespace
