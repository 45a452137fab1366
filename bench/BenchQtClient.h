#ifndef ORVKIT_BENCH_QT_CLIENT_H
#define ORVKIT_BENCH_QT_CLIENT_H

#include <QByteArray>
#include <QNetworkRequest>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

class QNetworkAccessManager;
class QNetworkReply;

// The baseline: what an application does with Qt alone. It runs on the
// calling thread and spins a local event loop until its replies finish.
// Certificate errors are ignored, as the kit does by default.
class BenchQtClient
{
public:
    BenchQtClient();
    ~BenchQtClient();

    static QNetworkRequest request(const std::string& url, const std::string& authorization);
    // One GET; true on status 200 without error.
    bool get(const QNetworkRequest& request, QByteArray& body);
    // total GETs over requests in turn, inFlight at a time; returns how many
    // ended with status 200.
    size_t getConcurrently(const std::vector<QNetworkRequest>& requests, size_t inFlight, size_t total);
    // One POST of body, handed to Qt as a QByteArray or, with asDevice, as a
    // QBuffer; true on status 200 without error.
    bool post(const QNetworkRequest& request, const QByteArray& body, QByteArray& answer, bool asDevice = false);

private:
    // Waits for the reply, takes its body and deletes it.
    bool finish(QNetworkReply* reply, QByteArray& body);

    std::unique_ptr<QNetworkAccessManager> manager;
};

#endif
