#include <OrvKitDat.h>

#include "data/OrvJsonReader.h"
#include "data/OrvRecordArchive.h"
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

ORV_RECORD_ARCHIVE(BookmarksSpotDetailResponse::RoutePointData, OrvRoutePointFields())

BookmarksSpotDetailResponse::~BookmarksSpotDetailResponse() = default;

bool BookmarksSpotDetailResponse::fromJson(const std::vector<uint8_t>& body)
{
    return OrvJsonReader::readObject(body, *this, spotDetailFields);
}

ORV_RECORD_ARCHIVE(BookmarksSpotDetailResponse, spotDetailFields)

bool BookmarksSpotDetailResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
