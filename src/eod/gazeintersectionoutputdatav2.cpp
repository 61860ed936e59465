#include "vq/eod/gazeintersectionoutputdatav2.h"

#include <iomanip>
#include <ostream>

#include "eod/precondition_internal.h"
#include "vq/eod/gazeintersectionoutputdatav1.h"
#include "vq/eod/gazeintersectionoutputdatav3.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(GazeIntersectionOutputDataV2)

GazeIntersectionOutputDataV2::GazeIntersectionOutputDataV2()
    : _gaze_object_intersection{0.0f, 0.0f, 0.0f} {}
GazeIntersectionOutputDataV2::GazeIntersectionOutputDataV2(
    const GazeIntersectionOutputDataV2& other) = default;
GazeIntersectionOutputDataV2& GazeIntersectionOutputDataV2::operator=(
    const GazeIntersectionOutputDataV2& other) = default;
GazeIntersectionOutputDataV2::~GazeIntersectionOutputDataV2() = default;

GazeIntersectionOutputDataV2::GazeIntersectionOutputDataV2(
    const GazeIntersectionOutputDataV1& other)
    : GazeIntersectionOutputDataV2() {
    setSerializeEnabled(other.serializeEnabled());
    assignData(other);
}

GazeIntersectionOutputDataV2::GazeIntersectionOutputDataV2(
    const GazeIntersectionOutputDataV3& other)
    : GazeIntersectionOutputDataV2() {
    setSerializeEnabled(other.serializeEnabled());
    intersection() = other.firstIntersection();
}

void GazeIntersectionOutputDataV2::setScreenIntersectionWorldCoordinates(
    const std::vector<float>& world) {
    VQ_REQUIRE(world.size() == 3, "screen_intersection not a 3D coordinate");
    intersection().world = world;
}

void GazeIntersectionOutputDataV2::setScreenIntersectionScreenCoordinates(
    const std::vector<float>& screen) {
    VQ_REQUIRE(screen.size() == 2, "screen_intersection not a 2D coordinate");
    intersection().screen = screen;
}

void GazeIntersectionOutputDataV2::setScreenIntersectionPixelCoordinates(
    const std::vector<int>& pixel) {
    VQ_REQUIRE(pixel.size() == 2, "screen_intersection not a 2D coordinate");
    intersection().pixel = pixel;
}

void GazeIntersectionOutputDataV2::setGazeObjectIntersection(const std::vector<float>& point) {
    VQ_REQUIRE(point.size() == 3, "gaze_object_intersection not a 3D coordinate");
    _gaze_object_intersection = point;
}

char GazeIntersectionOutputDataV2::objectID() const {
    return THIS_OBJECT_ID;
}

GazeIntersectionOutputDataV2* GazeIntersectionOutputDataV2::clone() const {
    return new GazeIntersectionOutputDataV2(*this);
}

void GazeIntersectionOutputDataV2::printOwnHeader(std::ostream& stream) const {
    printObjectIntersectionHeader(stream, GAZE_INTERSECTION_TITLES);
    stream << std::setw(15) << "GOI_X" << ' ' << std::setw(15) << "GOI_Y" << ' ' << std::setw(15)
           << "GOI_Z" << ' ';
}

void GazeIntersectionOutputDataV2::printOwnData(std::ostream& stream) const {
    GazeIntersectionOutputDataBase::printOwnData(stream);
    for (float value : _gaze_object_intersection) {
        stream << std::setw(15) << value << ' ';
    }
}

void GazeIntersectionOutputDataV2::appendEngineSpecificData(ByteBuffer& buffer) const {
    GazeIntersectionOutputDataBase::appendEngineSpecificData(buffer);
    for (float value : _gaze_object_intersection) {
        appendValue(buffer, value);
    }
}

void GazeIntersectionOutputDataV2::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    GazeIntersectionOutputDataBase::readEngineSpecificData(buffer, read_pos);
    for (float& value : _gaze_object_intersection) {
        readValue(buffer, read_pos, value);
    }
}

unsigned int GazeIntersectionOutputDataV2::numEngineSpecificDataBytes() const {
    return GazeIntersectionOutputDataBase::numEngineSpecificDataBytes() + 12;
}

}  // namespace vq::eod
