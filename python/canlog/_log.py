# SPDX-License-Identifier: Apache-2.0
"""A log: what it is, what it says of itself, and its frames."""

from __future__ import annotations

import datetime
import functools
import json
import os
import stat
from collections.abc import Iterator
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any, BinaryIO, NamedTuple, Union

from . import _core
from ._batch import COLUMNS, Batch
from ._choice import Choice
from ._errors import need
from ._report import Report, report_of, warn_of_losses

if TYPE_CHECKING:
    import pandas
    import polars
    import pyarrow

ROWS = 65536
LogFile = Union[str, "os.PathLike[str]", BinaryIO]
Zone = Union[str, datetime.tzinfo, None]
EPOCH = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)


class Format(NamedTuple):
    """A format that can be read."""

    type: int
    name: str
    short_names: tuple[str, ...]
    description: str
    suffix: str
    has_columns: bool

    def __str__(self) -> str:
        return self.short_names[0] if self.short_names else self.name


def formats() -> list[Format]:
    """All formats that can be read, by their numbers."""
    return [Format(**row) for row in _core.formats()]


def type_number(name: int | str | None) -> int:
    """The number of a format that is given by number, name or short name; -1 for none."""
    if name is None:
        return -1
    wanted = str(name).lower()
    for row in formats():
        if wanted in {str(row.type), row.name.lower(), *(short.lower() for short in row.short_names)}:
            return row.type
    known = ", ".join(str(row) for row in formats())
    raise ValueError(f"no format {name!r}; there are {known} (canlog.formats() has numbers and names)")


@dataclass(frozen=True)
class Info:
    """What a log says of itself beside its frames."""

    time_zero: str  #: what times count from: unix-epoch, log-start, midnight, unknown
    start: datetime.datetime | None  #: of the log; without a zone where none is known
    zone: str | None  #: of the start, as the log says or as it was given
    channels: dict[int, str] = field(default_factory=dict)  #: names by number, as far as they were read
    writer: str = ""
    version: str = ""


def zone_of(zone: Zone) -> datetime.tzinfo | None:
    """A zone by its name, as "Europe/Berlin", or by what it is from UTC, as "+02:00"."""
    if zone is None or isinstance(zone, datetime.tzinfo):
        return zone
    if zone.upper() in ("UTC", "Z"):
        return datetime.timezone.utc
    if zone[:1] in "+-":
        try:
            return datetime.datetime.strptime(zone, "%z").tzinfo
        except ValueError:
            pass
    else:
        import zoneinfo

        try:
            return zoneinfo.ZoneInfo(zone)
        except (zoneinfo.ZoneInfoNotFoundError, ValueError):
            pass
    raise ValueError(f'no zone {zone!r}; wanted is a name as "Europe/Berlin", or "+02:00", or a tzinfo')


def name_of(file: LogFile) -> str:
    if isinstance(file, (str, os.PathLike)):
        return str(os.fspath(file))
    name = getattr(file, "path", None) or getattr(file, "name", None)
    return str(name) if isinstance(name, (str, os.PathLike)) else "<file object>"


class Log:
    """A log that canlog.open() has found. Each use of its frames (a table, an iteration) reads it from its beginning,
    and no more of it than is asked for."""

    def __init__(self, file: LogFile, *, type: int | str | None = None, columns: str | None = None, zone: Zone = None,
                 strict: bool = False, choice: Choice | None = None) -> None:
        self._file = file
        self._name = name_of(file)
        self._type = type_number(type)
        self._columns_text = columns
        self._zone = zone_of(zone)
        self._strict = strict
        self._choice = choice or Choice()
        self._is_path = isinstance(file, (str, os.PathLike))
        self._start = None if self._is_path else _position(file)
        self._closed = False
        self._reader = self._open()  # the latest reading
        self._is_fresh = True  # of which no frame was used yet
        self._type = self._reader.format["type"]

    # What it is

    @property
    def source(self) -> str:
        """The path, or the name of the file object."""
        return self._name

    @property
    def format(self) -> Format:
        return Format(**self._reader.format)

    @property
    def columns(self) -> tuple[str, ...]:
        return COLUMNS

    @property
    def info(self) -> Info:
        """What the log says of itself, as far as it was read: at least up to its first frame."""
        self._check_open()
        if self._is_fresh:
            self._reader.begin()
        return self._info_of(self._reader)

    @property
    def report(self) -> Report:
        """What became of the lines, in the latest reading; when there was none, the log is read for it."""
        if self._is_fresh and not self._closed and (self._is_path or self._start is not None):
            reader = self._next_reader()
            reader.select_none()
            while reader.next(ROWS) is not None:
                pass
        return report_of(self._name, self._reader.report())

    def summary(self) -> dict[str, Any]:
        """One row of numbers about the latest reading."""
        told = self.report
        sums = self._reader.sums()
        return {
            "source": self._name,
            "format": self.format.name,
            "bytes": sums["bytes"],
            "lines": told.lines,
            "frames": sums["frames"],
            "faulty_lines": told.faulty_lines,
            "dropped_lines": told.dropped_lines,
            "first_time_us": sums["first_time_us"],
            "last_time_us": sums["last_time_us"],
            "error": told.read_error or None,
            "seconds": sums["seconds"],
        }

    def __repr__(self) -> str:
        return f"<canlog.Log {self._name!r}, {self.format}>"

    # Its frames

    def batches(self, size: int = ROWS) -> Iterator[Batch]:
        """The frames, in batches of `size`, the last one smaller."""
        _check_size(size)
        reader = self._next_reader()
        return self._iterate(reader, size)

    def _iterate(self, reader: Any, size: int) -> Iterator[Batch]:
        metadata = None
        while (columns := reader.next(size)) is not None:
            if metadata is None:
                metadata = self._metadata(reader)
            yield Batch(columns, self._name, metadata)

    def __iter__(self) -> Iterator[Batch]:
        return self.batches()

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        reader = self._next_reader()
        reader.read_ahead(ROWS)
        return reader.stream(ROWS, self._metadata(reader))

    def __arrow_c_schema__(self) -> object:
        self._check_open()
        if self._is_fresh:
            self._reader.begin()
        return _core.schema(self._metadata(self._reader))

    def to_arrow(self) -> pyarrow.Table:
        """All frames as a pyarrow.Table; as pyarrow.table(log), but Ctrl-C is a KeyboardInterrupt for sure."""
        pyarrow = need("pyarrow", "arrow")
        batches = [pyarrow.record_batch(batch) for batch in self.batches()]
        return pyarrow.Table.from_batches(batches, schema=None if batches else pyarrow.schema(self))

    def to_pandas(self) -> pandas.DataFrame:
        """All frames as a pandas.DataFrame, in types that can be null."""
        from ._read import to_pandas

        return to_pandas(self.to_arrow())

    def to_polars(self) -> polars.DataFrame:
        """All frames as a polars.DataFrame."""
        return need("polars", "polars").from_arrow(self.to_arrow())

    def to_numpy(self) -> dict[str, Any]:
        """All frames as arrays by column, masked where values are null."""
        from ._read import to_numpy

        return to_numpy(self.to_arrow())

    # Its end

    def close(self) -> None:
        """Ends every reading of it at once, also one in another thread, and lets go of the file."""
        self._closed = True
        self._reader.close()

    def __enter__(self) -> Log:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    # Readings

    def _check_open(self) -> None:
        if self._closed:
            raise ValueError(f"{self._name} was closed")

    def _open(self) -> Any:
        name = self._name.encode("utf-8", "replace")
        if not self._is_path:
            reader = _core.Reader(self._file, name, self._type, self._columns_text)
        else:
            reader = _core.Reader(_descriptor(self._file), name, self._type, self._columns_text)
        if self._strict:
            reader.set_strict()
        reader.set_end_reached(functools.partial(warn_of_losses, self._name, reader.format["name"]))
        return reader

    def _next_reader(self) -> Any:
        """A reader at the beginning, ready to give rows."""
        self._check_open()
        if not self._is_fresh:
            if not self._is_path:
                if self._start is None:
                    raise ValueError(f"{self._name} cannot seek, so it is read once only; open it anew")
                self._file.seek(self._start)  # type: ignore[union-attr]
            self._reader = self._open()
        self._is_fresh = False
        reader = self._reader
        reader.begin()
        offset = self._offset(self._info_of(reader))
        reader.set_time_offset(offset)
        self._choice.apply(reader, offset, self._name)
        return reader

    def _info_of(self, reader: Any) -> Info:
        told = reader.info()
        start, zone = told["start"], None
        if start is not None:
            *fields, east = start
            if east is not None:
                tz: datetime.tzinfo | None = datetime.timezone(datetime.timedelta(seconds=east))
                zone = str(tz)
            else:
                tz = self._zone
                zone = str(tz) if tz else None
            start = datetime.datetime(*fields, tzinfo=tz)
        return Info(told["time_zero"], start, zone, dict(told["channels"]), told["writer"], told["version"])

    @staticmethod
    def _offset(info: Info) -> int | None:
        """What turns the times of the log into microseconds since 1970; None where that is not known."""
        if info.time_zero == "unix-epoch":
            return 0
        if info.start is None or info.start.tzinfo is None:
            return None
        start = info.start
        if info.time_zero == "midnight":
            start = start.replace(hour=0, minute=0, second=0, microsecond=0)
        elif info.time_zero != "log-start":
            return None
        return (start - EPOCH) // datetime.timedelta(microseconds=1)

    def _time_offset(self) -> int | None:
        return self._offset(self._info_of(self._reader))

    def _metadata(self, reader: Any) -> list[tuple[str, str]]:
        info = self._info_of(reader)
        pairs = [
            ("canlog.version", _core.version),
            ("canlog.format", self.format.name),
            ("canlog.time_zero", info.time_zero),
        ]
        if info.start is not None:
            pairs.append(("canlog.start", info.start.isoformat()))
        if info.zone is not None:
            pairs.append(("canlog.zone", info.zone))
        pairs.append(("canlog.channels", json.dumps({str(k): v for k, v in info.channels.items()})))
        return pairs


def _position(file: Any) -> int | None:
    """Where a file object stands, if it can be brought back there."""
    if not hasattr(file, "read"):
        raise TypeError(f"a path or a binary file object is wanted, not {type(file).__name__}")
    try:
        return file.tell() if file.seekable() else None
    except (AttributeError, OSError):
        return None


def _descriptor(path: Any) -> int:
    descriptor = os.open(path, os.O_RDONLY | getattr(os, "O_CLOEXEC", 0))
    if stat.S_ISDIR(os.fstat(descriptor).st_mode):
        os.close(descriptor)
        raise IsADirectoryError(21, "Is a directory; name the files in it, as canlog.read(\"FOLDER/*.asc\") does",
                                os.fspath(path))
    return descriptor


def _check_size(size: int) -> None:
    if not 1 <= size <= 1 << 24:
        raise ValueError(f"a size from 1 to {1 << 24} is wanted, not {size}")
