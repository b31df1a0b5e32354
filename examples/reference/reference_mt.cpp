#include "example.h"

namespace {
struct Session : zan::Shared {
    ~Session() override { std::cout << "session ends\n"; }
    int requests = 0;
};
}  // namespace

EXAMPLE(Handle) {
    // also: Shared, SmartPtrBase
    // struct Session : zan::Shared { ~Session() override; int requests = 0; };
    zan::Handle<Session> first(new Session);
    zan::Handle<Session> second = first;
    ++second->requests;
    first = nullptr;
    std::cout << second->requests << " request\n";
    second = nullptr;
}

EXAMPLE(Mutex) {
    // also: LockGuard, noncopyable
    zan::Mutex mutex;
    int total = 0;
    {
        zan::MutexLock const guard(mutex);
        ++total;
    }
    std::cout << total << ' ' << mutex.tryLock() << '\n';
    mutex.unlock();
}

namespace {
class Worker : public zan::SimpleThread {
public:
    using SimpleThread::SimpleThread;

protected:
    bool onBirth() override { return std::cout << "birth\n", true; }
    void onWork() override {
        std::cout << "work\n";
        livingEnd();
    }
    void onDeath() override { std::cout << "death\n"; }
};
}  // namespace

EXAMPLE(SimpleThread) {
    // also: Thread, ThreadControl, ThreadId, ThreadInfo, STAThread, MTAThread
    // also: WinHandleWrapper
    // Worker overrides onBirth(), onWork() and onDeath(); each prints its name, and onWork() calls
    // livingEnd().
    zan::Handle<Worker> const worker(new Worker(nullptr, "worker"));
    worker->start();
    worker->join();
    std::cout << worker->name() << " has ended\n";
}

namespace {
class Service : public zan::ThreadOwner {
public:
    Service() : ThreadOwner("service"), thread_(new zan::OwnedThread<Service>(this, "service")) {
        thread_->onLoop_ = &Service::once;
    }
    void run() {
        thread_->start();
        thread_->join();
    }
    void onThreadExit(zan::Thread*) override { std::cout << "the thread has ended\n"; }

private:
    bool once() { return std::cout << "one round\n", false; }

    zan::Handle<zan::OwnedThread<Service>> thread_;
};
}  // namespace

EXAMPLE(OwnedThread) {
    // also: ThreadOwner
    // Service holds a Handle<OwnedThread<Service>>, whose onLoop_ is &Service::once.
    Service service;
    service.run();
}

EXAMPLE(AsyncThreadManager) {
    zan::AsyncThreadManager jobs("jobs");
    zan::Handle<Worker> const job(new Worker(nullptr, "job"));
    jobs.put(job);
    job->start();
    job->join();
    jobs.close();
    std::cout << jobs.size() << " left\n";
}

EXAMPLE(Monitor) {
    zan::Monitor monitor;
    bool ready = false;
    monitor.lock();
    bool const woken = ready || monitor.timedWait(zan::Time::milliSeconds(10));
    monitor.unlock();
    std::cout << woken << '\n';
}

EXAMPLE(map) {
    // also: set
    zan::mt::map<int, zan::String> users;
    users[7] = "Anna";
    zan::String name;
    if (users.find(7, name)) std::cout << name << '\n';
    users.erase(7);
    std::cout << users.size() << '\n';
}

EXAMPLE(ThreadStartedException) {
    // also: ThreadNotStartedException, ThreadSyscallException, ThreadLockedException
    // also: DeadlockException
    zan::Handle<zan::SimpleThread> const thread(new Worker(nullptr, "late"));
    try {
        thread->getThreadControl();
    } catch (zan::ThreadNotStartedException const& e) {
        std::cout << e.name() << '\n';
    }
}

int main() {
    return reference::run("reference_mt.log");
}
