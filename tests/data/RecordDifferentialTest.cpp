// Every response record's fromJson against the plain reference decoder on
// bodies spelled as loosely as Qt accepts them, of the wrong shape, cut,
// overwritten, or followed by a zero byte and garbage; and its copyFrom.
#include "JsonReference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using namespace OrvKitDat;

namespace {

class Spelling
{
public:
    explicit Spelling(unsigned seed) : random(seed) {}

    bool chance(size_t percent) { return pick(100) < percent; }
    size_t pick(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(random); }

    std::string unit(unsigned value) const
    {
        char escape[8];
        std::snprintf(escape, sizeof escape, value % 2 ? "\\u%04x" : "\\u%04X", value);
        return escape;
    }
    std::string bom() { return chance(50) ? "\xEF\xBB\xBF" : "\\ufeff"; }

    // Plain, partly \u-escaped, or partly escaped as \c, which Qt reads as c.
    std::string key(const std::string& name)
    {
        std::string out = "\"" + (chance(3) ? bom() : "");
        const size_t style = pick(4);
        for (const char c : name) {
            if (style == 2 && chance(40))
                out += unit(static_cast<unsigned char>(c));
            else if (style == 3 && chance(40) && std::string("bfnrtu").find(c) == std::string::npos)
                out += std::string("\\") + c;
            else
                out += c;
        }
        return out + "\"";
    }

    // U+FEFF at the start, after an escape or alone, surrogate pairs escaped
    // or not, a lone surrogate, and ASCII escaped now and then.
    std::string text(const std::string& value)
    {
        static const char* const inserts[] = {"\\ud83d\\ude97", "\xF0\x9F\x9A\x97", "\\ud800", "\\/", "\xEF\xBB\xBF"};
        std::string out = "\"" + (chance(15) ? bom() : "");
        for (const char c : value) {
            const unsigned char byte = static_cast<unsigned char>(c);
            if (c == '"' || c == '\\')
                out += std::string("\\") + c;
            else if (byte < 0x20 || (byte < 0x80 && chance(5)))
                out += unit(byte);
            else
                out += c;
            if (byte < 0x80 && chance(4))
                out += chance(50) ? "\\n" + bom() : inserts[pick(5)];
        }
        return out + "\"";
    }

    // Out of int range, fractions, booleans, and the edges of a time stamp.
    std::string number(uint32_t value)
    {
        const std::string digits = std::to_string(value);
        const std::string forms[] = {"-" + digits, digits + ".5", digits + "e0", "4294967296", "\"" + digits + "\"",
                                     "true", "-2147483649", "1e10", "4294967294", "4294967294.5"};
        return chance(70) ? digits : forms[pick(10)];
    }
    std::string real(double value)
    {
        char digits[40];
        std::snprintf(digits, sizeof digits, "%.17g", value);
        const std::string forms[] = {"-0", "1E-3", "\"1.5\"", "12", "-1e308", "null"};
        return chance(75) ? digits : forms[pick(6)];
    }
    std::string wrongValue()
    {
        static const char* const values[] = {"{}", "[]", "[1,{\"id\":\"x\"}]", "{\"id\":\"y\",\"lon\":2}", "true",
                                             "null", "\"s\"", "12", "-3.5"};
        return values[pick(9)];
    }
    std::string space()
    {
        static const char* const spaces[] = {" ", "\n", "\t", "\r\n  "};
        return chance(70) ? "" : spaces[pick(4)];
    }

    std::string array(const std::vector<std::string>& elements)
    {
        std::string out = "[" + space();
        for (size_t i = 0; i < elements.size(); ++i)
            out += (i ? "," + space() : "") + elements[i] + space();
        return out + "]";
    }

    std::mt19937 random;
};

// Writes the body a record would be decoded from, through RecordSchema.
class BodyWriter
{
public:
    explicit BodyWriter(Spelling& s) : s(s) {}

    void operator()(const char* k, std::string& m) { add(k, s.chance(5) ? s.wrongValue() : s.text(m)); }
    void operator()(const char* k, uint32_t& m) { add(k, s.number(m)); }
    void operator()(const char* k, double& m) { add(k, s.real(m)); }
    template <class E> void operator()(const char* k, std::vector<E>& items)
    {
        std::vector<std::string> elements;
        for (E& item : items) {
            BodyWriter element(s);
            RecordSchema::describe(element, item);
            elements.push_back(s.chance(5) ? s.wrongValue() : element.object());
        }
        if (k == nullptr)
            topArray = s.array(elements);
        else
            add(k, s.chance(5) ? s.wrongValue() : s.array(elements));
    }
    template <class F> void operator()(const char* k, const RecordSchema::Nested<F>& n)
    {
        std::vector<std::pair<std::string, std::string>> outer;
        outer.swap(members);
        n.members();
        const std::string inner = object();
        members.swap(outer);
        add(k, s.chance(5) ? s.wrongValue() : inner);
    }

    // Members in any order, now and then one missing or an unknown one more;
    // a small object may repeat a key ahead of the member it repeats.
    std::string object()
    {
        std::vector<std::pair<std::string, std::string>> out;
        for (const auto& member : members)
            if (!s.chance(5))
                out.emplace_back(s.key(member.first), member.second);
        if (s.chance(20))
            out.emplace_back(s.key("unknown"), s.wrongValue());
        std::shuffle(out.begin(), out.end(), s.random);
        if (!members.empty() && out.size() < 12 && s.chance(30))
            out.emplace(out.begin(), s.key(members[s.pick(members.size())].first),
                        s.chance(50) ? s.text("earlier") : "7");
        std::string text = "{" + s.space();
        for (size_t i = 0; i < out.size(); ++i)
            text += (i ? "," + s.space() : "") + out[i].first + s.space() + ":" + s.space() + out[i].second + s.space();
        return text + "}";
    }

    // Now and then a body of the wrong shape, or cut, overwritten, or
    // followed by a zero byte and garbage.
    std::vector<uint8_t> body()
    {
        static const char bytes[] = {'"', '\\', '{', '}', '[', ']', ',', ':', ' ', '0', 'x', '\xFF', '\xEF', '\0'};
        std::string out = s.chance(3) ? s.wrongValue() : topArray.empty() ? object() : topArray;
        if (s.chance(15))
            out.resize(s.pick(out.size() + 1));
        if (s.chance(15))
            for (size_t n = 1 + s.pick(3); n > 0 && !out.empty(); --n)
                out[s.pick(out.size())] = bytes[s.pick(sizeof bytes)];
        if (s.chance(5))
            out += std::string("\0{\"garbage", 10);
        return bytesOf(out);
    }

private:
    void add(const char* k, const std::string& value) { members.emplace_back(k, value); }

    Spelling& s;
    std::vector<std::pair<std::string, std::string>> members;
    std::string topArray;
};

} // namespace

template <class R> class ResponseRecordTest : public ::testing::Test {};

using ResponseRecords = ::testing::Types<ErrorResponse, AuthResponse, SummaryResponse, CertificateResponse,
                                         BookmarksSpotsResponse, BookmarksSpotDetailResponse,
                                         BookmarksFoldersResponse, BookmarksDestsResponse, PlansSummaryResponse,
                                         PlansResponse, GenresResponse>;
TYPED_TEST_SUITE(ResponseRecordTest, ResponseRecords);

TYPED_TEST(ResponseRecordTest, GeneratedBodiesDecodeAsTheReferenceDecodesThem)
{
    Spelling spelling(2024);
    const TypeParam before = filledRecord<TypeParam>(7000, 1);
    size_t compared = 0;
    size_t decoded = 0;
    for (unsigned round = 0; round < 1200; ++round) {
        TypeParam source = filledRecord<TypeParam>(round, 1 + round % 3);
        BodyWriter writer(spelling);
        RecordSchema::describe(writer, source);
        const std::vector<uint8_t> body = writer.body();
        const JsonReference::Comparison result = JsonReference::compare(body, before);
        ASSERT_EQ(result.difference, "") << std::string(body.begin(), body.end());
        compared += result.compared;
        decoded += result.compared && result.decoded;
    }
    // Most bodies are compared (the others are not JSON), and most of those decode.
    EXPECT_GT(compared, 700u);
    EXPECT_GT(decoded, compared / 2) << compared;
}

TYPED_TEST(ResponseRecordTest, CopyFromTakesOnlyItsOwnClass)
{
    const TypeParam source = filledRecord<TypeParam>(1, 2);
    const TypeParam before = filledRecord<TypeParam>(500, 3);
    using Other = typename std::conditional<std::is_same<TypeParam, ErrorResponse>::value, AuthResponse,
                                            ErrorResponse>::type;
    const Other other;
    TypeParam target = before;
    EXPECT_FALSE(target.copyFrom(nullptr));
    EXPECT_FALSE(target.copyFrom(&other));
    EXPECT_EQ(dumpRecord(target), dumpRecord(before));

    const ResponseBase* base = &source;
    EXPECT_TRUE(target.copyFrom(base));
    EXPECT_EQ(dumpRecord(target), dumpRecord(source));
    EXPECT_TRUE(target.copyFrom(&target));
    EXPECT_EQ(dumpRecord(target), dumpRecord(source));

    ResponseBase root;
    EXPECT_FALSE(root.copyFrom(&source));
}

// expiration_date at the edges of its conversion, written out.
TEST(AuthResponseExpiration, EdgesOfTheConversion)
{
    const std::pair<std::string, uint32_t> cases[] = {
        {"-1", 0},           {"-0.5", 0},          {"0", 0},          {"12.9", 12},         {"4294967294", 4294967294u},
        {"4294967294.5", 4294967295u}, {"1e10", 4294967295u}, {"\"7\"", 0}, {"null", 0},
    };
    for (const auto& c : cases) {
        const std::string body = "{\"expiration_date\": " + c.first + "}";
        AuthResponse record;
        record.expirationDate = 99;
        EXPECT_TRUE(record.fromJson(std::vector<uint8_t>(body.begin(), body.end()))) << c.first;
        EXPECT_EQ(record.expirationDate, c.second) << c.first;
    }
}
