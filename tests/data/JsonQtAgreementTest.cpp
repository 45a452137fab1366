// The readers take members straight from the text Qt accepted; each value
// must come out as Qt's own conversion of the same member would give it.
#include "RecordVisitors.h"

#include "data/OrvJsonReader.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <string>

using namespace OrvKitDat;

namespace {

QJsonObject qtObject(const std::string& json)
{
    return QJsonDocument::fromJson(QByteArray::fromStdString(json)).object();
}

} // namespace

TEST(JsonQtAgreement, NumbersConvertAsQtConvertsThem)
{
    const char* numbers[] = {
        "0", "-0", "-0.0", "1", "-1", ".5", "-.5", "1.", "1.5", "2.5", "-2.5", "1e3", "1E+2", "2e-3",
        "2147483647", "2147483648", "-2147483648", "-2147483649", "4294967295", "4294967296",
        "9223372036854775807", "9223372036854775808", "1e300", "-1e300", "123456789012345678901234567890",
        "0.000000000000000000001", "3.999999999999999999999",
    };
    for (const char* number : numbers) {
        const std::string json = std::string(R"({"access_token":"t","refresh_token":"r","expires_in":)") + number +
                                 R"(,"expiration_date":)" + number + R"(,"role":"tlv"})";
        const QJsonObject qt = qtObject(json);
        if (qt.isEmpty())
            continue; // a literal Qt refuses is no case here
        AuthResponse auth;
        ASSERT_TRUE(auth.fromJson(bytesOf(json))) << json;
        EXPECT_EQ(auth.expiresIn, static_cast<uint32_t>(qt["expires_in"].toInt())) << number;
        EXPECT_EQ(auth.expirationDate, OrvJsonReader::toTimestamp(qt["expiration_date"].toDouble())) << number;
    }
}

TEST(JsonQtAgreement, TextsDecodeAsQtDecodesThem)
{
    const char* texts[] = {
        R"("plain")", R"("")", R"("\"\\\/\b\f\n\r\t")", R"("\u0041\u00e9\u3042")", R"("\ud83d\ude97")",
        R"("\ud83d")", R"("\ude97x")", R"("a\u0000b")", "\"\xe6\xb5\x85\xe8\x8d\x89\"", R"("\uFEFF")",
    };
    for (const char* text : texts) {
        const std::string json = std::string(R"({"access_token":)") + text +
                                 R"(,"refresh_token":"r","expires_in":1,"expiration_date":2,"role":"tlv"})";
        const QJsonObject qt = qtObject(json);
        ASSERT_FALSE(qt.isEmpty()) << json;
        AuthResponse auth;
        ASSERT_TRUE(auth.fromJson(bytesOf(json))) << json;
        EXPECT_EQ(auth.accessToken, OrvJsonReader::toUtf8(qt["access_token"].toString())) << text;
    }
}

TEST(JsonQtAgreement, EscapedKeysAndALeadingByteOrderMark)
{
    const std::string escapedKey = R"({"\u0061ccess_token":"k","refresh_token":"r","role":"tlv"})";
    AuthResponse auth;
    const bool qtParses = !qtObject(escapedKey).isEmpty();
    ASSERT_EQ(auth.fromJson(bytesOf(escapedKey)), qtParses);
    EXPECT_EQ(auth.accessToken, OrvJsonReader::toUtf8(qtObject(escapedKey)["access_token"].toString()));

    const std::string withBom = "\xef\xbb\xbf" R"({"access_token":"b","role":"tlv"})";
    AuthResponse fromBom;
    const QJsonObject qt = qtObject(withBom);
    EXPECT_EQ(fromBom.fromJson(bytesOf(withBom)), !qt.isEmpty());
    EXPECT_EQ(fromBom.accessToken, OrvJsonReader::toUtf8(qt["access_token"].toString()));
}
