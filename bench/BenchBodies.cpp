#include "BenchBodies.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLocale>
#include <QString>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace {

// Key order of one object kind, and the shapes of the object lists under it.
struct Shape
{
    std::vector<const char*> keys;
    std::map<std::string, const Shape*> lists;
};

const Shape kRoutePoint{{"pstAttcode", "rspType", "priority", "lon", "lat"}, {}};
const Shape kSpotEntry{{"id", "folderId", "lon", "lat", "prefCode", "cityCode", "name", "yomi", "zipCode",
                        "address", "tel", "memo", "url", "genreCodeL", "genreCodeM", "genreCodeS", "genreCodeSS",
                        "genreName", "spotCode", "groupCode", "chainCode", "recordSeq", "createdAt", "updatedAt"},
                       {}};
const Shape kSpotDetail{{"id", "folderId", "lon", "lat", "prefCode", "cityCode", "name", "yomi", "zipCode",
                         "address", "tel", "memo", "url", "genreCodeL", "genreCodeM", "genreCodeS", "genreCodeSS",
                         "genreName", "spotCode", "groupCode", "chainCode", "recordSeq", "roadType", "createdAt",
                         "updatedAt", "routePoints"},
                        {{"routePoints", &kRoutePoint}}};
const Shape kDestination{{"id", "lon", "lat", "prefCode", "cityCode", "name", "yomi", "zipCode", "address", "tel",
                          "memo", "url", "genreCodeL", "genreCodeM", "genreCodeS", "genreCodeSS", "genreName",
                          "spotCode", "groupCode", "chainCode", "recordSeq", "roadType", "createdAt", "updatedAt",
                          "routePoints"},
                         {{"routePoints", &kRoutePoint}}};
const Shape kFolder{{"id", "name", "type", "createdAt", "updatedAt"}, {}};
const Shape kPlanPoint{{"order", "name", "memo", "lon", "lat", "spotCode", "groupCode", "chainCode", "recordSeq",
                        "rspLon", "rspLat", "blankMinutes", "startTime", "stayMinutes", "startTimeIsFixed",
                        "roadType", "routePoints"},
                       {{"routePoints", &kRoutePoint}}};
const Shape kPlan{{"id", "name", "memo", "baseDate", "share", "way", "tollway", "priority", "ferries", "cartype",
                   "smartIc", "normalSpeed", "highwaySpeed", "tollwaySpeed", "useETC", "createdAt", "updatedAt",
                   "planpoints"},
                  {{"planpoints", &kPlanPoint}}};
const Shape kSubGenre{{"p_genre_key", "genre_key", "name", "yomi", "tree_flag", "tree_code"}, {}};
const Shape kMainGenre{{"p_genre_key", "genre_key", "name", "yomi", "tree_flag", "tree_code", "item"},
                       {{"item", &kSubGenre}}};
const Shape kPlanSummaryEntry{{"id", "name", "startDateTime"}, {}};
const Shape kFlat{{}, {}};

void appendString(std::string& out, const QString& text)
{
    const QByteArray utf8 = text.toUtf8();
    out += '"';
    for (const char c : utf8) {
        const unsigned char u = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (u < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", u);
            out += escaped;
        } else {
            out += c;
        }
    }
    out += '"';
}

void appendValue(std::string& out, const QJsonValue& value, const Shape* listShape);

void appendObject(std::string& out, const QJsonObject& object, const Shape& shape)
{
    out += '{';
    bool first = true;
    const auto member = [&](const QString& key) {
        if (!first)
            out += ',';
        first = false;
        appendString(out, key);
        out += ':';
        const auto list = shape.lists.find(key.toStdString());
        appendValue(out, object.value(key), list == shape.lists.end() ? nullptr : list->second);
    };
    QStringList rest = object.keys();
    for (const char* key : shape.keys) {
        const QString name = QString::fromLatin1(key);
        if (object.contains(name)) {
            member(name);
            rest.removeOne(name);
        }
    }
    for (const QString& key : rest)
        member(key);
    out += '}';
}

void appendValue(std::string& out, const QJsonValue& value, const Shape* listShape)
{
    switch (value.type()) {
    case QJsonValue::String:
        appendString(out, value.toString());
        break;
    case QJsonValue::Double: {
        const double number = value.toDouble();
        if (std::floor(number) == number && std::fabs(number) < 1e15)
            out += std::to_string(static_cast<long long>(number));
        else
            out += QString::number(number, 'g', QLocale::FloatingPointShortest).toStdString();
        break;
    }
    case QJsonValue::Bool:
        out += value.toBool() ? "true" : "false";
        break;
    case QJsonValue::Array: {
        out += '[';
        const QJsonArray array = value.toArray();
        for (int i = 0; i < array.size(); ++i) {
            if (i > 0)
                out += ',';
            appendValue(out, array.at(i), listShape);
        }
        out += ']';
        break;
    }
    case QJsonValue::Object:
        appendObject(out, value.toObject(), listShape != nullptr ? *listShape : kFlat);
        break;
    default:
        out += "null";
        break;
    }
}

std::string text(const QJsonObject& object, const Shape& shape)
{
    std::string out;
    appendObject(out, object, shape);
    return out;
}

QJsonObject withId(QJsonObject object, size_t index)
{
    object.insert("id", QString("%1-%2").arg(object.value("id").toString()).arg(index));
    return object;
}

// Text of a PEM block of the given base64 length; the records never decode it.
std::string pem(const char* label, size_t base64Length)
{
    static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out = std::string("-----BEGIN ") + label + "-----\n";
    for (size_t i = 0; i < base64Length; ++i) {
        out += alphabet[(i * 37 + 11) % 64];
        if (i % 64 == 63)
            out += '\n';
    }
    out += std::string("\n-----END ") + label + "-----\n";
    return out;
}

std::string quoted(const std::string& value)
{
    std::string out;
    appendString(out, QString::fromStdString(value));
    return out;
}

} // namespace

const BenchBodies& BenchBodies::instance()
{
    static const BenchBodies bodies;
    return bodies;
}

BenchBodies::BenchBodies()
{
    QFile file(QStringLiteral(ORVKIT_BENCH_SEED));
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read the seed %s\n", ORVKIT_BENCH_SEED);
        std::abort();
    }
    seed = QJsonDocument::fromJson(file.readAll()).object();
    if (seed.isEmpty()) {
        std::fprintf(stderr, "the seed %s is not a JSON object\n", ORVKIT_BENCH_SEED);
        std::abort();
    }
}

bool BenchBodies::isList(Kind kind)
{
    switch (kind) {
    case Spots:
    case Folders:
    case Destinations:
    case PlansSummary:
    case Plans:
    case Genres:
        return true;
    default:
        return false;
    }
}

const char* BenchBodies::name(Kind kind)
{
    switch (kind) {
    case Spots: return "spots";
    case SpotDetail: return "spotDetail";
    case Folders: return "folders";
    case Destinations: return "destinations";
    case PlansSummary: return "plansSummary";
    case Plans: return "plans";
    case Genres: return "genres";
    case InfoSummary: return "infoSummary";
    case Auth: return "auth";
    case Error: return "error";
    case Certificate: return "certificate";
    }
    return "?";
}

std::string BenchBodies::entry(Kind kind, size_t index) const
{
    const auto pick = [&](const char* list) {
        const QJsonArray array = seed.value(list).toArray();
        return array.at(static_cast<int>(index % static_cast<size_t>(array.size()))).toObject();
    };
    switch (kind) {
    case Spots: {
        QJsonObject spot = withId(pick("spots"), index);
        spot.remove("roadType");
        spot.remove("routePoints");
        return text(spot, kSpotEntry);
    }
    case Folders:
        return text(withId(pick("folders"), index), kFolder);
    case Destinations:
        return text(withId(pick("destinations"), index), kDestination);
    case Plans:
        return text(withId(pick("plans"), index), kPlan);
    case PlansSummary: {
        const QJsonObject plan = pick("plans");
        QJsonObject summary;
        summary.insert("id", QString("%1-%2").arg(plan.value("id").toString()).arg(index));
        summary.insert("name", plan.value("name"));
        summary.insert("startDateTime", plan.value("baseDate").toString() + "T08:00:00+09:00");
        return text(summary, kPlanSummaryEntry);
    }
    case Genres: {
        const QJsonArray mains = seed.value("genres").toObject().value("item").toArray();
        QJsonObject main = mains.at(static_cast<int>(index % static_cast<size_t>(mains.size()))).toObject();
        main.insert("genre_key", main.value("genre_key").toInt() + static_cast<int>(index) * 1000);
        return text(main, kMainGenre);
    }
    default:
        return std::string();
    }
}

std::string BenchBodies::listBody(Kind kind, size_t count) const
{
    std::string items;
    for (size_t i = 0; i < count; ++i) {
        if (i > 0)
            items += ',';
        items += entry(kind, i);
    }
    const std::string n = std::to_string(count);
    switch (kind) {
    case Spots:
        return "{\"all\":" + n + ",\"sort\":1,\"order\":0,\"number\":" + n +
               ",\"position\":1,\"lon\":139.767125,\"lat\":35.681236,\"spots\":[" + items + "]}";
    case Folders:
        return "{\"all\":" + n + ",\"sort\":1,\"order\":0,\"number\":" + n + ",\"position\":1,\"folders\":[" + items +
               "]}";
    case PlansSummary:
        return "{\"all\":" + n + ",\"plans\":[" + items + "]}";
    case Genres:
        return "{\"item\":[" + items + "],\"updatedAt\":\"2024-04-01T00:00:00+09:00\"}";
    default:
        return "[" + items + "]";
    }
}

std::vector<uint8_t> BenchBodies::body(Kind kind, size_t targetBytes) const
{
    std::string out;
    if (isList(kind)) {
        // Grow until the next entry would take the body further from the target than it is.
        size_t count = 1;
        size_t entryBytes = entry(kind, 0).size() + 1;
        const size_t frame = listBody(kind, 1).size() - entryBytes + 1;
        size_t total = frame + entryBytes;
        while (total + entry(kind, count).size() / 2 < targetBytes) {
            total += entry(kind, count).size() + 1;
            ++count;
        }
        out = listBody(kind, count);
    } else {
        switch (kind) {
        case SpotDetail:
            out = text(seed.value("spots").toArray().at(0).toObject(), kSpotDetail);
            break;
        case InfoSummary: {
            const QJsonObject times = seed.value("updatedAt").toObject();
            const auto pair = [&](const char* key, const char* list) {
                return std::string("\"") + key + "\":{\"count\":" +
                       std::to_string(seed.value(list).toArray().size()) + ",\"updatedAt\":" +
                       quoted(times.value(key).toString().toStdString()) + "}";
            };
            out = "{" + pair("spot", "spots") + "," + pair("folder", "folders") + "," +
                  pair("destination", "destinations") + "," + pair("plan", "plans") + ",\"agreement\":{\"updatedAt\":" +
                  quoted(times.value("agreement").toString().toStdString()) + "}}";
            break;
        }
        case Auth:
            out = "{\"access_token\":\"eyJhbGciOiJSUzI1NiIsInR5cCI6IkpXVCJ9.eyJzdWIiOiJkcml2ZXIwMSIsInJvbGUiOiJ0bHYifQ."
                  "c2lnbmF0dXJlLW9mLXRoZS1iZW5jaC10b2tlbg\",\"refresh_token\":\"rt-7f3c9a1e-55d2-4b8e-9c0a-"
                  "2d6f4e8b1a37\",\"expires_in\":3600,\"expiration_date\":1718003600,\"role\":\"tlv\"}";
            break;
        case Error:
            out = "{\"error\":{\"code\":\"E4011001\",\"message\":"
                  "\"アクセストークンの有効期限が切れています。再度ログインしてください。\"}}";
            break;
        case Certificate: {
            const auto escaped = [](const std::string& block) {
                std::string out;
                for (char c : block)
                    out += c == '\n' ? std::string("\\n") : std::string(1, c);
                return out;
            };
            out = "{\"caCertificatePem\":\"" + escaped(pem("CERTIFICATE", 1200)) + "\",\"certificatePem\":\"" +
                  escaped(pem("CERTIFICATE", 1100)) + "\",\"privateKey\":\"" +
                  escaped(pem("RSA PRIVATE KEY", 1600)) + "\"}";
            break;
        }
        default:
            break;
        }
    }
    return std::vector<uint8_t>(out.begin(), out.end());
}
