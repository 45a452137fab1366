#include <OrvKitDat.h>

#include "data/OrvJsonReader.h"
#include "data/OrvRecordArchive.h"
#include "data/OrvRecordCopier.h"
#include "data/OrvRoutePointFields.h"

namespace OrvKitDat {

namespace {

// share, tollway, priority, ferries, cartype, smartIc, useETC and
// startTimeIsFixed are numbers on the wire; a JSON boolean reads as 0.
const auto planPointFields = [](auto& io, auto& point) {
    io.number("order", point.order);
    io.text("name", point.name);
    io.text("memo", point.memo);
    io.real("lon", point.lon);
    io.real("lat", point.lat);
    io.text("spotCode", point.spotCode);
    io.number("groupCode", point.groupCode);
    io.number("chainCode", point.chainCode);
    io.number("recordSeq", point.recordSeq);
    io.real("rspLon", point.rspLon);
    io.real("rspLat", point.rspLat);
    io.number("blankMinutes", point.blankMinutes);
    io.text("startTime", point.startTime);
    io.number("stayMinutes", point.stayMinutes);
    io.number("startTimeIsFixed", point.startTimeIsFixed);
    io.number("roadType", point.roadType);
    io.list("routePoints", point.routePoints, OrvRoutePointFields());
};

const auto planFields = [](auto& io, auto& plan) {
    io.text("id", plan.id);
    io.text("name", plan.name);
    io.text("memo", plan.memo);
    io.text("baseDate", plan.baseDate);
    io.number("share", plan.share);
    io.text("way", plan.way);
    io.number("tollway", plan.tollway);
    io.number("priority", plan.priority);
    io.number("ferries", plan.ferries);
    io.number("cartype", plan.cartype);
    io.number("smartIc", plan.smartIc);
    io.number("normalSpeed", plan.normalSpeed);
    io.number("highwaySpeed", plan.highwaySpeed);
    io.number("tollwaySpeed", plan.tollwaySpeed);
    io.number("useETC", plan.useETC);
    io.text("createdAt", plan.createdAt);
    io.text("updatedAt", plan.updatedAt);
    io.list("planpoints", plan.planpoints, planPointFields);
};

// The body is a bare array, so the list has no key of its own.
const auto plansFields = [](auto& io, auto& record) {
    io.list(nullptr, record.plans, planFields);
};

} // namespace

ORV_RECORD_ARCHIVE(PlansResponse::PlanData::PlanPointData::RoutePointData, OrvRoutePointFields())
ORV_RECORD_ARCHIVE(PlansResponse::PlanData::PlanPointData, planPointFields)
ORV_RECORD_ARCHIVE(PlansResponse::PlanData, planFields)

PlansResponse::~PlansResponse() = default;

bool PlansResponse::fromJson(const std::vector<uint8_t>& body)
{
    return OrvJsonReader::readArray(body, plans, planFields);
}

ORV_RECORD_ARCHIVE(PlansResponse, plansFields)

bool PlansResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
