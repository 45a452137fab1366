#include <OrvKitDat.h>

#include "data/OrvArchiveReader.h"
#include "data/OrvArchiveWriter.h"
#include "data/OrvJsonReader.h"
#include "data/OrvRecordCopier.h"

namespace OrvKitDat {

namespace {

const auto errorFields = [](auto& io, auto& record) {
    io.text("code", record.code);
    io.text("message", record.message);
};

} // namespace

ErrorResponse::~ErrorResponse() = default;

bool ErrorResponse::fromJson(const std::vector<uint8_t>& body)
try {
    const QJsonObject top = OrvJsonReader::parseObject(body);
    if (top.isEmpty())
        return false;
    // A missing "error", or one that is not an object, is still a success
    // with empty members: only the top level is tested for emptiness.
    const OrvJsonReader error(top.value(QLatin1String("error")).toObject());
    errorFields(error, *this);
    return true;
} catch (...) {
    return false;
}

bool ErrorResponse::serialize(VxSerialization::Archive& archive) const
{
    return OrvArchiveWriter::write(archive, *this, errorFields);
}

bool ErrorResponse::unserialize(VxSerialization::Archive& archive)
{
    return OrvArchiveReader::read(archive, *this, errorFields);
}

bool ErrorResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
