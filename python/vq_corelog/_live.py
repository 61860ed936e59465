"""Frames from a tracker's live TCP stream."""

from __future__ import annotations

from typing import Iterator, Optional, Sequence

from . import _core
from ._columns import TABLES, Batch, schema


class Stream:
    """A connection to a tracker's TCP frame stream; iterating it yields frames, and
    :meth:`batches` yields tables of them.

    Iteration ends when the tracker closes the connection. ``timeout`` (seconds, None for no
    limit) bounds each wait for a frame; a longer silence raises TimeoutError.
    """

    def __init__(self, host: str, port: int, timeout: Optional[float] = 10.0) -> None:
        self.host = host
        self.port = port
        self.timeout = timeout
        self._stream = _core.FrameStream(host, port)

    def receive(self, timeout: Optional[float] = None) -> Optional["_core.Frame"]:
        """The next frame, or None when the stream has ended."""
        return self._stream.receive(self.timeout if timeout is None else timeout)

    def __iter__(self) -> Iterator["_core.Frame"]:
        while True:
            frame = self._stream.receive(self.timeout)
            if frame is None:
                return
            yield frame

    def batches(self, frames: int = 4096, interval: float = 1.0,
                columns: Optional[Sequence[str]] = None, table: str = "frame",
                format: str = "pandas") -> Iterator:
        """The stream as tables of the frames that arrive together, as a recording's
        :meth:`~vq_corelog.Recording.batches` gives them: columns named and typed as in
        :func:`vq_corelog.schema`.

        Each table holds the frames received within ``interval`` seconds of its first frame,
        at most ``frames`` of them (a tracker at 360 Hz fills about 360 rows a second). The
        wait for a table's first frame is bounded by the stream's ``timeout``. Iteration ends
        when the tracker closes the connection. ``format``: "pandas", "numpy" or "arrow".
        """
        convert = {"pandas": Batch.to_pandas, "numpy": Batch.to_numpy,
                   "arrow": Batch.to_arrow}.get(format)
        if convert is None:
            raise ValueError(f"format is pandas, numpy or arrow, not {format!r}")
        if table not in TABLES:
            raise ValueError(f"no table named {table!r}; the tables are {', '.join(TABLES)}")
        if isinstance(frames, bool) or not isinstance(frames, int) or frames < 1:
            raise ValueError(f"frames is a positive integer, not {frames!r}")
        if not interval > 0:
            raise ValueError(f"interval is a positive number of seconds, not {interval!r}")
        infos = schema(table)
        names = list(columns) if columns is not None else list(infos)
        while True:
            raws = self._stream.receive_batch(frames, self.timeout, float(interval), table,
                                              None if columns is None else names)
            if not raws:
                return
            yield convert(Batch.concat([Batch(raw, infos) for raw in raws], infos, names))

    @property
    def connected(self) -> bool:
        """Whether the connection is open."""
        return self._stream.connected

    def close(self) -> None:
        """Closes the connection."""
        self._stream.close()

    def __enter__(self) -> "Stream":
        return self

    def __exit__(self, *exc_info) -> None:
        self.close()


def connect(host: str, port: int, timeout: Optional[float] = 10.0) -> Stream:
    """Connects to a tracker's TCP frame stream at ``host``:``port``.

    ``timeout`` bounds each wait for a frame, in seconds (None: no limit).
    Raises SocketError when the connection cannot be made.
    """
    return Stream(host, port, timeout)
