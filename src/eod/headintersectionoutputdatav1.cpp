#include "vq/eod/headintersectionoutputdatav1.h"

#include "eod/precondition_internal.h"
#include "vq/eod/headintersectionoutputdatav2.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(HeadIntersectionOutputDataV1)

HeadIntersectionOutputDataV1::HeadIntersectionOutputDataV1() = default;
HeadIntersectionOutputDataV1::HeadIntersectionOutputDataV1(
    const HeadIntersectionOutputDataV1& other) = default;
HeadIntersectionOutputDataV1& HeadIntersectionOutputDataV1::operator=(
    const HeadIntersectionOutputDataV1& other) = default;
HeadIntersectionOutputDataV1::~HeadIntersectionOutputDataV1() = default;

HeadIntersectionOutputDataV1::HeadIntersectionOutputDataV1(
    const HeadIntersectionOutputDataV2& other) {
    setSerializeEnabled(other.serializeEnabled());
    intersection() = other.firstIntersection();
}

void HeadIntersectionOutputDataV1::setScreenIntersectionWorldCoordinates(
    const std::vector<float>& world) {
    VQ_REQUIRE(world.size() == 3, "screen_intersection not a 3D coordinate");
    intersection().world = world;
}

void HeadIntersectionOutputDataV1::setScreenIntersectionScreenCoordinates(
    const std::vector<float>& screen) {
    VQ_REQUIRE(screen.size() == 2, "screen_intersection not a 2D coordinate");
    intersection().screen = screen;
}

void HeadIntersectionOutputDataV1::setScreenIntersectionPixelCoordinates(
    const std::vector<int>& pixel) {
    VQ_REQUIRE(pixel.size() == 2, "screen_intersection not a 2D coordinate");
    intersection().pixel = pixel;
}

char HeadIntersectionOutputDataV1::objectID() const {
    return THIS_OBJECT_ID;
}

HeadIntersectionOutputDataV1* HeadIntersectionOutputDataV1::clone() const {
    return new HeadIntersectionOutputDataV1(*this);
}

void HeadIntersectionOutputDataV1::printOwnHeader(std::ostream& stream) const {
    printObjectIntersectionHeader(
        stream, {"HEAD_OBJ_INDEX", "HEAD_OBJ_NAME", "CYC_SCR_INTSECT", "CSI_WORLD_X", "CSI_WORLD_Y",
                 "CSI_WORLD_Z", "CSI_SCREEN_X", "CSI_SCREEN_Y", "CSI_PIXEL_X", "CSI_PIXEL_Y"});
}

}  // namespace vq::eod
