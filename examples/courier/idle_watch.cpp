#include "idle_watch.h"

#include <algorithm>

namespace courier {

bool IdleWatch::start(zan::TcpServer& server, LastHeard lastHeard, unsigned long seconds) {
    if (seconds == 0) return true;
    {
        std::lock_guard<std::mutex> const guard(mutex_);
        server_ = &server;
        lastHeard_ = std::move(lastHeard);
        limit_ = zan::Time::seconds(static_cast<long>(seconds));
    }
    unsigned long const period = std::min(seconds, 600UL) * 100;  // milliseconds
    return zan::TimerManager::instance()->setTimer(timer_, "courier.idle", 0, period, this, 0,
                                                   nullptr);
}

void IdleWatch::stop() {
    zan::TimerManager::instance()->killTimer(timer_);
    // A sweep that is under way ends first, and a later one finds nothing.
    std::lock_guard<std::mutex> const guard(mutex_);
    server_ = nullptr;
    firstSeen_.clear();
}

zan::OnTimerResult IdleWatch::onTimer(zan::TimerId, unsigned long, void*) {
    sweep();
    return {zan::Time(), 1};  // as planned
}

void IdleWatch::sweep() {
    std::lock_guard<std::mutex> const guard(mutex_);
    if (server_ == nullptr) return;
    zan::Time const now = zan::Time::now(zan::Time::Monotonic);
    std::map<zan::TcpAddr, zan::Time> seen;
    for (zan::TcpAddr const& client : server_->clients()) {
        auto const known = firstSeen_.find(client);
        zan::Time const first = known == firstSeen_.end() ? now : known->second;
        seen[client] = first;
        if (now - std::max(first, lastHeard_(client)) < limit_) continue;
        ZAN_INFO(zan::logger_factory::instance(zan::LOGGER_ID), "closing " << client << ", idle");
        server_->disconnect(client);
    }
    firstSeen_.swap(seen);
}

}  // namespace courier
