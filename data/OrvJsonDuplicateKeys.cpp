#include "data/OrvJsonDuplicateKeys.h"

#include <QByteArray>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>
#include <QString>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

namespace {

struct Key
{
    size_t quote;  // offset of the opening quote
    size_t length; // bytes between the quotes
    uint64_t print;
};

struct Level
{
    bool object;
    bool expectKey;
    bool escaped;    // one of its keys holds an escape
    size_t firstKey; // this object's keys in the scan's key list begin here
};

// The first quote or backslash from at on, or length.
inline size_t stringStop(const char* text, size_t at, size_t length)
{
    // Eight bytes at a time: a byte is a hit when it is zero after the xor.
    const uint64_t ones = 0x0101010101010101ull;
    const uint64_t highs = 0x8080808080808080ull;
    while (at + 8 <= length) {
        uint64_t word;
        std::memcpy(&word, text + at, sizeof word);
        const uint64_t quotes = word ^ (ones * '"');
        const uint64_t slashes = word ^ (ones * '\\');
        const uint64_t hits = (((quotes - ones) & ~quotes) | ((slashes - ones) & ~slashes)) & highs;
        if (hits != 0) {
#if defined(__GNUC__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
            return at + static_cast<size_t>(__builtin_ctzll(hits)) / 8;
#else
            break;
#endif
        }
        at += 8;
    }
    while (at < length && text[at] != '"' && text[at] != '\\')
        ++at;
    return at;
}

// What the scan stops at outside strings.
struct Structure
{
    bool stop[256] = {};
    constexpr Structure()
    {
        for (const unsigned char c : {'"', '{', '[', '}', ']', ',', ':'})
            stop[c] = true;
    }
};
constexpr Structure kStructure;

// A key's bytes folded into 64 bits: its first and last eight and its length.
uint64_t fingerprint(const char* start, size_t length)
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

// Without escapes two keys are equal for Qt exactly when their bytes are, so
// keys whose fingerprints all differ cannot repeat.
bool mayRepeat(const Key* keys, size_t count, std::vector<uint64_t>& prints)
{
    if (count <= 8) {
        for (size_t i = 0; i + 1 < count; ++i)
            for (size_t j = i + 1; j < count; ++j)
                if (keys[i].print == keys[j].print)
                    return true;
        return false;
    }
    prints.clear();
    for (size_t i = 0; i < count; ++i)
        prints.push_back(keys[i].print);
    std::sort(prints.begin(), prints.end());
    return std::adjacent_find(prints.begin(), prints.end()) != prints.end();
}

// Renames each key of one object that a later key repeats; names are the
// keys as Qt decoded them, each behind one U+0000.
void renameRepeated(const Key* keys, const QJsonArray& names, int first, int count,
                    std::vector<std::pair<size_t, std::string>>& insertions)
{
    QHash<QString, int> last;
    QSet<QString> taken;
    for (int i = 0; i < count; ++i) {
        const QString name = names.at(first + i).toString();
        last.insert(name, i);
        taken.insert(name);
    }
    if (last.size() == count)
        return;
    int number = 0;
    for (int i = 0; i < count; ++i) {
        const QString name = names.at(first + i).toString();
        if (last.value(name) == i)
            continue;
        QString renamed;
        do {
            renamed = name;
            renamed.insert(1, QChar(0) + QString::number(++number) + QChar(0));
        } while (taken.contains(renamed));
        taken.insert(renamed);
        insertions.emplace_back(keys[i].quote + 1, "\\u0000" + std::to_string(number) + "\\u0000");
    }
}

} // namespace

OrvJsonDuplicateKeys::Outcome OrvJsonDuplicateKeys::renameEarlier(const char* text, size_t length, std::string& out)
{
    // The scan follows the text as Qt's parser does as long as the text is
    // JSON; where it is not, Qt fails at that point, and no object after it
    // is completed. Only a completed object can lose values.
    std::vector<Level> levels;
    std::vector<Key> keys;
    std::vector<uint64_t> prints;
    // Keys of the completed objects that may repeat one, object by object.
    std::vector<Key> suspects;
    std::vector<size_t> objectEnds;
    size_t at = 0;
    while (at < length) {
        const char c = text[at];
        if (c == '"') {
            const size_t quote = at;
            bool escaped = false;
            at = stringStop(text, at + 1, length);
            while (at < length && text[at] == '\\') {
                escaped = true;
                at = stringStop(text, at + 2, length);
            }
            if (at >= length)
                break;
            ++at;
            if (!levels.empty() && levels.back().expectKey) {
                const size_t keyLength = at - quote - 2;
                keys.push_back(Key{quote, keyLength, fingerprint(text + quote + 1, keyLength)});
                levels.back().expectKey = false;
                levels.back().escaped = levels.back().escaped || escaped;
            }
        } else if (c == '{' || c == '[') {
            levels.push_back(Level{c == '{', c == '{', false, keys.size()});
            ++at;
        } else if (c == '}' || c == ']') {
            if (levels.empty())
                break;
            const Level level = levels.back();
            levels.pop_back();
            const Key* first = keys.data() + level.firstKey;
            const size_t count = keys.size() - level.firstKey;
            if (count > 1 && (level.escaped || mayRepeat(first, count, prints))) {
                suspects.insert(suspects.end(), first, first + count);
                objectEnds.push_back(suspects.size());
            }
            keys.resize(level.firstKey);
            ++at;
        } else if (c == ',' || c == ':') {
            if (!levels.empty() && levels.back().object)
                levels.back().expectKey = c == ',';
            ++at;
        } else {
            while (++at < length && !kStructure.stop[static_cast<unsigned char>(text[at])]) {
            }
        }
    }
    if (suspects.empty())
        return Unique;

    // Qt decodes the keys as the texts of one array, which keeps every key.
    // The U+0000 before each keeps a leading byte order mark, which QString
    // would drop from a text without escapes.
    std::string list = "[";
    for (const Key& key : suspects) {
        list += list.size() > 1 ? ",\"\\u0000" : "\"\\u0000";
        list.append(text + key.quote + 1, key.length + 1);
    }
    list += ']';
    if (list.size() > static_cast<size_t>(std::numeric_limits<int>::max()))
        return NotJson;
    const QJsonArray names =
        QJsonDocument::fromJson(QByteArray::fromRawData(list.data(), static_cast<int>(list.size()))).array();
    if (static_cast<size_t>(names.size()) != suspects.size())
        return NotJson;

    std::vector<std::pair<size_t, std::string>> insertions;
    size_t begin = 0;
    for (const size_t end : objectEnds) {
        renameRepeated(suspects.data() + begin, names, static_cast<int>(begin), static_cast<int>(end - begin),
                       insertions);
        begin = end;
    }
    if (insertions.empty())
        return Unique;

    std::sort(insertions.begin(), insertions.end());
    out.clear();
    out.reserve(length + insertions.size() * 16);
    size_t copied = 0;
    for (const auto& insertion : insertions) {
        out.append(text + copied, insertion.first - copied);
        out += insertion.second;
        copied = insertion.first;
    }
    out.append(text + copied, length - copied);
    return Renamed;
}
