#include "BenchBodies.h"
#include "BenchSamples.h"
#include "BenchSuites.h"

#include <OrvKitDat.h>

#include <QByteArray>
#include <QJsonDocument>

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <mutex>
#include <string>

// One benchmark per body, records/<body kind>/<size>. Each iteration times
// every operation once, OrvKit's and its baseline's in turn, and the medians
// give the rates: a load change on the machine then hits both sides alike.
namespace {

typedef BenchSamples::Clock Clock;

// The body and its archive, made on first use so that a filtered run only
// builds what it measures.
template <class Record>
class Material
{
public:
    Material(BenchBodies::Kind kind, size_t targetBytes) : kind(kind), targetBytes(targetBytes) {}

    bool ready()
    {
        std::call_once(once, [this] {
            body = BenchBodies::instance().body(kind, targetBytes);
            Record parsed;
            ok = parsed.fromJson(body);
            VxSerialization::Archive written;
            parsed.serialize(written);
            archive = written.bytes();
            record = parsed;
        });
        return ok;
    }

    const BenchBodies::Kind kind;
    const size_t targetBytes;
    std::vector<uint8_t> body;
    std::vector<uint8_t> archive;
    Record record;

private:
    std::once_flag once;
    bool ok = false;
};

template <class Record>
void measure(benchmark::State& state, Material<Record>& material)
{
    if (!material.ready()) {
        state.SkipWithError("the body does not parse");
        return;
    }
    const std::vector<uint8_t>& body = material.body;
    const std::vector<uint8_t>& archive = material.archive;
    const QByteArray text =
        QByteArray::fromRawData(reinterpret_cast<const char*>(body.data()), static_cast<int>(body.size()));
    VxSerialization::Archive out;
    std::vector<uint8_t> target(archive.size());
    // memcpy of a small archive is too quick to time alone.
    const size_t copies = std::max<size_t>(1, (256 * 1024) / std::max<size_t>(archive.size(), 1));
    BenchSamples bare, fromJson, serialize, unserialize, copy;
    bool same = true;

    for (auto _ : state) {
        // The archive to read is filled before the clocks start.
        VxSerialization::Archive in;
        in.write(archive.data(), archive.size());
        // What each side built is freed after its clock stopped.
        const Clock::time_point t0 = Clock::now();
        const QJsonDocument document = QJsonDocument::fromJson(text);
        benchmark::DoNotOptimize(document.isNull());
        const Clock::time_point t1 = Clock::now();
        Record parsed;
        benchmark::DoNotOptimize(parsed.fromJson(body));
        benchmark::ClobberMemory();
        const Clock::time_point t2 = Clock::now();
        out.clear();
        material.record.serialize(out);
        benchmark::ClobberMemory();
        const Clock::time_point t3 = Clock::now();
        Record read;
        benchmark::DoNotOptimize(read.unserialize(in));
        benchmark::ClobberMemory();
        const Clock::time_point t4 = Clock::now();
        for (size_t i = 0; i < copies; ++i) {
            std::memcpy(target.data(), archive.data(), archive.size());
            benchmark::DoNotOptimize(target.data());
            benchmark::ClobberMemory();
        }
        const Clock::time_point t5 = Clock::now();
        bare.add(t1 - t0);
        fromJson.add(t2 - t1);
        serialize.add(t3 - t2);
        unserialize.add(t4 - t3);
        copy.add((t5 - t4) / copies);
        state.SetIterationTime(std::chrono::duration<double>(t5 - t0).count());
        same = same && out.bytes() == archive;
    }
    if (!same) {
        state.SkipWithError("the archive differs between runs");
        return;
    }
    const auto rate = [](size_t bytes, const BenchSamples& samples) {
        return static_cast<double>(bytes) / samples.percentile(50);
    };
    state.counters["body_bytes"] = static_cast<double>(body.size());
    state.counters["archive_bytes"] = static_cast<double>(archive.size());
    state.counters["bare_Bps"] = rate(body.size(), bare);
    state.counters["fromJson_Bps"] = rate(body.size(), fromJson);
    state.counters["serialize_Bps"] = rate(archive.size(), serialize);
    state.counters["unserialize_Bps"] = rate(archive.size(), unserialize);
    state.counters["memcpy_Bps"] = rate(archive.size(), copy);
}

template <class Record>
void registerRecord(BenchBodies::Kind kind, const char* sizeLabel, size_t targetBytes)
{
    const std::shared_ptr<Material<Record>> material = std::make_shared<Material<Record>>(kind, targetBytes);
    const std::string name = std::string("records/") + BenchBodies::name(kind) + "/" + sizeLabel;
    benchmark::RegisterBenchmark(name.c_str(), [material](benchmark::State& state) { measure(state, *material); })
        ->UseManualTime();
}

template <class Record>
void registerSizes(BenchBodies::Kind kind)
{
    registerRecord<Record>(kind, "1KB", 1024);
    registerRecord<Record>(kind, "100KB", 100 * 1024);
    registerRecord<Record>(kind, "1MB", 1024 * 1024);
}

} // namespace

void registerRecordBenchmarks()
{
    using namespace OrvKitDat;
    registerSizes<BookmarksSpotsResponse>(BenchBodies::Spots);
    registerSizes<BookmarksFoldersResponse>(BenchBodies::Folders);
    registerSizes<BookmarksDestsResponse>(BenchBodies::Destinations);
    registerSizes<PlansSummaryResponse>(BenchBodies::PlansSummary);
    registerSizes<PlansResponse>(BenchBodies::Plans);
    registerSizes<GenresResponse>(BenchBodies::Genres);
    registerRecord<BookmarksSpotDetailResponse>(BenchBodies::SpotDetail, "one", 0);
    registerRecord<SummaryResponse>(BenchBodies::InfoSummary, "one", 0);
    registerRecord<AuthResponse>(BenchBodies::Auth, "one", 0);
    registerRecord<ErrorResponse>(BenchBodies::Error, "one", 0);
    registerRecord<CertificateResponse>(BenchBodies::Certificate, "one", 0);
}
