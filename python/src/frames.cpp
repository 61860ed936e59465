// Frames and their records as Python objects. Each object holds a shared pointer to the
// library's record, so a record taken from a frame stays valid whatever happens to the frame,
// and changing it changes the frame. Angles are radians and times seconds; lengths are in the
// engine's own unit (metres in vqlog's demo), as the table of columns says.
#include <string>
#include <vector>

#include <nanobind/stl/optional.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include "bindings.h"

namespace vqpy {

using namespace vq::eod;

namespace {

template <class T>
struct Ref {
    boost::shared_ptr<T> p;
};

// The records of a frame's eyes: the eye container when there is one, and its three records
// (or the frame's own eye records, which writers of older recordings put there).
struct Eyes {
    boost::shared_ptr<EyeOutputData> container;
    boost::shared_ptr<PupilOutputData> pupil;
    boost::shared_ptr<EyeClosureOutputData> closure;
    boost::shared_ptr<GazeOutputData> gaze;
};

struct Eye {
    Eyes eyes;
    int id;
};

struct Pupil {
    boost::shared_ptr<PupilOutputData> p;
    int id;
};

struct Gaze {
    boost::shared_ptr<GazeOutputData> p;
    int id;
};

template <class V>
nb::tuple toTuple(const V& values) {
    nb::object tuple = nb::steal(PyTuple_New(static_cast<Py_ssize_t>(values.size())));
    for (std::size_t i = 0; i < values.size(); ++i) {
        PyTuple_SET_ITEM(tuple.ptr(), static_cast<Py_ssize_t>(i),
                         PyFloat_FromDouble(static_cast<double>(values[i])));
    }
    return nb::borrow<nb::tuple>(tuple);
}

nb::tuple toIntTuple(const std::vector<int>& values) {
    nb::object tuple = nb::steal(PyTuple_New(static_cast<Py_ssize_t>(values.size())));
    for (std::size_t i = 0; i < values.size(); ++i) {
        PyTuple_SET_ITEM(tuple.ptr(), static_cast<Py_ssize_t>(i), PyLong_FromLong(values[i]));
    }
    return nb::borrow<nb::tuple>(tuple);
}

std::vector<float> toFloats(const std::vector<double>& values) {
    return std::vector<float>(values.begin(), values.end());
}

template <class T>
std::optional<Ref<T>> ref(const boost::shared_ptr<T>& p) {
    if (!p) {
        return std::nullopt;
    }
    return Ref<T>{p};
}

template <class T>
Ref<T> make() {
    return Ref<T>{boost::shared_ptr<T>(new T())};
}

// Where a frame's head and eye records live: face set 0 when the frame has one (current
// writers), the frame itself otherwise. Looking never moves a record, so a frame read and
// written again keeps its bytes.
SerializableComposite& faceOf(EngineOutputData& frame) {
    auto face = frame.subObjectAs<FaceSetOutputData>(object_id::FACE_SET_OUTPUT_DATA);
    return face ? static_cast<SerializableComposite&>(*face) : frame;
}

// The head: V2 where it lives, or a first-version head as a V2 copy.
boost::shared_ptr<HeadOutputDataV2> headOf(EngineOutputData& frame) {
    SerializableComposite& holder = faceOf(frame);
    if (auto head = holder.subObjectAs<HeadOutputDataV2>(object_id::HEAD_OUTPUT_DATA_V2)) {
        return head;
    }
    if (auto v1 = holder.subObjectAs<HeadOutputData>(object_id::HEAD_OUTPUT_DATA)) {
        return boost::shared_ptr<HeadOutputDataV2>(new HeadOutputDataV2(*v1));
    }
    return nullptr;
}

std::optional<Eyes> eyesOf(EngineOutputData& frame) {
    Eyes eyes;
    SerializableComposite& holder = faceOf(frame);
    eyes.container = holder.subObjectAs<EyeOutputData>(object_id::EYE_OUTPUT_DATA);
    SerializableComposite& records =
        eyes.container ? static_cast<SerializableComposite&>(*eyes.container) : frame;
    eyes.pupil = records.subObjectAs<PupilOutputData>(object_id::PUPIL_OUTPUT_DATA);
    eyes.closure = records.subObjectAs<EyeClosureOutputData>(object_id::EYE_CLOSURE_OUTPUT_DATA);
    eyes.gaze = records.subObjectAs<GazeOutputData>(object_id::GAZE_OUTPUT_DATA);
    if (!eyes.container && !eyes.pupil && !eyes.closure && !eyes.gaze) {
        return std::nullopt;
    }
    return eyes;
}

// Replaces the records of kind `id` in the composite (none: removes them).
void replaceIn(SerializableComposite& holder, char id,
               const boost::shared_ptr<Serializable>& record) {
    while (holder.hasSubObjectID(id)) {
        holder.removeSubObject(id);
    }
    if (record) {
        holder.addSubObject(record);
    }
}

nb::bytes frameBytes(const EngineOutputData& frame) {
    ByteBuffer buffer;
    frame.serialize(buffer);
    return nb::bytes(reinterpret_cast<const char*>(buffer.data()), buffer.size());
}

Frame frameFromBytes(nb::bytes data) {
    const auto* begin = static_cast<const unsigned char*>(data.data());
    const ByteBuffer buffer(begin, begin + data.size());
    return withPath("<bytes>", [&] {
        int pos = 0;
        boost::shared_ptr<Serializable> object = SerializableFactory::newObject(buffer, pos);
        auto frame = boost::dynamic_pointer_cast<EngineOutputData>(object);
        if (!frame) {
            throw nb::value_error("the bytes hold no frame record");
        }
        if (pos != static_cast<int>(buffer.size())) {
            throw nb::value_error("bytes left after the frame record");
        }
        return Frame{frame};
    });
}

// A property whose value is a tuple of floats; `get` returns the record's vector (by reference
// where the record keeps one, so that reading it copies nothing but into the tuple).
template <class T, class Get, class Set>
void vectorProperty(nb::class_<T>& cls, const char* name, Get get, Set set, const char* doc) {
    cls.def_prop_rw(
        name, [get](const T& self) { return toTuple(get(self)); }, set, doc);
}

void bindHead(nb::module_& m) {
    using H = Ref<HeadOutputDataV2>;
    nb::class_<H> head(m, "Head", "The head record: pose of the head in camera coordinates.");
    head.def(nb::new_([] { return make<HeadOutputDataV2>(); }), "An empty head record.");
    head.def_prop_rw(
        "tracking", [](const H& h) { return h.p->isTracking(); },
        [](H& h, bool value) { h.p->setTrackingState(value); }, "Whether the head is tracked.");
    vectorProperty(
        head, "position", [](const H& h) -> decltype(auto) { return h.p->headPosition(); },
        [](H& h, const std::vector<double>& v) { h.p->setHeadPosition(v); },
        "Head position (x, y, z) in the engine's length unit (metres in vqlog's demo).");
    vectorProperty(
        head, "rotation", [](const H& h) -> decltype(auto) { return h.p->headRotation(); },
        [](H& h, const std::vector<double>& v) { h.p->setHeadRotation(v); },
        "Head rotation as Euler angles (x, y, z) in radians, derived from the quaternion.");
    vectorProperty(
        head, "quaternion",
        [](const H& h) -> decltype(auto) { return h.p->headRotationQuaternion(); },
        [](H& h, const std::vector<double>& v) { h.p->setHeadRotationQuaternion(v); },
        "Head rotation as a quaternion (w, x, y, z), as recorded.");
    head.def_prop_rw(
        "position_confidence", [](const H& h) { return h.p->headPositionConfidence(); },
        [](H& h, double value) { h.p->setHeadPositionConfidence(value); },
        "Confidence of the position, 0 to 1.");
    head.def_prop_rw(
        "model_quality_level",
        [](const H& h) { return static_cast<int>(h.p->modelQualityLevel()); },
        [](H& h, int value) { h.p->setModelQualityLevel(static_cast<char>(value)); },
        "Quality level of the head model (a code).");
    vectorProperty(
        head, "right_eyeball", [](const H& h) { return h.p->headEyeBallPos(RIGHT_EYE); },
        [](H& h, const std::vector<double>& v) { h.p->setHeadEyeballPos(RIGHT_EYE, v); },
        "Centre of the right eyeball (x, y, z) in the engine's length unit (metres in vqlog's "
        "demo).");
    vectorProperty(
        head, "left_eyeball", [](const H& h) { return h.p->headEyeBallPos(LEFT_EYE); },
        [](H& h, const std::vector<double>& v) { h.p->setHeadEyeballPos(LEFT_EYE, v); },
        "Centre of the left eyeball (x, y, z) in the engine's length unit (metres in vqlog's "
        "demo).");
}

const boost::shared_ptr<EyeClosureOutputData>& closureOf(const Eye& eye) {
    if (!eye.eyes.closure) {
        throw nb::value_error("these eyes have no eyelid record");
    }
    return eye.eyes.closure;
}

void bindEyes(nb::module_& m) {
    nb::class_<Pupil> pupil(m, "Pupil", "One eye's pupil.");
    vectorProperty(
        pupil, "position",
        [](const Pupil& p) -> decltype(auto) { return p.p->pupilPosition(p.id); },
        [](Pupil& p, const std::vector<double>& v) { p.p->setPupilPosition(p.id, toFloats(v)); },
        "Pupil centre (x, y, z) in the engine's length unit (metres in vqlog's demo).");
    pupil.def_prop_rw(
        "diameter", [](const Pupil& p) { return p.p->pupilDiameter(p.id); },
        [](Pupil& p, float value) { p.p->setPupilDiameter(p.id, value); },
        "Pupil diameter in the engine's length unit (metres in vqlog's demo).");

    nb::class_<Gaze> gaze(m, "Gaze", "One eye's gaze.");
    gaze.def_prop_rw(
        "quality", [](const Gaze& g) { return static_cast<int>(g.p->gazeQualityLevel(g.id)); },
        [](Gaze& g, int value) {
            if (value < 0 || value >= NUM_GAZE_QUALITY_LEVELS) {
                throw nb::value_error("gaze quality is 0 to 3");
            }
            g.p->setGazeQualityLevel(g.id, static_cast<GazeQualityLevel>(value));
        },
        "Gaze quality: 0 no tracking, 1 low, 2 medium, 3 infrared gaze.");
    vectorProperty(
        gaze, "eyeball", [](const Gaze& g) -> decltype(auto) { return g.p->eyeballCentre(g.id); },
        [](Gaze& g, const std::vector<double>& v) { g.p->setEyeballCentre(g.id, toFloats(v)); },
        "Eyeball centre (x, y, z) in the engine's length unit (metres in vqlog's demo).");
    gaze.def_prop_rw(
        "pitch", [](const Gaze& g) { return g.p->gazeRotation(g.id)[0]; },
        [](Gaze& g, float value) {
            g.p->setGazeRotationPitchYaw(g.id, {value, g.p->gazeRotation(g.id)[1]});
        },
        "Gaze pitch in radians.");
    gaze.def_prop_rw(
        "yaw", [](const Gaze& g) { return g.p->gazeRotation(g.id)[1]; },
        [](Gaze& g, float value) {
            g.p->setGazeRotationPitchYaw(g.id, {g.p->gazeRotation(g.id)[0], value});
        },
        "Gaze yaw in radians.");

    nb::class_<Eye> eye(m, "Eye", "One eye: its pupil, eyelid and gaze (None where not recorded).");
    eye.def_prop_ro(
        "pupil",
        [](const Eye& e) -> std::optional<Pupil> {
            if (!e.eyes.pupil)
                return std::nullopt;
            return Pupil{e.eyes.pupil, e.id};
        },
        "The pupil, or None.");
    eye.def_prop_ro(
        "gaze",
        [](const Eye& e) -> std::optional<Gaze> {
            if (!e.eyes.gaze)
                return std::nullopt;
            return Gaze{e.eyes.gaze, e.id};
        },
        "The gaze, or None.");
    eye.def_prop_rw(
        "closure",
        [](const Eye& e) -> std::optional<float> {
            if (!e.eyes.closure)
                return std::nullopt;
            return e.eyes.closure->eyeClosure(e.id);
        },
        [](Eye& e, float value) { closureOf(e)->setEyeClosure(e.id, value); },
        "Eyelid closure, 0 open to 1 closed, or None.");
    eye.def_prop_rw(
        "closure_confidence",
        [](const Eye& e) -> std::optional<float> {
            if (!e.eyes.closure)
                return std::nullopt;
            return e.eyes.closure->eyeClosureConfidence(e.id);
        },
        [](Eye& e, float value) { closureOf(e)->setEyeClosureConfidence(e.id, value); },
        "Confidence of the closure, 0 to 1, or None.");
}

void bindEyesRecord(nb::module_& m) {
    nb::class_<Eyes> eyes(m, "Eyes",
                          "Both eyes: the pupil, eyelid and gaze records and the per-eye views.");
    eyes.def(
        "__init__",
        [](Eyes* self, bool pupil, bool closure, bool gaze) {
            new (self)
                Eyes{boost::shared_ptr<EyeOutputData>(new EyeOutputData()),
                     pupil ? boost::shared_ptr<PupilOutputData>(new PupilOutputData()) : nullptr,
                     closure ? boost::shared_ptr<EyeClosureOutputData>(new EyeClosureOutputData())
                             : nullptr,
                     gaze ? boost::shared_ptr<GazeOutputData>(new GazeOutputData()) : nullptr};
            if (self->pupil)
                self->container->addSubObject(self->pupil);
            if (self->closure)
                self->container->addSubObject(self->closure);
            if (self->gaze)
                self->container->addSubObject(self->gaze);
        },
        nb::arg("pupil") = true, nb::arg("closure") = true, nb::arg("gaze") = true,
        "New eye records (zeros) in an eye container, for a frame to be written.");
    eyes.def_prop_ro(
        "right",
        [](const Eyes& e) {
            return Eye{e, RIGHT_EYE};
        },
        "The right eye.");
    eyes.def_prop_ro(
        "left",
        [](const Eyes& e) {
            return Eye{e, LEFT_EYE};
        },
        "The left eye.");
    eyes.def_prop_ro(
        "has_pupil", [](const Eyes& e) { return bool(e.pupil); },
        "Whether a pupil record is there.");
    eyes.def_prop_ro(
        "has_closure", [](const Eyes& e) { return bool(e.closure); },
        "Whether an eyelid record is there.");
    eyes.def_prop_ro(
        "has_gaze", [](const Eyes& e) { return bool(e.gaze); }, "Whether a gaze record is there.");

    auto closure = [](const Eyes& e) -> EyeClosureOutputData& {
        if (!e.closure) {
            throw nb::value_error("these eyes have no eyelid record");
        }
        return *e.closure;
    };
    auto gaze = [](const Eyes& e) -> GazeOutputData& {
        if (!e.gaze) {
            throw nb::value_error("these eyes have no gaze record");
        }
        return *e.gaze;
    };
    eyes.def_prop_rw(
        "blinking",
        [](const Eyes& e) {
            return e.closure ? std::optional(e.closure->blinking()) : std::nullopt;
        },
        [closure](Eyes& e, bool v) { closure(e).setBlinking(v); },
        "Whether the eyes blink (None without an eyelid record).");
    eyes.def_prop_rw(
        "blink_frequency",
        [](const Eyes& e) {
            return e.closure ? std::optional(e.closure->blinkFrequency()) : std::nullopt;
        },
        [closure](Eyes& e, float v) { closure(e).setBlinkFrequency(v); },
        "Blink frequency in the engine's unit.");
    eyes.def_prop_rw(
        "blink_duration",
        [](const Eyes& e) {
            return e.closure ? std::optional(e.closure->averageBlinkDuration()) : std::nullopt;
        },
        [closure](Eyes& e, float v) { closure(e).setAverageBlinkDuration(v); },
        "Average blink duration in the engine's unit.");
    eyes.def_prop_rw(
        "perclos",
        [](const Eyes& e) {
            return e.closure ? std::optional(e.closure->perclos()) : std::nullopt;
        },
        [closure](Eyes& e, float v) { closure(e).setPerclos(v); },
        "Share of time the eyes are mostly closed, 0 to 1.");
    eyes.def_prop_rw(
        "closure_calibration",
        [](const Eyes& e) {
            return e.closure ? std::optional(e.closure->eyeClosureCalibStatus()) : std::nullopt;
        },
        [closure](Eyes& e, float v) { closure(e).setEyeClosureCalibStatus(v); },
        "Calibration status of the eyelid measurement (a code).");
    eyes.def_prop_rw(
        "gaze_calibrated",
        [](const Eyes& e) {
            return e.gaze ? std::optional(e.gaze->gazeCalibrated()) : std::nullopt;
        },
        [gaze](Eyes& e, bool v) { gaze(e).setGazeCalibrated(v); },
        "Whether the gaze is calibrated (None without a gaze record).");
    eyes.def_prop_rw(
        "saccade",
        [](const Eyes& e) { return e.gaze ? std::optional(e.gaze->saccade()) : std::nullopt; },
        [gaze](Eyes& e, bool v) { gaze(e).setSaccade(v); }, "Whether the eyes are in a saccade.");
}

void bindOthers(nb::module_& m) {
    using T = Ref<TimingOutputData>;
    nb::class_<T> timing(m, "Timing", "The timing record.");
    timing.def(nb::new_([] { return make<TimingOutputData>(); }), "An empty timing record.");
    timing.def_prop_rw(
        "experiment_time", [](const T& t) { return t.p->experimentTime(); },
        [](T& t, double v) { t.p->setExperimentTime(v); }, "Time since the experiment began, s.");
    timing.def_prop_rw(
        "frame_time_secs", [](const T& t) { return t.p->frameTimeSecs(); },
        [](T& t, int v) { t.p->setFrameTimeSeconds(v); },
        "UTC time of the camera frame: whole seconds since 1970-01-01.");
    timing.def_prop_rw(
        "frame_time_msecs", [](const T& t) { return t.p->frameTimeMSecs(); },
        [](T& t, unsigned short v) { t.p->setFrameTimeMilliseconds(v); },
        "UTC time of the camera frame: the milliseconds, 0 to 999.");
    timing.def_prop_rw(
        "approx_delay", [](const T& t) { return t.p->approxDelay(); },
        [](T& t, float v) { t.p->setApproxDelay(v); }, "Approximate processing delay, s.");
    timing.def_prop_rw(
        "annotation_label_id", [](const T& t) { return t.p->annotationLabelID(); },
        [](T& t, int v) { t.p->setAnnotationLabelID(v); }, "Annotation label (a code).");

    using S = Ref<EngineStateOutputData>;
    nb::class_<S> state(m, "EngineState", "The engine state record.");
    state.def(nb::new_([] { return make<EngineStateOutputData>(); }), "An empty state record.");
    state.def_prop_rw(
        "state", [](const S& s) { return s.p->state(); }, [](S& s, int v) { s.p->setState(v); },
        "Engine state: -1, 0 or 1 (a code).");
    state.def_prop_rw(
        "head_tracker_state",
        [](const S& s) -> std::optional<int> {
            auto tracker = s.p->headtrackerStateOutputData();
            if (!tracker) {
                return std::nullopt;
            }
            return tracker->state();
        },
        [](S& s, std::optional<int> value) {
            boost::shared_ptr<Serializable> tracker;
            if (value) {
                tracker.reset(new HeadTrackerStateOutputData(*value));
            }
            replaceIn(*s.p, object_id::HEAD_TRACKER_STATE_OUTPUT_DATA, tracker);
        },
        nb::arg("value").none(), "Head tracker state: -1 to 4 (a code), or None.");

    using I = Ref<InertiaOutputData>;
    nb::class_<I> inertia(m, "Inertia", "The inertial sensor record.");
    inertia.def(nb::new_([] { return make<InertiaOutputData>(); }), "An empty inertia record.");
    vectorProperty(
        inertia, "angular_rate",
        [](const I& i) {
            return std::vector<float>{i.p->angularRateX(), i.p->angularRateY(),
                                      i.p->angularRateZ()};
        },
        [](I& i, const std::vector<double>& v) {
            if (v.size() != 3)
                throw nb::value_error("3 values expected");
            i.p->setAngularRateX(float(v[0]));
            i.p->setAngularRateY(float(v[1]));
            i.p->setAngularRateZ(float(v[2]));
        },
        "Angular rate (x, y, z) in the engine's unit.");
    vectorProperty(
        inertia, "acceleration",
        [](const I& i) {
            return std::vector<float>{i.p->accelX(), i.p->accelY(), i.p->accelZ()};
        },
        [](I& i, const std::vector<double>& v) {
            if (v.size() != 3)
                throw nb::value_error("3 values expected");
            i.p->setAccelX(float(v[0]));
            i.p->setAccelY(float(v[1]));
            i.p->setAccelZ(float(v[2]));
        },
        "Acceleration (x, y, z) in the engine's unit (m/s² in vqlog's demo).");
}

double decimalDegrees(double degrees, double minutes, double seconds, char hemisphere) {
    const double value = (degrees * 3600.0 + minutes * 60.0 + seconds) / 3600.0;
    return hemisphere == 'S' || hemisphere == 'W' ? -value : value;
}

// A GPS fix of either version, in decimal degrees.
struct Gps {
    int version;
    bool valid;
    unsigned int gmt_time;
    double latitude;
    double longitude;
    std::optional<float> speed;
    std::optional<float> course;
};

std::optional<Gps> gpsOf(const EngineOutputData& frame) {
    if (auto v2 = frame.subObjectAs<GPSOutputDataV2>(object_id::GPS_OUTPUT_DATA_V2)) {
        const auto& la = v2->latitude();
        const auto& lo = v2->longitude();
        return Gps{2,
                   v2->isDataValid(),
                   v2->gmtTime(),
                   decimalDegrees(la.degrees, la.minutes, la.seconds, la.hemisphere),
                   decimalDegrees(lo.degrees, lo.minutes, lo.seconds, lo.hemisphere),
                   v2->speed(),
                   v2->course()};
    }
    if (auto v1 = frame.subObjectAs<GPSOutputData>(object_id::GPS_OUTPUT_DATA)) {
        const auto& la = v1->latitude();
        const auto& lo = v1->longitude();
        std::optional<float> speed;
        if (v1->speed() != -1) {
            speed = static_cast<float>(v1->speed());
        }
        return Gps{1,
                   v1->isDataValid(),
                   v1->gmtTime(),
                   decimalDegrees(la.degrees, la.minutes, la.seconds, la.hemisphere),
                   decimalDegrees(lo.degrees, lo.minutes, lo.seconds, lo.hemisphere),
                   speed,
                   std::nullopt};
    }
    return std::nullopt;
}

// The first labelled gaze intersection (fourth version) of the world container.
struct GazeTarget {
    std::string label;
    nb::tuple world;
    nb::tuple plane;
    std::optional<nb::tuple> pixel;
    int eye;
};

std::optional<GazeTarget> gazeTargetOf(const EngineOutputData& frame) {
    auto world = frame.subObjectAs<WorldOutputDataV2>(object_id::WORLD_OUTPUT_DATA_V2);
    if (!world) {
        return std::nullopt;
    }
    auto hit = world->subObjectAs<GazeIntersectionOutputDataV4>(
        object_id::GAZE_INTERSECTION_OUTPUT_DATA_V4);
    if (!hit || hit->labels().empty()) {
        return std::nullopt;
    }
    const std::string label = hit->labels().front();
    std::optional<nb::tuple> pixel;
    if (hit->hasPixel(label)) {
        pixel = toIntTuple(hit->pixel(label));
    }
    std::vector<float> plane = hit->hasPlane(label) ? hit->plane(label) : std::vector<float>{0, 0};
    return GazeTarget{label, toTuple(hit->world(label)), toTuple(plane), pixel,
                      static_cast<int>(hit->eyeId())};
}

void bindReadOnly(nb::module_& m) {
    nb::class_<Gps>(m, "Gps", "A GPS fix (read only), from either version of the GPS record.")
        .def_ro("version", &Gps::version, "1 or 2: the record's version.")
        .def_ro("valid", &Gps::valid, "Whether the fix is valid.")
        .def_ro("gmt_time", &Gps::gmt_time, "GPS time as the receiver gives it.")
        .def_ro("latitude", &Gps::latitude, "Latitude in signed decimal degrees (south negative).")
        .def_ro("longitude", &Gps::longitude,
                "Longitude in signed decimal degrees (west negative).")
        .def_ro("speed", &Gps::speed, "Speed in km/h, or None when the receiver gave none.")
        .def_ro("course", &Gps::course, "Course over ground in degrees (second version), or None.");
    nb::class_<GazeTarget>(m, "GazeTarget",
                           "Where the gaze meets the world: the first labelled intersection.")
        .def_ro("label", &GazeTarget::label, "The object's name.")
        .def_ro("world", &GazeTarget::world, "Point (x, y, z) in world coordinates.")
        .def_ro("plane", &GazeTarget::plane, "Point (x, y) in the object's plane.")
        .def_ro("pixel", &GazeTarget::pixel, "Pixel (x, y) on the object, or None.")
        .def_ro("eye", &GazeTarget::eye, "The eye: 0 right, 1 left, 2 both.");
}

template <class T>
void recordProperty(nb::class_<Frame>& frame, const char* name, char id, const char* doc) {
    frame.def_prop_rw(
        name, [id](const Frame& f) { return ref(f.data->subObjectAs<T>(id)); },
        [id](Frame& f, std::optional<Ref<T>> record) {
            replaceIn(*f.data, id, record ? boost::shared_ptr<Serializable>(record->p) : nullptr);
        },
        nb::arg("value").none(), doc);
}

}  // namespace

void bindFrames(nb::module_& m) {
    bindHead(m);
    bindEyes(m);
    bindEyesRecord(m);
    bindOthers(m);
    bindReadOnly(m);

    nb::class_<Frame> frame(m, "Frame",
                            "One frame of the engine's output: its number and its records.");
    frame.def(
        "__init__",
        [](Frame* self, unsigned int frame_num) {
            new (self) Frame{boost::shared_ptr<EngineOutputData>(new EngineOutputData())};
            self->data->setFrameNum(frame_num);
        },
        nb::arg("frame_num") = 0, "An empty frame.");
    frame.def_static("from_bytes", &frameFromBytes, nb::arg("data"),
                     "The frame serialised in `data` (one whole frame record).");
    frame.def_prop_rw(
        "frame_num", [](const Frame& f) { return f.data->frameNum(); },
        [](Frame& f, unsigned int v) { f.data->setFrameNum(v); }, "The camera frame's number.");
    frame.def_prop_rw(
        "head", [](const Frame& f) { return ref(headOf(*f.data)); },
        [](Frame& f, std::optional<Ref<HeadOutputDataV2>> head) {
            SerializableComposite& holder = faceOf(*f.data);
            replaceIn(holder, object_id::HEAD_OUTPUT_DATA, nullptr);
            replaceIn(holder, object_id::HEAD_OUTPUT_DATA_V2,
                      head ? boost::shared_ptr<Serializable>(head->p) : nullptr);
        },
        nb::arg("value").none(),
        "The head record (in the frame's first face set when it has one), or None. A "
        "first-version head reads as a copy in the current form.");
    recordProperty<TimingOutputData>(frame, "timing", object_id::TIMING_OUTPUT_DATA,
                                     "The timing record, or None.");
    recordProperty<EngineStateOutputData>(frame, "engine_state",
                                          object_id::ENGINE_STATE_OUTPUT_DATA,
                                          "The engine state record, or None.");
    recordProperty<InertiaOutputData>(frame, "inertia", object_id::INERTIA_OUTPUT_DATA,
                                      "The inertial sensor record, or None.");
    frame.def_prop_rw(
        "eyes", [](const Frame& f) { return eyesOf(*f.data); },
        [](Frame& f, std::optional<Eyes> eyes) {
            for (char id : {object_id::PUPIL_OUTPUT_DATA, object_id::EYE_CLOSURE_OUTPUT_DATA,
                            object_id::GAZE_OUTPUT_DATA}) {
                replaceIn(*f.data, id, nullptr);
            }
            replaceIn(faceOf(*f.data), object_id::EYE_OUTPUT_DATA,
                      eyes ? boost::shared_ptr<Serializable>(eyes->container) : nullptr);
        },
        nb::arg("value").none(), "The eyes (pupil, eyelid and gaze records), or None.");
    frame.def_prop_ro(
        "gps", [](const Frame& f) { return gpsOf(*f.data); },
        "The GPS fix (second version when the frame holds both), or None.");
    frame.def_prop_ro(
        "gaze_target", [](const Frame& f) { return gazeTargetOf(*f.data); },
        "The first labelled gaze intersection of the world container, or None.");
    frame.def_prop_ro(
        "kinds",
        [](const Frame& f) {
            std::vector<int> kinds;
            for (const auto& record : f.data->subObjects()) {
                kinds.push_back(static_cast<unsigned char>(record->objectID()));
            }
            return kinds;
        },
        "Object IDs of the frame's records, in the frame's order.");
    frame.def(
        "to_bytes", [](const Frame& f) { return frameBytes(*f.data); },
        "The frame serialised: the bytes a log file or the TCP stream holds for it.");
    frame.def(
        "__eq__",
        [](const Frame& a, const Frame& b) {
            ByteBuffer x;
            ByteBuffer y;
            a.data->serialize(x);
            b.data->serialize(y);
            return x == y;
        },
        nb::arg("other"));
    frame.def("__repr__", [](const Frame& f) {
        return "<Frame " + std::to_string(f.data->frameNum()) + ", " +
               std::to_string(f.data->numSubObjects()) + " records>";
    });
}

}  // namespace vqpy
