#include "zan/base/mlcheck.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <random>
#include <sstream>
#include <thread>
#include <unordered_set>
#include <vector>

#include "support/log_capture.h"
#include "support/seed.h"
#include "zan/log/console.h"
#include "zan/log/log_dumper.h"
#include "zan/log/log_factory.h"
#include "zan/mt/handle.h"

namespace {

using zan::MemLeakChecker;

// What the console shows, collected.
class Screen {
public:
    Screen() : before_(zan::std_err().rdbuf(text_.rdbuf())) { zan::console::setOn(true); }
    ~Screen() {
        zan::console::flush();
        zan::console::setOn(false);
        zan::std_err().rdbuf(before_);
    }
    Screen(Screen const&) = delete;
    Screen& operator=(Screen const&) = delete;

    std::string text() {
        zan::console::flush();
        return text_.str();
    }

private:
    std::ostringstream text_;
    std::streambuf* before_;
};

// A logger with the category on or off for the length of a test.
class Category {
public:
    explicit Category(bool on) { zan::detail::zanLogger().setAppLog("MLC", on); }
    ~Category() {
        MemLeakChecker::destroy();
        zan::detail::zanLogger().setAppLog("MLC", false);
    }
    Category(Category const&) = delete;
    Category& operator=(Category const&) = delete;
};

MemLeakChecker& book() {
    return *MemLeakChecker::instance();
}

std::string report() {
    std::ostringstream os;
    book().dump(os);
    return os.str();
}

std::string placed(std::string const& file, int line, std::string const& indent) {
    return "@zan::Current{\n" + indent + "    _v.file() = '" + file + "'\n" + indent +
           "    _v.line() = " + std::to_string(line) + "\n" + indent + "    _v.func() = 'f'\n" +
           indent + "    _v.prefix() = \n" + indent + "}";
}

std::string const CLEAN = "@zan::MemLeakChecker{\n\tCongratulations! No memory leaked.\n}";

TEST(LeakReport, FoldsPlacesAndOrdersThemByCount) {
    Category const on(true);
    zan_test::LogCapture const log;
    char objects[5];
    {
        MemLeakChecker::Helper const checked;
        EXPECT_EQ(CLEAN, report());
        for (int i = 0; i < 3; ++i) book().push(&objects[i], "a.cpp", 1, "f");
        book().push(&objects[3], "c.cpp", 9, "f");
        book().push(&objects[3], "b.cpp", 9, "f");  // replaces the place
        EXPECT_TRUE(book().pop(&objects[4], "", 0, "") == false);
        std::string const in(8, ' ');
        std::string const want =
            "@zan::MemLeakChecker{\n    sorted = @zan::multimap{\n" + in +
            "1 : " + placed("b.cpp", 9, in) + "\n" + in + "3 : " + placed("a.cpp", 1, in) +
            "\n    }\n    sorting = @zan::map{\n" + in + placed("a.cpp", 1, in) + " : 3\n" + in +
            placed("b.cpp", 9, in) + " : 1\n    }\n}";
        EXPECT_EQ(want, report());
    }
    EXPECT_TRUE(log.has("stop() @zan::MemLeakChecker{\n    sorted = ")) << log.text();
    EXPECT_FALSE(MemLeakChecker::running());
    EXPECT_EQ(CLEAN, report()) << "the next book is an empty one";
}

TEST(LeakBook, StoppedTakesNothingAndAcceptsEverything) {
    Category const off(false);
    Screen screen;
    int x = 0;
    MemLeakChecker::Helper const unchecked;
    EXPECT_FALSE(MemLeakChecker::running());
    book().push(&x, "a.cpp", 1, "f");
    EXPECT_EQ(CLEAN, report());
    EXPECT_TRUE(book().pop(&x, "a.cpp", 1, "f"));
    EXPECT_FALSE(book().pop(nullptr, "a.cpp", 1, "f"));
    EXPECT_EQ("", screen.text());
}

TEST(LeakBook, SaysWhatItDoesNotKnowAndShowsEachStepOnDemand) {
    Category const on(true);
    zan_test::LogCapture const log;
    Screen screen;
    MemLeakChecker::Helper const checked;
    int x = 0;
    std::ostringstream p;
    p << &x;
    book().push(&x, "src/a.cpp", 1, "f");
    EXPECT_TRUE(book().pop(&x, "b.cpp", 2, "g"));
    EXPECT_FALSE(book().pop(nullptr, "b.cpp", 2, "g"));
    EXPECT_EQ("", screen.text());
    EXPECT_FALSE(book().pop(&x, "b.cpp", 2, "g"));
    std::string want = "[NOTICE] not found pointer g(b.cpp:2)\n";
    EXPECT_EQ(want, screen.text());
    {
        MemLeakChecker::DumpEntry const shown;
        book().push(&x, "src/a.cpp", 1, "f");
        book().pop(&x, "b.cpp", 2, "g");
        book().pop(&x, "b.cpp", 3, "g");
    }
    book().push(&x, "src/a.cpp", 1, "f");
    want += "+++ " + p.str() + " f(a.cpp:1)\n--- " + p.str() + " f(a.cpp:1) (g(b.cpp:2))\n--- " +
            p.str() + " (g(b.cpp:3))\n[NOTICE] not found pointer g(b.cpp:3)\n";
    EXPECT_EQ(want, screen.text());
}

struct Left {
    virtual ~Left() = default;
    int l = 0;
};
struct Right : zan::Shared {
    int r = 0;
};
struct Both : Left, virtual Right {};
struct Unbuilt {
    Unbuilt() { throw 1; }
};

TEST(LeakBook, KnowsAnObjectByAnyOfItsBases) {
    Category const on(true);
    zan_test::LogCapture const log;
    Screen screen;
    MemLeakChecker::Helper const checked;
    Left* const left = ZAN_NEW(Both);
    ZAN_DELETE(left);
    { zan::Handle<Right> const right(ZAN_NEW(Both)); }
    { zan::Handle<Right> const right(new (__FILE__, __LINE__, "f") Both); }  // not entered
    EXPECT_EQ("[NOTICE] not found pointer zan::Shared::__SubRef(shared.cpp:",
              screen.text().substr(0, 60));
    EXPECT_ANY_THROW(ZAN_NEW(Unbuilt));
    auto* const array = ZAN_NEW(std::string[3]);
    ZAN_DELETE_ARRAY(array);
    int* const none = nullptr;
    ZAN_DELETE(none);
    EXPECT_EQ(CLEAN, report());
    EXPECT_EQ(1u, zan_test::occurrences(screen.text(), "\n"));
}

// Against a set, with pointers that share shards and places.
TEST(LeakBook, HoldsWhatAModelHolds) {
    Category const on(true);
    zan_test::LogCapture const log;
    MemLeakChecker::Helper const checked;
    std::mt19937_64 random(zan_test::seed());
    std::unordered_set<unsigned long> model;
    for (int i = 0; i < 200000; ++i) {
        unsigned long const number = random() % 3000 + 1;
        auto* const p = reinterpret_cast<void*>(number << (number % 3 == 0 ? 20 : 4));
        if (random() % (i < 100000 ? 3 : 2) != 0) {
            book().push(p, "a.cpp", 1, "f");
            model.insert(number);
        } else if (model.count(number) != 0) {
            ASSERT_TRUE(book().pop(p, "a.cpp", 2, "f")) << number;
            model.erase(number);
        }
    }
    ASSERT_NE(std::string::npos, report().find(" : " + std::to_string(model.size()) + "\n"));
    for (unsigned long const number : model)
        ASSERT_TRUE(book().pop(reinterpret_cast<void*>(number << (number % 3 == 0 ? 20 : 4)),
                               "a.cpp", 3, "f"));
    EXPECT_EQ(CLEAN, report());
}

// Threads that make and free tracked objects.
class Churn {
public:
    Churn() {
        for (int t = 0; t < 3; ++t)
            threads_.emplace_back([this] {
                while (!done_) {
                    int* const p = ZAN_NEW(int(1));
                    ZAN_DELETE(p);
                }
            });
    }
    ~Churn() { stop(); }
    Churn(Churn const&) = delete;
    Churn& operator=(Churn const&) = delete;
    void stop() {
        done_ = true;
        for (auto& thread : threads_) thread.join();
        threads_.clear();
    }

private:
    std::atomic<bool> done_{false};
    std::vector<std::thread> threads_;
};

TEST(LeakRaces, ThreadsAllocateWhileBooksComeAndGo) {
    Category const on(true);
    zan_test::LogCapture const log;
    Churn churn;
    for (int i = 0; i < 200; ++i) {
        MemLeakChecker::Helper const checked;
        if (i % 20 == 0) report();
    }
    churn.stop();
    MemLeakChecker::Helper const checked;
    EXPECT_EQ(CLEAN, report()) << "nothing of an earlier book";
}

// A child of a fork has one thread, and no other to let go of a lock.
TEST(LeakRaces, TheChildOfAForkHasTheWholeBook) {
    Category const on(true);
    zan_test::LogCapture const log;
    MemLeakChecker::Helper const checked;
    Churn churn;
    int x = 0;
    book().push(&x, "a.cpp", 1, "f");
    for (int i = 0; i < 20; ++i) {
        pid_t const child = fork();
        if (child == 0) {
            alarm(20);
            char room[4096];
            for (char& p : room) book().push(&p, "b.cpp", 1, "f");
            for (char& p : room)
                if (!book().pop(&p, "b.cpp", 2, "f")) _exit(2);
            _exit(book().pop(&x, "a.cpp", 2, "f") ? 0 : 3);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(0, status);
    }
    EXPECT_TRUE(book().pop(&x, "a.cpp", 2, "f"));
    churn.stop();
}

}  // namespace
