#ifndef ORV_JSON_TEXT_H
#define ORV_JSON_TEXT_H

#include <QJsonValue>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

// A response body that Qt's JSON parser has accepted, and the reading of
// values straight from its text. Qt decides what is JSON and what the top
// level holds; the members are then read from the text, which spares the
// records a QString and a lookup in Qt's tree per member. Every conversion
// gives what the matching QJsonValue conversion of Qt's tree would give.
// The scanning functions expect accepted text and never read past end.
class OrvJsonText
{
public:
    OrvJsonText() = default;
    OrvJsonText(const OrvJsonText&) = delete;
    OrvJsonText& operator=(const OrvJsonText&) = delete;

    // The body ends at its first zero byte. False when it is not JSON or its
    // top level is not a non-empty object (array).
    bool parseObject(const std::vector<uint8_t>& body);
    bool parseArray(const std::vector<uint8_t>& body);

    // The top-level '{' or '[', and the end of the text.
    const char* top() const { return topValue; }
    const char* end() const { return textEnd; }

    static const char* skipSpace(const char* at, const char* end)
    {
        while (at < end && (*at == ' ' || *at == '\t' || *at == '\n' || *at == '\r'))
            ++at;
        return at;
    }
    // The first '"' or backslash from at on, or end.
    static const char* findStringStop(const char* at, const char* end)
    {
        // Eight bytes at a time while none of them is a quote or a backslash.
        const uint64_t ones = 0x0101010101010101ull;
        const uint64_t highs = 0x8080808080808080ull;
        while (end - at >= 8) {
            uint64_t word;
            std::memcpy(&word, at, sizeof word);
            const uint64_t quotes = word ^ (ones * '"');
            const uint64_t slashes = word ^ (ones * '\\');
            if ((((quotes - ones) & ~quotes) | ((slashes - ones) & ~slashes)) & highs)
                break;
            at += 8;
        }
        while (at < end && *at != '"' && *at != '\\')
            ++at;
        return at;
    }
    // From the first character of a value to just after it.
    static const char* skipValue(const char* at, const char* end);
    // From an opening quote to just after the closing one.
    static const char* skipString(const char* at, const char* end);
    // Whether the string at `at`, a key with escapes, reads as the ASCII text key.
    static bool stringEquals(const char* at, const char* end, const char* key, size_t keyLength);
    // The string at `at` as QString::toStdString() of Qt's value gives it;
    // after receives the position just past it.
    static std::string decodeString(const char* at, const char* end, const char*& after);
    // The number at `at` as Qt stores it: integral values as integers.
    static QJsonValue number(const char* at, const char* end, const char*& after);

private:
    bool parse(const std::vector<uint8_t>& body, bool array);

    std::string renamed;
    const char* topValue = nullptr;
    const char* textEnd = nullptr;
};

#endif
