#include "BenchCurlClient.h"
#include "BenchKitClient.h"
#include "BenchOptions.h"
#include "BenchQtClient.h"
#include "BenchRig.h"
#include "BenchSamples.h"
#include "BenchSuites.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
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

// Five requests in flight, in waves: five different commands through the
// kit, the same five URLs through Qt; the next wave starts when all five
// have answered. The kit cannot be kept full: a command's handle keeps
// pointing at the pool slot of its last request, and sending that command
// again cancels whatever another command has started in that slot since,
// and the cancelled command is never answered. Waves sent in one order on a
// kit that has run none of these commands before keep each command in its
// own slot as long as all five start before the first one ends. A wave that
// loses an answer all the same is counted and left out of the timing, and a
// fresh kit takes over, since the old one's handles now cross.
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
    std::unique_ptr<BenchKitClient> kit = rig->freshKit();
    if (!kit) {
        state.SkipWithError("no second kit");
        return;
    }
    // True when all five answered; false when one was lost or failed.
    const auto kitWave = [&] {
        unsigned long id = 0;
        while (kit->waitResult(id, 0)) {
        }
        for (const BenchRig::Target& target : targets) {
            if (!kit->send(target.command, target.data))
                return false;
        }
        std::vector<bool> answered(targets.size(), false);
        for (size_t done = 0; done < targets.size(); ++done) {
            if (!kit->waitResult(id, 200))
                return false;
            size_t which = 0;
            while (which < targets.size() && targets[which].resultId != id)
                ++which;
            if (which == targets.size() || answered[which])
                return false;
            answered[which] = true;
        }
        return true;
    };
    // A fresh kit opens its five connections with one untimed wave.
    const auto replaceKit = [&] {
        for (int attempt = 0; attempt < 5; ++attempt) {
            kit.reset();
            kit = rig->freshKit();
            if (kit && kitWave())
                return true;
        }
        return false;
    };
    BenchQtClient qt;
    if (qt.getTogether(requests) != requests.size() || !replaceKit()) {
        state.SkipWithError("a warm-up request failed");
        return;
    }

    const size_t waves = std::max<size_t>(1, BenchOptions::requests() / targets.size());
    const size_t blockWaves = 20;
    double qtSeconds = 0.0, kitSeconds = 0.0, fullSeconds = 0.0;
    size_t wavesDone = 0, kitWaves = 0, kitLost = 0;
    bool ok = true;
    for (auto _ : state) {
        while (ok && wavesDone < waves) {
            const size_t n = std::min(blockWaves, waves - wavesDone);
            const Clock::time_point t0 = Clock::now();
            for (size_t w = 0; w < n && ok; ++w)
                ok = qt.getTogether(requests) == requests.size();
            const Clock::time_point t1 = Clock::now();
            for (size_t w = 0; w < n && ok; ++w) {
                const Clock::time_point start = Clock::now();
                if (kitWave()) {
                    kitSeconds += std::chrono::duration<double>(Clock::now() - start).count();
                    ++kitWaves;
                } else {
                    ++kitLost;
                    ok = replaceKit();
                }
            }
            const Clock::time_point t2 = Clock::now();
            const size_t total = n * targets.size();
            ok = ok && qt.getConcurrently(requests, targets.size(), total) == total;
            const Clock::time_point t3 = Clock::now();
            qtSeconds += std::chrono::duration<double>(t1 - t0).count();
            fullSeconds += std::chrono::duration<double>(t3 - t2).count();
            wavesDone += n;
        }
    }
    if (!ok || kitWaves == 0) {
        state.SkipWithError("a request failed");
        return;
    }
    const double total = static_cast<double>(wavesDone * targets.size());
    state.counters["qt_per_s"] = total / qtSeconds;
    state.counters["kit_per_s"] = static_cast<double>(kitWaves * targets.size()) / kitSeconds;
    state.counters["qt_full_per_s"] = total / fullSeconds;
    state.counters["kit_waves"] = static_cast<double>(kitWaves + kitLost);
    state.counters["kit_waves_lost"] = static_cast<double>(kitLost);
}

} // namespace

void registerRoundTripBenchmarks()
{
    benchmark::RegisterBenchmark("roundtrip/folders", roundTrip)->Iterations(1)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("throughput/five_in_flight", throughput)->Iterations(1)->Unit(benchmark::kMillisecond);
}
