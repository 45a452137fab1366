#include <OrvKitDat.h>

#include "data/OrvArchiveReader.h"
#include "data/OrvArchiveWriter.h"
#include "data/OrvJsonReader.h"
#include "data/OrvRecordCopier.h"

namespace OrvKitDat {

namespace {

const auto authFields = [](auto& io, auto& record) {
    io.text("access_token", record.accessToken);
    io.text("refresh_token", record.refreshToken);
    io.number("expires_in", record.expiresIn);
    // Sent as seconds since the epoch, which may not fit an int.
    io.timestamp("expiration_date", record.expirationDate);
    io.text("role", record.role);
};

} // namespace

AuthResponse::~AuthResponse() = default;

bool AuthResponse::fromJson(const std::vector<uint8_t>& body)
try {
    const QJsonObject top = OrvJsonReader::parseObject(body);
    if (top.isEmpty())
        return false;
    const OrvJsonReader reader(top);
    authFields(reader, *this);
    return true;
} catch (...) {
    return false;
}

bool AuthResponse::serialize(VxSerialization::Archive& archive) const
{
    return OrvArchiveWriter::write(archive, *this, authFields);
}

bool AuthResponse::unserialize(VxSerialization::Archive& archive)
{
    return OrvArchiveReader::read(archive, *this, authFields);
}

bool AuthResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
