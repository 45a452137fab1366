#ifndef ORV_SIM_PKI_H
#define ORV_SIM_PKI_H

#include <mutex>
#include <string>

typedef struct x509_st X509;
typedef struct evp_pkey_st EVP_PKEY;
typedef struct ssl_ctx_st SSL_CTX;
typedef struct ssl_st SSL;

// The simulator's own certificate authority, made fresh at start-up so that
// nothing in the repository can expire: a CA, a server certificate for
// 127.0.0.1 and localhost, and device certificates issued on demand.
class OrvSimPki
{
public:
    struct DeviceIdentity
    {
        std::string certificatePem;
        std::string privateKeyPem; // traditional "RSA PRIVATE KEY" form
    };

    OrvSimPki();
    ~OrvSimPki();
    OrvSimPki(const OrvSimPki&) = delete;
    OrvSimPki& operator=(const OrvSimPki&) = delete;

    bool generate(std::string& error);
    bool isValid() const { return ca != nullptr; }

    const std::string& caCertificatePem() const { return caPem; }

    // RSA 2048 key and a client certificate with the subject CN commonName.
    bool issueDevice(const std::string& commonName, DeviceIdentity& out, std::string& error);

    // TLS 1.2 only, the server identity; with requestClientCertificate the
    // handshake asks for a client certificate but lets the request decide.
    bool configureServer(SSL_CTX& ctx, bool requestClientCertificate) const;

    // The peer's certificate chains to this CA and its CN equals commonName.
    // 1: yes; 0: no certificate or not from this CA; -1: CN differs.
    static int checkPeer(const SSL* ssl, const std::string& commonName, std::string* peerName = nullptr);

private:
    std::mutex signing;
    X509* ca;
    EVP_PKEY* caKey;
    X509* server;
    EVP_PKEY* serverKey;
    std::string caPem;
};

#endif
