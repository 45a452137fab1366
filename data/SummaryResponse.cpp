#include <OrvKitDat.h>

#include "data/OrvJsonReader.h"
#include "data/OrvRecordArchive.h"
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
    const QJsonObject collection = top.value(name).toObject();
    const auto countAt = collection.constFind(QLatin1String("count"));
    const auto updatedAtAt = collection.constFind(QLatin1String("updatedAt"));
    if (countAt == collection.constEnd() || updatedAtAt == collection.constEnd())
        return;
    count = static_cast<uint32_t>(countAt.value().toInt());
    updatedAt = updatedAtAt.value().toString().toStdString();
}

} // namespace

SummaryResponse::~SummaryResponse() = default;

bool SummaryResponse::fromJson(const std::vector<uint8_t>& body)
{
    return OrvJsonReader::readObject(body, *this, [](const OrvJsonReader& top, SummaryResponse& record) {
        readCollection(top, "spot", record.spotCount, record.spotUpdatedAt);
        readCollection(top, "folder", record.folderCount, record.folderUpdatedAt);
        readCollection(top, "destination", record.destinationCount, record.destinationUpdatedAt);
        readCollection(top, "plan", record.planCount, record.planUpdatedAt);
        const QJsonObject agreement = top.value("agreement").toObject();
        const auto updatedAt = agreement.constFind(QLatin1String("updatedAt"));
        if (updatedAt != agreement.constEnd())
            record.agreementUpdatedAt = updatedAt.value().toString().toStdString();
    });
}

ORV_RECORD_ARCHIVE(SummaryResponse, summaryFields)

bool SummaryResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
