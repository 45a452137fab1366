#include "BenchBodies.h"
#include "BenchSuites.h"

#include <OrvKitDat.h>

#include <QByteArray>
#include <QJsonDocument>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

// Names are records/<operation>/<body kind>/<size>; the table pairs them up.
namespace {

typedef std::shared_ptr<const std::vector<uint8_t>> Bytes;

void reportBytes(benchmark::State& state, size_t bytes)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
    state.counters["bytes"] = static_cast<double>(bytes);
}

template <class Record>
void registerRecord(BenchBodies::Kind kind, const char* sizeLabel, size_t targetBytes)
{
    const Bytes body = std::make_shared<const std::vector<uint8_t>>(BenchBodies::instance().body(kind, targetBytes));
    Record parsed;
    if (!parsed.fromJson(*body)) {
        std::fprintf(stderr, "bench: the %s body does not parse\n", BenchBodies::name(kind));
        return;
    }
    VxSerialization::Archive written;
    parsed.serialize(written);
    const Bytes archive = std::make_shared<const std::vector<uint8_t>>(written.bytes());
    const std::shared_ptr<const Record> record = std::make_shared<const Record>(parsed);

    const std::string suffix = std::string("/") + BenchBodies::name(kind) + "/" + sizeLabel;
    benchmark::RegisterBenchmark(("records/fromJson" + suffix).c_str(), [body](benchmark::State& state) {
        for (auto _ : state) {
            Record fresh;
            benchmark::DoNotOptimize(fresh.fromJson(*body));
            benchmark::ClobberMemory();
        }
        reportBytes(state, body->size());
    });
    benchmark::RegisterBenchmark(("records/bareParse" + suffix).c_str(), [body](benchmark::State& state) {
        const QByteArray text =
            QByteArray::fromRawData(reinterpret_cast<const char*>(body->data()), static_cast<int>(body->size()));
        for (auto _ : state) {
            const QJsonDocument document = QJsonDocument::fromJson(text);
            benchmark::DoNotOptimize(document.isNull());
            benchmark::ClobberMemory();
        }
        reportBytes(state, body->size());
    });
    benchmark::RegisterBenchmark(("records/serialize" + suffix).c_str(), [record, archive](benchmark::State& state) {
        VxSerialization::Archive out;
        for (auto _ : state) {
            out.clear();
            record->serialize(out);
            benchmark::ClobberMemory();
        }
        if (out.bytes() != *archive)
            state.SkipWithError("the archive differs between runs");
        reportBytes(state, archive->size());
    });
    benchmark::RegisterBenchmark(("records/unserialize" + suffix).c_str(), [archive](benchmark::State& state) {
        VxSerialization::Archive in(archive->data(), archive->size());
        for (auto _ : state) {
            in.rewind();
            Record fresh;
            benchmark::DoNotOptimize(fresh.unserialize(in));
            benchmark::ClobberMemory();
        }
        reportBytes(state, archive->size());
    });
    benchmark::RegisterBenchmark(("records/memcpy" + suffix).c_str(), [archive](benchmark::State& state) {
        std::vector<uint8_t> target(archive->size());
        for (auto _ : state) {
            std::memcpy(target.data(), archive->data(), archive->size());
            benchmark::DoNotOptimize(target.data());
            benchmark::ClobberMemory();
        }
        reportBytes(state, archive->size());
    });
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
