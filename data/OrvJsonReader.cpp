#include "data/OrvJsonReader.h"

#include <QByteArray>
#include <QString>

#include <cstring>
#include <limits>

QJsonDocument OrvJsonReader::parse(const std::vector<uint8_t>& body)
{
    const char* start = reinterpret_cast<const char*>(body.data());
    size_t length = body.size();
    if (const void* zero = length > 0 ? std::memchr(start, 0, length) : nullptr)
        length = static_cast<size_t>(static_cast<const char*>(zero) - start);
    if (length == 0 || length > static_cast<size_t>(std::numeric_limits<int>::max()))
        return QJsonDocument();
    // The parser copies what it keeps, so the body need not be copied first.
    return QJsonDocument::fromJson(QByteArray::fromRawData(start, static_cast<int>(length)));
}

bool OrvJsonReader::parseObject(const std::vector<uint8_t>& body, QJsonObject& object)
{
    const QJsonDocument document = parse(body);
    if (document.isNull())
        return false;
    object = document.object();
    return !object.isEmpty();
}

bool OrvJsonReader::parseArray(const std::vector<uint8_t>& body, QJsonArray& array)
{
    const QJsonDocument document = parse(body);
    if (document.isNull())
        return false;
    array = document.array();
    return !array.isEmpty();
}

std::string OrvJsonReader::toText(const QJsonValue& value)
{
    if (!value.isString())
        return std::string();
    return value.toString().toStdString();
}

uint32_t OrvJsonReader::toTimestamp(double value)
{
    if (!(value >= 0.0))
        return 0;
    if (value > 4294967294.0)
        return std::numeric_limits<uint32_t>::max();
    return static_cast<uint32_t>(value);
}
