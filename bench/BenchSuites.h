#ifndef ORVKIT_BENCH_SUITES_H
#define ORVKIT_BENCH_SUITES_H

// Each registers its benchmarks with Google Benchmark; called once by main().
void registerRecordBenchmarks();
void registerRoundTripBenchmarks();
void registerPostBenchmarks();
void registerLifecycleBenchmarks();

#endif
