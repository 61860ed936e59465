"""Recordings of a head- and eye-tracking engine in Python: frames, pandas, NumPy and Arrow.

Angles are radians and times seconds; lengths are in the engine's own unit (metres in
vqlog's demo). `schema()` gives every column's unit, reference frame and legend.

    >>> import vq_corelog
    >>> rec = vq_corelog.read("recording/")
    >>> for frame in rec.frames():
    ...     print(frame.frame_num, frame.head.position)
"""

from . import _core
from ._errors import (AddressError, Error, FileError, GeometryError, OutputDataError,
                      SerialPortError, SerializableError, SocketError, ERROR_CLASSES)
from ._core import Eye, Eyes, EngineState, Frame, Gaze, Head, Inertia, Pupil, Timing
from ._live import Stream, connect
from ._columns import TABLES, ColumnInfo, schema
from ._recording import KIND_IDS, Recording, kind_id, read
from ._writer import Writer
from .parquet import to_parquet

_core.set_error_classes(ERROR_CLASSES)

__version__ = "0.1.0"

__all__ = [
    "AddressError", "ColumnInfo", "EngineState", "Error", "Eye", "Eyes", "FileError", "Frame", "Gaze",
    "GeometryError", "Head", "Inertia", "KIND_IDS", "OutputDataError", "Pupil", "Recording",
    "SerialPortError", "SerializableError", "SocketError", "Stream", "TABLES", "Timing",
    "Writer", "connect", "kind_id", "read", "schema", "to_parquet",
]
