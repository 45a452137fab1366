#ifndef ORVKIT_TEST_PKI_H
#define ORVKIT_TEST_PKI_H

#include <string>

// A throw-away certificate hierarchy made when a test starts, so that none can
// expire: a CA, a server certificate for 127.0.0.1 and localhost and a client
// certificate with the chosen CN signed by it, and an unrelated CA with a
// server certificate of its own. RSA 2048 keys ("RSA PRIVATE KEY" PEM), one
// shared by all leaves; valid from one hour ago for 30 days. Each PEM text is
// also written to a private temporary directory that the destructor removes.
class TestPki
{
public:
    struct Identity
    {
        std::string commonName;
        std::string certificatePem;
        std::string privateKeyPem;
        std::string certificatePath;
        std::string privateKeyPath;
    };

    explicit TestPki(const std::string& clientCommonName = "orvkit-test-client");
    ~TestPki();
    TestPki(const TestPki&) = delete;
    TestPki& operator=(const TestPki&) = delete;

    // False when OpenSSL or the temporary directory failed; the identities are then empty.
    bool isValid() const { return valid; }

    const Identity& ca() const { return caId; }
    const Identity& server() const { return serverId; }
    const Identity& client() const { return clientId; }
    const Identity& otherCa() const { return otherCaId; }
    const Identity& otherServer() const { return otherServerId; }

    // A further client certificate, signed by ca() or, with fromOtherCa, by
    // otherCa(), its files in the same directory. Empty on failure.
    Identity issueClientCertificate(const std::string& commonName, bool fromOtherCa = false);

private:
    bool valid = false;
    std::string dir;
    int issued = 0;
    Identity caId;
    Identity serverId;
    Identity clientId;
    Identity otherCaId;
    Identity otherServerId;
};

#endif
