#include "data/OrvJsonReader.h"

#include <QJsonValue>

#include <limits>

OrvJsonReader::OrvJsonReader(const char* at, const char* end)
    : textEnd(end), resume(at != nullptr && at < end && *at == '{' ? at + 1 : nullptr)
{
    // Not an object: no members, and nothing to finish.
    if (resume == nullptr)
        close = at != nullptr && at < end ? OrvJsonText::skipValue(at, end) : end;
}

bool OrvJsonReader::indexNext() const
{
    if (resume == nullptr)
        return false;
    const char* at = resumeAtValue ? OrvJsonText::skipValue(resume, textEnd) : resume;
    at = OrvJsonText::skipSpace(at, textEnd);
    if (at < textEnd && *at == ',')
        at = OrvJsonText::skipSpace(at + 1, textEnd);
    if (at >= textEnd || *at != '"') {
        // The closing brace.
        close = at < textEnd ? at + 1 : textEnd;
        resume = nullptr;
        return false;
    }
    Member next;
    next.key = at;
    next.escaped = false;
    at = OrvJsonText::findStringStop(at + 1, textEnd);
    while (at < textEnd && *at == '\\') {
        next.escaped = true;
        at = textEnd - at < 2 ? textEnd : OrvJsonText::findStringStop(at + 2, textEnd);
    }
    if (at >= textEnd) {
        close = textEnd;
        resume = nullptr;
        return false;
    }
    next.keyLength = static_cast<size_t>(at - next.key - 1);
    at = OrvJsonText::skipSpace(at + 1, textEnd);
    if (at < textEnd && *at == ':')
        ++at;
    next.value = OrvJsonText::skipSpace(at, textEnd);
    if (count < kInlineMembers)
        inlineMembers[count] = next;
    else
        moreMembers.push_back(next);
    ++count;
    resume = next.value;
    resumeAtValue = true;
    return true;
}

bool OrvJsonReader::matches(size_t index, const char* key, size_t keyLength) const
{
    const Member& candidate = member(index);
    if (!candidate.escaped)
        return candidate.keyLength == keyLength && std::memcmp(candidate.key + 1, key, keyLength) == 0;
    return OrvJsonText::stringEquals(candidate.key, textEnd, key, keyLength);
}

const char* OrvJsonReader::find(const char* key) const
{
    const size_t keyLength = std::strlen(key);
    // Keys are asked for mostly in the order of the text: look after the last
    // find first, then further on in the text, and only then before it.
    for (size_t i = cursor; i < count; ++i) {
        if (matches(i, key, keyLength)) {
            cursor = i + 1;
            return member(i).value;
        }
    }
    while (indexNext()) {
        if (matches(count - 1, key, keyLength)) {
            cursor = count;
            return member(count - 1).value;
        }
    }
    for (size_t i = 0; i < cursor && i < count; ++i) {
        if (matches(i, key, keyLength)) {
            cursor = i + 1;
            return member(i).value;
        }
    }
    return nullptr;
}

bool OrvJsonReader::isEmpty() const
{
    return count == 0 && !indexNext();
}

const char* OrvJsonReader::finish() const
{
    while (indexNext()) {
    }
    return close;
}

std::string OrvJsonReader::textAt(const char* value, const char* end, const char*& after)
{
    if (value == nullptr || value >= end || *value != '"')
        return std::string();
    return OrvJsonText::decodeString(value, end, after);
}

namespace {

// Qt reads every value that is not a string, object, array or literal as a
// number; those it accepts begin with a digit, '-' or '.'.
bool isNumber(const char* value, const char* end)
{
    return value != nullptr && value < end && (*value == '-' || *value == '.' || (*value >= '0' && *value <= '9'));
}

} // namespace

uint32_t OrvJsonReader::numberAt(const char* value, const char* end, const char*& after)
{
    if (!isNumber(value, end))
        return 0;
    return static_cast<uint32_t>(OrvJsonText::number(value, end, after).toInt());
}

double OrvJsonReader::realAt(const char* value, const char* end, const char*& after)
{
    if (!isNumber(value, end))
        return 0.0;
    return OrvJsonText::number(value, end, after).toDouble();
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
