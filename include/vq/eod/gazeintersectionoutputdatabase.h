// GazeIntersectionOutputDataBase: the common interface of the one-object gaze intersection
// records (GazeIntersectionOutputDataV1 and V2): the object of IntersectionOutputBase, the gaze
// object point that only version 2 carries, and assignData, through which they copy each
// other's data.
//
// The labelled records (GazeIntersectionOutputDataV3 and V4) hold many intersections and have
// the interface of IntersectionOutputBaseV2 instead; they convert from and to the one-object
// records through their constructors.
#pragma once

#include <string>
#include <vector>

#include "vq/eod/intersectionoutputbase.h"

namespace vq::eod {

class VQ_EOD_API GazeIntersectionOutputDataBase : public IntersectionOutputBase {
public:
    ~GazeIntersectionOutputDataBase() override;

    // The point where the gaze meets the object, in world coordinates: only version 2 carries
    // it; on other versions both are programming errors.
    virtual const std::vector<float>& gazeObjectIntersection() const;
    virtual void setGazeObjectIntersection(const std::vector<float>& point);
    // Copies the one-object data (index, name, flag and the three coordinates) of `other`.
    virtual void assignData(const GazeIntersectionOutputDataBase& other);

protected:
    GazeIntersectionOutputDataBase();
    GazeIntersectionOutputDataBase(const GazeIntersectionOutputDataBase& other);
    GazeIntersectionOutputDataBase& operator=(const GazeIntersectionOutputDataBase& other);

    // Column titles of the one-object data of a gaze record.
    static constexpr const char* GAZE_INTERSECTION_TITLES[10] = {
        "GAZE_OBJ_INDEX", "GAZE_OBJ_NAME", "GAZ_SCR_INTSECT", "GSI_WORLD_X", "GSI_WORLD_Y",
        "GSI_WORLD_Z",    "GSI_SCREEN_X",  "GSI_SCREEN_Y",    "GSI_PIXEL_X", "GSI_PIXEL_Y"};
};

}  // namespace vq::eod
