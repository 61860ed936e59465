"""Reading recordings: frames as Python objects, and (through the column reader) tables."""

from __future__ import annotations

import os
from typing import Dict, Iterable, Iterator, Optional, Sequence, Tuple, Union

import numpy as np

from . import _core
from ._columns import TABLES, Batch, ColumnInfo, read_all, read_batches, schema
from ._errors import FileError

Kind = Union[int, str]
FrameRange = Union[range, Tuple[int, int]]


def _kind_names() -> dict:
    names = {}
    for kind in range(1, 128):
        name = _core.kind_file_name(kind)
        if name is not None:
            names[name] = kind
    return names


KIND_IDS = _kind_names()
"""Record kinds by the base names of their files in per-kind recordings ("HeadV2": 0x10)."""

_KIND_NAMES = {kind: name for name, kind in KIND_IDS.items()}


def kind_id(kind: Kind) -> int:
    """The object ID of a kind given by ID or by file base name ("Timing", "HeadV2", ...)."""
    if isinstance(kind, str):
        try:
            return KIND_IDS[kind]
        except KeyError:
            raise ValueError(f"unknown record kind {kind!r}; known: {sorted(KIND_IDS)}") from None
    if isinstance(kind, bool) or not isinstance(kind, int) or not 0 < kind < 256:
        raise ValueError(f"a record kind is an object ID from 1 to 255 or a name, not {kind!r}")
    return kind


def _frame_range(frames: Optional[FrameRange]) -> Tuple[Optional[int], Optional[int]]:
    """(first, last) frame numbers, both included, or None for no bound."""
    if frames is None:
        return None, None
    if isinstance(frames, range):
        if frames.step != 1:
            raise ValueError("a range of frame numbers has step 1")
        if len(frames) == 0:
            raise ValueError(f"the range of frame numbers {frames!r} is empty")
        first, last = frames.start, frames.stop - 1
    else:
        first, last = frames
    for value in (first, last):
        if value is not None and (isinstance(value, bool) or not isinstance(value, int)
                                  or not 0 <= value < 1 << 32):
            raise ValueError(f"frame numbers are integers from 0 to 2**32 - 1, not {value!r}")
    return first, last


class Recording:
    """A recording on disk: a directory of per-kind log files or one log file.

    Made by :func:`read`; nothing is read until asked for, and each call reads afresh. The
    selection given to :func:`read` applies to every method. Tables come from the library's
    column reader: columns named, typed and documented as in :attr:`schema`, values read
    straight from the bytes into NumPy memory.
    """

    def __init__(self, path: Union[str, os.PathLike], kinds: Optional[Iterable[Kind]] = None,
                 start: Optional[float] = None, end: Optional[float] = None,
                 frames: Optional[FrameRange] = None) -> None:
        self.path = os.fspath(path)
        if not os.path.exists(self.path):
            raise FileError("no such file or directory", self.path)
        self.is_directory = os.path.isdir(self.path)
        self.kinds = None if kinds is None else sorted({kind_id(k) for k in kinds})
        self.start = None if start is None else float(start)
        self.end = None if end is None else float(end)
        self.first_frame, self.last_frame = _frame_range(frames)

    def _selection(self) -> tuple:
        return (self.kinds, self.first_frame, self.last_frame, self.start, self.end)

    # ---- frames as objects -------------------------------------------------------------------

    def frames(self, batch: int = 4096) -> Iterator["_core.Frame"]:
        """The frames in frame-number order, as :class:`Frame` objects.

        Per-kind files are merged by frame number. A damaged file yields the frames before
        the damage and then raises its error. Frames are decoded one at a time as the loop
        asks for them, so a loop that keeps no frame reuses the records of the one before;
        ``batch`` is kept for compatibility and changes nothing.
        """
        yield from _core.FrameReader(self.path, self.is_directory, *self._selection())

    __iter__ = frames

    # ---- columns -----------------------------------------------------------------------------

    @property
    def schema(self) -> Dict[str, ColumnInfo]:
        """The frame table's columns by name: type, unit, reference frame, legend."""
        return schema("frame")

    def _columns(self, table: str, columns: Optional[Sequence[str]]):
        if table not in TABLES:
            raise ValueError(f"no table named {table!r}; the tables are {', '.join(TABLES)}")
        if columns is None:
            return None
        columns = list(columns)
        known = schema(table)
        for name in columns:
            if name not in known:
                raise ValueError(f"no column named {name!r} in the table {table}")
        return columns

    def to_numpy(self, columns: Optional[Sequence[str]] = None,
                 table: str = "frame") -> Dict[str, np.ndarray]:
        """The table as NumPy arrays by column name.

        Missing values: NaN in floating columns, NaT in timestamp_utc, a masked array where an
        integer or flag column has gaps (a plain array where it has none).
        """
        cols = self._columns(table, columns)
        return read_all(self.path, table, self.kinds, cols, *self._selection()[1:],
                        float_masks=False).to_numpy()

    def to_pandas(self, columns: Optional[Sequence[str]] = None, table: str = "frame"):
        """The table as a pandas DataFrame, columns as in :attr:`schema`.

        Floats keep their width with NaN for missing values; integers and flags are pandas'
        nullable types (Int32, boolean, ...) with NA; timestamp_utc is datetime64[ns, UTC];
        frame_num is uint32.
        """
        cols = self._columns(table, columns)
        return read_all(self.path, table, self.kinds, cols, *self._selection()[1:],
                        float_masks=False).to_pandas()

    def to_arrow(self, columns: Optional[Sequence[str]] = None, table: str = "frame"):
        """The table as a pyarrow Table; each field's metadata holds its unit, description,
        record kind and, where there is one, reference frame and legend."""
        cols = self._columns(table, columns)
        return read_all(self.path, table, self.kinds, cols, *self._selection()[1:]).to_arrow()

    def table(self, name: str, columns: Optional[Sequence[str]] = None):
        """A long table as a pandas DataFrame: "gaze_intersections" or "head_intersections"
        (one row per intersection, keyed by frame_num), or "frame"."""
        return self.to_pandas(columns, table=name)

    def batches(self, rows: int = 65536, columns: Optional[Sequence[str]] = None,
                table: str = "frame", format: str = "pandas") -> Iterator:
        """The table in pieces of at most ``rows`` rows, for recordings larger than memory.

        ``format``: "pandas" (DataFrames), "numpy" (dicts of arrays) or "arrow" (pyarrow
        Tables). Memory stays bounded by the batch size, whatever the recording's length.
        """
        convert = {"pandas": Batch.to_pandas, "numpy": Batch.to_numpy,
                   "arrow": Batch.to_arrow}.get(format)
        if convert is None:
            raise ValueError(f"format is pandas, numpy or arrow, not {format!r}")
        if isinstance(rows, bool) or not isinstance(rows, int) or rows < 1:
            raise ValueError(f"rows is a positive integer, not {rows!r}")
        cols = self._columns(table, columns)
        for batch in read_batches(self.path, table, self.kinds, cols, *self._selection()[1:],
                                  rows):
            yield convert(batch)

    def info(self) -> dict:
        """What the recording holds: its files, frames, frame numbers, kinds and duration.

        ``kinds`` maps the per-kind file names of the frames' records to their object IDs
        (what :class:`Writer` takes); ``record_kinds`` lists every object ID found, records
        inside containers included.
        """
        frames, kinds, more_faces = _core.scan(self.path, *self._selection())
        if self.is_directory:
            names = sorted(n for n in os.listdir(self.path) if n.endswith(".vql"))
            files = {n: os.path.getsize(os.path.join(self.path, n)) for n in names}
        else:
            files = {os.path.basename(self.path): os.path.getsize(self.path)}
        numbers = read_all(self.path, "frame", self.kinds, ["frame_num", "time_s"],
                           *self._selection()[1:], float_masks=False)
        nums = numbers.values["frame_num"]
        times = numbers.values["time_s"]
        times = times[~np.isnan(times)]
        duration = float(times.max() - times.min()) if len(times) else None
        return {
            "path": self.path,
            "format": "per-kind" if self.is_directory else (
                "compressed" if _is_compressed(self.path) else "single file"),
            "files": files,
            "bytes": sum(files.values()),
            "frames": frames,
            "first_frame": int(nums[0]) if len(nums) else None,
            "last_frame": int(nums[-1]) if len(nums) else None,
            "gaps": int(np.count_nonzero(np.diff(nums.astype(np.int64)) > 1)),
            "kinds": {_KIND_NAMES[k]: k for k in kinds if k in _KIND_NAMES},
            "record_kinds": kinds,
            "frames_with_more_faces": more_faces,
            "duration_s": duration,
            "rate_hz": (len(times) - 1) / duration if duration else None,
        }

    def __repr__(self) -> str:
        return f"vq_corelog.read({self.path!r})"


# The first bytes of a compressed frame file (docs/compressed-format.md).
_COMPRESSED_MAGIC = b"\x89VQZ\r\n\x1a\n"


def _is_compressed(path: str) -> bool:
    with open(path, "rb") as f:
        return f.read(8) == _COMPRESSED_MAGIC


def read(path: Union[str, os.PathLike], kinds: Optional[Iterable[Kind]] = None,
         start: Optional[float] = None, end: Optional[float] = None,
         frames: Optional[FrameRange] = None) -> Recording:
    """Opens a recording: a directory of per-kind log files, a single log file, or a compressed
    frame file (recognised by its magic number).

    Args:
        path: the directory or the file.
        kinds: record kinds to read (object IDs, or per-kind file names such as "HeadV2");
            a frame holding none of them is left out. None reads every kind.
        start, end: a range of time_s in seconds (the timing record's experiment time), both
            ends included; frames without a timing record are left out when it is given.
        frames: frame numbers to read: ``(first, last)``, both included (either may be None),
            or a ``range``.
    """
    return Recording(path, kinds, start, end, frames)
