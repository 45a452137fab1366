#include <OrvKitDat.h>

#include "data/OrvJsonReader.h"
#include "data/OrvRecordArchive.h"
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

ORV_RECORD_ARCHIVE(GenresResponse::MainGenreData::SubGenreData, subGenreFields)
ORV_RECORD_ARCHIVE(GenresResponse::MainGenreData, mainGenreFields)

GenresResponse::~GenresResponse() = default;

bool GenresResponse::fromJson(const std::vector<uint8_t>& body)
{
    return OrvJsonReader::readObject(body, *this, genresFields);
}

ORV_RECORD_ARCHIVE(GenresResponse, genresFields)

bool GenresResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
