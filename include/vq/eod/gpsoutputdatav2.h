// GPSOutputDataV2: a GPS fix that arrived with the frame (current version: fractional seconds,
// float speed, course). Block (29 bytes):
//
//     1 byte    data valid (0 or 1)
//     4 bytes   GMT time (uint32)
//     2+1+4+1   latitude: degrees (int16), minutes (int8), seconds (float), hemisphere (char)
//     2+1+4+1   longitude: the same
//     4 bytes   speed in km/h (float)
//     4 bytes   course (float)
#pragma once

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

// A latitude or longitude with fractional seconds. The default is 0 degrees 0' 0" and hemisphere
// 'N', for the longitude too (not 'E').
struct VQ_EOD_API GPSCoordinateV2 {
    short degrees = 0;        // whole degrees
    signed char minutes = 0;  // minutes of arc
    float seconds = 0.0f;     // seconds of arc
    char hemisphere = 'N';    // 'N', 'S', 'E' or 'W'
};

VQ_EOD_API bool operator==(const GPSCoordinateV2& a, const GPSCoordinateV2& b);

class VQ_EOD_API GPSOutputDataV2 : public EngineOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::GPS_OUTPUT_DATA_V2;

    // Not valid, time 0, default coordinates, speed 0, course 0.
    GPSOutputDataV2();
    GPSOutputDataV2(const GPSOutputDataV2& other);
    GPSOutputDataV2& operator=(const GPSOutputDataV2& other);
    ~GPSOutputDataV2() override;

    bool isDataValid() const { return _is_data_valid; }
    void setDataValid(bool valid) { _is_data_valid = valid; }
    unsigned int gmtTime() const { return _gmt_time; }
    void setGMTTime(unsigned int time) { _gmt_time = time; }
    const GPSCoordinateV2& latitude() const { return _latitude; }
    void setLatitude(const GPSCoordinateV2& latitude) { _latitude = latitude; }
    const GPSCoordinateV2& longitude() const { return _longitude; }
    void setLongitude(const GPSCoordinateV2& longitude) { _longitude = longitude; }
    float speed() const { return _speed; }
    void setSpeed(float speed) { _speed = speed; }
    float course() const { return _course; }
    void setCourse(float course) { _course = course; }

    char objectID() const override;
    GPSOutputDataV2* clone() const override;
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(GPSOutputDataV2)

protected:
    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;  // 29

private:
    bool _is_data_valid;  // whether the receiver had a fix
    // Time of the fix, seconds since 1970-01-01 00:00 UTC as the receiver gives it.
    unsigned int _gmt_time;
    // Latitude (degrees, minutes and seconds of arc), hemisphere 'N' or 'S'.
    GPSCoordinateV2 _latitude;
    GPSCoordinateV2 _longitude;  // longitude, hemisphere 'E' or 'W' ('N' until set)
    float _speed;                // speed in km/h
    // Course over ground, degrees clockwise from north, as the receiver gives it.
    float _course;
};

}  // namespace vq::eod
