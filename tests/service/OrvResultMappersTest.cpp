// The two result mappers on their own: network failures, the statuses and
// the server's error codes, written out as the application receives them.
#include "service/OrvResultMappers.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Bytes = std::vector<uint8_t>;

Bytes errorBody(const std::string& code)
{
    const std::string text = "{\"error\":{\"code\":\"" + code + "\",\"message\":\"m\"}}";
    return Bytes(text.begin(), text.end());
}

TEST(OrvResultMappers, NetworkFailuresInBothMappers)
{
    // error, status, context, device endpoint, code
    const struct { unsigned int error, status, context; bool device; uint8_t code; } cases[] = {
        {1, 0, 1, false, 176}, {7, 0, 2, false, 177}, {99, 0, 2, false, 177}, {1, 0, 13, true, 0},
        {4, 0, 2, false, 177}, {5, 0, 2, false, 177}, {5, 200, 2, false, 177}, {4, 0, 1, false, 176},
        {5, 0, 1, false, 176}, {8, 0, 2, false, 178}, {8, 200, 2, false, 64}, // others go by the status
        {4, 0, 13, true, 201}, {5, 0, 12, true, 201}, {5, 429, 13, true, 198}, {2, 0, 13, true, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << "error " << c.error << " status " << c.status << " context " << c.context);
        const unsigned char code = c.device ? OrvResultMappers::deviceResultCode(c.error, c.status)
                                            : OrvResultMappers::serverResultCode(c.error, c.status, {}, c.context);
        EXPECT_EQ(code, c.code);
    }
}

TEST(OrvResultMappers, ServerStatusesAndCodes)
{
    // status, server code ("-" for an empty body), result code
    const struct { unsigned int status; const char* code; uint8_t result; } cases[] = {
        {400, "E4001001", 96}, {400, "E4001002", 97}, {400, "-", 178}, {401, "E4011001", 80},
        {401, "E4019123", 81}, {401, "E401912", 178}, {401, "I4011004", 84}, {403, "-", 112},
        {404, "E4041001", 128}, {404, "E404", 129}, {404, "E4041002", 178}, {404, "-", 178},
        {500, "E5001001", 144}, {503, "I5031001", 160}, {503, "E5001001", 178}, {418, "-", 178},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.status << " " << c.code);
        const Bytes body = std::string(c.code) == "-" ? Bytes() : errorBody(c.code);
        EXPECT_EQ(OrvResultMappers::serverResultCode(0, c.status, body, 2), c.result);
    }
}

} // namespace
