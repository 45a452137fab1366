#ifndef ORVKIT_BENCH_OPTIONS_H
#define ORVKIT_BENCH_OPTIONS_H

#include <cstddef>

// Run sizes that main() takes from the command line before the benchmarks
// are registered; the defaults give stable percentiles, the CI script
// shrinks them so that every benchmark only runs once.
class BenchOptions
{
public:
    static size_t& requests() { static size_t value = 2000; return value; }
    static size_t& lifecycles() { static size_t value = 20; return value; }
    // POSTs per client: each may wait out a delayed acknowledgement (about 40 ms).
    static size_t& posts() { static size_t value = 40; return value; }
};

#endif
