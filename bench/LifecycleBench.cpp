#include "BenchKitClient.h"
#include "BenchOptions.h"
#include "BenchRig.h"
#include "BenchSamples.h"
#include "BenchSuites.h"

#include <OrvKit.h>

#include <benchmark/benchmark.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>

namespace {

typedef BenchSamples::Clock Clock;

// As an application does it: construct, register, open, and later close and
// destroy. With a delay, open() and the destructor come once the worker
// thread has gone back to polling; the delays spread over one poll period.
void openClose(benchmark::State& state, bool delayed)
{
    BenchSamples opens, closes, destroys;
    OrvKitPreferences preferences;
    bool ok = true;
    size_t cycle = 0;
    for (auto _ : state) {
        std::unique_ptr<BenchKitClient> client(new BenchKitClient(preferences));
        if (delayed) {
            const size_t spread = BenchOptions::lifecycles();
            std::this_thread::sleep_for(std::chrono::microseconds(100000 + 100000 * (cycle++ % spread) / spread));
        }
        const Clock::time_point t0 = Clock::now();
        client->kit().open();
        ok = client->waitOpen(5000);
        const Clock::time_point t1 = Clock::now();
        client->kit().close();
        ok = ok && client->waitClose(5000);
        const Clock::time_point closed = Clock::now();
        if (delayed) {
            const size_t spread = BenchOptions::lifecycles();
            std::this_thread::sleep_for(std::chrono::microseconds(100000 + 100000 * (cycle * 7 % spread) / spread));
        }
        const Clock::time_point t2 = Clock::now();
        client.reset();
        const Clock::time_point t3 = Clock::now();
        if (!ok)
            break;
        opens.add(t1 - t0);
        closes.add(closed - t1);
        destroys.add(t3 - t2);
        state.SetIterationTime(std::chrono::duration<double>(t1 - t0).count());
    }
    if (!ok) {
        state.SkipWithError("the kit did not open or close");
        return;
    }
    state.counters["open_p50_ms"] = opens.percentile(50) * 1e3;
    state.counters["open_max_ms"] = opens.max() * 1e3;
    state.counters["close_p50_ms"] = closes.percentile(50) * 1e3;
    state.counters["destroy_p50_ms"] = destroys.percentile(50) * 1e3;
}

std::map<std::string, double> runProbe(const std::string& command)
{
    std::map<std::string, double> values;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return values;
    char line[256];
    while (std::fgets(line, sizeof line, pipe) != nullptr) {
        const std::string text(line);
        const size_t equals = text.find('=');
        if (equals != std::string::npos)
            values[text.substr(0, equals)] = std::atof(text.c_str() + equals + 1);
    }
    pclose(pipe);
    return values;
}

std::string quoted(const std::string& text)
{
    std::string out = "'";
    for (char c : text)
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

// Size in KiB after stripping a copy with the first strip tool that works; 0 when none does.
double strippedKiB(const std::string& library, const std::vector<std::string>& tools)
{
    struct stat info;
    if (::stat(library.c_str(), &info) != 0)
        return 0.0;
    char copy[] = "/tmp/orvkit-bench-strip-XXXXXX";
    const int fd = ::mkstemp(copy);
    if (fd < 0)
        return 0.0;
    ::close(fd);
    double size = 0.0;
    for (const std::string& tool : tools) {
        const std::string command = tool + " --strip-all -o " + copy + " " + quoted(library) + " 2>/dev/null";
        if (std::system(command.c_str()) == 0 && ::stat(copy, &info) == 0) {
            size = static_cast<double>(info.st_size) / 1024.0;
            break;
        }
    }
    ::unlink(copy);
    return size;
}

void footprint(benchmark::State& state)
{
    BenchRig* rig = BenchRig::instance();
    if (rig == nullptr) {
        state.SkipWithError("no loopback rig");
        return;
    }
    const BenchRig::Target& folders = rig->targets().front();
    std::map<std::string, double> bare, kit;
    for (auto _ : state) {
        bare = runProbe(std::string(ORVKIT_BENCH_FOOTPRINT_BARE) + " " + quoted(folders.url) + " " +
                        quoted(folders.authorization));
        kit = runProbe(std::string(ORVKIT_BENCH_FOOTPRINT_KIT) + " " + quoted(rig->origin()));
    }
    if (bare.count("idle_kB") == 0 || kit.count("idle_kB") == 0 || bare.count("request_kB") == 0 ||
        kit.count("request_kB") == 0) {
        state.SkipWithError("a footprint probe failed");
        return;
    }
    state.counters["bare_idle_kB"] = bare["idle_kB"];
    state.counters["kit_idle_kB"] = kit["idle_kB"];
    state.counters["bare_request_kB"] = bare["request_kB"];
    state.counters["kit_request_kB"] = kit["request_kB"];
    state.counters["so_x86_64_kB"] = strippedKiB(ORVKIT_BENCH_LIBRARY, {"strip"});
    state.counters["so_armhf_kB"] =
        strippedKiB(ORVKIT_BENCH_ARMHF_LIBRARY, {"arm-linux-gnueabihf-strip", "llvm-strip", "strip"});
}

} // namespace

void registerLifecycleBenchmarks()
{
    for (const bool delayed : {false, true}) {
        benchmark::RegisterBenchmark(delayed ? "lifecycle/open_later" : "lifecycle/open_at_once", openClose, delayed)
            ->Iterations(static_cast<benchmark::IterationCount>(BenchOptions::lifecycles()))
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    }
    benchmark::RegisterBenchmark("footprint/rss_and_size", footprint)->Iterations(1)->Unit(benchmark::kMillisecond);
}
