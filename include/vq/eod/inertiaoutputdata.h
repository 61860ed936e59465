// InertiaOutputData: an inertial measurement that arrived with the frame. Block (24 bytes):
// angular rate x, y, z, then acceleration x, y, z, each a float, along the axes of the sensor.
// The record stores what the sensor gives; vqlog and its demo take rates in radians per second
// and accelerations in metres per second squared, gravity included.
#pragma once

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class VQ_EOD_API InertiaOutputData : public EngineOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::INERTIA_OUTPUT_DATA;

    // All values 0.
    InertiaOutputData();
    InertiaOutputData(const InertiaOutputData& other);
    InertiaOutputData& operator=(const InertiaOutputData& other);
    ~InertiaOutputData() override;

    float angularRateX() const { return _angular_rate_x; }
    float angularRateY() const { return _angular_rate_y; }
    float angularRateZ() const { return _angular_rate_z; }
    float accelX() const { return _accel_x; }
    float accelY() const { return _accel_y; }
    float accelZ() const { return _accel_z; }
    void setAngularRateX(float rate) { _angular_rate_x = rate; }
    void setAngularRateY(float rate) { _angular_rate_y = rate; }
    void setAngularRateZ(float rate) { _angular_rate_z = rate; }
    void setAccelX(float accel) { _accel_x = accel; }
    void setAccelY(float accel) { _accel_y = accel; }
    void setAccelZ(float accel) { _accel_z = accel; }

    char objectID() const override;
    InertiaOutputData* clone() const override;
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(InertiaOutputData)

protected:
    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;  // 24

private:
    float _angular_rate_x;  // angular rate about the sensor's x axis, rad/s
    float _angular_rate_y;  // angular rate about the sensor's y axis, rad/s
    float _angular_rate_z;  // angular rate about the sensor's z axis, rad/s
    float _accel_x;         // acceleration along the sensor's x axis, m/s^2
    float _accel_y;         // acceleration along the sensor's y axis, m/s^2
    float _accel_z;         // acceleration along the sensor's z axis, m/s^2
};

}  // namespace vq::eod
