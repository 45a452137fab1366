#ifndef ORV_LOGGING_H
#define ORV_LOGGING_H

#include <QLoggingCategory>
#include <QString>

// Diagnostic categories, all silent unless switched on, for example with
// QT_LOGGING_RULES="orvkit.*=true". Never log a token, password, key or
// position coordinate to any of them.
Q_DECLARE_LOGGING_CATEGORY(lcOrvKit)     // "orvkit.kit": open and close steps
Q_DECLARE_LOGGING_CATEGORY(lcOrvService) // "orvkit.service": commands, acceptances, results
Q_DECLARE_LOGGING_CATEGORY(lcOrvHttp)    // "orvkit.http": requests, replies, network and TLS errors
Q_DECLARE_LOGGING_CATEGORY(lcOrvToken)   // "orvkit.token": token store read and write failures

// text in double quotes, with every CR and LF made a space: one event, one line.
QString orvQuotedLogText(QString text);

#endif
