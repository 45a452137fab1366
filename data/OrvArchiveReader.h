#ifndef ORV_ARCHIVE_READER_H
#define ORV_ARCHIVE_READER_H

#include <VxSerialization.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

// Reads record members back in the order OrvArchiveWriter wrote them, with
// nothing but the archive's typed reads. A list count comes from outside and
// is not trusted: memory is reserved only a few elements ahead, and once a
// read reports that nothing was read, every list ends, keeping only the
// elements that were read whole. The other members keep what the failed
// reads left in them.
class OrvArchiveReader
{
public:
    explicit OrvArchiveReader(VxSerialization::Archive& archive) : archive(archive) {}

    // Reads record through its field list. Always true: when memory runs
    // out, the members read before keep their new values, a list being read
    // keeps the elements read whole, and the rest keep what they held.
    template <class Record, class Fields>
    static bool read(VxSerialization::Archive& archive, Record& record, Fields fields)
    {
        try {
            OrvArchiveReader reader(archive);
            fields(reader, record);
        } catch (...) {
        }
        return true;
    }

    void text(const char*, std::string& member) { check(archive.read(member)); }
    void number(const char*, uint32_t& member) { check(archive.read(member)); }
    void timestamp(const char*, uint32_t& member) { check(archive.read(member)); }
    void real(const char*, double& member) { check(archive.read(member)); }
    void flag(const char*, bool& member) { check(archive.read(member)); }

    template <class Element, class Fields>
    void list(const char*, std::vector<Element>& items, Fields fields)
    {
        readList(items, [this, &fields](Element& element) { fields(*this, element); });
    }

    void textList(const char*, std::vector<std::string>& items)
    {
        readList(items, [this](std::string& element) { text(nullptr, element); });
    }

private:
    static constexpr uint32_t kReserveAhead = 16;

    void check(int result) { exhausted = exhausted || result != 0; }

    template <class Element, class ReadOne>
    void readList(std::vector<Element>& items, ReadOne readOne)
    {
        items.clear();
        uint32_t count = 0;
        number(nullptr, count);
        items.reserve(std::min(count, kReserveAhead));
        for (uint32_t i = 0; i < count && !exhausted; ++i) {
            items.emplace_back();
            readOne(items.back());
            if (exhausted)
                items.pop_back();
        }
    }

    VxSerialization::Archive& archive;
    bool exhausted = false;
};

#endif
