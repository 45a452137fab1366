#include <OrvKitDat.h>

#include "data/OrvArchiveReader.h"
#include "data/OrvArchiveWriter.h"
#include "data/OrvJsonReader.h"
#include "data/OrvRecordCopier.h"
#include "data/OrvRoutePointFields.h"

namespace OrvKitDat {

namespace {

const auto spotDetailFields = [](auto& io, auto& spot) {
    io.text("id", spot.id);
    io.text("folderId", spot.folderId);
    io.real("lon", spot.lon);
    io.real("lat", spot.lat);
    io.text("prefCode", spot.prefCode);
    io.text("cityCode", spot.cityCode);
    io.text("name", spot.name);
    io.text("yomi", spot.yomi);
    io.text("zipCode", spot.zipCode);
    io.text("address", spot.address);
    io.text("tel", spot.tel);
    io.text("memo", spot.memo);
    io.text("url", spot.url);
    io.number("genreCodeL", spot.genreCodeL);
    io.number("genreCodeM", spot.genreCodeM);
    io.number("genreCodeS", spot.genreCodeS);
    io.number("genreCodeSS", spot.genreCodeSS);
    io.text("genreName", spot.genreName);
    io.text("spotCode", spot.spotCode);
    io.number("groupCode", spot.groupCode);
    io.number("chainCode", spot.chainCode);
    io.number("recordSeq", spot.recordSeq);
    io.number("roadType", spot.roadType);
    io.text("createdAt", spot.createdAt);
    io.text("updatedAt", spot.updatedAt);
    io.list("routePoints", spot.routePoints, OrvRoutePointFields());
};

} // namespace

bool BookmarksSpotDetailResponse::RoutePointData::serialize(VxSerialization::Archive& archive) const
{
    return OrvArchiveWriter::write(archive, *this, OrvRoutePointFields());
}

bool BookmarksSpotDetailResponse::RoutePointData::unserialize(VxSerialization::Archive& archive)
{
    return OrvArchiveReader::read(archive, *this, OrvRoutePointFields());
}

BookmarksSpotDetailResponse::~BookmarksSpotDetailResponse() = default;

bool BookmarksSpotDetailResponse::fromJson(const std::vector<uint8_t>& body)
try {
    const QJsonObject top = OrvJsonReader::parseObject(body);
    if (top.isEmpty())
        return false;
    const OrvJsonReader reader(top);
    spotDetailFields(reader, *this);
    return true;
} catch (...) {
    return false;
}

bool BookmarksSpotDetailResponse::serialize(VxSerialization::Archive& archive) const
{
    return OrvArchiveWriter::write(archive, *this, spotDetailFields);
}

bool BookmarksSpotDetailResponse::unserialize(VxSerialization::Archive& archive)
{
    return OrvArchiveReader::read(archive, *this, spotDetailFields);
}

bool BookmarksSpotDetailResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
