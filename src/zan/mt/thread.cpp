#include "zan/mt/thread.h"

#include <cstdlib>
#include <iomanip>
#include <ostream>
#include <sstream>

#include "zan/base/date_text.h"
#include "zan/base/mlcheck.h"
#include "zan/base/source_place.h"
#include "zan/log/log_tracer.h"
#include "zan/mt/thread_record.h"
#include "zan/mt/threadexception.h"
#include "zan/platform/thread.h"

// Reports and throws one of the exceptions that carry no text of their own.
#define ZAN_THROW_THREAD(Type)                                         \
    do {                                                               \
        exceptionThrown(detail::zanLogger(), ZAN_HERE, "zan::" #Type); \
        throw Type(ZAN_HERE);                                          \
    } while (false)
#define ZAN_THROW_SYSCALL(error)                                                       \
    do {                                                                               \
        exceptionThrown(detail::zanLogger(), ZAN_HERE, "zan::ThreadSyscallException"); \
        throw ThreadSyscallException(ZAN_HERE, error);                                 \
    } while (false)

namespace zan {

std::ostream& operator<<(std::ostream& os, ThreadId const& id) {
    return os << std::setw(4) << id.value;
}

// --- WinHandleWrapper, ThreadControl

WinHandleWrapper::WinHandleWrapper()
    : handle_(std::make_unique<platform::ThreadHandle>()), own_(true) {}

WinHandleWrapper::WinHandleWrapper(platform::ThreadHandle&& handle, bool own)
    : handle_(std::make_unique<platform::ThreadHandle>(std::move(handle))), own_(own) {}

WinHandleWrapper::~WinHandleWrapper() {
    if (own_) handle_->close();
}

ThreadControl::ThreadControl()
    : handle_(ZAN_NEW(WinHandleWrapper(platform::ThreadHandle::current(), false))),
      id_(platform::threadId()) {}

ThreadControl::ThreadControl(Handle<WinHandleWrapper> const& handle, ThreadId id)
    : handle_(handle), id_(id) {}

ThreadControl::ThreadControl(ThreadControl const& other)
    : handle_(other.handle()), id_(other.id_) {}

ThreadControl& ThreadControl::operator=(ThreadControl const& other) {
    if (this == &other) return *this;
    Handle<WinHandleWrapper> const handle = other.handle();
    MutexLock const guard(mutex_);
    handle_ = handle;
    id_ = other.id_;
    return *this;
}

Handle<WinHandleWrapper> ThreadControl::handle() const {
    MutexLock const guard(mutex_);
    return handle_;
}

void ThreadControl::join() {
    if (int const error = handle()->impl().join()) ZAN_THROW_SYSCALL(error);
}

bool ThreadControl::isAlive() const {
    return handle()->impl().alive();
}

void ThreadControl::sleep(Time const& t) {
    t.sleep();
}

void ThreadControl::yield() {
    platform::yieldThread();
}

void sleep(unsigned long milliseconds) {
    ThreadControl::sleep(Time::milliSeconds(static_cast<__int64>(milliseconds)));
}

// --- Thread

Thread::Thread() : handle_(ZAN_NEW(WinHandleWrapper)) {}

Thread::~Thread() = default;

void Thread::entry(void* self) {
    std::srand(static_cast<unsigned int>(Time::now().toMicroSeconds()));
    Handle<Thread> const thread(static_cast<Thread*>(self));
    thread->__SubRef();  // the reference that start() has added
    thread->run_i();
}

ThreadControl Thread::start(unsigned int stackSize) {
    Handle<Thread> const self(this);
    MutexLock const guard(mutex_);
    if (started_) ZAN_THROW_THREAD(ThreadStartedException);
    __AddRef();
    platform::ThreadHandle handle;
    if (int const error = platform::ThreadHandle::start(&Thread::entry, this, stackSize, handle)) {
        __SubRef();
        ZAN_THROW_SYSCALL(error);
    }
    id_ = ThreadId(handle.id());
    handle_ = ZAN_NEW(WinHandleWrapper(std::move(handle), true));
    started_ = true;
    return ThreadControl(handle_, id_);
}

ThreadControl Thread::getThreadControl() const {
    MutexLock const guard(mutex_);
    if (!started_) ZAN_THROW_THREAD(ThreadNotStartedException);
    return ThreadControl(handle_, id_);
}

ThreadId Thread::id() const {
    MutexLock const guard(mutex_);
    if (!started_) ZAN_THROW_THREAD(ThreadNotStartedException);
    return id_;
}

bool Thread::started() const {
    MutexLock const guard(mutex_);
    return started_;
}

bool operator==(Thread const& a, Thread const& b) {
    return a.id() == b.id();
}
bool operator!=(Thread const& a, Thread const& b) {
    return !(a == b);
}
bool operator<(Thread const& a, Thread const& b) {
    return a.id() < b.id();
}

// --- ThreadInfo, ThreadFactory

String threadText(unsigned int pid, ThreadId id, bool simple) {
    std::ostringstream os;
    os << (simple ? '{' : '<') << std::setw(4) << pid << '.' << id << (simple ? '}' : '>');
    return os.str();
}

void ThreadInfo::updateDateTime() {
    Time const now = Time::now();
    if (now == currDateTime_) return;
    __int64 const before = currDateTime_.toSeconds();
    currDateTime_ = now;
    __int64 const second = now.toSeconds();
    if (second == before && sCurrDateTime_.size() == detail::DATE_TEXT_SIZE && second > 0) {
        // Within one second only the last three digits change.
        unsigned int ms = static_cast<unsigned int>(now.toMicroSeconds() - second * 1000000) / 1000;
        for (unsigned long i = detail::DATE_TEXT_SIZE; i-- > detail::DATE_TEXT_SIZE - 3; ms /= 10)
            sCurrDateTime_[i] = static_cast<char>('0' + ms % 10);
        return;
    }
    char text[detail::DATE_TEXT_SIZE];
    if (detail::dateText(now, text))
        sCurrDateTime_.assign(text, sizeof(text));
    else
        sCurrDateTime_ = now.toDateTime();
}

dumper& ThreadInfo::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::ThreadInfo");
    d << indent << namestring("sThreadId_") << sThreadId_ << endline;
    d << indent << namestring("currDateTime_") << currDateTime_ << endline;
    d << indent << namestring("sCurrDateTime_") << sCurrDateTime_ << endline;
    d << indent << namestring("thread_");
    if (thread_ != nullptr)
        thread_->dump(d);
    else
        d << rawstring("null");
    return d << endline;
}

std::ostream& operator<<(std::ostream& os, ThreadInfo const& info) {
    return os << static_cast<std::string const&>(info.sCurrDateTime_)
              << static_cast<std::string const&>(info.sThreadId_);
}

namespace {

__thread ThreadRecord* t_record = nullptr;

// A record listed in an older table enters itself in the present one.
std::atomic<unsigned int> g_generation{1};

void freeRecord(void*) {
    ThreadRecord* const record = t_record;
    if (record == nullptr) return;
    ThreadFactory::instance().unlist(*record);
    t_record = nullptr;
    delete record;
}

}  // namespace

ThreadRecord& ThreadRecord::current() {
    if (t_record == nullptr) {
        UncheckedBlocks const lifelong;  // in the main thread
        t_record = new ThreadRecord;
        t_record->info.sCurrDateTime_.reserve(detail::DATE_TEXT_SIZE);
        platform::atThreadExit(&freeRecord, nullptr);
    }
    return *t_record;
}

void ThreadRecord::name() {
    id = ThreadId(platform::threadId());
    pid = platform::processId();
    info.sThreadId_ = threadText(pid, id, info.thread_ != nullptr);
}

ThreadFactory& ThreadFactory::instance() {
    static ThreadFactory& factory = detail::lifelong(
        [] { return new ThreadFactory; });  // threads may end after everything else
    return factory;
}

void ThreadFactory::destroy() {
    // The records belong to their threads: they stay, and come back into the next table.
    g_generation.fetch_add(1, std::memory_order_acq_rel);
    MutexLock const guard(instance().mutex_);
    instance().records_.clear();
}

ThreadInfo const& ThreadFactory::current() {
    ThreadRecord& record = ThreadRecord::current();
    unsigned int const generation = g_generation.load(std::memory_order_acquire);
    if (record.pid != platform::processId() || record.listedIn != generation) {
        record.name();
        instance().list(record);
        record.listedIn = generation;
    }
    record.info.updateDateTime();
    record.lastLine.store(record.info.currDateTime_.toMicroSeconds(), std::memory_order_relaxed);
    return record.info;
}

void ThreadFactory::bind(SimpleThread* thread) {
    ThreadRecord& record = ThreadRecord::current();
    instance().unlist(record);
    record.info.thread_ = thread;
    record.listedIn = 0;  // named and listed anew at the next use
}

void ThreadFactory::list(ThreadRecord& record) {
    MutexLock const guard(mutex_);
    UncheckedBlocks const lifelong;  // some threads end behind all else
    records_[record.id] = &record;
}

void ThreadFactory::unlist(ThreadRecord& record) {
    MutexLock const guard(mutex_);
    auto const it = records_.find(record.id);
    if (it != records_.end() && it->second == &record) records_.erase(it);
}

dumper& ThreadFactory::dump(dumper& d) const {
    // The threads go on writing their own records: what is shown of them is what they publish.
    std::map<ThreadId, ThreadInfo> infos;
    dumper::_Entry const entry(d, "zan::ThreadFactory");
    MutexLock const guard(mutex_);
    for (auto const& item : records_) {
        ThreadInfo& info = infos[item.first];
        info.thread_ = item.second->info.thread_;
        info.sThreadId_ = item.second->info.sThreadId_;
        info.currDateTime_ =
            Time::microSeconds(item.second->lastLine.load(std::memory_order_relaxed));
        info.sCurrDateTime_ = info.currDateTime_.toDateTime();
    }
    return d << indent << namestring("threads_") << infos << endline;
}

dumper& operator<<(dumper& d, THREAD_FACTORY) {
    return ThreadFactory::instance().dump(d);
}

// --- ThreadOwner

ThreadOwner::ThreadOwner(char const* name) : ownername_(name) {}

ThreadOwner::~ThreadOwner() {
    if (!ownername_.empty())
        ZAN_INFO(detail::zanLogger(), "thread owner " << ownername_ << " finalized");
}

// --- SimpleThread

SimpleThread::SimpleThread(ThreadOwner* owner, char const* name)
    : owner_(owner), name_(name), fullname_(name) {
    ZAN_TRACE_ENTRY_INFO(detail::zanLogger(), name_);
}

SimpleThread::~SimpleThread() {
    ZAN_INFO(detail::zanLogger(), fullname() << " thread finalized.");
}

void SimpleThread::startAndWait(unsigned int stackSize) {
    // Held from before the start until the wait, so the wake-up cannot be missed.
    MonitorLock const guard(monitor_);
    start(stackSize);
    // Others may notify the thread at any time; what counts is its own birth.
    while (!born_) monitor_.wait();
}

bool SimpleThread::startAndWait(Time timeout, unsigned int stackSize) {
    MonitorLock const guard(monitor_);
    start(stackSize);
    Time const begin = Time::now(Time::Monotonic);
    while (!born_) {
        Time const passed = Time::now(Time::Monotonic) - begin;
        if (passed >= timeout) return false;
        monitor_.timedWait(timeout - passed);
    }
    return true;
}

void SimpleThread::stopOnly() {
    ZAN_INFO(detail::zanLogger(), fullname() << " thread stopping only...");
    livingEnd();
}

void SimpleThread::stop() {
    if (finished_) {
        ZAN_INFO(detail::zanLogger(), fullname() << " thread already stopped.");
        return;
    }
    ZAN_TRACE_SCOPE_INFO(detail::zanLogger(), fullname());
    Handle<SimpleThread> const self(this);
    onStop_i();
    if (started()) {
        join();
        ZAN_INFO(detail::zanLogger(), fullname() << " thread stopped.");
    } else {
        ZAN_INFO(detail::zanLogger(), fullname() << " thread not started.");
    }
}

bool SimpleThread::stop(Time timeout) {
    if (finished_) {
        ZAN_INFO(detail::zanLogger(), fullname() << "(" << timeout << ") thread already stopped.");
        return true;
    }
    ZAN_TRACE_SCOPE_INFO(detail::zanLogger(), fullname() << "(" << timeout << ")");
    Handle<SimpleThread> const self(this);
    onStop_i();
    if (started()) return join(timeout);
    ZAN_INFO(detail::zanLogger(), fullname() << " thread not started.");
    return true;
}

void SimpleThread::join() {
    ThreadControl threadControl = getThreadControl();
    ZAN_ASSERT_TEXT_DO(threadControl != ThreadControl::current(),
                       "threadControl!=ThreadControl::current()", "return", return );
    ThreadControl::yield();
    threadControl.join();
}

bool SimpleThread::join(Time timeout) {
    Time const step = Time::milliSeconds(20);
    if (timeout < step) timeout = step;
    // A wait must not end early or late because somebody sets the clock.
    Time const begin = Time::now(Time::Monotonic);
    ThreadControl const control = getThreadControl();
    while (Time::now(Time::Monotonic) - begin < timeout) {
        if (!control.isAlive()) {
            join();
            ZAN_INFO(detail::zanLogger(), fullname() << " thread stopped.");
            return true;
        }
        ThreadControl::sleep(step);
        ThreadControl::yield();
    }
    detach();
    ZAN_WARNING(detail::zanLogger(), fullname() << " thread not stopped in " << timeout);
    return false;
}

void SimpleThread::livingEnd() {
    Handle<SimpleThread> const self(this);
    living_.store(false, std::memory_order_release);
    notify();
    onStop();
}

void SimpleThread::wait() const {
    MonitorLock const guard(monitor_);
    if (living()) monitor_.wait();
}

bool SimpleThread::wait(Time const& t) const {
    MonitorLock const guard(monitor_);
    return !living() || monitor_.timedWait(t);
}

void SimpleThread::notify() {
    MonitorLock const guard(monitor_);
    if (inRun_ && ThreadRecord::current().info.thread_ == this) born_ = true;
    monitor_.notifyAll();
}

void SimpleThread::living(bool on) {
    if (on)
        ZAN_USER_THROW_MSG(detail::zanLogger(), zan::InvalidDataException,
                           "living(true) is not expected");
    living_.store(false, std::memory_order_release);
}

ThreadOwner* SimpleThread::owner() const {
    MutexLock const guard(ownerMutex_);
    return owner_;
}

void SimpleThread::owner(ThreadOwner* owner) {
    MutexLock const guard(ownerMutex_);
    owner_ = owner;
}

String const& SimpleThread::fullname() const {
    return named_.load(std::memory_order_acquire) ? fullname_ : name_;
}

ThreadInfo const& SimpleThread::info() const {
    if (id() == ThreadId(platform::threadId())) return current();
    return completeInfo();
}

// What other threads see is made once and stays as it is, as long as the object: the thread itself
// goes on writing its own record.
ThreadInfo const& SimpleThread::completeInfo() const {
    ThreadId const own = id();
    MutexLock const guard(ownerMutex_);
    if (info_.sThreadId_.empty()) {
        info_.thread_ = const_cast<SimpleThread*>(this);
        info_.sThreadId_ = threadText(platform::processId(), own, true);
        info_.updateDateTime();
    }
    return info_;
}

ThreadInfo const& SimpleThread::current() {
    return ThreadFactory::current();
}

void SimpleThread::destroyThreadFactory() {
    ThreadFactory::destroy();
}

dumper& SimpleThread::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::SimpleThread");
    d << indent << namestring("name()") << name() << endline;
    d << indent << namestring("fullname()") << fullname() << endline;
    d << indent << namestring("started()") << started() << endline;
    d << indent << namestring("living()") << living() << endline;
    d << indent << namestring("activeStopping()") << activeStopping() << endline;
    d << indent << namestring("refcount") << __GetRef() << endline;
    return d;
}

void SimpleThread::run_i() {
    Handle<SimpleThread> self(this);
    ThreadFactory::bind(this);
    fullname_ += ThreadFactory::current().sThreadId_;
    named_.store(true, std::memory_order_release);
    detail::zanLogger().flush();
    {
        ZAN_TRACE_FRAME(detail::zanLogger());
        ZAN_INFO(detail::zanLogger(), "thread begin.");
        // The starter reaches its wait.
        ThreadControl::yield();
        sleep(1);
        inRun_ = true;
        run();
        living_.store(false, std::memory_order_release);
        notify();
        on_thread_exit();
        ZAN_INFO(detail::zanLogger(), "thread end.");
        finished_ = true;
    }
    ThreadFactory::bind(nullptr);
}

void SimpleThread::run() {
    ZAN_TRACE_ENTRY_INFO(detail::zanLogger(), name_);
    if (onBirth_i()) {
        while (living()) {
            if (!onWait_i() || !living()) continue;
            current();
            onWork_i();
        }
    }
    onDeath_i();
}

void SimpleThread::onWork() {
    if (onLoop()) return;
    living_.store(false, std::memory_order_release);
    notify();
}

bool SimpleThread::onBirth_i() {
    ZAN_TRACE_FRAME(detail::zanLogger());
    bool const born = onBirth();
    if (!born) living_.store(false, std::memory_order_release);
    notify();
    if (!born) ZAN_INFO(detail::zanLogger(), "thread begin failure, won't enter run loop.");
    return born;
}

bool SimpleThread::onWait_i() {
    ZAN_TRACE_FRAME(detail::zanLogger());
    if (onWait()) return true;
    ZAN_INFO(detail::zanLogger(), "wait failure, won't exec onWork().");
    return false;
}

void SimpleThread::onWork_i() {
    ZAN_TRACE_FRAME(detail::zanLogger());
    onWork();
}

void SimpleThread::onDeath_i() {
    ZAN_TRACE_FRAME(detail::zanLogger());
    onDeath();
}

void SimpleThread::onStop_i() {
    ZAN_INFO(detail::zanLogger(), fullname() << " thread stopping...");
    activeStopping_.store(true, std::memory_order_release);
    livingEnd();
}

void SimpleThread::on_thread_exit() {
    if (activeStopping()) return;
    ThreadOwner* const owner = this->owner();
    if (owner == nullptr) return;
    ZAN_INFO(detail::zanLogger(), "notify owner(" << owner->ownername() << ") thread exit");
    owner->onThreadExit(this);
}

void STAThread::run_i() {
    SimpleThread::run_i();
}

void MTAThread::run_i() {
    SimpleThread::run_i();
}

}  // namespace zan
