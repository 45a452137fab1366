// Every record's fromJson against the plain reference decoder on bodies
// spelled as loosely as Qt accepts them, and then cut or overwritten.
#include "JsonReference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
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
        std::string out = "\"";
        if (chance(3))
            out += bom();
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
        std::string out = "\"";
        if (chance(15))
            out += bom();
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

    std::string number(uint32_t value)
    {
        const std::string digits = std::to_string(value);
        const std::string forms[] = {"-" + digits, digits + ".5", digits + "e0", "4294967296", "\"" + digits + "\"",
                                     "true", "-2147483649", "1e10"};
        return chance(70) ? digits : forms[pick(8)];
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
    std::string scalar() { return chance(50) ? text("earlier") : number(static_cast<uint32_t>(pick(1000))); }
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

    void text(const char* k, std::string& m) { add(k, s.chance(5) ? s.wrongValue() : s.text(m)); }
    void number(const char* k, uint32_t& m) { add(k, s.number(m)); }
    void real(const char* k, double& m) { add(k, s.real(m)); }
    void flag(const char*, bool&) {}
    template <class E> void list(const char* k, std::vector<E>& items)
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
    void textList(const char* k, const char* elementKey, std::vector<std::string>& items)
    {
        std::vector<std::string> elements;
        for (const std::string& item : items)
            elements.push_back(s.chance(5) ? s.wrongValue() : "{" + s.key(elementKey) + ":" + s.text(item) + "}");
        add(k, s.array(elements));
    }
    template <class F> void nested(const char* k, F f)
    {
        std::vector<std::pair<std::string, std::string>> outer;
        outer.swap(members);
        f();
        const std::string inner = object();
        members.swap(outer);
        add(k, inner);
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
            out.emplace(out.begin(), s.key(members[s.pick(members.size())].first), s.scalar());
        std::string text = "{" + s.space();
        for (size_t i = 0; i < out.size(); ++i)
            text += (i ? "," + s.space() : "") + out[i].first + s.space() + ":" + s.space() + out[i].second + s.space();
        return text + "}";
    }

    std::string body() { return topArray.empty() ? object() : topArray; }

private:
    void add(const char* k, const std::string& value) { members.emplace_back(k, value); }

    Spelling& s;
    std::vector<std::pair<std::string, std::string>> members;
    std::string topArray;
};

std::vector<uint8_t> damaged(std::string body, Spelling& s)
{
    static const char bytes[] = {'"', '\\', '{', '}', '[', ']', ',', ':', ' ', '0', 'x', '\xFF', '\xEF', '\0'};
    if (s.chance(15))
        body.resize(s.pick(body.size() + 1));
    if (s.chance(15))
        for (size_t n = 1 + s.pick(3); n > 0 && !body.empty(); --n)
            body[s.pick(body.size())] = bytes[s.pick(sizeof bytes)];
    return std::vector<uint8_t>(body.begin(), body.end());
}

} // namespace

template <class R>
class RecordDifferentialTest : public ::testing::Test
{
};

using ResponseRecords = ::testing::Types<ErrorResponse, AuthResponse, SummaryResponse, CertificateResponse,
                                         BookmarksSpotsResponse, BookmarksSpotDetailResponse,
                                         BookmarksFoldersResponse, BookmarksDestsResponse, PlansSummaryResponse,
                                         PlansResponse, GenresResponse>;
TYPED_TEST_SUITE(RecordDifferentialTest, ResponseRecords);

TYPED_TEST(RecordDifferentialTest, GeneratedBodiesDecodeAsTheReferenceDecodesThem)
{
    Spelling spelling(2024);
    const TypeParam before = filledRecord<TypeParam>(7000, 1);
    size_t compared = 0;
    size_t decoded = 0;
    for (unsigned round = 0; round < 1200; ++round) {
        TypeParam source = filledRecord<TypeParam>(round, 1 + round % 3);
        BodyWriter writer(spelling);
        RecordSchema::describe(writer, source);
        const std::vector<uint8_t> body = damaged(writer.body(), spelling);
        const JsonReference::Comparison result = JsonReference::compare(body, before);
        ASSERT_EQ(result.difference, "") << std::string(body.begin(), body.end());
        compared += result.compared;
        decoded += result.compared && result.decoded;
    }
    // Most bodies are compared (the others are not JSON), and most of those decode.
    EXPECT_GT(compared, 700u);
    EXPECT_GT(decoded, compared / 2) << compared;
}

TEST(RecordDifferential, ByteOrderMarksInTextsAreKeptWhereQtKeepsThem)
{
    const struct {
        const char* json;
        const char* memo;
    } cases[] = {
        {"{\"memo\":\"\xEF\xBB\xBFnote\"}", "note"},
        {"{\"memo\":\"\\n\xEF\xBB\xBFnote\"}", "\n\xEF\xBB\xBFnote"},
        {"{\"memo\":\"\\ufeffnote\"}", "\xEF\xBB\xBFnote"},
        {"{\"memo\":\"no\xEF\xBB\xBFte\"}", "no\xEF\xBB\xBFte"},
    };
    for (const auto& c : cases) {
        const std::vector<uint8_t> body = bytesOf(c.json);
        BookmarksSpotDetailResponse spot;
        ASSERT_TRUE(spot.fromJson(body)) << c.json;
        EXPECT_EQ(spot.memo, c.memo) << c.json;
        EXPECT_EQ(JsonReference::compare(body, BookmarksSpotDetailResponse()).difference, "") << c.json;
    }
}
