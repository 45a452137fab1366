// Response bodies as the server might send them, good or hostile, through
// every record's fromJson. A body that decodes must survive the archive
// round trip and copyFrom unchanged, and decoding it twice must not differ.
#include "FuzzRecordList.h"

#include "data/OrvJsonDuplicateKeys.h"
#include "data/OrvJsonReader.h"

#include <VxHostArchive.h>

#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

template <class Record>
void decodeBody(const std::vector<uint8_t>& body)
{
    Record record;
    if (!record.fromJson(body))
        return;
    const std::vector<uint8_t> encoded = archiveOf(record);

    Record again;
    VxHostArchive archive(encoded.data(), encoded.size());
    fuzzCheck(again.unserialize(archive), "unserialize of a decoded record");
    fuzzCheck(archiveOf(again) == encoded, "archive round trip of a decoded record");
    fuzzCheck(archive.remaining() == 0 && !archive.isExhausted(), "archive read to its exact end");

    Record copy;
    fuzzCheck(copy.copyFrom(&record), "copyFrom of the same class");
    fuzzCheck(archiveOf(copy) == encoded, "copyFrom copies every member");

    fuzzCheck(record.fromJson(body), "second decode of the same body");
    fuzzCheck(archiveOf(record) == encoded, "second decode gives the same record");
}

// The reader's own UTF-8 encoder must agree with Qt's.
void compareUtf8(const uint8_t* data, size_t size)
{
    const QString fromUtf8 = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<int>(size));
    fuzzCheck(OrvJsonReader::toUtf8(fromUtf8) == fromUtf8.toStdString(), "toUtf8 of UTF-8 text");
    // Raw UTF-16 reaches unpaired surrogates, which UTF-8 input cannot.
    std::vector<ushort> units(size / 2);
    if (!units.empty())
        std::memcpy(units.data(), data, units.size() * sizeof(ushort));
    const QString fromUtf16(reinterpret_cast<const QChar*>(units.data()), static_cast<int>(units.size()));
    fuzzCheck(OrvJsonReader::toUtf8(fromUtf16) == fromUtf16.toStdString(), "toUtf8 of UTF-16 text");
}

// Renaming repeated keys must leave no repeated key behind.
void checkRenaming(const uint8_t* data, size_t size)
{
    std::string renamed;
    if (!OrvJsonDuplicateKeys::renameEarlier(reinterpret_cast<const char*>(data), size, renamed))
        return;
    std::string again;
    fuzzCheck(!OrvJsonDuplicateKeys::renameEarlier(renamed.data(), renamed.size(), again), "renaming is complete");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<uint8_t> body(data, data + size);
    forEachResponseRecord([&body](auto record) { decodeBody<decltype(record)>(body); });
    compareUtf8(data, size);
    checkRenaming(data, size);
    return 0;
}
