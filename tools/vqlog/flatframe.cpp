#include "vqlog/flatframe.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace vqlog {

namespace {

using namespace vq::eod;
template <typename T>
using Ptr = boost::shared_ptr<const T>;

// The records of one frame that the column groups read.
struct Records {
    Ptr<TimingOutputData> timing;
    Ptr<HeadOutputDataV2> head;
    Ptr<PupilOutputData> pupil;
    Ptr<EyeClosureOutputData> eyelid;
    Ptr<GazeOutputData> gaze;
    Ptr<EngineStateOutputData> engine;
    Ptr<HeadTrackerStateOutputData> head_tracker;
    Ptr<GazeIntersectionOutputDataV4> gaze_target;
    Ptr<GPSOutputData> gps_v1;
    Ptr<GPSOutputDataV2> gps;
    Ptr<InertiaOutputData> inertia;
};

Records recordsOf(const EngineOutputData& frame) {
    Records r;
    r.timing = frame.timingOutputData();
    r.head = frame.headOutputData();
    if (Ptr<EyeOutputData> eye = frame.eyeOutputData()) {
        r.pupil = eye->pupilOutputData();
        r.eyelid = eye->eyeClosureOutputData();
        r.gaze = eye->gazeOutputData();
    }
    // Eye records that a writer put into the frame itself, outside an eye container.
    if (!r.pupil) {
        r.pupil = frame.subObjectAs<PupilOutputData>(object_id::PUPIL_OUTPUT_DATA);
    }
    if (!r.eyelid) {
        r.eyelid = frame.subObjectAs<EyeClosureOutputData>(object_id::EYE_CLOSURE_OUTPUT_DATA);
    }
    if (!r.gaze) {
        r.gaze = frame.subObjectAs<GazeOutputData>(object_id::GAZE_OUTPUT_DATA);
    }
    r.engine = frame.engineStateOutputData();
    if (r.engine) {
        r.head_tracker = r.engine->headtrackerStateOutputData();
    }
    if (Ptr<WorldOutputDataV2> world = frame.worldOutputData()) {
        r.gaze_target = world->subObjectAs<GazeIntersectionOutputDataV4>(
            object_id::GAZE_INTERSECTION_OUTPUT_DATA_V4);
    }
    r.gps_v1 = frame.gpsOutputData();
    r.gps = frame.gpsOutputDataV2();
    r.inertia = frame.inertiaOutputData();
    return r;
}

// Degrees, minutes and seconds as signed decimal degrees.
template <typename Coordinate>
double decimalDegrees(const Coordinate& c) {
    // One division, so that whole seconds give the nearest double (151 12' 36" is 151.21).
    const double degrees =
        (c.degrees * 3600.0 + c.minutes * 60.0 + static_cast<double>(c.seconds)) / 3600.0;
    return c.hemisphere == 'S' || c.hemisphere == 'W' ? -degrees : degrees;
}

// Appends the columns of a 3D point: name_x, name_y, name_z.
void xyz(std::vector<std::string>& names, const std::string& name) {
    for (const char* axis : {"_x", "_y", "_z"}) {
        names.push_back(name + axis);
    }
}

template <typename T>
void fillXyz(Cell*& c, const std::vector<T>& v) {
    for (std::size_t i = 0; i < 3; ++i) {
        *c++ = std::is_same<T, float>::value ? Cell::ofSingle(static_cast<float>(v[i]))
                                             : Cell::ofDouble(static_cast<double>(v[i]));
    }
}

struct ColumnGroup {
    std::vector<char> kinds;  // the kinds that bring these columns
    std::vector<std::string> names;
    void (*fill)(const Records& records, Cell* cells);  // leaves absent records' cells empty
};

std::vector<ColumnGroup> makeGroups() {
    std::vector<ColumnGroup> groups;

    groups.push_back(
        {{object_id::TIMING_OUTPUT_DATA},
         {"timing_experiment_time", "timing_frame_time_secs", "timing_frame_time_msecs",
          "timing_approx_delay", "timing_annotation_label_id"},
         [](const Records& r, Cell* c) {
             if (!r.timing) {
                 return;
             }
             *c++ = Cell::ofDouble(r.timing->experimentTime());
             *c++ = Cell::ofInteger(r.timing->frameTimeSecs());
             *c++ = Cell::ofInteger(r.timing->frameTimeMSecs());
             *c++ = Cell::ofSingle(r.timing->approxDelay());
             *c++ = Cell::ofInteger(r.timing->annotationLabelID());
         }});

    ColumnGroup head{{object_id::HEAD_OUTPUT_DATA_V2, object_id::HEAD_OUTPUT_DATA},
                     {"head_tracking"},
                     [](const Records& r, Cell* c) {
                         if (!r.head) {
                             return;
                         }
                         *c++ = Cell::ofFlag(r.head->isTracking());
                         fillXyz(c, r.head->headPosition());
                         for (double q : r.head->headRotationQuaternion()) {
                             *c++ = Cell::ofDouble(q);
                         }
                         fillXyz(c, r.head->headRotation());
                         *c++ = Cell::ofDouble(r.head->headPositionConfidence());
                         *c++ = Cell::ofInteger(r.head->modelQualityLevel());
                         fillXyz(c, r.head->headEyeBallPos(RIGHT_EYE));
                         fillXyz(c, r.head->headEyeBallPos(LEFT_EYE));
                     }};
    xyz(head.names, "head_position");
    for (const char* part : {"w", "x", "y", "z"}) {
        head.names.push_back(std::string("head_quaternion_") + part);
    }
    for (const char* axis : {"x", "y", "z"}) {
        head.names.push_back(std::string("head_rotation_") + axis + "_rad");
    }
    head.names.push_back("head_position_confidence");
    head.names.push_back("head_model_quality_level");
    xyz(head.names, "head_right_eyeball");
    xyz(head.names, "head_left_eyeball");
    groups.push_back(head);

    ColumnGroup pupil{{object_id::PUPIL_OUTPUT_DATA}, {}, [](const Records& r, Cell* c) {
                          if (!r.pupil) {
                              return;
                          }
                          for (int eye : {RIGHT_EYE, LEFT_EYE}) {
                              fillXyz(c, r.pupil->pupilPosition(eye));
                              *c++ = Cell::ofSingle(r.pupil->pupilDiameter(eye));
                          }
                      }};
    for (const char* eye : {"right", "left"}) {
        xyz(pupil.names, std::string("pupil_") + eye);
        pupil.names.push_back(std::string("pupil_") + eye + "_diameter");
    }
    groups.push_back(pupil);

    groups.push_back({{object_id::EYE_CLOSURE_OUTPUT_DATA},
                      {"eyelid_right_closure", "eyelid_left_closure", "eyelid_right_confidence",
                       "eyelid_left_confidence", "eyelid_calibration_status", "blinking",
                       "blink_frequency", "blink_average_duration", "perclos"},
                      [](const Records& r, Cell* c) {
                          if (!r.eyelid) {
                              return;
                          }
                          *c++ = Cell::ofSingle(r.eyelid->eyeClosure(RIGHT_EYE));
                          *c++ = Cell::ofSingle(r.eyelid->eyeClosure(LEFT_EYE));
                          *c++ = Cell::ofSingle(r.eyelid->eyeClosureConfidence(RIGHT_EYE));
                          *c++ = Cell::ofSingle(r.eyelid->eyeClosureConfidence(LEFT_EYE));
                          *c++ = Cell::ofSingle(r.eyelid->eyeClosureCalibStatus());
                          *c++ = Cell::ofFlag(r.eyelid->blinking());
                          *c++ = Cell::ofSingle(r.eyelid->blinkFrequency());
                          *c++ = Cell::ofSingle(r.eyelid->averageBlinkDuration());
                          *c++ = Cell::ofSingle(r.eyelid->perclos());
                      }});

    ColumnGroup gaze{{object_id::GAZE_OUTPUT_DATA}, {}, [](const Records& r, Cell* c) {
                         if (!r.gaze) {
                             return;
                         }
                         for (int eye : {RIGHT_EYE, LEFT_EYE}) {
                             *c++ = Cell::ofInteger(r.gaze->gazeQualityLevel(eye));
                             fillXyz(c, r.gaze->eyeballCentre(eye));
                             *c++ = Cell::ofSingle(r.gaze->gazeRotation(eye)[0]);
                             *c++ = Cell::ofSingle(r.gaze->gazeRotation(eye)[1]);
                         }
                         *c++ = Cell::ofFlag(r.gaze->gazeCalibrated());
                         *c++ = Cell::ofFlag(r.gaze->saccade());
                     }};
    for (const char* eye : {"right", "left"}) {
        const std::string prefix = std::string("gaze_") + eye;
        gaze.names.push_back(prefix + "_quality");
        xyz(gaze.names, prefix + "_eyeball");
        gaze.names.push_back(prefix + "_pitch_rad");
        gaze.names.push_back(prefix + "_yaw_rad");
    }
    gaze.names.push_back("gaze_calibrated");
    gaze.names.push_back("saccade");
    groups.push_back(gaze);

    groups.push_back(
        {{object_id::ENGINE_STATE_OUTPUT_DATA}, {"engine_state"}, [](const Records& r, Cell* c) {
             if (r.engine) {
                 *c = Cell::ofInteger(r.engine->state());
             }
         }});
    groups.push_back({{object_id::HEAD_TRACKER_STATE_OUTPUT_DATA},
                      {"head_tracker_state"},
                      [](const Records& r, Cell* c) {
                          if (r.head_tracker) {
                              *c = Cell::ofInteger(r.head_tracker->state());
                          }
                      }});

    groups.push_back({{object_id::GAZE_INTERSECTION_OUTPUT_DATA_V4},
                      {"gaze_target_label", "gaze_target_x", "gaze_target_y", "gaze_target_z",
                       "gaze_target_plane_x", "gaze_target_plane_y"},
                      [](const Records& r, Cell* c) {
                          if (!r.gaze_target || r.gaze_target->labels().empty()) {
                              return;
                          }
                          const ObjectIntersection hit = r.gaze_target->firstIntersection();
                          *c++ = Cell::ofText(hit.object_name);
                          fillXyz(c, hit.world);
                          *c++ = Cell::ofSingle(hit.screen[0]);
                          *c++ = Cell::ofSingle(hit.screen[1]);
                      }});

    groups.push_back({{object_id::GPS_OUTPUT_DATA_V2, object_id::GPS_OUTPUT_DATA},
                      {"gps_valid", "gps_gmt_time", "gps_latitude_deg", "gps_longitude_deg",
                       "gps_speed_km_h", "gps_course"},
                      [](const Records& r, Cell* c) {
                          if (r.gps) {
                              *c++ = Cell::ofFlag(r.gps->isDataValid());
                              *c++ = Cell::ofInteger(r.gps->gmtTime());
                              *c++ = Cell::ofDouble(decimalDegrees(r.gps->latitude()));
                              *c++ = Cell::ofDouble(decimalDegrees(r.gps->longitude()));
                              *c++ = Cell::ofSingle(r.gps->speed());
                              *c++ = Cell::ofSingle(r.gps->course());
                          } else if (r.gps_v1) {
                              *c++ = Cell::ofFlag(r.gps_v1->isDataValid());
                              *c++ = Cell::ofInteger(r.gps_v1->gmtTime());
                              *c++ = Cell::ofDouble(decimalDegrees(r.gps_v1->latitude()));
                              *c++ = Cell::ofDouble(decimalDegrees(r.gps_v1->longitude()));
                              if (r.gps_v1->speed() >= 0) {  // -1: no speed
                                  *c = Cell::ofInteger(r.gps_v1->speed());
                              }
                          }
                      }});

    groups.push_back({{object_id::INERTIA_OUTPUT_DATA},
                      {"inertia_angular_rate_x", "inertia_angular_rate_y", "inertia_angular_rate_z",
                       "inertia_accel_x", "inertia_accel_y", "inertia_accel_z"},
                      [](const Records& r, Cell* c) {
                          if (!r.inertia) {
                              return;
                          }
                          for (float value : {r.inertia->angularRateX(), r.inertia->angularRateY(),
                                              r.inertia->angularRateZ(), r.inertia->accelX(),
                                              r.inertia->accelY(), r.inertia->accelZ()}) {
                              *c++ = Cell::ofSingle(value);
                          }
                      }});
    return groups;
}

const std::vector<ColumnGroup>& groups() {
    static const std::vector<ColumnGroup> table = makeGroups();
    return table;
}

template <typename T>
void appendNumber(std::string& out, T value) {
    char text[64];
    const auto result = std::to_chars(text, text + sizeof text, value);
    out.append(text, result.ptr);
}

void appendReal(std::string& out, const Cell& cell) {
    if (cell.type == Cell::SINGLE) {
        appendNumber(out, static_cast<float>(cell.real));
    } else {
        appendNumber(out, cell.real);
    }
}

void appendJsonString(std::string& out, const std::string& text) {
    out += '"';
    for (char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            out += escaped;
        } else {
            out += c;
        }
    }
    out += '"';
}

}  // namespace

Cell Cell::ofFlag(bool value) {
    Cell cell;
    cell.type = FLAG;
    cell.flag = value;
    return cell;
}

Cell Cell::ofInteger(long long value) {
    Cell cell;
    cell.type = INTEGER;
    cell.integer = value;
    return cell;
}

Cell Cell::ofSingle(float value) {
    Cell cell;
    cell.type = SINGLE;
    cell.real = value;
    return cell;
}

Cell Cell::ofText(std::string value) {
    Cell cell;
    cell.type = TEXT;
    cell.text = std::move(value);
    return cell;
}

Cell Cell::ofDouble(double value) {
    Cell cell;
    cell.type = DOUBLE;
    cell.real = value;
    return cell;
}

void appendCsv(std::string& out, const Cell& cell) {
    switch (cell.type) {
        case Cell::ABSENT:
            break;
        case Cell::FLAG:
            out += cell.flag ? '1' : '0';
            break;
        case Cell::INTEGER:
            appendNumber(out, cell.integer);
            break;
        case Cell::TEXT:
            if (cell.text.find_first_of(",\"\r\n") == std::string::npos) {
                out += cell.text;
            } else {
                out += '"';
                for (char c : cell.text) {
                    out += c == '"' ? std::string("\"\"") : std::string(1, c);
                }
                out += '"';
            }
            break;
        default:
            if (std::isnan(cell.real)) {
                out += "NaN";
            } else if (std::isinf(cell.real)) {
                out += cell.real > 0 ? "Inf" : "-Inf";
            } else {
                appendReal(out, cell);
            }
            break;
    }
}

void appendJson(std::string& out, const Cell& cell) {
    switch (cell.type) {
        case Cell::FLAG:
            out += cell.flag ? "true" : "false";
            break;
        case Cell::INTEGER:
            appendNumber(out, cell.integer);
            break;
        case Cell::TEXT:
            appendJsonString(out, cell.text);
            break;
        case Cell::SINGLE:
        case Cell::DOUBLE:
            if (std::isfinite(cell.real)) {
                appendReal(out, cell);
                break;
            }
            [[fallthrough]];
        default:
            out += "null";
            break;
    }
}

FlatLayout::FlatLayout(const std::set<char>& kinds) : _names{"frame_num"} {
    for (std::size_t g = 0; g < groups().size(); ++g) {
        for (char id : groups()[g].kinds) {
            if (kinds.count(id) > 0) {
                _groups.push_back(g);
                _names.insert(_names.end(), groups()[g].names.begin(), groups()[g].names.end());
                break;
            }
        }
    }
}

int FlatLayout::column(const std::string& name) const {
    for (std::size_t i = 0; i < _names.size(); ++i) {
        if (_names[i] == name) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

std::set<char> FlatLayout::uncovered(const std::set<char>& kinds) {
    std::set<char> left = kinds;
    // Containers: their records have the columns.
    left.erase(object_id::EYE_OUTPUT_DATA);
    left.erase(object_id::WORLD_OUTPUT_DATA_V2);
    for (const ColumnGroup& group : groups()) {
        for (char id : group.kinds) {
            left.erase(id);
        }
    }
    return left;
}

std::vector<Cell> FlatLayout::row(const EngineOutputData& frame) const {
    std::vector<Cell> cells(_names.size());
    cells[0] = Cell::ofInteger(frame.frameNum());
    const Records records = recordsOf(frame);
    std::size_t next = 1;
    for (std::size_t g : _groups) {
        groups()[g].fill(records, &cells[next]);
        next += groups()[g].names.size();
    }
    return cells;
}

}  // namespace vqlog
