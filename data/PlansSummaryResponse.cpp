#include <OrvKitDat.h>

#include "data/OrvJsonReader.h"
#include "data/OrvRecordArchive.h"
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
{
    return OrvJsonReader::readObject(body, *this, [](const OrvJsonReader& top, PlansSummaryResponse& record) {
        top.number("all", record.all);
        // One entry per plan, even when a plan has no start time.
        top.list("plans", record.startDateTimes,
                 [](const OrvJsonReader& plan, std::string& startDateTime) { plan.text("startDateTime", startDateTime); });
    });
}

ORV_RECORD_ARCHIVE(PlansSummaryResponse, plansSummaryFields)

bool PlansSummaryResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
