#include "service/OrvQtHandler.h"

#include "http/OrvQtHttpDelete.h"
#include "http/OrvQtHttpGet.h"
#include "http/OrvQtHttpPost.h"
#include "util/OrvHttpUtils.h"
#include "util/OrvLogging.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QSslSocket>
#include <QTextCodec>
#include <QThread>
#include <QUrl>

#include <cstdlib>
#include <mutex>

#if defined(__SANITIZE_THREAD__)
#define ORVKIT_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ORVKIT_THREAD_SANITIZER 1
#endif
#endif
#ifdef ORVKIT_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

namespace {

// Qt orders a thread's end before QThread::wait() returns with a lock of its
// own that ThreadSanitizer cannot see while Qt itself is not instrumented.
// These mark the same edge for it and compile to nothing otherwise.
void handOverRelease(void* token)
{
#ifdef ORVKIT_THREAD_SANITIZER
    __tsan_release(token);
#else
    (void)token;
#endif
}

void handOverAcquire(void* token)
{
#ifdef ORVKIT_THREAD_SANITIZER
    __tsan_acquire(token);
#else
    (void)token;
#endif
}

void registerByteVectorMetaType()
{
    static std::once_flag once;
    std::call_once(once, [] { qRegisterMetaType<std::vector<uint8>>("std::vector<uint8>"); });
}

template <class In, class Out>
void convertEucToUtf8(const In& in, Out& out)
{
    QTextCodec* euc = QTextCodec::codecForName("eucJP");
    if (euc == nullptr)
        return;
    const QString text = euc->toUnicode(reinterpret_cast<const char*>(in.data()), static_cast<int>(in.size()));
    QTextCodec* utf8 = QTextCodec::codecForName("UTF-8");
    if (utf8 == nullptr)
        return;
    const QByteArray encoded = utf8->fromUnicode(text);
    out.assign(encoded.constData(), encoded.constData() + encoded.size());
}

} // namespace

OrvQtHandler::OrvQtHandler(QObject* parent)
    : QObject(parent), networkManager(nullptr), eventThread(nullptr),
      getRequests{}, postRequests{}, deleteRequests{}, closeRequested(false),
      commandsConnected(false)
{
}

OrvQtHandler::~OrvQtHandler()
{
    cleanupGetRequests(true);
    cleanupDeleteRequests(true);
    cleanupPostRequests(true);
    delete eventThread;
    eventThread = nullptr;
    delete networkManager;
    networkManager = nullptr;
}

void OrvQtHandler::onHttpFinished(unsigned int networkError, unsigned int httpStatus,
                                  const std::vector<unsigned char>& body, unsigned int context)
{
    httpFinished(networkError, httpStatus, body, context);
}

void OrvQtHandler::onHttpCanceled(unsigned int context)
{
    httpCanceled(context);
}

int OrvQtHandler::eventLoop()
{
    openStart();

    networkManager = new QNetworkAccessManager();
    eventThread = new QThread();
    moveToThread(eventThread);
    networkManager->moveToThread(eventThread);
    registerByteVectorMetaType();

    const QMetaObject::Connection closeConnection =
        connect(this, &OrvQtHandler::signalClose, this, &OrvQtHandler::slotClose);
    const QMetaObject::Connection commandConnection =
        connect(this, &OrvQtHandler::signalCommand, this, &OrvQtHandler::slotCommand);
    // The request objects and the manager's own timers live on the event
    // thread; release them there, after its loop ended and before it is gone,
    // so that no timer is stopped from a foreign thread. No callback can
    // follow: deleting a request does not finish its reply.
    const QMetaObject::Connection finishedConnection = connect(
        eventThread, &QThread::finished, eventThread,
        [this] {
            cleanupGetRequests(true);
            cleanupDeleteRequests(true);
            cleanupPostRequests(true);
            delete networkManager;
            networkManager = nullptr;
            handOverRelease(&eventThread);
        },
        Qt::DirectConnection);
    commandsConnected = true;
    if (closeRequested)
        Q_EMIT signalClose();

    applyProxyFromEnvironment();
    reportMissingTls();

    qCDebug(lcOrvKit) << "open: network manager and event thread made, commands connected; onOpenEnd";
    openEnd();

    eventThread->start(QThread::InheritPriority);
    eventThread->wait();
    handOverAcquire(&eventThread);
    qCDebug(lcOrvKit) << "close: event thread ended, network objects deleted";

    commandsConnected = false;
    disconnect(closeConnection);
    disconnect(commandConnection);
    disconnect(finishedConnection);
    delete eventThread;
    eventThread = nullptr;
    delete networkManager;
    networkManager = nullptr;

    qCDebug(lcOrvKit) << "close: onCloseEnd";
    closeEnd();
    return 0;
}

int OrvQtHandler::sendCommand(const std::vector<uint8_t>& data, unsigned long uniqueID)
{
    std::vector<uint8> copy(data);
    Q_EMIT signalCommand(std::move(copy), uniqueID);
    return 0;
}

void OrvQtHandler::slotCommand(std::vector<uint8> data, ulong uniqueID)
{
    recvCommand(data, uniqueID);
}

int OrvQtHandler::close()
{
    qCDebug(lcOrvKit) << "close: requested";
    closeRequested = true;
    Q_EMIT signalClose();
    return 0;
}

void OrvQtHandler::slotClose()
{
    qCDebug(lcOrvKit) << "close: stopping the event thread";
    closeStart();
    if (eventThread != nullptr)
        eventThread->quit();
}

template <class Request>
OrvQtHttpRequest** OrvQtHandler::createRequest(Pool& pool, const std::string& url, unsigned int context,
                                               OrvQtHttpRequest::eSslProtocol sslProtocol)
{
    for (OrvQtHttpRequest*& slot : pool) {
        if (slot != nullptr)
            continue;
        slot = new Request(networkManager, this, nullptr);
        slot->initialize(url);
        slot->setContext(context);
        slot->setSslProtocol(sslProtocol);
        prepareRequest(slot);
        return &slot;
    }
    return nullptr;
}

OrvQtHttpRequest** OrvQtHandler::createGetRequest(const std::string& url, unsigned int context,
                                                  OrvQtHttpRequest::eSslProtocol sslProtocol)
{
    return createRequest<OrvQtHttpGet>(getRequests, url, context, sslProtocol);
}

OrvQtHttpRequest** OrvQtHandler::createPostRequest(const std::string& url, unsigned int context,
                                                   OrvQtHttpRequest::eSslProtocol sslProtocol)
{
    return createRequest<OrvQtHttpPost>(postRequests, url, context, sslProtocol);
}

OrvQtHttpRequest** OrvQtHandler::createDeleteRequest(const std::string& url, unsigned int context,
                                                     OrvQtHttpRequest::eSslProtocol sslProtocol)
{
    return createRequest<OrvQtHttpDelete>(deleteRequests, url, context, sslProtocol);
}

void OrvQtHandler::cleanupRequests(Pool& pool, bool force)
{
    for (OrvQtHttpRequest*& slot : pool) {
        if (slot != nullptr && (force || slot->isEnableDelete())) {
            delete slot;
            slot = nullptr;
        }
    }
}

void OrvQtHandler::cleanupGetRequests(bool force) { cleanupRequests(getRequests, force); }
void OrvQtHandler::cleanupPostRequests(bool force) { cleanupRequests(postRequests, force); }
void OrvQtHandler::cleanupDeleteRequests(bool force) { cleanupRequests(deleteRequests, force); }

bool OrvQtHandler::isValidUrl(const std::string& url)
{
    return QUrl(OrvHttpUtils::fromAscii(url), QUrl::TolerantMode).isValid();
}

std::string OrvQtHandler::UrlEncoding(const std::string& text)
{
    const QByteArray encoded =
        QUrl::toPercentEncoding(QString::fromUtf8(text.data(), static_cast<int>(text.size())), QByteArray(), QByteArray());
    return std::string(encoded.constData(), static_cast<size_t>(encoded.size()));
}

void OrvQtHandler::EucToUtf8(const std::string& in, std::string& out) { convertEucToUtf8(in, out); }
void OrvQtHandler::EucToUtf8(const std::vector<uint8_t>& in, std::string& out) { convertEucToUtf8(in, out); }
void OrvQtHandler::EucToUtf8(const std::vector<uint8_t>& in, std::vector<uint8_t>& out) { convertEucToUtf8(in, out); }

void OrvQtHandler::reportMissingTls()
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    // Qt 6 loads TLS from a plugin; without one every request fails as an
    // unreachable server does (error 99), which alone would not say why.
    if (QSslSocket::availableBackends().isEmpty())
        qCWarning(lcOrvKit).noquote() << QStringLiteral("open: Qt found no TLS backend plugin (\"tls\" in %1); "
                                                        "every request will fail")
                                             .arg(QCoreApplication::libraryPaths().join(QStringLiteral(", ")));
#endif
}

void OrvQtHandler::applyProxyFromEnvironment()
{
    const char* value = std::getenv("http_proxy");
    if (value == nullptr)
        return;
    const QUrl url(QString::fromLocal8Bit(value), QUrl::TolerantMode);
    if (!url.isValid() || url.isEmpty()) {
        // The value itself may hold credentials: only its length is told.
        if (*value != '\0')
            qCDebug(lcOrvKit).noquote()
                << QStringLiteral("open: http_proxy ignored, not a URL (%1 characters)").arg(qstrlen(value));
        return;
    }
    const int port = url.port() > 0 ? url.port() : 8080;
    // Credentials in the variable are ignored on purpose.
    QNetworkProxy proxy(QNetworkProxy::HttpProxy, url.host(QUrl::FullyDecoded), static_cast<quint16>(port),
                        QString(), QString());
    QNetworkProxy::setApplicationProxy(proxy);
    qCDebug(lcOrvKit).noquote() << QStringLiteral("open: proxy %1:%2 from http_proxy for every non-loopback host")
                                       .arg(proxy.hostName())
                                       .arg(port);
}
