#ifndef ORV_QT_HTTP_GET_H
#define ORV_QT_HTTP_GET_H

#include "http/OrvQtHttpRequest.h"

// GET request: parameters travel in the URL's query, no body.
class OrvQtHttpGet : public OrvQtHttpRequest
{
    Q_OBJECT
public:
    OrvQtHttpGet(QNetworkAccessManager* manager, QtHttpRequestListener* listener,
                 QObject* parent = nullptr);

    void execute() override;
};

#endif
