#include "util/OrvLogging.h"

// Silent by default: nothing below critical passes unless a rule enables it.
Q_LOGGING_CATEGORY(lcOrvKit, "orvkit.kit", QtCriticalMsg)
Q_LOGGING_CATEGORY(lcOrvService, "orvkit.service", QtCriticalMsg)
Q_LOGGING_CATEGORY(lcOrvHttp, "orvkit.http", QtCriticalMsg)
Q_LOGGING_CATEGORY(lcOrvToken, "orvkit.token", QtCriticalMsg)

QString orvQuotedLogText(QString text)
{
    text.replace(QLatin1Char('\n'), QLatin1Char(' '));
    text.replace(QLatin1Char('\r'), QLatin1Char(' '));
    return QLatin1Char('"') + text + QLatin1Char('"');
}
