#include "sysdata/SystemInformation.h"

#include <VxHostDbgOutput.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

// The region's bytes read apart from the class under test; empty when there is none.
Bytes rawRegion(const std::string& objectName)
{
    const int fd = shm_open(objectName.c_str(), O_RDONLY, 0);
    struct stat info;
    Bytes all(fd >= 0 && fstat(fd, &info) == 0 ? static_cast<size_t>(info.st_size) : 0);
    const bool read = fd >= 0 && pread(fd, all.data(), all.size(), 0) == static_cast<ssize_t>(all.size());
    if (fd >= 0)
        close(fd);
    return read ? all : Bytes();
}

void writeRaw(const std::string& objectName, size_t offset, const Bytes& bytes)
{
    const int fd = shm_open(objectName.c_str(), O_RDWR, 0);
    EXPECT_EQ(pwrite(fd, bytes.data(), bytes.size(), static_cast<off_t>(offset)), static_cast<ssize_t>(bytes.size()));
    close(fd);
}

void putWord(Bytes& bytes, size_t offset, uint32_t value) { std::memcpy(&bytes[offset], &value, sizeof(value)); }

} // namespace

class SystemInformationTest : public ::testing::Test
{
protected:
    // Maps the region of this name instead of "SystemInfo".
    static std::unique_ptr<SystemInformation> mapRegion(const std::string& regionName)
    {
        return std::unique_ptr<SystemInformation>(new SystemInformation(regionName.c_str()));
    }

    void SetUp() override
    {
        shm_unlink(objectName.c_str());
        VxHostDbgOutput::setQuiet(true);
        VxHostDbgOutput::setSink([this](const std::string& text) { reports.push_back(text); });
    }
    void TearDown() override
    {
        VxHostDbgOutput::setSink(VxHostDbgOutput::Sink());
        VxHostDbgOutput::setQuiet(false);
        shm_unlink(objectName.c_str());
    }
    const std::string name = "SystemInfoTest" + std::to_string(getpid());
    const std::string objectName = "/" + name;
    std::vector<std::string> reports;
};

namespace {

TEST_F(SystemInformationTest, CreatedOnceDefaultsWrittenOnlyWhileTheFlagIsClear)
{
    Bytes expected(720, 0);
    putWord(expected, 0, 716);
    for (size_t offset : SysInfoStruct::kTextFieldOffsets)
        expected[offset] = '-';
    expected[SysInfoStruct::kDefaultsWrittenOffset] = 1;
    const auto first = mapRegion(name);
    EXPECT_TRUE(first->isMapped());
    EXPECT_TRUE(first->isCreated());
    EXPECT_EQ(rawRegion(objectName), expected);
    EXPECT_TRUE(reports.empty());

    // A later mapping keeps the contents and sets the size word again.
    Bytes changed = expected;
    for (size_t offset : SysInfoStruct::kTextFieldOffsets)
        changed[offset] = 'a';
    putWord(changed, 0, 0);
    putWord(changed, SysInfoStruct::kProductKindOffset, 7);
    putWord(changed, SysInfoStruct::kProductSelectorOffset, 12);
    changed[719] = 0x5a;
    writeRaw(objectName, 0, changed);
    const auto second = mapRegion(name);
    EXPECT_TRUE(second->isMapped());
    EXPECT_FALSE(second->isCreated());
    putWord(changed, 0, 716);
    EXPECT_EQ(rawRegion(objectName), changed);
    uint32_t kind = 0, selector = 0;
    EXPECT_TRUE(second->getProductKind(kind));
    EXPECT_TRUE(second->getProductSelector(selector));
    EXPECT_EQ(kind, 7u);
    EXPECT_EQ(selector, 12u);
    // The named lock excludes its own holder too, so a read under it cannot take it.
    ASSERT_EQ(second->Lock(), 0);
    kind = 99;
    EXPECT_FALSE(second->getProductKind(kind));
    EXPECT_EQ(kind, 99u);
    EXPECT_EQ(second->Unlock(), 0) << "the failed read released a lock it did not take";

    writeRaw(objectName, SysInfoStruct::kDefaultsWrittenOffset, {0});
    mapRegion(name);
    for (size_t offset : SysInfoStruct::kTextFieldOffsets)
        changed[offset] = '-';
    EXPECT_EQ(rawRegion(objectName), changed) << "the defaults alone written again";
}

// A region too short for the record, a name shm_open refuses, a lock that cannot be had.
TEST_F(SystemInformationTest, UnusableRegionStaysUnmapped)
{
    close(shm_open(objectName.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600));
    const std::string lockDirectory = std::getenv("VX_LOCK_DIR");
    const std::string blocked = lockDirectory + "/not-a-directory";
    for (const std::string& region : {name, std::string("bad/name"), std::string("locked")}) {
        if (region == "locked") {
            shm_unlink(objectName.c_str());
            close(open(blocked.c_str(), O_WRONLY | O_CREAT, 0600)); // a file where the lock directory should be
            setenv("VX_LOCK_DIR", (blocked + "/locks").c_str(), 1);
        }
        const auto information = mapRegion(region == "locked" ? name : region);
        EXPECT_FALSE(information->isMapped()) << region;
        uint32_t kind = 99;
        EXPECT_FALSE(information->getProductKind(kind)) << region;
        EXPECT_FALSE(information->getProductSelector(kind)) << region;
        EXPECT_EQ(kind, 99u);
    }
    setenv("VX_LOCK_DIR", lockDirectory.c_str(), 1);
    unlink(blocked.c_str());
    EXPECT_TRUE(rawRegion(objectName).empty()) << "the region was created without its lock";
    EXPECT_EQ(reports, (std::vector<std::string>{"mmap error\n", "shm_open error\n"}));
}

TEST(SystemInfoRegionTest, RealRegionIsUsable)
{
    SystemInformation information;
    ASSERT_TRUE(information.isMapped());
    const Bytes raw = rawRegion("/SystemInfo");
    ASSERT_EQ(raw.size(), 720u);
    EXPECT_EQ(raw[SysInfoStruct::kDefaultsWrittenOffset], 1);
}

} // namespace
