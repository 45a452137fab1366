#ifndef ORV_JSON_DUPLICATE_KEYS_H
#define ORV_JSON_DUPLICATE_KEYS_H

#include <cstddef>
#include <string>

// Qt 5's JSON parser keeps the last of several equal keys in an object and
// leaks the object or array values of the ones it drops. Before such a body
// is parsed, the earlier keys are renamed to a text that begins with U+0000:
// nothing is dropped any more, the kept value is the same, the validity of
// the text does not change, and no record reads a key of that form.
class OrvJsonDuplicateKeys
{
public:
    // True, with the rewritten text in out, when some object of text repeats
    // a key; false (out untouched) when the text can be parsed as it is.
    static bool renameEarlier(const char* text, size_t length, std::string& out);

private:
    OrvJsonDuplicateKeys() = delete;
    // Cheap first pass over the raw text: false only when no object can
    // repeat a key, so that the decoding pass is skipped for ordinary bodies.
    static bool mayRepeat(const char* text, size_t length);
};

#endif
