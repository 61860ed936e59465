// EyeOutputData: the container of one frame's eye measurements.
//
// It has no fields of its own (an empty engine-specific block) and holds at most one each of
// PupilOutputData, EyeClosureOutputData and GazeOutputData as sub-objects, added with
// addSubObject. Without sub-objects it serialises as 0F 00 02 | 01 | 00.
#pragma once

#include <boost/shared_ptr.hpp>

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class EyeClosureOutputData;
class GazeOutputData;
class PupilOutputData;

class VQ_EOD_API EyeOutputData : public EngineOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::EYE_OUTPUT_DATA;

    EyeOutputData();
    EyeOutputData(const EyeOutputData& other);
    EyeOutputData& operator=(const EyeOutputData& other);
    ~EyeOutputData() override;

    // The sub-object of each kind, or null when there is none. A sub-object under the kind's ID
    // that is of another class raises SerializableError "SerializableComposite::subObject() -
    // programming error. ID does not match object type".
    boost::shared_ptr<PupilOutputData> pupilOutputData();
    boost::shared_ptr<const PupilOutputData> pupilOutputData() const;
    boost::shared_ptr<EyeClosureOutputData> eyeClosureOutputData();
    boost::shared_ptr<const EyeClosureOutputData> eyeClosureOutputData() const;
    boost::shared_ptr<GazeOutputData> gazeOutputData();
    boost::shared_ptr<const GazeOutputData> gazeOutputData() const;

    char objectID() const override;
    EyeOutputData* clone() const override;
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(EyeOutputData)

protected:
    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;

private:
    friend class detail::RecordReader;
    friend class detail::RecordWriter;
    // The fields that appendEngineSpecificData writes: none.
    void putEngineSpecificData(FieldWriter& out) const;
};

}  // namespace vq::eod
