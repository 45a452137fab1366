#include "BenchSamples.h"

#include <algorithm>
#include <cmath>

double BenchSamples::percentile(double p) const
{
    if (seconds.empty())
        return 0.0;
    std::vector<double> sorted(seconds);
    std::sort(sorted.begin(), sorted.end());
    const size_t rank = static_cast<size_t>(std::ceil(p / 100.0 * static_cast<double>(sorted.size())));
    return sorted[std::min(sorted.size(), std::max<size_t>(rank, 1)) - 1];
}

double BenchSamples::max() const
{
    return seconds.empty() ? 0.0 : *std::max_element(seconds.begin(), seconds.end());
}
