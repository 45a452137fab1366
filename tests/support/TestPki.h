#ifndef ORVKIT_TEST_PKI_H
#define ORVKIT_TEST_PKI_H

#include <string>

// A throw-away certificate hierarchy made when a test starts, so that no
// certificate kept in the repository can ever expire:
//   ca()          test CA (self-signed)
//   server()      server certificate for 127.0.0.1 and localhost, signed by ca()
//   client()      client certificate with the chosen CN, signed by ca()
//   otherCa()     an unrelated CA
//   otherServer() server certificate for 127.0.0.1 and localhost, signed by otherCa()
// Keys are RSA 2048 in the traditional "RSA PRIVATE KEY" PEM form; the two
// CAs have keys of their own, all leaf certificates share one key.
// Each PEM text is also written to a private temporary directory, removed
// by the destructor. Certificates are valid from one hour ago for 30 days.
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

    // False when OpenSSL or the temporary directory failed; the identities
    // are then empty.
    bool isValid() const { return valid; }
    const std::string& directory() const { return dir; }

    const Identity& ca() const { return caId; }
    const Identity& server() const { return serverId; }
    const Identity& client() const { return clientId; }
    const Identity& otherCa() const { return otherCaId; }
    const Identity& otherServer() const { return otherServerId; }

    // A further client certificate, signed by ca() or, with fromOtherCa, by
    // otherCa(). Its files go to the same directory. Empty on failure.
    Identity issueClientCertificate(const std::string& commonName, bool fromOtherCa = false);

private:
    bool writeIdentity(Identity& id, const std::string& fileStem);

    bool valid;
    std::string dir;
    int issued;
    std::string leafKeyPem;
    Identity caId;
    Identity serverId;
    Identity clientId;
    Identity otherCaId;
    Identity otherServerId;
};

#endif
