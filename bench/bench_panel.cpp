// Times the drawing operations with Google Benchmark.

#include <benchmark/benchmark.h>

#include "operations.h"

int main(int argc, char** argv) {
    BenchPanel panel;
    for (const Operation& operation : kOperations) {
        const auto run = operation.run;
        benchmark::RegisterBenchmark(operation.name, [run, &panel](benchmark::State& state) {
            for (auto _ : state) {
                run(panel);
                benchmark::DoNotOptimize(panel.packed());
                benchmark::ClobberMemory();
            }
        });
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
