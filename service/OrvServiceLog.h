#ifndef ORV_SERVICE_LOG_H
#define ORV_SERVICE_LOG_H

#include <QString>

#include <cstdint>
#include <vector>

// The service's one-line log entries for commands and results.
namespace OrvServiceLog {

QString hex(unsigned long value);

// "command 0x21 <what> -> 0x8071 [2]"; no arrow when nothing is answered.
void logCommand(unsigned long code, const QString& what, unsigned long messageId = 0, int payloadByte = -1);

// "result context 4: status 404 error 0 server code "E4041001" -> 0x8073 [128]";
// messageId 0 means no message, failure null a success.
void logResult(unsigned int context, unsigned int networkError, unsigned int httpStatus,
               const std::vector<uint8_t>& body, unsigned long messageId, const std::vector<uint8_t>* failure);

// A position report that goes out without part of the device's TLS identity.
void logPartialIdentity(bool hasCaCertificate, bool hasCertificate, bool hasPrivateKey);

} // namespace OrvServiceLog

#endif
