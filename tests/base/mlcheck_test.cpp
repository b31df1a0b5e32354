#include "zan/base/mlcheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <sstream>
#include <unordered_set>

#include "support/log_capture.h"
#include "support/seed.h"
#include "support/text.h"
#include "support/threads.h"
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

// A book of its own for each test, with the category on, and the log and the console collected.
class LeakTest : public testing::Test {
protected:
    LeakTest() { category(true); }
    ~LeakTest() override {
        MemLeakChecker::destroy();
        category(false);
    }
    static void category(bool on) { zan::detail::zanLogger().setAppLog("MLC", on); }

    zan_test::LogCapture const log_;
    Screen screen_;
};

using LeakReport = LeakTest;
using LeakBook = LeakTest;
using LeakRaces = LeakTest;

MemLeakChecker& book() {
    return *MemLeakChecker::instance();
}

// Enters an object as if the file had made it.
void push(void* p, char const* file, int line) {
    book().push(p, file, line, "f");
}
bool pop(void* p) {
    return book().pop(p, "b.cpp", 2, "g");
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

TEST_F(LeakReport, FoldsPlacesAndOrdersThemByCount) {
    char objects[5];
    {
        MemLeakChecker::Helper const checked;
        EXPECT_EQ(CLEAN, report());
        for (int i = 0; i < 3; ++i) push(&objects[i], "a.cpp", 1);
        push(&objects[3], "c.cpp", 9);
        push(&objects[3], "b.cpp", 9);  // replaces the place
        EXPECT_FALSE(pop(&objects[4]));
        std::string const in(8, ' ');
        std::string const want =
            "@zan::MemLeakChecker{\n    sorted = @zan::multimap{\n" + in +
            "1 : " + placed("b.cpp", 9, in) + "\n" + in + "3 : " + placed("a.cpp", 1, in) +
            "\n    }\n    sorting = @zan::map{\n" + in + placed("a.cpp", 1, in) + " : 3\n" + in +
            placed("b.cpp", 9, in) + " : 1\n    }\n}";
        EXPECT_EQ(want, report());
    }
    EXPECT_TRUE(log_.has("stop() @zan::MemLeakChecker{\n    sorted = ")) << log_.text();
    EXPECT_FALSE(MemLeakChecker::running());
    EXPECT_EQ(CLEAN, report()) << "the next book is an empty one";
}

TEST_F(LeakBook, StoppedTakesNothingAndAcceptsEverything) {
    category(false);
    int x = 0;
    MemLeakChecker::Helper const unchecked;
    EXPECT_FALSE(MemLeakChecker::running());
    push(&x, "a.cpp", 1);
    EXPECT_EQ(CLEAN, report());
    EXPECT_TRUE(pop(&x));
    EXPECT_FALSE(pop(nullptr));
    EXPECT_EQ("", screen_.text());
}

TEST_F(LeakBook, SaysWhatItDoesNotKnowAndShowsEachStepOnDemand) {
    MemLeakChecker::Helper const checked;
    int x = 0;
    std::string const p = zan_test::printed(&x);
    push(&x, "src/a.cpp", 1);
    EXPECT_TRUE(pop(&x));
    EXPECT_FALSE(pop(nullptr));
    EXPECT_EQ("", screen_.text());
    EXPECT_FALSE(pop(&x));
    std::string const unknown = "[NOTICE] not found pointer g(b.cpp:2)\n";
    EXPECT_EQ(unknown, screen_.text());
    {
        MemLeakChecker::DumpEntry const shown;
        push(&x, "src/a.cpp", 1);
        pop(&x);
        pop(&x);
    }
    push(&x, "src/a.cpp", 1);
    EXPECT_EQ(unknown + "+++ " + p + " f(a.cpp:1)\n--- " + p + " f(a.cpp:1) (g(b.cpp:2))\n--- " +
                  p + " (g(b.cpp:2))\n" + unknown,
              screen_.text());
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

TEST_F(LeakBook, KnowsAnObjectByAnyOfItsBases) {
    MemLeakChecker::Helper const checked;
    Left* const left = ZAN_NEW(Both);
    ZAN_DELETE(left);
    { zan::Handle<Right> const right(ZAN_NEW(Both)); }
    { zan::Handle<Right> const right(new (__FILE__, __LINE__, "f") Both); }  // not entered
    EXPECT_EQ("[NOTICE] not found pointer zan::Shared::__SubRef(shared.cpp:",
              screen_.text().substr(0, 60));
    EXPECT_ANY_THROW(ZAN_NEW(Unbuilt));
    auto* const array = ZAN_NEW(std::string[3]);
    ZAN_DELETE_ARRAY(array);
    int* const none = nullptr;
    ZAN_DELETE(none);
    EXPECT_EQ(CLEAN, report());
    EXPECT_EQ(1u, zan_test::occurrences(screen_.text(), "\n"));
}

// Against a set, with pointers that share shards and places.
TEST_F(LeakBook, HoldsWhatAModelHolds) {
    MemLeakChecker::Helper const checked;
    auto random = zan_test::makeRandom();
    std::unordered_set<void*> model;
    for (int i = 0; i < 200000; ++i) {
        unsigned long const number = random() % 3000 + 1;
        auto* const p = reinterpret_cast<void*>(number << (number % 3 == 0 ? 20 : 4));
        if (random() % (i < 100000 ? 3 : 2) != 0) {
            push(p, "a.cpp", 1);
            model.insert(p);
        } else if (model.erase(p) != 0) {
            ASSERT_TRUE(pop(p)) << number;
        }
    }
    ASSERT_THAT(report(), testing::HasSubstr(" : " + std::to_string(model.size()) + "\n"));
    for (void* const p : model) ASSERT_TRUE(pop(p));
    EXPECT_EQ(CLEAN, report());
}

// Threads that make and free tracked objects until they are told to stop.
zan_test::Threads churn(std::atomic<bool>& done) {
    return {3, [&done](unsigned) {
                while (!done) {
                    int* const p = ZAN_NEW(int(1));
                    ZAN_DELETE(p);
                }
            }};
}

TEST_F(LeakRaces, ThreadsAllocateWhileBooksComeAndGo) {
    std::atomic<bool> done{false};
    zan_test::Threads threads = churn(done);
    for (int i = 0; i < 200; ++i) {
        MemLeakChecker::Helper const checked;
        if (i % 20 == 0) report();
    }
    done = true;
    threads.join();
    MemLeakChecker::Helper const checked;
    EXPECT_EQ(CLEAN, report()) << "nothing of an earlier book";
}

// A child of a fork has one thread, and no other to let go of a lock.
TEST_F(LeakRaces, TheChildOfAForkHasTheWholeBook) {
    MemLeakChecker::Helper const checked;
    std::atomic<bool> done{false};
    zan_test::Threads threads = churn(done);
    int x = 0;
    push(&x, "a.cpp", 1);
    for (int i = 0; i < 20; ++i) {
        pid_t const child = fork();
        if (child == 0) {
            alarm(20);
            char room[4096];
            for (char& p : room) push(&p, "b.cpp", 1);
            for (char& p : room)
                if (!pop(&p)) _exit(2);
            _exit(pop(&x) ? 0 : 3);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(0, status);
    }
    EXPECT_TRUE(pop(&x));
    done = true;
}

}  // namespace
