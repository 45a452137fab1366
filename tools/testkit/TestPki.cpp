#include "TestPki.h"

#include "OrvPki.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace {

bool writeFile(const std::string& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    return static_cast<bool>(out << text);
}

// keyPem empty: a new RSA key. An empty identity on failure.
TestPki::Identity issue(const std::string& dir, const std::string& fileStem, const std::string& commonName,
                        OrvPki::Use use, const TestPki::Identity* issuer, const std::string& keyPem = std::string())
{
    OrvPki::Identity signer;
    if (issuer != nullptr)
        signer = {issuer->commonName, issuer->certificatePem, issuer->privateKeyPem};
    const OrvPki::Identity made = OrvPki::issue(commonName, use, issuer != nullptr ? &signer : nullptr, 30, true, keyPem);
    const TestPki::Identity id{commonName, made.certificatePem, made.privateKeyPem, dir + "/" + fileStem + ".pem",
                               dir + "/" + fileStem + ".key"};
    const bool written = !id.certificatePem.empty() && !id.privateKeyPem.empty() &&
                         writeFile(id.certificatePath, id.certificatePem) && writeFile(id.privateKeyPath, id.privateKeyPem);
    return written ? id : TestPki::Identity();
}

} // namespace

TestPki::TestPki(const std::string& clientCommonName)
{
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/orvkit-pki-XXXXXX";
    if (mkdtemp(&pattern[0]) == nullptr)
        return;
    dir = pattern;
    caId = issue(dir, "ca", "OrvKit Test CA", OrvPki::Use::Authority, nullptr);
    otherCaId = issue(dir, "other-ca", "OrvKit Other CA", OrvPki::Use::Authority, nullptr);
    serverId = issue(dir, "server", "127.0.0.1", OrvPki::Use::Server, &caId);
    // RSA key generation dominates the start-up: the leaves share one key.
    const std::string leafKey = serverId.privateKeyPem;
    clientId = issue(dir, "client", clientCommonName, OrvPki::Use::Client, &caId, leafKey);
    otherServerId = issue(dir, "other-server", "127.0.0.1", OrvPki::Use::Server, &otherCaId, leafKey);
    valid = !caId.certificatePem.empty() && !otherCaId.certificatePem.empty() && !serverId.certificatePem.empty() &&
            !clientId.certificatePem.empty() && !otherServerId.certificatePem.empty();
}

TestPki::~TestPki()
{
    std::error_code ignored;
    if (!dir.empty())
        std::filesystem::remove_all(dir, ignored);
}

TestPki::Identity TestPki::issueClientCertificate(const std::string& commonName, bool fromOtherCa)
{
    if (!valid)
        return Identity();
    return issue(dir, "client-" + std::to_string(++issued), commonName, OrvPki::Use::Client,
                 fromOtherCa ? &otherCaId : &caId, serverId.privateKeyPem);
}
