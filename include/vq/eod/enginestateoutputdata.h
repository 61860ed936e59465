// EngineStateOutputData: the engine's overall state in one frame, with the states of its parts
// (the head tracker, HeadTrackerStateOutputData) as sub-objects.
//
// Engine-specific block, 4 bytes: the state (signed 32-bit), -1, 0 or 1 when set through this
// class; a record read from bytes holds the state as read.
#pragma once

#include <boost/shared_ptr.hpp>

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class HeadTrackerStateOutputData;
class IRPodStateOutputData;

class VQ_EOD_API EngineStateOutputData : public EngineOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::ENGINE_STATE_OUTPUT_DATA;

    EngineStateOutputData();
    // The state is checked as by setState.
    explicit EngineStateOutputData(int state);
    EngineStateOutputData(const EngineStateOutputData& other);
    EngineStateOutputData& operator=(const EngineStateOutputData& other);
    ~EngineStateOutputData() override;

    int state() const { return _state; }
    // "unknown state" unless -1, 0 or 1; the state is then unchanged.
    void setState(int state);

    // The head tracker state and IR pod state sub-objects, or null. A sub-object under their ID
    // of another class raises the "programming error" SerializableError.
    boost::shared_ptr<HeadTrackerStateOutputData> headtrackerStateOutputData();
    boost::shared_ptr<const HeadTrackerStateOutputData> headtrackerStateOutputData() const;
    boost::shared_ptr<IRPodStateOutputData> irPodStateOutputData();
    boost::shared_ptr<const IRPodStateOutputData> irPodStateOutputData() const;

    char objectID() const override;
    EngineStateOutputData* clone() const override;
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(EngineStateOutputData)

protected:
    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;

private:
    friend class detail::RecordReader;
    friend class detail::RecordWriter;
    // The fields that appendEngineSpecificData writes, in their order.
    void putEngineSpecificData(FieldWriter& out) const;

    int _state;  // engine state, -1..1; default -1
};

}  // namespace vq::eod
