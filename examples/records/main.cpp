// Decodes an information-summary body read from stdin and sends it through
// the binary archive and back. Needs no Qt and no network, so it builds
// from the pkg-config file alone:
//   c++ -std=c++17 main.cpp $(pkg-config --cflags --libs orvkit) -o orvkit-records
#include <OrvKitDat.h>

#include <cstdio>
#include <iostream>
#include <iterator>
#include <vector>

int main()
{
    const std::vector<uint8_t> body((std::istreambuf_iterator<char>(std::cin)), std::istreambuf_iterator<char>());
    OrvKitDat::SummaryResponse summary;
    if (!summary.fromJson(body)) {
        std::fprintf(stderr, "not a summary body\n");
        return 1;
    }

    VxSerialization::Archive archive;
    summary.serialize(archive);
    // As another component would receive it: the bytes alone.
    VxSerialization::Archive received(archive.data(), archive.size());
    OrvKitDat::SummaryResponse copy;
    if (!copy.unserialize(received) || copy.spotCount != summary.spotCount ||
        copy.agreementUpdatedAt != summary.agreementUpdatedAt) {
        std::fprintf(stderr, "the archive did not give the record back\n");
        return 1;
    }
    std::printf("spots %u, folders %u, destinations %u, plans %u, agreement %s; archive %zu bytes\n", copy.spotCount,
                copy.folderCount, copy.destinationCount, copy.planCount, copy.agreementUpdatedAt.c_str(),
                archive.size());
    return 0;
}
