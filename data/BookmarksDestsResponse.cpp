#include <OrvKitDat.h>

#include "data/OrvArchiveReader.h"
#include "data/OrvArchiveWriter.h"
#include "data/OrvJsonReader.h"
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

bool BookmarksDestsResponse::DestData::RoutePointData::serialize(VxSerialization::Archive& archive) const
{
    return OrvArchiveWriter::write(archive, *this, OrvRoutePointFields());
}

bool BookmarksDestsResponse::DestData::RoutePointData::unserialize(VxSerialization::Archive& archive)
{
    return OrvArchiveReader::read(archive, *this, OrvRoutePointFields());
}

bool BookmarksDestsResponse::DestData::serialize(VxSerialization::Archive& archive) const
{
    return OrvArchiveWriter::write(archive, *this, destFields);
}

bool BookmarksDestsResponse::DestData::unserialize(VxSerialization::Archive& archive)
{
    return OrvArchiveReader::read(archive, *this, destFields);
}

BookmarksDestsResponse::~BookmarksDestsResponse() = default;

bool BookmarksDestsResponse::fromJson(const std::vector<uint8_t>& body)
try {
    // No destinations at all is a failed parse, not an empty list.
    const QJsonArray top = OrvJsonReader::parseArray(body);
    if (top.isEmpty())
        return false;
    OrvJsonReader::fill(top, dests, destFields);
    return true;
} catch (...) {
    return false;
}

bool BookmarksDestsResponse::serialize(VxSerialization::Archive& archive) const
{
    return OrvArchiveWriter::write(archive, *this, destsFields);
}

bool BookmarksDestsResponse::unserialize(VxSerialization::Archive& archive)
{
    return OrvArchiveReader::read(archive, *this, destsFields);
}

bool BookmarksDestsResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
