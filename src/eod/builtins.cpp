#include "eod/builtins_internal.h"

#include "eod/sharedrecord_internal.h"
#include "vq/eod/engineoutputdata.h"
#include "vq/eod/enginestateoutputdata.h"
#include "vq/eod/eyeclosureoutputdata.h"
#include "vq/eod/eyeoutputdata.h"
#include "vq/eod/facesetoutputdata.h"
#include "vq/eod/gazeoutputdata.h"
#include "vq/eod/headoutputdata.h"
#include "vq/eod/headoutputdatav2.h"
#include "vq/eod/headtrackerstateoutputdata.h"
#include "vq/eod/objectids.h"
#include "vq/eod/pupiloutputdata.h"
#include "vq/eod/timingoutputdata.h"

namespace vq::eod::detail {

namespace {
template <typename T>
boost::shared_ptr<Serializable> create() {
    return makeSharedRecord<T>();
}
}  // namespace

void registerBuiltins(RegisterFunction add) {
    add(object_id::ENGINE_OUTPUT_DATA, &create<EngineOutputData>);
    add(object_id::TIMING_OUTPUT_DATA, &create<TimingOutputData>);
    add(object_id::HEAD_OUTPUT_DATA, &create<HeadOutputData>);
    add(object_id::EYE_CLOSURE_OUTPUT_DATA, &create<EyeClosureOutputData>);
    add(object_id::GAZE_OUTPUT_DATA, &create<GazeOutputData>);
    add(object_id::PUPIL_OUTPUT_DATA, &create<PupilOutputData>);
    add(object_id::EYE_OUTPUT_DATA, &create<EyeOutputData>);
    add(object_id::HEAD_OUTPUT_DATA_V2, &create<HeadOutputDataV2>);
    add(object_id::ENGINE_STATE_OUTPUT_DATA, &create<EngineStateOutputData>);
    add(object_id::HEAD_TRACKER_STATE_OUTPUT_DATA, &create<HeadTrackerStateOutputData>);
    add(object_id::FACE_SET_OUTPUT_DATA, &create<FaceSetOutputData>);
}

}  // namespace vq::eod::detail
