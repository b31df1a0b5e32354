// One log line in the calling thread, to a real file, and one that its flag filters out; a frame of
// the call stack.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <filesystem>
#include <string>
#include <vector>

#include "zan/log/log_factory.h"
#include "zan/log/log_tracer.h"
#include "zan/mt/mutex.h"

#if defined(ZAN_PEER_SPDLOG)
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

namespace {

char const* const PEER = "127.0.0.1:50123";

zan::logger& ourLogger() {
    static zan::logger& log = [&]() -> zan::logger& {
        zan::logger& made = zan::logger_factory::instance("bench");
        made.setConsoleOn(false);
        made.setFilename("log_bench.zan.log");
        made.start();
        return made;
    }();
    return log;
}

void zanLine(benchmark::State& state) {
    zan::logger& log = ourLogger();
    int n = 0;
    for (auto _ : state) {
        ZAN_INFO(log, "request " << n << " from " << PEER << " took " << n % 977 << " us");
        ++n;
    }
    if (state.thread_index() == 0) {
        log.flush();
        std::filesystem::remove("log_bench.zan.log.bak");
    }
}
BENCHMARK(zanLine)->Name("log_line/zan")->Threads(1)->Threads(4)->UseRealTime();

void zanFiltered(benchmark::State& state) {
    zan::logger& log = ourLogger();
    int n = 0;
    for (auto _ : state) {
        ZAN_TRACE(log, "request " << n << " from " << PEER);
        benchmark::DoNotOptimize(++n);
    }
}
BENCHMARK(zanFiltered)->Name("log_filtered/zan");

#if defined(ZAN_PEER_SPDLOG)
spdlog::logger& spdLogger() {
    static auto const log = [] {
        auto made = spdlog::basic_logger_mt("bench", "log_bench.spdlog.log", true);
        made->set_level(spdlog::level::info);
        return made;
    }();
    return *log;
}

void spdlogLine(benchmark::State& state) {
    spdlog::logger& log = spdLogger();
    int n = 0;
    for (auto _ : state) {
        log.info("request {} from {} took {} us", n, PEER, n % 977);
        ++n;
    }
}
BENCHMARK(spdlogLine)->Name("log_line/spdlog")->Threads(1)->Threads(4)->UseRealTime();

void spdlogFiltered(benchmark::State& state) {
    spdlog::logger& log = spdLogger();
    int n = 0;
    for (auto _ : state) {
        log.trace("request {} from {}", n, PEER);
        benchmark::DoNotOptimize(++n);
    }
}
BENCHMARK(spdlogFiltered)->Name("log_filtered/spdlog");
#endif

// The yardstick of the filtered line: an uncontended lock and unlock.
void mutexPair(benchmark::State& state) {
    zan::Mutex const mutex;
    for (auto _ : state) zan::MutexLock const guard(mutex);
}
BENCHMARK(mutexPair)->Name("log_filtered/mutex");

void zanFrame(benchmark::State& state) {
    zan::logger& log = ourLogger();
    for (auto _ : state) {
        ZAN_TRACE_FRAME(log);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(zanFrame)->Name("trace_entry/zan")->Threads(1)->Threads(4);

struct Frame {
    char const* file;
    unsigned int line;
    char const* func;
};
thread_local std::vector<Frame> frames;

void vectorFrame(benchmark::State& state) {
    for (auto _ : state) {
        frames.push_back(Frame{ZAN_HERE});
        benchmark::ClobberMemory();
        frames.pop_back();
    }
}
BENCHMARK(vectorFrame)->Name("trace_entry/vector")->Threads(1)->Threads(4);

// What a line in the cache costs beside its text.
void cacheMemory(benchmark::State& state) {
    zan::logger& log = zan::logger_factory::instance("bench.cache");
    log.setConsoleOn(false);
    log.setFilename("log_bench.cache.log");
    std::string const line(100, 'x');
    constexpr int LINES = 100000;
    double beside = 0;
    for (auto _ : state) {
        log.flush();  // no thread: drains here
        struct mallinfo2 const before = mallinfo2();
        for (int i = 0; i < LINES; ++i) log.log(zan::istr(line));
        struct mallinfo2 const after = mallinfo2();
        beside =
            static_cast<double>(after.uordblks - before.uordblks + after.hblkhd - before.hblkhd) /
                LINES -
            static_cast<double>(line.size());
    }
    state.counters["bytes"] = beside;
    log.close();
    log.setFilename("");
    std::filesystem::remove("log_bench.cache.log");
}
BENCHMARK(cacheMemory)->Name("log_cache_line/zan")->Iterations(1);

}  // namespace
