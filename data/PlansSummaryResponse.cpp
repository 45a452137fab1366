#include <OrvKitDat.h>

#include "data/OrvArchiveReader.h"
#include "data/OrvArchiveWriter.h"
#include "data/OrvJsonReader.h"
#include "data/OrvRecordCopier.h"

namespace OrvKitDat {

namespace {

const auto plansSummaryFields = [](auto& io, auto& record) {
    io.number("all", record.all);
    io.textList("plans", record.startDateTimes);
};

} // namespace

PlansSummaryResponse::~PlansSummaryResponse() = default;

bool PlansSummaryResponse::fromJson(const std::vector<uint8_t>& body)
try {
    QJsonObject top;
    if (!OrvJsonReader::parseObject(body, top))
        return false;
    const OrvJsonReader reader(top);
    reader.number("all", all);
    startDateTimes.clear();
    const QJsonArray plans = reader.value("plans").toArray();
    startDateTimes.reserve(static_cast<size_t>(plans.size()));
    // One entry per plan, even when a plan has no start time.
    for (int i = 0; i < plans.size(); ++i) {
        const QJsonValue startDateTime = plans.at(i).toObject().value(QLatin1String("startDateTime"));
        startDateTimes.push_back(OrvJsonReader::toText(startDateTime));
    }
    return true;
} catch (...) {
    return false;
}

bool PlansSummaryResponse::serialize(VxSerialization::Archive& archive) const
{
    return OrvArchiveWriter::write(archive, *this, plansSummaryFields);
}

bool PlansSummaryResponse::unserialize(VxSerialization::Archive& archive)
{
    return OrvArchiveReader::read(archive, *this, plansSummaryFields);
}

bool PlansSummaryResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
