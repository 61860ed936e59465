"""Frames from a tracker's live TCP stream."""

from __future__ import annotations

from typing import Iterator, Optional

from . import _core


class Stream:
    """A connection to a tracker's TCP frame stream; iterating it yields frames.

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
