# SPDX-License-Identifier: Apache-2.0
"""Readers for python-can: a class for each format, and install(), after which can.LogReader uses them.

    import can, canlog
    canlog.can.install()
    for message in can.LogReader("drive.asc"):
        ...

The messages are those of python-can's own readers, field by field; docs/python.md has the list of what differs and why.
"""

from __future__ import annotations

import datetime
import io
import os
from collections.abc import Iterator
from typing import Any

from . import _core
from ._errors import FormatError, need
from ._log import Log, formats

_can = need("can", "can")

from can import Message  # noqa: E402
from can.io.generic import BinaryIOMessageReader  # noqa: E402
from can.io.player import MESSAGE_READERS  # noqa: E402

ROWS_AT_ONCE = 512  # fewer than Python makes objects between two looks for garbage
TRACE_EPOCH = datetime.datetime(1899, 12, 30, tzinfo=datetime.timezone.utc)


class CanlogReader(BinaryIOMessageReader):
    """Reads a log of any format that canlog finds; can.LogReader takes it for what it is."""

    #: the format, found from the content where there is none
    format_name: str | None = None
    #: what a log is taken for that is too short to be found
    default_name: str | None = None

    def __init__(self, file: Any, relative_timestamp: bool = True, error_frames: bool = False, **kwargs: Any) -> None:
        """
        file                a path, or a file object, opened as text or binary
        relative_timestamp  of logs that count from their start: times count from it (as python-can has it), not from
                            1970
        error_frames        of PCAN traces: error frames are messages, which python-can leaves out
        """
        self._relative = relative_timestamp
        self._error_frames = error_frames
        self._source = _binary(file)
        self.log = self._open()
        self.file = self.log  # type: ignore[assignment]  # what stop() closes

    def _open(self) -> Log:
        try:
            return Log(self._source, type=self.format_name)
        except FormatError:
            if self.format_name is not None or self.default_name is None:
                raise
            return Log(self._source, type=self.default_name)

    def __iter__(self) -> Iterator[Message]:
        style = self._style()
        reader = self.log._next_reader()
        while (columns := reader.next(ROWS_AT_ONCE)) is not None:
            yield from _core.messages(columns, Message, self._channels(reader), **style)
        self.stop()

    def _is_one_of(self, *names: str) -> bool:
        return self.log.format.name.startswith(names)

    def _channels(self, reader: Any) -> dict[int, Any]:
        """Candump's interfaces by their numbers, as python-can has them: text, or a number that stands in the log."""
        if not self._is_one_of("Candump"):
            return {}
        return {
            number: int(name) if name.isdigit() else name for number, name in reader.info()["channels"].items()
        }

    def _style(self) -> dict[str, Any]:
        """How python-can makes messages of this format."""
        if self._is_one_of("Candump", "SocketCanDump"):
            return {"errors_are_bare": True}
        if self._is_one_of("VectorAsc"):
            return {"channel_shift": -1, "start": self._local_start()}
        if self._is_one_of("Blf"):
            self._relative = False
            return {"channel_shift": -1, "start": self._local_start(datetime.timezone.utc)}
        if self._is_one_of("PcanTrace", "PeakTrace"):
            return {
                "no_channel": 1,
                "start": self._trace_start(),
                "in_milliseconds": True,
                "leaves_errors_out": not self._error_frames,
            }
        if self._is_one_of("PythonCanCsv"):
            return {"has_channel": False}
        return {}

    def _local_start(self, zone: datetime.tzinfo | None = None) -> float:
        """The start of the log, without a zone that of this machine, unless times are to count from it."""
        start = None if self._relative else self.log.info.start
        if start is None:
            return 0.0
        return (start if start.tzinfo or zone is None else start.replace(tzinfo=zone)).timestamp()

    def _trace_start(self) -> float:
        """To the microsecond, as the header has it in days since 1899."""
        if self.log.info.version == "1.0":
            return 0.0
        for line in self._first_lines():
            if line.startswith(b";$STARTTIME="):
                try:
                    days = float(line.split(b"=")[1].replace(b",", b"."))
                    return (TRACE_EPOCH + datetime.timedelta(days=days)).timestamp()
                except (ValueError, OverflowError):
                    return 0.0
        return 0.0

    def _first_lines(self) -> list[bytes]:
        if isinstance(self._source, (str, os.PathLike)):
            with open(self._source, "rb") as file:
                start = file.read(65536)
            if start.startswith(b"\x1f\x8b"):
                import gzip

                with gzip.open(self._source) as file:
                    start = file.read(65536)
        else:
            place = self._source.tell()
            start = self._source.read(65536)
            self._source.seek(place)
        return start.splitlines()


def _binary(file: Any) -> Any:
    """Text files of python-can's users, as bytes. What cannot seek is read into memory: its header is needed, too."""
    if isinstance(file, (str, os.PathLike)):
        return file
    if isinstance(file, io.TextIOWrapper):
        file = file.buffer
    if isinstance(file, io.TextIOBase):
        return io.BytesIO(file.read().encode())
    return file if file.seekable() else io.BytesIO(file.read())


def _class_of(row: Any) -> type[CanlogReader]:
    return type(
        f"{row.name}Reader",
        (CanlogReader,),
        {"__doc__": f"Reads the format {row}: {row.description}.", "format_name": row.name, "__module__": __name__},
    )


#: a reader class for each format, by its name
READERS: dict[str, type[CanlogReader]] = {row.name: _class_of(row) for row in formats()}
globals().update({reader.__name__: reader for reader in READERS.values()})


class AscReader(CanlogReader):
    """Logs with the suffix .asc."""

    default_name = "VectorAsc"


class LogReader(CanlogReader):
    """Logs with the suffix .log."""

    default_name = "Candump"


class TrcReader(CanlogReader):
    """Logs with the suffix .trc."""

    default_name = "PcanTrace"


class CsvReader(CanlogReader):
    """Logs with the suffix .csv."""

    default_name = "PythonCanCsv"


#: what install() puts in the place of python-can's own readers
BY_SUFFIX: dict[str, type[CanlogReader]] = {".asc": AscReader, ".csv": CsvReader, ".log": LogReader, ".trc": TrcReader}
for _row in formats():
    BY_SUFFIX.setdefault(_row.suffix, CanlogReader)

_own: dict[str, Any] = {}


def install() -> None:
    """From now on, can.LogReader reads with our readers the suffixes that they know. Calling it again does nothing."""
    for suffix, reader in BY_SUFFIX.items():
        if MESSAGE_READERS.get(suffix) is not reader:
            _own.setdefault(suffix, MESSAGE_READERS.get(suffix))
            MESSAGE_READERS[suffix] = reader


def uninstall() -> None:
    """Gives can.LogReader its own readers back."""
    for suffix, reader in _own.items():
        if reader is None:
            MESSAGE_READERS.pop(suffix, None)
        else:
            MESSAGE_READERS[suffix] = reader
    _own.clear()
