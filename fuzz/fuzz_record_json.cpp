// Response bodies as the server might send them, good or hostile, through
// every record's fromJson. Each record must decode the body as the plain
// reference decoder on Qt does (tools/testkit/JsonReference.h); a body that
// decodes must survive the archive round trip and copyFrom unchanged, and
// decoding it twice must not differ.
#include "FuzzRecordList.h"

#include "JsonReference.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

template <class Record>
void decodeBody(const std::vector<uint8_t>& body)
{
    const JsonReference::Comparison comparison = JsonReference::compare(body, filledRecord<Record>(3, 1));
    if (!comparison.difference.empty()) {
        std::fprintf(stderr, "%s\n", comparison.difference.c_str());
        fuzzCheck(false, "fromJson decodes as the reference does");
    }

    Record record;
    if (!record.fromJson(body))
        return;
    const std::vector<uint8_t> encoded = archiveOf(record);

    Record again;
    VxSerialization::Archive archive;
    archive.write(encoded.data(), encoded.size());
    archive.write(0xC0FFEEu);
    fuzzCheck(again.unserialize(archive), "unserialize of a decoded record");
    fuzzCheck(archiveOf(again) == encoded, "archive round trip of a decoded record");
    unsigned int next = 0;
    fuzzCheck(archive.read(next) == 0 && next == 0xC0FFEEu, "archive read to its exact end");

    Record copy;
    fuzzCheck(copy.copyFrom(&record), "copyFrom of the same class");
    fuzzCheck(archiveOf(copy) == encoded, "copyFrom copies every member");

    fuzzCheck(record.fromJson(body), "second decode of the same body");
    fuzzCheck(archiveOf(record) == encoded, "second decode gives the same record");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<uint8_t> body(data, data + size);
    forEachResponseRecord([&body](auto record) { decodeBody<decltype(record)>(body); });
    return 0;
}
