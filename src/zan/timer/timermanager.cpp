#include "zan/timer/timermanager.h"

#include <ostream>

#include "zan/log/log_entry.h"
#include "zan/log/log_tracer.h"
#include "zan/util/singleton_t.h"

namespace zan {

namespace {

using Holder = Singleton<TimerManager>;

}  // namespace

// --- TimeoutThread

TimeoutThread::TimeoutThread(TimerManager* owner, char const* name) : OwnedThread(owner, name) {
    detail::logPlainLine(detail::zanLogger(), String("num of timers = ") << ZAN_TIMER_MAX_NUM());
}

bool TimeoutThread::onWait() {
    auto* const manager = static_cast<TimerManager*>(owner());
    return manager != nullptr && manager->onWait();
}

void TimeoutThread::onWork() {
    if (auto* const manager = static_cast<TimerManager*>(owner())) manager->onWork();
}

void TimeoutThread::onStop() {
    if (auto* const manager = static_cast<TimerManager*>(owner())) manager->onStop();
}

dumper& TimeoutThread::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::TimeoutThread");
    if (auto const* const manager = static_cast<TimerManager const*>(owner()))
        d << indent << namestring("timerManager") << *manager << endline;
    return d;
}

// --- TimerManager

TimerManager*& TimerManager::instance() {
    return Holder::instance(__FILE__, __LINE__, "zan::TimerManager::instance");
}

void TimerManager::destroy() {
    Holder::destroy();
}

TimerManager::TimerManager() {
    open();
}

TimerManager::~TimerManager() {
    close();
    for (TimerQueue* const queue : closed_) ZAN_DELETE(queue);
}

Handle<TimeoutThread> TimerManager::thread() const {
    MutexLock const guard(mutex_);
    return thread_;
}

// A callback that stops its own thread would wait for itself.
bool TimerManager::onTimerThread() const {
    Handle<TimeoutThread> const thread = this->thread();
    return thread.get() != nullptr && thread->started() &&
           thread->id() == ThreadControl::current().id();
}

void TimerManager::open() {
    if (queue() == nullptr) open(0);
}

void TimerManager::open(unsigned long n) {
    closed_.reserve(closed_.size() + 1);  // for its close()
    m_timerQueue.store(ZAN_NEW(TimerQueue(n)), std::memory_order_release);
}

void TimerManager::close() {
    ZAN_ASSERT_TEXT_DO(!onTimerThread(), "!onTimerThread()", "return", return );
    TimerQueue* const closing = queue();
    if (closing == nullptr) return;
    stop();
    m_timerQueue.store(nullptr, std::memory_order_release);
    closing->shut();
    closed_.push_back(closing);
}

void TimerManager::reopen(unsigned long numofTimers) {
    ZAN_TRACE_ENTRY(detail::zanLogger());
    ZAN_ASSERT_TEXT_DO(!onTimerThread(), "!onTimerThread()", "return", return );
    if (numofTimers != 0 && numofTimers != ZAN_TIMER_MAX_NUM()) {
        if (unsigned long const used = size())
            ZAN_WARNING(detail::zanLogger(), used << " timers started.");
        close();
        open(numofTimers);
    }
    start();
}

void TimerManager::start() {
    ZAN_TRACE_ENTRY(detail::zanLogger());
    if (thread().get() != nullptr) return;
    open();
    Handle<TimeoutThread> const thread(ZAN_NEW(TimeoutThread(this, "timer")));
    {
        MutexLock const guard(mutex_);
        thread_ = thread;
    }
    thread->startAndWait(0);
}

void TimerManager::stop() {
    ZAN_TRACE_ENTRY(detail::zanLogger());
    ZAN_ASSERT_TEXT_DO(!onTimerThread(), "!onTimerThread()", "return", return );
    Handle<TimeoutThread> thread = this->thread();
    if (thread.get() == nullptr) return;
    thread->stop();
    MutexLock const guard(mutex_);
    thread_ = nullptr;
}

bool TimerManager::setTimer(TimerId& id, istr const& name, unsigned long userTimerId,
                            unsigned long intervalMs, ITimerObject* object, unsigned long times,
                            void* param) {
    TimerQueue* const q = queue();
    return q != nullptr && q->setTimer(id, name, userTimerId, intervalMs, object, times, param);
}

bool TimerManager::resetTimer(TimerId id, unsigned long intervalMs, unsigned long times) {
    TimerQueue* const q = queue();
    return q != nullptr && q->resetTimer(id, intervalMs, times);
}

void TimerManager::killTimer(TimerId id) {
    if (TimerQueue* const q = queue()) q->killTimer(id);
}

unsigned long TimerManager::size() const {
    TimerQueue const* const q = queue();
    return q != nullptr ? q->size() : 0;
}

void TimerManager::onThreadExit(Thread* t) {
    Handle<TimeoutThread> ended;
    MutexLock guard(mutex_);
    if (thread_.get() == t) ended.swap(thread_);
    guard.unlock();  // ahead of the handle, whose object logs its end
}

// The hooks run while the thread does, so while there is a queue.

bool TimerManager::onWait() {
    TimerQueue* const q = queue();
    return q != nullptr && q->onWait();
}

void TimerManager::onWork() {
    if (TimerQueue* const q = queue()) q->onWork();
}

void TimerManager::onStop() {
    if (TimerQueue* const q = queue()) q->onStop();
}

dumper& TimerManager::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::TimerManager");
    d << indent << namestring("*m_timerQueue");
    if (TimerQueue const* const q = queue())
        d << *q << endline;
    else
        d << rawstring("null") << endline;
    return d;
}

std::ostream& TimerManager::dump(std::ostream& os) const {
    dumper d(os);
    dump(d);
    return os;
}

}  // namespace zan
