#ifndef ORV_JSON_DUPLICATE_KEYS_H
#define ORV_JSON_DUPLICATE_KEYS_H

#include <cstddef>
#include <string>

// Qt 5 only (Qt 6 keeps the last value and frees the others).
// Qt 5's JSON parser keeps one of several equal keys in an object, the last
// in small objects but not always in larger ones, and leaks the object or
// array values of those it drops. Before such a text is parsed, the earlier
// keys are renamed to a text that begins with U+0000: nothing is dropped,
// the last value is the one read, the validity of the text does not change,
// and no record reads a key of that form. Which keys are equal is decided by
// Qt's own decoding of them.
class OrvJsonDuplicateKeys
{
public:
    enum Outcome
    {
        Unique,  // no object repeats a key: parse the text as it is
        Renamed, // parse out instead
        NotJson  // a key is not a string Qt accepts, so neither is the text
    };

    static Outcome renameEarlier(const char* text, size_t length, std::string& out);

private:
    OrvJsonDuplicateKeys() = delete;
};

#endif
