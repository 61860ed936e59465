#include "eod/builtins_internal.h"

#include "vq/eod/compressedserializable.h"
#include "vq/eod/compressedserializabletoken.h"
#include "vq/eod/engineoutputdata.h"
#include "vq/eod/gazeintersectionoutputdatav1.h"
#include "vq/eod/gazeintersectionoutputdatav2.h"
#include "vq/eod/gazeintersectionoutputdatav3.h"
#include "vq/eod/gazeintersectionoutputdatav4.h"
#include "vq/eod/gpsoutputdata.h"
#include "vq/eod/gpsoutputdatav2.h"
#include "vq/eod/headintersectionoutputdatav1.h"
#include "vq/eod/headintersectionoutputdatav2.h"
#include "vq/eod/inertiaoutputdata.h"
#include "vq/eod/objectids.h"
#include "vq/eod/worldoutputdata.h"
#include "vq/eod/worldoutputdatav2.h"

namespace vq::eod::detail {

namespace {
template <typename T>
boost::shared_ptr<Serializable> create() {
    return boost::shared_ptr<Serializable>(new T);
}
}  // namespace

void registerBuiltins(RegisterFunction add) {
    using namespace object_id;
    add(ENGINE_OUTPUT_DATA, &create<EngineOutputData>);
    add(HEAD_INTERSECTION_OUTPUT_DATA_V1, &create<HeadIntersectionOutputDataV1>);
    add(GAZE_INTERSECTION_OUTPUT_DATA_V1, &create<GazeIntersectionOutputDataV1>);
    add(WORLD_OUTPUT_DATA, &create<WorldOutputData>);
    add(GAZE_INTERSECTION_OUTPUT_DATA_V2, &create<GazeIntersectionOutputDataV2>);
    add(INERTIA_OUTPUT_DATA, &create<InertiaOutputData>);
    add(GPS_OUTPUT_DATA, &create<GPSOutputData>);
    add(GPS_OUTPUT_DATA_V2, &create<GPSOutputDataV2>);
    add(GAZE_INTERSECTION_OUTPUT_DATA_V4, &create<GazeIntersectionOutputDataV4>);
    add(WORLD_OUTPUT_DATA_V2, &create<WorldOutputDataV2>);
    add(GAZE_INTERSECTION_OUTPUT_DATA_V3, &create<GazeIntersectionOutputDataV3>);
    add(HEAD_INTERSECTION_OUTPUT_DATA_V2, &create<HeadIntersectionOutputDataV2>);
    add(COMPRESSED_SERIALIZABLE, &create<CompressedSerializable>);
    add(COMPRESSED_SERIALIZABLE_TOKEN, &create<CompressedSerializableToken>);
}

}  // namespace vq::eod::detail
