#ifndef ORV_CLIENT_TLS_H
#define ORV_CLIENT_TLS_H

#include <QSslConfiguration>

#include <string>

class OrvQtHttpRequest;

// TLS settings of the kit's own requests. fromPem builds the TLS 1.2
// configuration of a mutually authenticated request, built from
// the device's PEM texts. A text that is empty or does not parse is left out;
// the request is still made and the server decides.
struct OrvClientTls
{
    QSslConfiguration configuration;
    bool hasCaCertificate = false;
    bool hasCertificate = false;
    bool hasPrivateKey = false;

    static OrvClientTls fromPem(const std::string& caCertificatePem, const std::string& certificatePem,
                                const std::string& privateKeyPem);

    // Makes the request check the server's certificate, against the PEM
    // bundle at caBundlePath when one is named, else the system's.
    static void verifyServer(OrvQtHttpRequest& request, const std::string& caBundlePath);
};

#endif
