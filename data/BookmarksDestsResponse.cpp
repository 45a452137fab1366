#include <OrvKitDat.h>

#include "data/OrvJsonReader.h"
#include "data/OrvRecordArchive.h"
#include "data/OrvRecordCopier.h"
#include "data/OrvRoutePointFields.h"

namespace OrvKitDat {

namespace {

// A destination carries no folderId.
const auto destFields = [](auto& io, auto& dest) {
    io.text("id", dest.id);
    io.real("lon", dest.lon);
    io.real("lat", dest.lat);
    io.text("prefCode", dest.prefCode);
    io.text("cityCode", dest.cityCode);
    io.text("name", dest.name);
    io.text("yomi", dest.yomi);
    io.text("zipCode", dest.zipCode);
    io.text("address", dest.address);
    io.text("tel", dest.tel);
    io.text("memo", dest.memo);
    io.text("url", dest.url);
    io.number("genreCodeL", dest.genreCodeL);
    io.number("genreCodeM", dest.genreCodeM);
    io.number("genreCodeS", dest.genreCodeS);
    io.number("genreCodeSS", dest.genreCodeSS);
    io.text("genreName", dest.genreName);
    io.text("spotCode", dest.spotCode);
    io.number("groupCode", dest.groupCode);
    io.number("chainCode", dest.chainCode);
    io.number("recordSeq", dest.recordSeq);
    io.number("roadType", dest.roadType);
    io.text("createdAt", dest.createdAt);
    io.text("updatedAt", dest.updatedAt);
    io.list("routePoints", dest.routePoints, OrvRoutePointFields());
};

// The body is a bare array, so the list has no key of its own.
const auto destsFields = [](auto& io, auto& record) {
    io.list(nullptr, record.dests, destFields);
};

} // namespace

ORV_RECORD_ARCHIVE(BookmarksDestsResponse::DestData::RoutePointData, OrvRoutePointFields())
ORV_RECORD_ARCHIVE(BookmarksDestsResponse::DestData, destFields)

BookmarksDestsResponse::~BookmarksDestsResponse() = default;

bool BookmarksDestsResponse::fromJson(const std::vector<uint8_t>& body)
{
    return OrvJsonReader::readArray(body, dests, destFields);
}

ORV_RECORD_ARCHIVE(BookmarksDestsResponse, destsFields)

bool BookmarksDestsResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
