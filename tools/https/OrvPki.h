#ifndef ORV_PKI_H
#define ORV_PKI_H

#include <string>

typedef struct ssl_ctx_st SSL_CTX;
typedef struct ssl_st SSL;

// Certificates made on the fly, so that nothing kept in the repository can
// expire, and the server side of TLS set up from them. Everything is PEM text;
// private keys are in the traditional "RSA PRIVATE KEY" (or EC) form.
class OrvPki
{
public:
    enum class Use { Authority, Server, Client };

    struct Identity
    {
        std::string commonName;
        std::string certificatePem;
        std::string privateKeyPem;
    };

    // Signed by issuer, or self-signed when issuer is null. keyPem empty: a new
    // key, RSA 2048 or (faster to make) EC P-256. A server certificate names
    // 127.0.0.1 and localhost. Valid from one hour ago for days. Empty on failure.
    static Identity issue(const std::string& commonName, Use use, const Identity* issuer, long days,
                          bool rsa = true, const std::string& keyPem = std::string());

    struct ServerTls
    {
        std::string certificatePem; // leaf first, may hold its chain
        std::string privateKeyPem;
        std::string clientCaPem;    // not empty: ask for a client certificate from this CA
        bool requireClientCertificate = true; // false: the handshake goes on, the request decides
        bool tls13Only = false;     // TLS 1.3 instead of 1.2
    };
    static bool configureServer(SSL_CTX& ctx, const ServerTls& tls);

    // Subject CN of the peer's certificate; empty without one, or, with
    // verifiedOnly, when it did not verify against the configured CA.
    static std::string peerCommonName(const SSL* ssl, bool verifiedOnly = false);
};

#endif
