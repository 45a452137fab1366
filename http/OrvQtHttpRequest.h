#ifndef ORV_QT_HTTP_REQUEST_H
#define ORV_QT_HTTP_REQUEST_H

#include <QElapsedTimer>
#include <QList>
#include <QNetworkReply>
#include <QObject>
#include <QSsl>
#include <QSslConfiguration>
#include <QSslError>

#include <functional>
#include <map>
#include <string>
#include <vector>

class QNetworkAccessManager;
class QNetworkRequest;
class QTimer;
class QtHttpRequestListener;

// One logical HTTP request over a QNetworkAccessManager: URL, headers,
// query or form fields, optional raw body, TLS choice, time-out and retry
// budget. The outcome goes to the listener with the caller's context.
// Everything runs on the thread that owns the manager; no locks.
class OrvQtHttpRequest : public QObject
{
    Q_OBJECT
public:
    enum eQtHttpStatus {
        STATUS_NONE = 0,
        STATUS_EXECUTING = 1,
        STATUS_FINISHED = 2
    };

    enum eSslProtocol {
        SSL_PROTOCOL_DEFAULT = 0,
        SSL_PROTOCOL_SSLV2 = 1,
        SSL_PROTOCOL_SSLV3 = 2,
        SSL_PROTOCOL_TLSV1_0 = 3,
        SSL_PROTOCOL_TLSV1_1 = 4,
        SSL_PROTOCOL_TLSV1_2 = 5,
        SSL_PROTOCOL_TLSV1_SSLV3 = 6
    };

    // Error code reported for a redirect, which is never followed.
    static constexpr unsigned int REDIRECT_ERROR = 999;
    // Largest piece read from a finished reply at a time.
    static constexpr int READ_CHUNK_SIZE = 10240;

    typedef std::function<void(QSslConfiguration&)> SslConfigurationHook;

    OrvQtHttpRequest(QNetworkAccessManager* manager, QtHttpRequestListener* listener,
                     QObject* parent = nullptr);
    ~OrvQtHttpRequest() override;

    void initialize(const std::string& url);
    void clear();

    // The first value set for a key wins; later calls are ignored.
    void setRequestProperty(const std::string& key, const std::string& value);
    void setRequestParameter(const std::string& key, const std::string& value);
    void getRequestProperties(std::map<std::string, std::string>& out) const;
    void getRequestParameters(std::map<std::string, std::string>& out) const;
    void setMultiPartParam(const std::vector<unsigned char>& data);
    void getMultiPartParam(std::vector<unsigned char>& out) const;

    const std::string& getUrl() const { return url; }
    void setStatus(eQtHttpStatus value) { status = value; }
    eQtHttpStatus getStatus() const { return status; }
    void setSslProtocol(eSslProtocol value) { sslProtocol = value; }
    eSslProtocol getSslProtocol() const { return sslProtocol; }
    void setIgnoreSslError(bool value) { ignoreSslError = value; }
    bool getIgnoreSslError() const { return ignoreSslError; }
    void setTimeout(int milliseconds) { timeout = milliseconds; }
    int getTimeout() const { return timeout; }
    void setRetryCount(int count) { retryCount = count; }
    int getRetryCount() const { return retryCount; }
    void setContext(unsigned int value) { context = value; }
    unsigned int getContext() const { return context; }
    bool isCanceled() const { return canceled; }

    bool isBusy() const;
    bool isEnableDelete() const;
    void cancel();
    bool shouldRetry(unsigned int errorCode, unsigned int httpStatus) const;

    // Optional, unset by default (and by clear()): when set, it is applied to
    // the TLS configuration that execute() builds, and to execute2()'s copy
    // of the caller's configuration, just before it goes on the request.
    // Meant for a strict mode that adds CA certificates and peer checks;
    // such a caller also turns setIgnoreSslError(false) on.
    void setSslConfigurationHook(SslConfigurationHook hook);

    static QSsl::SslProtocol toQtProtocol(eSslProtocol protocol);

    virtual void execute() = 0;
    virtual void execute2(const QSslConfiguration& config);

public Q_SLOTS:
    void slotFinished();
    void slotReadyRead();
    void slotError(QNetworkReply::NetworkError error);
    void slotSslErrors(const QList<QSslError>& errors);
    void slotTimeout();

protected:
    // Preconditions shared by every execute: a manager and a URL.
    bool canExecute() const;
    // Parsed URL (tolerant mode).
    QUrl makeUrl() const;
    // Replaces the URL's query with the parameters, in key order.
    void applyQuery(QUrl& target) const;
    // Never answered from the cache. On Qt 6 also what Qt 5 does by itself:
    // HTTP/1.1 only, even when the server offers HTTP/2, and redirects left
    // to the kit.
    static void applyAttributes(QNetworkRequest& request);
    // Raw headers in key order.
    void applyHeaders(QNetworkRequest& request) const;
    // Last, after applyHeaders: on Qt 6 the headers that Qt 5 adds by itself
    // where Qt 6 would add others ("Accept-Encoding" as Qt 5 sends it, unless
    // a property names it; the kit then inflates the answer). contentLength
    // is the body's size, -1 without a body.
    void applyHeaderTail(QNetworkRequest& request, qint64 contentLength) const;
    // Default configuration with the protocol of sslProtocol, then the hook.
    QSslConfiguration makeSslConfiguration() const;
    void applySslConfigurationHook(QSslConfiguration& config) const;
    // Wires the reply and the timer, starts the time-out, marks executing.
    void startReply(QNetworkReply* newReply);

    QNetworkAccessManager* getManager() const { return manager; }
    const std::map<std::string, std::string>& properties() const { return requestProperties; }
    const std::map<std::string, std::string>& parameters() const { return requestParameters; }
    const std::vector<unsigned char>& multiPart() const { return multiPartParam; }

private:
    Q_DISABLE_COPY(OrvQtHttpRequest)

    void releaseReply();
    bool inflatesAnswers() const;
    // After a transport failure a connection of the manager may be dead (a
    // TLS handshake that never ends is kept and handed the next request to
    // its origin): the manager's connections are dropped as soon as none of
    // its replies is running.
    void dropConnectionsIfSuspect(bool transportFailure) const;
    void logOutcome(unsigned int errorCode, unsigned int httpStatus, size_t bytes, bool retry) const;

    QtHttpRequestListener* listener;
    QNetworkAccessManager* manager;
    QNetworkReply* reply;
    QTimer* timer;
    std::string url;
    std::map<std::string, std::string> requestProperties;
    std::map<std::string, std::string> requestParameters;
    std::vector<unsigned char> multiPartParam;
    eQtHttpStatus status;
    eSslProtocol sslProtocol;
    bool ignoreSslError;
    int timeout;
    int retryCount;
    int retriesDone;
    bool canceled;
    bool timedOut;
    unsigned int context;
    SslConfigurationHook sslConfigurationHook;
    QElapsedTimer attemptClock;
};

#endif
