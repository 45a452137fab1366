#ifndef ORV_ARCHIVE_WRITER_H
#define ORV_ARCHIVE_WRITER_H

#include <VxSerialization.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

// Writes record members to an archive in the order of a record's field list;
// the JSON keys in that list are ignored here.
class OrvArchiveWriter
{
public:
    static_assert(std::is_same<uint32_t, unsigned int>::value, "records store counts as unsigned int");

    explicit OrvArchiveWriter(VxSerialization::Archive& archive) : archive(archive) {}

    // Writes record through its field list. Always true: when memory runs
    // out, the archive holds the values written before, and a reader of it
    // ends there as at any short archive.
    template <class Record, class Fields>
    static bool write(VxSerialization::Archive& archive, const Record& record, Fields fields)
    {
        try {
            OrvArchiveWriter writer(archive);
            fields(writer, record);
        } catch (...) {
        }
        return true;
    }

    void text(const char*, const std::string& member) { archive.write(member, -1); }
    void number(const char*, uint32_t member) { archive.write(member); }
    void timestamp(const char*, uint32_t member) { archive.write(member); }
    void real(const char*, double member) { archive.write(member); }
    void flag(const char*, bool member) { archive.write(member); }

    template <class Element, class Fields>
    void list(const char*, const std::vector<Element>& items, Fields fields)
    {
        archive.write(static_cast<uint32_t>(items.size()));
        for (const Element& item : items)
            fields(*this, item);
    }

    void textList(const char*, const std::vector<std::string>& items)
    {
        archive.write(static_cast<uint32_t>(items.size()));
        for (const std::string& item : items)
            archive.write(item, -1);
    }

private:
    VxSerialization::Archive& archive;
};

#endif
