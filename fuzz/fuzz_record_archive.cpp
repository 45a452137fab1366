// Archive bytes as an application might hand them over, intact or not,
// through every record's unserialize (the device-shadow command reads
// CarPositions this way). What was read must write back to bytes that read
// back to the same record, and a hostile count must not make a record grow
// beyond what the archive could hold.
#include "FuzzRecordList.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

// Only the archive's own operations: the bytes go in as a raw block.
template <class Record>
Record readRecord(const uint8_t* data, size_t size)
{
    VxSerialization::Archive archive;
    archive.write(data, size);
    Record record;
    fuzzCheck(record.unserialize(archive), "unserialize reports success");
    return record;
}

template <class Record>
void checkRecord(const uint8_t* data, size_t size)
{
    // Lists keep only the elements read whole, so a record written back holds
    // what was read and the defaults of the members after the damage.
    const Record record = readRecord<Record>(data, size);
    const std::vector<uint8_t> encoded = archiveOf(record);
    fuzzCheck(encoded.size() <= size + archiveOf(Record()).size(), "record stays within its archive");

    VxSerialization::Archive archive;
    archive.write(encoded.data(), encoded.size());
    archive.write(0xC0FFEEu);
    Record again;
    again.unserialize(archive);
    fuzzCheck(archiveOf(again) == encoded, "archive round trip after a hostile read");
    unsigned int next = 0;
    fuzzCheck(archive.read(next) == 0 && next == 0xC0FFEEu, "written archive is read to its exact end");
}

bool startsWith(const std::vector<uint8_t>& bytes, const std::string& prefix)
{
    return bytes.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), bytes.begin());
}

bool endsWith(const std::vector<uint8_t>& bytes, const std::string& suffix)
{
    return bytes.size() >= suffix.size() && std::equal(suffix.rbegin(), suffix.rend(), bytes.rbegin());
}

// The request bodies are built from whatever the archive held.
void checkBodies(const uint8_t* data, size_t size)
{
    std::vector<uint8_t> body;
    fuzzCheck(readRecord<OrvKitDat::CertificateRequest>(data, size).makeJson(body), "certificate body");
    fuzzCheck(startsWith(body, "{\"model\": \"") && endsWith(body, "\"}"), "certificate body frame");

    fuzzCheck(readRecord<OrvKitDat::CarPositions>(data, size).makeJson(body), "position body");
    fuzzCheck(startsWith(body, "{\"state\":{\"reported\":{\"maker\": \"") && endsWith(body, "}]}}}"),
              "position body frame");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const auto visit = [data, size](auto record) { checkRecord<decltype(record)>(data, size); };
    forEachResponseRecord(visit);
    forEachRequestRecord(visit);
    checkBodies(data, size);
    return 0;
}
