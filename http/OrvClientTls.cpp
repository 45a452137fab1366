#include "http/OrvClientTls.h"

#include "http/OrvQtHttpRequest.h"

#include <QSslCertificate>
#include <QSslKey>

OrvClientTls OrvClientTls::fromPem(const std::string& caCertificatePem, const std::string& certificatePem,
                                   const std::string& privateKeyPem)
{
    OrvClientTls tls;
    tls.configuration = QSslConfiguration::defaultConfiguration();
    tls.configuration.setProtocol(QSsl::TlsV1_2);
    const QSslCertificate caCertificate(QByteArray::fromStdString(caCertificatePem), QSsl::Pem);
    tls.hasCaCertificate = !caCertificate.isNull();
    if (tls.hasCaCertificate)
        tls.configuration.setCaCertificates(QList<QSslCertificate>() << caCertificate);
    const QSslCertificate certificate(QByteArray::fromStdString(certificatePem), QSsl::Pem);
    tls.hasCertificate = !certificate.isNull();
    if (tls.hasCertificate)
        tls.configuration.setLocalCertificateChain(QList<QSslCertificate>() << certificate);
    const QSslKey key(QByteArray::fromStdString(privateKeyPem), QSsl::Rsa, QSsl::Pem, QSsl::PrivateKey, QByteArray());
    tls.hasPrivateKey = !key.isNull();
    if (tls.hasPrivateKey)
        tls.configuration.setPrivateKey(key);
    return tls;
}

void OrvClientTls::verifyServer(OrvQtHttpRequest& request, const std::string& caBundlePath)
{
    request.setIgnoreSslError(false);
    const QString bundle = QString::fromStdString(caBundlePath);
    request.setSslConfigurationHook([bundle](QSslConfiguration& configuration) {
        configuration.setPeerVerifyMode(QSslSocket::VerifyPeer);
        if (!bundle.isEmpty())
            configuration.setCaCertificates(QSslCertificate::fromPath(bundle, QSsl::Pem));
    });
}
