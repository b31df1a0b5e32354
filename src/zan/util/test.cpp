#include "zan/util/test.h"

#include <algorithm>
#include <istream>
#include <ostream>
#include <set>
#include <sstream>

#include "zan/base/mlcheck.h"
#include "zan/log/console.h"
#include "zan/log/log_dumper.h"
#include "zan/log/log_factory.h"
#include "zan/log/log_row.h"
#include "zan/log/log_tracer.h"

namespace zan::test {

namespace {

void show(istr const& text) {
    if (!text.empty()) zan::detail::zanLogger().debugLog(text);
}

// Puts the context back as it was.
class ContextSaver {
public:
    ContextSaver() : saved_(Context::instance()) {}
    ContextSaver(ContextSaver const&) = delete;
    ContextSaver& operator=(ContextSaver const&) = delete;
    ~ContextSaver() { Context::instance() = saved_; }

private:
    Context saved_;
};

struct Run1Case__ {
    TestCase* tc_;
    void operator()(String const& choice) const {
        ZAN_DETAIL_TEST_POINTER(tc_ != nullptr, "tc_!=0");
        tc_->run(choice);
    }
};

}  // namespace

// --- Functions

TestFnBase::~TestFnBase() = default;

TestCaseFn& TestCaseFn::bind(TestCase* tc) {
    ZAN_DETAIL_TEST_POINTER(fn_ != nullptr, "fn_!=0");
    fn_->bind(tc);
    return *this;
}

void TestCaseFn::operator()() {
    ZAN_DETAIL_TEST_POINTER(fn_ != nullptr, "fn_!=0");
    (*fn_)();
}

void TestCaseFn::destroy() {
    ZAN_DELETE(fn_);
    fn_ = nullptr;
}

// --- Rows

std::ostream& TestItem::operator()(std::ostream& os) const {
    return os << "    " << istr(key_) << ": " << istr(msg_) << (internal_ ? " (*)" : "");
}

std::ostream& operator<<(std::ostream& os, std::vector<TestItem> const& rows) {
    for (TestItem const& row : rows) row(os) << '\n';
    return os;
}

// --- Menu

TestCase::TestCase(UnitOfWork* uow) : uow_(uow) {
    auto const builtin = [this](char const* key, char const* msg, void (TestCase::*member)()) {
        builtin_.emplace_back(key, msg, testFn(this, member), true);
    };
    builtin("all", "test all cases", &TestCase::do_all);
    builtin("top", "to top level", &TestCase::do_top);
    builtin("quit", "to up level", &TestCase::do_up);
    builtin("exit", "exit program", &TestCase::do_exit);
}

TestCase::~TestCase() {
    clear();
}

void TestCase::add(char const* key, char const* msg, TestCaseFn const& fn, bool internal) {
    items_.emplace_back(key, msg, fn, internal);
}

void TestCase::del(char const* key) {
    initMap();
    auto const at = table_.find(key);
    if (at == table_.end()) return;
    TestCaseFn fn = at->second;
    // Whatever shows or runs the function goes with it.
    auto const removeFrom = [&fn](std::vector<TestItem>& rows) {
        auto const same = [&fn](TestItem const& row) { return row.fn().fn_ == fn.fn_; };
        auto const end = std::remove_if(rows.begin(), rows.end(), same);
        bool const found = end != rows.end();
        rows.erase(end, rows.end());
        return found;
    };
    bool const ofCase = removeFrom(items_);
    bool const ofFrame = removeFrom(builtin_);
    removeFrom(addons_);
    for (auto it = table_.begin(); it != table_.end();)
        it = it->second.fn_ == fn.fn_ ? table_.erase(it) : std::next(it);
    if (ofCase || ofFrame) fn.destroy();
}

// Destroys what a second row with the same key has kept out of the table, too, and a function that
// stands in two rows once.
void TestCase::clear() {
    std::set<TestFnBase*> own;
    for (auto const* rows : {&items_, &builtin_})
        for (TestItem const& row : *rows) own.insert(row.fn().fn_);
    table_.clear();
    items_.clear();
    builtin_.clear();
    addons_.clear();
    for (TestFnBase* const fn : own) TestCaseFn(fn).destroy();
}

void TestCase::appendAddons(TestCase const& other) {
    // By index: the other menu may be this one.
    for (unsigned long i = 0, n = other.items_.size(); i < n; ++i)
        addons_.push_back(TestItem(other.items_[i]));
}

void TestCase::removeAddons() {
    initMap();
    for (TestItem const& row : addons_) table_.erase(row.key());
}

void TestCase::initMap() {
    if (!table_.empty()) return;
    for (auto const* rows : {&addons_, &items_, &builtin_})
        for (TestItem const& row : *rows) table_.insert_or_assign(row.key(), row.fn());
}

UnitOfWork& TestCase::unit() const {
    ZAN_DETAIL_TEST_POINTER(uow() != nullptr, "uow()!=0");
    return *uow_;
}

// --- One step

void TestCase::run(String const& choice) {
    show_menu();
    get_choice(choice);
    exec_case();
}

void TestCase::show_menu() {
    String const path = unit().path();
    show("\nmenu:\n");
    show(String("(/") << path << ") ");
    std::ostringstream args;
    dumper d(args, true, "\n", "    ", 0, "", "{", "}", "@", "=", " ");
    d << args_;
    show(String(args.str()) << '\n');
    auto const showRows = [](char const* title, std::vector<TestItem> const& rows) {
        show(title);
        std::ostringstream os;
        os << rows;
        show(os.str());
    };
    showRows("", items_);
    if (!addons_.empty()) showRows("addon:\n", addons_);
    showRows("builtin:\n", builtin_);
}

void TestCase::get_choice(String const& choice) {
    show(prompt_);
    zan::detail::zanLogger().flush();
    console::flush();
    choice_ = choice;
    if (choice.empty()) {
        Context::instance().interactive() = true;
        std::string line;
        if (std::getline(std_in(), line)) {
            choice_ = line;
            return;
        }
        // Nobody will ever answer.
        choice_ = "exit";
    }
    show(String(choice_) << '\n');
}

void TestCase::exec_case(String const& choice) {
    initMap();
    auto const at = table_.find(choice);
    if (at != table_.end()) {
        TestCaseFn fn = at->second;
        fn(this);
        return;
    }
    unsigned long const slash = choice.find(separator());
    if (slash == String::npos) {
        writeErrorLog(zan::detail::zanLogger(), ZAN_HERE,
                      (String("Function not found for ==> ") << choice).c_str(), "<ERROR>");
        return;
    }
    String const rest = choice.substr(slash + 1);
    if (slash == 0) {
        unit().root()->run(rest);
        return;
    }
    struct EmptyAtEnd {
        std::vector<String>& list;
        ~EmptyAtEnd() { list.clear(); }
    } const emptyAtEnd{args_};
    args_.push_back(rest);
    args_.push_back("quit");
    run(String(choice.substr(0, slash)));
}

void TestCase::run(std::vector<String> const& list) {
    if (argsPending_ == 0 || (list.empty() && Context::instance().interactive())) {
        run();
        return;
    }
    if (list.empty()) {
        run(String("all"));
        run(String("quit"));
    } else {
        ContextSaver const saver;
        Context::instance().interactive() = false;
        std::for_each(list.begin(), list.end(), Run1Case__{this});
    }
    --argsPending_;
}

// --- The rows of the frame

void TestCase::do_all() {
    ContextSaver const saver;
    Context::instance().interactive() = false;
    // A case may add rows and remove others.
    std::vector<TestItem> rows(items_);
    for (TestItem& row : rows) {
        // The key, too: a function that came later may lie where one was destroyed.
        auto const same = [&row](TestItem const& x) {
            return x == row && x.fn().fn_ == row.fn().fn_;
        };
        if (std::any_of(items_.begin(), items_.end(), same)) row(this);
    }
}

void TestCase::do_top() {
    for (UnitOfWork* at = &unit(); at->parent() != nullptr; at = at->parent()) at->stop(0);
}

void TestCase::do_up() {
    UnitOfWork& here = unit();
    if (here.parent() != nullptr)
        here.stop(0);
    else
        show("At top level already.\n");
}

void TestCase::do_exit() {
    unit().stopAll(0);
}

// --- Context

Context& Context::instance() {
    static Context context;
    return context;
}

dumper& Context::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::test::Context");
    d << indent << namestring("interactive_") << interactive_ << endline;
    return d;
}

// --- Units

UowTest::UowTest() : testCase_(this) {}

UowTest::UowTest(char const* name, UnitOfWork* parent)
    : UnitOfWork(name, parent), testCase_(this) {}

UowTest::UowTest(char const* name, TestCase* parentCase)
    : UnitOfWork(name, parentCase != nullptr ? parentCase->uow() : nullptr), testCase_(this) {
    if (parentCase != nullptr) args() = parentCase->args();
}

UowTest::UowTest(int argc, wchar_t** argv) : UnitOfWork("main", nullptr), testCase_(this) {
    cmdline().init(argc, argv);
    main_uow::instance().set(this);
}

UowTest& UowTest::instance() {
    // Destroyed with the static objects, after any report.
    static UowTest& unit = []() -> UowTest& {
        UncheckedBlocks const lifelong;
        static UowTest made;
        return made;
    }();
    return unit;
}

void UowTest::on_init() {
    ZAN_TRACE_ENTRY(zan::detail::zanLogger());
    testCase_.uow() = this;
}

void UowTest::on_loop() {
    ZAN_TRACE_ENTRY(zan::detail::zanLogger());
    // A case may look at the arguments, and change them.
    std::vector<String> const list(args());
    testCase_.run(list);
    args().clear();
}

void UowTest::on_fini() {
    ZAN_TRACE_ENTRY(zan::detail::zanLogger());
}

void UowTest::run(String const& choice) {
    ZAN_TRACE_ENTRY(zan::detail::zanLogger());
    testCase_.run(choice);
}

// --- tester

tester::_Entry::_Entry(char const* name) : name_(name) {
    watch_.start();
    show("\n");
    writeEntryLog(zan::detail::zanLogger(), watch_.begin().toDateTime().c_str(), "TEST",
                  name_.c_str(), '_');
}

tester::_Entry::~_Entry() {
    watch_.stop();
    LogRow row('.');
    row.left("elapsed").right(watch_.elapsed().toDuration());
    show(String("\n") << row.text() << '\n');
    writeEntryLog(zan::detail::zanLogger(), watch_.end().toDateTime().c_str(), "TEST~",
                  (String("~") << name_).c_str(), '_');
}

}  // namespace zan::test
