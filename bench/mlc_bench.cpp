// A small object made and freed, tracked and plain; and a program that allocates hard, as it is and
// with all its allocations recorded.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "rounds.h"
#include "zan/base/mlcheck.h"
#include "zan/base/source_place.h"
#include "zan/log/console.h"
#include "zan/log/log_factory.h"
#include "zan/log/log_logger.h"

namespace {

struct Small {
    long data[4];
};

// In the loop, both of them.
[[gnu::always_inline]] inline void plainOnce() {
    auto* p = new Small;
    benchmark::DoNotOptimize(p);
    delete p;
}
[[gnu::always_inline]] inline void trackedOnce() {
    auto* p = ZAN_NEW(Small);
    benchmark::DoNotOptimize(p);
    ZAN_DELETE(p);
}

void plain(benchmark::State& state) {
    for (auto _ : state) plainOnce();
}
void tracked(benchmark::State& state) {
    for (auto _ : state) trackedOnce();
}

template <class Work>
bench::Rounds::Prepare stopped(Work work) {
    return [=] {
        return [=] {
            constexpr int TIMES = 200000;
            auto const begin = std::chrono::steady_clock::now();
            for (int i = 0; i < TIMES; ++i) work();
            std::chrono::duration<double> const took = std::chrono::steady_clock::now() - begin;
            return took.count() / TIMES;
        };
    };
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

BENCHMARK(running)
    ->Name("tracked_running/zan")
    ->Setup(start)
    ->Teardown(stop)
    ->Threads(1)
    ->Threads(4)
    ->UseRealTime();
BENCHMARK(plain)->Name("tracked_running/plain")->Threads(1)->Threads(4)->UseRealTime();

// bench/programs/pml_tree.cpp under these settings: the time from its start to its end, the report
// included, or its peak memory.
struct Run {
    double seconds;
    double bytes;
};
using Settings = std::vector<std::pair<char const*, char const*>>;

bool run(char const* program, Settings const& settings, Run& out) {
    auto const begin = std::chrono::steady_clock::now();
    pid_t const child = fork();
    if (child == 0) {
        for (auto const& [name, value] : settings) setenv(name, value, 1);
        execl(program, program, static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    rusage used = {};
    if (wait4(child, &status, 0, &used) != child || status != 0) return false;
    std::chrono::duration<double> const took = std::chrono::steady_clock::now() - begin;
    out = {took.count(), static_cast<double>(used.ru_maxrss) * 1024};
    return true;
}

void add(bench::Rounds& rounds, char const* name, char const* path, Settings const& settings) {
    rounds.add(name, [=] {
        return [=] {
            Run done = {};
            return run(path, settings, done) ? done.seconds : -1;
        };
    });
}
void addMemory(char const* name, char const* path, Settings const& settings) {
    benchmark::RegisterBenchmark(name, [=](benchmark::State& state) {
        Run done = {};
        for (auto _ : state)
            if (!run(path, settings, done)) return state.SkipWithError("the program has failed");
        state.counters["bytes"] = done.bytes;
    })->Iterations(1);
}

bool const registered = [] {
    bench::Rounds small("tracked_stopped", "", 201, benchmark::kNanosecond);
    small.add("zan", stopped([] { trackedOnce(); }));
    small.add("plain", stopped([] { plainOnce(); }));
    bench::Rounds linked("linked_program", "", 41, benchmark::kMillisecond);
    add(linked, "zan", PML_TREE, {});
    add(linked, "compiled_out", PML_TREE_WITHOUT, {});
#if defined(CHECKER_LIBRARY)
    Settings const checked = {{"LD_PRELOAD", CHECKER_LIBRARY}, {"ZAN_MEM_LEAK_CHECK", "on"}};
    bench::Rounds rounds("checked_program", "", 41, benchmark::kMillisecond);
    add(rounds, "zan", PML_TREE, checked);
    add(rounds, "unchecked", PML_TREE, {});
    addMemory("checked_program_memory/zan", PML_TREE, checked);
    addMemory("checked_program_memory/unchecked", PML_TREE, {});
#if defined(HEAPTRACK_LIBRARY)
    Settings const heaptrack = {{"LD_PRELOAD", HEAPTRACK_LIBRARY},
                                {"DUMP_HEAPTRACK_OUTPUT", "heaptrack.raw"}};
    add(rounds, "heaptrack", PML_TREE, heaptrack);
    addMemory("checked_program_memory/heaptrack", PML_TREE, heaptrack);
#endif
#endif
    return true;
}();

}  // namespace
