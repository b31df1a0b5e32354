#include "zan/util/test.h"

#include <gtest/gtest.h>

#include <iostream>
#include <memory>
#include <sstream>

#include "support/assertions.h"
#include "support/log_capture.h"
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

// std::cin is this text for as long as this lives.
class Input {
public:
    explicit Input(std::string const& text) : text_(text), saved_(std::cin.rdbuf(text_.rdbuf())) {}
    ~Input() {
        std::cin.rdbuf(saved_);
        std::cin.clear();
    }

private:
    std::istringstream text_;
    std::streambuf* saved_;
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

struct Session {
    std::vector<String> args;
    char const* input;
    char const* calls;
    char const* logged;
};

TEST(MenuChoices, RunWhatTheyName) {
    Session const runs[] = {
        {{"one", "exit"}, "", "one ", ">>> one\n"},
        {{"one", "one", "exit"}, "", "one one ", ""},
        {{"two/2", "exit"}, "", "two ", ""},
        {{"a/x", "exit"}, "", "x ", "(/main) {[0]'x' [1]'quit'}\n"},
        {{"a/b/y", "a/x", "exit"}, "", "y x ", "(/main/a/b) {}\n"},
        // All cases of all menus, and each menu leaves by itself; a failure ends its own menu only.
        {{"all", "exit"}, "", "one two shadowed x y fail ", "    all: shadowed\n"},
        {{"a/b/all", "exit"}, "", "y ", ""},
        {{"a/all", "one", "exit"},
         "",
         "x y fail one ",
         "EXCEPTION: zan::InvalidDataException on purpose"},
        {{"nosuch", "one", "exit"}, "", "one ", "Function not found for ==> nosuch\n"},
        {{"nosuch/x", "one", "exit"}, "", "one ", "Function not found for ==> nosuch\n"},
        {{"", "exit"}, "one\n", "one ", ""},
        {{"quit", "top", "one", "exit"}, "", "one ", "At top level already.\n"},
        {{"/one", "//a/x", "exit"}, "", "one x ", ""},
        // By hand, to the end of the input.
        {{}, "one\na\nx\nb\ny\n/one\nquit\nx\ntop\none", "one x y one x one ", ">>> exit\n"},
        {{}, "a\nb\nexit\none\n", "", ""},
        {{}, "a\nb\ntop\none\n", "one ", ""},
        {{"one"}, "a/b/y\n\n", "one y ", "Function not found for ==> \n"},
    };
    for (Session const& run : runs) {
        LogCapture const log;
        Input const input(run.input);
        Program program(run.args);
        EXPECT_EQ(0, program.root.start());
        EXPECT_EQ(run.calls, g_calls) << testing::PrintToString(run.args) << run.input;
        EXPECT_NE(std::string::npos, log.text().find(run.logged)) << run.logged << "\nnot in\n"
                                                                  << log.text();
        EXPECT_TRUE(program.root.testCase()->args().empty());
        EXPECT_TRUE(Context::instance().interactive() || !run.args.empty());
        Context::instance().interactive() = true;
    }
}

TEST(MenuText, ToTheByte) {
    LogCapture const log;
    UowTest& shared = UowTest::instance();
    shared.add("extra", "for all menus", note("extra"));
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
    shared.del("extra");
    std::ostringstream os;
    dumper d(os);
    Context::instance().dump(d);
    EXPECT_EQ("@zan::test::Context{\n    interactive_ = true\n}", os.str());
}

TEST(MenuRows, FunctionsGoExactlyOnce) {
    LogCapture const log;
    auto const alive = std::make_shared<int>(0);
    auto const fn = [&alive] { return testFn([alive] { ++*alive; }); };
    {
        UowTest shared;
        shared.add("shared", "of another menu", fn());
        UowTest unit;
        unit.add("a", "", fn());
        unit.add("a", "a second one", fn());
        unit.add("removed", "", fn());
        unit.add("all", "kept out by the frame's", fn());
        TestCaseFn const twice = fn();
        unit.add("x", "", twice);
        unit.add("y", "", twice);
        unit.testCase()->appendAddons(*shared.testCase());
        EXPECT_EQ(7, alive.use_count());
        unit.del("removed");
        unit.del("removed");
        unit.del("nosuch");
        unit.del("shared");
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
    LogCapture const log;
    g_calls.clear();
    UowTest unit;
    unit.add("first", "", testFn([&unit] {
                 unit.del("second");
                 for (int i = 0; i < 100; ++i) unit.add("more", "", note("more"));
             }));
    unit.add("second", "", note("second"));
    unit.add("third", "", note("third"));
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
    std::string text = zan_test::normalized(log.text());
    std::string const zeros = "00:00:00.000000";
    auto const at = text.find("00:00:00.");
    ASSERT_NE(std::string::npos, at) << text;
    text.replace(at, text.find('\n', at) - at, zeros);
    EXPECT_EQ("\nDATE TEST " + std::string(118 - 29 - 7, '_') + " a test\n\nelapsed " +
                  std::string(118 - 8 - 16, '.') + ' ' + zeros + "\nDATE TEST~ " +
                  std::string(118 - 30 - 8, '_') + " ~a test\n",
              text);
}

}  // namespace
