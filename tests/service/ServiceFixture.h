#ifndef ORVKIT_TESTS_SERVICE_FIXTURE_H
#define ORVKIT_TESTS_SERVICE_FIXTURE_H

#include "KitSession.h"
#include "TestHttpsServer.h"
#include "TestPki.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

// Two HTTPS servers standing in for the production and the test cloud
// (each serves every endpoint kind, told apart by path), a stored token that
// is still valid, and a kit pointed at both. Default routes answer every
// command with success.
class ServiceFixture : public ::testing::Test
{
protected:
    static const char kStoredToken[];
    static const char kIssuedToken[];

    static TestPki& pki();
    static void storeToken(const std::string& token, long long expiration);
    static long long now();

    void SetUp() override;
    void TearDown() override;

    // Every production origin on production, every test origin on testCloud.
    OrvKitPreferences preferences() const;
    // Replaces the current session, if any, with a fresh kit.
    KitSession& openKit();
    KitSession& openKit(const OrvKitPreferences& preferences);
    void closeKit();
    // Logs in while the stored token is valid, so that only the identity changes.
    void identify(unsigned char maker, const std::string& model, const std::string& deviceNo,
                  const std::string& loginId = "driver01");
    // Everything heard so far once a follow-up command was answered, the
    // follow-up's own messages left out: its answer comes back over the
    // network after the replies to the commands sent before it.
    std::vector<KitSession::Message> heardBeforeFollowUp();
    // Restores the success routes on a server.
    void addDefaultRoutes(TestHttpsServer& server);

    std::unique_ptr<TestHttpsServer> production;
    std::unique_ptr<TestHttpsServer> testCloud;
    std::unique_ptr<KitSession> session;
};

#endif
