#include "vq/eod/gpsoutputdata.h"

#include <iomanip>
#include <ostream>

#include "eod/gpsoutputdata_internal.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(GPSOutputData)

bool operator==(const GPSCoordinateV1& a, const GPSCoordinateV1& b) {
    return a.degrees == b.degrees && a.minutes == b.minutes && a.seconds == b.seconds &&
           a.hemisphere == b.hemisphere;
}

GPSOutputData::GPSOutputData() : _is_data_valid(false), _gmt_time(0), _speed(-1) {}
GPSOutputData::GPSOutputData(const GPSOutputData& other) = default;
GPSOutputData& GPSOutputData::operator=(const GPSOutputData& other) = default;
GPSOutputData::~GPSOutputData() = default;

char GPSOutputData::objectID() const {
    return THIS_OBJECT_ID;
}

GPSOutputData* GPSOutputData::clone() const {
    return new GPSOutputData(*this);
}

void GPSOutputData::printOwnHeader(std::ostream& stream) const {
    detail::printGPSTitles(stream);
}

void GPSOutputData::printOwnData(std::ostream& stream) const {
    stream << std::setw(15) << _is_data_valid << ' ' << std::setw(15) << _gmt_time << ' ';
    detail::printCoordinate(stream, _latitude);
    detail::printCoordinate(stream, _longitude);
    stream << std::setw(15) << _speed << ' ';
}

void GPSOutputData::appendEngineSpecificData(ByteBuffer& buffer) const {
    auto append = [&buffer](auto value) { appendValue(buffer, value); };
    appendBuffer(buffer, _is_data_valid);
    appendValue(buffer, _gmt_time);
    detail::visitCoordinate(_latitude, append);
    detail::visitCoordinate(_longitude, append);
    appendValue(buffer, _speed);
}

void GPSOutputData::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    auto read = [&buffer, &read_pos](auto& value) { readValue(buffer, read_pos, value); };
    readBuffer(buffer, read_pos, _is_data_valid);
    readValue(buffer, read_pos, _gmt_time);
    detail::visitCoordinate(_latitude, read);
    detail::visitCoordinate(_longitude, read);
    readValue(buffer, read_pos, _speed);
}

unsigned int GPSOutputData::numEngineSpecificDataBytes() const {
    return 17;
}

}  // namespace vq::eod
