// FaceSetOutputData: the records of one face in a frame.
//
// A frame holds one face set per tracked face, face set 0 being the main face; each face set
// holds that face's HeadOutputDataV2, FaceOutputDataV2 and EyeOutputData as sub-objects. The face
// set has no fields of its own (an empty engine-specific block); without sub-objects it
// serialises as 5E 00 02 | 01 | 00. Unlike most records it may repeat inside a composite.
#pragma once

#include <boost/shared_ptr.hpp>

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class EyeOutputData;
class FaceOutputDataV2;
class HeadOutputDataV2;

class VQ_EOD_API FaceSetOutputData : public EngineOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::FACE_SET_OUTPUT_DATA;

    FaceSetOutputData();
    FaceSetOutputData(const FaceSetOutputData& other);
    FaceSetOutputData& operator=(const FaceSetOutputData& other);
    ~FaceSetOutputData() override;

    // The face's record of each kind, or null. A sub-object under the kind's ID of another class
    // raises the "programming error" SerializableError.
    boost::shared_ptr<HeadOutputDataV2> headOutputData();
    boost::shared_ptr<const HeadOutputDataV2> headOutputData() const;
    boost::shared_ptr<EyeOutputData> eyeOutputData();
    boost::shared_ptr<const EyeOutputData> eyeOutputData() const;
    boost::shared_ptr<FaceOutputDataV2> faceOutputData();
    boost::shared_ptr<const FaceOutputDataV2> faceOutputData() const;

    char objectID() const override;
    FaceSetOutputData* clone() const override;
    bool forbidDuplicateSiblings() const override;  // false: one face set per face
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(FaceSetOutputData)

protected:
    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;
};

}  // namespace vq::eod
