// Runs every benchmark with its repetitions interleaved, then prints each library call beside the bare sequence that it
// stands for: pairs are named "what/library" and "what/bare", with the same argument.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>

// Keeps the medians and prints the ratios when all have run.
class Ratios : public benchmark::ConsoleReporter {
 public:
  Ratios() : ConsoleReporter(OO_Tabular) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.aggregate_name != "median") continue;
      const std::string name = run.run_name.function_name + (run.run_name.args.empty() ? "" : " " + run.run_name.args);
      medians_[name] = run.GetAdjustedRealTime();
    }
  }

  void Finalize() override {
    std::printf("\n%-44s %14s %14s %8s\n", "microseconds, median", "library", "bare", "ratio");
    for (const auto& [name, library] : medians_) {
      const std::size_t at = name.find("/library");
      if (at == std::string::npos) continue;
      std::string label = name;
      label.erase(at, std::string("/library").size());
      std::string bareName = name;
      bareName.replace(at, std::string("/library").size(), "/bare");
      const auto bare = medians_.find(bareName);
      if (bare == medians_.end()) {
        std::printf("%-44s %14.1f\n", label.c_str(), library);
      } else {
        std::printf("%-44s %14.1f %14.1f %8.2f\n", label.c_str(), library, bare->second, library / bare->second);
      }
    }
  }

 private:
  std::map<std::string, double> medians_;
};

int main(int argc, char** argv) {
  std::vector<char*> arguments(argv, argv + argc);
  std::string repetitions = "--benchmark_repetitions=5";
  std::string interleaving = "--benchmark_enable_random_interleaving=true";
  std::string duration = "--benchmark_min_time=0.05";
  arguments.insert(arguments.begin() + 1, {repetitions.data(), interleaving.data(), duration.data()});
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;
  Ratios ratios;
  benchmark::RunSpecifiedBenchmarks(&ratios);
  return 0;
}
