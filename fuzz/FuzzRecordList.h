#ifndef ORVKIT_FUZZ_RECORD_LIST_H
#define ORVKIT_FUZZ_RECORD_LIST_H

#include <OrvKitDat.h>
#include <VxSerialization.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

// Calls visit(Record()) once for every response record of the public API.
template <class Visit>
void forEachResponseRecord(Visit&& visit)
{
    visit(OrvKitDat::ErrorResponse());
    visit(OrvKitDat::AuthResponse());
    visit(OrvKitDat::SummaryResponse());
    visit(OrvKitDat::CertificateResponse());
    visit(OrvKitDat::BookmarksSpotsResponse());
    visit(OrvKitDat::BookmarksSpotDetailResponse());
    visit(OrvKitDat::BookmarksFoldersResponse());
    visit(OrvKitDat::BookmarksDestsResponse());
    visit(OrvKitDat::PlansSummaryResponse());
    visit(OrvKitDat::PlansResponse());
    visit(OrvKitDat::GenresResponse());
}

// The request records travel through the archive as well.
template <class Visit>
void forEachRequestRecord(Visit&& visit)
{
    visit(OrvKitDat::CertificateRequest());
    visit(OrvKitDat::CarPositions());
}

template <class Record>
std::vector<uint8_t> archiveOf(const Record& record)
{
    VxSerialization::Archive archive;
    if (!record.serialize(archive))
        std::abort();
    return archive.bytes();
}

// A failed property is a finding: report it and stop like a crash would.
inline void fuzzCheck(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "property violated: %s\n", what);
        std::abort();
    }
}

#endif
