#include "zan/timer/timerqueue.h"

#include <atomic>
#include <set>

#include "zan/cfg/config_file.h"
#include "zan/log/log_factory.h"
#include "zan/platform/clock.h"
#include "zan/timer/callback_guard.h"
#include "zan/timer/timer_time.h"

// A debug line of one of the categories below, which begins with its source place.
#define ZAN_TIMER_LINE(category, msg)                                                             \
    do {                                                                                          \
        if (__builtin_expect((category).on(), 0) && detail::zanLogger().debugOn())                \
            ZAN_DETAIL_LINE(writeDebugLine, detail::zanLogger(), Current(ZAN_HERE) << ' ' << msg, \
                            (category).name());                                                   \
    } while (false)

namespace zan {

namespace {

detail::LogCategory const DEBUG("TIMER.DEBUG");
detail::LogCategory const TRACE("TIMER.TRACE");
detail::LogCategory const DIAG("TIMER.DIAG");

constexpr unsigned long DEFAULT_SIZE = 5000;
constexpr unsigned long POSITIONS = 0x20000;  // an id has 17 bits for them
constexpr std::uint32_t NOT_PLANNED = 0xFFFFFFFF;

std::atomic<unsigned long> g_maxNum{DEFAULT_SIZE};

// The size that the configuration asks for under `numofTimers`; `size` where it says nothing.
unsigned long configuredSize(unsigned long size) {
    ConfigFile::instance().mps()["numofTimers"] >> size;
    return size;
}

unsigned long poolSize(unsigned long n) {
    if (n > POSITIONS)
        ZAN_USER_THROW_MSG(detail::zanLogger(), zan::OutOfRangeException,
                           n << " timers, at most " << POSITIONS);
    if (n != 0) {
        g_maxNum.store(n, std::memory_order_relaxed);
        return n;
    }
    unsigned long const size = configuredSize(ZAN_TIMER_MAX_NUM());
    if (size > POSITIONS) {
        ZAN_ERROR(detail::zanLogger(), "numofTimers: " << size << " timers, at most " << POSITIONS);
        return POSITIONS;
    }
    return size < DEFAULT_SIZE ? DEFAULT_SIZE : size;
}

Time monotonic() {
    return Time::now(Time::Monotonic);
}

OnTimerResult callOnTimer(ITimerObject& object, TimerId id, unsigned long userTimerId,
                          void* param) {
    OnTimerResult result(Time(), 1);
    detail::callGuarded([&] {
        // Not straight into `result`: g++ 12 writes that even where the call throws.
        OnTimerResult const given = object.onTimer(id, userTimerId, param);
        result = given;
    });
    return result;
}

unsigned long firstChild(unsigned long at) {
    return 4 * at + 1;
}

}  // namespace

unsigned long ZAN_TIMER_MAX_NUM() {
    return g_maxNum.load(std::memory_order_relaxed);
}

TimerQueue::TimerQueue(unsigned long n, Clock clock) : clock_(clock ? clock : &monotonic) {
    unsigned long const size = poolSize(n);
    blocks_.resize(size);
    m_idStatus.resize(size);
    expired_.resize(size);
    m_heapPos.resize(size, NOT_PLANNED);
    m_timeoutQueue.reserve(size);
    for (unsigned long i = 0; i < size; ++i) {
        m_idStatus[i] = i;
        blocks_[i].m_statusPos = i;
        blocks_[i].m_nTimerID = TimerId(0xFFFFFFFF, i);
    }
    m_maxWaitTime = m_waitTime = Time::microSeconds(ZAN_TIMER_CHECK_TIME);
    m_currTime = m_lastTime = clock_();
}

TimerQueue::~TimerQueue() = default;

void TimerQueue::shut() {
    MonitorLock const guard(monitor_);
    shut_ = true;
    m_idleBeginPos = 0;
    std::vector<TimerBlock>().swap(blocks_);
    std::vector<unsigned long>().swap(m_idStatus);
    std::vector<TimerId>().swap(expired_);
    std::vector<Timeout>().swap(m_timeoutQueue);
    std::vector<std::uint32_t>().swap(m_heapPos);
}

// --- The heap

inline void TimerQueue::place(unsigned long at, Timeout t) {
    m_timeoutQueue[at] = t;
    m_heapPos[t.pos()] = static_cast<std::uint32_t>(at);
}

void TimerQueue::siftUp(unsigned long at, Timeout t) {
    while (at != 0) {
        unsigned long const parent = (at - 1) / 4;
        if (!before(t, m_timeoutQueue[parent])) break;
        place(at, m_timeoutQueue[parent]);
        at = parent;
    }
    place(at, t);
}

void TimerQueue::siftDown(unsigned long at, Timeout t) {
    unsigned long const size = m_timeoutQueue.size();
    for (unsigned long child = firstChild(at); child < size; child = firstChild(at)) {
        unsigned long const end = child + 4 < size ? child + 4 : size;
        unsigned long least = child;
        while (++child < end)
            if (before(m_timeoutQueue[child], m_timeoutQueue[least])) least = child;
        if (!before(m_timeoutQueue[least], t)) break;
        place(at, m_timeoutQueue[least]);
        at = least;
    }
    place(at, t);
}

bool TimerQueue::planned(TimerBlock const& block) const {
    return m_heapPos[block.m_nTimerID.position()] != NOT_PLANNED;
}

void TimerQueue::plan(TimerBlock& block, Time const& from, Time const& period) {
    unplan(block);
    block.m_expiredTime = detail::timerExpiry(from, period);
    Timeout const t = {block.m_expiredTime.toMicroSeconds(), block.m_nTimerID.get()};
    m_timeoutQueue.push_back(t);
    siftUp(m_timeoutQueue.size() - 1, t);
}

void TimerQueue::unplan(TimerBlock const& block) {
    std::uint32_t& at = m_heapPos[block.m_nTimerID.position()];
    if (at == NOT_PLANNED) return;
    unsigned long const hole = at;
    at = NOT_PLANNED;
    Timeout const last = m_timeoutQueue.back();
    m_timeoutQueue.pop_back();
    if (hole == m_timeoutQueue.size()) return;
    if (hole != 0 && before(last, m_timeoutQueue[(hole - 1) / 4]))
        siftUp(hole, last);
    else
        siftDown(hole, last);
}

// --- Timers

// The last tick; where that is long ago, because nobody drives the queue or a callback takes its
// time, one tick ago: no timer comes earlier than that.
Time TimerQueue::base() const {
    // Where nobody has given another clock, a cheap reading of it will do.
    Time const now =
        clock_ == &monotonic ? Time::milliSeconds(platform::coarseMilliSeconds()) : clock_();
    Time const earliest = now - m_maxWaitTime;
    return m_currTime < earliest ? earliest : m_currTime;
}

TimerBlock* TimerQueue::getTimer(TimerId id) {
    unsigned long const bid = id.position();
    ZAN_ASSERT_TEXT_DO(bid < ZAN_TIMER_MAX_NUM(), "bid<ZAN_TIMER_MAX_NUM()", "return 0",
                       return nullptr);
    // Another queue may have raised the limit.
    if (bid >= blocks_.size()) return nullptr;
    TimerBlock& block = blocks_[bid];
    return block.m_nTimerID.serial() == id.serial() ? &block : nullptr;
}

bool TimerQueue::setTimer(TimerId& id, istr const& name, unsigned long userTimerId,
                          unsigned long intervalMs, ITimerObject* object, unsigned long times,
                          void* param) {
    MonitorLock const guard(monitor_);
    if (shut_) return false;
    if (m_idleBeginPos >= ZAN_TIMER_MAX_NUM() || m_idleBeginPos >= blocks_.size()) {
        ZAN_ERROR(detail::zanLogger(), "setTimer: timer queue full, no available timer");
        return false;
    }
    TimerBlock& block = blocks_[m_idStatus[m_idleBeginPos]];
    block.name_ = name;
    ++m_idleBeginPos;
    ++block.m_nTimerID.serial_;  // from 0xFFFFFFFF to 0 at the first use
    block.m_nUserTimerID = userTimerId;
    block.m_nInterval = detail::timerPeriod(intervalMs);
    block.m_pCallBackTimerObject = object;
    block.m_unTimes = times;
    block.m_pParam = param;
    block.m_status = TimerBlock::BUSY;
    id = block.m_nTimerID;
    ZAN_TIMER_LINE(DEBUG, "setTimer: " << block);
    plan(block, base(), block.m_nInterval);
    return true;
}

bool TimerQueue::resetTimer(TimerId id, unsigned long intervalMs, unsigned long times) {
    MonitorLock const guard(monitor_);
    if (shut_) return false;
    TimerBlock* const block = getTimer(id);
    if (block == nullptr) {
        ZAN_ERROR(detail::zanLogger(), "resetTimer: invalid timer " << id);
        return false;
    }
    if (block->m_status == TimerBlock::IDLE) {
        ZAN_ERROR(detail::zanLogger(), "resetTimer: idle timer " << *block);
        return false;
    }
    block->m_unTimes = times;
    block->m_nInterval = detail::timerPeriod(intervalMs);
    block->m_status = TimerBlock::BUSY;
    ZAN_TIMER_LINE(DEBUG, "resetTimer: " << *block);
    plan(*block, base(), block->m_nInterval);
    return true;
}

void TimerQueue::killTimer(TimerId id) {
    MonitorLock const guard(monitor_);
    if (shut_) return;
    TimerBlock* const block = getTimer(id);
    if (block == nullptr || block->m_status == TimerBlock::IDLE) return;
    ZAN_TIMER_LINE(DEBUG, "killTimer: " << *block);
    release(*block);
}

// The slot is out of use before the callback, so that a callback which kills its own timer again
// finds it ended, and is given back after it, so that no timer set in there takes it over.
void TimerQueue::release(TimerBlock& block) {
    unplan(block);
    block.m_status = TimerBlock::IDLE;
    if (ITimerObject* const object = block.m_pCallBackTimerObject)
        detail::callGuarded([&] {
            object->onTimerRelease(block.m_nTimerID, block.m_nUserTimerID, block.m_pParam);
        });
    freeIdAt(block.m_statusPos);
}

void TimerQueue::freeIdAt(unsigned long pos) {
    if (pos >= m_idleBeginPos) {
        ZAN_ERROR(detail::zanLogger(), "killTimer: already free pos " << pos);
        return;
    }
    --m_idleBeginPos;
    if (pos == m_idleBeginPos) return;
    std::swap(m_idStatus[pos], m_idStatus[m_idleBeginPos]);
    std::swap(blocks_[m_idStatus[pos]].m_statusPos,
              blocks_[m_idStatus[m_idleBeginPos]].m_statusPos);
}

unsigned long TimerQueue::size() const {
    MonitorLock const guard(monitor_);
    return m_idleBeginPos;
}

// --- The driving thread

bool TimerQueue::onWait() {
    MonitorLock const guard(monitor_);
    if (!stopped_) monitor_.timedWait(m_waitTime);
    stopped_ = false;
    return true;
}

void TimerQueue::onStop() {
    MonitorLock const guard(monitor_);
    stopped_ = true;
    monitor_.notify();
}

void TimerQueue::onWork() {
    Time const now = clock_();
    MonitorLock const guard(monitor_);
    m_currTime = now;
    doCheck();
    Time spent = clock_() - m_currTime;
    if (spent > m_maxWaitTime) spent = m_maxWaitTime;
    m_waitTime = m_maxWaitTime - spent;
}

void TimerQueue::doCheck() {
    expiredCount_ = 0;
    if (m_timeoutQueue.empty()) return;
    ZAN_TIMER_LINE(DIAG, "before check, timeoutQueue size = " << m_timeoutQueue.size());
    while (!m_timeoutQueue.empty() && m_timeoutQueue[0].due <= m_currTime.toMicroSeconds()) {
        TimerBlock const& block = blocks_[m_timeoutQueue[0].pos()];
        expired_[expiredCount_++] = block.m_nTimerID;
        unplan(block);
    }
    ZAN_TIMER_LINE(DIAG, "after check, timeoutQueue size = " << m_timeoutQueue.size());
    if (expiredCount_ != 0) ZAN_TIMER_LINE(TRACE, "expired timers = " << expiredCount_);
    for (unsigned long i = 0; i < expiredCount_; ++i) onTimer(expired_[i], m_currTime);
    ZAN_TIMER_LINE(DIAG, "after check, m_timeoutQueue size = " << m_timeoutQueue.size());
}

void TimerQueue::onTimer(TimerId id, Time const& now) {
    TimerBlock& block = blocks_[id.position()];
    // A callback of this tick may have ended this timer and given its slot to another, or have
    // planned it anew: what is due then is not this firing.
    auto const same = [&] { return block.m_nTimerID.serial() == id.serial(); };
    if (!same() || planned(block)) return;
    ZAN_TIMER_LINE(TRACE, "onTimer: " << block);
    if (block.m_status != TimerBlock::BUSY) {
        ZAN_ERROR(detail::zanLogger(), "onTimer: already free timer " << block);
        return;
    }
    ITimerObject* const object = block.m_pCallBackTimerObject;
    if (object == nullptr) {
        ZAN_ERROR(detail::zanLogger(), "onTimer: null callback object for timer " << block);
        return;
    }
    if (block.m_unTimes != 0 && --block.m_unTimes == 0) {
        block.m_status = TimerBlock::PAUSED;
        ZAN_TIMER_LINE(TRACE, "set to paused " << block);
    }
    unsigned long const userTimerId = block.m_nUserTimerID;
    void* const param = block.m_pParam;
    monitor_.unlock();
    OnTimerResult const result = callOnTimer(*object, id, userTimerId, param);
    monitor_.lock();
    if (!same() || block.m_status == TimerBlock::IDLE) return;  // killed
    if (result.nextInterval != Time()) {
        block.m_nInterval = Time::milliSeconds(result.nextInterval.toMilliSeconds());
        block.m_unTimes = result.times;
        block.m_status = TimerBlock::BUSY;
        plan(block, clock_(), block.m_nInterval);
    } else if (block.m_status == TimerBlock::PAUSED) {
        ZAN_TIMER_LINE(TRACE, "release " << block);
        release(block);
    } else if (!planned(block)) {
        ZAN_TIMER_LINE(TRACE, "more times " << block);
        plan(block, now, block.m_nInterval);
    }
}

dumper& TimerQueue::dump(dumper& d) const {
    MonitorLock const guard(monitor_);
    std::set<TimeoutBlock> timeouts;
    for (Timeout const& t : m_timeoutQueue) {
        TimerBlock const& block = blocks_[t.pos()];
        timeouts.insert({block.m_expiredTime, block.m_nTimerID, &block});
    }
    dumper::_Entry const entry(d, "zan::TimerQueue");
    d << indent << namestring("m_idleBeginPos") << m_idleBeginPos << endline;
    d << indent << namestring("m_idStatus") << m_idStatus << endline;
    d << indent << namestring("m_timeoutQueue") << timeouts << endline;
    d << indent << namestring("m_currTime") << detail::timerDate(m_currTime) << endline;
    d << indent << namestring("m_lastTime") << detail::timerDate(m_lastTime) << endline;
    d << indent << namestring("m_waitTime") << rawstring(m_waitTime.toDuration()) << endline;
    d << indent << namestring("m_maxWaitTime") << rawstring(m_maxWaitTime.toDuration()) << endline;
    d << indent << namestring("ZAN_TIMER_CHECK_TIME") << ZAN_TIMER_CHECK_TIME << endline;
    d << indent << namestring("ZAN_TIMER_MAX_NUM()") << ZAN_TIMER_MAX_NUM() << endline;
    return d;
}

}  // namespace zan
