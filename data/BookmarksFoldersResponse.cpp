#include <OrvKitDat.h>

#include "data/OrvJsonReader.h"
#include "data/OrvRecordArchive.h"
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

ORV_RECORD_ARCHIVE(BookmarksFoldersResponse::FolderData, folderFields)

BookmarksFoldersResponse::~BookmarksFoldersResponse() = default;

bool BookmarksFoldersResponse::fromJson(const std::vector<uint8_t>& body)
{
    return OrvJsonReader::readObject(body, *this, foldersFields);
}

ORV_RECORD_ARCHIVE(BookmarksFoldersResponse, foldersFields)

bool BookmarksFoldersResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
