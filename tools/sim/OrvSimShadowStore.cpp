#include "OrvSimShadowStore.h"

#include <ctime>

const int OrvSimShadowStore::kMaxPositions;
const size_t OrvSimShadowStore::kMaxThings;

bool OrvSimShadowStore::update(const std::string& thing, const QJsonObject& body, QJsonObject& answer,
                               std::string& error)
{
    const QJsonValue state = body.value("state");
    const QJsonValue reported = state.toObject().value("reported");
    if (!state.isObject() || !reported.isObject()) {
        error = "the body needs {\"state\":{\"reported\":{...}}}";
        return false;
    }
    const QJsonValue positions = reported.toObject().value("positions");
    if (!positions.isUndefined() && !positions.isArray()) {
        error = "\"positions\" must be an array";
        return false;
    }
    std::lock_guard<std::mutex> lock(mutex);
    if (shadows.size() >= kMaxThings && shadows.find(thing) == shadows.end()) {
        error = "too many things";
        return false;
    }
    Shadow& shadow = shadows[thing];
    shadow.reported = reported.toObject();
    for (const QJsonValue& position : positions.toArray()) {
        shadow.positions.append(position);
    }
    while (shadow.positions.size() > kMaxPositions) {
        shadow.positions.removeFirst();
    }
    shadow.version += 1;
    shadow.timestamp = static_cast<qint64>(std::time(nullptr));

    QJsonObject acknowledged;
    acknowledged.insert("reported", shadow.reported);
    answer = QJsonObject();
    answer.insert("state", acknowledged);
    answer.insert("version", shadow.version);
    answer.insert("timestamp", static_cast<double>(shadow.timestamp));
    return true;
}

bool OrvSimShadowStore::document(const std::string& thing, QJsonObject& out) const
{
    std::lock_guard<std::mutex> lock(mutex);
    auto found = shadows.find(thing);
    if (found == shadows.end()) {
        return false;
    }
    QJsonObject reported = found->second.reported;
    reported.insert("positions", found->second.positions);
    QJsonObject state;
    state.insert("reported", reported);
    out = QJsonObject();
    out.insert("state", state);
    out.insert("version", found->second.version);
    out.insert("timestamp", static_cast<double>(found->second.timestamp));
    return true;
}

std::map<std::string, int> OrvSimShadowStore::versions() const
{
    std::lock_guard<std::mutex> lock(mutex);
    std::map<std::string, int> out;
    for (const auto& entry : shadows) {
        out[entry.first] = entry.second.version;
    }
    return out;
}
