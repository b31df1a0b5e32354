#include "example.h"

namespace {
struct Beat : zan::ITimerObject {
    zan::OnTimerResult onTimer(zan::TimerId, unsigned long user, void*) override {
        std::cout << "beat " << user << '\n';
        return zan::OnTimerResult(zan::Time(), 1);  // go on as planned
    }
    void onTimerRelease(zan::TimerId, unsigned long, void*) override {
        zan::MutexLock const guard(mutex);
        released = true;
    }
    bool over() const {
        zan::MutexLock const guard(mutex);
        return released;
    }
    zan::Mutex mutex;
    bool released = false;
};
}  // namespace

EXAMPLE(TimerManager) {
    // also: ITimerObject, TimerId, OnTimerResult, TimerQueue, TimeoutThread
    // Beat derives from ITimerObject; its onTimer() prints the number.
    Beat beat;
    zan::TimerId id;
    zan::TimerManager::instance()->setTimer(id, "beat", 7, 50, &beat, 2, nullptr);
    while (!beat.over()) zan::sleep(10);
}

EXAMPLE(TimerUserThread) {
    Beat beat;
    zan::Handle<zan::TimerUserThread> const thread(
        new zan::TimerUserThread(&beat, "beat", 5, 2, 9, nullptr));
    thread->start();
    thread->join();
}

EXAMPLE(TimerCallbackBlock) {
    // also: TimerBlock, TimeoutBlock
    Beat beat;
    zan::TimerBlock block;
    block.m_pCallBackTimerObject = &beat;
    block.m_nUserTimerID = 8;
    zan::TimerCallbackBlock later(zan::TimerCallbackBlock::ON_TIMER, &block);
    later.exec();
}

EXAMPLE(TimeCounter) {
    zan::TimeCounter requests;
    requests.go(zan::Time::milliSeconds(20));
    requests.go(zan::Time::milliSeconds(30));
    std::cout << requests.num << " in " << requests.total.toMilliSeconds() << " ms\n";
}

int main() {
    return reference::run("reference_timer.log");
}
