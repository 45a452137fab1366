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
void readCollection(const QJsonObject& top, const char* name, uint32_t& count, std::string& updatedAt)
{
    const QJsonObject collection = top.value(QLatin1String(name)).toObject();
    const QJsonObject::const_iterator countAt = collection.constFind(QLatin1String("count"));
    const QJsonObject::const_iterator updatedAtAt = collection.constFind(QLatin1String("updatedAt"));
    if (countAt == collection.constEnd() || updatedAtAt == collection.constEnd())
        return;
    count = static_cast<uint32_t>(countAt.value().toInt());
    updatedAt = updatedAtAt.value().toString().toStdString();
}

} // namespace

SummaryResponse::~SummaryResponse() = default;

bool SummaryResponse::fromJson(const std::vector<uint8_t>& body)
try {
    const QJsonObject top = OrvJsonReader::parseObject(body);
    if (top.isEmpty())
        return false;
    readCollection(top, "spot", spotCount, spotUpdatedAt);
    readCollection(top, "folder", folderCount, folderUpdatedAt);
    readCollection(top, "destination", destinationCount, destinationUpdatedAt);
    readCollection(top, "plan", planCount, planUpdatedAt);
    const QJsonObject agreement = top.value(QLatin1String("agreement")).toObject();
    const QJsonObject::const_iterator updatedAt = agreement.constFind(QLatin1String("updatedAt"));
    if (updatedAt != agreement.constEnd())
        agreementUpdatedAt = updatedAt.value().toString().toStdString();
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
