// Sets a timer and kills it while others are pending, all of them at random times ahead.
#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <vector>

#include "zan/zan.h"

#ifdef ZAN_PEER_ASIO
#include <asio.hpp>
#endif
#ifdef ZAN_PEER_LIBUV
#include <uv.h>
#endif

namespace {

using benchmark::State;

// Milliseconds ahead, up to an hour.
std::vector<unsigned> const& spans() {
    static std::vector<unsigned> const all = [] {
        std::mt19937 random(1);
        std::vector<unsigned> v(1 << 17);
        for (unsigned& ms : v) ms = static_cast<unsigned>(1000 + random() % 3600000);
        return v;
    }();
    return all;
}
unsigned span(std::size_t i) {
    return spans()[i % spans().size()];
}

struct Nothing : zan::ITimerObject {
    zan::OnTimerResult onTimer(zan::TimerId, unsigned long, void*) override {
        return zan::OnTimerResult(zan::Time(), 1);
    }
    void onTimerRelease(zan::TimerId, unsigned long, void*) override {}
};

void timerZan(State& state) {
    auto const pending = static_cast<std::size_t>(state.range(0));
    Nothing object;
    zan::TimerManager manager;
    manager.open();
    zan::detail::zanLogger().setConsoleOn(false);
    manager.reopen(pending + 5001);
    manager.stop();  // the cost of an operation, not of the ticks beside it
    zan::TimerId id;
    for (std::size_t i = 0; i < pending; ++i)
        manager.setTimer(id, "pending", 0, span(i), &object, 1, nullptr);
    std::size_t i = pending;
    for (auto _ : state) {
        manager.setTimer(id, "timer", 0, span(i++), &object, 1, nullptr);
        manager.killTimer(id);
    }
    if (manager.size() != pending) state.SkipWithError("other result");
}
BENCHMARK(timerZan)->Name("timer/zan")->Arg(1)->Arg(5000)->Arg(100000);

#ifdef ZAN_PEER_ASIO
void timerAsio(State& state) {
    auto const pending = static_cast<std::size_t>(state.range(0));
    asio::io_context io;
    std::vector<std::unique_ptr<asio::steady_timer>> timers;
    for (std::size_t i = 0; i < pending; ++i) {
        timers.push_back(std::make_unique<asio::steady_timer>(io));
        timers.back()->expires_after(std::chrono::milliseconds(span(i)));
        timers.back()->async_wait([](asio::error_code const&) {});
    }
    asio::steady_timer timer(io);
    std::size_t i = pending;
    std::size_t cancelled = 0;
    for (auto _ : state) {
        timer.expires_after(std::chrono::milliseconds(span(i++)));
        timer.async_wait([&](asio::error_code const&) { ++cancelled; });
        timer.cancel();
        io.poll();  // the handler of a cancelled timer is run by the loop
    }
    if (cancelled != i - pending) state.SkipWithError("other result");
}
BENCHMARK(timerAsio)->Name("timer/asio")->Arg(1)->Arg(5000)->Arg(100000);
#endif

#ifdef ZAN_PEER_LIBUV
void timerLibuv(State& state) {
    auto const pending = static_cast<std::size_t>(state.range(0));
    uv_loop_t loop;
    uv_loop_init(&loop);
    uv_timer_cb const nothing = [](uv_timer_t*) {};
    std::vector<uv_timer_t> timers(pending + 1);
    for (std::size_t i = 0; i < timers.size(); ++i) {
        uv_timer_init(&loop, &timers[i]);
        if (i < pending) uv_timer_start(&timers[i], nothing, span(i), 0);
    }
    std::size_t i = pending;
    for (auto _ : state) {
        uv_timer_start(&timers.back(), nothing, span(i++), 0);
        uv_timer_stop(&timers.back());
    }
    for (uv_timer_t& timer : timers) uv_close(reinterpret_cast<uv_handle_t*>(&timer), nullptr);
    uv_run(&loop, UV_RUN_DEFAULT);
    uv_loop_close(&loop);
}
BENCHMARK(timerLibuv)->Name("timer/libuv")->Arg(1)->Arg(5000)->Arg(100000);
#endif

}  // namespace
