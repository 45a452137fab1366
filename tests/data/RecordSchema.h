#ifndef RECORD_SCHEMA_H
#define RECORD_SCHEMA_H

#include <OrvKitDat.h>

// Member lists of every record, written from the wire tables and kept apart
// from the library's own field lists, so that the tests can fill, dump,
// encode and decode any record generically and catch a member that the
// library forgot, misplaced or misnamed.
//
// A visitor offers text, number, real, flag (key, member), list(key, vector)
// with a null key for a body that is a bare array, textList(key, elementKey,
// vector) and nested(key, function) for a member read from a sub-object.
namespace RecordSchema {

using namespace OrvKitDat;

template <class V, class Point>
void describeRoutePoint(V& v, Point& p)
{
    v.text("pstAttcode", p.pstAttcode);
    v.number("rspType", p.rspType);
    v.number("priority", p.priority);
    v.real("lon", p.lon);
    v.real("lat", p.lat);
}

template <class V> void describe(V& v, BookmarksSpotDetailResponse::RoutePointData& p) { describeRoutePoint(v, p); }
template <class V> void describe(V& v, BookmarksDestsResponse::DestData::RoutePointData& p) { describeRoutePoint(v, p); }
template <class V> void describe(V& v, PlansResponse::PlanData::PlanPointData::RoutePointData& p) { describeRoutePoint(v, p); }

template <class V> void describe(V& v, ErrorResponse& r)
{
    v.nested("error", [&] {
        v.text("code", r.code);
        v.text("message", r.message);
    });
}

template <class V> void describe(V& v, AuthResponse& r)
{
    v.text("access_token", r.accessToken);
    v.text("refresh_token", r.refreshToken);
    v.number("expires_in", r.expiresIn);
    v.number("expiration_date", r.expirationDate);
    v.text("role", r.role);
}

template <class V> void describe(V& v, SummaryResponse& r)
{
    v.nested("spot", [&] { v.number("count", r.spotCount); v.text("updatedAt", r.spotUpdatedAt); });
    v.nested("folder", [&] { v.number("count", r.folderCount); v.text("updatedAt", r.folderUpdatedAt); });
    v.nested("destination", [&] {
        v.number("count", r.destinationCount);
        v.text("updatedAt", r.destinationUpdatedAt);
    });
    v.nested("plan", [&] { v.number("count", r.planCount); v.text("updatedAt", r.planUpdatedAt); });
    v.nested("agreement", [&] { v.text("updatedAt", r.agreementUpdatedAt); });
}

template <class V> void describe(V& v, CertificateResponse& r)
{
    v.text("caCertificatePem", r.caCertificatePem);
    v.text("certificatePem", r.certificatePem);
    v.text("privateKey", r.privateKey);
}

template <class V> void describe(V& v, BookmarksSpotsResponse::SpotsData& s)
{
    v.text("id", s.id);
    v.text("folderId", s.folderId);
    v.real("lon", s.lon);
    v.real("lat", s.lat);
    v.text("prefCode", s.prefCode);
    v.text("cityCode", s.cityCode);
    v.text("name", s.name);
    v.text("yomi", s.yomi);
    v.text("zipCode", s.zipCode);
    v.text("address", s.address);
    v.text("tel", s.tel);
    v.text("memo", s.memo);
    v.text("url", s.url);
    v.number("genreCodeL", s.genreCodeL);
    v.number("genreCodeM", s.genreCodeM);
    v.number("genreCodeS", s.genreCodeS);
    v.number("genreCodeSS", s.genreCodeSS);
    v.text("genreName", s.genreName);
    v.text("spotCode", s.spotCode);
    v.number("groupCode", s.groupCode);
    v.number("chainCode", s.chainCode);
    v.number("recordSeq", s.recordSeq);
    v.text("createdAt", s.createdAt);
    v.text("updatedAt", s.updatedAt);
}

template <class V> void describe(V& v, BookmarksSpotsResponse& r)
{
    v.number("all", r.all);
    v.number("sort", r.sort);
    v.number("order", r.order);
    v.number("number", r.number);
    v.number("position", r.position);
    v.real("lon", r.lon);
    v.real("lat", r.lat);
    v.list("spots", r.spots);
}

template <class V> void describe(V& v, BookmarksSpotDetailResponse& s)
{
    v.text("id", s.id);
    v.text("folderId", s.folderId);
    v.real("lon", s.lon);
    v.real("lat", s.lat);
    v.text("prefCode", s.prefCode);
    v.text("cityCode", s.cityCode);
    v.text("name", s.name);
    v.text("yomi", s.yomi);
    v.text("zipCode", s.zipCode);
    v.text("address", s.address);
    v.text("tel", s.tel);
    v.text("memo", s.memo);
    v.text("url", s.url);
    v.number("genreCodeL", s.genreCodeL);
    v.number("genreCodeM", s.genreCodeM);
    v.number("genreCodeS", s.genreCodeS);
    v.number("genreCodeSS", s.genreCodeSS);
    v.text("genreName", s.genreName);
    v.text("spotCode", s.spotCode);
    v.number("groupCode", s.groupCode);
    v.number("chainCode", s.chainCode);
    v.number("recordSeq", s.recordSeq);
    v.number("roadType", s.roadType);
    v.text("createdAt", s.createdAt);
    v.text("updatedAt", s.updatedAt);
    v.list("routePoints", s.routePoints);
}

template <class V> void describe(V& v, BookmarksFoldersResponse::FolderData& f)
{
    v.text("id", f.id);
    v.text("name", f.name);
    v.text("type", f.type);
    v.text("createdAt", f.createdAt);
    v.text("updatedAt", f.updatedAt);
}

template <class V> void describe(V& v, BookmarksFoldersResponse& r)
{
    v.number("all", r.all);
    v.number("sort", r.sort);
    v.number("order", r.order);
    v.number("number", r.number);
    v.number("position", r.position);
    v.list("folders", r.folders);
}

template <class V> void describe(V& v, BookmarksDestsResponse::DestData& d)
{
    v.text("id", d.id);
    v.real("lon", d.lon);
    v.real("lat", d.lat);
    v.text("prefCode", d.prefCode);
    v.text("cityCode", d.cityCode);
    v.text("name", d.name);
    v.text("yomi", d.yomi);
    v.text("zipCode", d.zipCode);
    v.text("address", d.address);
    v.text("tel", d.tel);
    v.text("memo", d.memo);
    v.text("url", d.url);
    v.number("genreCodeL", d.genreCodeL);
    v.number("genreCodeM", d.genreCodeM);
    v.number("genreCodeS", d.genreCodeS);
    v.number("genreCodeSS", d.genreCodeSS);
    v.text("genreName", d.genreName);
    v.text("spotCode", d.spotCode);
    v.number("groupCode", d.groupCode);
    v.number("chainCode", d.chainCode);
    v.number("recordSeq", d.recordSeq);
    v.number("roadType", d.roadType);
    v.text("createdAt", d.createdAt);
    v.text("updatedAt", d.updatedAt);
    v.list("routePoints", d.routePoints);
}

template <class V> void describe(V& v, BookmarksDestsResponse& r) { v.list(nullptr, r.dests); }

template <class V> void describe(V& v, PlansSummaryResponse& r)
{
    v.number("all", r.all);
    v.textList("plans", "startDateTime", r.startDateTimes);
}

template <class V> void describe(V& v, PlansResponse::PlanData::PlanPointData& p)
{
    v.number("order", p.order);
    v.text("name", p.name);
    v.text("memo", p.memo);
    v.real("lon", p.lon);
    v.real("lat", p.lat);
    v.text("spotCode", p.spotCode);
    v.number("groupCode", p.groupCode);
    v.number("chainCode", p.chainCode);
    v.number("recordSeq", p.recordSeq);
    v.real("rspLon", p.rspLon);
    v.real("rspLat", p.rspLat);
    v.number("blankMinutes", p.blankMinutes);
    v.text("startTime", p.startTime);
    v.number("stayMinutes", p.stayMinutes);
    v.number("startTimeIsFixed", p.startTimeIsFixed);
    v.number("roadType", p.roadType);
    v.list("routePoints", p.routePoints);
}

template <class V> void describe(V& v, PlansResponse::PlanData& p)
{
    v.text("id", p.id);
    v.text("name", p.name);
    v.text("memo", p.memo);
    v.text("baseDate", p.baseDate);
    v.number("share", p.share);
    v.text("way", p.way);
    v.number("tollway", p.tollway);
    v.number("priority", p.priority);
    v.number("ferries", p.ferries);
    v.number("cartype", p.cartype);
    v.number("smartIc", p.smartIc);
    v.number("normalSpeed", p.normalSpeed);
    v.number("highwaySpeed", p.highwaySpeed);
    v.number("tollwaySpeed", p.tollwaySpeed);
    v.number("useETC", p.useETC);
    v.text("createdAt", p.createdAt);
    v.text("updatedAt", p.updatedAt);
    v.list("planpoints", p.planpoints);
}

template <class V> void describe(V& v, PlansResponse& r) { v.list(nullptr, r.plans); }

template <class V, class Genre>
void describeGenre(V& v, Genre& g)
{
    v.number("p_genre_key", g.pGenreKey);
    v.number("genre_key", g.genreKey);
    v.text("name", g.name);
    v.text("yomi", g.yomi);
    v.text("tree_flag", g.treeFlag);
    v.number("tree_code", g.treeCode);
}

template <class V> void describe(V& v, GenresResponse::MainGenreData::SubGenreData& g) { describeGenre(v, g); }

template <class V> void describe(V& v, GenresResponse::MainGenreData& g)
{
    describeGenre(v, g);
    v.list("item", g.subGenres);
}

template <class V> void describe(V& v, GenresResponse& r)
{
    v.list("item", r.mainGenres);
    v.text("updatedAt", r.updatedAt);
}

template <class V> void describe(V& v, CertificateRequest& r)
{
    v.text("model", r.model);
    v.text("deviceNo", r.deviceNo);
}

template <class V> void describe(V& v, CarPositions& r)
{
    v.text("maker", r.maker);
    v.text("model", r.model);
    v.text("deviceNo", r.deviceNo);
    v.text("type", r.type);
    v.real("lon", r.lon);
    v.real("lat", r.lat);
    v.text("measuredAt", r.measuredAt);
    v.number("direction", r.direction);
    v.number("speed", r.speed);
    v.real("elevation", r.elevation);
    v.real("accuracy", r.accuracy);
    v.number("roadType", r.roadType);
    v.flag("accOff", r.accOff);
}

} // namespace RecordSchema

#endif
