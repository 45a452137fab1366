#ifndef ORVKIT_BENCH_QT_CLIENT_H
#define ORVKIT_BENCH_QT_CLIENT_H

#include <QByteArray>
#include <QNetworkRequest>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

class QNetworkAccessManager;

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

private:
    std::unique_ptr<QNetworkAccessManager> manager;
};

#endif
