"""Reading recordings: frames as Python objects, and (through the column reader) tables."""

from __future__ import annotations

import os
from typing import Iterable, Iterator, Optional, Sequence, Tuple, Union

from . import _core
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
    if frames is None:
        return None, None
    if isinstance(frames, range):
        if frames.step != 1:
            raise ValueError("a range of frame numbers has step 1")
        first, stop = frames.start, frames.stop
    else:
        first, stop = frames
    for value in (first, stop):
        if value is not None and (not isinstance(value, int) or value < 0):
            raise ValueError(f"frame numbers are non-negative integers, not {value!r}")
    return first, stop


class Recording:
    """A recording on disk: a directory of per-kind log files or one log file.

    Made by :func:`read`; nothing is read until asked for, and each call reads afresh.
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
        self.first_frame, self.stop_frame = _frame_range(frames)

    def frames(self, batch: int = 4096) -> Iterator["_core.Frame"]:
        """The frames in frame-number order, as :class:`Frame` objects.

        Per-kind files are merged by frame number. A damaged file yields the frames before
        the damage and then raises its error.
        """
        reader = _core.FrameReader(self.path, self.is_directory, self.kinds, self.first_frame,
                                   self.stop_frame, self.start, self.end)
        while True:
            chunk = reader.next(batch)
            if not chunk:
                return
            yield from chunk

    __iter__ = frames

    def __repr__(self) -> str:
        return f"Recording({self.path!r})"


def read(path: Union[str, os.PathLike], kinds: Optional[Iterable[Kind]] = None,
         start: Optional[float] = None, end: Optional[float] = None,
         frames: Optional[FrameRange] = None) -> Recording:
    """Opens a recording: a directory of per-kind log files or a single log file.

    Args:
        path: the directory or the file.
        kinds: record kinds to read (object IDs or per-kind file names such as "HeadV2");
            None reads every kind.
        start, end: a time range in seconds of experiment time (the timing record's),
            start included, end excluded; frames without a timing record are left out then.
        frames: a range of frame numbers, ``range(first, stop)`` or ``(first, stop)``,
            stop excluded.
    """
    return Recording(path, kinds, start, end, frames)
