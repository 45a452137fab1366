#ifndef RECORD_VISITORS_H
#define RECORD_VISITORS_H

#include "RecordSchema.h"

#include <VxSerialization.h>

#include <string>
#include <vector>

// Fills a record with distinct values, lists with listSize elements each.
class RecordFiller
{
public:
    RecordFiller(unsigned seed, size_t listSize) : next(seed), listSize(listSize) {}

    void operator()(const char*, std::string& m) { m = "t" + std::to_string(next++) + " 東京都港区"; }
    void operator()(const char*, uint32_t& m) { m = 1000 + next++; }
    void operator()(const char*, double& m) { m = next++ + 0.25; }
    void operator()(const char*, bool& m) { m = true; }
    template <class E> void operator()(const char*, std::vector<E>& items)
    {
        items.assign(listSize, E());
        for (E& item : items)
            RecordSchema::describe(*this, item);
    }
    template <class F> void operator()(const char*, const RecordSchema::Nested<F>& n) { n.members(); }

private:
    unsigned next;
    size_t listSize;
};

template <class R> R filledRecord(unsigned seed = 1, size_t listSize = 2)
{
    R record;
    RecordFiller filler(seed, listSize);
    RecordSchema::describe(filler, record);
    return record;
}

// The archive a record must produce, and where its list counts sit.
class RecordEncoder
{
public:
    void operator()(const char*, std::string& m) { archive.write(m, -1); }
    void operator()(const char*, uint32_t& m) { archive.write(m); }
    void operator()(const char*, double& m) { archive.write(m); }
    void operator()(const char*, bool& m) { archive.write(m); }
    template <class E> void operator()(const char*, std::vector<E>& items)
    {
        count(items.size());
        for (E& item : items)
            RecordSchema::describe(*this, item);
    }
    template <class F> void operator()(const char*, const RecordSchema::Nested<F>& n) { n.members(); }

    VxSerialization::Archive archive;
    std::vector<size_t> countOffsets;

private:
    void count(size_t n)
    {
        countOffsets.push_back(archive.size());
        archive.write(static_cast<unsigned int>(n));
    }
};

template <class R> RecordEncoder encoded(R record)
{
    RecordEncoder encoder;
    RecordSchema::describe(encoder, record);
    return encoder;
}

// Every member, for EXPECT_EQ: texts show as they are.
template <class R> std::string dumpRecord(const R& record)
{
    const std::vector<uint8_t> bytes = encoded(record).archive.bytes();
    return std::string(bytes.begin(), bytes.end());
}

inline std::vector<uint8_t> bytesOf(const std::string& text) { return std::vector<uint8_t>(text.begin(), text.end()); }

#endif
