#include "zan/util/uow.h"

#include <sstream>
#include <stack>

#include "zan/base/exception.h"
#include "zan/base/mlcheck.h"
#include "zan/log/log_factory.h"
#include "zan/log/log_tracer.h"
#include "zan/platform/quit_signal.h"

namespace zan {

namespace {

char const THROW_NULL_POINTER[] =
    "ZAN_USER_THROW_MSG(zan::logger_factory::instance(zan::LOGGER_ID), "
    "zan::NullPointerException, \"zan::NullPointerException\")";

std::atomic<void (*)(int)> g_quitCallback{nullptr};

// Runs on the thread that the signals are delivered to.
void onQuitSignal(int signal) {
    if (void (*const callback)(int) = g_quitCallback.load(std::memory_order_acquire))
        callback(signal);
    else if (UnitOfWork* const unit = main_uow::instance().get())
        unit->stopAll(0);
}

}  // namespace

// --- UnitOfWork

UnitOfWork::UnitOfWork(char const* name, UnitOfWork* parent) : parent_(parent), name_(name) {}

UnitOfWork::~UnitOfWork() {
    for (UnitOfWork* const thr : children_) {
        // A destructor cannot throw: a missing child is reported as the throw that it is elsewhere,
        // and passed over.
        ZAN_ASSERT_TEXT_DO(thr != nullptr, "thr!=0", THROW_NULL_POINTER, );
        if (thr == nullptr) continue;
        ZAN_ASSERT_TEXT_DO(!thr->running(), "!thr->running()", "", );
        ZAN_DELETE(thr);
    }
}

void UnitOfWork::run(String const&) {}

int UnitOfWork::start() {
    ZAN_TRACE_SCOPE_INFO(detail::zanLogger(), name_);
    exitCode_.store(0, std::memory_order_relaxed);
    running_.store(true, std::memory_order_release);
    on_init();
    while (running()) {
        try {
            on_loop();
        } catch (Exception const& e) {
            std::ostringstream os;
            std::operator<<(os, e);
            writeExcptLog(detail::zanLogger(), ZAN_HERE, os.str().c_str());
            exitCode_.store(1, std::memory_order_release);
            break;
        } catch (std::exception const& e) {
            std::ostringstream os;
            std::operator<<(os, e);
            writeErrorLog(detail::zanLogger(), ZAN_HERE, os.str().c_str(), "<ERROR>");
            exitCode_.store(2, std::memory_order_release);
            break;
        }
    }
    on_fini();
    return exitCode_.load(std::memory_order_acquire);
}

void UnitOfWork::stop(int code) {
    exitCode_.store(code, std::memory_order_release);
    running_.store(false, std::memory_order_release);
}

void UnitOfWork::stopAll(int code) {
    for (UnitOfWork* unit = this; unit != nullptr; unit = unit->parent_) unit->stop(code);
}

UnitOfWork* UnitOfWork::root() {
    UnitOfWork* unit = this;
    while (unit->parent_ != nullptr) unit = unit->parent_;
    return unit;
}

String UnitOfWork::path() const {
    std::stack<String const*> names;
    for (UnitOfWork const* unit = this; unit != nullptr; unit = unit->parent_)
        names.push(&unit->name_);
    String text;
    for (bool first = true; !names.empty(); names.pop(), first = false) {
        if (!first && !text.empty()) text += "/";
        text += *names.top();
    }
    return text;
}

// --- UowMain

UowMain::UowMain(int argc, wchar_t** argv) : UnitOfWork("main", nullptr) {
    cmdline().init(argc, argv);
    main_uow::instance().set(this);
}

String const& UowMain::argAt(unsigned long i) const {
    return i < argCount() ? args()[i] : empty_;
}

String const& UowMain::argNext() const {
    if (argLeft() != 0) ++cursor_;
    return argCurrent();
}

main_uow& main_uow::instance() {
    static main_uow& holder = detail::lifelong([] { return new main_uow; });
    return holder;
}

UnitOfWork& app() {
    UnitOfWork* const pUowMain = main_uow::instance().get();
    ZAN_ASSERT_TEXT_DO(pUowMain != nullptr, "pUowMain!=0", THROW_NULL_POINTER,
                       ZAN_THROW_PLAIN(zan::NullPointerException));
    return *pUowMain;
}

// --- QuitHandler

QuitHandler::QuitHandler(void (*callback)(int)) {
    setCallback(callback);
    if (int const error = platform::installQuitSignals(&onQuitSignal))
        ZAN_ERROR(detail::zanLogger(), "the quit signals cannot be taken, error " << error);
}

QuitHandler::~QuitHandler() {
    platform::uninstallQuitSignals();
    setCallback(nullptr);
}

void QuitHandler::setCallback(void (*callback)(int)) {
    g_quitCallback.store(callback, std::memory_order_release);
}

void (*QuitHandler::getCallback() const)(int) {
    return g_quitCallback.load(std::memory_order_acquire);
}

}  // namespace zan
