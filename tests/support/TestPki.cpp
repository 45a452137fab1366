#include "TestPki.h"

#include "OrvPki.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

namespace {

// keyPem empty: a new RSA key. Empty identity on failure.
TestPki::Identity issue(const std::string& commonName, OrvPki::Use use, const TestPki::Identity* issuer,
                        const std::string& keyPem = std::string())
{
    OrvPki::Identity signer;
    if (issuer != nullptr) {
        signer.certificatePem = issuer->certificatePem;
        signer.privateKeyPem = issuer->privateKeyPem;
    }
    const OrvPki::Identity made = OrvPki::issue(commonName, use, issuer != nullptr ? &signer : nullptr, 30, true, keyPem);
    TestPki::Identity id;
    if (!made.certificatePem.empty()) {
        id.commonName = commonName;
        id.certificatePem = made.certificatePem;
        id.privateKeyPem = made.privateKeyPem;
    }
    return id;
}

bool writeFile(const std::string& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    return static_cast<bool>(out);
}

} // namespace

TestPki::TestPki(const std::string& clientCommonName) : valid(false), issued(0)
{
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/orvkit-pki-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data()) == nullptr) {
        return;
    }
    dir = buffer.data();

    caId = issue("OrvKit Test CA", OrvPki::Use::Authority, nullptr);
    otherCaId = issue("OrvKit Other CA", OrvPki::Use::Authority, nullptr);
    serverId = issue("127.0.0.1", OrvPki::Use::Server, &caId);
    // RSA key generation dominates the start-up: the leaves share one key.
    leafKeyPem = serverId.privateKeyPem;
    clientId = issue(clientCommonName, OrvPki::Use::Client, &caId, leafKeyPem);
    otherServerId = issue("127.0.0.1", OrvPki::Use::Server, &otherCaId, leafKeyPem);

    valid = writeIdentity(caId, "ca") && writeIdentity(serverId, "server") && writeIdentity(clientId, "client") &&
            writeIdentity(otherCaId, "other-ca") && writeIdentity(otherServerId, "other-server");
}

TestPki::~TestPki()
{
    if (!dir.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(dir, ignored);
    }
}

TestPki::Identity TestPki::issueClientCertificate(const std::string& commonName, bool fromOtherCa)
{
    if (!valid) {
        return Identity();
    }
    Identity id = issue(commonName, OrvPki::Use::Client, fromOtherCa ? &otherCaId : &caId, leafKeyPem);
    return writeIdentity(id, "client-" + std::to_string(++issued)) ? id : Identity();
}

bool TestPki::writeIdentity(Identity& id, const std::string& fileStem)
{
    if (id.certificatePem.empty() || id.privateKeyPem.empty()) {
        return false;
    }
    id.certificatePath = dir + "/" + fileStem + ".pem";
    id.privateKeyPath = dir + "/" + fileStem + ".key";
    return writeFile(id.certificatePath, id.certificatePem) && writeFile(id.privateKeyPath, id.privateKeyPem);
}
