#include "vq/eod/gazeintersectionoutputdatabase.h"

#include "eod/precondition_internal.h"

namespace vq::eod {

GazeIntersectionOutputDataBase::GazeIntersectionOutputDataBase() = default;
GazeIntersectionOutputDataBase::GazeIntersectionOutputDataBase(
    const GazeIntersectionOutputDataBase& other) = default;
GazeIntersectionOutputDataBase& GazeIntersectionOutputDataBase::operator=(
    const GazeIntersectionOutputDataBase& other) = default;
GazeIntersectionOutputDataBase::~GazeIntersectionOutputDataBase() = default;

const std::vector<float>& GazeIntersectionOutputDataBase::gazeObjectIntersection() const {
    VQ_PRECONDITION_FAILED(
        "gazeObjectIntersection is not valid on this version of GazeIntersectionOutputDataBase");
}

void GazeIntersectionOutputDataBase::setGazeObjectIntersection(
    const std::vector<float>& /*point*/) {
    VQ_PRECONDITION_FAILED(
        "setGazeObjectIntersection is not valid on this version of GazeIntersectionOutputDataBase");
}

void GazeIntersectionOutputDataBase::assignData(const GazeIntersectionOutputDataBase& other) {
    setIntersectionObjectIndex(other.intersectionObjectIndex());
    setIntersectionObjectName(other.intersectionObjectName());
    setIntersectsScreen(other.intersectsScreen());
    setScreenIntersectionWorldCoordinates(other.screenIntersectionWorldCoordinates());
    setScreenIntersectionScreenCoordinates(other.screenIntersectionScreenCoordinates());
    setScreenIntersectionPixelCoordinates(other.screenIntersectionPixelCoordinates());
}

}  // namespace vq::eod
