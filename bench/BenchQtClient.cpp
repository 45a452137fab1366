#include "BenchQtClient.h"

#include <QBuffer>
#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QUrl>

#include <functional>

namespace {

QNetworkReply* start(QNetworkAccessManager& manager, const QNetworkRequest& request)
{
    QNetworkReply* reply = manager.get(request);
    QObject::connect(reply, &QNetworkReply::sslErrors, reply, [reply] { reply->ignoreSslErrors(); });
    return reply;
}

bool succeeded(QNetworkReply* reply)
{
    return reply->error() == QNetworkReply::NoError &&
           reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() == 200;
}

} // namespace

BenchQtClient::BenchQtClient() : manager(new QNetworkAccessManager())
{
}

BenchQtClient::~BenchQtClient() = default;

QNetworkRequest BenchQtClient::request(const std::string& url, const std::string& authorization)
{
    QNetworkRequest request(QUrl(QString::fromStdString(url)));
    request.setRawHeader("Authorization", QByteArray::fromStdString(authorization));
    return request;
}

bool BenchQtClient::get(const QNetworkRequest& request, QByteArray& body)
{
    return finish(start(*manager, request), body);
}

bool BenchQtClient::post(const QNetworkRequest& request, const QByteArray& body, QByteArray& answer, bool asDevice)
{
    QBuffer device;
    QNetworkReply* reply = nullptr;
    if (asDevice) {
        device.setData(body);
        device.open(QIODevice::ReadOnly);
        reply = manager->post(request, &device);
    } else {
        reply = manager->post(request, body);
    }
    QObject::connect(reply, &QNetworkReply::sslErrors, reply, [reply] { reply->ignoreSslErrors(); });
    return finish(reply, answer);
}

bool BenchQtClient::finish(QNetworkReply* reply, QByteArray& body)
{
    if (!reply->isFinished()) {
        QEventLoop loop;
        QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
        loop.exec();
    }
    body = reply->readAll();
    const bool ok = succeeded(reply);
    delete reply;
    return ok;
}

size_t BenchQtClient::getConcurrently(const std::vector<QNetworkRequest>& requests, size_t inFlight, size_t total)
{
    QEventLoop loop;
    size_t issued = 0;
    size_t done = 0;
    size_t good = 0;
    std::function<void()> issue = [&] {
        QNetworkReply* reply = start(*manager, requests[issued % requests.size()]);
        ++issued;
        QObject::connect(reply, &QNetworkReply::finished, &loop, [&, reply] {
            const QByteArray body = reply->readAll();
            good += succeeded(reply) && !body.isEmpty() ? 1 : 0;
            reply->deleteLater();
            if (++done == total)
                loop.quit();
            else if (issued < total)
                issue();
        });
    };
    for (size_t i = 0; i < inFlight && i < total; ++i)
        issue();
    if (total > 0)
        loop.exec();
    return good;
}
