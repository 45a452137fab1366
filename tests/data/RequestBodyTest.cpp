#include <OrvKitDat.h>

#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

using namespace OrvKitDat;

namespace {

std::string bodyOf(const CarPositions& position)
{
    std::vector<uint8_t> out = {'j', 'u', 'n', 'k'};
    EXPECT_TRUE(position.makeJson(out));
    return std::string(out.begin(), out.end());
}

const CarPositions kFilledPosition = {"07", "NX-1", "D0001", "gps", 139.7, -35.123456789012345,
                                      "2024-05-01T09:00:00+09:00", 359, 4294967295u, -3.5, 12.34, 2, true};

const char kDefaultPositionBody[] =
    R"({"state":{"reported":{"maker": "06","model": "","deviceNo": "","type": "","positions": [{"lon": 0.000000000000,)"
    R"("lat": 0.000000000000,"measuredAt": "","direction": 0,"speed": 0,"elevation": 0.00,"accuracy": 0.0,)"
    R"("roadType": 0,"accOff": false}]}}})";

const char kFilledPositionBody[] =
    R"({"state":{"reported":{"maker": "07","model": "NX-1","deviceNo": "D0001","type": "gps","positions": [{)"
    R"("lon": 139.700000000000,"lat": -35.123456789012,"measuredAt": "2024-05-01T09:00:00+09:00",)"
    R"("direction": 359,"speed": 4294967295,"elevation": -3.50,"accuracy": 12.3,"roadType": 2,"accOff": true}]}}})";

} // namespace

TEST(RequestBody, CarPositionsBodies)
{
    EXPECT_EQ(bodyOf(CarPositions()), kDefaultPositionBody);
    EXPECT_EQ(bodyOf(kFilledPosition), kFilledPositionBody);
}

// Texts go in unescaped, empty ones too, and the output replaces what out held.
TEST(RequestBody, CertificateRequestBodies)
{
    const struct { CertificateRequest request; const char* body; } cases[] = {
        {{"", ""}, "{\"model\": \"\",\"deviceNo\": \"\"}"},
        {{"a\"b\\c", "D0001"}, "{\"model\": \"a\"b\\c\",\"deviceNo\": \"D0001\"}"},
    };
    for (const auto& c : cases) {
        std::vector<uint8_t> out = {1, 2, 3};
        EXPECT_TRUE(c.request.makeJson(out));
        EXPECT_EQ(std::string(out.begin(), out.end()), c.body);
    }
}

// The process-wide numeric locale switched to one with a decimal comma,
// built for the test so that the machine needs none installed.
class CommaLocale
{
public:
    CommaLocale()
    {
        QFile source(dir.filePath("comma.src"));
        if (!dir.isValid() || !source.open(QIODevice::WriteOnly))
            return;
        source.write("comment_char %\nescape_char /\nLC_NUMERIC\ndecimal_point \",\"\n"
                     "thousands_sep \".\"\ngrouping 3;3\nEND LC_NUMERIC\n");
        source.close();
        QProcess::execute("localedef",
                          {"-c", "--quiet", "-i", source.fileName(), "-f", "ANSI_X3.4-1968", dir.filePath("comma")});
        previous = std::setlocale(LC_NUMERIC, nullptr);
        setenv("LOCPATH", dir.path().toLocal8Bit().constData(), 1);
        active = std::setlocale(LC_NUMERIC, "comma") != nullptr;
        unsetenv("LOCPATH");
    }
    ~CommaLocale()
    {
        if (active)
            std::setlocale(LC_NUMERIC, previous.c_str());
    }

    QTemporaryDir dir;
    std::string previous;
    bool active = false;
};

TEST(RequestBody, DecimalPointIgnoresTheNumericLocale)
{
    CommaLocale comma;
    if (!comma.active)
        GTEST_SKIP() << "localedef could not build a test locale";
    char before[8];
    std::snprintf(before, sizeof before, "%.1f", 1.5);
    const std::string body = bodyOf(kFilledPosition);
    char after[8];
    std::snprintf(after, sizeof after, "%.1f", 2.5);

    ASSERT_STREQ(before, "1,5") << "the test locale is not in effect";
    EXPECT_EQ(body, kFilledPositionBody);
    EXPECT_STREQ(after, "2,5") << "the caller's locale was not restored";
}
