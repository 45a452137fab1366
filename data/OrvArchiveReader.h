#ifndef ORV_ARCHIVE_READER_H
#define ORV_ARCHIVE_READER_H

#include <VxSerialization.h>

#include <cstdint>
#include <string>
#include <utility>
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

    // A count comes from outside and is not trusted: nothing is reserved by
    // it, and reading stops once the archive is exhausted. Every element
    // takes at least one byte, so a list never outgrows the archive.
    template <class Element, class Fields>
    void list(const char*, std::vector<Element>& items, Fields)
    {
        items.clear();
        uint32_t count = 0;
        archive.read(count);
        for (uint32_t i = 0; i < count && !archive.isExhausted(); ++i) {
            Element item;
            item.unserialize(archive);
            items.push_back(std::move(item));
        }
    }

    void textList(const char*, std::vector<std::string>& items)
    {
        items.clear();
        uint32_t count = 0;
        archive.read(count);
        for (uint32_t i = 0; i < count && !archive.isExhausted(); ++i) {
            std::string item;
            archive.read(item);
            items.push_back(std::move(item));
        }
    }

private:
    VxSerialization::Archive& archive;
};

#endif
