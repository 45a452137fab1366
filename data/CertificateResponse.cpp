#include <OrvKitDat.h>

#include "data/OrvJsonReader.h"
#include "data/OrvRecordArchive.h"
#include "data/OrvRecordCopier.h"

namespace OrvKitDat {

namespace {

const auto certificateFields = [](auto& io, auto& record) {
    io.text("caCertificatePem", record.caCertificatePem);
    io.text("certificatePem", record.certificatePem);
    io.text("privateKey", record.privateKey);
};

} // namespace

CertificateResponse::~CertificateResponse() = default;

bool CertificateResponse::fromJson(const std::vector<uint8_t>& body)
{
    return OrvJsonReader::readObject(body, *this, certificateFields);
}

ORV_RECORD_ARCHIVE(CertificateResponse, certificateFields)

bool CertificateResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
