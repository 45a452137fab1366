#include "http/OrvQtHttpGet.h"

#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QUrl>

OrvQtHttpGet::OrvQtHttpGet(QNetworkAccessManager* manager, QtHttpRequestListener* listener, QObject* parent)
    : OrvQtHttpRequest(manager, listener, parent)
{
}

void OrvQtHttpGet::execute()
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
    startReply(getManager()->get(request));
}
