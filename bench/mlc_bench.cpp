// A small object made and freed, tracked and plain.

#include <benchmark/benchmark.h>

#include "zan/base/mlcheck.h"
#include "zan/base/source_place.h"
#include "zan/log/console.h"
#include "zan/log/log_factory.h"
#include "zan/log/log_logger.h"

namespace {

struct Small {
    long data[4];
};

void plain(benchmark::State& state) {
    for (auto _ : state) {
        auto* p = new Small;
        benchmark::DoNotOptimize(p);
        delete p;
    }
}

void tracked(benchmark::State& state) {
    for (auto _ : state) {
        auto* p = ZAN_NEW(Small);
        benchmark::DoNotOptimize(p);
        ZAN_DELETE(p);
    }
}

// The book runs around all threads of a measurement.
zan::MemLeakChecker::Helper* helper = nullptr;

void start(benchmark::State const&) {
    zan::console::setOn(false);
    zan::logger& log = zan::logger_factory::instance(zan::LOGGER_ID);
    log.setAppLog("MLC", true);
    helper = new zan::MemLeakChecker::Helper;
}

void stop(benchmark::State const&) {
    delete helper;
}

void running(benchmark::State& state) {
    if (!zan::MemLeakChecker::running()) state.SkipWithError("the book does not run");
    tracked(state);
}

BENCHMARK(tracked)->Name("tracked_stopped/zan");
BENCHMARK(plain)->Name("tracked_stopped/plain");
BENCHMARK(running)
    ->Name("tracked_running/zan")
    ->Setup(start)
    ->Teardown(stop)
    ->Threads(1)
    ->Threads(4)
    ->UseRealTime();
BENCHMARK(plain)->Name("tracked_running/plain")->Threads(1)->Threads(4)->UseRealTime();

}  // namespace
