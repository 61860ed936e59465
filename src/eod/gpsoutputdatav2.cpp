#include "vq/eod/gpsoutputdatav2.h"

#include <iomanip>
#include <ostream>

#include "eod/gpsoutputdata_internal.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(GPSOutputDataV2)

bool operator==(const GPSCoordinateV2& a, const GPSCoordinateV2& b) {
    return a.degrees == b.degrees && a.minutes == b.minutes && a.seconds == b.seconds &&
           a.hemisphere == b.hemisphere;
}

GPSOutputDataV2::GPSOutputDataV2()
    : _is_data_valid(false), _gmt_time(0), _speed(0.0f), _course(0.0f) {}
GPSOutputDataV2::GPSOutputDataV2(const GPSOutputDataV2& other) = default;
GPSOutputDataV2& GPSOutputDataV2::operator=(const GPSOutputDataV2& other) = default;
GPSOutputDataV2::~GPSOutputDataV2() = default;

char GPSOutputDataV2::objectID() const {
    return THIS_OBJECT_ID;
}

GPSOutputDataV2* GPSOutputDataV2::clone() const {
    return new GPSOutputDataV2(*this);
}

void GPSOutputDataV2::printOwnHeader(std::ostream& stream) const {
    detail::printGPSTitles(stream);
    stream << std::setw(15) << "GPS_COURSE" << ' ';
}

void GPSOutputDataV2::printOwnData(std::ostream& stream) const {
    stream << std::setw(15) << _is_data_valid << ' ' << std::setw(15) << _gmt_time << ' ';
    detail::printCoordinate(stream, _latitude);
    detail::printCoordinate(stream, _longitude);
    stream << std::setw(15) << _speed << ' ' << std::setw(15) << _course << ' ';
}

void GPSOutputDataV2::appendEngineSpecificData(ByteBuffer& buffer) const {
    auto append = [&buffer](auto value) { appendValue(buffer, value); };
    appendBuffer(buffer, _is_data_valid);
    appendValue(buffer, _gmt_time);
    detail::visitCoordinate(_latitude, append);
    detail::visitCoordinate(_longitude, append);
    appendValue(buffer, _speed);
    appendValue(buffer, _course);
}

void GPSOutputDataV2::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    auto read = [&buffer, &read_pos](auto& value) { readValue(buffer, read_pos, value); };
    readBuffer(buffer, read_pos, _is_data_valid);
    readValue(buffer, read_pos, _gmt_time);
    detail::visitCoordinate(_latitude, read);
    detail::visitCoordinate(_longitude, read);
    readValue(buffer, read_pos, _speed);
    readValue(buffer, read_pos, _course);
}

unsigned int GPSOutputDataV2::numEngineSpecificDataBytes() const {
    return 29;
}

}  // namespace vq::eod
