#include <OrvKitDat.h>

#include "data/OrvJsonReader.h"
#include "data/OrvRecordArchive.h"
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
{
    return OrvJsonReader::readObject(body, *this, authFields);
}

ORV_RECORD_ARCHIVE(AuthResponse, authFields)

bool AuthResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
