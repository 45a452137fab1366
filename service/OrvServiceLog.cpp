#include "service/OrvServiceLog.h"

#include "service/OrvResultMappers.h"
#include "util/OrvLogging.h"

namespace OrvServiceLog {

QString hex(unsigned long value)
{
    return QStringLiteral("0x%1").arg(value, 2, 16, QLatin1Char('0'));
}

// "command 0x21 <what> -> 0x8071 [2]"; no arrow when nothing is answered.
void logCommand(unsigned long code, const QString& what, unsigned long messageId, int payloadByte)
{
    if (!lcOrvService().isInfoEnabled())
        return;
    QString line = QStringLiteral("command %1 %2").arg(hex(code), what);
    if (messageId != 0)
        line += QStringLiteral(" -> ") + hex(messageId);
    if (payloadByte >= 0)
        line += QStringLiteral(" [%1]").arg(payloadByte);
    qCInfo(lcOrvService).noquote() << line;
}

// "result context 4: status 404 error 0 server code "E4041001" -> 0x8073 [128]".
// Bodies are never logged, only their size, since some carry tokens or keys.
void logResult(unsigned int context, unsigned int networkError, unsigned int httpStatus,
               const std::vector<uint8_t>& body, unsigned long messageId, const std::vector<uint8_t>* failure)
{
    if (!lcOrvService().isInfoEnabled())
        return;
    QString line =
        QStringLiteral("result context %1: status %2 error %3").arg(context).arg(httpStatus).arg(networkError);
    if (failure != nullptr && !body.empty()) {
        const std::string code = OrvResultMappers::serverErrorCode(body);
        if (!code.empty())
            line += QStringLiteral(" server code ") + orvQuotedLogText(QString::fromStdString(code));
    }
    if (messageId == 0)
        line += QStringLiteral(" -> no message");
    else if (failure != nullptr && !failure->empty())
        line += QStringLiteral(" -> %1 [%2]").arg(hex(messageId)).arg(failure->front());
    else
        line += QStringLiteral(" -> %1, %2 B").arg(hex(messageId)).arg(body.size());
    qCInfo(lcOrvService).noquote() << line;
}

void logPartialIdentity(bool hasCaCertificate, bool hasCertificate, bool hasPrivateKey)
{
    const auto state = [](bool set) { return set ? QStringLiteral("set") : QStringLiteral("missing"); };
    qCInfo(lcOrvService).noquote()
        << QStringLiteral("command 0x61 sent without part of its TLS identity: CA certificate %1, "
                          "client certificate %2, private key %3 (fetch one with command 0x65)")
               .arg(state(hasCaCertificate), state(hasCertificate), state(hasPrivateKey));
}

} // namespace OrvServiceLog
