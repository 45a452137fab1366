#ifndef ORV_JSON_READER_H
#define ORV_JSON_READER_H

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QLatin1String>

#include <cstdint>
#include <string>
#include <vector>

// Reads record members from one object of Qt's parse of a body, with Qt's
// own conversions: a missing key, or a value of another JSON type, gives the
// member's default. The field lists of the records drive this class,
// OrvArchiveWriter and OrvArchiveReader alike.
class OrvJsonReader
{
public:
    explicit OrvJsonReader(const QJsonObject& object) : object(object) {}

    // The top level of body, which ends at its first zero byte; empty when
    // the body is not JSON or its top level is of the other kind.
    static QJsonObject parseObject(const std::vector<uint8_t>& body);
    static QJsonArray parseArray(const std::vector<uint8_t>& body);

    // fromJson of a record whose body is an object, read through fields.
    // False, and nothing changed, when the body is not JSON or its top level
    // is not a non-empty object.
    template <class Record, class Fields>
    static bool readObject(const std::vector<uint8_t>& body, Record& record, Fields fields)
    {
        try {
            const QJsonObject top = parseObject(body);
            if (top.isEmpty())
                return false;
            const OrvJsonReader reader(top);
            fields(reader, record);
            return true;
        } catch (...) {
            return false;
        }
    }

    // fromJson of a record whose body is a bare array of elements. An empty
    // array is a failed parse, not an empty list.
    template <class Element, class Fields>
    static bool readArray(const std::vector<uint8_t>& body, std::vector<Element>& items, Fields fields)
    {
        try {
            const QJsonArray top = parseArray(body);
            if (top.isEmpty())
                return false;
            fill(top, items, fields);
            return true;
        } catch (...) {
            return false;
        }
    }

    // For time stamps that may not fit an int: clamped into 0..0xFFFFFFFF.
    static uint32_t toTimestamp(double value);

    QJsonValue value(const char* key) const { return object.value(QLatin1String(key)); }

    void text(const char* key, std::string& member) const { member = value(key).toString().toStdString(); }
    // Stored bit for bit: -1 arrives as 0xFFFFFFFF.
    void number(const char* key, uint32_t& member) const { member = static_cast<uint32_t>(value(key).toInt()); }
    void timestamp(const char* key, uint32_t& member) const { member = toTimestamp(value(key).toDouble()); }
    void real(const char* key, double& member) const { member = value(key).toDouble(); }

    template <class Element, class Fields>
    void list(const char* key, std::vector<Element>& items, Fields fields) const
    {
        fill(value(key).toArray(), items, fields);
    }

    // Replaces items with one element per entry of array; an entry that is
    // not an object gives an element of defaults.
    template <class Element, class Fields>
    static void fill(const QJsonArray& array, std::vector<Element>& items, Fields fields)
    {
        items.clear();
        for (const QJsonValue& entry : array) {
            items.emplace_back();
            const OrvJsonReader reader(entry.toObject());
            fields(reader, items.back());
        }
    }

private:
    const QJsonObject object;
};

#endif
