// RSS probe of an application that uses Qt's network access manager alone:
// idle with the manager made, then after one HTTPS GET to argv[1] with the
// Authorization header argv[2]. Prints "idle_kB=" and "request_kB=" lines.
#include <QCoreApplication>
#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

#include <cstdio>
#include <cstdlib>
#include <cstring>

static long residentKiB()
{
    FILE* status = std::fopen("/proc/self/status", "r");
    long kib = -1;
    char line[256];
    while (status != nullptr && std::fgets(line, sizeof line, status) != nullptr) {
        if (std::strncmp(line, "VmRSS:", 6) == 0)
            kib = std::atol(line + 6);
    }
    if (status != nullptr)
        std::fclose(status);
    return kib;
}

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QNetworkAccessManager manager;
    QCoreApplication::processEvents();
    std::printf("idle_kB=%ld\n", residentKiB());
    if (argc < 3)
        return 0;
    QNetworkRequest request(QUrl(QString::fromLocal8Bit(argv[1])));
    request.setRawHeader("Authorization", argv[2]);
    QNetworkReply* reply = manager.get(request);
    QObject::connect(reply, &QNetworkReply::sslErrors, reply, [reply] { reply->ignoreSslErrors(); });
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    const bool ok = reply->error() == QNetworkReply::NoError && !reply->readAll().isEmpty();
    delete reply;
    if (ok)
        std::printf("request_kB=%ld\n", residentKiB());
    return ok ? 0 : 1;
}
