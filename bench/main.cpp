// orvkit_bench: every benchmark, then one summary table.
//   --requests=N    round trips per client and requests per throughput run (2000)
//   --lifecycles=N  open/close cycles (20)
//   --posts=N       POST round trips per client (40)
// plus Google Benchmark's own flags (--benchmark_filter=..., --benchmark_min_time=...).
#include "BenchOptions.h"
#include "BenchPostRig.h"
#include "BenchRig.h"
#include "BenchSuites.h"
#include "BenchTable.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

namespace {

// Removes --requests=, --lifecycles= and --posts= from argv.
void takeOwnFlags(int& argc, char** argv)
{
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        const char* arg = argv[i];
        if (std::strncmp(arg, "--requests=", 11) == 0)
            BenchOptions::requests() = std::strtoul(arg + 11, nullptr, 10);
        else if (std::strncmp(arg, "--lifecycles=", 13) == 0)
            BenchOptions::lifecycles() = std::strtoul(arg + 13, nullptr, 10);
        else if (std::strncmp(arg, "--posts=", 8) == 0)
            BenchOptions::posts() = std::strtoul(arg + 8, nullptr, 10);
        else
            argv[kept++] = argv[i];
    }
    argc = kept;
    if (BenchOptions::requests() == 0)
        BenchOptions::requests() = 1;
    if (BenchOptions::lifecycles() == 0)
        BenchOptions::lifecycles() = 1;
    if (BenchOptions::posts() == 0)
        BenchOptions::posts() = 1;
}

// The kit keeps its token in a save file; a run must not touch the user's.
void privateStateDirectory()
{
    static char directory[] = "/tmp/orvkit-bench-XXXXXX";
    if (std::getenv("VX_SAVEFILE_DIR") == nullptr && ::mkdtemp(directory) != nullptr) {
        ::setenv("VX_SAVEFILE_DIR", directory, 1);
        ::setenv("VX_LOCK_DIR", directory, 1);
    }
    ::unsetenv("http_proxy");
}

} // namespace

int main(int argc, char** argv)
{
    takeOwnFlags(argc, argv);
    privateStateDirectory();
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;

    registerRecordBenchmarks();
    registerRoundTripBenchmarks();
    registerPostBenchmarks();
    registerLifecycleBenchmarks();

    BenchTable table;
    benchmark::RunSpecifiedBenchmarks(&table);
    BenchRig::shutdown();
    BenchPostRig::shutdown();
    table.print(std::cout);
    benchmark::Shutdown();
    return table.anyFailed() ? 1 : 0;
}
