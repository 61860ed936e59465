// GPSOutputData: a GPS fix that arrived with the frame (first version: whole-second
// coordinates, integer speed). Block (17 bytes):
//
//     1 byte    data valid (0 or 1)
//     4 bytes   GMT time (uint32)
//     2+1+1+1   latitude: degrees (int16), minutes (int8), seconds (int8), hemisphere (char)
//     2+1+1+1   longitude: the same
//     2 bytes   speed in km/h (int16), -1 for no speed
#pragma once

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

// A latitude or longitude in whole seconds. The default is 0 degrees 0' 0" and hemisphere 'N',
// for the longitude too (not 'E').
struct VQ_EOD_API GPSCoordinateV1 {
    short degrees = 0;        // whole degrees
    signed char minutes = 0;  // minutes of arc
    signed char seconds = 0;  // seconds of arc
    char hemisphere = 'N';    // 'N', 'S', 'E' or 'W'
};

VQ_EOD_API bool operator==(const GPSCoordinateV1& a, const GPSCoordinateV1& b);

class VQ_EOD_API GPSOutputData : public EngineOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::GPS_OUTPUT_DATA;

    // Not valid, time 0, default coordinates, speed -1.
    GPSOutputData();
    GPSOutputData(const GPSOutputData& other);
    GPSOutputData& operator=(const GPSOutputData& other);
    ~GPSOutputData() override;

    bool isDataValid() const { return _is_data_valid; }
    void setDataValid(bool valid) { _is_data_valid = valid; }
    unsigned int gmtTime() const { return _gmt_time; }
    void setGMTTime(unsigned int time) { _gmt_time = time; }
    const GPSCoordinateV1& latitude() const { return _latitude; }
    void setLatitude(const GPSCoordinateV1& latitude) { _latitude = latitude; }
    const GPSCoordinateV1& longitude() const { return _longitude; }
    void setLongitude(const GPSCoordinateV1& longitude) { _longitude = longitude; }
    short speed() const { return _speed; }
    void setSpeed(short speed) { _speed = speed; }

    char objectID() const override;
    GPSOutputData* clone() const override;
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(GPSOutputData)

protected:
    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;  // 17

private:
    bool _is_data_valid;  // whether the receiver had a fix
    // Time of the fix, seconds since 1970-01-01 00:00 UTC as the receiver gives it.
    unsigned int _gmt_time;
    // Latitude (degrees, minutes and seconds of arc), hemisphere 'N' or 'S'.
    GPSCoordinateV1 _latitude;
    GPSCoordinateV1 _longitude;  // longitude, hemisphere 'E' or 'W' ('N' until set)
    short _speed;                // speed in km/h, -1 for none
};

}  // namespace vq::eod
