#include "data/OrvJsonText.h"

#include "data/OrvJsonDuplicateKeys.h"
#include "data/OrvJsonReader.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// Qt's reading of a string: UTF-8 runs decoded, each escape one UTF-16 unit.
QString decodeUtf16(const char* at, const char* end)
{
    QString text;
    const char* run = ++at;
    while (at < end && *at != '"') {
        if (*at != '\\') {
            ++at;
            continue;
        }
        text += QString::fromUtf8(run, static_cast<int>(at - run));
        const char escaped = at + 1 < end ? at[1] : '\0';
        at += 2;
        switch (escaped) {
        case 'b': text += QChar(u'\b'); break;
        case 'f': text += QChar(u'\f'); break;
        case 'n': text += QChar(u'\n'); break;
        case 'r': text += QChar(u'\r'); break;
        case 't': text += QChar(u'\t'); break;
        case 'u': {
            ushort unit = 0;
            for (int i = 0; i < 4 && at < end; ++i, ++at)
                unit = static_cast<ushort>(unit << 4 | hexValue(*at));
            text += QChar(unit);
            break;
        }
        default: text += QLatin1Char(escaped); break;
        }
        run = at;
    }
    text += QString::fromUtf8(run, static_cast<int>(std::min(at, end) - run));
    return text;
}

} // namespace

bool OrvJsonText::parseObject(const std::vector<uint8_t>& body)
{
    return parse(body, false);
}

bool OrvJsonText::parseArray(const std::vector<uint8_t>& body)
{
    return parse(body, true);
}

bool OrvJsonText::parse(const std::vector<uint8_t>& body, bool array)
{
    const char* start = reinterpret_cast<const char*>(body.data());
    size_t length = body.size();
    if (const void* zero = length > 0 ? std::memchr(start, 0, length) : nullptr)
        length = static_cast<size_t>(static_cast<const char*>(zero) - start);
    if (length == 0 || length > static_cast<size_t>(std::numeric_limits<int>::max()))
        return false;
    // Repeated keys would make Qt leak the values it drops.
    if (OrvJsonDuplicateKeys::renameEarlier(start, length, renamed)) {
        if (renamed.size() > static_cast<size_t>(std::numeric_limits<int>::max()))
            return false;
        start = renamed.data();
        length = renamed.size();
    }
    {
        const QJsonDocument document =
            QJsonDocument::fromJson(QByteArray::fromRawData(start, static_cast<int>(length)));
        if (document.isNull())
            return false;
        if (array ? document.array().isEmpty() : document.object().isEmpty())
            return false;
    }
    textEnd = start + length;
    // Qt skips a byte order mark before the top level.
    if (length >= 3 && std::memcmp(start, "\xEF\xBB\xBF", 3) == 0)
        start += 3;
    topValue = skipSpace(start, textEnd);
    return topValue < textEnd;
}

const char* OrvJsonText::skipString(const char* at, const char* end)
{
    ++at;
    for (;;) {
        at = findStringStop(at, end);
        if (at >= end)
            return end;
        if (*at == '"')
            return at + 1;
        if (end - at < 2)
            return end;
        at += 2;
    }
}

const char* OrvJsonText::skipValue(const char* at, const char* end)
{
    if (at >= end)
        return end;
    if (*at == '"')
        return skipString(at, end);
    if (*at != '{' && *at != '[') {
        while (at < end && *at != ',' && *at != '}' && *at != ']' && *at != ' ' && *at != '\t' && *at != '\n' &&
               *at != '\r')
            ++at;
        return at;
    }
    size_t depth = 0;
    while (at < end) {
        const char c = *at;
        if (c == '"') {
            at = skipString(at, end);
            continue;
        }
        ++at;
        if (c == '{' || c == '[')
            ++depth;
        else if ((c == '}' || c == ']') && --depth == 0)
            return at;
    }
    return end;
}

bool OrvJsonText::stringEquals(const char* at, const char* end, const char* key, size_t keyLength)
{
    return decodeUtf16(at, end) == QLatin1String(key, static_cast<int>(keyLength));
}

std::string OrvJsonText::decodeString(const char* at, const char* end, const char*& after)
{
    const char* const text = at + 1;
    const char* const close = findStringStop(text, end);
    // Accepted text is valid UTF-8, which Qt's round trip leaves as it is.
    if (close < end && *close == '"') {
        after = close + 1;
        return std::string(text, close);
    }
    after = skipString(at, end);
    return OrvJsonReader::toUtf8(decodeUtf16(at, end));
}

QJsonValue OrvJsonText::number(const char* at, const char* end, const char*& after)
{
    // The extent of a number as Qt's parser takes it.
    const char* const start = at;
    bool isInteger = true;
    if (at < end && *at == '-')
        ++at;
    if (at < end && *at == '0') {
        ++at;
    } else {
        while (at < end && isDigit(*at))
            ++at;
    }
    if (at < end && *at == '.') {
        isInteger = false;
        ++at;
        while (at < end && isDigit(*at))
            ++at;
    }
    if (at < end && (*at == 'e' || *at == 'E')) {
        isInteger = false;
        ++at;
        if (at < end && (*at == '+' || *at == '-'))
            ++at;
        while (at < end && isDigit(*at))
            ++at;
    }
    after = at;

    if (isInteger) {
        long long integer = 0;
        const std::from_chars_result read = std::from_chars(start, at, integer);
        if (read.ec == std::errc() && read.ptr == at)
            return QJsonValue(static_cast<qint64>(integer));
    }
    // Both conversions round correctly; Qt's own takes what the other refuses.
    double real = 0.0;
    const std::from_chars_result read = std::from_chars(start, at, real);
    if (read.ec != std::errc() || read.ptr != at)
        real = QByteArray::fromRawData(start, static_cast<int>(at - start)).toDouble();
    // Qt keeps a whole number that fits 64 bits as an integer.
    if (std::trunc(real) == real && real >= -9223372036854775808.0 && real < 9223372036854775808.0)
        return QJsonValue(static_cast<qint64>(real));
    return QJsonValue(real);
}
