#include <OrvKitDat.h>

#include "data/OrvRecordArchive.h"
#include "data/OrvTextFormatter.h"

namespace OrvKitDat {

namespace {

const auto carPositionsFields = [](auto& io, auto& record) {
    io.text("maker", record.maker);
    io.text("model", record.model);
    io.text("deviceNo", record.deviceNo);
    io.text("type", record.type);
    io.real("lon", record.lon);
    io.real("lat", record.lat);
    io.text("measuredAt", record.measuredAt);
    io.number("direction", record.direction);
    io.number("speed", record.speed);
    io.real("elevation", record.elevation);
    io.real("accuracy", record.accuracy);
    io.number("roadType", record.roadType);
    io.flag("accOff", record.accOff);
};

} // namespace

ORV_RECORD_ARCHIVE(CarPositions, carPositionsFields)

bool CarPositions::makeJson(std::vector<uint8_t>& out) const
try {
    const std::string text = OrvTextFormatter::format(
        "{\"state\":{\"reported\":{\"maker\": \"%s\",\"model\": \"%s\",\"deviceNo\": \"%s\",\"type\": \"%s\","
        "\"positions\": [{\"lon\": %.12lf,\"lat\": %.12lf,\"measuredAt\": \"%s\",\"direction\": %u,"
        "\"speed\": %u,\"elevation\": %.2lf,\"accuracy\": %.1lf,\"roadType\": %u,\"accOff\": %s}]}}}",
        maker.c_str(), model.c_str(), deviceNo.c_str(), type.c_str(), lon, lat, measuredAt.c_str(), direction,
        speed, elevation, accuracy, roadType, accOff ? "true" : "false");
    out.assign(text.begin(), text.end());
    return true;
} catch (...) {
    out.clear();
    return true;
}

} // namespace OrvKitDat
