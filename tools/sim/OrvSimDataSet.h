#ifndef ORV_SIM_DATA_SET_H
#define ORV_SIM_DATA_SET_H

#include <QJsonArray>
#include <QJsonObject>

#include <ctime>
#include <mutex>
#include <string>

// One environment's bookmarks, plans and genres, loaded from the seed and
// changed by deletions. Answers are the JSON bodies the service sends.
class OrvSimDataSet
{
public:
    struct Page
    {
        unsigned sort = 0;     // spots: 0 updatedAt, 1 createdAt, 2 yomi, 3 distance; folders: 2 name
        unsigned order = 0;    // 0 ascending, 1 descending
        unsigned number = 0;   // page size; 0: everything
        unsigned position = 1; // first entry, counted from 1
    };

    bool load(const QJsonObject& seed, std::string& error);

    QJsonObject summary() const;
    // lon/lat given: sort 3 orders by distance from there.
    QJsonObject spots(const Page& page, bool hasPoint, double lon, double lat) const;
    bool spot(const std::string& id, QJsonObject& out) const;
    QJsonObject folders(const Page& page) const;
    QJsonArray destinations() const;
    bool deleteDestination(const std::string& id);
    // baseDate non-empty: only plans from that date on.
    QJsonArray plans(unsigned number, unsigned position, const std::string& baseDate) const;
    QJsonObject plansSummary() const;
    void deletePlans();
    QJsonObject genres() const;

    // "2024-06-15T09:30:00+09:00": the service's time format (Japan time).
    static std::string timestamp(std::time_t when);

private:
    mutable std::mutex mutex;
    QJsonArray spotList;
    QJsonArray folderList;
    QJsonArray destinationList;
    QJsonArray planList;
    QJsonObject genreTree;
    QString spotUpdatedAt;
    QString folderUpdatedAt;
    QString destinationUpdatedAt;
    QString planUpdatedAt;
    QString agreementUpdatedAt;
};

#endif
