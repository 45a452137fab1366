// The two result mappers on their own for the network failures, written out
// as the application receives them; statuses and server codes are checked
// end to end in OrvServerServiceTest.
#include "service/OrvResultMappers.h"

#include <gtest/gtest.h>

namespace {

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

} // namespace
