#include "data/OrvJsonReader.h"

#include <QByteArray>
#include <QJsonDocument>
#include <QtGlobal>

// Qt 6 keeps the last of equal keys and frees the others; only Qt 5 needs
// the guard (measured with Qt 5.15.8 and Qt 6.4.2).
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
#include "data/OrvJsonDuplicateKeys.h"
#endif

#include <cstring>
#include <limits>

namespace {

QJsonDocument parse(const std::vector<uint8_t>& body)
{
    const char* text = reinterpret_cast<const char*>(body.data());
    size_t length = body.size();
    if (const void* zero = length > 0 ? std::memchr(text, 0, length) : nullptr)
        length = static_cast<size_t>(static_cast<const char*>(zero) - text);
    if (length > static_cast<size_t>(std::numeric_limits<int>::max()))
        return QJsonDocument();
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    std::string renamed;
    switch (OrvJsonDuplicateKeys::renameEarlier(text, length, renamed)) {
    case OrvJsonDuplicateKeys::NotJson:
        return QJsonDocument();
    case OrvJsonDuplicateKeys::Renamed:
        if (renamed.size() > static_cast<size_t>(std::numeric_limits<int>::max()))
            return QJsonDocument();
        text = renamed.data();
        length = renamed.size();
        break;
    case OrvJsonDuplicateKeys::Unique:
        break;
    }
#endif
    return QJsonDocument::fromJson(QByteArray::fromRawData(text, static_cast<int>(length)));
}

} // namespace

QJsonObject OrvJsonReader::parseObject(const std::vector<uint8_t>& body)
{
    return parse(body).object();
}

QJsonArray OrvJsonReader::parseArray(const std::vector<uint8_t>& body)
{
    return parse(body).array();
}

uint32_t OrvJsonReader::toTimestamp(double value)
{
    if (!(value >= 0.0))
        return 0;
    if (value > 4294967294.0)
        return std::numeric_limits<uint32_t>::max();
    return static_cast<uint32_t>(value);
}
