#include "OrvPki.h"

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>
#include <vector>

namespace {

struct OsslFree
{
    void operator()(X509* p) const { X509_free(p); }
    void operator()(EVP_PKEY* p) const { EVP_PKEY_free(p); }
    void operator()(BIO* p) const { BIO_free(p); }
    void operator()(BIGNUM* p) const { BN_free(p); }
    void operator()(X509_EXTENSION* p) const { X509_EXTENSION_free(p); }
};
template <class T>
using Owned = std::unique_ptr<T, OsslFree>;

Owned<BIO> readBio(const std::string& pem) { return Owned<BIO>(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size()))); }

std::vector<Owned<X509>> readCertificates(const std::string& pem)
{
    std::vector<Owned<X509>> out;
    Owned<BIO> bio = readBio(pem);
    while (X509* cert = bio ? PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr) : nullptr) {
        out.emplace_back(cert);
    }
    return out;
}

Owned<EVP_PKEY> readKey(const std::string& pem)
{
    Owned<BIO> bio = readBio(pem);
    return Owned<EVP_PKEY>(bio ? PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr) : nullptr);
}

template <class Write>
std::string pemText(Write write)
{
    Owned<BIO> bio(BIO_new(BIO_s_mem()));
    char* data = nullptr;
    const long size = bio && write(bio.get()) == 1 ? BIO_get_mem_data(bio.get(), &data) : 0;
    return size > 0 ? std::string(data, static_cast<size_t>(size)) : std::string();
}

bool addExtension(X509* cert, X509V3_CTX* ctx, int nid, const char* value)
{
    Owned<X509_EXTENSION> ext(X509V3_EXT_conf_nid(nullptr, ctx, nid, value));
    return ext && X509_add_ext(cert, ext.get(), -1) == 1;
}

bool randomSerial(X509* cert)
{
    unsigned char bytes[16];
    if (RAND_bytes(bytes, sizeof bytes) != 1) {
        return false;
    }
    bytes[0] &= 0x7F;
    Owned<BIGNUM> bn(BN_bin2bn(bytes, sizeof bytes, nullptr));
    return bn && BN_to_ASN1_INTEGER(bn.get(), X509_get_serialNumber(cert)) != nullptr;
}

Owned<X509> makeCertificate(EVP_PKEY* key, const std::string& commonName, OrvPki::Use use, X509* issuer,
                            EVP_PKEY* issuerKey, long days)
{
    Owned<X509> cert(X509_new());
    if (!cert || X509_set_version(cert.get(), 2) != 1 || !randomSerial(cert.get()) ||
        X509_set_pubkey(cert.get(), key) != 1) {
        return nullptr;
    }
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), days * 24 * 3600);
    X509_NAME* name = X509_get_subject_name(cert.get());
    X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("OrvKit"), -1, -1, 0);
    if (X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                                   reinterpret_cast<const unsigned char*>(commonName.c_str()), -1, -1, 0) != 1) {
        return nullptr;
    }
    X509_set_issuer_name(cert.get(), issuer != nullptr ? X509_get_subject_name(issuer) : name);

    X509V3_CTX ctx;
    X509V3_set_ctx_nodb(&ctx);
    X509V3_set_ctx(&ctx, issuer != nullptr ? issuer : cert.get(), cert.get(), nullptr, nullptr, 0);
    bool ok = addExtension(cert.get(), &ctx, NID_subject_key_identifier, "hash");
    if (use == OrvPki::Use::Authority) {
        ok = ok && addExtension(cert.get(), &ctx, NID_basic_constraints, "critical,CA:TRUE") &&
             addExtension(cert.get(), &ctx, NID_key_usage, "critical,keyCertSign,cRLSign");
    } else {
        const bool server = use == OrvPki::Use::Server;
        ok = ok && addExtension(cert.get(), &ctx, NID_basic_constraints, "critical,CA:FALSE") &&
             addExtension(cert.get(), &ctx, NID_key_usage, "critical,digitalSignature,keyEncipherment") &&
             addExtension(cert.get(), &ctx, NID_ext_key_usage, server ? "serverAuth" : "clientAuth") &&
             (!server || addExtension(cert.get(), &ctx, NID_subject_alt_name, "IP:127.0.0.1,DNS:localhost")) &&
             addExtension(cert.get(), &ctx, NID_authority_key_identifier, "keyid:always");
    }
    if (!ok || X509_sign(cert.get(), issuerKey != nullptr ? issuerKey : key, EVP_sha256()) <= 0) {
        return nullptr;
    }
    return cert;
}

// The handshake goes on; the request handler looks at the verify result.
int acceptAnyPeer(int, X509_STORE_CTX*) { return 1; }

} // namespace

OrvPki::Identity OrvPki::issue(const std::string& commonName, Use use, const Identity* issuer, long days, bool rsa,
                               const std::string& keyPem)
{
    Owned<EVP_PKEY> key(!keyPem.empty() ? readKey(keyPem).release()
                        : rsa           ? EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", static_cast<size_t>(2048))
                                        : EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
    std::vector<Owned<X509>> issuerCerts = issuer != nullptr ? readCertificates(issuer->certificatePem)
                                                             : std::vector<Owned<X509>>();
    Owned<EVP_PKEY> issuerKey = issuer != nullptr ? readKey(issuer->privateKeyPem) : nullptr;
    if (!key || (issuer != nullptr && (issuerCerts.empty() || !issuerKey))) {
        return Identity();
    }
    Owned<X509> cert = makeCertificate(key.get(), commonName, use, issuer != nullptr ? issuerCerts.front().get() : nullptr,
                                       issuerKey.get(), days);
    if (!cert) {
        return Identity();
    }
    Identity id;
    id.commonName = commonName;
    id.certificatePem = pemText([&](BIO* bio) { return PEM_write_bio_X509(bio, cert.get()); });
    id.privateKeyPem = pemText([&](BIO* bio) {
        return PEM_write_bio_PrivateKey_traditional(bio, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    });
    return id.certificatePem.empty() || id.privateKeyPem.empty() ? Identity() : id;
}

bool OrvPki::configureServer(SSL_CTX& ctx, const ServerTls& tls)
{
    std::vector<Owned<X509>> chain = readCertificates(tls.certificatePem);
    if (chain.empty() || SSL_CTX_use_certificate(&ctx, chain.front().get()) != 1) {
        return false;
    }
    for (size_t i = 1; i < chain.size(); ++i) {
        if (SSL_CTX_add1_chain_cert(&ctx, chain[i].get()) != 1) {
            return false;
        }
    }
    Owned<EVP_PKEY> key = readKey(tls.privateKeyPem);
    const int version = tls.tls13Only ? TLS1_3_VERSION : TLS1_2_VERSION;
    if (!key || SSL_CTX_use_PrivateKey(&ctx, key.get()) != 1 || SSL_CTX_check_private_key(&ctx) != 1 ||
        SSL_CTX_set_min_proto_version(&ctx, version) != 1 || SSL_CTX_set_max_proto_version(&ctx, version) != 1) {
        return false;
    }
    SSL_CTX_set_options(&ctx, SSL_OP_NO_COMPRESSION);
    if (tls.clientCaPem.empty()) {
        return true;
    }
    std::vector<Owned<X509>> cas = readCertificates(tls.clientCaPem);
    for (const Owned<X509>& ca : cas) {
        if (X509_STORE_add_cert(SSL_CTX_get_cert_store(&ctx), ca.get()) != 1 ||
            SSL_CTX_add_client_CA(&ctx, ca.get()) != 1) {
            return false;
        }
    }
    if (tls.requireClientCertificate) {
        SSL_CTX_set_verify(&ctx, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
    } else {
        // Lets a device resume its session; a required certificate is asked for on every handshake.
        static const unsigned char sessionContext[] = "orvkit";
        SSL_CTX_set_session_id_context(&ctx, sessionContext, sizeof sessionContext - 1);
        SSL_CTX_set_verify(&ctx, SSL_VERIFY_PEER, acceptAnyPeer);
    }
    return !cas.empty();
}

std::string OrvPki::peerCommonName(const SSL* ssl, bool verifiedOnly)
{
    Owned<X509> peer(ssl != nullptr ? SSL_get1_peer_certificate(ssl) : nullptr);
    if (!peer || (verifiedOnly && SSL_get_verify_result(ssl) != X509_V_OK)) {
        return std::string();
    }
    X509_NAME* subject = X509_get_subject_name(peer.get());
    const int index = X509_NAME_get_index_by_NID(subject, NID_commonName, -1);
    unsigned char* utf8 = nullptr;
    const int length = index >= 0 ? ASN1_STRING_to_UTF8(&utf8, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, index)))
                                  : -1;
    std::string name = length >= 0 ? std::string(reinterpret_cast<char*>(utf8), static_cast<size_t>(length)) : "";
    OPENSSL_free(utf8);
    return name;
}
