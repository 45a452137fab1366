#include "http/OrvQtHttpPost.h"

#include "util/OrvHttpUtils.h"

#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QUrl>

OrvQtHttpPost::OrvQtHttpPost(QNetworkAccessManager* manager, QtHttpRequestListener* listener, QObject* parent)
    : OrvQtHttpRequest(manager, listener, parent)
{
}

void OrvQtHttpPost::execute()
{
    if (!canExecute()) {
        return;
    }
    QNetworkRequest request(makeUrl());
    applyAttributes(request);
    // Set before the raw headers so that a "Content-Type" property wins.
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArray("application/x-www-form-urlencoded"));
    applyHeaders(request);
    request.setSslConfiguration(makeSslConfiguration());
    post(request);
}

void OrvQtHttpPost::execute2(const QSslConfiguration& config)
{
    if (!canExecute()) {
        return;
    }
    QNetworkRequest request(makeUrl());
    applyAttributes(request);
    applyHeaders(request);
    QSslConfiguration copy(config);
    applySslConfigurationHook(copy);
    request.setSslConfiguration(copy);
    post(request);
}

QByteArray OrvQtHttpPost::makeBody() const
{
    const std::vector<unsigned char>& raw = multiPart();
    if (!raw.empty()) {
        return QByteArray(reinterpret_cast<const char*>(raw.data()), static_cast<int>(raw.size()));
    }
    QByteArray body;
    for (const auto& parameter : parameters()) {
        if (!body.isEmpty()) {
            body.append('&');
        }
        // Empty exclude/include sets: only unreserved characters stay, a space is "%20".
        body.append(QUrl::toPercentEncoding(OrvHttpUtils::fromAsciiToFirstZero(parameter.first)));
        body.append('=');
        body.append(QUrl::toPercentEncoding(OrvHttpUtils::fromAsciiToFirstZero(parameter.second)));
    }
    return body;
}

void OrvQtHttpPost::post(QNetworkRequest& request)
{
    const QByteArray body = makeBody();
    applyHeaderTail(request, body.size());
    startReply(getManager()->post(request, body));
}
