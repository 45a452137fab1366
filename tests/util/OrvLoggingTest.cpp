#include "util/OrvLogging.h"

#include <gtest/gtest.h>

// A hostile text cannot split a log line or hide where the field ends.
TEST(OrvLogging, QuotedTextStaysOnOneLine)
{
    const std::pair<QString, QString> cases[] = {
        {"", "\"\""},
        {"E4041001", "\"E4041001\""},
        {"E4\r\nforged line", "\"E4  forged line\""},
        {"\n\r", "\"  \""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(orvQuotedLogText(c.first).toStdString(), c.second.toStdString());
}
