#ifndef ORVKIT_BENCH_TABLE_H
#define ORVKIT_BENCH_TABLE_H

#include <benchmark/benchmark.h>

#include <map>
#include <ostream>
#include <string>
#include <vector>

// Prints Google Benchmark's usual lines while the runs go by, keeps every
// result, and at the end prints one Markdown table that sets each OrvKit
// figure beside its baseline from the same run.
class BenchTable : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override;
    void print(std::ostream& out) const;
    bool anyFailed() const;

private:
    struct Result
    {
        bool failed = false;
        std::string error;
        std::map<std::string, double> counters;
    };

    const Result* find(const std::string& name) const;
    double counter(const std::string& name, const std::string& key) const;
    void recordRows(std::ostream& out) const;
    void networkRows(std::ostream& out) const;
    void postRows(std::ostream& out) const;

    std::vector<std::string> order;
    std::map<std::string, Result> results;
};

#endif
