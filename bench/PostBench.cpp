#include "BenchCurlClient.h"
#include "BenchKitClient.h"
#include "BenchOptions.h"
#include "BenchPostRig.h"
#include "BenchQtClient.h"
#include "BenchSamples.h"
#include "BenchSuites.h"

#include <TestPki.h>

#include <benchmark/benchmark.h>

#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QUrl>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

typedef BenchSamples::Clock Clock;

// One way of sending the POST, timed request by request in turn with the others.
struct Client
{
    Client(const std::string& name, std::function<bool()> send) : name(name), send(std::move(send)) {}

    std::string name;
    std::function<bool()> send;
    BenchSamples samples;
    size_t failures = 0;
};

QNetworkRequest qtRequest(const BenchPostRig::Target& target)
{
    QNetworkRequest request(QUrl(QString::fromStdString(target.url)));
    for (const auto& header : target.headers)
        request.setRawHeader(QByteArray::fromStdString(header.first), QByteArray::fromStdString(header.second));
    return request;
}

std::vector<std::string> curlHeaders(const BenchPostRig::Target& target)
{
    std::vector<std::string> lines;
    for (const auto& header : target.headers)
        lines.push_back(header.first + ": " + header.second);
    // libcurl would add "Content-Type: application/x-www-form-urlencoded" of its own; the kit's wins anyway.
    return lines;
}

// Every client sends the same request (URL, the kit's own headers, body) in
// turn, so that a load change hits all alike. A client that fails is
// counted, not fatal: some of Qt's variants may not work against the server.
void runClients(benchmark::State& state, std::vector<Client>& clients)
{
    const size_t count = BenchOptions::posts();
    for (Client& client : clients) {
        client.samples.reserve(count);
        // Each opens its connection before timing starts.
        if (!client.send())
            ++client.failures;
    }
    for (auto _ : state) {
        for (size_t i = 0; i < count; ++i) {
            for (Client& client : clients) {
                const Clock::time_point t0 = Clock::now();
                const bool ok = client.send();
                const Clock::time_point t1 = Clock::now();
                if (ok)
                    client.samples.add(t1 - t0);
                else
                    ++client.failures;
            }
        }
    }
    for (const Client& client : clients) {
        if (client.name == "kit" && client.samples.size() != count) {
            state.SkipWithError("a kit POST failed");
            return;
        }
        state.counters[client.name + "_p50_us"] = client.samples.percentile(50) * 1e6;
        state.counters[client.name + "_p90_us"] = client.samples.percentile(90) * 1e6;
        state.counters[client.name + "_failed"] = static_cast<double>(client.failures);
    }
    state.counters["requests"] = static_cast<double>(count);
}

void postLogin(benchmark::State& state)
{
    BenchPostRig* rig = BenchPostRig::instance();
    if (rig == nullptr) {
        state.SkipWithError("no loopback rig");
        return;
    }
    const BenchPostRig::Target& login = rig->login();
    const QByteArray body = QByteArray::fromStdString(login.body);
    const QNetworkRequest plain = qtRequest(login);
    QByteArray answer;
    std::string curlAnswer;

    // One manager per variant, so that each keeps its own connection.
    std::vector<std::unique_ptr<BenchQtClient>> qt;
    for (int i = 0; i < 8; ++i)
        qt.emplace_back(new BenchQtClient());
    BenchCurlClient curl;
    const std::vector<std::string> curlLines = curlHeaders(login);

    QNetworkRequest expect = plain;
    expect.setRawHeader("Expect", "100-continue");
    QNetworkRequest pipelined = plain;
    pipelined.setAttribute(QNetworkRequest::HttpPipeliningAllowedAttribute, true);
    QNetworkRequest http2 = plain;
    http2.setAttribute(QNetworkRequest::Http2AllowedAttribute, true);
    QNetworkRequest unbuffered = plain;
    unbuffered.setAttribute(QNetworkRequest::DoNotBufferUploadDataAttribute, true);
    // Qt's internal synchronous mode blocks the calling thread and reports no
    // certificate errors to be ignored, so it is told to check nothing.
    QNetworkRequest synchronous = plain;
    synchronous.setAttribute(QNetworkRequest::SynchronousRequestAttribute, true);
    QSslConfiguration unchecked = QSslConfiguration::defaultConfiguration();
    unchecked.setPeerVerifyMode(QSslSocket::VerifyNone);
    synchronous.setSslConfiguration(unchecked);

    std::vector<Client> clients;
    clients.emplace_back("kit", [&] { return rig->kit().roundTrip(login.command, login.data, login.resultId, 5000); });
    clients.emplace_back("qt", [&] { return qt[0]->post(plain, body, answer); });
    clients.emplace_back("curl", [&] { return curl.post(login.url, curlLines, login.body, curlAnswer); });
    clients.emplace_back("qt_device", [&] { return qt[1]->post(plain, body, answer, true); });
    clients.emplace_back("qt_unbuffered", [&] { return qt[2]->post(unbuffered, body, answer, true); });
    clients.emplace_back("qt_expect", [&] { return qt[3]->post(expect, body, answer); });
    clients.emplace_back("qt_pipelining", [&] { return qt[4]->post(pipelined, body, answer); });
    clients.emplace_back("qt_http2", [&] { return qt[5]->post(http2, body, answer); });
    clients.emplace_back("qt_synchronous", [&] { return qt[6]->post(synchronous, body, answer); });
    clients.emplace_back("qt_empty", [&] { return qt[7]->post(plain, QByteArray(), answer); });
    runClients(state, clients);
    state.counters["body_bytes"] = static_cast<double>(login.body.size());
}

void postPosition(benchmark::State& state)
{
    BenchPostRig* rig = BenchPostRig::instance();
    if (rig == nullptr || !rig->holdCertificate()) {
        state.SkipWithError("no loopback rig or no certificate");
        return;
    }
    const BenchPostRig::Target& position = rig->position();
    const TestPki& pki = rig->pki();
    QNetworkRequest request = qtRequest(position);
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.setProtocol(QSsl::TlsV1_2);
    tls.setCaCertificates({QSslCertificate(QByteArray::fromStdString(pki.ca().certificatePem), QSsl::Pem)});
    tls.setLocalCertificate(QSslCertificate(QByteArray::fromStdString(pki.client().certificatePem), QSsl::Pem));
    tls.setPrivateKey(QSslKey(QByteArray::fromStdString(pki.client().privateKeyPem), QSsl::Rsa));
    request.setSslConfiguration(tls);
    const QByteArray body = QByteArray::fromStdString(position.body);
    QByteArray answer;
    std::string curlAnswer;
    BenchQtClient qt;
    BenchCurlClient curl;
    curl.useClientCertificate(pki.client().certificatePath, pki.client().privateKeyPath);
    const std::vector<std::string> curlLines = curlHeaders(position);

    std::vector<Client> clients;
    clients.emplace_back(
        "kit", [&] { return rig->kit().roundTrip(position.command, position.data, position.resultId, 5000); });
    clients.emplace_back("qt", [&] { return qt.post(request, body, answer); });
    clients.emplace_back("curl", [&] { return curl.post(position.url, curlLines, position.body, curlAnswer); });
    runClients(state, clients);
    state.counters["body_bytes"] = static_cast<double>(position.body.size());
}

} // namespace

void registerPostBenchmarks()
{
    benchmark::RegisterBenchmark("post/login", postLogin)->Iterations(1)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("post/position", postPosition)->Iterations(1)->Unit(benchmark::kMillisecond);
}
