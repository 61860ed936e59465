// TimingOutputData: when a frame was taken and how long the engine took over it.
//
// Engine-specific block, 22 bytes, packed:
//
//     offset  0   8   experimentTime (double): seconds since the experiment started
//     offset  8   4   frameTimeSecs (signed 32-bit): whole seconds of the frame time, since
//                     1970-01-01 00:00 UTC (Unix time)
//     offset 12   2   frameTimeMSecs (unsigned 16-bit): its milliseconds past that second
//     offset 14   4   approxDelay (float): approximate processing delay of the frame, seconds
//     offset 18   4   annotationLabelID (signed 32-bit): -1 for no annotation label
//
// The setters store what they are given, unchecked.
#pragma once

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class VQ_EOD_API TimingOutputData : public EngineOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::TIMING_OUTPUT_DATA;

    TimingOutputData();
    TimingOutputData(const TimingOutputData& other);
    TimingOutputData& operator=(const TimingOutputData& other);
    ~TimingOutputData() override;

    double experimentTime() const { return _experiment_time; }
    void setExperimentTime(double time) { _experiment_time = time; }
    int frameTimeSecs() const { return _frame_time_secs; }
    void setFrameTimeSeconds(int seconds) { _frame_time_secs = seconds; }
    unsigned short frameTimeMSecs() const { return _frame_time_msecs; }
    void setFrameTimeMilliseconds(unsigned short milliseconds) { _frame_time_msecs = milliseconds; }
    float approxDelay() const { return _approx_delay; }
    void setApproxDelay(float delay) { _approx_delay = delay; }
    int annotationLabelID() const { return _annotation_label_id; }
    void setAnnotationLabelID(int id) { _annotation_label_id = id; }

    char objectID() const override;
    TimingOutputData* clone() const override;
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(TimingOutputData)

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

    double _experiment_time;  // seconds since the experiment started; default 0
    // Frame time, whole seconds since 1970-01-01 00:00 UTC; default 0.
    int _frame_time_secs;
    unsigned short _frame_time_msecs;  // frame time, milliseconds past that second; default 0
    float _approx_delay;               // approximate processing delay, seconds; default 0
    int _annotation_label_id;          // annotation label; -1 (the default) for none
};

}  // namespace vq::eod
