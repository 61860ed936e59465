"""Writing frames to log files."""

from __future__ import annotations

import os
from typing import Iterable, Optional, Union

from . import _core
from ._recording import Kind, kind_id


class Writer:
    """Writes frames to a directory of per-kind log files or to one log file.

    With ``per_kind=True`` (the default) ``path`` is a directory (made if missing) that gets one
    file per record kind, named after the kind ("HeadV2.vql"; ``suffix`` goes before the
    extension); ``kinds`` chooses the files, and without it they are the kinds of the first
    frame written. A frame holding a record of a kind without a file raises ValueError: nothing
    is dropped silently. With ``per_kind=False`` every frame goes whole into the file ``path``.

    Use as a context manager, or call :meth:`close`: the files are complete only then.
    """

    def __init__(self, path: Union[str, os.PathLike], per_kind: bool = True,
                 kinds: Optional[Iterable[Kind]] = None, suffix: str = "",
                 buffer_size: int = 1 << 20) -> None:
        self.path = os.fspath(path)
        self.per_kind = per_kind
        if per_kind:
            os.makedirs(self.path, exist_ok=True)
        ids = None if kinds is None else [kind_id(k) for k in kinds]
        self._writer = _core.FrameWriter(self.path, per_kind, ids, suffix, buffer_size)

    def write(self, frame: "_core.Frame") -> None:
        """Writes one frame."""
        self._writer.write(frame)

    def write_all(self, frames: Iterable["_core.Frame"]) -> int:
        """Writes every frame of ``frames``; returns how many."""
        count = 0
        write = self._writer.write
        for frame in frames:
            write(frame)
            count += 1
        return count

    @property
    def kinds(self) -> list:
        """The object IDs of the kinds written (per-kind files; empty before the first frame)."""
        return self._writer.kinds

    def close(self) -> None:
        """Flushes and closes the files; raises if the data could not all be written."""
        self._writer.close()

    def __enter__(self) -> "Writer":
        return self

    def __exit__(self, *exc_info) -> None:
        self.close()
