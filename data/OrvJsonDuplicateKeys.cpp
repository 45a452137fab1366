#include "data/OrvJsonDuplicateKeys.h"

#include "data/OrvJsonText.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace {

// Qt gives up beyond 1024 levels; nothing after that point is completed.
const size_t kMaxDepth = 4096;

struct Key
{
    std::u16string name; // as Qt compares keys: UTF-16 code units
    size_t textStart;    // offset just after the opening quote
    bool decoded;
};

struct Frame
{
    bool object;
    bool expectKey;
    std::vector<Key> keys;
};

struct Insertion
{
    size_t offset;
    std::string text;
};

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

void appendCodePoint(std::u16string& out, char32_t code)
{
    if (code < 0x10000) {
        out.push_back(static_cast<char16_t>(code));
    } else {
        code -= 0x10000;
        out.push_back(static_cast<char16_t>(0xD800 + (code >> 10)));
        out.push_back(static_cast<char16_t>(0xDC00 + (code & 0x3FF)));
    }
}

// One UTF-8 sequence (strict: no overlong forms, surrogates or values past
// U+10FFFF). False when it is not one.
bool decodeUtf8(const unsigned char* text, size_t end, size_t& at, char32_t& code)
{
    const unsigned char lead = text[at];
    size_t extra = 0;
    char32_t minimum = 0;
    if (lead < 0x80) {
        code = lead;
    } else if ((lead & 0xE0) == 0xC0) {
        code = lead & 0x1F, extra = 1, minimum = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        code = lead & 0x0F, extra = 2, minimum = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        code = lead & 0x07, extra = 3, minimum = 0x10000;
    } else {
        return false;
    }
    if (end - at - 1 < extra)
        return false;
    for (size_t i = 1; i <= extra; ++i) {
        const unsigned char next = text[at + i];
        if ((next & 0xC0) != 0x80)
            return false;
        code = (code << 6) | (next & 0x3F);
    }
    if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        return false;
    at += extra + 1;
    return true;
}

// Scans the string whose opening quote is at `at`; leaves `at` after its
// closing quote. False when the text ends first. name receives the decoded
// text when wanted, and decoded says whether decoding succeeded.
bool scanString(const unsigned char* text, size_t end, size_t& at, std::u16string* name, bool& decoded)
{
    decoded = true;
    ++at;
    while (at < end) {
        const unsigned char c = text[at];
        if (c == '"') {
            ++at;
            return true;
        }
        if (c == '\\') {
            if (at + 1 >= end)
                return false;
            const unsigned char escaped = text[at + 1];
            at += 2;
            if (name == nullptr)
                continue;
            switch (escaped) {
            case '"': name->push_back(u'"'); break;
            case '\\': name->push_back(u'\\'); break;
            case '/': name->push_back(u'/'); break;
            case 'b': name->push_back(u'\b'); break;
            case 'f': name->push_back(u'\f'); break;
            case 'n': name->push_back(u'\n'); break;
            case 'r': name->push_back(u'\r'); break;
            case 't': name->push_back(u'\t'); break;
            case 'u': {
                char16_t unit = 0;
                for (int i = 0; i < 4; ++i) {
                    const int digit = at < end ? hexValue(static_cast<char>(text[at])) : -1;
                    if (digit < 0) {
                        decoded = false;
                        break;
                    }
                    unit = static_cast<char16_t>(unit << 4 | digit);
                    ++at;
                }
                name->push_back(unit);
                break;
            }
            default: decoded = false; break;
            }
            continue;
        }
        if (name == nullptr || !decoded) {
            ++at;
            continue;
        }
        char32_t code = 0;
        if (decodeUtf8(text, end, at, code)) {
            appendCodePoint(*name, code);
        } else {
            decoded = false;
            ++at;
        }
    }
    return false;
}

// Renames every key of the object that a later key repeats.
void renameRepeated(const std::vector<Key>& keys, std::vector<Insertion>& insertions)
{
    std::unordered_map<std::u16string, size_t> last;
    for (size_t i = 0; i < keys.size(); ++i)
        if (keys[i].decoded)
            last[keys[i].name] = i;
    if (last.size() == keys.size())
        return;
    std::unordered_set<std::u16string> taken;
    for (const auto& entry : last)
        taken.insert(entry.first);
    size_t number = 0;
    for (size_t i = 0; i < keys.size(); ++i) {
        if (!keys[i].decoded || last[keys[i].name] == i)
            continue;
        std::u16string candidate;
        std::string digits;
        do {
            digits = std::to_string(number++);
            candidate = u'\0' + std::u16string(digits.begin(), digits.end()) + u'\0' + keys[i].name;
        } while (!taken.insert(candidate).second);
        insertions.push_back(Insertion{keys[i].textStart, "\\u0000" + digits + "\\u0000"});
    }
}

// A key as it stands in the text. Without escapes, two keys decode to the
// same name only if their bytes are the same, so comparing the bytes (here a
// fingerprint of them) misses no repeat.
struct RawKey
{
    uint64_t print;
};

uint64_t fingerprint(const unsigned char* start, size_t length)
{
    uint64_t head = 0;
    uint64_t tail = 0;
    std::memcpy(&head, start, std::min<size_t>(length, 8));
    if (length > 8) {
        const size_t rest = std::min<size_t>(length - 8, 8);
        std::memcpy(&tail, start + length - rest, rest);
    }
    return head ^ (tail << 29 | tail >> 35) ^ (static_cast<uint64_t>(length) * 0x9E3779B97F4A7C15ull);
}

// True when two keys of one object share a fingerprint.
bool sharePrint(std::vector<RawKey>& keys, size_t begin)
{
    const size_t count = keys.size() - begin;
    if (count < 2)
        return false;
    if (count <= 32) {
        for (size_t i = begin; i + 1 < keys.size(); ++i)
            for (size_t j = i + 1; j < keys.size(); ++j)
                if (keys[i].print == keys[j].print)
                    return true;
        return false;
    }
    std::vector<uint64_t> prints;
    prints.reserve(count);
    for (size_t i = begin; i < keys.size(); ++i)
        prints.push_back(keys[i].print);
    std::sort(prints.begin(), prints.end());
    return std::adjacent_find(prints.begin(), prints.end()) != prints.end();
}

// Bytes that the first pass stops at outside strings.
struct ByteClasses
{
    bool structural[256] = {};
    constexpr ByteClasses()
    {
        for (unsigned char c : {'{', '[', '}', ']', ',', ':', '"'})
            structural[c] = true;
    }
};

constexpr ByteClasses kBytes;

size_t stringStop(const char* text, size_t at, size_t length)
{
    return static_cast<size_t>(OrvJsonText::findStringStop(text + at, text + length) - text);
}

} // namespace

// Follows the text exactly as renameEarlier() does, but keeps keys as raw
// bytes. An escaped key, a shared fingerprint or too deep a nesting hands the
// text to the decoding pass, which alone decides.
bool OrvJsonDuplicateKeys::mayRepeat(const char* source, size_t length)
{
    const unsigned char* text = reinterpret_cast<const unsigned char*>(source);
    struct Level
    {
        bool object;
        bool expectKey;
        size_t keysBegin;
    };
    // Kept between calls, so that a body costs no allocation here.
    thread_local std::vector<Level> stackStorage;
    thread_local std::vector<RawKey> keyStorage;
    std::vector<Level>& stack = stackStorage;
    std::vector<RawKey>& keys = keyStorage;
    stack.clear();
    keys.clear();
    size_t at = 0;
    while (at < length) {
        const unsigned char c = text[at];
        if (c == '{' || c == '[') {
            if (stack.size() >= kMaxDepth)
                return true;
            stack.push_back(Level{c == '{', c == '{', keys.size()});
            ++at;
        } else if (c == '}' || c == ']') {
            if (stack.empty())
                return false;
            if (stack.back().object) {
                if (sharePrint(keys, stack.back().keysBegin))
                    return true;
                keys.resize(stack.back().keysBegin);
            }
            stack.pop_back();
            ++at;
        } else if (c == ',' || c == ':') {
            if (!stack.empty() && stack.back().object)
                stack.back().expectKey = c == ',';
            ++at;
        } else if (c == '"') {
            Level* level = stack.empty() ? nullptr : &stack.back();
            const bool isKey = level != nullptr && level->object && level->expectKey;
            const size_t start = ++at;
            at = stringStop(source, at, length);
            while (at < length && text[at] == '\\') {
                if (isKey)
                    return true;
                at += 2;
                if (at > length)
                    return false;
                at = stringStop(source, at, length);
            }
            if (at >= length)
                return false;
            ++at;
            if (isKey) {
                level->expectKey = false;
                keys.push_back(RawKey{fingerprint(text + start, at - 1 - start)});
            }
        } else {
            // Numbers, literals and white space.
            while (++at < length && !kBytes.structural[text[at]]) {
            }
        }
    }
    return false;
}

bool OrvJsonDuplicateKeys::renameEarlier(const char* source, size_t length, std::string& out)
{
    if (!mayRepeat(source, length))
        return false;
    const unsigned char* text = reinterpret_cast<const unsigned char*>(source);
    std::vector<Frame> stack;
    std::vector<Insertion> insertions;
    size_t at = 0;
    // Lenient on purpose: it only has to find keys where Qt would; at the
    // first thing it cannot follow it stops, and Qt fails there too.
    while (at < length) {
        const unsigned char c = text[at];
        if (c == '{' || c == '[') {
            if (stack.size() >= kMaxDepth)
                break;
            stack.push_back(Frame{c == '{', c == '{', {}});
            ++at;
        } else if (c == '}' || c == ']') {
            if (stack.empty())
                break;
            if (stack.back().object)
                renameRepeated(stack.back().keys, insertions);
            stack.pop_back();
            ++at;
        } else if (c == ',' || c == ':') {
            if (!stack.empty() && stack.back().object)
                stack.back().expectKey = c == ',';
            ++at;
        } else if (c == '"') {
            Frame* frame = stack.empty() ? nullptr : &stack.back();
            const bool isKey = frame != nullptr && frame->object && frame->expectKey;
            Key key{std::u16string(), at + 1, false};
            if (!scanString(text, length, at, isKey ? &key.name : nullptr, key.decoded))
                break;
            if (isKey) {
                frame->expectKey = false;
                frame->keys.push_back(std::move(key));
            }
        } else {
            ++at;
        }
    }
    if (insertions.empty())
        return false;

    std::sort(insertions.begin(), insertions.end(),
              [](const Insertion& a, const Insertion& b) { return a.offset < b.offset; });
    size_t added = 0;
    for (const Insertion& insertion : insertions)
        added += insertion.text.size();
    out.clear();
    out.reserve(length + added);
    size_t copied = 0;
    for (const Insertion& insertion : insertions) {
        out.append(source + copied, insertion.offset - copied);
        out.append(insertion.text);
        copied = insertion.offset;
    }
    out.append(source + copied, length - copied);
    return true;
}
