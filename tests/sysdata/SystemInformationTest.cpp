#include "sysdata/SystemInformation.h"

#include <VxHostDbgOutput.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

// A view of a region independent of the class under test.
class RawRegion
{
public:
    explicit RawRegion(const std::string& objectName)
    {
        fd = shm_open(objectName.c_str(), O_RDWR, 0);
        struct stat info;
        if (fd >= 0 && fstat(fd, &info) == 0) {
            size = static_cast<size_t>(info.st_size);
            if (size >= sizeof(SysInfoStruct))
                bytes = static_cast<unsigned char*>(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
        }
    }
    ~RawRegion()
    {
        if (bytes != nullptr && bytes != MAP_FAILED)
            munmap(bytes, size);
        if (fd >= 0)
            close(fd);
    }
    bool valid() const { return bytes != nullptr && bytes != MAP_FAILED; }
    uint32_t word(size_t offset) const
    {
        uint32_t value;
        std::memcpy(&value, bytes + offset, sizeof(value));
        return value;
    }
    void setWord(size_t offset, uint32_t value) { std::memcpy(bytes + offset, &value, sizeof(value)); }

    int fd = -1;
    size_t size = 0;
    unsigned char* bytes = nullptr;
};

bool isTextField(size_t offset)
{
    for (size_t field : SysInfoStruct::kTextFieldOffsets)
        if (field == offset)
            return true;
    return false;
}

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
        name = "SystemInfoTest" + std::to_string(getpid());
        objectName = "/" + name;
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
    std::string name;
    std::string objectName;
    std::vector<std::string> reports;
};

namespace {

TEST_F(SystemInformationTest, FirstMappingCreatesZeroedRecordWithDefaults)
{
    const auto information = mapRegion(name);
    ASSERT_TRUE(information->isMapped());
    EXPECT_TRUE(information->isCreated());

    RawRegion raw(objectName);
    ASSERT_TRUE(raw.valid());
    EXPECT_EQ(raw.size, 720u);
    EXPECT_EQ(raw.word(0), 716u);
    for (size_t offset = 4; offset < 720; ++offset) {
        unsigned char expected = 0;
        if (isTextField(offset))
            expected = '-';
        else if (offset == SysInfoStruct::kDefaultsWrittenOffset)
            expected = 1;
        ASSERT_EQ(raw.bytes[offset], expected) << "offset " << offset;
    }
    EXPECT_TRUE(reports.empty());
}

TEST_F(SystemInformationTest, SecondMappingKeepsContents)
{
    mapRegion(name);
    {
        RawRegion raw(objectName);
        ASSERT_TRUE(raw.valid());
        raw.setWord(0, 0);
        raw.setWord(SysInfoStruct::kProductKindOffset, 7);
        raw.setWord(SysInfoStruct::kProductSelectorOffset, 12);
        raw.bytes[68] = 'x';
        raw.bytes[719] = 0x5a;
    }
    const auto second = mapRegion(name);
    ASSERT_TRUE(second->isMapped());
    EXPECT_FALSE(second->isCreated());

    RawRegion raw(objectName);
    EXPECT_EQ(raw.size, 720u);
    EXPECT_EQ(raw.word(0), 716u);
    EXPECT_EQ(raw.bytes[68], 'x');
    EXPECT_EQ(raw.bytes[100], '-');
    EXPECT_EQ(raw.bytes[719], 0x5a);
    uint32_t kind = 0;
    uint32_t selector = 0;
    EXPECT_TRUE(second->getProductKind(kind));
    EXPECT_TRUE(second->getProductSelector(selector));
    EXPECT_EQ(kind, 7u);
    EXPECT_EQ(selector, 12u);
}

TEST_F(SystemInformationTest, DefaultsWrittenOnlyWhileFlagIsClear)
{
    mapRegion(name);
    RawRegion raw(objectName);
    ASSERT_TRUE(raw.valid());
    for (size_t offset : SysInfoStruct::kTextFieldOffsets)
        raw.bytes[offset] = 'a';
    mapRegion(name);
    EXPECT_EQ(raw.bytes[424], 'a');

    raw.bytes[SysInfoStruct::kDefaultsWrittenOffset] = 0;
    mapRegion(name);
    for (size_t offset : SysInfoStruct::kTextFieldOffsets)
        EXPECT_EQ(raw.bytes[offset], '-') << offset;
    EXPECT_EQ(raw.bytes[SysInfoStruct::kDefaultsWrittenOffset], 1);
}

TEST_F(SystemInformationTest, UnusableRegionStaysUnmapped)
{
    // An existing region too short for the record.
    const int fd = shm_open(objectName.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
    ASSERT_GE(fd, 0);
    close(fd);
    {
        const auto tooShort = mapRegion(name);
        EXPECT_FALSE(tooShort->isMapped());
        uint32_t kind = 99;
        EXPECT_FALSE(tooShort->getProductKind(kind));
        EXPECT_EQ(kind, 99u);
    }
    {
        const auto badName = mapRegion("bad/name");
        EXPECT_FALSE(badName->isMapped());
        uint32_t selector = 0;
        EXPECT_FALSE(badName->getProductSelector(selector));
    }
    EXPECT_EQ(reports, (std::vector<std::string>{"mmap error\n", "shm_open error\n"}));
}

TEST_F(SystemInformationTest, ReadWithoutTheLockReadsNothing)
{
    const auto information = mapRegion(name);
    ASSERT_TRUE(information->isMapped());
    RawRegion(objectName).setWord(SysInfoStruct::kProductKindOffset, 7);
    // The named lock excludes its own holder too, so this read cannot take it.
    ASSERT_EQ(information->Lock(), 0);
    uint32_t kind = 99;
    EXPECT_FALSE(information->getProductKind(kind));
    EXPECT_EQ(kind, 99u);
    EXPECT_EQ(information->Unlock(), 0) << "the failed read released a lock it did not take";
    EXPECT_TRUE(information->getProductKind(kind));
    EXPECT_EQ(kind, 7u);
}

TEST_F(SystemInformationTest, RegionWhoseLockCannotBeTakenIsNotMapped)
{
    const std::string lockDirectory = std::getenv("VX_LOCK_DIR");
    // A regular file where the lock directory should be.
    const std::string blocked = lockDirectory + "/not-a-directory";
    close(open(blocked.c_str(), O_WRONLY | O_CREAT, 0600));
    setenv("VX_LOCK_DIR", (blocked + "/locks").c_str(), 1);
    {
        const auto information = mapRegion(name);
        EXPECT_FALSE(information->isMapped());
        uint32_t kind = 99;
        EXPECT_FALSE(information->getProductKind(kind));
        EXPECT_EQ(kind, 99u);
    }
    setenv("VX_LOCK_DIR", lockDirectory.c_str(), 1);
    unlink(blocked.c_str());
    EXPECT_FALSE(RawRegion(objectName).valid()) << "the region was created without its lock";
}

TEST(SystemInfoRegionTest, RealRegionIsUsable)
{
    SystemInformation information;
    ASSERT_TRUE(information.isMapped());
    RawRegion raw("/SystemInfo");
    ASSERT_TRUE(raw.valid());
    EXPECT_EQ(raw.word(0), 716u);
    EXPECT_EQ(raw.bytes[SysInfoStruct::kDefaultsWrittenOffset], 1);
}

} // namespace
