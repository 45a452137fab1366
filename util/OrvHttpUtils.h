#ifndef ORV_HTTP_UTILS_H
#define ORV_HTTP_UTILS_H

#include <QString>

#include <string>
#include <vector>

// Appends request fields to form or flat-JSON bodies and splits text into
// lines or fields. Nothing is escaped: callers pass text that is already
// safe for the target format. Also the one conversion of request bytes
// (URL, query and form fields) into Qt text.
class OrvHttpUtils
{
public:
    // Form: "&" unless isFirst, then key=value.
    static void appendTextParameter(std::string& out, const std::string& key, const std::string& value,
                                    bool isFirst);
    static void appendTextParameter(std::vector<unsigned char>& out, const std::string& key,
                                    const std::string& value, bool isFirst);

    // JSON: "{\n" when isFirst, then "key": "value", then ",\n" or "\n}\n" when isLast.
    static void appendTextParameter(std::string& out, const std::string& key, const std::string& value,
                                    bool isFirst, bool isLast);
    static void appendTextParameter(std::vector<unsigned char>& out, const std::string& key,
                                    const std::string& value, bool isFirst, bool isLast);

    // Form with the value's bytes unchanged.
    static void appendBinaryParameter(std::string& out, const std::string& key,
                                      const std::vector<unsigned char>& value, bool isFirst);
    static void appendBinaryParameter(std::vector<unsigned char>& out, const std::string& key,
                                      const std::vector<unsigned char>& value, bool isFirst);

    // Appends the lines of text (a trailing "\r" is dropped from each line).
    static void splitString(const std::string& text, std::vector<std::string>& lines);
    // Appends the fields of text separated by delimiter.
    static void splitString(const std::string& text, char delimiter, std::vector<std::string>& fields);

    // Qt 5's from-ASCII, that is Latin-1: one character per byte, so every
    // byte survives percent-encoding and one identity is written the same
    // way in a path, a query and a form body. Zero bytes are kept.
    static QString fromAscii(const std::string& bytes);
    // The same, cut at the first zero byte (C-string semantics).
    static QString fromAsciiToFirstZero(const std::string& bytes);

private:
    OrvHttpUtils() = delete;
};

#endif
