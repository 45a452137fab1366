#ifndef ORV_QT_HANDLER_H
#define ORV_QT_HANDLER_H

#include "http/OrvQtHttpRequest.h"
#include "http/QtHttpRequestListener.h"

#include <QMetaType>
#include <QObject>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

typedef uint8_t uint8;
Q_DECLARE_METATYPE(std::vector<uint8>)

class OrvQtHttpGet;
class OrvQtHttpPost;
class OrvQtHttpDelete;
class QNetworkAccessManager;
class QThread;

// Owns the Qt side of a service: the network access manager, the event
// thread on which every request, completion and listener callback runs, and
// the fixed pools of request objects. Commands and the close request reach
// that thread only as queued signals, so the core needs no lock.
class OrvQtHandler : public QObject, public QtHttpRequestListener
{
    Q_OBJECT
public:
    static constexpr int kPoolSize = 5;

    explicit OrvQtHandler(QObject* parent);
    ~OrvQtHandler() override;

    void onHttpFinished(unsigned int networkError, unsigned int httpStatus,
                        const std::vector<unsigned char>& body, unsigned int context) override;
    void onHttpCanceled(unsigned int context) override;

    // Runs one open/close cycle on the calling thread; returns when closed.
    int eventLoop();
    // Both may be called from any thread.
    int sendCommand(const std::vector<uint8_t>& data, unsigned long uniqueID);
    int close();
    // True once eventLoop() has connected the command signal: a command sent
    // earlier would be dropped, so the facade refuses it instead.
    bool acceptsCommands() const { return commandsConnected; }

    OrvQtHttpRequest** createGetRequest(const std::string& url, unsigned int context,
                                        OrvQtHttpRequest::eSslProtocol sslProtocol);
    OrvQtHttpRequest** createPostRequest(const std::string& url, unsigned int context,
                                         OrvQtHttpRequest::eSslProtocol sslProtocol);
    OrvQtHttpRequest** createDeleteRequest(const std::string& url, unsigned int context,
                                           OrvQtHttpRequest::eSslProtocol sslProtocol);
    void cleanupGetRequests(bool force);
    void cleanupPostRequests(bool force);
    void cleanupDeleteRequests(bool force);

    static bool isValidUrl(const std::string& url);
    static std::string UrlEncoding(const std::string& text);
    static void EucToUtf8(const std::string& in, std::string& out);
    static void EucToUtf8(const std::vector<uint8_t>& in, std::string& out);
    static void EucToUtf8(const std::vector<uint8_t>& in, std::vector<uint8_t>& out);

    // Installs the application-wide proxy named by "http_proxy", if any.
    static void applyProxyFromEnvironment();
    // Logs, on Qt 6, when Qt has no TLS backend to offer.
    static void reportMissingTls();

    QNetworkAccessManager* getNetworkManager() const { return networkManager; }
    QThread* getEventThread() const { return eventThread; }

protected:
    virtual void openStart() = 0;
    virtual void openEnd() = 0;
    virtual void closeStart() = 0;
    virtual void closeEnd() = 0;
    virtual void recvCommand(const std::vector<uint8>& data, unsigned long uniqueID) = 0;
    virtual int httpFinished(unsigned int networkError, unsigned int httpStatus,
                             const std::vector<uint8_t>& body, unsigned int context) = 0;
    virtual int httpCanceled(unsigned int context) = 0;

    // Lets a subclass adjust every request it creates (strict TLS, for one).
    virtual void prepareRequest(OrvQtHttpRequest* request) { (void)request; }

Q_SIGNALS:
    void signalClose();
    void signalCommand(std::vector<uint8> data, ulong uniqueID);

public Q_SLOTS:
    void slotClose();
    void slotCommand(std::vector<uint8> data, ulong uniqueID);

private:
    typedef OrvQtHttpRequest* Pool[kPoolSize];
    template <class Request>
    OrvQtHttpRequest** createRequest(Pool& pool, const std::string& url, unsigned int context,
                                     OrvQtHttpRequest::eSslProtocol sslProtocol);
    static void cleanupRequests(Pool& pool, bool force);

    QNetworkAccessManager* networkManager;
    QThread* eventThread;
    // Slots hold OrvQtHttpGet, OrvQtHttpPost and OrvQtHttpDelete objects
    // respectively; the base type lets a slot's address be handed out.
    Pool getRequests;
    Pool postRequests;
    Pool deleteRequests;
    // Set by close(); a close signalled before eventLoop() made its
    // connections would otherwise be lost and the loop would never end.
    std::atomic<bool> closeRequested;
    std::atomic<bool> commandsConnected;
};

#endif
