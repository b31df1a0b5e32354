#pragma once

#include <cstdint>
#include <iosfwd>
#include <map>
#include <type_traits>
#include <utility>
#include <vector>

#include "zan/base/base_type.h"
#include "zan/base/base_type_time.h"
#include "zan/base/base_type_value.h"
#include "zan/base/exception.h"
#include "zan/base/mlcheck.h"
#include "zan/base/report.h"
#include "zan/util/uow.h"

// A frame for test programs that are driven from menus: by hand, one choice after the other, or
// with the choices on the command line.
//
//     class Program : public zan::test::UowTest {
//     public:
//         Program(int argc, wchar_t** argv) : UowTest(argc, argv) {
//             add("sum", "two and two", zan::test::testFn(this, &Program::sum));
//             add("net", "the network", zan::test::testFn([](zan::test::TestCase* menu) {
//                 zan::test::UowTest net("net", menu);  // a menu below this one
//                 net.add("echo", "there and back", zan::test::testFn(&echo));
//                 net.start();
//             }));
//         }
//
// `program sum net/echo` runs two cases; without arguments it shows its menu and asks. A choice is
// a key, or a path of keys that begins at the menu on the screen, or with a "/" in front at the
// first menu. Four rows are in each menu: "all" runs the cases in order, "quit" goes one menu up,
// "top" up to the first, "exit" out of the program. Behind its last argument the program asks, too:
// let that one be "exit" where nobody is there to answer. The end of the input counts as "exit".
//
// All that the frame shows goes through debugLog() of the library's logger, and so to the log and
// the console.
//
// Threads: all of it belongs to the one thread that runs the unit, and has no lock.
// Errors: an unknown choice is a line in the log. What a case throws ends its unit with the codes
//   of UnitOfWork::start(); look at what the start() of a nested unit gives.
namespace zan::test {

class TestCase;

// --- Functions

// A function that a menu runs.
class ZAN_EXPORT TestFnBase {
public:
    TestFnBase() = default;
    TestFnBase(TestFnBase const&) = delete;
    TestFnBase& operator=(TestFnBase const&) = delete;
    virtual ~TestFnBase();
    virtual void operator()() = 0;

    TestFnBase* bind(TestCase* tc) {
        tc_ = tc;
        return this;
    }
    // The menu that it runs for; null until bind().
    TestCase* tc() const { return tc_; }

private:
    TestCase* tc_ = nullptr;
};

template <class Class, class Param>
class TestFnMember;

// A member function of an object, which is not owned. Without either the call throws
// NullPointerException.
template <class Class>
class TestFnMember<Class, null_type> final : public TestFnBase {
public:
    using Member = void (Class::*)();
    TestFnMember(Class* object, Member member) : this_(object), member_(member) {}
    void operator()() override;

private:
    Class* this_;
    Member member_;
};

// Anything that can be called, with the menu that it runs for or with nothing.
template <class F>
class TestFnCall final : public TestFnBase {
public:
    explicit TestFnCall(F f) : f_(std::move(f)) {}
    void operator()() override {
        if constexpr (std::is_invocable_v<F&, TestCase*>)
            f_(tc());
        else
            f_();
    }

private:
    F f_;
};

// A handle on a function, which may be missing. Copies share the function, and nothing counts them:
// it is freed by destroy() alone. A menu does that for the functions of its own cases.
class ZAN_EXPORT TestCaseFn {
public:
    TestCaseFn(TestFnBase* fn = nullptr) : fn_(fn) {}
    // Throws NullPointerException where there is no function; so do the calls.
    TestCaseFn& bind(TestCase* tc);
    void operator()();
    void operator()(TestCase* tc) { bind(tc)(); }
    bool empty() const { return fn_ == nullptr; }
    void destroy();

private:
    friend class TestCase;
    TestFnBase* fn_;
};

// The function of a row, to be handed to add().
template <class Object, class Class>
TestCaseFn testFn(Object* object, void (Class::*member)()) {
    return TestCaseFn(ZAN_NEW((TestFnMember<Class, null_type>)(object, member)));
}
template <class F,
          std::enable_if_t<std::is_invocable_v<F&> || std::is_invocable_v<F&, TestCase*>, int> = 0>
TestCaseFn testFn(F f) {
    return TestCaseFn(ZAN_NEW(TestFnCall<F>(std::move(f))));
}

// --- Menus

// A row of a menu.
class ZAN_EXPORT TestItem {
public:
    TestItem(char const* key, char const* msg, TestCaseFn const& fn, Bit internal)
        : key_(key), msg_(msg), fn_(fn), internal_(internal) {}

    String const& key() const { return key_; }
    String const& msg() const { return msg_; }
    TestCaseFn const& fn() const { return fn_; }
    // The frame has added it.
    Bit internal() const { return internal_; }
    bool empty() const { return fn_.empty(); }
    void operator()() { fn_(); }
    void operator()(TestCase* tc) { fn_(tc); }
    // "    key: message", with " (*)" behind it where internal() holds.
    std::ostream& operator()(std::ostream& os) const;

private:
    String key_;
    String msg_;
    TestCaseFn fn_;
    Bit internal_;
};

inline bool operator==(TestItem const& a, TestItem const& b) {
    return a.key() == b.key();
}
inline bool operator!=(TestItem const& a, TestItem const& b) {
    return !(a == b);
}
inline bool operator<(TestItem const& a, TestItem const& b) {
    return a.key() < b.key();
}
// Each row and a newline.
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, std::vector<TestItem> const& rows);

// One menu. UowTest has one; there is seldom a need for another.
//
// The first choice, or the first operation below that says so, makes the table in which choices are
// looked up; what is added later is shown and runs under "all", but cannot be chosen.
//
// Ownership: the functions of all rows but the addons, which belong to the menu that they came
//   from.
class ZAN_EXPORT TestCase {
public:
    explicit TestCase(UnitOfWork* uow);
    TestCase(TestCase const&) = delete;
    TestCase& operator=(TestCase const&) = delete;
    ~TestCase();

    // Of two rows with one key the later is run. The four rows of the frame beat any other.
    void add(char const* key, char const* msg, TestCaseFn const& fn, bool internal = false);
    // Makes the table. Removes the row that the key runs, and destroys its function. A case must
    // not remove itself.
    void del(char const* key);
    // Makes the table. Removes all rows, those of the frame too.
    void clear();
    // Shows the cases of another menu in this one, behind its own. An addon whose key is taken is
    // not run.
    void appendAddons(TestCase const& other);
    // Makes the table. The addons cannot be chosen from here on; their rows are still shown.
    void removeAddons();
    void initMap();

    // Show the menu, take the choice or ask for one, run it.
    void run() { run(String()); }
    void run(String const& choice);
    // Runs the choices one after the other. The first call with none runs all cases, then "quit",
    // where the menu above runs unattended; any other call with none, and every call after the
    // first list, asks.
    void run(std::vector<String> const& list);

    void do_all();
    void do_top();
    void do_up();
    void do_exit();

    UnitOfWork*& uow() { return uow_; }
    UnitOfWork* uow() const { return uow_; }
    // The choices for the nested unit that the next case opens.
    std::vector<String>& args() { return args_; }
    std::vector<String> const& args() const { return args_; }

    // Parts a path.
    static char separator() { return '/'; }

private:
    void show_menu();
    void get_choice(String const& choice);
    void exec_case() { exec_case(String(choice_)); }
    void exec_case(String const& choice);
    UnitOfWork& unit() const;

    std::vector<TestItem> items_;
    std::vector<TestItem> builtin_;
    std::vector<TestItem> addons_;
    std::map<String, TestCaseFn> table_;
    std::vector<String> args_;
    std::int32_t argsPending_ = 1;
    String prompt_ = ">>> ";
    String choice_;
    UnitOfWork* uow_;
};

// How menus are driven at present.
class ZAN_EXPORT Context {
public:
    static Context& instance();
    // False within a list of choices and within "all", up to the next question.
    bool& interactive() { return interactive_; }
    bool interactive() const { return interactive_; }
    dumper& dump(dumper& d) const;

private:
    bool interactive_ = true;
};

// --- Units

// A unit of work with a menu: the program's own, or one below it. Its loop takes one choice after
// the other until "quit", "top" or "exit".
class ZAN_EXPORT UowTest : public UnitOfWork {
public:
    UowTest();
    UowTest(char const* name, UnitOfWork* parent);
    // A unit below that menu's, with the choices that wait for it there. Null: no parent.
    UowTest(char const* name, TestCase* parentCase);
    // The unit "main" with the arguments as its choices; it becomes app().
    UowTest(int argc, wchar_t** argv);
    // Holds the cases that are meant for all menus: see appendAddons().
    static UowTest& instance();

    void add(char const* key, char const* msg, TestCaseFn const& fn, bool internal = false) {
        testCase_.add(key, msg, fn, internal);
    }
    void del(char const* key) { testCase_.del(key); }
    void clear() { testCase_.clear(); }
    // The cases of instance().
    void appendAddons() { testCase_.appendAddons(instance().testCase_); }
    void removeAddons() { testCase_.removeAddons(); }
    // For the functions of this menu that open one below it.
    TestCase* testCase() { return &testCase_; }

    void on_init() override;
    void on_loop() override;
    void on_fini() override;
    void run(String const& choice) override;

private:
    TestCase testCase_;
};

struct tester {
    // Frames a test in the log, with its time, as long as it lives.
    class ZAN_EXPORT _Entry {
    public:
        explicit _Entry(char const* name);
        _Entry(_Entry const&) = delete;
        _Entry& operator=(_Entry const&) = delete;
        ~_Entry();

    private:
        String name_;
        Stopwatch watch_;
    };
};

}  // namespace zan::test

// Where `cond` is false: a report, then a NullPointerException.
#define ZAN_DETAIL_TEST_POINTER(cond, text)                                     \
    ZAN_ASSERT_TEXT_DO(cond, text,                                              \
                       "ZAN_USER_THROW_MSG(zan::logger_factory::instance(zan::" \
                       "LOGGER_ID), zan::NullPointerException, "                \
                       "\"zan::NullPointerException\")",                        \
                       ZAN_THROW_PLAIN(zan::NullPointerException))

template <class Class>
void zan::test::TestFnMember<Class, zan::null_type>::operator()() {
    ZAN_DETAIL_TEST_POINTER(this_ != nullptr, "this_!=0");
    ZAN_DETAIL_TEST_POINTER(member_ != nullptr, "member_!=0");
    (this_->*member_)();
}
