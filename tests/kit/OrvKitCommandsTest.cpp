// The public command table and its encoders, against the bytes and rows an
// application relies on.
#include <OrvKitCommands.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace OrvKitCommands;
using Bytes = std::vector<uint8_t>;

TEST(OrvKitCommands, EncodersWriteTheBlocksByteForByte)
{
    EXPECT_EQ(loginBlock(7, "M1", "D1", "id", "pw"),
              (Bytes{0x07, 'M', '1', 0, 'D', '1', 0, 'i', 'd', 0, 'p', 'w', 0}));
    EXPECT_EQ(pageBlock(1, 2, 20), (Bytes{0x00, 0x01, 0x00, 0x02, 0x00, 0x14, 0xFF, 0xFF}));
    EXPECT_EQ(pageBlock(0x1234, 0xABCD, 300, 0), (Bytes{0x12, 0x34, 0xAB, 0xCD, 0x01, 0x2C, 0x00, 0x00}));
    EXPECT_EQ(plansBlock(false), (Bytes{0xFF, 0xFF}));
    EXPECT_EQ(plansBlock(true), (Bytes{0x00, 0x01}));
    EXPECT_EQ(destinationBlock("abc"), (Bytes{'a', 'b', 'c'}));
    EXPECT_EQ(noParameters(), (Bytes{0x00}));
}

TEST(OrvKitCommands, TableRows)
{
    // code, method, path, accepted, success, failure, refused, success status, passed on
    const struct { unsigned long code; const char* method; const char* path; unsigned long accepted, success,
                   failure, refused; unsigned int status; bool passedOn; } rows[] = {
        {0x01, "POST", "/api/navi/authorization/v1/local", 0x8001, 0x8003, 0x8077, 0x8075, 200, true},
        {0x11, "GET", "/api/navi/info/v1/summary", 0x8011, 0x8013, 0x8073, 0x8071, 200, true},
        {0x21, "GET", "/api/navi/bookmarks/v1/spots", 0x8021, 0x8023, 0x8073, 0x8071, 200, true},
        {0x31, "GET", "/api/navi/bookmarks/v1/folders", 0x8031, 0x8033, 0x8073, 0x8071, 200, true},
        {0x41, "GET", "/api/navi/bookmarks/v1/destinations", 0x8041, 0x8043, 0x8073, 0x8071, 200, true},
        {0x45, "DELETE", "/api/navi/bookmarks/v1/destinations/{id}", 0x8045, 0x8047, 0x8073, 0x8071, 204, true},
        {0x51, "GET", "/api/navi/driveplans/v1/plans", 0x8051, 0x8053, 0x8073, 0x8071, 200, true},
        {0x55, "DELETE", "/api/navi/driveplans/v1/plans", 0x8055, 0x8057, 0x8073, 0x8071, 204, true},
        {0x61, "POST", "/things/{thing}/shadow", 0x8061, 0x8063, 0x8073, 0x8071, 200, true},
        {0x65, "POST", "/prod/cert", 0, 0x8065, 0x8067, 0x8071, 200, true},
        {0x81, "GET", "/api/navi/bookmarks/v1/spots/{spot}", 0x8081, 0, 0, 0x8071, 200, false},
        {0x91, "GET", "/api/navi/driveplans/v1/plans/summary", 0x8091, 0, 0, 0x8071, 200, false},
        {0x101, "GET", "/api/navi/info/v1/genres", 0x8101, 0, 0, 0x8071, 200, false},
    };
    ASSERT_EQ(kCommandCount, sizeof(rows) / sizeof(rows[0]));
    for (const auto& expected : rows) {
        SCOPED_TRACE(expected.code);
        const Command* row = findCommand(expected.code);
        ASSERT_NE(row, nullptr);
        EXPECT_EQ(findCommand(row->name), row);
        EXPECT_STREQ(methodName(row->method), expected.method);
        EXPECT_STREQ(row->path, expected.path);
        EXPECT_EQ(row->accepted, expected.accepted);
        EXPECT_EQ(row->success, expected.success);
        EXPECT_EQ(row->failure, expected.failure);
        EXPECT_EQ(row->refused, expected.refused);
        EXPECT_EQ(row->successStatus, expected.status);
        EXPECT_EQ(row->passedOn, expected.passedOn);
    }
    EXPECT_STREQ(findCommand(0x65)->testPath, "/dev/cert");
    EXPECT_EQ(findCommand(0x71), nullptr);
    EXPECT_EQ(findCommand("demo"), nullptr);
}

TEST(OrvKitCommands, ReceivedIdsNameTheirCommandAndKind)
{
    const struct { unsigned long id; unsigned long code; MessageKind kind; } cases[] = {
        {0x8001, 0x01, MessageKind::Accepted}, {0x8003, 0x01, MessageKind::Success},
        {0x8077, 0x01, MessageKind::Failure},  {0x8075, 0x01, MessageKind::Refused},
        {0x8033, 0x31, MessageKind::Success},  {0x8101, 0x101, MessageKind::Accepted},
        {0x8065, 0x65, MessageKind::Success},  {0x8067, 0x65, MessageKind::Failure},
        {0x8073, 0, MessageKind::Failure},     {0x8071, 0, MessageKind::Refused},
        {0x8000, 0, MessageKind::Unknown},     {0x8103, 0, MessageKind::Unknown},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.id);
        const MessageInfo info = lookupMessage(c.id);
        EXPECT_EQ(info.kind, c.kind);
        EXPECT_EQ(info.command == nullptr ? 0 : info.command->code, c.code);
    }
    EXPECT_TRUE(isFinal(*findCommand(0x21), 0x8073));
    EXPECT_FALSE(isFinal(*findCommand(0x21), 0x8021));
    EXPECT_FALSE(isFinal(*findCommand(0x81), 0x8073));
}

} // namespace
