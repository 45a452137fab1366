#ifndef RECORD_SCHEMA_H
#define RECORD_SCHEMA_H

#include <OrvKitDat.h>

#include <string>
#include <utility>
#include <vector>

// Every record's members in archive order with their keys, written from the
// wire tables apart from the library's own field lists, so that a member the
// library forgot, misplaced or misnamed shows. A visitor is called as
// v(key, member) for a text, uint32_t, double, bool or list of elements (a
// null key: the body is that bare array), and v(key, Nested) for members
// read from a sub-object.
namespace RecordSchema {

using namespace OrvKitDat;

template <class F> struct Nested { F members; };
template <class F> Nested<F> nested(F f) { return {f}; }

template <class V> void members(V&) {}
template <class V, class M, class... Rest> void members(V& v, const char* key, M&& member, Rest&&... rest)
{
    v(key, member);
    members(v, std::forward<Rest>(rest)...);
}

// The three route-point classes.
template <class V, class P> auto describe(V& v, P& p) -> decltype(p.pstAttcode, void())
{
    members(v, "pstAttcode", p.pstAttcode, "rspType", p.rspType, "priority", p.priority, "lon", p.lon, "lat", p.lat);
}

// The only list of texts: one object per plan, the text under one key.
template <class V> void describe(V& v, std::string& startDateTime) { v("startDateTime", startDateTime); }

// The members a spot, a spot's detail and a destination share, in the same order.
template <class V, class P> void place(V& v, P& p)
{
    members(v, "lon", p.lon, "lat", p.lat, "prefCode", p.prefCode, "cityCode", p.cityCode, "name", p.name, "yomi",
            p.yomi, "zipCode", p.zipCode, "address", p.address, "tel", p.tel, "memo", p.memo, "url", p.url,
            "genreCodeL", p.genreCodeL, "genreCodeM", p.genreCodeM, "genreCodeS", p.genreCodeS, "genreCodeSS",
            p.genreCodeSS, "genreName", p.genreName, "spotCode", p.spotCode, "groupCode", p.groupCode, "chainCode",
            p.chainCode, "recordSeq", p.recordSeq);
}

template <class V> void describe(V& v, ErrorResponse& r)
{
    members(v, "error", nested([&] { members(v, "code", r.code, "message", r.message); }));
}

template <class V> void describe(V& v, AuthResponse& r)
{
    members(v, "access_token", r.accessToken, "refresh_token", r.refreshToken, "expires_in", r.expiresIn,
            "expiration_date", r.expirationDate, "role", r.role);
}

template <class V> void describe(V& v, SummaryResponse& r)
{
    const auto pair = [&v](uint32_t& count, std::string& updatedAt) {
        return nested([&v, &count, &updatedAt] { members(v, "count", count, "updatedAt", updatedAt); });
    };
    members(v, "spot", pair(r.spotCount, r.spotUpdatedAt), "folder", pair(r.folderCount, r.folderUpdatedAt),
            "destination", pair(r.destinationCount, r.destinationUpdatedAt), "plan", pair(r.planCount, r.planUpdatedAt),
            "agreement", nested([&] { members(v, "updatedAt", r.agreementUpdatedAt); }));
}

template <class V> void describe(V& v, CertificateResponse& r)
{
    members(v, "caCertificatePem", r.caCertificatePem, "certificatePem", r.certificatePem, "privateKey", r.privateKey);
}

template <class V> void describe(V& v, BookmarksSpotsResponse::SpotsData& s)
{
    members(v, "id", s.id, "folderId", s.folderId);
    place(v, s);
    members(v, "createdAt", s.createdAt, "updatedAt", s.updatedAt);
}

template <class V> void describe(V& v, BookmarksSpotsResponse& r)
{
    members(v, "all", r.all, "sort", r.sort, "order", r.order, "number", r.number, "position", r.position, "lon", r.lon,
            "lat", r.lat, "spots", r.spots);
}

template <class V> void describe(V& v, BookmarksSpotDetailResponse& s)
{
    members(v, "id", s.id, "folderId", s.folderId);
    place(v, s);
    members(v, "roadType", s.roadType, "createdAt", s.createdAt, "updatedAt", s.updatedAt, "routePoints",
            s.routePoints);
}

template <class V> void describe(V& v, BookmarksFoldersResponse::FolderData& f)
{
    members(v, "id", f.id, "name", f.name, "type", f.type, "createdAt", f.createdAt, "updatedAt", f.updatedAt);
}

template <class V> void describe(V& v, BookmarksFoldersResponse& r)
{
    members(v, "all", r.all, "sort", r.sort, "order", r.order, "number", r.number, "position", r.position, "folders",
            r.folders);
}

template <class V> void describe(V& v, BookmarksDestsResponse::DestData& d)
{
    members(v, "id", d.id);
    place(v, d);
    members(v, "roadType", d.roadType, "createdAt", d.createdAt, "updatedAt", d.updatedAt, "routePoints",
            d.routePoints);
}

template <class V> void describe(V& v, BookmarksDestsResponse& r) { members(v, nullptr, r.dests); }

template <class V> void describe(V& v, PlansSummaryResponse& r) { members(v, "all", r.all, "plans", r.startDateTimes); }

template <class V> void describe(V& v, PlansResponse::PlanData::PlanPointData& p)
{
    members(v, "order", p.order, "name", p.name, "memo", p.memo, "lon", p.lon, "lat", p.lat, "spotCode", p.spotCode,
            "groupCode", p.groupCode, "chainCode", p.chainCode, "recordSeq", p.recordSeq, "rspLon", p.rspLon, "rspLat",
            p.rspLat, "blankMinutes", p.blankMinutes, "startTime", p.startTime, "stayMinutes", p.stayMinutes,
            "startTimeIsFixed", p.startTimeIsFixed, "roadType", p.roadType, "routePoints", p.routePoints);
}

template <class V> void describe(V& v, PlansResponse::PlanData& p)
{
    members(v, "id", p.id, "name", p.name, "memo", p.memo, "baseDate", p.baseDate, "share", p.share, "way", p.way,
            "tollway", p.tollway, "priority", p.priority, "ferries", p.ferries, "cartype", p.cartype, "smartIc",
            p.smartIc, "normalSpeed", p.normalSpeed, "highwaySpeed", p.highwaySpeed, "tollwaySpeed", p.tollwaySpeed,
            "useETC", p.useETC, "createdAt", p.createdAt, "updatedAt", p.updatedAt, "planpoints", p.planpoints);
}

template <class V> void describe(V& v, PlansResponse& r) { members(v, nullptr, r.plans); }

template <class V, class G> void genre(V& v, G& g)
{
    members(v, "p_genre_key", g.pGenreKey, "genre_key", g.genreKey, "name", g.name, "yomi", g.yomi, "tree_flag",
            g.treeFlag, "tree_code", g.treeCode);
}
template <class V> void describe(V& v, GenresResponse::MainGenreData::SubGenreData& g) { genre(v, g); }
template <class V> void describe(V& v, GenresResponse::MainGenreData& g)
{
    genre(v, g);
    members(v, "item", g.subGenres);
}
template <class V> void describe(V& v, GenresResponse& r)
{
    members(v, "item", r.mainGenres, "updatedAt", r.updatedAt);
}

template <class V> void describe(V& v, CertificateRequest& r) { members(v, "model", r.model, "deviceNo", r.deviceNo); }

template <class V> void describe(V& v, CarPositions& r)
{
    members(v, "maker", r.maker, "model", r.model, "deviceNo", r.deviceNo, "type", r.type, "lon", r.lon, "lat", r.lat,
            "measuredAt", r.measuredAt, "direction", r.direction, "speed", r.speed, "elevation", r.elevation,
            "accuracy", r.accuracy, "roadType", r.roadType, "accOff", r.accOff);
}

} // namespace RecordSchema

#endif
