#ifndef JSON_REFERENCE_H
#define JSON_REFERENCE_H

#include "RecordVisitors.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

// A deliberately plain decoder, written straight on QJsonDocument from the
// decoding rules and RecordSchema, to hold every record's fromJson against.
namespace JsonReference {

class Reader
{
public:
    explicit Reader(const QJsonObject& object, const QJsonArray& array = QJsonArray()) : object(object), array(array) {}

    void operator()(const char* k, std::string& m) { m = object[k].toString().toStdString(); }
    void operator()(const char* k, uint32_t& m)
    {
        if (std::strcmp(k, "expiration_date") != 0) {
            m = static_cast<uint32_t>(object[k].toInt());
            return;
        }
        const double value = object[k].toDouble();
        m = !(value >= 0.0) ? 0u : value > 4294967294.0 ? 4294967295u : static_cast<uint32_t>(value);
    }
    void operator()(const char* k, double& m) { m = object[k].toDouble(); }
    template <class E> void operator()(const char* k, std::vector<E>& items)
    {
        const QJsonArray elements = k == nullptr ? array : object[k].toArray();
        items.assign(static_cast<size_t>(elements.size()), E());
        for (int i = 0; i < elements.size(); ++i) {
            Reader reader(elements[i].toObject());
            RecordSchema::describe(reader, items[static_cast<size_t>(i)]);
        }
    }
    template <class F> void operator()(const char* k, const RecordSchema::Nested<F>& n)
    {
        const QJsonObject outer = object;
        object = outer[k].toObject();
        n.members();
        object = outer;
    }

private:
    QJsonObject object;
    QJsonArray array;
};

// The summary sets a pair only when both keys are there (the agreement has
// no count), and never defaults.
inline void readSummary(QJsonObject top, OrvKitDat::SummaryResponse& r)
{
    const auto pair = [&top](const char* name, uint32_t* count, std::string& updatedAt) {
        QJsonObject object = top[name].toObject();
        if (object.contains("updatedAt") && (count == nullptr || object.contains("count"))) {
            if (count != nullptr)
                *count = static_cast<uint32_t>(object["count"].toInt());
            updatedAt = object["updatedAt"].toString().toStdString();
        }
    };
    pair("spot", &r.spotCount, r.spotUpdatedAt);
    pair("folder", &r.folderCount, r.folderUpdatedAt);
    pair("destination", &r.destinationCount, r.destinationUpdatedAt);
    pair("plan", &r.planCount, r.planUpdatedAt);
    pair("agreement", nullptr, r.agreementUpdatedAt);
}

// Bodies end at their first zero byte; an empty top level fails.
template <class R> bool decode(const std::vector<uint8_t>& body, R& record)
{
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray(std::string(body.begin(), body.end()).c_str()));
    const bool bareArray = std::is_same<R, OrvKitDat::BookmarksDestsResponse>::value ||
                           std::is_same<R, OrvKitDat::PlansResponse>::value;
    if (document.isNull() || (bareArray ? document.array().isEmpty() : document.object().isEmpty()))
        return false;
    if (auto* summary = dynamic_cast<OrvKitDat::SummaryResponse*>(&record))
        readSummary(document.object(), *summary);
    else {
        Reader reader(document.object(), document.array());
        RecordSchema::describe(reader, record);
    }
    return true;
}

// Qt itself is the reference only where its reading of repeated keys is the
// records' rule (the last value wins): in small objects, and where it does
// not leak the earlier value, which it does for an object or an array.
// Repeats are found by Qt on the text with every object turned into an array
// of its keys and values, which keeps them all. Not JSON: that text is not
// JSON either, and the records must refuse the body.
enum class Body { Comparable, RepeatsBeyondQtsRule, NotJson };

inline bool repeatsBeyondQtsRule(const QJsonArray& array, bool object, const std::vector<bool>& objects, size_t& next)
{
    bool beyond = false;
    for (int i = 0; i < array.size(); ++i) {
        if (array[i].isArray())
            beyond = repeatsBeyondQtsRule(array[i].toArray(), objects[next++], objects, next) || beyond;
    }
    if (!object)
        return beyond;
    QStringList keys;
    for (int i = 0; i + 1 < array.size(); i += 2) {
        // A leading U+FEFF may or may not count for Qt; count both as one.
        QString key = array[i].toString();
        if (key.startsWith(QChar(0xFEFF)))
            key.remove(0, 1);
        const int earlier = keys.indexOf(key);
        if (earlier >= 0 && (array.size() > 24 || array[2 * earlier + 1].isArray()))
            beyond = true;
        keys.append(key);
    }
    return beyond;
}

inline Body classify(const std::vector<uint8_t>& body)
{
    std::string text(body.begin(), body.end());
    text = text.c_str();
    std::vector<bool> objects;
    bool inString = false;
    for (size_t i = 0; i < text.size(); ++i) {
        char& c = text[i];
        if (inString) {
            i += c == '\\';
            inString = c != '"';
        } else if (c == '"') {
            inString = true;
        } else if (c == '{' || c == '[') {
            objects.push_back(c == '{');
            c = '[';
        } else if (c == '}' || c == ':') {
            c = c == '}' ? ']' : ',';
        }
    }
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(text));
    if (document.isNull())
        return Body::NotJson;
    size_t next = 1;
    return repeatsBeyondQtsRule(document.array(), objects[0], objects, next) ? Body::RepeatsBeyondQtsRule
                                                                             : Body::Comparable;
}

struct Comparison
{
    bool compared = false;
    bool decoded = false;
    std::string difference; // empty when the two agree
};

// Decodes body with R::fromJson and with the reference, each into a copy of
// before, and compares the results and every member.
template <class R> Comparison compare(const std::vector<uint8_t>& body, const R& before)
{
    Comparison result;
    R library = before;
    result.decoded = library.fromJson(body);
    const Body kind = classify(body);
    if (kind == Body::NotJson && (result.decoded || dumpRecord(library) != dumpRecord(before)))
        result.difference = "a body that is not JSON changed the record";
    if (kind != Body::Comparable)
        return result;
    result.compared = true;
    R reference = before;
    if (decode(body, reference) != result.decoded)
        result.difference = result.decoded ? "only fromJson decodes the body" : "only the reference decodes the body";
    const std::string a = dumpRecord(library), b = dumpRecord(reference);
    if (result.difference.empty() && a != b) {
        const auto at = std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first - a.begin();
        result.difference = "fromJson and the reference differ from byte " + std::to_string(at) + " of the archive";
    }
    return result;
}

} // namespace JsonReference

#endif
