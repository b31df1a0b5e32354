// A small object made and freed, tracked and plain; and a program that allocates hard, as it is and
// with all its allocations recorded.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <utility>

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

// bench/programs/pml_tree.cpp under these settings: the time from its start to its end, the report
// included, or its peak memory.
struct Run {
    double seconds;
    double bytes;
};
using Settings = std::initializer_list<std::pair<char const*, char const*>>;

bool run(char const* program, Settings settings, Run& out) {
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

void program(benchmark::State& state, char const* path, Settings settings) {
    Run last = {};
    for (auto _ : state) {
        if (!run(path, settings, last)) return state.SkipWithError("the program has failed");
        state.SetIterationTime(last.seconds);
    }
}
void programMemory(benchmark::State& state, char const* path, Settings settings) {
    Run last = {};
    for (auto _ : state)
        if (!run(path, settings, last)) return state.SkipWithError("the program has failed");
    state.counters["bytes"] = last.bytes;
}

// A run is half a second, and the next one is another fifth away from it.
void often(benchmark::internal::Benchmark* row) {
    row->UseManualTime()->Unit(benchmark::kMillisecond);
    // Set by the tests, which ask only whether it runs.
    if (std::getenv("ZAN_BENCH_ONCE") == nullptr) row->Repetitions(41);
}

#define PROGRAM(name, ...)                                                                   \
    BENCHMARK_CAPTURE(program, _, __VA_ARGS__)->Name("checked_program/" name)->Apply(often); \
    BENCHMARK_CAPTURE(programMemory, _, __VA_ARGS__)                                         \
        ->Name("checked_program_memory/" name)                                               \
        ->Iterations(1)

#if defined(CHECKER_LIBRARY)
PROGRAM("zan", PML_TREE, {{"LD_PRELOAD", CHECKER_LIBRARY}, {"ZAN_MEM_LEAK_CHECK", "on"}});
PROGRAM("unchecked", PML_TREE, {});
#endif
#if defined(CHECKER_LIBRARY) && defined(HEAPTRACK_LIBRARY)
PROGRAM("heaptrack", PML_TREE,
        {{"LD_PRELOAD", HEAPTRACK_LIBRARY}, {"DUMP_HEAPTRACK_OUTPUT", "heaptrack.raw"}});
#endif
BENCHMARK_CAPTURE(program, _, PML_TREE, {})->Name("linked_program/zan")->Apply(often);
BENCHMARK_CAPTURE(program, _, PML_TREE_WITHOUT, {})
    ->Name("linked_program/compiled_out")
    ->Apply(often);

}  // namespace
