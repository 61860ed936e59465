#include "vq/eod/gazeintersectionoutputdatav1.h"

#include "eod/precondition_internal.h"
#include "vq/eod/gazeintersectionoutputdatav2.h"
#include "vq/eod/gazeintersectionoutputdatav3.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(GazeIntersectionOutputDataV1)

GazeIntersectionOutputDataV1::GazeIntersectionOutputDataV1() = default;
GazeIntersectionOutputDataV1::GazeIntersectionOutputDataV1(
    const GazeIntersectionOutputDataV1& other) = default;
GazeIntersectionOutputDataV1& GazeIntersectionOutputDataV1::operator=(
    const GazeIntersectionOutputDataV1& other) = default;
GazeIntersectionOutputDataV1::~GazeIntersectionOutputDataV1() = default;

GazeIntersectionOutputDataV1::GazeIntersectionOutputDataV1(
    const GazeIntersectionOutputDataV2& other) {
    setSerializeEnabled(other.serializeEnabled());
    assignData(other);
}

GazeIntersectionOutputDataV1::GazeIntersectionOutputDataV1(
    const GazeIntersectionOutputDataV3& other) {
    setSerializeEnabled(other.serializeEnabled());
    intersection() = other.firstIntersection();
}

void GazeIntersectionOutputDataV1::setScreenIntersectionWorldCoordinates(
    const std::vector<float>& world) {
    VQ_REQUIRE(world.size() == 3, "screen_intersection not a 3D coordinate");
    intersection().world = world;
}

void GazeIntersectionOutputDataV1::setScreenIntersectionScreenCoordinates(
    const std::vector<float>& screen) {
    VQ_REQUIRE(screen.size() == 2, "screen_intersection not a 2D coordinate");
    intersection().screen = screen;
}

void GazeIntersectionOutputDataV1::setScreenIntersectionPixelCoordinates(
    const std::vector<int>& pixel) {
    VQ_REQUIRE(pixel.size() == 2, "screen_intersection not a 2D coordinate");
    intersection().pixel = pixel;
}

char GazeIntersectionOutputDataV1::objectID() const {
    return THIS_OBJECT_ID;
}

GazeIntersectionOutputDataV1* GazeIntersectionOutputDataV1::clone() const {
    return new GazeIntersectionOutputDataV1(*this);
}

void GazeIntersectionOutputDataV1::printOwnHeader(std::ostream& stream) const {
    printObjectIntersectionHeader(stream, GAZE_INTERSECTION_TITLES);
}

}  // namespace vq::eod
