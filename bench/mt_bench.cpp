// A handle copied and dropped, a mutex locked and unlocked.

#include <benchmark/benchmark.h>

#include <mutex>

#include "zan/mt/handle.h"
#include "zan/mt/mutex.h"

#if defined(ZAN_PEER_BOOST)
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#endif

namespace {

struct Ours : zan::Shared {
    int value = 0;
};

void zanHandle(benchmark::State& state) {
    zan::Handle<Ours> const handle(new Ours);
    for (auto _ : state) {
        zan::Handle<Ours> copy(handle);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(zanHandle)->Name("handle_copy/zan");

#if defined(ZAN_PEER_BOOST)
struct Theirs : boost::intrusive_ref_counter<Theirs> {
    virtual ~Theirs() = default;
    int value = 0;
};

void boostHandle(benchmark::State& state) {
    boost::intrusive_ptr<Theirs> const handle(new Theirs);
    for (auto _ : state) {
        boost::intrusive_ptr<Theirs> copy(handle);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(boostHandle)->Name("handle_copy/intrusive");
#endif

void zanMutex(benchmark::State& state) {
    zan::Mutex const mutex;
    for (auto _ : state) {
        mutex.lock();
        benchmark::ClobberMemory();
        mutex.unlock();
    }
}
BENCHMARK(zanMutex)->Name("mutex_lock/zan");

void recursiveMutex(benchmark::State& state) {
    std::recursive_mutex mutex;
    for (auto _ : state) {
        mutex.lock();
        benchmark::ClobberMemory();
        mutex.unlock();
    }
}
BENCHMARK(recursiveMutex)->Name("mutex_lock/recursive");

}  // namespace
