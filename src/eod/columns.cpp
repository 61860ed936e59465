#include "vq/eod/columns.h"

#include "vq/eod/objectids.h"

namespace vq::eod {

namespace {

using T = ColumnType;
namespace id = object_id;

constexpr const char* ENGINE_FRAME = "engine";  // the tracking engine's coordinate frame
constexpr const char* QUALITY = "0: no tracking; 1, 2: intermediate; 3: infrared gaze (best)";
constexpr const char* ENGINE_STATE = "-1: not set; 0, 1: engine states (1: running)";
constexpr const char* TRACKER_STATE =
    "-1: not set; 0 to 4: head tracker states (2: tracking the head)";

struct Entry {
    ColumnInfo info;
    std::vector<char> kinds;
};

void add(std::vector<Entry>& table, std::vector<char> kinds, const char* name, ColumnType type,
         const char* unit, const char* frame, const char* kind, const char* description,
         const char* legend = "") {
    table.push_back({{name, type, unit, frame, kind, description, legend}, std::move(kinds)});
}

std::vector<Entry> frameTable() {
    std::vector<Entry> t;
    add(t, {}, "frame_num", T::UINT32, "", "", "frame", "frame number of the camera frame");
    const std::vector<char> timing{id::TIMING_OUTPUT_DATA};
    const char* tk = "TimingOutputData";
    add(t, timing, "time_s", T::FLOAT64, "s", "", tk,
        "experiment time of the frame (the same as timing_experiment_time)");
    add(t, timing, "timestamp_utc", T::TIMESTAMP_NS, "ns", "UTC", tk,
        "frame time: timing_frame_time_secs since 1970-01-01 UTC plus the milliseconds");
    add(t, timing, "timing_experiment_time", T::FLOAT64, "s", "", tk, "experiment time");
    add(t, timing, "timing_frame_time_secs", T::INT32, "s", "UTC", tk,
        "frame time, whole seconds since 1970-01-01");
    add(t, timing, "timing_frame_time_msecs", T::UINT32, "ms", "", tk,
        "frame time, milliseconds past the whole second");
    add(t, timing, "timing_approx_delay", T::FLOAT32, "s", "", tk,
        "approximate delay of the frame's processing");
    add(t, timing, "timing_annotation_label_id", T::INT32, "", "", tk,
        "annotation label of the frame", "-1: no label");

    const std::vector<char> head{id::HEAD_OUTPUT_DATA_V2, id::HEAD_OUTPUT_DATA};
    const char* hk = "HeadOutputDataV2";
    add(t, head, "head_tracking", T::BOOL, "", "", hk, "the head is tracked");
    add(t, head, "head_position_x", T::FLOAT64, "engine", ENGINE_FRAME, hk,
        "filtered head position x");
    add(t, head, "head_position_y", T::FLOAT64, "engine", ENGINE_FRAME, hk,
        "filtered head position y");
    add(t, head, "head_position_z", T::FLOAT64, "engine", ENGINE_FRAME, hk,
        "filtered head position z");
    add(t, head, "head_quaternion_w", T::FLOAT64, "1", ENGINE_FRAME, hk,
        "filtered head rotation, quaternion scalar part");
    add(t, head, "head_quaternion_x", T::FLOAT64, "1", ENGINE_FRAME, hk,
        "filtered head rotation, quaternion x");
    add(t, head, "head_quaternion_y", T::FLOAT64, "1", ENGINE_FRAME, hk,
        "filtered head rotation, quaternion y");
    add(t, head, "head_quaternion_z", T::FLOAT64, "1", ENGINE_FRAME, hk,
        "filtered head rotation, quaternion z");
    add(t, head, "head_rotation_x_rad", T::FLOAT64, "rad", ENGINE_FRAME, hk,
        "head rotation as Euler angle x, derived from the quaternion");
    add(t, head, "head_rotation_y_rad", T::FLOAT64, "rad", ENGINE_FRAME, hk,
        "head rotation as Euler angle y, derived from the quaternion");
    add(t, head, "head_rotation_z_rad", T::FLOAT64, "rad", ENGINE_FRAME, hk,
        "head rotation as Euler angle z, derived from the quaternion");
    add(t, head, "head_position_confidence", T::FLOAT64, "1", "", hk,
        "confidence of the head position, 0..1");
    add(t, head, "head_model_quality_level", T::INT8, "", "", hk,
        "quality level of the head model in use");
    static const char* eyeball[2][3] = {
        {"head_right_eyeball_x", "head_right_eyeball_y", "head_right_eyeball_z"},
        {"head_left_eyeball_x", "head_left_eyeball_y", "head_left_eyeball_z"}};
    for (int eye = 0; eye < 2; ++eye) {
        for (int a = 0; a < 3; ++a) {
            add(t, head, eyeball[eye][a], T::FLOAT64, "engine", ENGINE_FRAME, hk,
                eye == 0 ? "right eyeball centre by the head model"
                         : "left eyeball centre by the head model");
        }
    }

    const std::vector<char> pupil{id::PUPIL_OUTPUT_DATA};
    const char* pk = "PupilOutputData";
    static const char* pupils[2][4] = {
        {"pupil_right_x", "pupil_right_y", "pupil_right_z", "pupil_right_diameter"},
        {"pupil_left_x", "pupil_left_y", "pupil_left_z", "pupil_left_diameter"}};
    for (int eye = 0; eye < 2; ++eye) {
        for (int a = 0; a < 3; ++a) {
            add(t, pupil, pupils[eye][a], T::FLOAT32, "engine", ENGINE_FRAME, pk,
                eye == 0 ? "right pupil centre" : "left pupil centre");
        }
        add(t, pupil, pupils[eye][3], T::FLOAT32, "engine", "", pk,
            eye == 0 ? "right pupil diameter" : "left pupil diameter");
    }

    const std::vector<char> lid{id::EYE_CLOSURE_OUTPUT_DATA};
    const char* lk = "EyeClosureOutputData";
    add(t, lid, "eyelid_right_closure", T::FLOAT32, "1", "", lk, "right eyelid closure, 0..1");
    add(t, lid, "eyelid_left_closure", T::FLOAT32, "1", "", lk, "left eyelid closure, 0..1");
    add(t, lid, "eyelid_right_confidence", T::FLOAT32, "1", "", lk,
        "confidence of the right closure, 0..1");
    add(t, lid, "eyelid_left_confidence", T::FLOAT32, "1", "", lk,
        "confidence of the left closure, 0..1");
    add(t, lid, "eyelid_calibration_status", T::FLOAT32, "1", "", lk,
        "calibration status of the closure measurement, 0..1", "0: not calibrated; 1: calibrated");
    add(t, lid, "blinking", T::BOOL, "", "", lk, "a blink is in progress");
    add(t, lid, "blink_frequency", T::FLOAT32, "engine", "", lk, "blink frequency");
    add(t, lid, "blink_average_duration", T::FLOAT32, "engine", "", lk, "average blink duration");
    add(t, lid, "perclos", T::FLOAT32, "1", "", lk,
        "proportion of time the eyes are closed (PERCLOS), 0..1");

    const std::vector<char> gaze{id::GAZE_OUTPUT_DATA};
    const char* gk = "GazeOutputData";
    static const char* gazes[2][7] = {
        {"gaze_right_quality", "gaze_right_eyeball_x", "gaze_right_eyeball_y",
         "gaze_right_eyeball_z", "gaze_right_pitch_rad", "gaze_right_yaw_rad", "right"},
        {"gaze_left_quality", "gaze_left_eyeball_x", "gaze_left_eyeball_y", "gaze_left_eyeball_z",
         "gaze_left_pitch_rad", "gaze_left_yaw_rad", "left"}};
    for (int eye = 0; eye < 2; ++eye) {
        const bool right = eye == 0;
        add(t, gaze, gazes[eye][0], T::INT32, "", "", gk,
            right ? "quality of the right gaze estimate" : "quality of the left gaze estimate",
            QUALITY);
        for (int a = 1; a <= 3; ++a) {
            add(t, gaze, gazes[eye][a], T::FLOAT32, "engine", ENGINE_FRAME, gk,
                right ? "right eyeball centre" : "left eyeball centre");
        }
        add(t, gaze, gazes[eye][4], T::FLOAT32, "rad", ENGINE_FRAME, gk,
            right ? "right gaze direction, pitch" : "left gaze direction, pitch");
        add(t, gaze, gazes[eye][5], T::FLOAT32, "rad", ENGINE_FRAME, gk,
            right ? "right gaze direction, yaw" : "left gaze direction, yaw");
    }
    add(t, gaze, "gaze_calibrated", T::BOOL, "", "", gk, "the gaze calibration has been applied");
    add(t, gaze, "saccade", T::BOOL, "", "", gk, "a saccade is in progress");

    add(t, {id::ENGINE_STATE_OUTPUT_DATA}, "engine_state", T::INT32, "", "",
        "EngineStateOutputData", "the engine's overall state", ENGINE_STATE);
    add(t, {id::HEAD_TRACKER_STATE_OUTPUT_DATA}, "head_tracker_state", T::INT32, "", "",
        "HeadTrackerStateOutputData", "the head tracker's state (in the engine state record)",
        TRACKER_STATE);

    const std::vector<char> target{id::GAZE_INTERSECTION_OUTPUT_DATA_V4};
    const char* vk = "GazeIntersectionOutputDataV4";
    add(t, target, "gaze_target_label", T::STRING, "", "", vk,
        "first labelled gaze intersection of the world container: its label (all of them: "
        "table gaze_intersections)");
    add(t, target, "gaze_target_x", T::FLOAT32, "engine", "world", vk, "its world point x");
    add(t, target, "gaze_target_y", T::FLOAT32, "engine", "world", vk, "its world point y");
    add(t, target, "gaze_target_z", T::FLOAT32, "engine", "world", vk, "its world point z");
    add(t, target, "gaze_target_plane_x", T::FLOAT32, "engine", "item plane", vk,
        "its point in the item's plane, x");
    add(t, target, "gaze_target_plane_y", T::FLOAT32, "engine", "item plane", vk,
        "its point in the item's plane, y");
    add(t, target, "gaze_target_pixel_x", T::INT32, "px", "item pixels", vk, "its pixel x");
    add(t, target, "gaze_target_pixel_y", T::INT32, "px", "item pixels", vk, "its pixel y");

    const std::vector<char> gps{id::GPS_OUTPUT_DATA_V2, id::GPS_OUTPUT_DATA};
    const char* sk = "GPSOutputDataV2";
    add(t, gps, "gps_valid", T::BOOL, "", "", sk, "the GPS fix is valid");
    add(t, gps, "gps_gmt_time", T::UINT32, "", "UTC", sk, "GPS time as the receiver gives it");
    add(t, gps, "gps_latitude_deg", T::FLOAT64, "deg", "WGS 84", sk,
        "latitude in signed decimal degrees (south negative)");
    add(t, gps, "gps_longitude_deg", T::FLOAT64, "deg", "WGS 84", sk,
        "longitude in signed decimal degrees (west negative)");
    add(t, gps, "gps_speed_km_h", T::FLOAT32, "km/h", "", sk,
        "speed (first version: whole km/h, empty when it has none)");
    add(t, gps, "gps_course", T::FLOAT32, "deg", "", sk, "course over ground (second version)");

    const std::vector<char> inertia{id::INERTIA_OUTPUT_DATA};
    const char* ik = "InertiaOutputData";
    add(t, inertia, "inertia_angular_rate_x", T::FLOAT32, "engine", "sensor", ik,
        "angular rate about x");
    add(t, inertia, "inertia_angular_rate_y", T::FLOAT32, "engine", "sensor", ik,
        "angular rate about y");
    add(t, inertia, "inertia_angular_rate_z", T::FLOAT32, "engine", "sensor", ik,
        "angular rate about z");
    add(t, inertia, "inertia_accel_x", T::FLOAT32, "engine", "sensor", ik, "acceleration along x");
    add(t, inertia, "inertia_accel_y", T::FLOAT32, "engine", "sensor", ik, "acceleration along y");
    add(t, inertia, "inertia_accel_z", T::FLOAT32, "engine", "sensor", ik, "acceleration along z");
    return t;
}

// The columns of the two long tables; `gaze` adds the eye and the gaze object point.
std::vector<Entry> intersectionTable(bool gaze) {
    std::vector<Entry> t;
    const std::vector<char> kinds = gaze ? std::vector<char>{id::GAZE_INTERSECTION_OUTPUT_DATA_V1,
                                                             id::GAZE_INTERSECTION_OUTPUT_DATA_V2,
                                                             id::GAZE_INTERSECTION_OUTPUT_DATA_V3,
                                                             id::GAZE_INTERSECTION_OUTPUT_DATA_V4}
                                         : std::vector<char>{id::HEAD_INTERSECTION_OUTPUT_DATA_V1,
                                                             id::HEAD_INTERSECTION_OUTPUT_DATA_V2};
    const char* k =
        gaze ? "GazeIntersectionOutputDataV1 to V4" : "HeadIntersectionOutputDataV1, V2";
    add(t, {}, "frame_num", T::UINT32, "", "", "frame", "frame number of the camera frame");
    add(t, kinds, "version", T::INT8, "", "", k, "version of the intersection record");
    if (gaze) {
        add(t, kinds, "eye", T::INT8, "", "", k, "the eye of the gaze ray (version 4 only)",
            "0: right; 1: left; 2: both");
    }
    add(t, kinds, "label", T::STRING, "", "", k,
        "the item intersected: its label (versions 1 and 2: the object name, 7 characters at "
        "most)");
    add(t, kinds, "index", T::INT32, "", "", k, "the item's index");
    add(t, kinds, "intersects_screen", T::BOOL, "", "", k,
        "the ray meets the screen (versions 1 and 2 only)");
    add(t, kinds, "world_x", T::FLOAT32, "engine", "world", k, "intersection point x");
    add(t, kinds, "world_y", T::FLOAT32, "engine", "world", k, "intersection point y");
    add(t, kinds, "world_z", T::FLOAT32, "engine", "world", k, "intersection point z");
    add(t, kinds, "plane_x", T::FLOAT32, "engine", "item plane", k,
        "intersection in the item's plane (screen coordinates in versions 1 and 2), x");
    add(t, kinds, "plane_y", T::FLOAT32, "engine", "item plane", k, "the same, y");
    add(t, kinds, "pixel_x", T::INT32, "px", "item pixels", k, "intersection pixel x");
    add(t, kinds, "pixel_y", T::INT32, "px", "item pixels", k, "intersection pixel y");
    if (gaze) {
        add(t, kinds, "object_x", T::FLOAT32, "engine", "world", k,
            "gaze object intersection x (version 2 only)");
        add(t, kinds, "object_y", T::FLOAT32, "engine", "world", k, "the same, y");
        add(t, kinds, "object_z", T::FLOAT32, "engine", "world", k, "the same, z");
    }
    return t;
}

const std::vector<Entry>& entries(Table table) {
    static const std::vector<Entry> frame = frameTable();
    static const std::vector<Entry> gaze = intersectionTable(true);
    static const std::vector<Entry> head = intersectionTable(false);
    switch (table) {
        case Table::GAZE_INTERSECTIONS:
            return gaze;
        case Table::HEAD_INTERSECTIONS:
            return head;
        default:
            return frame;
    }
}

std::vector<ColumnInfo> infos(Table table) {
    std::vector<ColumnInfo> list;
    for (const Entry& e : entries(table)) {
        list.push_back(e.info);
    }
    return list;
}

}  // namespace

const char* columnTypeName(ColumnType type) {
    switch (type) {
        case T::BOOL:
            return "bool";
        case T::INT8:
            return "int8";
        case T::INT32:
            return "int32";
        case T::UINT32:
            return "uint32";
        case T::INT64:
            return "int64";
        case T::FLOAT32:
            return "float32";
        case T::FLOAT64:
            return "float64";
        case T::TIMESTAMP_NS:
            return "timestamp_ns";
        case T::STRING:
            return "string";
    }
    return "unknown";
}

std::size_t columnTypeSize(ColumnType type) {
    switch (type) {
        case T::BOOL:
        case T::INT8:
            return 1;
        case T::INT32:
        case T::UINT32:
        case T::FLOAT32:
            return 4;
        case T::INT64:
        case T::FLOAT64:
        case T::TIMESTAMP_NS:
            return 8;
        case T::STRING:
            return 0;
    }
    return 0;
}

const char* tableName(Table table) {
    switch (table) {
        case Table::GAZE_INTERSECTIONS:
            return "gaze_intersections";
        case Table::HEAD_INTERSECTIONS:
            return "head_intersections";
        default:
            return "frame";
    }
}

bool tableOfName(const std::string& name, Table& table) {
    for (Table t : {Table::FRAME, Table::GAZE_INTERSECTIONS, Table::HEAD_INTERSECTIONS}) {
        if (name == tableName(t)) {
            table = t;
            return true;
        }
    }
    return false;
}

const std::vector<ColumnInfo>& columns(Table table) {
    static const std::vector<ColumnInfo> frame = infos(Table::FRAME);
    static const std::vector<ColumnInfo> gaze = infos(Table::GAZE_INTERSECTIONS);
    static const std::vector<ColumnInfo> head = infos(Table::HEAD_INTERSECTIONS);
    switch (table) {
        case Table::GAZE_INTERSECTIONS:
            return gaze;
        case Table::HEAD_INTERSECTIONS:
            return head;
        default:
            return frame;
    }
}

int columnIndex(Table table, const std::string& name) {
    const std::vector<ColumnInfo>& list = columns(table);
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (name == list[i].name) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

const std::vector<char>& columnKinds(Table table, std::size_t column) {
    return entries(table).at(column).kinds;
}

}  // namespace vq::eod
