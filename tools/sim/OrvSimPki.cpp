#include "OrvSimPki.h"

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>

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

enum class Use { Authority, Server, Device };

std::string lastError(const char* what)
{
    char text[256] = {0};
    ERR_error_string_n(ERR_get_error(), text, sizeof text);
    return std::string(what) + ": " + text;
}

Owned<EVP_PKEY> makeKey(bool rsa)
{
    // Elliptic keys for the simulator's own identities keep start-up fast;
    // devices get RSA because that is what the head unit loads.
    EVP_PKEY* key = rsa ? EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", static_cast<size_t>(2048))
                        : EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256");
    return Owned<EVP_PKEY>(key);
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

// issuer null: self-signed with key.
Owned<X509> makeCertificate(EVP_PKEY* key, const std::string& commonName, Use use, X509* issuer,
                            EVP_PKEY* issuerKey, long days)
{
    Owned<X509> cert(X509_new());
    if (!cert || X509_set_version(cert.get(), 2) != 1 || !randomSerial(cert.get())) {
        return nullptr;
    }
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), days * 24 * 3600);
    if (X509_set_pubkey(cert.get(), key) != 1) {
        return nullptr;
    }
    X509_NAME* name = X509_get_subject_name(cert.get());
    X509_NAME_add_entry_by_txt(name, "C", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("JP"), -1, -1, 0);
    X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("OrvKit Simulator"), -1, -1, 0);
    if (X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                                   reinterpret_cast<const unsigned char*>(commonName.c_str()), -1, -1, 0) != 1) {
        return nullptr;
    }
    X509_set_issuer_name(cert.get(), issuer != nullptr ? X509_get_subject_name(issuer) : name);

    X509V3_CTX ctx;
    X509V3_set_ctx_nodb(&ctx);
    X509V3_set_ctx(&ctx, issuer != nullptr ? issuer : cert.get(), cert.get(), nullptr, nullptr, 0);
    bool ok = addExtension(cert.get(), &ctx, NID_subject_key_identifier, "hash");
    switch (use) {
    case Use::Authority:
        ok = ok && addExtension(cert.get(), &ctx, NID_basic_constraints, "critical,CA:TRUE");
        ok = ok && addExtension(cert.get(), &ctx, NID_key_usage, "critical,keyCertSign,cRLSign");
        break;
    case Use::Server:
        ok = ok && addExtension(cert.get(), &ctx, NID_basic_constraints, "critical,CA:FALSE");
        ok = ok && addExtension(cert.get(), &ctx, NID_key_usage, "critical,digitalSignature,keyEncipherment");
        ok = ok && addExtension(cert.get(), &ctx, NID_ext_key_usage, "serverAuth");
        ok = ok && addExtension(cert.get(), &ctx, NID_subject_alt_name, "IP:127.0.0.1,DNS:localhost");
        ok = ok && addExtension(cert.get(), &ctx, NID_authority_key_identifier, "keyid:always");
        break;
    case Use::Device:
        ok = ok && addExtension(cert.get(), &ctx, NID_basic_constraints, "critical,CA:FALSE");
        ok = ok && addExtension(cert.get(), &ctx, NID_key_usage, "critical,digitalSignature,keyEncipherment");
        ok = ok && addExtension(cert.get(), &ctx, NID_ext_key_usage, "clientAuth");
        ok = ok && addExtension(cert.get(), &ctx, NID_authority_key_identifier, "keyid:always");
        break;
    }
    if (!ok || X509_sign(cert.get(), issuerKey != nullptr ? issuerKey : key, EVP_sha256()) <= 0) {
        return nullptr;
    }
    return cert;
}

std::string memoryText(BIO* bio)
{
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio, &data);
    return size > 0 ? std::string(data, static_cast<size_t>(size)) : std::string();
}

std::string certificatePem(X509* cert)
{
    Owned<BIO> bio(BIO_new(BIO_s_mem()));
    return bio && PEM_write_bio_X509(bio.get(), cert) == 1 ? memoryText(bio.get()) : std::string();
}

std::string traditionalKeyPem(EVP_PKEY* key)
{
    Owned<BIO> bio(BIO_new(BIO_s_mem()));
    return bio && PEM_write_bio_PrivateKey_traditional(bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr) == 1
               ? memoryText(bio.get())
               : std::string();
}

// The handshake always goes on; the request handler looks at the result.
int acceptAnyPeer(int, X509_STORE_CTX*) { return 1; }

} // namespace

OrvSimPki::OrvSimPki() : ca(nullptr), caKey(nullptr), server(nullptr), serverKey(nullptr) {}

OrvSimPki::~OrvSimPki()
{
    X509_free(ca);
    EVP_PKEY_free(caKey);
    X509_free(server);
    EVP_PKEY_free(serverKey);
}

bool OrvSimPki::generate(std::string& error)
{
    if (isValid()) {
        return true;
    }
    Owned<EVP_PKEY> authorityKey = makeKey(false);
    Owned<X509> authority = authorityKey ? makeCertificate(authorityKey.get(), "OrvKit Simulator CA",
                                                           Use::Authority, nullptr, nullptr, 3650)
                                         : nullptr;
    Owned<EVP_PKEY> hostKey = authority ? makeKey(false) : nullptr;
    Owned<X509> host = hostKey ? makeCertificate(hostKey.get(), "127.0.0.1", Use::Server, authority.get(),
                                                 authorityKey.get(), 825)
                               : nullptr;
    if (!host) {
        error = lastError("cannot create the simulator CA");
        return false;
    }
    caPem = certificatePem(authority.get());
    ca = authority.release();
    caKey = authorityKey.release();
    server = host.release();
    serverKey = hostKey.release();
    return true;
}

bool OrvSimPki::issueDevice(const std::string& commonName, DeviceIdentity& out, std::string& error)
{
    if (!isValid()) {
        error = "no CA";
        return false;
    }
    Owned<EVP_PKEY> key = makeKey(true);
    if (!key) {
        error = lastError("cannot create a device key");
        return false;
    }
    Owned<X509> cert;
    {
        std::lock_guard<std::mutex> lock(signing);
        cert = makeCertificate(key.get(), commonName, Use::Device, ca, caKey, 365);
    }
    if (!cert) {
        error = lastError("cannot sign the device certificate");
        return false;
    }
    out.certificatePem = certificatePem(cert.get());
    out.privateKeyPem = traditionalKeyPem(key.get());
    if (out.certificatePem.empty() || out.privateKeyPem.empty()) {
        error = lastError("cannot encode the device identity");
        return false;
    }
    return true;
}

bool OrvSimPki::configureServer(SSL_CTX& ctx, bool requestClientCertificate) const
{
    if (!isValid()) {
        return false;
    }
    SSL_CTX_set_options(&ctx, SSL_OP_NO_COMPRESSION | SSL_OP_NO_SESSION_RESUMPTION_ON_RENEGOTIATION);
    if (SSL_CTX_set_min_proto_version(&ctx, TLS1_2_VERSION) != 1 ||
        SSL_CTX_set_max_proto_version(&ctx, TLS1_2_VERSION) != 1 || SSL_CTX_use_certificate(&ctx, server) != 1 ||
        SSL_CTX_use_PrivateKey(&ctx, serverKey) != 1 || SSL_CTX_check_private_key(&ctx) != 1) {
        return false;
    }
    X509_up_ref(ca);
    if (SSL_CTX_add0_chain_cert(&ctx, ca) != 1) {
        X509_free(ca);
        return false;
    }
    static const unsigned char sessionContext[] = "orvkit-sim";
    SSL_CTX_set_session_id_context(&ctx, sessionContext, sizeof sessionContext - 1);
    if (requestClientCertificate) {
        if (X509_STORE_add_cert(SSL_CTX_get_cert_store(&ctx), ca) != 1) {
            return false;
        }
        STACK_OF(X509_NAME)* names = sk_X509_NAME_new_null();
        X509_NAME* caName = names ? X509_NAME_dup(X509_get_subject_name(ca)) : nullptr;
        if (caName == nullptr || sk_X509_NAME_push(names, caName) <= 0) {
            X509_NAME_free(caName);
            sk_X509_NAME_free(names);
            return false;
        }
        SSL_CTX_set_client_CA_list(&ctx, names);
        SSL_CTX_set_verify(&ctx, SSL_VERIFY_PEER, acceptAnyPeer);
    }
    return true;
}

int OrvSimPki::checkPeer(const SSL* ssl, const std::string& commonName, std::string* peerName)
{
    if (ssl == nullptr) {
        return 0;
    }
    Owned<X509> peer(SSL_get1_peer_certificate(ssl));
    if (!peer || SSL_get_verify_result(ssl) != X509_V_OK) {
        return 0;
    }
    X509_NAME* subject = X509_get_subject_name(peer.get());
    const int index = X509_NAME_get_index_by_NID(subject, NID_commonName, -1);
    ASN1_STRING* value = index >= 0 ? X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, index)) : nullptr;
    std::string name;
    if (value != nullptr) {
        unsigned char* utf8 = nullptr;
        const int length = ASN1_STRING_to_UTF8(&utf8, value);
        if (length >= 0) {
            name.assign(reinterpret_cast<char*>(utf8), static_cast<size_t>(length));
        }
        OPENSSL_free(utf8);
    }
    if (peerName != nullptr) {
        *peerName = name;
    }
    return name == commonName ? 1 : -1;
}
