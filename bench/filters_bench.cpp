// Every filter beside the bare time stamp: the ratio is what the library adds.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "cases.h"

// The storage filter's trace lines are the C library's work.
extern "C" int puts(const char* /*text*/) { return 0; }
extern "C" int printf(const char* /*format*/, ...) { return 0; }

namespace polaiga::bench {
namespace {

void stamp(benchmark::State& state) {
  for (auto _ : state) bare_stamp();
}

void filter(benchmark::State& state, const Case& c) {
  fe_fault_filter* const process = filter_of(c);
  fe_fault_record record{};
  fe_fault_record* out = &record;
  for (auto _ : state) {
    fe_sensor_event event = event_of(c);
    benchmark::DoNotOptimize(process(&event, &out));
  }
}

// Prints each time as a ratio to the bare stamp of the same run. The least of
// the repetitions counts: the others were made to wait.
class Ratios : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      const std::string name = run.run_name.function_name;
      const double time = run.GetAdjustedCPUTime();
      const auto known = std::ranges::find(least_, name, &Least::name);
      if (known == least_.end()) {
        least_.push_back({name, time});
      } else {
        known->time = std::min(known->time, time);
      }
    }
  }

  void Finalize() override {
    std::ranges::sort(least_, {}, &Least::name);
    const auto bare = std::ranges::find(least_, "stamp", &Least::name);
    std::fprintf(stdout, "%-22s %8s %7s\n", "call", "ns", "ratio");
    for (const auto& [name, time] : least_) {
      std::fprintf(stdout, "%-22s %8.0f %7.3f\n", name.c_str(), time, time / bare->time);
    }
  }

 private:
  struct Least {
    std::string name;
    double time;
  };
  std::vector<Least> least_;
};

}  // namespace
}  // namespace polaiga::bench

int main(int argc, char** argv) {
  using namespace polaiga::bench;
  benchmark::Initialize(&argc, argv);
  constexpr int kRepetitions = 5;
  benchmark::RegisterBenchmark("stamp", stamp)->Repetitions(kRepetitions);
  for (const Case& c : kAccepted) {
    benchmark::RegisterBenchmark(("accepted/" + std::string(c.entity)).c_str(), filter, c)->Repetitions(kRepetitions);
  }
  for (const Case& c : kRejected) {
    benchmark::RegisterBenchmark(("rejected/" + std::string(c.entity)).c_str(), filter, c)->Repetitions(kRepetitions);
  }
  Ratios ratios;
  benchmark::RunSpecifiedBenchmarks(&ratios);
  return 0;
}
