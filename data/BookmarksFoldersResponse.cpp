#include <OrvKitDat.h>

#include "data/OrvArchiveReader.h"
#include "data/OrvArchiveWriter.h"
#include "data/OrvJsonReader.h"
#include "data/OrvRecordCopier.h"

namespace OrvKitDat {

namespace {

const auto folderFields = [](auto& io, auto& folder) {
    io.text("id", folder.id);
    io.text("name", folder.name);
    io.text("type", folder.type);
    io.text("createdAt", folder.createdAt);
    io.text("updatedAt", folder.updatedAt);
};

const auto foldersFields = [](auto& io, auto& record) {
    io.number("all", record.all);
    io.number("sort", record.sort);
    io.number("order", record.order);
    io.number("number", record.number);
    io.number("position", record.position);
    io.list("folders", record.folders, folderFields);
};

} // namespace

bool BookmarksFoldersResponse::FolderData::serialize(VxSerialization::Archive& archive) const
{
    return OrvArchiveWriter::write(archive, *this, folderFields);
}

bool BookmarksFoldersResponse::FolderData::unserialize(VxSerialization::Archive& archive)
{
    return OrvArchiveReader::read(archive, *this, folderFields);
}

BookmarksFoldersResponse::~BookmarksFoldersResponse() = default;

bool BookmarksFoldersResponse::fromJson(const std::vector<uint8_t>& body)
try {
    const QJsonObject top = OrvJsonReader::parseObject(body);
    if (top.isEmpty())
        return false;
    const OrvJsonReader reader(top);
    foldersFields(reader, *this);
    return true;
} catch (...) {
    return false;
}

bool BookmarksFoldersResponse::serialize(VxSerialization::Archive& archive) const
{
    return OrvArchiveWriter::write(archive, *this, foldersFields);
}

bool BookmarksFoldersResponse::unserialize(VxSerialization::Archive& archive)
{
    return OrvArchiveReader::read(archive, *this, foldersFields);
}

bool BookmarksFoldersResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
