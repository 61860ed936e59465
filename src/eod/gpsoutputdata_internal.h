// What the two GPS records share: the coordinate fields in wire order and the columns.
#pragma once

#include <iomanip>
#include <ostream>

namespace vq::eod::detail {

// Calls `visit` with each field of a coordinate in wire order: degrees, minutes, seconds,
// hemisphere.
template <typename Coordinate, typename Visitor>
void visitCoordinate(Coordinate& coordinate, Visitor&& visit) {
    visit(coordinate.degrees);
    visit(coordinate.minutes);
    visit(coordinate.seconds);
    visit(coordinate.hemisphere);
}

// Degrees, minutes and seconds as numbers, the hemisphere as a character.
template <typename Coordinate>
void printCoordinate(std::ostream& stream, const Coordinate& coordinate) {
    stream << std::setw(15) << coordinate.degrees << ' ';
    stream << std::setw(15) << +coordinate.minutes << ' ';
    stream << std::setw(15) << +coordinate.seconds << ' ';
    stream << std::setw(15) << coordinate.hemisphere << ' ';
}

// The titles of both versions; version 2 adds "GPS_COURSE".
inline void printGPSTitles(std::ostream& stream) {
    for (const char* title :
         {"GPS_VALID", "GPS_GMT_TIME", "GPS_LATITUDE_DEG", "GPS_LATITUDE_MIN", "GPS_LATITUDE_SEC",
          "GPS_LATITUDE_HEM", "GPS_LONGITUDE_DEG", "GPS_LONGITUDE_MIN", "GPS_LONGITUDE_SEC",
          "GPS_LONGITUDE_HEM", "GPS_SPEED_KM_H"}) {
        stream << std::setw(15) << title << ' ';
    }
}

}  // namespace vq::eod::detail
