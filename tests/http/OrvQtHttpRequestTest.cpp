#include "http/OrvQtHttpDelete.h"
#include "http/OrvQtHttpGet.h"
#include "http/OrvQtHttpPost.h"
#include "http/QtHttpRequestListener.h"

#include "LogCapture.h"
#include "TestHttpsServer.h"
#include "TestPki.h"

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
#include <random>
#include <string>
#include <vector>

namespace {

typedef OrvQtHttpRequest Req;

struct Outcome
{
    unsigned int error;
    unsigned int status;
    std::string body;
    unsigned int context;
};

class Listener : public QtHttpRequestListener
{
public:
    void onHttpFinished(unsigned int networkError, unsigned int httpStatus, const std::vector<unsigned char>& body,
                        unsigned int context) override
    {
        finished.push_back(Outcome{networkError, httpStatus, std::string(body.begin(), body.end()), context});
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
    while (!done()) {
        if (clock.elapsed() > timeoutMs) {
            return false;
        }
        QEventLoop loop;
        QTimer::singleShot(2, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

void pumpBriefly(int ms)
{
    QElapsedTimer clock;
    clock.start();
    pumpUntil([&] { return clock.elapsed() >= ms; }, ms + 1000);
}

std::string randomBytes(size_t size)
{
    std::mt19937 generator(12345);
    std::string out(size, '\0');
    for (char& c : out) {
        c = static_cast<char>(generator() & 0xFF);
    }
    return out;
}

QSslConfiguration clientConfiguration(const TestPki::Identity& client, const TestPki::Identity& ca)
{
    QSslConfiguration config = QSslConfiguration::defaultConfiguration();
    config.setProtocol(QSsl::TlsV1_2);
    config.setCaCertificates({QSslCertificate(QByteArray::fromStdString(ca.certificatePem), QSsl::Pem)});
    config.setLocalCertificateChain({QSslCertificate(QByteArray::fromStdString(client.certificatePem), QSsl::Pem)});
    config.setPrivateKey(QSslKey(QByteArray::fromStdString(client.privateKeyPem), QSsl::Rsa, QSsl::Pem,
                                 QSsl::PrivateKey));
    return config;
}

class HttpRequestTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { pki = new TestPki("head-unit-0042"); }
    static void TearDownTestSuite()
    {
        delete pki;
        pki = nullptr;
    }

    void SetUp() override
    {
        ASSERT_TRUE(pki->isValid());
        server.reset(new TestHttpsServer(TestHttpsServer::tls(*pki)));
        ASSERT_TRUE(server->start());
        manager.reset(new QNetworkAccessManager());
    }

    void TearDown() override
    {
        requests.clear();
        manager.reset(); // the client goes first, so that the server's cuts are not seen
        server.reset();
    }

    template <typename T>
    T* make(const std::string& pathAndQuery, unsigned int context = 7)
    {
        requests.emplace_back(new T(manager.get(), &listener, nullptr));
        T* request = static_cast<T*>(requests.back().get());
        request->initialize(server->url(pathAndQuery));
        request->setContext(context);
        request->setSslProtocol(Req::SSL_PROTOCOL_TLSV1_2);
        return request;
    }

    bool waitForOutcome(size_t count = 1, int timeoutMs = 10000)
    {
        return pumpUntil([&] { return listener.events() >= count; }, timeoutMs);
    }

    static TestPki* pki;
    std::unique_ptr<TestHttpsServer> server;
    std::unique_ptr<QNetworkAccessManager> manager;
    Listener listener;
    std::vector<std::unique_ptr<Req>> requests;
};

TestPki* HttpRequestTest::pki = nullptr;

TEST_F(HttpRequestTest, DefaultsFirstValueWinsAndInitializeResets)
{
    OrvQtHttpGet* request = make<OrvQtHttpGet>("/x");
    request->setRequestProperty("Content-Type", "a");
    request->setRequestProperty("Content-Type", "b");
    request->setRequestParameter("k", "1");
    request->setRequestParameter("k", "2");
    std::map<std::string, std::string> properties;
    std::map<std::string, std::string> parameters;
    request->getRequestProperties(properties);
    request->getRequestParameters(parameters);
    EXPECT_EQ(properties, (std::map<std::string, std::string>{{"Content-Type", "a"}}));
    EXPECT_EQ(parameters, (std::map<std::string, std::string>{{"k", "1"}}));

    request->setTimeout(5);
    request->setRetryCount(3);
    request->setIgnoreSslError(false);
    request->setMultiPartParam({1, 2});
    request->initialize("https://127.0.0.1:1/y");
    request->getRequestProperties(properties);
    std::vector<unsigned char> bytes;
    request->getMultiPartParam(bytes);
    EXPECT_TRUE(properties.empty());
    EXPECT_TRUE(bytes.empty());
    EXPECT_EQ(request->getSslProtocol(), Req::SSL_PROTOCOL_SSLV3);
    EXPECT_TRUE(request->getIgnoreSslError());
    EXPECT_EQ(request->getTimeout(), 30000);
    EXPECT_EQ(request->getRetryCount(), 0);
    EXPECT_EQ(request->getContext(), 0u);
    EXPECT_EQ(request->getStatus(), Req::STATUS_NONE);

    // Nothing to start without a URL or without a manager.
    request->initialize("");
    request->execute();
    OrvQtHttpPost orphan(nullptr, &listener, nullptr);
    orphan.initialize(server->url("/x"));
    orphan.execute();
    orphan.execute2(QSslConfiguration::defaultConfiguration());
    pumpBriefly(50);
    EXPECT_EQ(request->getStatus(), Req::STATUS_NONE);
    EXPECT_TRUE(request->isEnableDelete());
    EXPECT_EQ(orphan.getStatus(), Req::STATUS_NONE);
    EXPECT_EQ(server->requestCount(), 0u);
    EXPECT_EQ(listener.events(), 0u);
}

TEST_F(HttpRequestTest, ProtocolTableAndRetryRule)
{
    const struct
    {
        int value;
        QSsl::SslProtocol expected;
    } protocols[] = {
        {0, QSsl::SecureProtocols},     {1, QSsl::SslV2},   {2, QSsl::SslV3},   {3, QSsl::TlsV1_0},
        {4, QSsl::TlsV1_1},             {5, QSsl::TlsV1_2}, {6, QSsl::TlsV1SslV3}, {7, QSsl::SecureProtocols},
        {-1, QSsl::SecureProtocols},
    };
    for (const auto& p : protocols) {
        EXPECT_EQ(Req::toQtProtocol(static_cast<Req::eSslProtocol>(p.value)), p.expected) << p.value;
    }

    const struct
    {
        unsigned int error;
        unsigned int status;
        bool retry;
    } rules[] = {
        {0, 200, false}, {2, 200, true}, {2, 100, true},  {2, 299, true},
        {2, 300, false}, {2, 99, false}, {2, 0, false},   {999, 302, false},
    };
    OrvQtHttpGet request(nullptr, nullptr, nullptr);
    for (const auto& r : rules) {
        EXPECT_EQ(request.shouldRetry(r.error, r.status), r.retry) << r.error << "/" << r.status;
    }
}

TEST_F(HttpRequestTest, GetAndDeleteSendQueryInKeyOrderAndHeaders)
{
    server->route("GET", "/api/items", TestHttpsServer::Reply::ok("{\"ok\":1}"));
    server->route("DELETE", "/api/items/5", TestHttpsServer::Reply::withStatus(204));

    OrvQtHttpGet* get = make<OrvQtHttpGet>("/api/items", 4);
    get->setRequestParameter("b", "2");
    get->setRequestParameter("a", "1");
    get->setRequestParameter("text", "x y&z=w");
    get->setRequestParameter("cut", std::string("ab\0cd", 5));
    get->setRequestProperty("Authorization", "Bearer tok");
    get->setRequestProperty("X-Extra", "v");
    get->execute();
    EXPECT_EQ(get->getStatus(), Req::STATUS_EXECUTING);
    EXPECT_TRUE(get->isBusy());
    EXPECT_FALSE(get->isEnableDelete());

    OrvQtHttpDelete* del = make<OrvQtHttpDelete>("/api/items/5", 6);
    del->setRequestParameter("model", "M");
    del->setRequestProperty("Authorization", "Bearer tok");
    del->execute();

    ASSERT_TRUE(waitForOutcome(2));
    ASSERT_EQ(listener.finished.size(), 2u);
    for (const Outcome& o : listener.finished) {
        if (o.context == 4) {
            EXPECT_EQ(o.error, 0u);
            EXPECT_EQ(o.status, 200u);
            EXPECT_EQ(o.body, "{\"ok\":1}");
        } else {
            EXPECT_EQ(o.context, 6u);
            EXPECT_EQ(o.error, 0u);
            EXPECT_EQ(o.status, 204u);
            EXPECT_EQ(o.body, "");
        }
    }
    EXPECT_EQ(get->getStatus(), Req::STATUS_FINISHED);
    EXPECT_TRUE(get->isEnableDelete());

    ASSERT_EQ(server->requestCount(), 2u);
    for (const TestHttpsServer::Request& seen : server->requests()) {
        EXPECT_EQ(seen.header("Authorization"), "Bearer tok");
        EXPECT_TRUE(seen.body.empty());
        if (seen.method == "GET") {
            EXPECT_EQ(seen.path, "/api/items");
            EXPECT_EQ(seen.query, "a=1&b=2&cut=ab&text=x%20y%26z%3Dw");
            EXPECT_EQ(seen.param("text"), "x y&z=w");
            EXPECT_EQ(seen.header("X-Extra"), "v");
        } else {
            EXPECT_EQ(seen.method, "DELETE");
            EXPECT_EQ(seen.path, "/api/items/5");
            EXPECT_EQ(seen.query, "model=M");
        }
    }
}

TEST_F(HttpRequestTest, ParametersReplaceTheUrlQueryOnlyWhenSet)
{
    server->route("GET", "/x", TestHttpsServer::Reply::ok("1"));
    OrvQtHttpGet* with = make<OrvQtHttpGet>("/x?q=1", 1);
    with->setRequestParameter("a", "1");
    with->execute();
    ASSERT_TRUE(waitForOutcome(1));
    OrvQtHttpGet* without = make<OrvQtHttpGet>("/x?q=1", 2);
    without->execute();
    ASSERT_TRUE(waitForOutcome(2));

    const std::vector<TestHttpsServer::Request> seen = server->requests();
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].query, "a=1");
    EXPECT_EQ(seen[1].query, "q=1");
}

TEST_F(HttpRequestTest, PostBodyForms)
{
    server->route("POST", "/post", TestHttpsServer::Reply::ok("done"));
    struct Case
    {
        const char* name;
        std::vector<std::pair<std::string, std::string>> parameters;
        std::string multipart;
        std::string contentTypeProperty;
        bool useExecute2;
        std::string expectedBody;
        std::string expectedContentType; // "-": not checked
    };
    const std::vector<Case> cases = {
        {"form", {{"name", "a b"}, {"id", "1&2"}}, "", "", false, "id=1%262&name=a%20b",
         "application/x-www-form-urlencoded"},
        {"form escapes every reserved byte, one character per byte", {{"k", "a/b:c+d~\xC3\xA9"}}, "", "", false,
         "k=a%2Fb%3Ac%2Bd~%C3%83%C2%A9", "-"},
        {"bytes win over parameters", {{"ignored", "1"}}, "raw-bytes", "", false, "raw-bytes", "-"},
        {"empty body", {}, "", "", false, "", "-"},
        {"json property", {}, "{\"a\":\"1\"}", "application/json", false, "{\"a\":\"1\"}", "application/json"},
        {"execute2 form", {{"b", "2"}, {"a", "1"}}, "", "", true, "a=1&b=2", "-"},
        {"execute2 json", {}, "{}", "application/json", true, "{}", "application/json"},
    };
    unsigned int context = 0;
    for (const Case& c : cases) {
        OrvQtHttpPost* post = make<OrvQtHttpPost>("/post", ++context);
        for (const auto& p : c.parameters) {
            post->setRequestParameter(p.first, p.second);
        }
        if (!c.multipart.empty()) {
            post->setMultiPartParam(std::vector<unsigned char>(c.multipart.begin(), c.multipart.end()));
        }
        if (!c.contentTypeProperty.empty()) {
            post->setRequestProperty("Content-Type", c.contentTypeProperty);
        }
        if (c.useExecute2) {
            QSslConfiguration config = QSslConfiguration::defaultConfiguration();
            config.setProtocol(QSsl::TlsV1_2);
            post->execute2(config);
        } else {
            post->execute();
        }
        ASSERT_TRUE(waitForOutcome(context)) << c.name;
        const TestHttpsServer::Request seen = server->lastRequest();
        EXPECT_EQ(seen.method, "POST") << c.name;
        EXPECT_EQ(seen.query, "") << c.name;
        EXPECT_EQ(seen.body, c.expectedBody) << c.name;
        if (c.expectedContentType != "-") {
            EXPECT_EQ(seen.header("Content-Type"), c.expectedContentType) << c.name;
        }
        EXPECT_EQ(listener.finished.back().body, "done") << c.name;
    }
    EXPECT_EQ(server->requestCount(), cases.size());
}

TEST_F(HttpRequestTest, OneTextIsWrittenOneWayInPathQueryAndForm)
{
    const std::string text = "M\xC3\xA9 D\xE9";
    const std::string encoded = "M%C3%83%C2%A9%20D%C3%A9";
    OrvQtHttpGet* get = make<OrvQtHttpGet>("/p/" + text, 1);
    get->setRequestParameter("t", text);
    get->execute();
    OrvQtHttpPost* post = make<OrvQtHttpPost>("/p/" + text, 2);
    post->setRequestParameter("t", text);
    post->execute();
    ASSERT_TRUE(waitForOutcome(2));
    ASSERT_EQ(server->requestCount(), 2u);
    for (const TestHttpsServer::Request& seen : server->requests()) {
        SCOPED_TRACE(seen.method);
        if (seen.method == "GET") {
            EXPECT_EQ(seen.target, "/p/" + encoded + "?t=" + encoded);
        } else {
            EXPECT_EQ(seen.target, "/p/" + encoded);
            EXPECT_EQ(seen.body, "t=" + encoded);
        }
    }
}

TEST_F(HttpRequestTest, TimeOutReportsAbortWithoutBody)
{
    server->route("GET", "/slow", TestHttpsServer::Reply::delayed(5000, TestHttpsServer::Reply::ok("late")));
    TestHttpsServer::Reply stalled = TestHttpsServer::Reply::truncated(std::string(4000, 'x'), 1000);
    stalled.stallMs = 5000;
    server->route("GET", "/stalled", stalled);

    // Under an emulator the TLS handshake alone can take longer than 200 ms.
    const int timeoutMs = std::getenv("ORVKIT_TEST_EMULATOR") != nullptr ? 1000 : 200;
    LogCapture log;
    QElapsedTimer clock;
    clock.start();
    OrvQtHttpGet* slow = make<OrvQtHttpGet>("/slow", 1);
    slow->setTimeout(timeoutMs);
    slow->setRetryCount(3); // a time-out is not retried
    slow->execute();
    OrvQtHttpGet* partial = make<OrvQtHttpGet>("/stalled", 2);
    partial->setTimeout(timeoutMs);
    partial->execute();
    ASSERT_TRUE(waitForOutcome(2, 15 * timeoutMs));
    EXPECT_LT(clock.elapsed(), 10 * timeoutMs);
    ASSERT_TRUE(listener.canceled.empty());
    for (const Outcome& o : listener.finished) {
        EXPECT_EQ(o.error, 5u);
        EXPECT_EQ(o.status, o.context == 1 ? 0u : 200u);
        EXPECT_EQ(o.body, "") << "context " << o.context;
    }
    EXPECT_EQ(server->requestCount(), 2u);
    const std::string timedOut = " timed out after " + std::to_string(timeoutMs) + " ms, aborted";
    EXPECT_EQ(log.linesWith({"orvkit.http: request GET " + server->url("/slow") + timedOut}).size(), 1u)
        << log.joined();
    const std::string aborted = " direct -> status 0 error 5 \"Operation canceled\" 0 B ";
    EXPECT_EQ(log.linesWith({"request GET " + server->url("/slow") + aborted, " ms, timed out"}).size(), 1u)
        << log.joined();
}

TEST_F(HttpRequestTest, RetryBudget)
{
    // A cut after a 200 header is a transport error with a success status: retryable.
    const TestHttpsServer::Reply cut = TestHttpsServer::Reply::truncated("0123456789abcdef", 4);
    server->route("GET", "/failing", cut);
    server->route("GET", "/flaky", std::vector<TestHttpsServer::Reply>{cut, cut, cut, cut,
                                                                       TestHttpsServer::Reply::ok("finally")});
    server->route("GET", "/broken", TestHttpsServer::Reply::withStatus(503, "busy"));

    const struct
    {
        const char* path;
        int retryCount;
        size_t expectedRequests;
        unsigned int error;
        unsigned int status;
        const char* body; // null: not checked
    } cases[] = {
        {"/failing", 0, 1, 2, 200, nullptr},
        {"/failing", 2, 3, 2, 200, nullptr},
        {"/flaky", -1, 5, 0, 200, "finally"},
        {"/broken", 2, 1, 403, 503, "busy"}, // an error status is never retried
    };
    for (const auto& c : cases) {
        server->clearRequests();
        listener.finished.clear();
        OrvQtHttpGet* request = make<OrvQtHttpGet>(std::string(c.path) + "?n=1", 9);
        request->setRequestParameter("n", "1");
        request->setRequestProperty("X-Attempt", "same");
        request->setRetryCount(c.retryCount);
        request->execute();
        ASSERT_TRUE(waitForOutcome(1)) << c.path << " " << c.retryCount;
        ASSERT_EQ(listener.finished.size(), 1u);
        EXPECT_EQ(listener.finished[0].error, c.error) << c.path << " " << c.retryCount;
        EXPECT_EQ(listener.finished[0].status, c.status) << c.path << " " << c.retryCount;
        EXPECT_EQ(listener.finished[0].context, 9u);
        if (c.body != nullptr) {
            EXPECT_EQ(listener.finished[0].body, c.body);
        }
        EXPECT_EQ(server->requestCount(), c.expectedRequests) << c.path << " " << c.retryCount;
        for (const TestHttpsServer::Request& seen : server->requests()) {
            EXPECT_EQ(seen.query, "n=1");
            EXPECT_EQ(seen.header("X-Attempt"), "same");
        }
    }
}

TEST_F(HttpRequestTest, RedirectIsReportedNotFollowed)
{
    server->route("GET", "/moved", TestHttpsServer::Reply::redirect("/elsewhere", 302));
    server->route("GET", "/elsewhere", TestHttpsServer::Reply::ok("there"));
    OrvQtHttpGet* request = make<OrvQtHttpGet>("/moved", 3);
    request->setRetryCount(2);
    request->execute();
    ASSERT_TRUE(waitForOutcome(1));
    pumpBriefly(50);
    ASSERT_EQ(listener.finished.size(), 1u);
    EXPECT_EQ(listener.finished[0].error, 999u);
    EXPECT_EQ(listener.finished[0].status, 302u);
    EXPECT_EQ(listener.finished[0].body, "");
    EXPECT_EQ(server->requestCount(), 1u);
}

TEST_F(HttpRequestTest, CancelDuringSlowAnswerReportsOnlyCancel)
{
    server->route("GET", "/slow", TestHttpsServer::Reply::delayed(5000, TestHttpsServer::Reply::ok("late")));
    OrvQtHttpGet* request = make<OrvQtHttpGet>("/slow", 11);
    request->setTimeout(300); // the time-out firing after the cancel changes nothing
    request->execute();
    ASSERT_TRUE(server->waitForRequests(1, 5000, [] { pumpBriefly(2); }));
    request->cancel();
    EXPECT_TRUE(request->isCanceled());
    EXPECT_FALSE(request->isBusy());
    ASSERT_TRUE(waitForOutcome(1));
    pumpBriefly(400);
    EXPECT_TRUE(listener.finished.empty());
    EXPECT_EQ(listener.canceled, std::vector<unsigned int>{11});
}

TEST_F(HttpRequestTest, TlsErrorsIgnoredByDefaultAndFatalOtherwise)
{
    server->route("GET", "/tls", TestHttpsServer::Reply::ok("secure"));
    const QSslCertificate ca(QByteArray::fromStdString(pki->ca().certificatePem), QSsl::Pem);
    const auto trustTestCa = [ca](QSslConfiguration& config) {
        config.setCaCertificates({ca});
        config.setPeerVerifyMode(QSslSocket::VerifyPeer);
    };
    const struct
    {
        const char* name;
        bool ignore;
        int protocol;
        bool hook;
        unsigned int error;
    } cases[] = {
        {"ignored by default", true, Req::SSL_PROTOCOL_TLSV1_2, false, 0},
        {"fatal when not ignored", false, Req::SSL_PROTOCOL_TLSV1_2, false, 6},
        {"hook trusts the test CA", false, Req::SSL_PROTOCOL_TLSV1_2, true, 0},
        {"secure protocols", false, Req::SSL_PROTOCOL_DEFAULT, true, 0},
        {"SSLv3 refused by Qt", true, Req::SSL_PROTOCOL_SSLV3, false, 99},
    };
    unsigned int context = 0;
    for (const auto& c : cases) {
        // Qt reuses an established connection whatever the new TLS settings: start afresh.
        manager.reset(new QNetworkAccessManager());
        OrvQtHttpGet* request = make<OrvQtHttpGet>("/tls", ++context);
        request->setIgnoreSslError(c.ignore);
        request->setSslProtocol(static_cast<Req::eSslProtocol>(c.protocol));
        if (c.hook) {
            request->setSslConfigurationHook(trustTestCa);
        }
        request->execute();
        ASSERT_TRUE(waitForOutcome(context)) << c.name;
        EXPECT_EQ(listener.finished.back().error, c.error) << c.name;
        EXPECT_EQ(listener.finished.back().body, c.error == 0 ? "secure" : "") << c.name;
    }
}

TEST_F(HttpRequestTest, HookRejectsServerOfAnotherCa)
{
    TestHttpsServer other(TestHttpsServer::otherCa(*pki));
    other.route("GET", "/tls", TestHttpsServer::Reply::ok("other"));
    ASSERT_TRUE(other.start());
    const QSslCertificate ca(QByteArray::fromStdString(pki->ca().certificatePem), QSsl::Pem);

    OrvQtHttpGet request(manager.get(), &listener, nullptr);
    request.initialize(other.url("/tls"));
    request.setSslProtocol(Req::SSL_PROTOCOL_TLSV1_2);
    request.setIgnoreSslError(false);
    request.setSslConfigurationHook([ca](QSslConfiguration& config) { config.setCaCertificates({ca}); });
    request.execute();
    ASSERT_TRUE(waitForOutcome(1));
    EXPECT_EQ(listener.finished[0].error, 6u);
    EXPECT_EQ(other.requestCount(), 0u);
    manager.reset();
}

TEST_F(HttpRequestTest, LargeBodyArrivesWhole)
{
    const std::string payload = randomBytes(3 * 1024 * 1024 + 17);
    server->route("GET", "/big", TestHttpsServer::Reply::ok(payload, "application/octet-stream"));
    OrvQtHttpGet* request = make<OrvQtHttpGet>("/big", 2);
    request->execute();
    ASSERT_TRUE(waitForOutcome(1, 20000));
    EXPECT_EQ(listener.finished[0].error, 0u);
    EXPECT_EQ(listener.finished[0].body.size(), payload.size());
    EXPECT_TRUE(listener.finished[0].body == payload);
}

TEST_F(HttpRequestTest, ServerCutsMidBody)
{
    server->route("GET", "/cut", TestHttpsServer::Reply::truncated(randomBytes(200000), 70000));
    OrvQtHttpGet* request = make<OrvQtHttpGet>("/cut", 2);
    request->execute();
    ASSERT_TRUE(waitForOutcome(1));
    EXPECT_EQ(listener.finished[0].error, 2u);
    EXPECT_EQ(listener.finished[0].status, 200u);
    EXPECT_LE(listener.finished[0].body.size(), 70000u);
}

TEST_F(HttpRequestTest, ServerStopsQuicklyWhileClientsHoldConnections)
{
    server->route("GET", "/idle", TestHttpsServer::Reply::ok("1"));
    server->route("GET", "/hang", TestHttpsServer::Reply::delayed(10000, TestHttpsServer::Reply::ok("2")));
    make<OrvQtHttpGet>("/idle", 1)->execute();
    ASSERT_TRUE(waitForOutcome(1));
    make<OrvQtHttpGet>("/hang", 2)->execute();
    ASSERT_TRUE(server->waitForRequests(2, 5000, [] { pumpBriefly(2); }));

    QElapsedTimer clock;
    clock.start();
    server->stop(); // one idle keep-alive connection, one answer waiting out its delay
    EXPECT_LT(clock.elapsed(), 500);
    EXPECT_FALSE(server->isRunning());
    ASSERT_TRUE(waitForOutcome(2));
    EXPECT_NE(listener.finished.back().error, 0u);
}

class MutualTlsTest : public HttpRequestTest
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(pki->isValid());
        server.reset(new TestHttpsServer(TestHttpsServer::mutualTls(*pki)));
        server->route("POST", "/things/M-1/shadow", TestHttpsServer::Reply::ok("{\"state\":1}"));
        ASSERT_TRUE(server->start());
        manager.reset(new QNetworkAccessManager());
    }

    OrvQtHttpPost* shadowPost()
    {
        OrvQtHttpPost* post = make<OrvQtHttpPost>("/things/M-1/shadow", 13);
        post->setRequestProperty("Content-Type", "application/json");
        const std::string json = "{\"pos\":[1,2]}";
        post->setMultiPartParam(std::vector<unsigned char>(json.begin(), json.end()));
        return post;
    }
};

TEST_F(MutualTlsTest, Execute2WithClientCertificatePasses)
{
    shadowPost()->execute2(clientConfiguration(pki->client(), pki->ca()));
    ASSERT_TRUE(waitForOutcome(1));
    EXPECT_EQ(listener.finished[0].error, 0u);
    EXPECT_EQ(listener.finished[0].body, "{\"state\":1}");
    ASSERT_EQ(server->requestCount(), 1u);
    EXPECT_EQ(server->lastRequest().clientCommonName, "head-unit-0042");
    EXPECT_EQ(server->lastRequest().body, "{\"pos\":[1,2]}");
}

TEST_F(MutualTlsTest, PlainExecuteAndForeignCertificateAreRefused)
{
    shadowPost()->execute();
    ASSERT_TRUE(waitForOutcome(1));
    EXPECT_EQ(listener.finished[0].error, 6u);
    EXPECT_EQ(listener.finished[0].status, 0u);

    const TestPki::Identity foreign = pki->issueClientCertificate("intruder", true);
    ASSERT_FALSE(foreign.certificatePem.empty());
    manager.reset(new QNetworkAccessManager()); // no connection to reuse
    shadowPost()->execute2(clientConfiguration(foreign, pki->ca()));
    ASSERT_TRUE(waitForOutcome(2));
    EXPECT_EQ(listener.finished[1].error, 6u);
    EXPECT_EQ(server->requestCount(), 0u);
}

TEST_F(MutualTlsTest, RetryOfExecute2GoesThroughExecute)
{
    server->route("POST", "/things/M-1/shadow",
                  std::vector<TestHttpsServer::Reply>{TestHttpsServer::Reply::truncated("{\"state\":1}", 3),
                                                      TestHttpsServer::Reply::ok("{\"state\":2}")});
    OrvQtHttpPost* post = shadowPost();
    post->setRetryCount(1);
    post->execute2(clientConfiguration(pki->client(), pki->ca()));
    ASSERT_TRUE(waitForOutcome(1));
    // The retry carries no client certificate, so the server refuses it.
    EXPECT_EQ(listener.finished[0].error, 6u);
    EXPECT_EQ(listener.finished[0].status, 0u);
    EXPECT_EQ(server->requestCount(), 1u);
    EXPECT_EQ(server->lastRequest().clientCommonName, "head-unit-0042");
}

} // namespace
