#include <OrvKitDat.h>

#include "data/OrvJsonReader.h"
#include "data/OrvRecordArchive.h"
#include "data/OrvRecordCopier.h"

namespace OrvKitDat {

namespace {

// A spot-list entry has neither roadType nor route points.
const auto spotFields = [](auto& io, auto& spot) {
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
    io.text("createdAt", spot.createdAt);
    io.text("updatedAt", spot.updatedAt);
};

const auto spotsFields = [](auto& io, auto& record) {
    io.number("all", record.all);
    io.number("sort", record.sort);
    io.number("order", record.order);
    io.number("number", record.number);
    io.number("position", record.position);
    io.real("lon", record.lon);
    io.real("lat", record.lat);
    io.list("spots", record.spots, spotFields);
};

} // namespace

ORV_RECORD_ARCHIVE(BookmarksSpotsResponse::SpotsData, spotFields)

BookmarksSpotsResponse::~BookmarksSpotsResponse() = default;

bool BookmarksSpotsResponse::fromJson(const std::vector<uint8_t>& body)
{
    return OrvJsonReader::readObject(body, *this, spotsFields);
}

ORV_RECORD_ARCHIVE(BookmarksSpotsResponse, spotsFields)

bool BookmarksSpotsResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
