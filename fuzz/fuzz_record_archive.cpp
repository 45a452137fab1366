// Archive bytes as an application might hand them over, intact or not,
// through every record's unserialize (the device-shadow command reads
// CarPositions this way). What was read must write back to bytes that read
// back to the same record, and a hostile count must not make a record grow
// beyond what the archive could hold.
#include "FuzzRecordList.h"

#include <VxHostArchive.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

// Reading stops at the first short value, so a record written back is at
// most the input plus the defaults of one half-read element chain.
const size_t kDefaultsAllowance = 4096;

template <class Record>
Record readRecord(const uint8_t* data, size_t size)
{
    VxSerialization::Archive archive(data, size);
    Record record;
    fuzzCheck(record.unserialize(archive), "unserialize reports success");
    return record;
}

template <class Record>
void checkRecord(const uint8_t* data, size_t size)
{
    const Record record = readRecord<Record>(data, size);
    const std::vector<uint8_t> encoded = archiveOf(record);
    fuzzCheck(encoded.size() <= size + kDefaultsAllowance, "record stays within its archive");

    VxHostArchive archive(encoded.data(), encoded.size());
    Record again;
    again.unserialize(archive);
    fuzzCheck(archiveOf(again) == encoded, "archive round trip after a hostile read");
    fuzzCheck(archive.remaining() == 0 && !archive.isExhausted(), "written archive is read to its exact end");
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
