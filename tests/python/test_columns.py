"""Every column of the column reader against the same value through the record objects."""

import numpy as np
import pandas as pd
import pyarrow as pa
import pytest

import vq_corelog as vq


def _get(*path):
    """frame -> the attribute at `path` (an int indexes a tuple), or None on the way."""
    def get(frame):
        value = frame
        for step in path:
            if value is None:
                return None
            value = value[step] if isinstance(step, int) else getattr(value, step)
        return value
    return get


def _timestamp(frame):
    t = frame.timing
    return None if t is None else (t.frame_time_secs * 1000 + t.frame_time_msecs) * 1_000_000


EXPECTED = {
    "frame_num": _get("frame_num"),
    "time_s": _get("timing", "experiment_time"),
    "timestamp_utc": _timestamp,
    "timing_experiment_time": _get("timing", "experiment_time"),
    "timing_frame_time_secs": _get("timing", "frame_time_secs"),
    "timing_frame_time_msecs": _get("timing", "frame_time_msecs"),
    "timing_approx_delay": _get("timing", "approx_delay"),
    "timing_annotation_label_id": _get("timing", "annotation_label_id"),
    "head_tracking": _get("head", "tracking"),
    "head_position_confidence": _get("head", "position_confidence"),
    "head_model_quality_level": _get("head", "model_quality_level"),
    "eyelid_calibration_status": _get("eyes", "closure_calibration"),
    "blinking": _get("eyes", "blinking"),
    "blink_frequency": _get("eyes", "blink_frequency"),
    "blink_average_duration": _get("eyes", "blink_duration"),
    "perclos": _get("eyes", "perclos"),
    "gaze_calibrated": _get("eyes", "gaze_calibrated"),
    "saccade": _get("eyes", "saccade"),
    "engine_state": _get("engine_state", "state"),
    "head_tracker_state": _get("engine_state", "head_tracker_state"),
    "gaze_target_label": _get("gaze_target", "label"),
    "gps_valid": _get("gps", "valid"),
    "gps_gmt_time": _get("gps", "gmt_time"),
    "gps_latitude_deg": _get("gps", "latitude"),
    "gps_longitude_deg": _get("gps", "longitude"),
    "gps_speed_km_h": _get("gps", "speed"),
    "gps_course": _get("gps", "course"),
}
for i, axis in enumerate("xyz"):
    EXPECTED.update({
        f"head_position_{axis}": _get("head", "position", i),
        f"head_quaternion_{axis}": _get("head", "quaternion", i + 1),
        f"head_rotation_{axis}_rad": _get("head", "rotation", i),
        f"head_right_eyeball_{axis}": _get("head", "right_eyeball", i),
        f"head_left_eyeball_{axis}": _get("head", "left_eyeball", i),
        f"gaze_target_{axis}": _get("gaze_target", "world", i),
        f"inertia_angular_rate_{axis}": _get("inertia", "angular_rate", i),
        f"inertia_accel_{axis}": _get("inertia", "acceleration", i),
    })
    for side in ("right", "left"):
        EXPECTED[f"pupil_{side}_{axis}"] = _get("eyes", side, "pupil", "position", i)
        EXPECTED[f"gaze_{side}_eyeball_{axis}"] = _get("eyes", side, "gaze", "eyeball", i)
EXPECTED["head_quaternion_w"] = _get("head", "quaternion", 0)
for i, axis in enumerate("xy"):
    EXPECTED[f"gaze_target_plane_{axis}"] = _get("gaze_target", "plane", i)
    EXPECTED[f"gaze_target_pixel_{axis}"] = _get("gaze_target", "pixel", i)
for side in ("right", "left"):
    EXPECTED.update({
        f"pupil_{side}_diameter": _get("eyes", side, "pupil", "diameter"),
        f"eyelid_{side}_closure": _get("eyes", side, "closure"),
        f"eyelid_{side}_confidence": _get("eyes", side, "closure_confidence"),
        f"gaze_{side}_quality": _get("eyes", side, "gaze", "quality"),
        f"gaze_{side}_pitch_rad": _get("eyes", side, "gaze", "pitch"),
        f"gaze_{side}_yaw_rad": _get("eyes", side, "gaze", "yaw"),
    })


def test_every_column_has_an_object_path_value():
    assert set(EXPECTED) == set(vq.schema())


def _missing(array):
    if isinstance(array, np.ma.MaskedArray):
        return np.ma.getmaskarray(array)
    if array.dtype.kind == "f":
        return np.isnan(array)
    if array.dtype.kind == "M":
        return np.isnat(array)
    if array.dtype == object:
        return np.array([v is None for v in array], bool)
    return np.zeros(len(array), bool)


def assert_columns_match_frames(columns, frames):
    assert len(columns["frame_num"]) == len(frames)
    for name, get in EXPECTED.items():
        array = columns[name]
        expected = [get(f) for f in frames]
        missing = np.array([v is None for v in expected], bool)
        np.testing.assert_array_equal(_missing(array), missing, err_msg=name)
        present = np.flatnonzero(~missing)
        got = np.ma.getdata(array)[present]
        if array.dtype.kind == "M":
            got = got.astype(np.int64)
        want = np.array([expected[i] for i in present], dtype=got.dtype)
        np.testing.assert_array_equal(got, want, err_msg=name)


@pytest.mark.parametrize("which", ["directory", "file"])
def test_random_recordings_column_for_column(random_recording, which):
    directory, single, frames = random_recording
    rec = vq.read(directory if which == "directory" else single)
    assert_columns_match_frames(rec.to_numpy(), frames)
    assert_columns_match_frames(rec.to_numpy(), list(rec.frames()))


def test_demo_column_for_column(demo, small_batches):
    small_batches(7)
    rec = vq.read(demo)
    frames = list(rec.frames())
    assert len(frames) == 180
    columns = rec.to_numpy()
    assert_columns_match_frames(columns, frames)
    assert not _missing(columns["gps_latitude_deg"]).all()  # the demo has GPS and targets
    assert not _missing(columns["gaze_target_label"]).all()


PANDAS_TYPES = {"bool": "boolean", "int8": "Int8", "int32": "Int32", "uint32": "UInt32",
                "float32": "float32", "float64": "float64", "string": "string",
                "timestamp_ns": "datetime64[ns, UTC]"}


def test_pandas_and_arrow_types_and_metadata(demo):
    rec = vq.read(demo)
    df = rec.to_pandas()
    schema = vq.schema()
    assert list(df.columns) == list(schema)
    for name, info in schema.items():
        want = "uint32" if name == "frame_num" else PANDAS_TYPES[info.type]
        assert str(df[name].dtype) == want, name
    columns = rec.to_numpy()
    np.testing.assert_array_equal(df["gps_valid"].isna(), _missing(columns["gps_valid"]))
    table = rec.to_arrow()
    assert table.column_names == list(schema) and table.num_rows == len(df)
    field = table.schema.field("head_position_x").metadata
    assert field[b"unit"] == schema["head_position_x"].unit.encode()
    assert field[b"description"] == schema["head_position_x"].description.encode()
    assert b"legend" in table.schema.field("gaze_right_quality").metadata
    assert table.column("gps_valid").null_count == int(df["gps_valid"].isna().sum())


SELECTIONS = [
    dict(frames=(10, 40)),
    dict(frames=range(0, 3)),
    dict(start=0.5, end=1.0),
    dict(kinds=["GPSV2"]),
    dict(kinds=[0x10, "Timing"], frames=(None, 90)),
]


@pytest.mark.parametrize("selection", SELECTIONS)
def test_selections_agree_between_paths(demo, selection):
    rec = vq.read(demo, **selection)
    frames = list(rec.frames())
    assert frames, selection
    assert_columns_match_frames(rec.to_numpy(), frames)
    assert rec.info()["frames"] == len(frames)


@pytest.mark.parametrize("table, rows", [("frame", 1), ("frame", 7), ("gaze_intersections", 3)])
def test_whole_tables_equal_their_batches(demo, small_batches, table, rows):
    small_batches(rows)
    rec = vq.read(demo)
    parts = list(rec.batches(rows=5, table=table))
    pd.testing.assert_frame_equal(pd.concat(parts, ignore_index=True), rec.to_pandas(table=table))
    arrow, whole = list(rec.batches(rows=5, table=table, format="arrow")), rec.to_arrow(table=table)
    for name in whole.column_names:  # values and validity (the floats' too)
        parts = pa.concat_arrays([c for t in arrow for c in t.column(name).chunks])
        assert whole.column(name).combine_chunks().equals(parts), name


def test_long_tables_hold_every_labelled_gaze_target(demo):
    rec = vq.read(demo)
    hits = rec.table("gaze_intersections")
    assert list(hits.columns) == list(vq.schema("gaze_intersections"))
    firsts = hits[(hits["version"] == 4) & (hits["index"] == 0)]
    targets = {f.frame_num: f.gaze_target.label for f in rec.frames() if f.gaze_target}
    assert dict(zip(firsts["frame_num"].tolist(), firsts["label"].tolist())) == targets
    assert len(rec.table("head_intersections").columns) == len(vq.schema("head_intersections"))


def test_info_tells_frames_kinds_and_duration(demo):
    info = vq.read(demo).info()
    assert (info["frames"], info["first_frame"], info["last_frame"]) == (180, 0, 179)
    assert {"HeadV2", "Timing", "GPSV2"} <= set(info["kinds"])
    assert info["duration_s"] == pytest.approx(179 / 60, rel=1e-3)
    assert info["bytes"] == sum(p.stat().st_size for p in demo.iterdir())
