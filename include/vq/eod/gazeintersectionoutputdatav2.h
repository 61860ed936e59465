// GazeIntersectionOutputDataV2: where the gaze meets one object of the world model, and the
// point where it meets the gaze object. Block (53 bytes): the 41-byte one-object block of
// IntersectionOutputBase, then the gaze object intersection x, y, z (floats, metres in world
// coordinates).
#pragma once

#include "vq/eod/gazeintersectionoutputdatabase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class GazeIntersectionOutputDataV1;
class GazeIntersectionOutputDataV3;

class VQ_EOD_API GazeIntersectionOutputDataV2 : public GazeIntersectionOutputDataBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::GAZE_INTERSECTION_OUTPUT_DATA_V2;

    // No object, gaze object intersection (0, 0, 0).
    GazeIntersectionOutputDataV2();
    GazeIntersectionOutputDataV2(const GazeIntersectionOutputDataV2& other);
    GazeIntersectionOutputDataV2& operator=(const GazeIntersectionOutputDataV2& other);
    // The one-object data of the other record; the gaze object intersection stays (0, 0, 0), as
    // neither carries one.
    explicit GazeIntersectionOutputDataV2(const GazeIntersectionOutputDataV1& other);
    explicit GazeIntersectionOutputDataV2(const GazeIntersectionOutputDataV3& other);
    ~GazeIntersectionOutputDataV2() override;

    // Check the length of the coordinates (see IntersectionOutputBase).
    void setScreenIntersectionWorldCoordinates(const std::vector<float>& world) override;
    void setScreenIntersectionScreenCoordinates(const std::vector<float>& screen) override;
    void setScreenIntersectionPixelCoordinates(const std::vector<int>& pixel) override;
    const std::vector<float>& gazeObjectIntersection() const override {
        return _gaze_object_intersection;
    }
    // 3 elements, else a programming error ("gaze_object_intersection not a 3D coordinate").
    void setGazeObjectIntersection(const std::vector<float>& point) override;

    char objectID() const override;
    GazeIntersectionOutputDataV2* clone() const override;
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(GazeIntersectionOutputDataV2)

protected:
    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;  // 53

private:
    // Gaze meets the gaze object, x, y, z, metres in world coordinates.
    std::vector<float> _gaze_object_intersection;
};

}  // namespace vq::eod
