#include <OrvKitDat.h>

#include "data/OrvArchiveReader.h"
#include "data/OrvArchiveWriter.h"
#include "data/OrvJsonReader.h"
#include "data/OrvRecordCopier.h"

namespace OrvKitDat {

namespace {

// Archive order only; the JSON is read by readCollection below.
const auto summaryFields = [](auto& io, auto& record) {
    io.number("spot.count", record.spotCount);
    io.text("spot.updatedAt", record.spotUpdatedAt);
    io.number("folder.count", record.folderCount);
    io.text("folder.updatedAt", record.folderUpdatedAt);
    io.number("destination.count", record.destinationCount);
    io.text("destination.updatedAt", record.destinationUpdatedAt);
    io.number("plan.count", record.planCount);
    io.text("plan.updatedAt", record.planUpdatedAt);
    io.text("agreement.updatedAt", record.agreementUpdatedAt);
};

// A pair changes only when both of its keys are present, so a half-sent
// collection keeps the values the record already had.
void readCollection(const OrvJsonReader& top, const char* name, uint32_t& count, std::string& updatedAt)
{
    const OrvJsonReader collection = top.object(name);
    if (collection.isEmpty())
        return;
    const char* countAt = collection.find("count");
    const char* updatedAtAt = collection.find("updatedAt");
    if (countAt == nullptr || updatedAtAt == nullptr)
        return;
    const char* after = nullptr;
    count = OrvJsonReader::numberAt(countAt, collection.end(), after);
    updatedAt = OrvJsonReader::textAt(updatedAtAt, collection.end(), after);
}

} // namespace

SummaryResponse::~SummaryResponse() = default;

bool SummaryResponse::fromJson(const std::vector<uint8_t>& body)
try {
    OrvJsonText text;
    if (!OrvJsonReader::parseObject(body, text))
        return false;
    const OrvJsonReader top(text.top(), text.end());
    readCollection(top, "spot", spotCount, spotUpdatedAt);
    readCollection(top, "folder", folderCount, folderUpdatedAt);
    readCollection(top, "destination", destinationCount, destinationUpdatedAt);
    readCollection(top, "plan", planCount, planUpdatedAt);
    const OrvJsonReader agreement = top.object("agreement");
    if (!agreement.isEmpty()) {
        const char* after = nullptr;
        if (const char* updatedAt = agreement.find("updatedAt"))
            agreementUpdatedAt = OrvJsonReader::textAt(updatedAt, agreement.end(), after);
    }
    return true;
} catch (...) {
    return false;
}

bool SummaryResponse::serialize(VxSerialization::Archive& archive) const
{
    return OrvArchiveWriter::write(archive, *this, summaryFields);
}

bool SummaryResponse::unserialize(VxSerialization::Archive& archive)
{
    return OrvArchiveReader::read(archive, *this, summaryFields);
}

bool SummaryResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
