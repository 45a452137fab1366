#ifndef ORV_QT_HTTP_DELETE_H
#define ORV_QT_HTTP_DELETE_H

#include "http/OrvQtHttpRequest.h"

// DELETE request: parameters travel in the URL's query, no body.
class OrvQtHttpDelete : public OrvQtHttpRequest
{
    Q_OBJECT
public:
    OrvQtHttpDelete(QNetworkAccessManager* manager, QtHttpRequestListener* listener,
                 QObject* parent = nullptr);

    void execute() override;
};

#endif
