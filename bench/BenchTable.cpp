#include "BenchTable.h"

#include <cmath>
#include <cstdio>
#include <utility>

namespace {

std::string format(const char* pattern, double value)
{
    char text[64];
    std::snprintf(text, sizeof text, pattern, value);
    return text;
}

std::string bytes(double count)
{
    if (count >= 1024.0 * 1024.0)
        return format("%.2f MiB", count / (1024.0 * 1024.0));
    if (count >= 1024.0)
        return format("%.1f KiB", count / 1024.0);
    return format("%.0f B", count);
}

std::string rate(double bytesPerSecond)
{
    if (bytesPerSecond >= 1e9)
        return format("%.2f GB/s", bytesPerSecond / 1e9);
    return format("%.0f MB/s", bytesPerSecond / 1e6);
}

std::string times(double ratio)
{
    return std::isfinite(ratio) && ratio > 0.0 ? format("%.2f×", ratio) : std::string("-");
}

void row(std::ostream& out, const std::string& measure, const std::string& kit, const std::string& baseline,
         const std::string& ratio)
{
    out << "| " << measure << " | " << kit << " | " << baseline << " | " << ratio << " |\n";
}

// records/<operation>/<kind>/<size>
std::vector<std::string> split(const std::string& name)
{
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t slash; (slash = name.find('/', start)) != std::string::npos; start = slash + 1)
        parts.push_back(name.substr(start, slash - start));
    parts.push_back(name.substr(start));
    return parts;
}

} // namespace

void BenchTable::ReportRuns(const std::vector<Run>& runs)
{
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
        if (run.run_type != Run::RT_Iteration)
            continue;
        const std::string name = run.run_name.function_name;
        if (results.count(name) == 0)
            order.push_back(name);
        Result& result = results[name];
        result.failed = run.error_occurred;
        result.error = run.error_message;
        for (const auto& counter : run.counters)
            result.counters[counter.first] = counter.second.value;
    }
}

const BenchTable::Result* BenchTable::find(const std::string& name) const
{
    const auto it = results.find(name);
    return it == results.end() || it->second.failed ? nullptr : &it->second;
}

double BenchTable::counter(const std::string& name, const std::string& key) const
{
    const Result* result = find(name);
    if (result == nullptr)
        return NAN;
    const auto it = result->counters.find(key);
    return it == result->counters.end() ? NAN : it->second;
}

void BenchTable::recordRows(std::ostream& out) const
{
    for (const std::string& name : order) {
        const std::vector<std::string> parts = split(name);
        if (parts.size() != 3 || parts[0] != "records" || find(name) == nullptr)
            continue;
        const std::string label = parts[1] + (parts[2] == "one" ? "" : " " + parts[2]);
        const auto value = [&](const char* key) { return counter(name, key); };
        const double fromJson = value("fromJson_Bps"), bare = value("bare_Bps");
        const double serialize = value("serialize_Bps"), unserialize = value("unserialize_Bps"),
                     copy = value("memcpy_Bps");
        const std::string archive = " (" + bytes(value("archive_bytes")) + ")";
        row(out, "fromJson " + label + " (" + bytes(value("body_bytes")) + ")", rate(fromJson),
            "QJsonDocument::fromJson " + rate(bare), times(bare / fromJson));
        row(out, "serialize " + label + archive, rate(serialize), "memcpy " + rate(copy), times(copy / serialize));
        row(out, "unserialize " + label + archive, rate(unserialize), "memcpy " + rate(copy),
            times(copy / unserialize));
    }
}

void BenchTable::networkRows(std::ostream& out) const
{
    const std::string trip = "roundtrip/folders";
    if (find(trip) != nullptr) {
        const std::string body = bytes(counter(trip, "body_bytes"));
        for (const char* p : {"p50", "p90", "p99"}) {
            const std::string key = std::string("_") + p + "_us";
            const double kit = counter(trip, "kit" + key), qt = counter(trip, "qt" + key),
                         curl = counter(trip, "curl" + key);
            row(out, std::string("round trip ") + p + ", folders " + body + " (b = kit)", format("%.0f µs", kit),
                "a = bare Qt " + format("%.0f µs", qt), "b/a " + times(kit / qt));
            row(out, std::string("round trip ") + p + ", folders " + body + " (b = kit)", format("%.0f µs", kit),
                "c = libcurl " + format("%.0f µs", curl), "b/c " + times(kit / curl));
        }
    }
    if (find(trip) != nullptr) {
        row(out, "kit round trip p50 in parts: sendCommand → acceptance → result → waiting thread",
            format("%.0f", counter(trip, "kit_in_p50_us")) + " + " + format("%.0f", counter(trip, "kit_middle_p50_us")) +
                " + " + format("%.0f µs", counter(trip, "kit_out_p50_us")),
            "-", "-");
    }
    const std::string flow = "throughput/five_in_flight";
    if (find(flow) != nullptr) {
        const double kit = counter(flow, "kit_per_s"), qt = counter(flow, "qt_per_s");
        row(out, "throughput, 5 requests kept in flight", format("%.0f req/s", kit),
            "bare Qt " + format("%.0f req/s", qt), "b/a " + times(qt / kit));
    }
    for (const char* when : {"at_once", "later"}) {
        const std::string life = std::string("lifecycle/open_") + when;
        if (find(life) == nullptr)
            continue;
        const bool atOnce = when[0] == 'a';
        row(out, std::string("open() → onOpenEnd, ") + (atOnce ? "right after construction" : "100-200 ms after construction") +
            ", p50 / max",
            format("%.1f ms", counter(life, "open_p50_ms")) + " / " + format("%.1f ms", counter(life, "open_max_ms")),
            "-", "-");
        if (atOnce)
            row(out, "close() → onCloseEnd, p50", format("%.1f ms", counter(life, "close_p50_ms")), "-", "-");
        row(out, std::string("~OrvKit ") + (atOnce ? "right after onCloseEnd" : "100-200 ms after onCloseEnd") + ", p50",
            format("%.1f ms", counter(life, "destroy_p50_ms")), "-", "-");
    }
    const std::string foot = "footprint/rss_and_size";
    if (find(foot) != nullptr) {
        for (const char* when : {"idle", "request"}) {
            const std::string key = std::string("_") + when + "_kB";
            const double kit = counter(foot, "kit" + key), bare = counter(foot, "bare" + key);
            row(out, std::string("RSS, ") + (when[0] == 'i' ? "open and idle" : "after one HTTPS request"),
                format("%.0f KiB", kit), "Qt + QNetworkAccessManager " + format("%.0f KiB", bare),
                format("%+.0f KiB", kit - bare));
        }
        const double x86 = counter(foot, "so_x86_64_kB"), arm = counter(foot, "so_armhf_kB");
        row(out, "libOrvKit.so stripped, x86-64", format("%.0f KiB", x86), "-", "-");
        if (arm > 0.0)
            row(out, "libOrvKit.so stripped, armhf", format("%.0f KiB", arm), "-", "-");
    }
}

void BenchTable::postRows(std::ostream& out) const
{
    const auto ms = [](double us) { return format(us < 10000.0 ? "%.2f ms" : "%.1f ms", us / 1000.0); };
    for (const char* kind : {"login", "position"}) {
        const std::string name = std::string("post/") + kind;
        if (find(name) == nullptr)
            continue;
        const std::string what = std::string("POST ") + kind + (kind[0] == 'p' ? " (mutual TLS)" : "") + ", " +
                                 bytes(counter(name, "body_bytes")) + " body";
        for (const char* p : {"p50", "p90"}) {
            const std::string key = std::string("_") + p + "_us";
            const double kit = counter(name, "kit" + key), qt = counter(name, "qt" + key),
                         curl = counter(name, "curl" + key);
            row(out, what + " " + p + " (b = kit)", ms(kit), "a = bare Qt " + ms(qt), "b/a " + times(kit / qt));
            row(out, what + " " + p + " (b = kit)", ms(kit), "c = libcurl " + ms(curl), "b/c " + times(kit / curl));
        }
    }
    // What was tried within Qt's public API, each beside the plain QByteArray POST of the same run.
    const std::string login = "post/login";
    if (find(login) == nullptr)
        return;
    const double qt = counter(login, "qt_p50_us");
    const std::pair<const char*, const char*> trials[] = {
        {"qt_device", "body as a QIODevice (QBuffer)"},
        {"qt_unbuffered", "QIODevice with DoNotBufferUploadDataAttribute"},
        {"qt_pipelining", "HttpPipeliningAllowedAttribute"},
        {"qt_http2", "Http2AllowedAttribute (the server offers HTTP/1.1 only)"},
        {"qt_expect", "header Expect: 100-continue"},
        {"qt_synchronous", "SynchronousRequestAttribute (internal; blocks the calling thread)"},
        {"qt_empty", "empty body (header only)"},
    };
    for (const auto& trial : trials) {
        const double value = counter(login, std::string(trial.first) + "_p50_us");
        const double failed = counter(login, std::string(trial.first) + "_failed");
        row(out, std::string("bare Qt POST login p50, ") + trial.second, ms(value) +
            (failed > 0 ? format(" (%.0f failed)", failed) : std::string()),
            "a = bare Qt QByteArray " + ms(qt), times(value / qt));
    }
}

void BenchTable::print(std::ostream& out) const
{
    out << "\n| Measure | OrvKit | Baseline | Ratio (time) |\n|---|---|---|---|\n";
    recordRows(out);
    networkRows(out);
    postRows(out);
    for (const std::string& name : order) {
        const auto it = results.find(name);
        if (it->second.failed)
            out << "\nfailed: " << name << ": " << it->second.error << "\n";
    }
}

bool BenchTable::anyFailed() const
{
    for (const auto& result : results)
        if (result.second.failed)
            return true;
    return false;
}
