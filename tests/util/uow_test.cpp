#include "zan/util/uow.h"

#include <gtest/gtest.h>

#include <csignal>
#include <stdexcept>

#include "support/assertions.h"
#include "support/log_capture.h"
#include "support/text.h"
#include "zan/base/exception.h"

namespace {

using namespace zan;
using zan_test::LogCapture;

class Unit : public UnitOfWork {
public:
    using UnitOfWork::UnitOfWork;
    void on_init() override {
        calls += "init ";
        if (what == "stop in init") stop(3);
        if (what == "throw in init") throw InvalidDataException(ZAN_HERE, "in init");
    }
    void on_loop() override {
        calls += "loop ";
        if (what == "exception")
            ZAN_USER_THROW_MSG(logger_factory::instance("ZAN"), InvalidDataException, "x");
        if (what == "std") throw std::runtime_error("plain");
        if (what == "other") throw 7;
        if (++loops == 3) stop(5);
    }
    void on_fini() override { calls += "fini "; }
    void add(UnitOfWork* child) { children().push_back(child); }

    std::string what;
    std::string calls;
    int loops = 0;
};

TEST(UnitFrame, CodesTellHowItEnded) {
    LogCapture const log;
    std::tuple<char const*, int, char const*, char const*> const table[] = {
        {"", 5, "init loop loop loop fini ", "\n"},
        {"stop in init", 3, "init fini ", "\n"},
        {"exception", 1, "init loop fini ", "     CAUSE: catch a exception.\n        AT: zan::"},
        {"exception", 1, "init loop fini ", "CALL STACK: zan::UnitOfWork::start(uow.cpp:"},
        {"std", 2, "init loop fini ", "     CAUSE: plain\n"}};
    for (auto const& [what, code, calls, logged] : table) {
        Unit unit("u");
        unit.what = what;
        EXPECT_EQ(code, unit.start());
        EXPECT_EQ(calls, unit.calls);
        bool const stopped = code > 2;
        EXPECT_EQ(!stopped, unit.running()) << "only stop clears it";
        EXPECT_TRUE(stopped || log.has(logged)) << logged;
        unit.loops = 0;
        EXPECT_EQ(code, unit.start()) << "the whole cycle again";
    }
    Unit other;
    other.what = "other";
    EXPECT_THROW(other.start(), int);
    EXPECT_EQ("init loop ", other.calls);
    Unit init;
    init.what = "throw in init";
    EXPECT_THROW(init.start(), InvalidDataException);
    EXPECT_EQ("init ", init.calls);
}

TEST(UnitTree, PathsAndStopAll) {
    Unit root("main");
    Unit child("a", &root);
    Unit grandchild("b", &child);
    EXPECT_EQ("main/a/b", grandchild.path());
    EXPECT_EQ("main", root.path());
    EXPECT_EQ(&root, grandchild.root());
    child.name() = "";
    EXPECT_EQ("main//b", grandchild.path());
    root.name() = "";
    EXPECT_EQ("", root.path());
    grandchild.stopAll(7);
    for (Unit* unit : {&root, &child, &grandchild}) EXPECT_FALSE(unit->running());
}

TEST(UnitTree, ChildrenAreDeletedAndFaultsReported) {
    SKIP_WHERE_ASSERTIONS_ABORT();
    LogCapture const log;
    {
        Unit root("main");
        root.add(new Unit("child", &root));
        root.add(nullptr);
        auto* const stuck = new Unit("stuck", &root);
        stuck->what = "exception";
        stuck->start();
        root.add(stuck);
    }
    EXPECT_EQ(1u, log.count(" CONDITION: thr!=0\n"));
    EXPECT_EQ(1u, log.count(" CONDITION: !thr->running()\n"));
}

TEST(MainUnit, WalksItsArguments) {
    char program[] = "/usr/bin/prog";
    char a[] = "\xff\xc3\xa4";
    char b[] = "b";
    char* argv[] = {program, a, b, nullptr};
    WideArgs const wide(3, argv);
    EXPECT_EQ(nullptr, wide.argv()[3]);
    EXPECT_EQ(L'\u00e4', wide.argv()[1][1]);
    wide.argv()[1][0] = L'a';
    UowMain main(wide.argc(), wide.argv());
    EXPECT_EQ(&main, &app());
    EXPECT_EQ(L"prog", main.cmdline().cmd());
    EXPECT_EQ("a\xc3\xa4", main.argCurrent());
    EXPECT_EQ(2u, main.argLeft());
    EXPECT_EQ("b", main.argNext());
    EXPECT_EQ("", main.argNext());
    EXPECT_EQ(0u, main.argLeft());
    EXPECT_EQ("", main.argAt(2));
    EXPECT_EQ(
        "{argc_=3 argv={[0]\"/usr/bin/prog\" [1]\"a\xc3\xa4\" [2]\"b\"} cmd_=\"prog\" "
        "args_={[0]'a\xc3\xa4' [1]'b'}}",
        zan_test::dumped(main.cmdline(), true));
    EXPECT_EQ("", UowMain(1, wide.argv()).argCurrent());
    CmdLine const none(0, nullptr);
    EXPECT_TRUE(none.cmd().empty() && none.args().empty());
    main_uow::instance().set(nullptr);
    LogCapture const log;
    SKIP_WHERE_ASSERTIONS_ABORT();
    EXPECT_THROW(app(), NullPointerException);
    EXPECT_TRUE(log.has(" CONDITION: pUowMain!=0\n"));
}

TEST(QuitSignals, WithoutACallbackTheyEndTheProgramsUnit) {
    struct Main : UowMain {
        Main() : UowMain(0, nullptr) {}
        void on_init() override { std::raise(SIGTERM); }
        void on_loop() override { Time::milliSeconds(1).sleep(); }
    } main;
    QuitHandler const handler;
    EXPECT_EQ(nullptr, handler.getCallback());
    EXPECT_EQ(0, main.start());
    main_uow::instance().set(nullptr);
}

}  // namespace
