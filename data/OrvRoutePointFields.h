#ifndef ORV_ROUTE_POINT_FIELDS_H
#define ORV_ROUTE_POINT_FIELDS_H

// Field list of the three route-point classes, which hold the same members in
// the same order.
class OrvRoutePointFields
{
public:
    template <class Io, class Point>
    void operator()(Io& io, Point& point) const
    {
        io.text("pstAttcode", point.pstAttcode);
        io.number("rspType", point.rspType);
        io.number("priority", point.priority);
        io.real("lon", point.lon);
        io.real("lat", point.lat);
    }
};

#endif
