#ifndef ORV_QT_HTTP_POST_H
#define ORV_QT_HTTP_POST_H

#include "http/OrvQtHttpRequest.h"

#include <QByteArray>

// POST request. execute() builds its TLS configuration from the protocol
// setting; execute2() takes a complete one (client certificate, CA list)
// from the caller. A retry always goes through execute().
class OrvQtHttpPost : public OrvQtHttpRequest
{
    Q_OBJECT
public:
    OrvQtHttpPost(QNetworkAccessManager* manager, QtHttpRequestListener* listener,
                  QObject* parent = nullptr);

    void execute() override;
    void execute2(const QSslConfiguration& config) override;

    // The raw bytes when set, else nothing without parameters, else the
    // parameters form-encoded with every reserved character escaped.
    QByteArray makeBody() const;

private:
    void post(QNetworkRequest& request);
};

#endif
