#include "ServiceFixture.h"

#include "sysdata/SysDataOrvToken.h"

#include <VxSerialization.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <thread>

using namespace OrvKitDef;

Bytes loginBlock(uint8_t maker, std::initializer_list<std::string> texts, bool terminateLast)
{
    Bytes block{maker};
    for (const std::string& text : texts) {
        block.insert(block.end(), text.begin(), text.end());
        block.push_back(0);
    }
    if (!terminateLast && block.size() > 1)
        block.pop_back();
    return block;
}

Bytes words(std::initializer_list<unsigned int> values)
{
    Bytes out;
    for (unsigned int value : values)
        out.insert(out.end(), {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)});
    return out;
}

Bytes positionsCommand(const OrvKitDat::CarPositions& positions)
{
    VxSerialization::Archive archive;
    positions.serialize(archive);
    return archive.bytes();
}

std::string errorBody(const std::string& code) { return "{\"error\":{\"code\":\"" + code + "\",\"message\":\"refused\"}}"; }

std::string authBody(const std::string& token, long long expirationDate, const std::string& role)
{
    return "{\"access_token\":\"" + token + "\",\"refresh_token\":\"r-" + token + "\",\"expires_in\":3600," +
           "\"expiration_date\":" + std::to_string(expirationDate) + ",\"role\":\"" + role + "\"}";
}

std::string certificateBody(const std::string& caPem, const std::string& certificatePem, const std::string& keyPem)
{
    QJsonObject object{{"caCertificatePem", QString::fromStdString(caPem)},
                       {"certificatePem", QString::fromStdString(certificatePem)},
                       {"privateKey", QString::fromStdString(keyPem)}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

const char ServiceFixture::kStoredToken[] = "stored-token-1";
const char ServiceFixture::kIssuedToken[] = "issued-token-2";

TestPki& ServiceFixture::pki()
{
    // Key generation is the slowest step of a test; one hierarchy serves all.
    static TestPki shared("orv-device-M1-D1");
    return shared;
}

void ServiceFixture::storeToken(const std::string& token, long long expiration)
{
    SysDataOrvToken::GetInstance()->storeTokenAccess(token);
    SysDataOrvToken::GetInstance()->storeTokenExpiration(static_cast<int>(expiration));
}

long long ServiceFixture::now() { return static_cast<long long>(std::time(nullptr)); }

void ServiceFixture::SetUp()
{
    ASSERT_TRUE(pki().isValid());
    storeToken(kStoredToken, now() + 3600);
    production.reset(new TestHttpsServer(TestHttpsServer::tls(pki())));
    testCloud.reset(new TestHttpsServer(TestHttpsServer::tls(pki())));
    for (TestHttpsServer* server : {production.get(), testCloud.get()}) {
        addDefaultRoutes(*server);
        ASSERT_TRUE(server->start());
    }
}

void ServiceFixture::addDefaultRoutes(TestHttpsServer& server)
{
    const auto prefix = TestHttpsServer::Match::Prefix;
    server.route("GET", "/", [](const TestHttpsServer::Request& request) {
        return Reply::ok("{\"path\":\"" + request.path + "\"}");
    }, prefix);
    server.route("DELETE", "/", Reply::withStatus(204), prefix);
    server.route("POST", "/api/navi/authorization/v1/local", Reply::ok(authBody(kIssuedToken, now() + 3600)));
    const std::string certificate =
        certificateBody(pki().ca().certificatePem, pki().client().certificatePem, pki().client().privateKeyPem);
    server.route("POST", "/prod/cert", Reply::ok(certificate));
    server.route("POST", "/dev/cert", Reply::ok(certificate));
    server.route("POST", "/things/", Reply::ok("{\"state\":{\"reported\":{}}}"), prefix);
}

OrvKitPreferences ServiceFixture::allAt(OrvKitPreferences prefs, const std::string& origin)
{
    prefs.authServerOrigin = prefs.apiServerOrigin = prefs.certificateOrigin = prefs.deviceShadowOrigin = origin;
    return prefs;
}

OrvKitPreferences ServiceFixture::preferences() const
{
    OrvKitPreferences prefs = allAt(OrvKitPreferences(), production->origin());
    prefs.authServerTestOrigin = prefs.apiServerTestOrigin = testCloud->origin();
    prefs.certificateTestOrigin = prefs.deviceShadowTestOrigin = testCloud->origin();
    return prefs;
}

void ServiceFixture::openKit(const OrvKitPreferences& prefs)
{
    closeKit();
    listener.reset(new RecordingListener);
    kit.reset(new OrvKit(prefs));
    kit->setListener(listener.get());
    ASSERT_EQ(kit->open(), 1);
    ASSERT_TRUE(listener->waitForOpen(1, 3000));
    // The service is published just before it announces itself; an unknown
    // code is taken silently once it takes commands.
    for (int tries = 0; !send(0x71, {0}); ++tries) {
        ASSERT_LT(tries, 1500) << "the kit takes no command";
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

void ServiceFixture::closeKit()
{
    if (!kit)
        return;
    const int before = listener->closeCount();
    if (kit->close() == 1)
        listener->waitForClose(before + 1);
    kit.reset();
}

bool ServiceFixture::send(unsigned long code, const Bytes& bytes)
{
    Bytes copy(bytes);
    OrvKitDef::CmdData command{copy.data(), static_cast<uint32_t>(copy.size()), code};
    pending = code;
    return kit->sendCommand(command) == 1;
}

std::vector<Message> ServiceFixture::run(unsigned long code, const Bytes& bytes,
                                         std::initializer_list<unsigned long> finals, int timeoutMs)
{
    listener->clear();
    return send(code, bytes) ? waitFor(finals, timeoutMs) : std::vector<Message>();
}

Message ServiceFixture::last(unsigned long code, const Bytes& bytes)
{
    const std::vector<Message> heard = run(code, bytes);
    return heard.empty() ? Message{0, {}} : heard.back();
}

std::vector<Message> ServiceFixture::waitFor(std::initializer_list<unsigned long> finals, int timeoutMs)
{
    // A certificate request is not acknowledged: 0x8065 is its result.
    const auto isFinal = [&](unsigned long id) {
        return finals.size() == 0 ? id != (MSG_ACCEPTED | pending) || pending == CMD_GET_CERTIFICATE
                                  : std::find(finals.begin(), finals.end(), id) != finals.end();
    };
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (size_t seen = 0;;) {
        const std::vector<Message> heard = listener->received();
        for (; seen < heard.size(); ++seen)
            if (isFinal(heard[seen].id))
                return std::vector<Message>(heard.begin(), heard.begin() + static_cast<long>(seen) + 1);
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || !listener->waitForMessages(seen + 1, static_cast<int>(left.count())))
            return std::vector<Message>();
    }
}

void ServiceFixture::identify(unsigned char maker, const std::string& model, const std::string& deviceNo,
                              const std::string& loginId)
{
    const std::vector<Message> heard = run(CMD_LOGIN, loginBlock(maker, {model, deviceNo, loginId, "secret"}));
    ASSERT_FALSE(heard.empty()) << "no answer to the login";
    ASSERT_EQ(heard.back().id, MSG_LOGIN_RESULT);
    ASSERT_TRUE(heard.back().payload.empty()) << "the stored token was expected to be valid";
}

std::vector<Message> ServiceFixture::heardBeforeFollowUp()
{
    EXPECT_TRUE(send(CMD_GET_DESTINATIONS, {0}));
    std::vector<Message> heard = waitFor({MSG_DESTINATIONS_RESULT, MSG_RESULT_ERROR});
    const auto acceptance = std::find_if(heard.begin(), heard.end(), [](const Message& m) {
        return m.id == (MSG_ACCEPTED | CMD_GET_DESTINATIONS);
    });
    if (acceptance == heard.end() || acceptance + 1 == heard.end()) {
        ADD_FAILURE() << "no answer to the follow-up command";
        return heard;
    }
    heard.pop_back();
    heard.erase(acceptance);
    return heard;
}

TestHttpsServer::Request ServiceFixture::only(const TestHttpsServer& server)
{
    EXPECT_EQ(server.requestCount(), 1u);
    return server.requestCount() == 1 ? server.lastRequest() : TestHttpsServer::Request();
}
