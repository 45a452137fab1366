#include "http/OrvQtHttpRequest.h"

#include "http/QtHttpRequestListener.h"
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
#include "http/OrvHttpInflater.h"
#endif
#include "util/OrvHttpUtils.h"
#include "util/OrvLogging.h"

#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkProxyFactory>
#include <QNetworkRequest>
#include <QStringList>
#include <QTimer>
#include <QUrl>
#include <QUrlQuery>
#include <QVariant>

#include <algorithm>
#include <utility>

namespace {

QString methodName(QNetworkAccessManager::Operation operation)
{
    switch (operation) {
    case QNetworkAccessManager::GetOperation: return QStringLiteral("GET");
    case QNetworkAccessManager::PostOperation: return QStringLiteral("POST");
    case QNetworkAccessManager::DeleteOperation: return QStringLiteral("DELETE");
    case QNetworkAccessManager::HeadOperation: return QStringLiteral("HEAD");
    case QNetworkAccessManager::PutOperation: return QStringLiteral("PUT");
    default: return QStringLiteral("CUSTOM");
    }
}

// Origin and path only: the query carries the device's identity and is
// not needed to tell one request from another.
QString originAndPath(const QUrl& url)
{
    return url.toString(QUrl::RemoveUserInfo | QUrl::RemoveQuery | QUrl::RemoveFragment | QUrl::FullyEncoded);
}

// The proxy Qt picks for this URL, by the rules of its own lookup (which
// never proxies a loopback host).
QString proxyInUse(const QNetworkAccessManager* manager, const QUrl& url)
{
    QNetworkProxy proxy = manager->proxy();
    if (proxy.type() == QNetworkProxy::DefaultProxy) {
        const QNetworkProxyQuery query(url);
        const QList<QNetworkProxy> candidates = manager->proxyFactory() != nullptr
                                                    ? manager->proxyFactory()->queryProxy(query)
                                                    : QNetworkProxyFactory::proxyForQuery(query);
        proxy = candidates.isEmpty() ? QNetworkProxy(QNetworkProxy::NoProxy) : candidates.first();
    }
    if (proxy.type() == QNetworkProxy::NoProxy || proxy.type() == QNetworkProxy::DefaultProxy)
        return QStringLiteral("direct");
    return QStringLiteral("via proxy %1:%2").arg(proxy.hostName()).arg(proxy.port());
}

// Qt 6 still has the TLS 1.0 and 1.1 names, marked deprecated; the kit
// offers them when asked to, as it does on Qt 5.
QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED

QString protocolText(QSsl::SslProtocol protocol)
{
    switch (protocol) {
    case QSsl::TlsV1_0: return QStringLiteral("TLS 1.0 only");
    case QSsl::TlsV1_1: return QStringLiteral("TLS 1.1 only");
    case QSsl::TlsV1_2: return QStringLiteral("TLS 1.2 only");
    case QSsl::TlsV1_3: return QStringLiteral("TLS 1.3 only");
    case QSsl::TlsV1_0OrLater: return QStringLiteral("TLS 1.0 or later");
    case QSsl::TlsV1_1OrLater: return QStringLiteral("TLS 1.1 or later");
    case QSsl::TlsV1_2OrLater: return QStringLiteral("TLS 1.2 or later");
    case QSsl::TlsV1_3OrLater: return QStringLiteral("TLS 1.3 or later");
    case QSsl::SecureProtocols: return QStringLiteral("Qt's secure protocols");
    default: return QStringLiteral("protocol %1").arg(static_cast<int>(protocol));
    }
}

QT_WARNING_POP

// Set on the manager while a transport failure waits for the replies still
// running to end before its connections are dropped.
const char* const kConnectionsSuspect = "orvkitConnectionsSuspect";

// Network and proxy layer errors: the link, not the server's answer.
bool isTransportFailure(unsigned int errorCode, bool timedOut)
{
    return timedOut || (errorCode >= QNetworkReply::ConnectionRefusedError && errorCode <= QNetworkReply::UnknownProxyError);
}

} // namespace

OrvQtHttpRequest::OrvQtHttpRequest(QNetworkAccessManager* manager_, QtHttpRequestListener* listener_,
                                   QObject* parent)
    : QObject(parent),
      listener(listener_),
      manager(manager_),
      reply(nullptr),
      timer(new QTimer()),
      status(STATUS_NONE),
      sslProtocol(SSL_PROTOCOL_SSLV3),
      ignoreSslError(true),
      timeout(30000),
      retryCount(0),
      retriesDone(0),
      canceled(false),
      timedOut(false),
      context(0)
{
}

OrvQtHttpRequest::~OrvQtHttpRequest()
{
    // The reply belongs to the manager and is left alone; only the timer is ours.
    delete timer;
}

void OrvQtHttpRequest::initialize(const std::string& value)
{
    clear();
    url = value;
}

void OrvQtHttpRequest::clear()
{
    reply = nullptr;
    url.clear();
    requestProperties.clear();
    requestParameters.clear();
    multiPartParam.clear();
    status = STATUS_NONE;
    sslProtocol = SSL_PROTOCOL_SSLV3;
    ignoreSslError = true;
    timeout = 30000;
    retryCount = 0;
    retriesDone = 0;
    canceled = false;
    timedOut = false;
    context = 0;
    sslConfigurationHook = nullptr;
}

void OrvQtHttpRequest::setRequestProperty(const std::string& key, const std::string& value)
{
    requestProperties.insert(std::make_pair(key, value));
}

void OrvQtHttpRequest::setRequestParameter(const std::string& key, const std::string& value)
{
    requestParameters.insert(std::make_pair(key, value));
}

void OrvQtHttpRequest::getRequestProperties(std::map<std::string, std::string>& out) const
{
    out = requestProperties;
}

void OrvQtHttpRequest::getRequestParameters(std::map<std::string, std::string>& out) const
{
    out = requestParameters;
}

void OrvQtHttpRequest::setMultiPartParam(const std::vector<unsigned char>& data)
{
    multiPartParam = data;
}

void OrvQtHttpRequest::getMultiPartParam(std::vector<unsigned char>& out) const
{
    out = multiPartParam;
}

bool OrvQtHttpRequest::isBusy() const
{
    return status == STATUS_EXECUTING && !canceled;
}

bool OrvQtHttpRequest::isEnableDelete() const
{
    return status != STATUS_EXECUTING;
}

void OrvQtHttpRequest::cancel()
{
    canceled = true;
    if (reply != nullptr) {
        reply->abort();
    }
}

bool OrvQtHttpRequest::shouldRetry(unsigned int errorCode, unsigned int httpStatus) const
{
    // Only a transport failure that still came with a 1xx/2xx status is retried.
    if (errorCode == 0) {
        return false;
    }
    return httpStatus >= 100 && httpStatus <= 299;
}

void OrvQtHttpRequest::setSslConfigurationHook(SslConfigurationHook hook)
{
    sslConfigurationHook = std::move(hook);
}

QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED
QSsl::SslProtocol OrvQtHttpRequest::toQtProtocol(eSslProtocol protocol)
{
    switch (protocol) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    // Qt 6 has no SSL 2 or 3 at all; a protocol it does not know fails the
    // handshake before anything is sent, as SSL 2 and 3 do with Qt 5's
    // OpenSSL. "TLS 1 or SSL 3" takes TLS 1.0 and later there, as here.
    case SSL_PROTOCOL_SSLV2:
    case SSL_PROTOCOL_SSLV3:
        return QSsl::UnknownProtocol;
    case SSL_PROTOCOL_TLSV1_SSLV3:
        return QSsl::TlsV1_0OrLater;
#elif QT_DEPRECATED_SINCE(5, 15)
    case SSL_PROTOCOL_SSLV2:
        return QSsl::SslV2;
    case SSL_PROTOCOL_SSLV3:
        return QSsl::SslV3;
    case SSL_PROTOCOL_TLSV1_SSLV3:
        return QSsl::TlsV1SslV3;
#else
    // Same numbers as the enumerators that this Qt build hides.
    case SSL_PROTOCOL_SSLV2:
        return static_cast<QSsl::SslProtocol>(1);
    case SSL_PROTOCOL_SSLV3:
        return static_cast<QSsl::SslProtocol>(0);
    case SSL_PROTOCOL_TLSV1_SSLV3:
        return static_cast<QSsl::SslProtocol>(6);
#endif
    case SSL_PROTOCOL_TLSV1_0:
        return QSsl::TlsV1_0;
    case SSL_PROTOCOL_TLSV1_1:
        return QSsl::TlsV1_1;
    case SSL_PROTOCOL_TLSV1_2:
        return QSsl::TlsV1_2;
    case SSL_PROTOCOL_DEFAULT:
    default:
        return QSsl::SecureProtocols;
    }
}
QT_WARNING_POP

void OrvQtHttpRequest::execute2(const QSslConfiguration& config)
{
    (void)config;
}

bool OrvQtHttpRequest::canExecute() const
{
    if (manager != nullptr && !url.empty())
        return true;
    qCDebug(lcOrvHttp).noquote() << QStringLiteral("request not started, context %1: %2")
                                        .arg(context)
                                        .arg(manager == nullptr ? QStringLiteral("no network manager")
                                                                : QStringLiteral("no URL"));
    return false;
}

QUrl OrvQtHttpRequest::makeUrl() const
{
    // Every byte, so that a zero byte in a destination id is escaped, not a cut.
    return QUrl(OrvHttpUtils::fromAscii(url), QUrl::TolerantMode);
}

void OrvQtHttpRequest::applyQuery(QUrl& target) const
{
    if (requestParameters.empty()) {
        return;
    }
    QUrlQuery query;
    for (const auto& parameter : requestParameters) {
        query.addQueryItem(OrvHttpUtils::fromAsciiToFirstZero(parameter.first),
                           OrvHttpUtils::fromAsciiToFirstZero(parameter.second));
    }
    target.setQuery(query);
}

void OrvQtHttpRequest::applyAttributes(QNetworkRequest& request)
{
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
#endif
}

void OrvQtHttpRequest::applyHeaders(QNetworkRequest& request) const
{
    for (const auto& header : requestProperties) {
        request.setRawHeader(QByteArray(header.first.c_str()), QByteArray(header.second.c_str()));
    }
}

void OrvQtHttpRequest::applyHeaderTail(QNetworkRequest& request, qint64 contentLength) const
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    // Qt adds "Content-Length" and "Connection" after the raw headers and
    // then, when none is set, "Accept-Encoding". Qt 6 would ask for "zstd,
    // br, gzip, deflate" and decode the answer itself; the kit asks as Qt 5
    // does, so it names all three itself to keep Qt 5's order.
    if (!inflatesAnswers())
        return;
    if (contentLength >= 0)
        request.setHeader(QNetworkRequest::ContentLengthHeader, contentLength);
    request.setRawHeader(QByteArrayLiteral("Connection"), QByteArrayLiteral("Keep-Alive"));
    request.setRawHeader(QByteArrayLiteral("Accept-Encoding"), QByteArrayLiteral("gzip, deflate"));
#else
    (void)request;
    (void)contentLength;
#endif
}

bool OrvQtHttpRequest::inflatesAnswers() const
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    // A caller that names an encoding gets the answer as it comes, as with Qt 5.
    for (const auto& header : requestProperties)
        if (qstricmp(header.first.c_str(), "Accept-Encoding") == 0)
            return false;
    return true;
#else
    return false;
#endif
}

QSslConfiguration OrvQtHttpRequest::makeSslConfiguration() const
{
    QSslConfiguration config = QSslConfiguration::defaultConfiguration();
    config.setProtocol(toQtProtocol(sslProtocol));
    applySslConfigurationHook(config);
    return config;
}

void OrvQtHttpRequest::applySslConfigurationHook(QSslConfiguration& config) const
{
    if (sslConfigurationHook) {
        sslConfigurationHook(config);
    }
}

void OrvQtHttpRequest::startReply(QNetworkReply* newReply)
{
    reply = newReply;
    attemptClock.start();
    if (reply != nullptr) {
        qCDebug(lcOrvHttp).noquote() << QStringLiteral("request %1 %2 %3 started, context %4, timeout %5 ms")
                                            .arg(methodName(reply->operation()), originAndPath(reply->url()),
                                                 proxyInUse(manager, reply->url()))
                                            .arg(context)
                                            .arg(timeout);
        connect(reply, &QNetworkReply::finished, this, &OrvQtHttpRequest::slotFinished);
        connect(reply, &QNetworkReply::readyRead, this, &OrvQtHttpRequest::slotReadyRead);
#if QT_VERSION >= QT_VERSION_CHECK(5, 15, 0)
        connect(reply, &QNetworkReply::errorOccurred, this, &OrvQtHttpRequest::slotError);
#else
        connect(reply, static_cast<void (QNetworkReply::*)(QNetworkReply::NetworkError)>(&QNetworkReply::error),
                this, &OrvQtHttpRequest::slotError);
#endif
        connect(reply, &QNetworkReply::sslErrors, this, &OrvQtHttpRequest::slotSslErrors);
    }
    connect(timer, &QTimer::timeout, this, &OrvQtHttpRequest::slotTimeout, Qt::UniqueConnection);
    timer->setSingleShot(true);
    timer->start(timeout);
    status = STATUS_EXECUTING;
}

void OrvQtHttpRequest::logOutcome(unsigned int errorCode, unsigned int httpStatus, size_t bytes, bool retry) const
{
    QString line = QStringLiteral("request %1 %2 %3 -> status %4 error %5")
                       .arg(methodName(reply->operation()), originAndPath(reply->url()),
                            proxyInUse(manager, reply->url()))
                       .arg(httpStatus)
                       .arg(errorCode);
    if (errorCode == REDIRECT_ERROR) {
        const QUrl target = reply->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl();
        line += QStringLiteral(" redirect to %1 not followed")
                    .arg(orvQuotedLogText(originAndPath(reply->url().resolved(target))));
    } else if (errorCode != 0) {
        // Qt's text may quote the whole URL; the query stays out here too.
        QString text = reply->errorString();
        text.replace(reply->url().toString(), originAndPath(reply->url()));
        line += QLatin1Char(' ') + orvQuotedLogText(text);
    }
    // Qt says no more than "SSL handshake failed"; what was offered narrows it down.
    if (errorCode == QNetworkReply::SslHandshakeFailedError)
        line += QStringLiteral(", offered ") + protocolText(reply->request().sslConfiguration().protocol());
    line += QStringLiteral(" %1 B %2 ms").arg(bytes).arg(attemptClock.elapsed());
    if (canceled)
        line += QStringLiteral(", canceled");
    else if (timedOut)
        line += QStringLiteral(", timed out");
    if (retry)
        line += QStringLiteral(", retry %1").arg(retriesDone + 1);
    qCInfo(lcOrvHttp).noquote() << line;
}

void OrvQtHttpRequest::releaseReply()
{
    disconnect(reply, nullptr, this, nullptr);
    if (timer->isActive()) {
        timer->stop();
    }
    disconnect(timer, &QTimer::timeout, this, &OrvQtHttpRequest::slotTimeout);
    reply->deleteLater();
    reply = nullptr;
}

void OrvQtHttpRequest::dropConnectionsIfSuspect(bool transportFailure) const
{
    if (transportFailure)
        manager->setProperty(kConnectionsSuspect, true);
    else if (!manager->property(kConnectionsSuspect).toBool())
        return;
    // Dropping the connections ends the manager's network thread, and with it
    // every reply still running: they go first.
    const QList<QNetworkReply*> replies = manager->findChildren<QNetworkReply*>(QString(), Qt::FindDirectChildrenOnly);
    const auto running = std::count_if(replies.begin(), replies.end(), [](const QNetworkReply* r) { return r->isRunning(); });
    if (running > 0) {
        if (transportFailure)
            qCInfo(lcOrvHttp).noquote()
                << QStringLiteral("connections kept while %1 other requests run; dropped when they end").arg(running);
        return;
    }
    manager->clearConnectionCache();
    manager->setProperty(kConnectionsSuspect, QVariant());
    qCInfo(lcOrvHttp).noquote() << QStringLiteral("connections dropped after a transport failure; "
                                                  "the next request opens a new one");
}

void OrvQtHttpRequest::slotFinished()
{
    status = STATUS_FINISHED;
    if (reply == nullptr) {
        return;
    }

    const QNetworkReply::NetworkError replyError = reply->error();
    const QVariant redirect = reply->attribute(QNetworkRequest::RedirectionTargetAttribute);
    unsigned int errorCode = static_cast<unsigned int>(replyError);
    std::vector<unsigned char> body;
    if (replyError == QNetworkReply::NoError && redirect.isValid()) {
        errorCode = REDIRECT_ERROR;
    } else if (!timedOut) {
        const qint64 available = reply->bytesAvailable();
        if (available > 0) {
            body.reserve(static_cast<size_t>(available));
        }
        while (reply->bytesAvailable() > 0) {
            const size_t used = body.size();
            const qint64 wanted = std::min<qint64>(reply->bytesAvailable(), READ_CHUNK_SIZE);
            body.resize(used + static_cast<size_t>(wanted));
            const qint64 got = reply->read(reinterpret_cast<char*>(body.data() + used), wanted);
            if (got <= 0) {
                body.resize(used);
                break;
            }
            body.resize(used + static_cast<size_t>(got));
        }
    }

#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    // What Qt 5 would have decoded on its own; a broken or oversized stream
    // fails as a broken answer does there.
    if (!body.empty() && inflatesAnswers() &&
        OrvHttpInflater::handles(reply->rawHeader(QByteArrayLiteral("Content-Encoding")).toStdString()) &&
        !OrvHttpInflater::inflate(body)) {
        qCInfo(lcOrvHttp).noquote() << QStringLiteral("request %1 %2: compressed answer of %3 B not decodable")
                                           .arg(methodName(reply->operation()), originAndPath(reply->url()))
                                           .arg(body.size());
        body.clear();
        errorCode = QNetworkReply::ProtocolFailure;
    }
#endif
    const QVariant statusAttribute = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    const unsigned int httpStatus = statusAttribute.isValid() ? statusAttribute.toUInt() : 0;
    const bool retry = !canceled && shouldRetry(errorCode, httpStatus) &&
                       (retryCount == -1 || retryCount > retriesDone);
    if (lcOrvHttp().isInfoEnabled())
        logOutcome(errorCode, httpStatus, body.size(), retry);

    releaseReply();
    dropConnectionsIfSuspect(!canceled && isTransportFailure(errorCode, timedOut));

    if (canceled) {
        if (listener != nullptr) {
            listener->onHttpCanceled(context);
        }
        return;
    }

    if (retry) {
        ++retriesDone;
        execute();
        return;
    }

    // The listener may delete this object: nothing is touched afterwards.
    if (listener != nullptr) {
        listener->onHttpFinished(errorCode, httpStatus, body, context);
    }
}

void OrvQtHttpRequest::slotReadyRead()
{
    // The body is read once the reply has finished.
}

void OrvQtHttpRequest::slotError(QNetworkReply::NetworkError error)
{
    (void)error;
}

void OrvQtHttpRequest::slotSslErrors(const QList<QSslError>& errors)
{
    if (reply != nullptr && lcOrvHttp().isInfoEnabled()) {
        QStringList texts;
        for (const QSslError& error : errors)
            texts << QString::number(static_cast<int>(error.error())) + QLatin1Char(' ') + orvQuotedLogText(error.errorString());
        qCInfo(lcOrvHttp).noquote() << QStringLiteral("request %1 %2 TLS errors %3: %4")
                                           .arg(methodName(reply->operation()), originAndPath(reply->url()),
                                                ignoreSslError ? QStringLiteral("ignored")
                                                               : QStringLiteral("refused"),
                                                texts.join(QStringLiteral("; ")));
    }
    if (ignoreSslError && reply != nullptr) {
        reply->ignoreSslErrors();
    }
}

void OrvQtHttpRequest::slotTimeout()
{
    if (reply != nullptr) {
        qCInfo(lcOrvHttp).noquote() << QStringLiteral("request %1 %2 timed out after %3 ms, aborted")
                                           .arg(methodName(reply->operation()), originAndPath(reply->url()))
                                           .arg(timeout);
    }
    timedOut = true;
    if (reply != nullptr) {
        reply->abort();
    }
}
