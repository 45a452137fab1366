#include "http/OrvQtHttpDelete.h"

#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QUrl>

OrvQtHttpDelete::OrvQtHttpDelete(QNetworkAccessManager* manager, QtHttpRequestListener* listener, QObject* parent)
    : OrvQtHttpRequest(manager, listener, parent)
{
}

void OrvQtHttpDelete::execute()
{
    if (!canExecute()) {
        return;
    }
    QUrl target = makeUrl();
    applyQuery(target);
    QNetworkRequest request(target);
    applyAttributes(request);
    applyHeaders(request);
    applyHeaderTail(request, -1);
    request.setSslConfiguration(makeSslConfiguration());
    startReply(getManager()->deleteResource(request));
}
