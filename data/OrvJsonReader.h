#ifndef ORV_JSON_READER_H
#define ORV_JSON_READER_H

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QLatin1String>
#include <QString>

#include <cstdint>
#include <string>
#include <vector>

// Reads record members from one JSON object. A missing key, or a value of
// another JSON type, gives the member's default. The field lists of the
// records drive this class, OrvArchiveWriter and OrvArchiveReader alike.
class OrvJsonReader
{
public:
    explicit OrvJsonReader(const QJsonObject& object) : object(object) {}

    // The body ends at its first zero byte. Null when it is not JSON.
    static QJsonDocument parse(const std::vector<uint8_t>& body);
    // False when the body is not JSON or its top level is not a non-empty
    // object (array).
    static bool parseObject(const std::vector<uint8_t>& body, QJsonObject& object);
    static bool parseArray(const std::vector<uint8_t>& body, QJsonArray& array);

    // A string value as UTF-8; any other value gives empty text.
    static std::string toText(const QJsonValue& value);
    static std::string toUtf8(const QString& text);
    // Integers are stored bit for bit: -1 arrives as 0xFFFFFFFF.
    static uint32_t toNumber(const QJsonValue& value) { return static_cast<uint32_t>(value.toInt()); }
    // For time stamps that may not fit an int: clamped into 0..0xFFFFFFFF.
    static uint32_t toTimestamp(double value);

    QJsonValue value(const char* key) const { return object.value(QLatin1String(key)); }

    void text(const char* key, std::string& member) const { member = toText(value(key)); }
    void number(const char* key, uint32_t& member) const { member = toNumber(value(key)); }
    void timestamp(const char* key, uint32_t& member) const { member = toTimestamp(value(key).toDouble()); }
    void real(const char* key, double& member) const { member = value(key).toDouble(); }

    template <class Element, class Fields>
    void list(const char* key, std::vector<Element>& items, Fields fields) const
    {
        fill(value(key).toArray(), items, fields);
    }

    // Replaces items with one element per array entry; an entry that is not
    // an object gives an element of defaults.
    template <class Element, class Fields>
    static void fill(const QJsonArray& array, std::vector<Element>& items, Fields fields)
    {
        items.clear();
        const int size = array.size();
        items.reserve(static_cast<size_t>(size));
        for (int i = 0; i < size; ++i) {
            items.emplace_back();
            const OrvJsonReader reader(array.at(i).toObject());
            fields(reader, items.back());
        }
    }

private:
    const QJsonObject object;
};

#endif
