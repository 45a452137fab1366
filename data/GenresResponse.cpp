#include <OrvKitDat.h>

#include "data/OrvArchiveReader.h"
#include "data/OrvArchiveWriter.h"
#include "data/OrvJsonReader.h"
#include "data/OrvRecordCopier.h"

namespace OrvKitDat {

namespace {

// tree_flag is text and tree_code a number, as the server sends them. A
// sub-genre's own "item" is not descended into: the tree has two levels.
const auto subGenreFields = [](auto& io, auto& genre) {
    io.number("p_genre_key", genre.pGenreKey);
    io.number("genre_key", genre.genreKey);
    io.text("name", genre.name);
    io.text("yomi", genre.yomi);
    io.text("tree_flag", genre.treeFlag);
    io.number("tree_code", genre.treeCode);
};

const auto mainGenreFields = [](auto& io, auto& genre) {
    subGenreFields(io, genre);
    io.list("item", genre.subGenres, subGenreFields);
};

const auto genresFields = [](auto& io, auto& record) {
    io.list("item", record.mainGenres, mainGenreFields);
    io.text("updatedAt", record.updatedAt);
};

} // namespace

bool GenresResponse::MainGenreData::SubGenreData::serialize(VxSerialization::Archive& archive) const
{
    return OrvArchiveWriter::write(archive, *this, subGenreFields);
}

bool GenresResponse::MainGenreData::SubGenreData::unserialize(VxSerialization::Archive& archive)
{
    return OrvArchiveReader::read(archive, *this, subGenreFields);
}

bool GenresResponse::MainGenreData::serialize(VxSerialization::Archive& archive) const
{
    return OrvArchiveWriter::write(archive, *this, mainGenreFields);
}

bool GenresResponse::MainGenreData::unserialize(VxSerialization::Archive& archive)
{
    return OrvArchiveReader::read(archive, *this, mainGenreFields);
}

GenresResponse::~GenresResponse() = default;

bool GenresResponse::fromJson(const std::vector<uint8_t>& body)
try {
    const QJsonObject top = OrvJsonReader::parseObject(body);
    if (top.isEmpty())
        return false;
    const OrvJsonReader reader(top);
    genresFields(reader, *this);
    return true;
} catch (...) {
    return false;
}

bool GenresResponse::serialize(VxSerialization::Archive& archive) const
{
    return OrvArchiveWriter::write(archive, *this, genresFields);
}

bool GenresResponse::unserialize(VxSerialization::Archive& archive)
{
    return OrvArchiveReader::read(archive, *this, genresFields);
}

bool GenresResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
