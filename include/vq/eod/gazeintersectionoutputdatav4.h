// GazeIntersectionOutputDataV4: where the gaze of one eye meets items of the world model, each
// under a label. Block: the eye (1 byte, an EyeId), then the block of IntersectionOutputBaseV2.
// A record may hold several of these, one per eye.
#pragma once

#include "vq/eod/intersectionoutputbasev2.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class VQ_EOD_API GazeIntersectionOutputDataV4 : public IntersectionOutputBaseV2 {
public:
    static constexpr char THIS_OBJECT_ID = object_id::GAZE_INTERSECTION_OUTPUT_DATA_V4;

    // For BOTH_EYES (the combined gaze), no intersections.
    GazeIntersectionOutputDataV4();
    GazeIntersectionOutputDataV4(const GazeIntersectionOutputDataV4& other);
    GazeIntersectionOutputDataV4& operator=(const GazeIntersectionOutputDataV4& other);
    ~GazeIntersectionOutputDataV4() override;

    // The eye whose gaze this is. A value other than RIGHT_EYE, LEFT_EYE or BOTH_EYES is a
    // programming error ("eye_id should be either LEFT_EYE, RIGHT_EYE or BOTH_EYES"); read from
    // bytes, it is a SerializableError.
    EyeId eyeId() const { return _eye_id; }
    void setEyeId(EyeId eye_id);

    char objectID() const override;
    GazeIntersectionOutputDataV4* clone() const override;
    bool forbidDuplicateSiblings() const override;  // false: one per eye
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(GazeIntersectionOutputDataV4)

protected:
    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;

private:
    EyeId _eye_id;  // the eye, one byte on the wire
};

}  // namespace vq::eod
