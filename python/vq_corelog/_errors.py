"""Exceptions raised by vq_corelog: one class for each error class of the library."""

from __future__ import annotations

from typing import Optional


class Error(Exception):
    """A failure of data or environment reported by the library.

    Attributes:
        message: the library's message, as it stands.
        path: the file, directory or ``host:port`` concerned, or None.
    """

    class_name = "EODError"

    def __init__(self, message: str, path: Optional[str] = None) -> None:
        super().__init__(message if path is None else f"{path}: {message}")
        self.message = message
        self.path = path


class SerializableError(Error):
    """A record could not be encoded or decoded, or a file could not be opened or written."""

    class_name = "SerializableError"


class FileError(Error):
    """A log file or a recording directory is missing, unreadable or damaged."""

    class_name = "EngineOutputDataFileError"


class SocketError(Error):
    """A TCP or UDP connection failed."""

    class_name = "SocketError"


class AddressError(Error):
    """A host name or address could not be resolved or parsed."""

    class_name = "InetAddressException"


class SerialPortError(Error):
    """The serial link failed."""

    class_name = "SerialPortError"


class GeometryError(Error):
    """A geometry computation had no answer."""

    class_name = "GeomUtilsError"


class OutputDataError(Error):
    """A record helper was given data it cannot use."""

    class_name = "OutputDataUtilsError"


ERROR_CLASSES = {
    cls.class_name: cls
    for cls in (Error, SerializableError, FileError, SocketError, AddressError, SerialPortError,
                GeometryError, OutputDataError)
}
