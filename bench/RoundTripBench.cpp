#include "BenchCurlClient.h"
#include "BenchKitClient.h"
#include "BenchOptions.h"
#include "BenchQtClient.h"
#include "BenchRig.h"
#include "BenchSamples.h"
#include "BenchSuites.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>

namespace {

typedef BenchSamples::Clock Clock;

void setMicroseconds(benchmark::State& state, const std::string& name, const BenchSamples& samples)
{
    state.counters[name + "_p50_us"] = samples.percentile(50) * 1e6;
    state.counters[name + "_p90_us"] = samples.percentile(90) * 1e6;
    state.counters[name + "_p99_us"] = samples.percentile(99) * 1e6;
}

// The three clients take turns request by request, so that a load change on
// the machine hits all three alike and their ratio stays fair.
void roundTrip(benchmark::State& state)
{
    BenchRig* rig = BenchRig::instance();
    if (rig == nullptr) {
        state.SkipWithError("no loopback rig");
        return;
    }
    const BenchRig::Target& folders = rig->targets().front();
    BenchQtClient qt;
    BenchCurlClient curl;
    const QNetworkRequest request = BenchQtClient::request(folders.url, folders.authorization);
    QByteArray qtBody;
    std::string curlBody;
    // Each client opens its connection before timing starts.
    if (!qt.get(request, qtBody) || !curl.get(folders.url, folders.authorization, curlBody)) {
        state.SkipWithError("a baseline request failed");
        return;
    }
    const size_t count = BenchOptions::requests();
    BenchSamples qtSamples, kitSamples, curlSamples, inSamples, middleSamples, outSamples;
    qtSamples.reserve(count);
    kitSamples.reserve(count);
    curlSamples.reserve(count);
    bool ok = true;
    for (auto _ : state) {
        for (size_t i = 0; i < count && ok; ++i) {
            const Clock::time_point t0 = Clock::now();
            ok = qt.get(request, qtBody);
            const Clock::time_point t1 = Clock::now();
            ok = ok && rig->kit().roundTrip(folders.command, folders.data, folders.resultId, 5000);
            const Clock::time_point t2 = Clock::now();
            ok = ok && curl.get(folders.url, folders.authorization, curlBody);
            const Clock::time_point t3 = Clock::now();
            qtSamples.add(t1 - t0);
            kitSamples.add(t2 - t1);
            const BenchKitClient::Phases phases = rig->kit().lastPhases();
            inSamples.add(phases.toAcceptance);
            middleSamples.add(phases.toResult);
            outSamples.add(phases.toWaiter);
            curlSamples.add(t3 - t2);
        }
    }
    if (!ok || static_cast<size_t>(qtBody.size()) != folders.bodyBytes || curlBody.size() != folders.bodyBytes ||
        rig->kit().lastPayloadSize() != folders.bodyBytes) {
        state.SkipWithError("a request failed or returned another body");
        return;
    }
    setMicroseconds(state, "qt", qtSamples);
    setMicroseconds(state, "kit", kitSamples);
    setMicroseconds(state, "curl", curlSamples);
    state.counters["kit_in_p50_us"] = inSamples.percentile(50) * 1e6;
    state.counters["kit_middle_p50_us"] = middleSamples.percentile(50) * 1e6;
    state.counters["kit_out_p50_us"] = outSamples.percentile(50) * 1e6;
    state.counters["requests"] = static_cast<double>(count);
    state.counters["body_bytes"] = static_cast<double>(folders.bodyBytes);
}

// Five requests kept in flight: five different commands through the kit
// (one request per command kind at a time), each sent again as soon as its
// answer is in; the same five URLs through Qt. The two take turns in blocks.
void throughput(benchmark::State& state)
{
    BenchRig* rig = BenchRig::instance();
    if (rig == nullptr) {
        state.SkipWithError("no loopback rig");
        return;
    }
    const std::vector<BenchRig::Target>& targets = rig->targets();
    std::vector<QNetworkRequest> requests;
    for (const BenchRig::Target& target : targets)
        requests.push_back(BenchQtClient::request(target.url, target.authorization));
    BenchKitClient& kit = rig->kit();
    // n requests through the kit, five at a time; false when an answer is missing or wrong.
    const auto kitRun = [&](size_t n) {
        size_t sent = 0;
        for (; sent < targets.size() && sent < n; ++sent) {
            if (!kit.send(targets[sent].command, targets[sent].data))
                return false;
        }
        for (size_t done = 0; done < n; ++done) {
            unsigned long id = 0;
            if (!kit.waitResult(id, 5000))
                return false;
            size_t which = 0;
            while (which < targets.size() && targets[which].resultId != id)
                ++which;
            if (which == targets.size())
                return false;
            if (sent < n) {
                if (!kit.send(targets[which].command, targets[which].data))
                    return false;
                ++sent;
            }
        }
        return true;
    };
    BenchQtClient qt;
    // Both open their five connections before timing starts.
    if (qt.getConcurrently(requests, targets.size(), targets.size()) != targets.size() ||
        !kitRun(targets.size())) {
        state.SkipWithError("a warm-up request failed");
        return;
    }

    const size_t total = BenchOptions::requests();
    const size_t block = 100;
    double qtSeconds = 0.0, kitSeconds = 0.0;
    size_t done = 0;
    bool ok = true;
    for (auto _ : state) {
        while (ok && done < total) {
            const size_t n = std::min(block, total - done);
            const Clock::time_point t0 = Clock::now();
            ok = qt.getConcurrently(requests, targets.size(), n) == n;
            const Clock::time_point t1 = Clock::now();
            ok = ok && kitRun(n);
            const Clock::time_point t2 = Clock::now();
            qtSeconds += std::chrono::duration<double>(t1 - t0).count();
            kitSeconds += std::chrono::duration<double>(t2 - t1).count();
            done += n;
        }
    }
    if (!ok) {
        state.SkipWithError("a request failed or an answer never came");
        return;
    }
    state.counters["qt_per_s"] = static_cast<double>(done) / qtSeconds;
    state.counters["kit_per_s"] = static_cast<double>(done) / kitSeconds;
    state.counters["requests"] = static_cast<double>(done);
}

} // namespace

void registerRoundTripBenchmarks()
{
    benchmark::RegisterBenchmark("roundtrip/folders", roundTrip)->Iterations(1)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("throughput/five_in_flight", throughput)->Iterations(1)->Unit(benchmark::kMillisecond);
}
