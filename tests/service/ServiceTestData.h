#ifndef ORVKIT_TESTS_SERVICE_TEST_DATA_H
#define ORVKIT_TESTS_SERVICE_TEST_DATA_H

// Command bytes and server bodies shared by the service tests.

#include <OrvKitDat.h>
#include <VxSerialization.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace servicetest {

inline std::vector<uint8_t> bytesOf(const std::string& text) { return std::vector<uint8_t>(text.begin(), text.end()); }

inline std::string textOf(const std::vector<uint8_t>& bytes) { return std::string(bytes.begin(), bytes.end()); }

// The login command's identity block: maker byte, then zero-terminated texts.
inline std::vector<uint8_t> loginBlock(uint8_t maker, std::initializer_list<std::string> texts,
                                       bool terminateLast = true)
{
    std::vector<uint8_t> block{maker};
    for (const std::string& text : texts) {
        block.insert(block.end(), text.begin(), text.end());
        block.push_back(0);
    }
    if (!terminateLast && block.size() > 1)
        block.pop_back();
    return block;
}

// 16-bit big-endian words.
inline std::vector<uint8_t> words(std::initializer_list<unsigned int> values)
{
    std::vector<uint8_t> out;
    for (unsigned int value : values) {
        out.push_back(static_cast<uint8_t>(value >> 8));
        out.push_back(static_cast<uint8_t>(value));
    }
    return out;
}

inline std::string errorBody(const std::string& code)
{
    return "{\"error\":{\"code\":\"" + code + "\",\"message\":\"refused\"}}";
}

inline std::string authBody(const std::string& token, long long expirationDate, const std::string& role = "tlv")
{
    return "{\"access_token\":\"" + token + "\",\"refresh_token\":\"r-" + token +
           "\",\"expires_in\":3600,\"expiration_date\":" + std::to_string(expirationDate) + ",\"role\":\"" + role +
           "\"}";
}

inline std::string certificateBody(const std::string& caPem, const std::string& certificatePem,
                                   const std::string& keyPem)
{
    QJsonObject object;
    object["caCertificatePem"] = QString::fromStdString(caPem);
    object["certificatePem"] = QString::fromStdString(certificatePem);
    object["privateKey"] = QString::fromStdString(keyPem);
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

inline std::vector<uint8_t> positionsCommand(const OrvKitDat::CarPositions& positions)
{
    VxSerialization::Archive archive;
    positions.serialize(archive);
    return archive.bytes();
}

// A loopback port that nothing listens on (bound, then released).
inline int closedLoopbackPort()
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0)
        return 1;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    int port = 1;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        port = ntohs(address.sin_port);
    ::close(fd);
    return port;
}

} // namespace servicetest

#endif
