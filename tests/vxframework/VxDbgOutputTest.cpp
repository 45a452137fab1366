#include <VxCallStack.h>
#include <VxDbgOutput.h>
#include <VxHostDbgOutput.h>

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

namespace {

class VxDbgOutputTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        VxHostDbgOutput::setQuiet(true);
        VxHostDbgOutput::setSink([this](const std::string& text) {
            std::lock_guard<std::mutex> lock(mutex);
            received.push_back(text);
        });
    }
    void TearDown() override
    {
        VxHostDbgOutput::setSink(VxHostDbgOutput::Sink());
        VxHostDbgOutput::setQuiet(false);
    }
    std::mutex mutex;
    std::vector<std::string> received;
};

TEST_F(VxDbgOutputTest, SinkReceivesFormattedText)
{
    VxDbgOutput::DbgPrint("file.cpp", "function", 12, 1, "value %d [%s]\n", 7, "x");
    VxDbgOutput::DbgPrint("plain %s", "text");
    VxDbgOutput::DbgPrintStdErr("file.cpp", "function", 13, "shm_open error\n");
    VxDbgOutput::DbgPrint(nullptr, nullptr, 0, 0, "%s", std::string(3000, 'y').c_str());
    ASSERT_EQ(received.size(), 4u);
    EXPECT_EQ(received[0], "value 7 [x]\n");
    EXPECT_EQ(received[1], "plain text");
    EXPECT_EQ(received[2], "shm_open error\n");
    EXPECT_EQ(received[3], std::string(3000, 'y'));
}

TEST_F(VxDbgOutputTest, RemovedSinkReceivesNothing)
{
    VxHostDbgOutput::setSink(VxHostDbgOutput::Sink());
    VxDbgOutput::DbgPrint("gone\n");
    VxCallStack::dumpDirectly(-1);
    EXPECT_TRUE(received.empty());
}

TEST(VxDbgOutputStdErrTest, LinesCarryLocationPrefix)
{
    testing::internal::CaptureStderr();
    VxDbgOutput::DbgPrintStdErr("VxSharedMemory.h", "VxSharedMemory", 42, "mmap error\n");
    VxDbgOutput::DbgPrint("bare\n");
    VxCallStack::dumpDirectly(2);
    const std::string output = testing::internal::GetCapturedStderr();
    EXPECT_EQ(output.rfind("VxSharedMemory.h:42 VxSharedMemory: mmap error\nbare\n", 0), 0u) << output;
    EXPECT_GT(output.size(), std::string("VxSharedMemory.h:42 VxSharedMemory: mmap error\nbare\n").size());
}

} // namespace
