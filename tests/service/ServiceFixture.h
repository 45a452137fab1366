#ifndef ORVKIT_TESTS_SERVICE_FIXTURE_H
#define ORVKIT_TESTS_SERVICE_FIXTURE_H

#include "RecordingListener.h"
#include "TestHttpsServer.h"
#include "TestPki.h"

#include <OrvKit.h>
#include <OrvKitDat.h>
#include <OrvKitDef.h>

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;
using Message = RecordingListener::Message;
using Reply = TestHttpsServer::Reply;

inline Bytes bytesOf(const std::string& text) { return Bytes(text.begin(), text.end()); }
inline std::string textOf(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }
// The login command's identity block: maker byte, then zero-terminated texts.
Bytes loginBlock(uint8_t maker, std::initializer_list<std::string> texts, bool terminateLast = true);
inline Bytes login7() { return loginBlock(7, {"M1", "D1", "driver01", "secret"}); }
Bytes words(std::initializer_list<unsigned int> values); // 16-bit big-endian
Bytes positionsCommand(const OrvKitDat::CarPositions& positions = OrvKitDat::CarPositions());
std::string errorBody(const std::string& code);
std::string authBody(const std::string& token, long long expirationDate, const std::string& role = "tlv");
std::string certificateBody(const std::string& caPem, const std::string& certificatePem, const std::string& keyPem);

// A production and a test cloud server (each serves every endpoint kind,
// told apart by path, with success by default), a stored token still valid,
// and at most one open kit pointed at both, driven as an application drives it.
class ServiceFixture : public ::testing::Test
{
protected:
    static const char kStoredToken[];
    static const char kIssuedToken[];

    static TestPki& pki();
    static void storeToken(const std::string& token, long long expiration);
    static long long now();

    void SetUp() override;
    void TearDown() override { closeKit(); }

    OrvKitPreferences preferences() const;
    static OrvKitPreferences allAt(OrvKitPreferences prefs, const std::string& origin);
    // Replaces the open kit, if any; waits until it takes commands.
    void openKit(const OrvKitPreferences& prefs);
    void openKit() { openKit(preferences()); }
    // Closes the kit and waits for the close; the listener stays readable.
    void closeKit();
    bool send(unsigned long code, const Bytes& bytes);
    // Clears the record, sends and waits for the first message whose id is
    // one of finals (without finals: anything but the acceptance). Returns
    // everything heard since, that message last; empty on refusal or time-out.
    std::vector<Message> run(unsigned long code, const Bytes& bytes, std::initializer_list<unsigned long> finals = {},
                             int timeoutMs = 5000);
    // The last message of run(), id 0 when none came.
    Message last(unsigned long code, const Bytes& bytes);
    std::vector<Message> waitFor(std::initializer_list<unsigned long> finals, int timeoutMs = 5000);
    // Logs in while the stored token is valid, so that only the identity changes.
    void identify(unsigned char maker, const std::string& model, const std::string& deviceNo,
                  const std::string& loginId = "driver01");
    // Everything heard once a follow-up command was answered, the follow-up's
    // own messages left out: commands are handled in order.
    std::vector<Message> heardBeforeFollowUp();
    void addDefaultRoutes(TestHttpsServer& server);
    // The one request a command made on this server, empty when not exactly one.
    TestHttpsServer::Request only(const TestHttpsServer& server);

    std::unique_ptr<TestHttpsServer> production;
    std::unique_ptr<TestHttpsServer> testCloud;
    std::unique_ptr<RecordingListener> listener;

private:
    std::unique_ptr<OrvKit> kit;
    unsigned long pending = 0;
};

#endif
