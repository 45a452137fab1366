#ifndef ORVKIT_BENCH_BODIES_H
#define ORVKIT_BENCH_BODIES_H

#include <QJsonObject>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Realistic response bodies made from the simulator's seed data: list bodies
// are grown to a target size by repeating the seed entries under fresh ids.
// Keys come in the server's order, compact, as the cloud sends them.
class BenchBodies
{
public:
    enum Kind {
        Spots,
        SpotDetail,
        Folders,
        Destinations,
        PlansSummary,
        Plans,
        Genres,
        InfoSummary,
        Auth,
        Error,
        Certificate
    };

    // Loads the seed once; aborts the process when it is missing.
    static const BenchBodies& instance();

    // A list kind grows to at least targetBytes; other kinds ignore it.
    std::vector<uint8_t> body(Kind kind, size_t targetBytes) const;
    static bool isList(Kind kind);
    static const char* name(Kind kind);

private:
    BenchBodies();
    std::string listBody(Kind kind, size_t count) const;
    std::string entry(Kind kind, size_t index) const;

    QJsonObject seed;
};

#endif
