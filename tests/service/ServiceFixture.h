#ifndef ORVKIT_TESTS_SERVICE_FIXTURE_H
#define ORVKIT_TESTS_SERVICE_FIXTURE_H

#include "InboxTesting.h"
#include "TestHttpsServer.h"
#include "TestPki.h"
#include "TestTime.h"
#include "sysdata/SysDataOrvToken.h"

#include <OrvKit.h>
#include <OrvKitCommands.h>
#include <OrvKitInbox.h>
#include <VxSerialization.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <memory>

using namespace OrvKitDef;
using Bytes = std::vector<uint8_t>;
using Message = OrvKitInbox::Message;
using Reply = TestHttpsServer::Reply;

inline Bytes bytesOf(const std::string& text) { return Bytes(text.begin(), text.end()); }
inline std::string textOf(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

// A login block that may be incomplete or lack its last terminator, as a
// faulty application might send it.
inline Bytes looseLoginBlock(uint8_t maker, std::initializer_list<std::string> texts, bool terminateLast = true)
{
    std::string block(1, static_cast<char>(maker));
    for (const std::string& text : texts)
        block += text + '\0';
    return Bytes(block.begin(), block.end() - (terminateLast ? 0 : 1));
}

inline Bytes login7() { return OrvKitCommands::loginBlock(7, "M1", "D1", "driver01", "secret"); }

inline Bytes positionsCommand(const OrvKitDat::CarPositions& positions = OrvKitDat::CarPositions())
{
    VxSerialization::Archive archive;
    positions.serialize(archive);
    return archive.bytes();
}

inline Reply err(int status, const std::string& code)
{
    return Reply::withStatus(status, "{\"error\":{\"code\":\"" + code + "\",\"message\":\"refused\"}}");
}

inline std::string authBody(const std::string& token, long long expirationDate, const std::string& role = "tlv")
{
    return "{\"access_token\":\"" + token + "\",\"refresh_token\":\"r-" + token + "\",\"expires_in\":3600," +
           "\"expiration_date\":" + std::to_string(expirationDate) + ",\"role\":\"" + role + "\"}";
}

inline std::string certificateBody(const std::string& caPem, const std::string& certificatePem, const std::string& key)
{
    const QJsonObject object{{"caCertificatePem", QString::fromStdString(caPem)},
                             {"certificatePem", QString::fromStdString(certificatePem)},
                             {"privateKey", QString::fromStdString(key)}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

// A production and a test cloud server (each serves every endpoint kind,
// told apart by path, with success by default), a stored token still valid,
// and at most one open kit pointed at both, driven as an application drives it.
class ServiceFixture : public ::testing::Test
{
protected:
    static constexpr const char* kStoredToken = "stored-token-1";
    static constexpr const char* kIssuedToken = "issued-token-2";

    static TestPki& pki()
    {
        static TestPki shared("orv-device-M1-D1"); // key generation is slow: one for all
        return shared;
    }
    static std::string ourCertificate(const std::string& caPem = pki().ca().certificatePem)
    {
        return certificateBody(caPem, pki().client().certificatePem, pki().client().privateKeyPem);
    }
    static long long now() { return static_cast<long long>(std::time(nullptr)); }
    static void storeToken(const std::string& token, long long expiration)
    {
        SysDataOrvToken::GetInstance()->storeTokenAccess(token);
        SysDataOrvToken::GetInstance()->storeTokenExpiration(static_cast<int>(expiration));
    }

    void SetUp() override
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
    void TearDown() override { closeKit(); }

    static void addDefaultRoutes(TestHttpsServer& server)
    {
        const auto prefix = TestHttpsServer::Match::Prefix;
        server.route("GET", "/", [](const TestHttpsServer::Request& request) {
            return Reply::ok("{\"path\":\"" + request.path + "\"}");
        }, prefix);
        server.route("DELETE", "/", Reply::withStatus(204), prefix);
        server.route("POST", "/api/navi/authorization/v1/local", Reply::ok(authBody(kIssuedToken, now() + 3600)));
        server.route("POST", "/prod/cert", Reply::ok(ourCertificate()));
        server.route("POST", "/dev/cert", Reply::ok(ourCertificate()));
        server.route("POST", "/things/", Reply::ok("{\"state\":{\"reported\":{}}}"), prefix);
    }

    static OrvKitPreferences allAt(OrvKitPreferences prefs, const std::string& origin)
    {
        prefs.authServerOrigin = prefs.apiServerOrigin = prefs.certificateOrigin = prefs.deviceShadowOrigin = origin;
        return prefs;
    }
    OrvKitPreferences preferences() const
    {
        OrvKitPreferences prefs = allAt(OrvKitPreferences(), production->origin());
        prefs.authServerTestOrigin = prefs.apiServerTestOrigin = testCloud->origin();
        prefs.certificateTestOrigin = prefs.deviceShadowTestOrigin = testCloud->origin();
        return prefs;
    }

    // Replaces the open kit, if any; returns once it takes commands.
    void openKit(const OrvKitPreferences& prefs)
    {
        closeKit();
        inbox.reset(new OrvKitInbox);
        kit.reset(new OrvKit(prefs));
        kit->setListener(inbox.get());
        ASSERT_EQ(kit->open(), 1);
        ASSERT_TRUE(inbox->waitOpened(scaled(std::chrono::seconds(3)))); // it takes commands from then on
    }
    void openKit() { openKit(preferences()); }
    // Closes the kit and waits for the close; what it sent stays in the inbox.
    void closeKit()
    {
        if (kit && kit->close() == 1) {
            EXPECT_TRUE(inbox->waitClosed(scaled(std::chrono::seconds(5)))) << "the kit did not close";
        }
        kit.reset();
    }

    bool send(unsigned long code, const Bytes& bytes)
    {
        Bytes copy(bytes);
        CmdData command{copy.data(), static_cast<uint32_t>(copy.size()), code};
        pending = code;
        return kit->sendCommand(command) == 1;
    }
    // Forgets what is queued, sends and takes messages up to the first whose
    // id is one of finals (without finals: anything but the acceptance).
    // Returns them, that message last; empty on refusal or time-out.
    std::vector<Message> run(unsigned long code, const Bytes& bytes, std::initializer_list<unsigned long> finals = {},
                             int timeoutMs = 5000)
    {
        inbox->clear();
        return send(code, bytes) ? waitFor(finals, timeoutMs) : std::vector<Message>();
    }
    // The final message of one command's exchange, id 0 when none came.
    Message last(unsigned long code, const Bytes& bytes)
    {
        inbox->clear();
        Message answer;
        inbox->send(*kit, code, bytes, answer, scaled(std::chrono::seconds(5)));
        return answer;
    }
    std::vector<Message> waitFor(std::initializer_list<unsigned long> finals, int timeoutMs = 5000)
    {
        // A certificate request is not acknowledged: 0x8065 is its result.
        const auto isFinal = [&](const Message& m) {
            return finals.size() == 0 ? m.id != (MSG_ACCEPTED | pending) || pending == CMD_GET_CERTIFICATE
                                      : std::find(finals.begin(), finals.end(), m.id) != finals.end();
        };
        return takeUntil(*inbox, isFinal, scaled(std::chrono::milliseconds(timeoutMs)));
    }

    // Logs in while the stored token is valid, so that only the identity changes.
    void identify(unsigned char maker, const std::string& model, const std::string& deviceNo,
                  const std::string& loginId = "driver01")
    {
        const Message answer = last(CMD_LOGIN, OrvKitCommands::loginBlock(maker, model, deviceNo, loginId, "secret"));
        ASSERT_EQ(answer.id, MSG_LOGIN_RESULT);
        ASSERT_TRUE(answer.payload.empty()) << "the stored token was expected to be valid";
    }

    // What was taken once a follow-up command was answered, less the
    // follow-up's own messages: commands are handled in order.
    std::vector<Message> heardBeforeFollowUp()
    {
        EXPECT_TRUE(send(CMD_GET_DESTINATIONS, {0}));
        std::vector<Message> heard = waitFor({MSG_DESTINATIONS_RESULT, MSG_RESULT_ERROR});
        EXPECT_FALSE(heard.empty()) << "no answer to the follow-up command";
        const auto acceptance = [](const Message& m) { return m.id == (MSG_ACCEPTED | CMD_GET_DESTINATIONS); };
        heard.erase(std::remove_if(heard.begin(), heard.end() - (heard.empty() ? 0 : 1), acceptance), heard.end());
        return heard;
    }

    // The one request that a server got; empty when it got none or more.
    static TestHttpsServer::Request only(const TestHttpsServer& server)
    {
        EXPECT_EQ(server.requestCount(), 1u);
        return server.requestCount() == 1 ? server.lastRequest() : TestHttpsServer::Request();
    }

    std::unique_ptr<TestHttpsServer> production;
    std::unique_ptr<TestHttpsServer> testCloud;
    std::unique_ptr<OrvKitInbox> inbox;

private:
    std::unique_ptr<OrvKit> kit;
    unsigned long pending = 0;
};

#endif
