#include "OrvSimDataSet.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <vector>

namespace {

bool checkIds(const QJsonArray& list, const char* what, std::string& error)
{
    std::set<QString> seen;
    for (const QJsonValue& value : list) {
        const QString id = value.toObject().value("id").toString();
        if (!value.isObject() || id.isEmpty() || !seen.insert(id).second) {
            error = std::string("every entry of \"") + what + "\" needs an object with a unique \"id\"";
            return false;
        }
    }
    return true;
}

QString latest(const QJsonArray& list, const QJsonObject& explicitTimes, const char* key)
{
    QString result = explicitTimes.value(key).toString();
    for (const QJsonValue& value : list) {
        result = std::max(result, value.toObject().value("updatedAt").toString());
    }
    return result;
}

QJsonObject countAndTime(int count, const QString& updatedAt)
{
    QJsonObject object;
    object.insert("count", count);
    object.insert("updatedAt", updatedAt);
    return object;
}

double distance(const QJsonObject& place, double lon, double lat)
{
    // An equirectangular estimate is enough to order places.
    const double kPi = 3.14159265358979323846;
    const double x = (place.value("lon").toDouble() - lon) * std::cos(lat * kPi / 180.0);
    const double y = place.value("lat").toDouble() - lat;
    return x * x + y * y;
}

std::vector<QJsonObject> sorted(const QJsonArray& list, const OrvSimDataSet::Page& page, const char* textKey,
                                bool byDistance, double lon, double lat)
{
    std::vector<QJsonObject> entries;
    for (const QJsonValue& value : list) {
        entries.push_back(value.toObject());
    }
    auto less = [&](const QJsonObject& a, const QJsonObject& b) {
        if (byDistance) {
            const double da = distance(a, lon, lat);
            const double db = distance(b, lon, lat);
            if (da != db) {
                return da < db;
            }
        } else {
            const char* key = page.sort == 1 ? "createdAt" : page.sort == 2 ? textKey : "updatedAt";
            const QString ka = a.value(key).toString();
            const QString kb = b.value(key).toString();
            if (ka != kb) {
                return ka < kb;
            }
        }
        return a.value("id").toString() < b.value("id").toString();
    };
    std::stable_sort(entries.begin(), entries.end(), less);
    if (page.order == 1) {
        std::reverse(entries.begin(), entries.end());
    }
    return entries;
}

// Cuts the page out of entries; returns the position actually used.
template <class T>
unsigned cutPage(std::vector<T>& entries, unsigned number, unsigned position)
{
    const unsigned first = position == 0 ? 1 : position;
    const size_t skip = std::min<size_t>(entries.size(), first - 1);
    entries.erase(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(skip));
    if (number != 0 && entries.size() > number) {
        entries.resize(number);
    }
    return first;
}

QString startDateTime(const QJsonObject& plan)
{
    const QString date = plan.value("baseDate").toString();
    const QJsonArray points = plan.value("planpoints").toArray();
    QString time = points.isEmpty() ? QString() : points.first().toObject().value("startTime").toString();
    if (time.isEmpty()) {
        time = "00:00";
    }
    return date.isEmpty() ? QString() : date + "T" + time + ":00+09:00";
}

} // namespace

std::string OrvSimDataSet::timestamp(std::time_t when)
{
    const std::time_t japan = when + 9 * 3600;
    std::tm parts {};
    gmtime_r(&japan, &parts);
    char text[40];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S+09:00", &parts);
    return text;
}

bool OrvSimDataSet::load(const QJsonObject& seed, std::string& error)
{
    const QJsonArray spotsIn = seed.value("spots").toArray();
    const QJsonArray foldersIn = seed.value("folders").toArray();
    const QJsonArray destinationsIn = seed.value("destinations").toArray();
    const QJsonArray plansIn = seed.value("plans").toArray();
    if (!checkIds(spotsIn, "spots", error) || !checkIds(foldersIn, "folders", error) ||
        !checkIds(destinationsIn, "destinations", error) || !checkIds(plansIn, "plans", error)) {
        return false;
    }
    const QJsonObject times = seed.value("updatedAt").toObject();
    std::lock_guard<std::mutex> lock(mutex);
    spotList = spotsIn;
    folderList = foldersIn;
    destinationList = destinationsIn;
    planList = plansIn;
    genreTree = seed.value("genres").toObject();
    if (!genreTree.contains("item")) {
        genreTree.insert("item", QJsonArray());
    }
    spotUpdatedAt = latest(spotList, times, "spot");
    folderUpdatedAt = latest(folderList, times, "folder");
    destinationUpdatedAt = latest(destinationList, times, "destination");
    planUpdatedAt = latest(planList, times, "plan");
    agreementUpdatedAt = times.value("agreement").toString();
    return true;
}

QJsonObject OrvSimDataSet::summary() const
{
    std::lock_guard<std::mutex> lock(mutex);
    QJsonObject body;
    body.insert("spot", countAndTime(spotList.size(), spotUpdatedAt));
    body.insert("folder", countAndTime(folderList.size(), folderUpdatedAt));
    body.insert("destination", countAndTime(destinationList.size(), destinationUpdatedAt));
    body.insert("plan", countAndTime(planList.size(), planUpdatedAt));
    QJsonObject agreement;
    agreement.insert("updatedAt", agreementUpdatedAt);
    body.insert("agreement", agreement);
    return body;
}

QJsonObject OrvSimDataSet::spots(const Page& page, bool hasPoint, double lon, double lat) const
{
    std::lock_guard<std::mutex> lock(mutex);
    std::vector<QJsonObject> entries = sorted(spotList, page, "yomi", page.sort == 3 && hasPoint, lon, lat);
    const unsigned position = cutPage(entries, page.number, page.position);
    QJsonArray list;
    for (QJsonObject entry : entries) {
        // A list entry is lighter than the spot itself.
        entry.remove("roadType");
        entry.remove("routePoints");
        list.append(entry);
    }
    QJsonObject body;
    body.insert("all", spotList.size());
    body.insert("sort", static_cast<int>(page.sort));
    body.insert("order", static_cast<int>(page.order));
    body.insert("number", list.size());
    body.insert("position", static_cast<int>(position));
    body.insert("lon", hasPoint ? lon : 0.0);
    body.insert("lat", hasPoint ? lat : 0.0);
    body.insert("spots", list);
    return body;
}

bool OrvSimDataSet::spot(const std::string& id, QJsonObject& out) const
{
    std::lock_guard<std::mutex> lock(mutex);
    const QString wanted = QString::fromStdString(id);
    for (const QJsonValue& value : spotList) {
        if (value.toObject().value("id").toString() == wanted) {
            out = value.toObject();
            return true;
        }
    }
    return false;
}

QJsonObject OrvSimDataSet::folders(const Page& page) const
{
    std::lock_guard<std::mutex> lock(mutex);
    std::vector<QJsonObject> entries = sorted(folderList, page, "name", false, 0.0, 0.0);
    const unsigned position = cutPage(entries, page.number, page.position);
    QJsonArray list;
    for (const QJsonObject& entry : entries) {
        list.append(entry);
    }
    QJsonObject body;
    body.insert("all", folderList.size());
    body.insert("sort", static_cast<int>(page.sort));
    body.insert("order", static_cast<int>(page.order));
    body.insert("number", list.size());
    body.insert("position", static_cast<int>(position));
    body.insert("folders", list);
    return body;
}

QJsonArray OrvSimDataSet::destinations() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return destinationList;
}

bool OrvSimDataSet::deleteDestination(const std::string& id)
{
    std::lock_guard<std::mutex> lock(mutex);
    const QString wanted = QString::fromStdString(id);
    for (int i = 0; i < destinationList.size(); ++i) {
        if (destinationList.at(i).toObject().value("id").toString() == wanted) {
            destinationList.removeAt(i);
            destinationUpdatedAt = QString::fromStdString(timestamp(std::time(nullptr)));
            return true;
        }
    }
    return false;
}

QJsonArray OrvSimDataSet::plans(unsigned number, unsigned position, const std::string& baseDate) const
{
    std::lock_guard<std::mutex> lock(mutex);
    const QString from = QString::fromStdString(baseDate);
    std::vector<QJsonObject> entries;
    for (const QJsonValue& value : planList) {
        const QJsonObject plan = value.toObject();
        if (from.isEmpty() || plan.value("baseDate").toString() >= from) {
            entries.push_back(plan);
        }
    }
    cutPage(entries, number, position);
    QJsonArray list;
    for (const QJsonObject& entry : entries) {
        list.append(entry);
    }
    return list;
}

QJsonObject OrvSimDataSet::plansSummary() const
{
    std::lock_guard<std::mutex> lock(mutex);
    QJsonArray list;
    for (const QJsonValue& value : planList) {
        const QJsonObject plan = value.toObject();
        QJsonObject entry;
        entry.insert("id", plan.value("id"));
        entry.insert("name", plan.value("name"));
        entry.insert("startDateTime", startDateTime(plan));
        list.append(entry);
    }
    QJsonObject body;
    body.insert("all", planList.size());
    body.insert("plans", list);
    return body;
}

void OrvSimDataSet::deletePlans()
{
    std::lock_guard<std::mutex> lock(mutex);
    planList = QJsonArray();
    planUpdatedAt = QString::fromStdString(timestamp(std::time(nullptr)));
}

QJsonObject OrvSimDataSet::genres() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return genreTree;
}
