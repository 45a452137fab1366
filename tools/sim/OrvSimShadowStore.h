#ifndef ORV_SIM_SHADOW_STORE_H
#define ORV_SIM_SHADOW_STORE_H

#include <QJsonArray>
#include <QJsonObject>

#include <map>
#include <mutex>
#include <string>

// Device shadows by thing name. An update replaces the reported state but
// appends its "positions" to those kept before (the newest kMaxPositions),
// so that a reader sees the whole trip.
class OrvSimShadowStore
{
public:
    static const int kMaxPositions = 1000;
    static const size_t kMaxThings = 10000;

    // body must be {"state":{"reported":{...}}}; answer is the update's
    // acknowledgement. False with a message when the body is unusable.
    bool update(const std::string& thing, const QJsonObject& body, QJsonObject& answer, std::string& error);

    // The stored document ({"state":{"reported":...},"version","timestamp"}).
    bool document(const std::string& thing, QJsonObject& out) const;

    // {thing name: version} for every thing.
    std::map<std::string, int> versions() const;

private:
    struct Shadow
    {
        QJsonObject reported;
        QJsonArray positions;
        int version = 0;
        qint64 timestamp = 0;
    };

    mutable std::mutex mutex;
    std::map<std::string, Shadow> shadows;
};

#endif
