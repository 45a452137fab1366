#ifndef ORV_ARCHIVE_READER_H
#define ORV_ARCHIVE_READER_H

#include <VxSerialization.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Reads record members back in the order OrvArchiveWriter wrote them. A short
// archive leaves defaults in the members it could not fill.
class OrvArchiveReader
{
public:
    explicit OrvArchiveReader(VxSerialization::Archive& archive) : archive(archive) {}

    // Reads record through its field list; false only when memory runs out.
    template <class Record, class Fields>
    static bool read(VxSerialization::Archive& archive, Record& record, Fields fields)
    {
        try {
            OrvArchiveReader reader(archive);
            fields(reader, record);
            return true;
        } catch (...) {
            return false;
        }
    }

    void text(const char*, std::string& member) { archive.read(member); }
    void number(const char*, uint32_t& member) { archive.read(member); }
    void timestamp(const char*, uint32_t& member) { archive.read(member); }
    void real(const char*, double& member) { archive.read(member); }
    void flag(const char*, bool& member) { archive.read(member); }

    // A count comes from outside and is not trusted: no more elements are
    // read than the archive's bytes can hold, as every element takes at
    // least the bytes of a default one.
    template <class Element, class Fields>
    void list(const char*, std::vector<Element>& items, Fields)
    {
        items.clear();
        uint32_t count = 0;
        archive.read(count);
        const size_t limit = std::min<size_t>(count, archive.size() / minimumBytes<Element>());
        items.reserve(limit);
        for (size_t i = 0; i < limit; ++i) {
            items.emplace_back();
            items.back().unserialize(archive);
        }
    }

    void textList(const char*, std::vector<std::string>& items)
    {
        items.clear();
        uint32_t count = 0;
        archive.read(count);
        const size_t limit = std::min<size_t>(count, archive.size() / kLengthBytes);
        items.reserve(limit);
        for (size_t i = 0; i < limit; ++i) {
            items.emplace_back();
            if (archive.read(items.back()) != 0)
                break;
        }
    }

private:
    // A text takes at least its length field.
    static constexpr size_t kLengthBytes = 4;

    template <class Element>
    static size_t minimumBytes()
    {
        static const size_t bytes = [] {
            VxSerialization::Archive probe;
            Element().serialize(probe);
            return std::max<size_t>(probe.size(), 1);
        }();
        return bytes;
    }

    VxSerialization::Archive& archive;
};

#endif
