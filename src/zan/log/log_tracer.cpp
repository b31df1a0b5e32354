#include "zan/log/log_tracer.h"

#include <ostream>

#include "zan/base/mlcheck.h"
#include "zan/mt/thread.h"
#include "zan/platform/thread.h"

namespace zan {

namespace detail {

// Each thread's stack belongs to the thread alone, so no lock and no table is needed to find it,
// and nothing is left of it when the thread has ended.
__thread CallStack* threadCallStack = nullptr;

namespace {

void freeCallStack(void*) {
    CallStack* const calls = threadCallStack;
    threadCallStack = nullptr;
    delete calls;
}

}  // namespace

CallStack& currentCallStack() {
    if (threadCallStack == nullptr) {
        UncheckedBlocks const lifelong;  // in the main thread
        threadCallStack = new CallStack;
        // Where the system cannot call back, the stack stays behind; that costs a few bytes.
        platform::atThreadExit(&freeCallStack, nullptr);
    }
    return *threadCallStack;
}

}  // namespace detail

tracer*& tracer::instance() {
    static tracer* only = &detail::lifelong(
        [] { return new tracer; });  // has no state of its own, so it may stay for ever
    return only;
}

void tracer::destroy() {
    UncheckedBlocks const lifelong;  // in the main thread
    if (CallStack* const calls = detail::threadCallStack) *calls = CallStack();
}

void tracer::destroy_current_stack() {
    // Emptied and not freed: the thread's end frees it, and a frame still open finds it there.
    UncheckedBlocks const lifelong;  // in the main thread
    if (CallStack* const calls = detail::threadCallStack) *calls = CallStack();
}

std::ostream& tracer::dump(std::ostream& os) const {
    return os << callStack();
}

dumper& tracer::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::tracer");
    d << indent << namestring("callStack()") << callStack() << endline;
    return d;
}

void printTraceStack(std::ostream& os) {
    tracer::instance()->dump(os);
}

void TraceEntry::indentString(std::string& s, unsigned long depth, char c) {
    s.append(depth * 4, c);
}

void TraceEntry::logEntering(char const* func) {
    writeLog(true, func, '.', detail::fastCallStack().container().size());
}

void TraceEntry::logLeaving() {
    CallStack::Frames const& frames = detail::fastCallStack().container();
    Current const top = frames.top();
    writeLog(false, top.func(), '_', frames.size() - 1);
}

void TraceEntry::writeLog(bool entering, char const* func, char fill, unsigned long depth) {
    if ((type_ & (entering ? LOG_ENTRY : LOG_LEAVE)) == 0) return;
    if (!log_.traceOn()) return;
    ThreadInfo const& info = SimpleThread::current();
    std::string left = info.sCurrDateTime_;
    left += info.sThreadId_;
    left += '[' + log_.id() + ']';
    std::string text(entering ? "TRACE " : "TRACE~");
    text += ' ';
    indentString(text, depth, fill);
    if (depth != 0) text += ' ';
    text += SafeStr(func);
    text += '(';
    if (!info_.empty()) text += ' ' + info_ + ' ';
    text += ')';
    writeEntryLog(log_, left.c_str(), text.c_str(), "", fill);
}

}  // namespace zan
