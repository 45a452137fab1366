#include <OrvKitDat.h>

#include "data/OrvJsonReader.h"
#include "data/OrvRecordArchive.h"
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
{
    // A missing "error", or one that is not an object, is still a success
    // with empty members: only the top level is tested for emptiness.
    return OrvJsonReader::readObject(body, *this, [](const OrvJsonReader& top, ErrorResponse& record) {
        const OrvJsonReader error(top.value("error").toObject());
        errorFields(error, record);
    });
}

ORV_RECORD_ARCHIVE(ErrorResponse, errorFields)

bool ErrorResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
