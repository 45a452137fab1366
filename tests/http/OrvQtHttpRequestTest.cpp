// The request objects against a real HTTPS server on loopback.
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
#include <string>
#include <vector>

namespace {

typedef OrvQtHttpRequest Req;
using Reply = TestHttpsServer::Reply;

struct Outcome
{
    unsigned int error;
    unsigned int status;
    std::string body;
    unsigned int context;
};

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
    while (!done()) {
        if (clock.elapsed() > timeoutMs)
            return false;
        QEventLoop loop;
        QTimer::singleShot(2, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

class HttpRequestTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { pki = new TestPki("head-unit-0042"); }
    static void TearDownTestSuite() { delete pki; }

    void SetUp() override { start(TestHttpsServer::tls(*pki)); }
    void TearDown() override
    {
        requests.clear();
        manager.reset(); // the client goes first, so that the server's cuts are not seen
        server.reset();
    }

    void start(const TestHttpsServer::Config& config)
    {
        ASSERT_TRUE(pki->isValid());
        manager.reset();
        server.reset(new TestHttpsServer(config));
        ASSERT_TRUE(server->start());
        manager.reset(new QNetworkAccessManager());
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

TEST_F(HttpRequestTest, FirstValueWinsInitializeResetsAndNothingStartsWithoutUrlOrManager)
{
    server->route("GET", "/x", Reply::ok("x"));
    OrvQtHttpGet* request = make<OrvQtHttpGet>("/x");
    request->setRequestProperty("Content-Type", "a");
    request->setRequestProperty("Content-Type", "b");
    request->setRequestParameter("k", "1");
    request->setRequestParameter("k", "2");
    std::map<std::string, std::string> properties, parameters;
    request->getRequestProperties(properties);
    request->getRequestParameters(parameters);
    EXPECT_EQ(properties, (std::map<std::string, std::string>{{"Content-Type", "a"}}));
    EXPECT_EQ(parameters, (std::map<std::string, std::string>{{"k", "1"}}));

    request->setTimeout(5);
    request->setRetryCount(3);
    request->setIgnoreSslError(false);
    request->setMultiPartParam({1, 2});
    request->initialize("");
    request->getRequestProperties(properties);
    std::vector<unsigned char> bytes;
    request->getMultiPartParam(bytes);
    EXPECT_TRUE(properties.empty() && bytes.empty());
    EXPECT_EQ(request->getSslProtocol(), Req::SSL_PROTOCOL_SSLV3);
    EXPECT_TRUE(request->getIgnoreSslError());
    EXPECT_EQ(request->getTimeout(), 30000);
    EXPECT_EQ(request->getRetryCount(), 0);
    EXPECT_EQ(request->getContext(), 0u);

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

TEST_F(HttpRequestTest, ProtocolTableAndRetryRule)
{
    const QSsl::SslProtocol protocols[] = {QSsl::SecureProtocols, QSsl::SslV2,   QSsl::SslV3,
                                           QSsl::TlsV1_0,         QSsl::TlsV1_1, QSsl::TlsV1_2,
                                           QSsl::TlsV1SslV3,      QSsl::SecureProtocols};
    for (int value = -1; value <= 7; ++value)
        EXPECT_EQ(Req::toQtProtocol(static_cast<Req::eSslProtocol>(value)), protocols[value < 0 ? 0 : value]) << value;
    // Only a transport error that came with a 1xx or 2xx status is retried.
    const unsigned int rules[][3] = {{0, 200, 0}, {2, 200, 1}, {2, 100, 1}, {2, 299, 1},
                                     {2, 300, 0}, {2, 99, 0},  {2, 0, 0},   {999, 302, 0}};
    OrvQtHttpGet request(nullptr, nullptr, nullptr);
    for (const auto& r : rules)
        EXPECT_EQ(request.shouldRetry(r[0], r[1]), r[2] == 1) << r[0] << "/" << r[1];
}

TEST_F(HttpRequestTest, GetAndDeleteSendQueryInKeyOrderAndHeaders)
{
    server->route("GET", "/", Reply::ok("{\"ok\":1}"), TestHttpsServer::Match::Prefix);
    server->route("DELETE", "/", Reply::withStatus(204), TestHttpsServer::Match::Prefix);
    typedef std::vector<std::pair<std::string, std::string>> Fields;
    const struct
    {
        bool get;
        const char* url;
        Fields parameters;
        const char* query;
    } cases[] = {
        {true, "/api/items", {{"b", "2"}, {"a", "1"}, {"text", "x y&z=w"}, {"cut", std::string("ab\0cd", 5)}},
         "a=1&b=2&cut=ab&text=x%20y%26z%3Dw"},
        {true, "/x?q=1", {{"a", "1"}}, "a=1"}, // parameters replace the URL's query
        {true, "/x?q=1", {}, "q=1"},           // which stays when there are none
        {false, "/api/items/5", {{"model", "M"}}, "model=M"},
    };
    unsigned int context = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.url);
        Req* request = c.get ? static_cast<Req*>(make<OrvQtHttpGet>(c.url, ++context))
                             : static_cast<Req*>(make<OrvQtHttpDelete>(c.url, ++context));
        for (const auto& p : c.parameters)
            request->setRequestParameter(p.first, p.second);
        request->setRequestProperty("Authorization", "Bearer tok");
        request->setRequestProperty("X-Extra", "v");
        request->execute();
        EXPECT_TRUE(request->isBusy());
        EXPECT_FALSE(request->isEnableDelete());
        ASSERT_TRUE(waitForOutcome(context));
        EXPECT_EQ(request->getStatus(), Req::STATUS_FINISHED);
        EXPECT_TRUE(request->isEnableDelete());
        const Outcome& o = listener.finished.back();
        EXPECT_EQ(o.error, 0u);
        EXPECT_EQ(o.status, c.get ? 200u : 204u);
        EXPECT_EQ(o.body, c.get ? "{\"ok\":1}" : "");
        const TestHttpsServer::Request seen = server->lastRequest();
        EXPECT_EQ(seen.method, c.get ? "GET" : "DELETE");
        EXPECT_EQ(seen.query, c.query);
        EXPECT_EQ(seen.header("Authorization"), "Bearer tok");
        EXPECT_EQ(seen.header("X-Extra"), "v");
        EXPECT_TRUE(seen.body.empty());
    }
}

TEST_F(HttpRequestTest, PostBodyForms)
{
    server->route("POST", "/post", Reply::ok("done"));
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
        SCOPED_TRACE(c.name);
        OrvQtHttpPost* post = make<OrvQtHttpPost>("/post", ++context);
        for (const auto& p : c.parameters)
            post->setRequestParameter(p.first, p.second);
        if (!c.multipart.empty())
            post->setMultiPartParam(std::vector<unsigned char>(c.multipart.begin(), c.multipart.end()));
        if (!c.contentTypeProperty.empty())
            post->setRequestProperty("Content-Type", c.contentTypeProperty);
        if (c.useExecute2) {
            QSslConfiguration config = QSslConfiguration::defaultConfiguration();
            config.setProtocol(QSsl::TlsV1_2);
            post->execute2(config);
        } else {
            post->execute();
        }
        ASSERT_TRUE(waitForOutcome(context));
        const TestHttpsServer::Request seen = server->lastRequest();
        EXPECT_EQ(seen.method, "POST");
        EXPECT_EQ(seen.query, "");
        EXPECT_EQ(seen.body, c.expectedBody);
        if (c.expectedContentType != "-") {
            EXPECT_EQ(seen.header("Content-Type"), c.expectedContentType);
        }
        EXPECT_EQ(listener.finished.back().body, "done");
    }
    EXPECT_EQ(server->requestCount(), cases.size());
}

TEST_F(HttpRequestTest, TimeOutReportsAbortWithoutBody)
{
    server->route("GET", "/slow", Reply::delayed(5000, Reply::ok("late")));
    Reply stalled = Reply::truncated(std::string(4000, 'x'), 1000);
    stalled.stallMs = 5000;
    server->route("GET", "/stalled", stalled);
    // The header of "/stalled" must come in time: under an emulator the TLS handshake alone takes longer.
    const int timeoutMs = std::getenv("ORVKIT_TEST_EMULATOR") != nullptr ? 1000 : 300;
    LogCapture log;
    QElapsedTimer clock;
    clock.start();
    unsigned int context = 0;
    for (const char* path : {"/slow", "/stalled"}) {
        OrvQtHttpGet* request = make<OrvQtHttpGet>(path, ++context);
        request->setTimeout(timeoutMs);
        request->setRetryCount(context == 1 ? 3 : 0); // a time-out without a status is not retried
        request->execute();
    }
    ASSERT_TRUE(waitForOutcome(2, 15 * timeoutMs));
    EXPECT_LT(clock.elapsed(), 10 * timeoutMs);
    ASSERT_EQ(listener.finished.size(), 2u);
    for (const Outcome& o : listener.finished) {
        EXPECT_EQ(o.error, 5u);
        EXPECT_EQ(o.status, o.context == 1 ? 0u : 200u);
        EXPECT_EQ(o.body, "") << "context " << o.context;
    }
    EXPECT_EQ(server->requestCount(), 2u);
    EXPECT_EQ(log.linesWith({"orvkit.http: request GET " + server->url("/slow") + " timed out after " +
                             std::to_string(timeoutMs) + " ms, aborted"}).size(), 1u)
        << log.joined();
}

TEST_F(HttpRequestTest, RetryBudgetAndRedirects)
{
    // A cut after a 200 header is a transport error with a success status: retryable.
    const Reply cut = Reply::truncated("0123456789abcdef", 4);
    server->route("GET", "/failing", cut);
    server->route("GET", "/flaky", std::vector<Reply>{cut, cut, cut, cut, Reply::ok("finally")});
    server->route("GET", "/broken", Reply::withStatus(503, "busy"));
    server->route("GET", "/moved", Reply::redirect("/elsewhere", 302));

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
        {"/moved", 2, 1, 999, 302, ""},      // nor followed
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.path) + " " + std::to_string(c.retryCount));
        server->clearRequests();
        listener.finished.clear();
        OrvQtHttpGet* request = make<OrvQtHttpGet>(std::string(c.path) + "?n=1", 9);
        request->setRequestParameter("n", "1");
        request->setRequestProperty("X-Attempt", "same");
        request->setRetryCount(c.retryCount);
        request->execute();
        ASSERT_TRUE(waitForOutcome(1));
        ASSERT_EQ(listener.finished.size(), 1u);
        EXPECT_EQ(listener.finished[0].error, c.error);
        EXPECT_EQ(listener.finished[0].status, c.status);
        EXPECT_EQ(listener.finished[0].context, 9u);
        if (c.body != nullptr) {
            EXPECT_EQ(listener.finished[0].body, c.body);
        }
        EXPECT_EQ(server->requestCount(), c.expectedRequests);
        for (const TestHttpsServer::Request& seen : server->requests()) {
            EXPECT_EQ(seen.query, "n=1");
            EXPECT_EQ(seen.header("X-Attempt"), "same");
        }
    }
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

TEST_F(HttpRequestTest, TlsErrorsIgnoredByDefaultAndFatalOtherwise)
{
    TestHttpsServer other(TestHttpsServer::otherCa(*pki));
    ASSERT_TRUE(other.start());
    for (TestHttpsServer* s : {server.get(), &other})
        s->route("GET", "/tls", Reply::ok("secure"));
    const QSslCertificate ca(QByteArray::fromStdString(pki->ca().certificatePem), QSsl::Pem);
    const struct
    {
        const char* name;
        bool otherCa;
        bool ignore;
        int protocol;
        bool hook;
        unsigned int error;
    } cases[] = {
        {"ignored by default", false, true, Req::SSL_PROTOCOL_TLSV1_2, false, 0},
        {"fatal when not ignored", false, false, Req::SSL_PROTOCOL_TLSV1_2, false, 6},
        {"hook trusts the test CA", false, false, Req::SSL_PROTOCOL_TLSV1_2, true, 0},
        {"hook, server of another CA", true, false, Req::SSL_PROTOCOL_TLSV1_2, true, 6},
        {"secure protocols", false, false, Req::SSL_PROTOCOL_DEFAULT, true, 0},
        {"SSLv3 refused by Qt", false, true, Req::SSL_PROTOCOL_SSLV3, false, 99},
    };
    unsigned int context = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        // Qt reuses an established connection whatever the new TLS settings: start afresh.
        manager.reset(new QNetworkAccessManager());
        OrvQtHttpGet* request = make<OrvQtHttpGet>("/tls", ++context);
        if (c.otherCa)
            request->initialize(other.url("/tls"));
        request->setIgnoreSslError(c.ignore);
        request->setSslProtocol(static_cast<Req::eSslProtocol>(c.protocol));
        if (c.hook) {
            request->setSslConfigurationHook([ca](QSslConfiguration& config) {
                config.setCaCertificates({ca});
                config.setPeerVerifyMode(QSslSocket::VerifyPeer);
            });
        }
        request->execute();
        ASSERT_TRUE(waitForOutcome(context));
        EXPECT_EQ(listener.finished.back().error, c.error);
        EXPECT_EQ(listener.finished.back().body, c.error == 0 ? "secure" : "");
    }
    EXPECT_EQ(other.requestCount(), 0u);
    manager.reset();
}

TEST_F(HttpRequestTest, MutualTlsNeedsExecute2WithTheRightCertificate)
{
    start(TestHttpsServer::mutualTls(*pki));
    const TestPki::Identity foreign = pki->issueClientCertificate("intruder", true);
    ASSERT_FALSE(foreign.certificatePem.empty());
    const struct
    {
        const char* name;
        const TestPki::Identity* client; // null: plain execute()
        int retryCount;
        unsigned int error;
        size_t requests;
    } cases[] = {
        {"execute2 with the client certificate", &pki->client(), 0, 0, 1},
        {"plain execute", nullptr, 0, 6, 0},
        {"certificate of another CA", &foreign, 0, 6, 0},
        // The retry goes through execute(), without the certificate: refused.
        {"retry of execute2", &pki->client(), 1, 6, 1},
    };
    unsigned int context = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        server->route("POST", "/shadow", c.retryCount > 0 ? Reply::truncated("{}", 1) : Reply::ok("{}"));
        server->clearRequests();
        manager.reset(new QNetworkAccessManager()); // no connection to reuse
        OrvQtHttpPost* post = make<OrvQtHttpPost>("/shadow", ++context);
        post->setMultiPartParam({'{', '}'});
        post->setRetryCount(c.retryCount);
        if (c.client != nullptr) {
            QSslConfiguration config = QSslConfiguration::defaultConfiguration();
            config.setProtocol(QSsl::TlsV1_2);
            config.setLocalCertificateChain({QSslCertificate(QByteArray::fromStdString(c.client->certificatePem))});
            config.setPrivateKey(QSslKey(QByteArray::fromStdString(c.client->privateKeyPem), QSsl::Rsa));
            post->execute2(config);
        } else {
            post->execute();
        }
        ASSERT_TRUE(waitForOutcome(context));
        EXPECT_EQ(listener.finished.back().error, c.error);
        ASSERT_EQ(server->requestCount(), c.requests);
        if (c.requests > 0) {
            EXPECT_EQ(server->lastRequest().clientCommonName, "head-unit-0042");
            EXPECT_EQ(server->lastRequest().body, "{}");
        }
    }
}
} // namespace
