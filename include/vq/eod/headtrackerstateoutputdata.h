// HeadTrackerStateOutputData: the state of the head tracker in one frame, a sub-object of
// EngineStateOutputData.
//
// Engine-specific block, 4 bytes: the state (signed 32-bit), -1 to 4 when set through this
// class; a record read from bytes holds the state as read.
#pragma once

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class VQ_EOD_API HeadTrackerStateOutputData : public EngineOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::HEAD_TRACKER_STATE_OUTPUT_DATA;

    HeadTrackerStateOutputData();
    // The state is checked as by setState.
    explicit HeadTrackerStateOutputData(int state);
    HeadTrackerStateOutputData(const HeadTrackerStateOutputData& other);
    HeadTrackerStateOutputData& operator=(const HeadTrackerStateOutputData& other);
    ~HeadTrackerStateOutputData() override;

    int state() const { return _state; }
    // "state invalid" unless -1 to 4; the state is then unchanged.
    void setState(int state);

    char objectID() const override;
    HeadTrackerStateOutputData* clone() const override;
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(HeadTrackerStateOutputData)

protected:
    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;

private:
    int _state;  // head tracker state, -1..4; default -1
};

}  // namespace vq::eod
