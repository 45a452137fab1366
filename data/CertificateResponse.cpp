#include <OrvKitDat.h>

#include "data/OrvArchiveReader.h"
#include "data/OrvArchiveWriter.h"
#include "data/OrvJsonReader.h"
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
try {
    const QJsonObject top = OrvJsonReader::parseObject(body);
    if (top.isEmpty())
        return false;
    const OrvJsonReader reader(top);
    certificateFields(reader, *this);
    return true;
} catch (...) {
    return false;
}

bool CertificateResponse::serialize(VxSerialization::Archive& archive) const
{
    return OrvArchiveWriter::write(archive, *this, certificateFields);
}

bool CertificateResponse::unserialize(VxSerialization::Archive& archive)
{
    return OrvArchiveReader::read(archive, *this, certificateFields);
}

bool CertificateResponse::copyFrom(const ResponseBase* source)
{
    return OrvRecordCopier::copy(*this, source);
}

} // namespace OrvKitDat
