#include "TestPki.h"

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <system_error>
#include <vector>

namespace {

struct PkeyFree { void operator()(EVP_PKEY* p) const { EVP_PKEY_free(p); } };
struct X509Free { void operator()(X509* p) const { X509_free(p); } };
struct BioFree { void operator()(BIO* p) const { BIO_free(p); } };
struct CtxFree { void operator()(EVP_PKEY_CTX* p) const { EVP_PKEY_CTX_free(p); } };
struct BnFree { void operator()(BIGNUM* p) const { BN_free(p); } };

using PkeyPtr = std::unique_ptr<EVP_PKEY, PkeyFree>;
using X509Ptr = std::unique_ptr<X509, X509Free>;
using BioPtr = std::unique_ptr<BIO, BioFree>;

enum class Kind { Ca, Server, Client };

PkeyPtr makeRsaKey()
{
    std::unique_ptr<EVP_PKEY_CTX, CtxFree> ctx(EVP_PKEY_CTX_new_id(EVP_PKEY_RSA, nullptr));
    EVP_PKEY* key = nullptr;
    if (!ctx || EVP_PKEY_keygen_init(ctx.get()) <= 0 ||
        EVP_PKEY_CTX_set_rsa_keygen_bits(ctx.get(), 2048) <= 0 || EVP_PKEY_keygen(ctx.get(), &key) <= 0) {
        return PkeyPtr();
    }
    return PkeyPtr(key);
}

bool addExtension(X509* cert, X509V3_CTX* ctx, int nid, const char* value)
{
    X509_EXTENSION* ext = X509V3_EXT_conf_nid(nullptr, ctx, nid, value);
    if (ext == nullptr) {
        return false;
    }
    const bool ok = X509_add_ext(cert, ext, -1) == 1;
    X509_EXTENSION_free(ext);
    return ok;
}

bool setRandomSerial(X509* cert)
{
    unsigned char bytes[16];
    if (RAND_bytes(bytes, sizeof bytes) != 1) {
        return false;
    }
    bytes[0] &= 0x7F; // positive
    std::unique_ptr<BIGNUM, BnFree> bn(BN_bin2bn(bytes, sizeof bytes, nullptr));
    return bn && BN_to_ASN1_INTEGER(bn.get(), X509_get_serialNumber(cert)) != nullptr;
}

// issuer/issuerKey null: self-signed.
X509Ptr makeCertificate(EVP_PKEY* key, const std::string& commonName, Kind kind, X509* issuer,
                        EVP_PKEY* issuerKey)
{
    X509Ptr cert(X509_new());
    if (!cert || X509_set_version(cert.get(), 2) != 1 || !setRandomSerial(cert.get())) {
        return X509Ptr();
    }
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), 30L * 24 * 3600);
    X509_set_pubkey(cert.get(), key);

    X509_NAME* name = X509_get_subject_name(cert.get());
    X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("OrvKit Test"), -1, -1, 0);
    if (X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                                   reinterpret_cast<const unsigned char*>(commonName.c_str()), -1, -1, 0) != 1) {
        return X509Ptr();
    }
    X509_set_issuer_name(cert.get(), issuer != nullptr ? X509_get_subject_name(issuer) : name);

    X509V3_CTX ctx;
    X509V3_set_ctx_nodb(&ctx);
    X509V3_set_ctx(&ctx, issuer != nullptr ? issuer : cert.get(), cert.get(), nullptr, nullptr, 0);
    bool ok = addExtension(cert.get(), &ctx, NID_subject_key_identifier, "hash");
    switch (kind) {
    case Kind::Ca:
        ok = ok && addExtension(cert.get(), &ctx, NID_basic_constraints, "critical,CA:TRUE");
        ok = ok && addExtension(cert.get(), &ctx, NID_key_usage, "critical,keyCertSign,cRLSign");
        break;
    case Kind::Server:
        ok = ok && addExtension(cert.get(), &ctx, NID_basic_constraints, "critical,CA:FALSE");
        ok = ok && addExtension(cert.get(), &ctx, NID_key_usage, "critical,digitalSignature,keyEncipherment");
        ok = ok && addExtension(cert.get(), &ctx, NID_ext_key_usage, "serverAuth");
        ok = ok && addExtension(cert.get(), &ctx, NID_subject_alt_name, "IP:127.0.0.1,DNS:localhost");
        ok = ok && addExtension(cert.get(), &ctx, NID_authority_key_identifier, "keyid:always");
        break;
    case Kind::Client:
        ok = ok && addExtension(cert.get(), &ctx, NID_basic_constraints, "critical,CA:FALSE");
        ok = ok && addExtension(cert.get(), &ctx, NID_key_usage, "critical,digitalSignature,keyEncipherment");
        ok = ok && addExtension(cert.get(), &ctx, NID_ext_key_usage, "clientAuth");
        ok = ok && addExtension(cert.get(), &ctx, NID_authority_key_identifier, "keyid:always");
        break;
    }
    if (!ok || X509_sign(cert.get(), issuerKey != nullptr ? issuerKey : key, EVP_sha256()) <= 0) {
        return X509Ptr();
    }
    return cert;
}

std::string bioText(BIO* bio)
{
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio, &data);
    return size > 0 ? std::string(data, static_cast<size_t>(size)) : std::string();
}

std::string certificatePem(X509* cert)
{
    BioPtr bio(BIO_new(BIO_s_mem()));
    if (!bio || PEM_write_bio_X509(bio.get(), cert) != 1) {
        return std::string();
    }
    return bioText(bio.get());
}

std::string privateKeyPem(EVP_PKEY* key)
{
    BioPtr bio(BIO_new(BIO_s_mem()));
    if (!bio || PEM_write_bio_PrivateKey_traditional(bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr) != 1) {
        return std::string();
    }
    return bioText(bio.get());
}

X509Ptr readCertificate(const std::string& pem)
{
    BioPtr bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    return X509Ptr(bio ? PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr) : nullptr);
}

PkeyPtr readKey(const std::string& pem)
{
    BioPtr bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    return PkeyPtr(bio ? PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr) : nullptr);
}

// Issues a certificate for keyPem, or for a new key when keyPem is empty;
// empty identity on failure.
TestPki::Identity issue(const std::string& commonName, Kind kind, const TestPki::Identity* issuer,
                        const std::string& keyPem = std::string())
{
    TestPki::Identity id;
    PkeyPtr key = keyPem.empty() ? makeRsaKey() : readKey(keyPem);
    if (!key) {
        return id;
    }
    X509Ptr issuerCert;
    PkeyPtr issuerKey;
    if (issuer != nullptr) {
        issuerCert = readCertificate(issuer->certificatePem);
        issuerKey = readKey(issuer->privateKeyPem);
        if (!issuerCert || !issuerKey) {
            return id;
        }
    }
    X509Ptr cert = makeCertificate(key.get(), commonName, kind, issuerCert.get(), issuerKey.get());
    if (!cert) {
        return id;
    }
    id.commonName = commonName;
    id.certificatePem = certificatePem(cert.get());
    id.privateKeyPem = privateKeyPem(key.get());
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

    caId = issue("OrvKit Test CA", Kind::Ca, nullptr);
    otherCaId = issue("OrvKit Other CA", Kind::Ca, nullptr);
    serverId = issue("127.0.0.1", Kind::Server, &caId);
    // RSA key generation dominates the start-up: the leaves share one key.
    leafKeyPem = serverId.privateKeyPem;
    clientId = issue(clientCommonName, Kind::Client, &caId, leafKeyPem);
    otherServerId = issue("127.0.0.1", Kind::Server, &otherCaId, leafKeyPem);

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
    Identity id = issue(commonName, Kind::Client, fromOtherCa ? &otherCaId : &caId, leafKeyPem);
    if (!writeIdentity(id, "client-" + std::to_string(++issued))) {
        return Identity();
    }
    return id;
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
