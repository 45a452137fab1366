#include "util/OrvHttpUtils.h"

#include <sstream>

namespace {

void appendText(std::string& out, const std::string& text)
{
    out.append(text);
}

void appendText(std::vector<unsigned char>& out, const std::string& text)
{
    out.insert(out.end(), text.begin(), text.end());
}

void appendBytes(std::string& out, const std::vector<unsigned char>& bytes)
{
    out.append(bytes.begin(), bytes.end());
}

void appendBytes(std::vector<unsigned char>& out, const std::vector<unsigned char>& bytes)
{
    out.insert(out.end(), bytes.begin(), bytes.end());
}

template <typename Out>
void appendFormKey(Out& out, const std::string& key, bool isFirst)
{
    if (!isFirst) {
        appendText(out, "&");
    }
    appendText(out, key);
    appendText(out, "=");
}

template <typename Out>
void appendJsonField(Out& out, const std::string& key, const std::string& value, bool isFirst, bool isLast)
{
    if (isFirst) {
        appendText(out, "{\n");
    }
    appendText(out, "\"");
    appendText(out, key);
    appendText(out, "\": \"");
    appendText(out, value);
    appendText(out, "\"");
    appendText(out, isLast ? "\n}\n" : ",\n");
}

void split(const std::string& text, char delimiter, bool dropCarriageReturn, std::vector<std::string>& out)
{
    std::istringstream stream(text);
    std::string item;
    while (std::getline(stream, item, delimiter)) {
        if (dropCarriageReturn && !item.empty() && item.back() == '\r') {
            item.pop_back();
        }
        out.push_back(item);
    }
}

} // namespace

void OrvHttpUtils::appendTextParameter(std::string& out, const std::string& key, const std::string& value,
                                       bool isFirst)
{
    appendFormKey(out, key, isFirst);
    appendText(out, value);
}

void OrvHttpUtils::appendTextParameter(std::vector<unsigned char>& out, const std::string& key,
                                       const std::string& value, bool isFirst)
{
    appendFormKey(out, key, isFirst);
    appendText(out, value);
}

void OrvHttpUtils::appendTextParameter(std::string& out, const std::string& key, const std::string& value,
                                       bool isFirst, bool isLast)
{
    appendJsonField(out, key, value, isFirst, isLast);
}

void OrvHttpUtils::appendTextParameter(std::vector<unsigned char>& out, const std::string& key,
                                       const std::string& value, bool isFirst, bool isLast)
{
    appendJsonField(out, key, value, isFirst, isLast);
}

void OrvHttpUtils::appendBinaryParameter(std::string& out, const std::string& key,
                                         const std::vector<unsigned char>& value, bool isFirst)
{
    appendFormKey(out, key, isFirst);
    appendBytes(out, value);
}

void OrvHttpUtils::appendBinaryParameter(std::vector<unsigned char>& out, const std::string& key,
                                         const std::vector<unsigned char>& value, bool isFirst)
{
    appendFormKey(out, key, isFirst);
    appendBytes(out, value);
}

void OrvHttpUtils::splitString(const std::string& text, std::vector<std::string>& lines)
{
    split(text, '\n', true, lines);
}

void OrvHttpUtils::splitString(const std::string& text, char delimiter, std::vector<std::string>& fields)
{
    split(text, delimiter, false, fields);
}

QString OrvHttpUtils::fromAscii(const std::string& bytes)
{
    return QString::fromLatin1(bytes.data(), static_cast<int>(bytes.size()));
}

QString OrvHttpUtils::fromAsciiToFirstZero(const std::string& bytes)
{
    return QString::fromLatin1(bytes.c_str());
}
