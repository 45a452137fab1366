// The request objects against a real HTTPS server on loopback.
#include "http/OrvQtHttpDelete.h"
#include "http/OrvQtHttpGet.h"
#include "http/OrvQtHttpPost.h"
#include "http/QtHttpRequestListener.h"

#include "LogCapture.h"
#include "TestHttpsServer.h"
#include "TestPki.h"
#include "TestTime.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QSslCertificate>
#include <QSslKey>
#include <QTimer>

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

typedef OrvQtHttpRequest Req;
using Reply = TestHttpsServer::Reply;

struct Outcome { unsigned int error, status; std::string body; unsigned int context; };

struct Listener : QtHttpRequestListener
{
    void onHttpFinished(unsigned int error, unsigned int status, const std::vector<unsigned char>& body,
                        unsigned int context) override
    {
        finished.push_back(Outcome{error, status, std::string(body.begin(), body.end()), context});
    }
    void onHttpCanceled(unsigned int context) override { canceled.push_back(context); }
    size_t events() const { return finished.size() + canceled.size(); }

    std::vector<Outcome> finished;
    std::vector<unsigned int> canceled;
};

// Runs the test thread's event loop in short slices until done() or the time-out.
bool pumpUntil(const std::function<bool()>& done, int timeoutMs = 10000)
{
    QElapsedTimer clock;
    clock.start();
    while (!done() && clock.elapsed() <= scaledMs(timeoutMs)) {
        QEventLoop loop;
        QTimer::singleShot(2, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return done();
}

class HttpRequestTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { pki = new TestPki("head-unit-0042"); }
    static void TearDownTestSuite() { delete pki; }

    void SetUp() override
    {
        ASSERT_TRUE(pki->isValid());
        ASSERT_TRUE(server->start());
    }
    void TearDown() override
    {
        requests.clear();
        manager.reset(); // the client goes first, so that the server's cuts are not seen
    }

    template <typename T>
    T* make(const std::string& pathAndQuery, unsigned int context = 7, TestHttpsServer* target = nullptr)
    {
        requests.emplace_back(new T(manager.get(), &listener, nullptr));
        T* request = static_cast<T*>(requests.back().get());
        request->initialize((target != nullptr ? target : server.get())->url(pathAndQuery));
        request->setContext(context);
        request->setSslProtocol(Req::SSL_PROTOCOL_TLSV1_2);
        return request;
    }

    bool waitForOutcome(size_t count = 1, int timeoutMs = 10000)
    {
        return pumpUntil([&] { return listener.events() >= count; }, timeoutMs);
    }

    static TestPki* pki;
    std::unique_ptr<TestHttpsServer> server{new TestHttpsServer(TestHttpsServer::tls(*pki))};
    std::unique_ptr<QNetworkAccessManager> manager{new QNetworkAccessManager()};
    Listener listener;
    std::vector<std::unique_ptr<Req>> requests;
};

TestPki* HttpRequestTest::pki = nullptr;

TEST_F(HttpRequestTest, InitializeResetsAndNothingStartsWithoutUrlOrManager)
{
    server->route("GET", "/x", Reply::ok("x"));
    OrvQtHttpGet* request = make<OrvQtHttpGet>("/x");
    request->setRequestProperty("Content-Type", "a");
    request->setTimeout(5);
    request->setRetryCount(3);
    request->setIgnoreSslError(false);
    request->setMultiPartParam({1, 2});
    request->initialize("");
    std::map<std::string, std::string> properties;
    request->getRequestProperties(properties);
    std::vector<unsigned char> bytes;
    request->getMultiPartParam(bytes);
    EXPECT_TRUE(properties.empty());
    EXPECT_TRUE(bytes.empty());
    // Like a request never used.
    const auto settings = [](const Req& r) {
        return std::make_tuple(r.getSslProtocol(), r.getIgnoreSslError(), r.getTimeout(), r.getRetryCount(), r.getContext());
    };
    EXPECT_EQ(settings(*request), settings(OrvQtHttpGet(nullptr, nullptr, nullptr)));

    request->execute();
    OrvQtHttpPost orphan(nullptr, &listener, nullptr);
    orphan.initialize(server->url("/x"));
    orphan.execute();
    orphan.execute2(QSslConfiguration::defaultConfiguration());
    EXPECT_EQ(request->getStatus(), Req::STATUS_NONE);
    EXPECT_EQ(orphan.getStatus(), Req::STATUS_NONE);
    // A request that does start: its answer comes after anything the others could have sent.
    make<OrvQtHttpGet>("/x", 9)->execute();
    ASSERT_TRUE(waitForOutcome(1));
    EXPECT_EQ(server->requestCount(), 1u);
    ASSERT_EQ(listener.events(), 1u);
    EXPECT_EQ(listener.finished[0].context, 9u);
}

// The protocol choice reaches the handshake with a TLS 1.2-only server: 1.2
// itself, Qt's secure protocols (0 and any unknown value) and TlsV1SslV3
// (which Qt takes as TLS 1.0 or later) connect; the older ones do not.
TEST_F(HttpRequestTest, ProtocolChoiceReachesTheHandshake)
{
    server->route("GET", "/ok", Reply::ok("{}"));
    const struct { int protocol; bool connects; } cases[] = {
        {Req::SSL_PROTOCOL_TLSV1_2, true}, {0, true},     {7, true},      {Req::SSL_PROTOCOL_SSLV2, false},
        {Req::SSL_PROTOCOL_SSLV3, false},  {Req::SSL_PROTOCOL_TLSV1_0, false}, {Req::SSL_PROTOCOL_TLSV1_1, false},
        {Req::SSL_PROTOCOL_TLSV1_SSLV3, true},
    };
    unsigned int context = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.protocol);
        manager.reset(new QNetworkAccessManager()); // a fresh handshake each time
        Req* request = make<OrvQtHttpGet>("/ok", ++context);
        request->setSslProtocol(static_cast<Req::eSslProtocol>(c.protocol));
        request->execute();
        ASSERT_TRUE(waitForOutcome(context));
        EXPECT_EQ(listener.finished.back().error == 0, c.connects) << listener.finished.back().error;
    }
}

// Only a transport failure that still came with a 1xx or 2xx status is tried
// again, as often as the budget allows (-1: without limit); the listener
// hears only the last attempt.
TEST_F(HttpRequestTest, RetriesFollowTheStatusAndTheBudget)
{
    const Reply cut = Reply::truncated("{\"x\":1}", 2);
    server->route("GET", "/cut", cut);
    server->route("GET", "/cut-then-ok", std::vector<Reply>{cut, cut, Reply::ok("{}")});
    server->route("GET", "/missing", Reply::withStatus(404));
    server->route("GET", "/moved", Reply::redirect("/ok"));
    server->route("GET", "/ok", Reply::ok("{}"));
    const struct { const char* path; int budget; size_t attempts; unsigned int error, status; } cases[] = {
        {"/cut", 0, 1, 2, 200},         {"/cut", 2, 3, 2, 200},       {"/cut-then-ok", -1, 3, 0, 200},
        {"/missing", 2, 1, 203, 404},   {"/moved", 2, 1, 999, 302},  {"/ok", 2, 1, 0, 200},
    };
    unsigned int context = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        server->clearRequests();
        Req* request = make<OrvQtHttpGet>(c.path, ++context);
        request->setRetryCount(c.budget);
        request->execute();
        ASSERT_TRUE(waitForOutcome(context));
        EXPECT_EQ(server->requestCount(), c.attempts);
        EXPECT_EQ(listener.finished.back().error, c.error);
        EXPECT_EQ(listener.finished.back().status, c.status);
    }
}

// What each kind of request puts on the wire; of two values for a name, the
// first one counts. Method "POST2": execute2.
TEST_F(HttpRequestTest, RequestShapes)
{
    server->route("GET", "/", Reply::ok("{\"ok\":1}"), TestHttpsServer::Match::Prefix);
    server->route("DELETE", "/", Reply::withStatus(204), TestHttpsServer::Match::Prefix);
    server->route("POST", "/post", Reply::ok("done"));
    const struct { std::string method, url; std::vector<std::pair<std::string, std::string>> parameters;
                   std::string bytes, contentType, query, body, seenContentType; } cases[] = {
        {"GET", "/api/items", {{"b", "2"}, {"a", "1"}, {"text", "x y&z=w"}, {"cut", std::string("ab\0cd", 5)}, {"a", "9"}}, "", "",
         "a=1&b=2&cut=ab&text=x%20y%26z%3Dw", "", ""},
        {"GET", "/x?q=1", {{"a", "1"}}, "", "", "a=1", "", ""}, // parameters replace the URL's query
        {"GET", "/x?q=1", {}, "", "", "q=1", "", ""},           // which stays when there are none
        {"DELETE", "/api/items/5", {{"model", "M"}}, "", "", "model=M", "", ""},
        {"POST", "/post", {{"name", "a b"}, {"id", "1&2"}}, "", "", "", "id=1%262&name=a%20b", "application/x-www-form-urlencoded"},
        {"POST", "/post", {{"k", "a/b:c+d~\xC3\xA9"}}, "", "", "", "k=a%2Fb%3Ac%2Bd~%C3%83%C2%A9", ""}, // one character a byte
        {"POST", "/post", {{"ignored", "1"}}, "raw-bytes", "", "", "raw-bytes", ""}, // bytes win over parameters
        {"POST", "/post", {}, "{\"a\":1}", "application/json", "", "{\"a\":1}", "application/json"},
        {"POST2", "/post", {}, "{}", "application/json", "", "{}", "application/json"},
    };
    unsigned int context = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.method + " " + c.url + " " + c.body);
        Req* request = c.method == "GET"      ? static_cast<Req*>(make<OrvQtHttpGet>(c.url, ++context))
                       : c.method == "DELETE" ? static_cast<Req*>(make<OrvQtHttpDelete>(c.url, ++context))
                                              : static_cast<Req*>(make<OrvQtHttpPost>(c.url, ++context));
        for (const auto& p : c.parameters)
            request->setRequestParameter(p.first, p.second);
        request->setMultiPartParam(std::vector<unsigned char>(c.bytes.begin(), c.bytes.end()));
        if (!c.contentType.empty())
            request->setRequestProperty("Content-Type", c.contentType);
        request->setRequestProperty("Authorization", "Bearer tok");
        request->setRequestProperty("Authorization", "Bearer other");
        if (c.method == "POST2")
            static_cast<OrvQtHttpPost*>(request)->execute2(QSslConfiguration::defaultConfiguration());
        else
            request->execute();
        EXPECT_TRUE(request->isBusy());
        EXPECT_FALSE(request->isEnableDelete());
        ASSERT_TRUE(waitForOutcome(context));
        EXPECT_EQ(request->getStatus(), Req::STATUS_FINISHED);
        EXPECT_TRUE(request->isEnableDelete());
        const Outcome& o = listener.finished.back();
        EXPECT_EQ(o.error, 0u);
        EXPECT_EQ(o.body, c.method == "GET" ? "{\"ok\":1}" : c.method == "DELETE" ? "" : "done");
        const TestHttpsServer::Request seen = server->lastRequest();
        EXPECT_EQ(seen.method, c.method.substr(0, c.method == "POST2" ? 4 : std::string::npos));
        EXPECT_EQ(seen.query, c.query);
        EXPECT_EQ(seen.body, c.body);
        EXPECT_EQ(seen.header("Authorization"), "Bearer tok");
        if (!c.seenContentType.empty()) {
            EXPECT_EQ(seen.header("Content-Type"), c.seenContentType);
        }
    }
    EXPECT_EQ(server->requestCount(), std::size(cases));
}

// Retries follow the rule and the budget with the same query and headers; a
// time-out without a status is not retried, one after the header keeps it.
TEST_F(HttpRequestTest, TimeOutReportsAbortWithoutBody)
{
    // A cut after a 200 header is a transport error with a success status: retryable.
    const Reply cut = Reply::truncated("0123456789abcdef", 4);
    server->route("GET", "/failing", cut);
    server->route("GET", "/flaky", std::vector<Reply>{cut, cut, cut, cut, Reply::ok("finally")});
    server->route("GET", "/broken", Reply::withStatus(503, "busy"));
    server->route("GET", "/moved", Reply::redirect("/elsewhere", 302));
    server->route("GET", "/slow", Reply::delayed(5000, Reply::ok("late")));
    Reply stalled = Reply::truncated(std::string(4000, 'x'), 1000);
    stalled.stallMs = 5000;
    server->route("GET", "/stalled", stalled);
    // The header of "/stalled" must come in time: under an emulator the TLS handshake alone takes longer.
    const int timeoutMs = scaledMs(300);
    const struct { const char* path; int retryCount; size_t requests; unsigned int error, status; const char* body; } cases[] = {
        {"/failing", 0, 1, 2, 200, nullptr},  {"/failing", 2, 3, 2, 200, nullptr},
        {"/flaky", -1, 5, 0, 200, "finally"}, // a negative count: no limit
        {"/broken", 2, 1, 403, 503, "busy"},  // an error status is never retried
        {"/moved", 2, 1, 999, 302, ""},       // nor followed
        {"/slow", 3, 1, 5, 0, ""},            {"/stalled", 0, 1, 5, 200, ""},
    };
    LogCapture log;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.path) + " " + std::to_string(c.retryCount));
        server->clearRequests();
        listener.finished.clear();
        OrvQtHttpGet* request = make<OrvQtHttpGet>(std::string(c.path) + "?n=1", 9);
        request->setRequestParameter("n", "1");
        request->setRequestProperty("X-Attempt", "same");
        request->setRetryCount(c.retryCount);
        if (c.error == 5)
            request->setTimeout(timeoutMs);
        request->execute();
        ASSERT_TRUE(waitForOutcome(1));
        ASSERT_EQ(listener.finished.size(), 1u);
        const Outcome& o = listener.finished[0];
        EXPECT_EQ(std::make_tuple(o.error, o.status, o.context), std::make_tuple(c.error, c.status, 9u));
        if (c.body != nullptr) {
            EXPECT_EQ(o.body, c.body);
        }
        EXPECT_EQ(server->requestCount(), c.requests);
        for (const TestHttpsServer::Request& seen : server->requests())
            EXPECT_EQ(seen.query + " " + seen.header("X-Attempt"), "n=1 same");
    }
    EXPECT_EQ(log.linesWith({"orvkit.http: request GET " + server->url("/slow") + " timed out after " +
                             std::to_string(timeoutMs) + " ms, aborted"}).size(), 1u)
        << log.joined();
}

TEST_F(HttpRequestTest, CancelReportsOnlyTheCancel)
{
    server->route("GET", "/slow", Reply::delayed(5000, Reply::ok("late")));
    OrvQtHttpGet* request = make<OrvQtHttpGet>("/slow", 11);
    request->setTimeout(500);
    request->execute();
    ASSERT_TRUE(server->waitForRequests(1, 5000, [] { pumpUntil([] { return false; }, 2); }));
    request->cancel();
    EXPECT_TRUE(request->isCanceled());
    EXPECT_FALSE(request->isBusy());
    ASSERT_TRUE(waitForOutcome(1));
    // Started later with the same time-out, its time-out comes after the first one's would have.
    OrvQtHttpGet* later = make<OrvQtHttpGet>("/slow", 12);
    later->setTimeout(500);
    later->execute();
    ASSERT_TRUE(waitForOutcome(2));
    ASSERT_EQ(listener.finished.size(), 1u);
    EXPECT_EQ(listener.finished[0].context, 12u);
    EXPECT_EQ(listener.canceled, std::vector<unsigned int>{11});
}

// TLS errors are ignored by default and fatal otherwise; a device endpoint asks for a client
// certificate, which only execute2 brings (client: a POST so), a retry going without it.
TEST_F(HttpRequestTest, TlsSettingsAndClientCertificates)
{
    TestHttpsServer mutual(TestHttpsServer::mutualTls(*pki));
    ASSERT_TRUE(mutual.start());
    for (TestHttpsServer* s : {server.get(), &mutual})
        s->route("*", "/tls", Reply::ok("secure"));
    mutual.route("POST", "/cut", Reply::truncated("{}", 1));
    const QSslCertificate ca(QByteArray::fromStdString(pki->ca().certificatePem), QSsl::Pem);
    const int tls12 = Req::SSL_PROTOCOL_TLSV1_2;
    const struct { const char* name; TestHttpsServer* target; bool ignore; int protocol; bool hook, client;
                   const char* path; unsigned int error; } cases[] = {
        {"ignored by default", server.get(), true, tls12, false, false, "/tls", 0},
        {"fatal when not ignored", server.get(), false, tls12, false, false, "/tls", 6},
        {"hook trusts the test CA", server.get(), false, tls12, true, false, "/tls", 0},
        {"SSLv3 refused by Qt", server.get(), true, Req::SSL_PROTOCOL_SSLV3, false, false, "/tls", 99},
        {"SSLv2 refused by Qt", server.get(), true, Req::SSL_PROTOCOL_SSLV2, false, false, "/tls", 99},
        {"TLS 1 or SSLv3 reaches TLS 1.2", server.get(), true, Req::SSL_PROTOCOL_TLSV1_SSLV3, false, false, "/tls", 0},
        {"execute2 with the client certificate", &mutual, true, tls12, false, true, "/tls", 0},
        {"without a client certificate", &mutual, true, tls12, false, false, "/tls", 6},
        {"retry of execute2", &mutual, true, tls12, false, true, "/cut", 6},
    };
    unsigned int context = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        c.target->clearRequests();
        // Qt reuses an established connection whatever the new TLS settings: start afresh.
        manager.reset(new QNetworkAccessManager());
        Req* request = c.client ? static_cast<Req*>(make<OrvQtHttpPost>(c.path, ++context, c.target))
                                : make<OrvQtHttpGet>(c.path, ++context, c.target);
        request->setIgnoreSslError(c.ignore);
        request->setSslProtocol(static_cast<Req::eSslProtocol>(c.protocol));
        request->setRetryCount(1);
        if (c.hook) {
            request->setSslConfigurationHook([ca](QSslConfiguration& config) {
                config.setCaCertificates({ca});
                config.setPeerVerifyMode(QSslSocket::VerifyPeer);
            });
        }
        if (c.client) {
            QSslConfiguration config = QSslConfiguration::defaultConfiguration();
            config.setLocalCertificateChain({QSslCertificate(QByteArray::fromStdString(pki->client().certificatePem))});
            config.setPrivateKey(QSslKey(QByteArray::fromStdString(pki->client().privateKeyPem), QSsl::Rsa));
            static_cast<OrvQtHttpPost*>(request)->execute2(config);
        } else {
            request->execute();
        }
        ASSERT_TRUE(waitForOutcome(context));
        EXPECT_EQ(listener.finished.back().error, c.error);
        EXPECT_EQ(listener.finished.back().body, c.error == 0 ? "secure" : "");
        const bool reached = c.error == 0 || std::string(c.path) == "/cut";
        ASSERT_EQ(c.target->requestCount(), reached ? 1u : 0u);
        EXPECT_EQ(c.target->lastRequest().clientCommonName, c.client && reached ? "head-unit-0042" : "");
    }
    manager.reset();
}

} // namespace
