#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace bench {

// Rows of one work whose time differs more from one second to the next than from one
// implementation to another, as it does where others share the machine: all implementations are
// measured in rounds, one right after another in random order, and the table compares within the
// rounds.
class Rounds {
public:
    // A measurement gives the seconds of an operation, below 0 for a failure.
    using Measure = std::function<double()>;
    using Prepare = std::function<Measure()>;

    // `work` and `args` are the first and the last part of the names.
    Rounds(std::string work, std::string args, int count, benchmark::TimeUnit unit)
        : all_(std::make_shared<All>()),
          work_(std::move(work)),
          args_(std::move(args)),
          count_(count),
          unit_(unit) {}

    // Runs before the first preparation; what it returns lives until the last round is over.
    void around(std::function<std::shared_ptr<void>()> setting) { all_->setting = setting; }

    void add(std::string const& implementation, Prepare prepare) {
        std::size_t const i = all_->prepare.size();
        all_->prepare.push_back(std::move(prepare));
        all_->seconds.emplace_back();
        // Set by the tests, which ask only whether it runs.
        bool const once = std::getenv("ZAN_BENCH_ONCE") != nullptr;
        auto next = std::make_shared<std::size_t>(0);
        std::string const name = work_ + '/' + implementation + (args_.empty() ? "" : '/' + args_);
        int const count = once ? 1 : count_;
        benchmark::RegisterBenchmark(name.c_str(),
                                     [all = all_, i, next, count](benchmark::State& state) {
                                         if (all->seconds[i].empty()) all->run(count);
                                         std::size_t const round = (*next)++;
                                         double const seconds = all->seconds[i][round];
                                         if (seconds < 0) state.SkipWithError("it has failed");
                                         for (auto _ : state) state.SetIterationTime(seconds);
                                         state.counters["round"] = static_cast<double>(round);
                                     })
            ->UseManualTime()
            ->Unit(unit_)
            ->Iterations(1)
            ->Repetitions(count);
    }

private:
    struct All {
        std::function<std::shared_ptr<void>()> setting;
        std::vector<Prepare> prepare;
        std::vector<std::vector<double>> seconds;

        void run(int count) {
            std::shared_ptr<void> const set = setting ? setting() : nullptr;
            std::vector<Measure> measure;
            for (Prepare const& one : prepare) measure.push_back(one());
            for (int round = 0; round < count; ++round)
                for (std::size_t i = 0; i < measure.size(); ++i) seconds[i].push_back(measure[i]());
        }
    };

    std::shared_ptr<All> all_;
    std::string work_;
    std::string args_;
    int count_;
    benchmark::TimeUnit unit_;
};

}  // namespace bench
