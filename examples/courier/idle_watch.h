#pragma once

#include <zan/zan.h>

#include <functional>
#include <map>
#include <mutex>

namespace courier {

// Closes connections that have been silent for too long, those too on which nothing ever came. One
// timer looks at all of them, ten times in the time-out and once a minute at least, so that a
// message costs no timer call.
//
// Made ahead of zan::InitFini: the timer thread may be in a callback until the library has stopped.
class IdleWatch : public zan::ITimerObject {
public:
    // When the last message of that client came; Time() where none has.
    using LastHeard = std::function<zan::Time(zan::TcpAddr const&)>;

    // `seconds` 0 watches nothing. False where there is no timer to be had.
    bool start(zan::TcpServer& server, LastHeard lastHeard, unsigned long seconds);
    void stop();

    zan::OnTimerResult onTimer(zan::TimerId id, unsigned long, void*) override;
    void onTimerRelease(zan::TimerId, unsigned long, void*) override {}

private:
    void sweep();

    zan::TimerId timer_;
    std::mutex mutex_;  // guards what follows
    zan::TcpServer* server_ = nullptr;
    LastHeard lastHeard_;
    zan::Time limit_;
    std::map<zan::TcpAddr, zan::Time> firstSeen_;
};

}  // namespace courier
