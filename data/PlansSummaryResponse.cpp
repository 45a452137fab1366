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
    const QJsonObject top = OrvJsonReader::parseObject(body);
    if (top.isEmpty())
        return false;
    const OrvJsonReader reader(top);
    reader.number("all", all);
    // One entry per plan, even when a plan has no start time.
    reader.list("plans", startDateTimes,
                [](const OrvJsonReader& plan, std::string& startDateTime) { plan.text("startDateTime", startDateTime); });
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
