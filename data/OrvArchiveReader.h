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

    void text(const char*, std::string& member) { note(archive.read(member)); }
    void number(const char*, uint32_t& member) { note(archive.read(member)); }
    void timestamp(const char*, uint32_t& member) { note(archive.read(member)); }
    void real(const char*, double& member) { note(archive.read(member)); }
    void flag(const char*, bool& member) { note(archive.read(member)); }

    // A count comes from outside and is not trusted: reading stops once the
    // archive is exhausted, and no more is reserved than its bytes can hold,
    // as every element takes at least the bytes of a default one. Elements
    // are read through this reader, so that it sees where the archive ended.
    template <class Element, class Fields>
    void list(const char*, std::vector<Element>& items, Fields fields)
    {
        items.clear();
        uint32_t count = 0;
        note(archive.read(count));
        items.reserve(std::min<size_t>(count, archive.size() / minimumBytes<Element>()));
        for (uint32_t i = 0; i < count && !exhausted; ++i) {
            items.emplace_back();
            fields(*this, items.back());
        }
    }

    void textList(const char*, std::vector<std::string>& items)
    {
        items.clear();
        uint32_t count = 0;
        note(archive.read(count));
        items.reserve(std::min<size_t>(count, archive.size() / kLengthBytes));
        for (uint32_t i = 0; i < count && !exhausted; ++i) {
            items.emplace_back();
            note(archive.read(items.back()));
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

    // A read fails only at the end of the archive, and every later one then too.
    void note(int result)
    {
        if (result != 0)
            exhausted = true;
    }

    VxSerialization::Archive& archive;
    bool exhausted = false;
};

#endif
