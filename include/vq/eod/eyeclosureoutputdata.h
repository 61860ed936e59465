// EyeClosureOutputData: eyelid closure and blinking of both eyes in one frame, a sub-object of
// EyeOutputData.
//
// Engine-specific block, 33 bytes:
//
//     offset  0   8   eyeClosure right, left (float, 0 open..1 closed, no unit)
//     offset  8   8   eyeClosureConfidence right, left (float, 0..1)
//     offset 16   4   eyeClosureCalibStatus (float, 0..1)
//     offset 20   1   blinking (bool)
//     offset 21   4   blinkFrequency (float, blinks per minute, >= 0)
//     offset 25   4   averageBlinkDuration (float, seconds, >= 0)
//     offset 29   4   perclos (float, share of time closed, 0..1)
//
// Setters refuse bad arguments with std::invalid_argument and leave the record unchanged; ranges
// include both ends and refuse NaN. A record read from bytes holds the values as read,
// unchecked.
#pragma once

#include <array>

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class VQ_EOD_API EyeClosureOutputData : public EngineOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::EYE_CLOSURE_OUTPUT_DATA;

    EyeClosureOutputData();
    EyeClosureOutputData(const EyeClosureOutputData& other);
    EyeClosureOutputData& operator=(const EyeClosureOutputData& other);
    ~EyeClosureOutputData() override;

    // The per-eye operations raise "eye_id neither LEFT_EYE nor RIGHT_EYE" unless eye_id is 0
    // or 1; the setters check the eye first, then the value.
    float eyeClosure(int eye_id) const;
    // "closure outside range 0..1".
    void setEyeClosure(int eye_id, float closure);
    float eyeClosureConfidence(int eye_id) const;
    // "confidence outside range 0..1".
    void setEyeClosureConfidence(int eye_id, float confidence);
    float eyeClosureCalibStatus() const { return _eye_closure_calib_status; }
    // "calib_status outside range 0..1".
    void setEyeClosureCalibStatus(float status);
    bool blinking() const { return _blinking; }
    void setBlinking(bool blinking) { _blinking = blinking; }
    float blinkFrequency() const { return _blink_frequency; }
    // "frequency less than zero".
    void setBlinkFrequency(float frequency);
    float averageBlinkDuration() const { return _average_blink_duration; }
    // "duration less than zero".
    void setAverageBlinkDuration(float duration);
    float perclos() const { return _perclos; }
    // "perclos outside range 0..1".
    void setPerclos(float perclos);

    char objectID() const override;
    EyeClosureOutputData* clone() const override;
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(EyeClosureOutputData)

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

    std::array<float, 2> _eye_closure;             // eyelid closure per eye, element 0 the right
                                                   // eye, 0 open..1 closed; default 0
    std::array<float, 2> _eye_closure_confidence;  // confidence of the closure per eye, 0..1;
                                                   // default 0
    float _eye_closure_calib_status;               // calibration status, 0..1; default 0
    bool _blinking;                                // a blink is in progress; default false
    float _blink_frequency;                        // blinks per minute, >= 0; default 0
    // Average blink duration, seconds, >= 0; default 0.
    float _average_blink_duration;
    float _perclos;  // proportion of time the eyes are closed, 0..1; default 0
};

}  // namespace vq::eod
