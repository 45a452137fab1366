#ifndef RECORD_VISITORS_H
#define RECORD_VISITORS_H

#include "RecordSchema.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

#include <cstdio>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

// Visitors over RecordSchema: fill a record with distinct values, dump it as
// text for comparison, encode the archive it should produce and the JSON body
// it should be decoded from.

class RecordFiller
{
public:
    RecordFiller(unsigned seed, size_t listSize) : next(seed), listSize(listSize) {}

    void text(const char*, std::string& m) { m = "t" + std::to_string(next++) + " 東京都港区"; }
    void number(const char*, uint32_t& m) { m = 1000 + next++; }
    void real(const char*, double& m) { m = next++ + 0.25; }
    void flag(const char*, bool& m) { m = true; }
    template <class E> void list(const char*, std::vector<E>& items)
    {
        items.assign(listSize, E());
        for (E& item : items)
            RecordSchema::describe(*this, item);
    }
    void textList(const char*, const char*, std::vector<std::string>& items)
    {
        items.assign(listSize, std::string());
        for (std::string& item : items)
            text(nullptr, item);
    }
    template <class F> void nested(const char*, F f) { f(); }

private:
    unsigned next;
    size_t listSize;
};

template <class R>
R filledRecord(unsigned seed = 1, size_t listSize = 2)
{
    R record;
    RecordFiller filler(seed, listSize);
    RecordSchema::describe(filler, record);
    return record;
}

class RecordDumper
{
public:
    void text(const char* k, std::string& m) { out += name(k) + "=\"" + m + "\";"; }
    void number(const char* k, uint32_t& m) { out += name(k) + "=" + std::to_string(m) + ";"; }
    void real(const char* k, double& m)
    {
        char buffer[40];
        std::snprintf(buffer, sizeof buffer, "%.17g", m);
        out += name(k) + "=" + buffer + ";";
    }
    void flag(const char* k, bool& m) { out += name(k) + (m ? "=true;" : "=false;"); }
    template <class E> void list(const char* k, std::vector<E>& items)
    {
        out += name(k) + "[" + std::to_string(items.size()) + "]{";
        for (E& item : items) {
            out += "{";
            RecordSchema::describe(*this, item);
            out += "}";
        }
        out += "};";
    }
    void textList(const char* k, const char*, std::vector<std::string>& items)
    {
        out += name(k) + "[" + std::to_string(items.size()) + "]{";
        for (const std::string& item : items)
            out += "\"" + item + "\",";
        out += "};";
    }
    template <class F> void nested(const char* k, F f)
    {
        out += name(k) + "{";
        f();
        out += "};";
    }

    std::string out;

private:
    static std::string name(const char* k) { return k ? k : "-"; }
};

// Every member as text, for EXPECT_EQ with a readable difference.
template <class R>
std::string dumpRecord(R record)
{
    RecordDumper dumper;
    RecordSchema::describe(dumper, record);
    return dumper.out;
}

// The archive a record must produce, and where its list counts sit.
class ArchiveExpectation
{
public:
    void text(const char*, std::string& m) { archive.write(m, -1); }
    void number(const char*, uint32_t& m) { archive.write(static_cast<unsigned int>(m)); }
    void real(const char*, double& m) { archive.write(m); }
    void flag(const char*, bool& m) { archive.write(m); }
    template <class E> void list(const char*, std::vector<E>& items)
    {
        countOffsets.push_back(archive.size());
        archive.write(static_cast<unsigned int>(items.size()));
        for (E& item : items)
            RecordSchema::describe(*this, item);
    }
    void textList(const char*, const char*, std::vector<std::string>& items)
    {
        countOffsets.push_back(archive.size());
        archive.write(static_cast<unsigned int>(items.size()));
        for (const std::string& item : items)
            archive.write(item, -1);
    }
    template <class F> void nested(const char*, F f) { f(); }

    VxSerialization::Archive archive;
    std::vector<size_t> countOffsets;
};

template <class R>
ArchiveExpectation expectedArchive(R record)
{
    ArchiveExpectation expectation;
    RecordSchema::describe(expectation, record);
    return expectation;
}

// The JSON body a record is decoded from.
class JsonBodyBuilder
{
public:
    void text(const char* k, std::string& m) { object.insert(QString::fromLatin1(k), QString::fromStdString(m)); }
    void number(const char* k, uint32_t& m) { object.insert(QString::fromLatin1(k), static_cast<qint64>(m)); }
    void real(const char* k, double& m) { object.insert(QString::fromLatin1(k), m); }
    void flag(const char* k, bool& m) { object.insert(QString::fromLatin1(k), m); }
    template <class E> void list(const char* k, std::vector<E>& items)
    {
        QJsonArray array;
        for (E& item : items) {
            JsonBodyBuilder element;
            RecordSchema::describe(element, item);
            array.append(element.object);
        }
        if (k == nullptr) {
            topArray = array;
            isArray = true;
        } else {
            object.insert(QString::fromLatin1(k), array);
        }
    }
    void textList(const char* k, const char* elementKey, std::vector<std::string>& items)
    {
        QJsonArray array;
        for (const std::string& item : items)
            array.append(QJsonObject{{QString::fromLatin1(elementKey), QString::fromStdString(item)}});
        object.insert(QString::fromLatin1(k), array);
    }
    template <class F> void nested(const char* k, F f)
    {
        QJsonObject outer = std::move(object);
        object = QJsonObject();
        f();
        outer.insert(QString::fromLatin1(k), object);
        object = std::move(outer);
    }

    std::vector<uint8_t> body() const
    {
        const QByteArray json = isArray ? QJsonDocument(topArray).toJson(QJsonDocument::Compact)
                                        : QJsonDocument(object).toJson(QJsonDocument::Compact);
        return std::vector<uint8_t>(json.begin(), json.end());
    }

    QJsonObject object;
    QJsonArray topArray;
    bool isArray = false;
};

template <class R>
std::vector<uint8_t> jsonBodyOf(R record)
{
    JsonBodyBuilder builder;
    RecordSchema::describe(builder, record);
    return builder.body();
}

inline std::vector<uint8_t> bytesOf(const std::string& text)
{
    return std::vector<uint8_t>(text.begin(), text.end());
}

#endif
