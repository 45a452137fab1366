#include "data/OrvJsonReader.h"

#include "data/OrvJsonDuplicateKeys.h"

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
    // Repeated keys would make Qt leak the values it drops.
    std::string renamed;
    if (OrvJsonDuplicateKeys::renameEarlier(start, length, renamed)) {
        if (renamed.size() > static_cast<size_t>(std::numeric_limits<int>::max()))
            return QJsonDocument();
        return QJsonDocument::fromJson(QByteArray(renamed.data(), static_cast<int>(renamed.size())));
    }
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
    return toUtf8(value.toString());
}

// Same bytes as QString::toStdString(), an unpaired surrogate included (it
// becomes '?'), but encoded straight into the std::string: one allocation at
// most, none for short texts.
std::string OrvJsonReader::toUtf8(const QString& text)
{
    const ushort* const begin = text.utf16();
    const ushort* const end = begin + text.size();
    // Most texts (ids, codes, times) are ASCII: their bytes are their units.
    const ushort* ascii = begin;
    while (ascii < end && *ascii < 0x80)
        ++ascii;
    if (ascii == end) {
        std::string out(static_cast<size_t>(end - begin), '\0');
        char* dst = &out[0];
        for (const ushort* at = begin; at < end; ++at)
            *dst++ = static_cast<char>(*at);
        return out;
    }

    const auto isPair = [end](const ushort* at) {
        return QChar::isHighSurrogate(at[0]) && at + 1 < end && QChar::isLowSurrogate(at[1]);
    };

    size_t length = static_cast<size_t>(ascii - begin);
    for (const ushort* at = ascii; at < end; ++at) {
        const ushort unit = *at;
        if (unit < 0x80)
            length += 1;
        else if (unit < 0x800)
            length += 2;
        else if (!QChar::isSurrogate(unit))
            length += 3;
        else if (isPair(at))
            length += 4, ++at;
        else
            length += 1;
    }

    std::string out(length, '\0');
    char* dst = &out[0];
    for (const ushort* at = begin; at < ascii; ++at)
        *dst++ = static_cast<char>(*at);
    for (const ushort* at = ascii; at < end; ++at) {
        const ushort unit = *at;
        if (unit < 0x80) {
            *dst++ = static_cast<char>(unit);
        } else if (unit < 0x800) {
            *dst++ = static_cast<char>(0xC0 | (unit >> 6));
            *dst++ = static_cast<char>(0x80 | (unit & 0x3F));
        } else if (!QChar::isSurrogate(unit)) {
            *dst++ = static_cast<char>(0xE0 | (unit >> 12));
            *dst++ = static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
            *dst++ = static_cast<char>(0x80 | (unit & 0x3F));
        } else if (isPair(at)) {
            const uint code = QChar::surrogateToUcs4(unit, at[1]);
            ++at;
            *dst++ = static_cast<char>(0xF0 | (code >> 18));
            *dst++ = static_cast<char>(0x80 | ((code >> 12) & 0x3F));
            *dst++ = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
            *dst++ = static_cast<char>(0x80 | (code & 0x3F));
        } else {
            *dst++ = '?';
        }
    }
    return out;
}

uint32_t OrvJsonReader::toTimestamp(double value)
{
    if (!(value >= 0.0))
        return 0;
    if (value > 4294967294.0)
        return std::numeric_limits<uint32_t>::max();
    return static_cast<uint32_t>(value);
}
