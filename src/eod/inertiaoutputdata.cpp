#include "vq/eod/inertiaoutputdata.h"

#include <iomanip>
#include <ostream>

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(InertiaOutputData)

InertiaOutputData::InertiaOutputData()
    : _angular_rate_x(0.0f),
      _angular_rate_y(0.0f),
      _angular_rate_z(0.0f),
      _accel_x(0.0f),
      _accel_y(0.0f),
      _accel_z(0.0f) {}
InertiaOutputData::InertiaOutputData(const InertiaOutputData& other) = default;
InertiaOutputData& InertiaOutputData::operator=(const InertiaOutputData& other) = default;
InertiaOutputData::~InertiaOutputData() = default;

char InertiaOutputData::objectID() const {
    return THIS_OBJECT_ID;
}

InertiaOutputData* InertiaOutputData::clone() const {
    return new InertiaOutputData(*this);
}

void InertiaOutputData::printOwnHeader(std::ostream& stream) const {
    for (const char* title :
         {"X_ANG_RATE", "Y_ANG_RATE", "Z_ANG_RATE", "X_ACCEL", "Y_ACCEL", "Z_ACCEL"}) {
        stream << std::setw(15) << title << ' ';
    }
}

void InertiaOutputData::printOwnData(std::ostream& stream) const {
    for (float value :
         {_angular_rate_x, _angular_rate_y, _angular_rate_z, _accel_x, _accel_y, _accel_z}) {
        stream << std::setw(15) << value << ' ';
    }
}

void InertiaOutputData::appendEngineSpecificData(ByteBuffer& buffer) const {
    appendValue(buffer, _angular_rate_x);
    appendValue(buffer, _angular_rate_y);
    appendValue(buffer, _angular_rate_z);
    appendValue(buffer, _accel_x);
    appendValue(buffer, _accel_y);
    appendValue(buffer, _accel_z);
}

void InertiaOutputData::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    readValue(buffer, read_pos, _angular_rate_x);
    readValue(buffer, read_pos, _angular_rate_y);
    readValue(buffer, read_pos, _angular_rate_z);
    readValue(buffer, read_pos, _accel_x);
    readValue(buffer, read_pos, _accel_y);
    readValue(buffer, read_pos, _accel_z);
}

unsigned int InertiaOutputData::numEngineSpecificDataBytes() const {
    return 24;
}

}  // namespace vq::eod
