"""
Bindings of the vq_corelog library (use the package vq_corelog instead).
"""

from collections.abc import Sequence


def set_error_classes(arg: dict, /) -> None:
    """
    Sets the exception class for each library error class name (used by the package).
    """

class Head:
    """The head record: pose of the head in camera coordinates."""

    def __init__(self) -> None:
        """An empty head record."""

    @property
    def tracking(self) -> bool:
        """Whether the head is tracked."""

    @tracking.setter
    def tracking(self, arg: bool, /) -> None: ...

    @property
    def position(self) -> tuple:
        """
        Head position (x, y, z) in the engine's length unit (metres in vqlog's demo).
        """

    @position.setter
    def position(self, arg: Sequence[float], /) -> None: ...

    @property
    def rotation(self) -> tuple:
        """
        Head rotation as Euler angles (x, y, z) in radians, derived from the quaternion.
        """

    @rotation.setter
    def rotation(self, arg: Sequence[float], /) -> None: ...

    @property
    def quaternion(self) -> tuple:
        """Head rotation as a quaternion (w, x, y, z), as recorded."""

    @quaternion.setter
    def quaternion(self, arg: Sequence[float], /) -> None: ...

    @property
    def position_confidence(self) -> float:
        """Confidence of the position, 0 to 1."""

    @position_confidence.setter
    def position_confidence(self, arg: float, /) -> None: ...

    @property
    def model_quality_level(self) -> int:
        """Quality level of the head model (a code)."""

    @model_quality_level.setter
    def model_quality_level(self, arg: int, /) -> None: ...

    @property
    def right_eyeball(self) -> tuple:
        """
        Centre of the right eyeball (x, y, z) in the engine's length unit (metres in vqlog's demo).
        """

    @right_eyeball.setter
    def right_eyeball(self, arg: Sequence[float], /) -> None: ...

    @property
    def left_eyeball(self) -> tuple:
        """
        Centre of the left eyeball (x, y, z) in the engine's length unit (metres in vqlog's demo).
        """

    @left_eyeball.setter
    def left_eyeball(self, arg: Sequence[float], /) -> None: ...

class Pupil:
    """One eye's pupil."""

    @property
    def position(self) -> tuple:
        """
        Pupil centre (x, y, z) in the engine's length unit (metres in vqlog's demo).
        """

    @position.setter
    def position(self, arg: Sequence[float], /) -> None: ...

    @property
    def diameter(self) -> float:
        """Pupil diameter in the engine's length unit (metres in vqlog's demo)."""

    @diameter.setter
    def diameter(self, arg: float, /) -> None: ...

class Gaze:
    """One eye's gaze."""

    @property
    def quality(self) -> int:
        """Gaze quality: 0 no tracking, 1 low, 2 medium, 3 infrared gaze."""

    @quality.setter
    def quality(self, arg: int, /) -> None: ...

    @property
    def eyeball(self) -> tuple:
        """
        Eyeball centre (x, y, z) in the engine's length unit (metres in vqlog's demo).
        """

    @eyeball.setter
    def eyeball(self, arg: Sequence[float], /) -> None: ...

    @property
    def pitch(self) -> float:
        """Gaze pitch in radians."""

    @pitch.setter
    def pitch(self, arg: float, /) -> None: ...

    @property
    def yaw(self) -> float:
        """Gaze yaw in radians."""

    @yaw.setter
    def yaw(self, arg: float, /) -> None: ...

class Eye:
    """One eye: its pupil, eyelid and gaze (None where not recorded)."""

    @property
    def pupil(self) -> Pupil | None:
        """The pupil, or None."""

    @property
    def gaze(self) -> Gaze | None:
        """The gaze, or None."""

    @property
    def closure(self) -> float | None:
        """Eyelid closure, 0 open to 1 closed, or None."""

    @closure.setter
    def closure(self, arg: float, /) -> None: ...

    @property
    def closure_confidence(self) -> float | None:
        """Confidence of the closure, 0 to 1, or None."""

    @closure_confidence.setter
    def closure_confidence(self, arg: float, /) -> None: ...

class Eyes:
    """Both eyes: the pupil, eyelid and gaze records and the per-eye views."""

    def __init__(self, pupil: bool = True, closure: bool = True, gaze: bool = True) -> None:
        """
        New eye records (zeros) in an eye container, for a frame to be written.
        """

    @property
    def right(self) -> Eye:
        """The right eye."""

    @property
    def left(self) -> Eye:
        """The left eye."""

    @property
    def has_pupil(self) -> bool:
        """Whether a pupil record is there."""

    @property
    def has_closure(self) -> bool:
        """Whether an eyelid record is there."""

    @property
    def has_gaze(self) -> bool:
        """Whether a gaze record is there."""

    @property
    def blinking(self) -> bool | None:
        """Whether the eyes blink (None without an eyelid record)."""

    @blinking.setter
    def blinking(self, arg: bool, /) -> None: ...

    @property
    def blink_frequency(self) -> float | None:
        """Blink frequency in the engine's unit."""

    @blink_frequency.setter
    def blink_frequency(self, arg: float, /) -> None: ...

    @property
    def blink_duration(self) -> float | None:
        """Average blink duration in the engine's unit."""

    @blink_duration.setter
    def blink_duration(self, arg: float, /) -> None: ...

    @property
    def perclos(self) -> float | None:
        """Share of time the eyes are mostly closed, 0 to 1."""

    @perclos.setter
    def perclos(self, arg: float, /) -> None: ...

    @property
    def closure_calibration(self) -> float | None:
        """Calibration status of the eyelid measurement (a code)."""

    @closure_calibration.setter
    def closure_calibration(self, arg: float, /) -> None: ...

    @property
    def gaze_calibrated(self) -> bool | None:
        """Whether the gaze is calibrated (None without a gaze record)."""

    @gaze_calibrated.setter
    def gaze_calibrated(self, arg: bool, /) -> None: ...

    @property
    def saccade(self) -> bool | None:
        """Whether the eyes are in a saccade."""

    @saccade.setter
    def saccade(self, arg: bool, /) -> None: ...

class Timing:
    """The timing record."""

    def __init__(self) -> None:
        """An empty timing record."""

    @property
    def experiment_time(self) -> float:
        """Time since the experiment began, s."""

    @experiment_time.setter
    def experiment_time(self, arg: float, /) -> None: ...

    @property
    def frame_time_secs(self) -> int:
        """UTC time of the camera frame: whole seconds since 1970-01-01."""

    @frame_time_secs.setter
    def frame_time_secs(self, arg: int, /) -> None: ...

    @property
    def frame_time_msecs(self) -> int:
        """UTC time of the camera frame: the milliseconds, 0 to 999."""

    @frame_time_msecs.setter
    def frame_time_msecs(self, arg: int, /) -> None: ...

    @property
    def approx_delay(self) -> float:
        """Approximate processing delay, s."""

    @approx_delay.setter
    def approx_delay(self, arg: float, /) -> None: ...

    @property
    def annotation_label_id(self) -> int:
        """Annotation label (a code)."""

    @annotation_label_id.setter
    def annotation_label_id(self, arg: int, /) -> None: ...

class EngineState:
    """The engine state record."""

    def __init__(self) -> None:
        """An empty state record."""

    @property
    def state(self) -> int:
        """Engine state: -1, 0 or 1 (a code)."""

    @state.setter
    def state(self, arg: int, /) -> None: ...

    @property
    def head_tracker_state(self) -> int | None:
        """Head tracker state: -1 to 4 (a code), or None."""

    @head_tracker_state.setter
    def head_tracker_state(self, value: int | None) -> None: ...

class Inertia:
    """The inertial sensor record."""

    def __init__(self) -> None:
        """An empty inertia record."""

    @property
    def angular_rate(self) -> tuple:
        """Angular rate (x, y, z) in the engine's unit."""

    @angular_rate.setter
    def angular_rate(self, arg: Sequence[float], /) -> None: ...

    @property
    def acceleration(self) -> tuple:
        """Acceleration (x, y, z) in the engine's unit (m/s² in vqlog's demo)."""

    @acceleration.setter
    def acceleration(self, arg: Sequence[float], /) -> None: ...

class Gps:
    """A GPS fix (read only), from either version of the GPS record."""

    @property
    def version(self) -> int:
        """1 or 2: the record's version."""

    @property
    def valid(self) -> bool:
        """Whether the fix is valid."""

    @property
    def gmt_time(self) -> int:
        """GPS time as the receiver gives it."""

    @property
    def latitude(self) -> float:
        """Latitude in signed decimal degrees (south negative)."""

    @property
    def longitude(self) -> float:
        """Longitude in signed decimal degrees (west negative)."""

    @property
    def speed(self) -> float | None:
        """Speed in km/h, or None when the receiver gave none."""

    @property
    def course(self) -> float | None:
        """Course over ground in degrees (second version), or None."""

class GazeTarget:
    """Where the gaze meets the world: the first labelled intersection."""

    @property
    def label(self) -> str:
        """The object's name."""

    @property
    def world(self) -> tuple:
        """Point (x, y, z) in world coordinates."""

    @property
    def plane(self) -> tuple:
        """Point (x, y) in the object's plane."""

    @property
    def pixel(self) -> tuple | None:
        """Pixel (x, y) on the object, or None."""

    @property
    def eye(self) -> int:
        """The eye: 0 right, 1 left, 2 both."""

class Frame:
    """One frame of the engine's output: its number and its records."""

    def __init__(self, frame_num: int = 0) -> None:
        """An empty frame."""

    @staticmethod
    def from_bytes(data: bytes) -> Frame:
        """The frame serialised in `data` (one whole frame record)."""

    @property
    def frame_num(self) -> int:
        """The camera frame's number."""

    @frame_num.setter
    def frame_num(self, arg: int, /) -> None: ...

    @property
    def head(self) -> Head | None:
        """
        The head record (in the frame's first face set when it has one), or None. A first-version head reads as a copy in the current form.
        """

    @head.setter
    def head(self, value: Head | None) -> None: ...

    @property
    def timing(self) -> Timing | None:
        """The timing record, or None."""

    @timing.setter
    def timing(self, value: Timing | None) -> None: ...

    @property
    def engine_state(self) -> EngineState | None:
        """The engine state record, or None."""

    @engine_state.setter
    def engine_state(self, value: EngineState | None) -> None: ...

    @property
    def inertia(self) -> Inertia | None:
        """The inertial sensor record, or None."""

    @inertia.setter
    def inertia(self, value: Inertia | None) -> None: ...

    @property
    def eyes(self) -> Eyes | None:
        """The eyes (pupil, eyelid and gaze records), or None."""

    @eyes.setter
    def eyes(self, value: Eyes | None) -> None: ...

    @property
    def gps(self) -> Gps | None:
        """The GPS fix (second version when the frame holds both), or None."""

    @property
    def gaze_target(self) -> GazeTarget | None:
        """The first labelled gaze intersection of the world container, or None."""

    @property
    def kinds(self) -> list[int]:
        """Object IDs of the frame's records, in the frame's order."""

    def to_bytes(self) -> bytes:
        """
        The frame serialised: the bytes a log file or the TCP stream holds for it.
        """

    def __eq__(self, other: Frame) -> bool: ...

    def __repr__(self) -> str: ...

class FrameReader:
    """Frames of a recording, one at a time."""

    def __init__(self, path: str, directory: bool, kinds: Sequence[int] | None, first: int | None, last: int | None, start: float | None, end: float | None) -> None: ...

    def __iter__(self) -> FrameReader: ...

    def __next__(self) -> Frame:
        """The next frame; StopIteration at the end."""

class FrameWriter:
    """Writes frames to log files."""

    def __init__(self, path: str, per_kind: bool, kinds: Sequence[int] | None, suffix: str, buffer_size: int) -> None: ...

    def write(self, frame: Frame) -> None: ...

    def close(self) -> None: ...

    @property
    def kinds(self) -> list[int]: ...

def kind_file_name(kind: int) -> str | None:
    """The file base name of a record kind in per-kind recordings, or None."""

class FrameStream:
    """A connection to a tracker's TCP frame stream."""

    def __init__(self, host: str, port: int) -> None: ...

    def receive(self, timeout: float | None) -> Frame | None:
        """The next frame, or None once the stream has ended."""

    def receive_batch(self, frames: int, timeout: float | None, interval: float, table: str, columns: Sequence[str] | None) -> list:
        """
        Column batches of the frames received within `interval` seconds of the first, at most `frames`; an empty list once the stream has ended.
        """

    def close(self) -> None: ...

    @property
    def connected(self) -> bool: ...

class ColumnReader:
    """Column batches of a recording."""

    def __init__(self, path: str, table: str, kinds: Sequence[int] | None, columns: Sequence[str] | None, first: int | None, last: int | None, start: float | None, end: float | None, batch_rows: int, max_frames: int | None = None) -> None: ...

    def next(self) -> dict | None:
        """The next batch, or None at the end."""

def columns(table: str) -> list:
    """
    The table of columns: name, type, unit, frame, kind, description and legend.
    """

def scan(path: str, kinds: Sequence[int] | None, first: int | None, last: int | None, start: float | None, end: float | None) -> tuple:
    """
    (frames, kinds, frames with more than one face set) of the selected frames.
    """

def chunk_index(path: str) -> list | None:
    """
    The intact chunks of a compressed frame file as (first frame number, last frame number, frames, first time_s, last time_s), times NaN where no frame is timed; None for any other file.
    """

def read_table(path: str, table: str, kinds: Sequence[int] | None, columns: Sequence[str] | None, first: int | None, last: int | None, start: float | None, end: float | None, float_masks: bool, batch_rows: int = 1024) -> dict:
    """
    Every selected row as one batch (the form of ColumnReader.next()). float_masks: validity for float and timestamp columns too (otherwise None; NaN and NaT tell).
    """
