#ifndef ORV_JSON_READER_H
#define ORV_JSON_READER_H

#include "data/OrvJsonText.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

// Reads record members from one JSON object of an accepted text. A missing
// key, or a value of another JSON type, gives the member's default. The field
// lists of the records drive this class, OrvArchiveWriter and
// OrvArchiveReader alike. Members are found as they are asked for, mostly in
// the order of the text, so a reader looks at each member about once.
class OrvJsonReader
{
public:
    // The object whose '{' is at `at`; anything else reads as an empty object.
    OrvJsonReader(const char* at, const char* end);
    OrvJsonReader(const OrvJsonReader&) = delete;
    OrvJsonReader& operator=(const OrvJsonReader&) = delete;

    // False when the body is not JSON or its top level is not a non-empty
    // object (array); text then holds nothing.
    static bool parseObject(const std::vector<uint8_t>& body, OrvJsonText& text) { return text.parseObject(body); }
    static bool parseArray(const std::vector<uint8_t>& body, OrvJsonText& text) { return text.parseArray(body); }

    static std::string toUtf8(const QString& text);
    // For time stamps that may not fit an int: clamped into 0..0xFFFFFFFF.
    static uint32_t toTimestamp(double value);

    // Where the value of key starts, or null when the object has no such key.
    const char* find(const char* key) const;
    bool isEmpty() const;
    // Just after the object's closing brace.
    const char* finish() const;
    const char* end() const { return textEnd; }

    // Conversions of a value found by find(); null reads as a missing key.
    // after receives the position just past the value, or the value itself
    // when it is not of the kind asked for.
    static std::string textAt(const char* value, const char* end, const char*& after);
    // Integers are stored bit for bit: -1 arrives as 0xFFFFFFFF.
    static uint32_t numberAt(const char* value, const char* end, const char*& after);
    static double realAt(const char* value, const char* end, const char*& after);

    void text(const char* key, std::string& member) const
    {
        const char* value = find(key);
        const char* after = value;
        member = textAt(value, textEnd, after);
        read(value, after);
    }
    void number(const char* key, uint32_t& member) const
    {
        const char* value = find(key);
        const char* after = value;
        member = numberAt(value, textEnd, after);
        read(value, after);
    }
    void timestamp(const char* key, uint32_t& member) const
    {
        const char* value = find(key);
        const char* after = value;
        member = toTimestamp(realAt(value, textEnd, after));
        read(value, after);
    }
    void real(const char* key, double& member) const
    {
        const char* value = find(key);
        const char* after = value;
        member = realAt(value, textEnd, after);
        read(value, after);
    }
    // The object under key; anything else reads as an empty object.
    OrvJsonReader object(const char* key) const { return OrvJsonReader(find(key), textEnd); }

    template <class Element, class Fields>
    void list(const char* key, std::vector<Element>& items, Fields fields) const
    {
        const char* value = find(key);
        read(value, fill(value, textEnd, items, fields));
    }

    // Replaces items with one element per entry of the array at `at`; an
    // entry that is not an object gives an element of defaults, and anything
    // but an array gives no elements. Returns the position past the array,
    // or `at` when there is none.
    template <class Element, class Fields>
    static const char* fill(const char* at, const char* end, std::vector<Element>& items, Fields fields)
    {
        items.clear();
        if (at == nullptr || at >= end || *at != '[')
            return at;
        at = OrvJsonText::skipSpace(at + 1, end);
        while (at < end && *at != ']') {
            items.emplace_back();
            if (*at == '{') {
                const OrvJsonReader reader(at, end);
                fields(reader, items.back());
                at = reader.finish();
            } else {
                at = OrvJsonText::skipValue(at, end);
            }
            at = OrvJsonText::skipSpace(at, end);
            if (at < end && *at == ',')
                at = OrvJsonText::skipSpace(at + 1, end);
        }
        return at < end ? at + 1 : end;
    }

private:
    struct Member
    {
        const char* key;   // opening quote
        size_t keyLength;  // bytes between the quotes
        const char* value; // first character
        bool escaped;      // the key holds a backslash
    };
    static constexpr size_t kInlineMembers = 32;

    // Indexes the next member; false once the closing brace is reached.
    bool indexNext() const;
    // A value was read up to after: indexing goes on from there, not skipping it again.
    void read(const char* value, const char* after) const
    {
        if (value != nullptr && value == resume && resumeAtValue && after != value) {
            resume = after;
            resumeAtValue = false;
        }
    }
    const Member& member(size_t index) const
    {
        return index < kInlineMembers ? inlineMembers[index] : moreMembers[index - kInlineMembers];
    }
    bool matches(size_t index, const char* key, size_t keyLength) const;

    const char* const textEnd;
    mutable Member inlineMembers[kInlineMembers];
    mutable std::vector<Member> moreMembers;
    mutable size_t count = 0;
    mutable size_t cursor = 0;
    // Where indexing goes on: the last value still to be skipped, or the
    // position after the opening brace; null once the object is indexed.
    mutable const char* resume;
    mutable bool resumeAtValue = false;
    mutable const char* close = nullptr;
};

#endif
