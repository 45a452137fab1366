// Texts that reach the string services of the transport owner: the
// "http_proxy" variable, URLs, texts to percent-encode, EUC-JP bodies, and
// the line and field splitters.
#include "FuzzRecordList.h"

#include "service/OrvQtHandler.h"
#include "util/OrvHttpUtils.h"

#include <QByteArray>
#include <QNetworkProxy>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

bool isUpperHex(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F');
}

bool isUnreserved(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
           c == '_' || c == '~';
}

void checkProxy(const std::string& text)
{
    // The variable ends at the first zero byte, as the environment does.
    const std::string value = text.substr(0, text.find('\0'));
    QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    setenv("http_proxy", value.c_str(), 1);
    OrvQtHandler::applyProxyFromEnvironment();
    const QNetworkProxy proxy = QNetworkProxy::applicationProxy();
    if (proxy.type() != QNetworkProxy::NoProxy) {
        fuzzCheck(proxy.type() == QNetworkProxy::HttpProxy, "proxy type is HTTP");
        fuzzCheck(proxy.port() > 0, "proxy port is set");
        fuzzCheck(proxy.user().isEmpty() && proxy.password().isEmpty(), "proxy credentials are dropped");
    }
}

void checkPercentEncoding(const std::string& text)
{
    const std::string encoded = OrvQtHandler::UrlEncoding(text);
    for (size_t i = 0; i < encoded.size(); ++i) {
        if (encoded[i] == '%') {
            fuzzCheck(i + 2 < encoded.size() && isUpperHex(encoded[i + 1]) && isUpperHex(encoded[i + 2]),
                      "escape is two upper-case hex digits");
            i += 2;
        } else {
            fuzzCheck(isUnreserved(encoded[i]), "only unreserved characters stay");
        }
    }
    const QByteArray utf8 = QString::fromUtf8(text.data(), static_cast<int>(text.size())).toUtf8();
    fuzzCheck(QByteArray::fromPercentEncoding(QByteArray::fromStdString(encoded)) == utf8,
              "decoding gives the UTF-8 text back");
}

void checkEucConversion(const std::string& text)
{
    const std::vector<uint8_t> bytes(text.begin(), text.end());
    std::string fromString = "unchanged";
    std::string fromBytes = "unchanged";
    std::vector<uint8_t> intoBytes{0xEE};
    OrvQtHandler::EucToUtf8(text, fromString);
    OrvQtHandler::EucToUtf8(bytes, fromBytes);
    OrvQtHandler::EucToUtf8(bytes, intoBytes);
    fuzzCheck(fromString == fromBytes && std::string(intoBytes.begin(), intoBytes.end()) == fromBytes,
              "the three conversions agree");
    const QByteArray out = QByteArray::fromStdString(fromString);
    fuzzCheck(QString::fromUtf8(out.constData(), out.size()).toUtf8() == out, "conversion yields valid UTF-8");
}

void checkSplitting(const std::string& text)
{
    std::vector<std::string> lines{"kept"};
    OrvHttpUtils::splitString(text, lines);
    fuzzCheck(!lines.empty() && lines.front() == "kept", "lines are appended");
    for (const std::string& line : lines)
        fuzzCheck(line.find('\n') == std::string::npos, "no line holds a newline");

    const char delimiter = text.empty() ? ',' : text[0];
    std::vector<std::string> fields;
    OrvHttpUtils::splitString(text, delimiter, fields);
    size_t joined = 0;
    for (const std::string& field : fields) {
        fuzzCheck(field.find(delimiter) == std::string::npos, "no field holds the delimiter");
        joined += field.size() + 1;
    }
    fuzzCheck(joined <= text.size() + 1, "fields come from the text");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    checkProxy(text);
    (void)OrvQtHandler::isValidUrl(text);
    checkPercentEncoding(text);
    checkEucConversion(text);
    checkSplitting(text);
    return 0;
}
