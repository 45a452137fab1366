#ifndef ORVKIT_BENCH_SAMPLES_H
#define ORVKIT_BENCH_SAMPLES_H

#include <chrono>
#include <cstddef>
#include <vector>

// Durations of single operations, for percentiles that a mean would hide.
class BenchSamples
{
public:
    typedef std::chrono::steady_clock Clock;

    void reserve(size_t count) { seconds.reserve(count); }
    void add(Clock::duration elapsed) { seconds.push_back(std::chrono::duration<double>(elapsed).count()); }
    size_t size() const { return seconds.size(); }

    // Nearest-rank percentile in seconds; 0 when there are no samples.
    double percentile(double p) const;
    double max() const;

private:
    std::vector<double> seconds;
};

#endif
