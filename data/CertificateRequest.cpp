#include <OrvKitDat.h>

#include "data/OrvRecordArchive.h"
#include "data/OrvTextFormatter.h"

namespace OrvKitDat {

namespace {

const auto certificateRequestFields = [](auto& io, auto& record) {
    io.text("model", record.model);
    io.text("deviceNo", record.deviceNo);
};

} // namespace

ORV_RECORD_ARCHIVE(CertificateRequest, certificateRequestFields)

bool CertificateRequest::makeJson(std::vector<uint8_t>& out) const
try {
    const std::string text = OrvTextFormatter::format("{\"model\": \"%s\",\"deviceNo\": \"%s\"}",
                                                      model.c_str(), deviceNo.c_str());
    out.assign(text.begin(), text.end());
    return true;
} catch (...) {
    out.clear();
    return true;
}

} // namespace OrvKitDat
