# SPDX-License-Identifier: Apache-2.0
"""The signals in the payloads, as a database (DBC, ARXML, KCD, SYM) has them: whole columns at once."""

from __future__ import annotations

import difflib
import os
from collections.abc import Iterable, Iterator, Mapping
from typing import TYPE_CHECKING, Any, Union

from ._choice import Channels, Choice, Ids, Moment
from ._errors import FormatError, need
from ._log import Log, Zone
from ._read import LogFiles, files_of, in_parallel

if TYPE_CHECKING:
    import numpy
    import pandas
    import polars
    import pyarrow

Database = Union[str, "os.PathLike[str]", Any]
Messages = Union[str, int, Iterable[Union[str, int]], None]
OWN_COLUMNS = ("time_us", "time", "source", "channel")


class SignalTable:
    """The signals of one message: a row for each of its frames."""

    def __init__(self, message: Any, frames: _Frames, named: bool) -> None:
        self.name: str = message.name
        self._frames = frames
        columns = {_column_name(signal.name): signal for signal in message.signals}
        self.signals: tuple[str, ...] = tuple(columns)
        self.units = {name: signal.unit for name, signal in columns.items() if signal.unit}
        self._named = {name: signal.choices for name, signal in columns.items() if named and signal.choices}
        decoder = _Decoder(message, frames.payload, frames.length)
        self._columns = {
            name: decoder.raw(signal) if name in self._named else decoder.value(signal)
            for name, signal in columns.items()
        }
        numpy = need("numpy", "signals")
        #: how many frames are shorter than the database says, so that some of their signals are null
        self.short_frames = int(numpy.count_nonzero(frames.length < message.length))

    def __len__(self) -> int:
        return len(self._frames.time_us)

    def __repr__(self) -> str:
        return f"<canlog.SignalTable {self.name}: {len(self)} frames, {len(self.signals)} signals>"

    @property
    def columns(self) -> tuple[str, ...]:
        return (*OWN_COLUMNS, *self.signals)

    def __getitem__(self, name: str) -> numpy.ndarray:
        """A column as a numpy array, masked where values are null."""
        numpy = need("numpy", "signals")
        if name == "time_us":
            return self._frames.time_us
        if name == "time":
            return numpy.where(
                self._frames.has_time, self._frames.time.view("datetime64[us]"), numpy.datetime64("NaT", "us")
            )
        if name == "source":
            return numpy.array(self._frames.sources, dtype=object)[self._frames.source]
        if name == "channel":
            return _masked(self._frames.channel, self._frames.has_channel)
        if name not in self._columns:
            raise KeyError(f"no signal {name!r} in {self.name}; there are {', '.join(self.signals)}")
        values, valid = self._columns[name]
        if name in self._named:
            codes, words = self._words(name)
            return numpy.array([words[code] if there else None for code, there in zip(codes, valid)], dtype=object)
        return _masked(values, valid)

    def _words(self, name: str) -> tuple[Any, list[str]]:
        """The number of a word for each row, and the words; a value without a name is its number."""
        numpy = need("numpy", "signals")
        values, codes = numpy.unique(self._columns[name][0], return_inverse=True)
        choices = self._named[name]
        return codes, [str(choices.get(int(value), int(value))) for value in values]

    def to_arrow(self) -> pyarrow.Table:
        pyarrow = need("pyarrow", "signals")
        frames = self._frames
        arrays = [
            pyarrow.array(frames.time_us),
            pyarrow.array(frames.time, mask=~frames.has_time).cast(pyarrow.timestamp("us", "UTC")),
            pyarrow.DictionaryArray.from_arrays(
                pyarrow.array(frames.source, pyarrow.int32()), pyarrow.array(frames.sources, pyarrow.utf8())
            ),
            pyarrow.array(frames.channel, mask=~frames.has_channel),
        ]
        fields = [pyarrow.field(name, array.type) for name, array in zip(OWN_COLUMNS, arrays)]
        for name in self.signals:
            values, valid = self._columns[name]
            if name in self._named:
                codes, words = self._words(name)
                array = pyarrow.DictionaryArray.from_arrays(
                    pyarrow.array(codes.astype("int32"), mask=~valid), pyarrow.array(words, pyarrow.utf8())
                )
            else:
                array = pyarrow.array(values, mask=~valid)
            arrays.append(array)
            metadata = {"unit": self.units[name]} if name in self.units else None
            fields.append(pyarrow.field(name, array.type, metadata=metadata))
        schema = pyarrow.schema(fields, metadata={"canlog.message": self.name})
        return pyarrow.Table.from_arrays(arrays, schema=schema)

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        return self.to_arrow().__arrow_c_stream__(requested_schema)

    def to_pandas(self) -> pandas.DataFrame:
        from ._read import to_pandas

        return to_pandas(self.to_arrow())

    def to_polars(self) -> polars.DataFrame:
        return need("polars", "polars").from_arrow(self.to_arrow())


class Signals(Mapping[str, SignalTable]):
    """The tables by the names of their messages. Each is decoded when it is asked for."""

    def __init__(self, messages: dict[str, Any], frames: dict[str, _Frames], named: bool) -> None:
        self._messages = messages
        self._frames = frames
        self._named = named
        self._tables: dict[str, SignalTable] = {}

    def __getitem__(self, name: str) -> SignalTable:
        if name not in self._messages:
            raise KeyError(f"no frame of a message {name!r}; there are {', '.join(self._messages) or 'none'}")
        if name not in self._tables:
            self._tables[name] = SignalTable(self._messages[name], self._frames[name], self._named)
        return self._tables[name]

    def __iter__(self) -> Iterator[str]:
        return iter(self._messages)

    def __len__(self) -> int:
        return len(self._messages)

    def __repr__(self) -> str:
        rows = ", ".join(f"{name}: {len(self._frames[name].time_us)}" for name in self)
        return f"<canlog.Signals {{{rows}}}>"


def signals(
    files: LogFiles,
    database: Database,
    *,
    messages: Messages = None,
    named: bool = False,
    channel: Channels = None,
    start: Moment = None,
    end: Moment = None,
    direction: str | None = None,
    type: int | str | None = None,
    columns: str | None = None,
    zone: Zone = None,
    strict: bool = False,
) -> Signals:
    """Decodes the signals of one or more logs: a table for each message, by its name.

    database   a file that cantools reads (DBC, ARXML, KCD, SYM), or a cantools Database
    messages   names or identifiers; else all that the logs have
    named      values that the database names become words
    the rest   as for read()

    A frame that is shorter than its message has null for the signals that are not in it; SignalTable.short_frames
    counts them. A signal of a multiplexer is null where that says so.
    """
    need("numpy", "signals")
    wanted = _wanted(_load(database), messages)
    by_key: dict[int, list[Any]] = {}
    for message in wanted.values():
        by_key.setdefault(_key(message), []).append(message)
    # Many identifiers are sorted out sooner when all frames are grouped.
    ids = _ids_of(wanted.values()) if 0 < len(wanted) <= 16 else None
    choice = Choice(ids, channel, start, end, direction)
    logs = [
        Log(file, type=type, columns=columns, zone=zone, strict=strict, choice=choice) for file in files_of(files)
    ]
    width = 8 if all(message.length <= 8 for message in wanted.values()) else 64
    parts = in_parallel(logs, lambda log: _LogFrames(log, list(by_key), width))
    frames: dict[str, _Frames] = {}
    sources = [log.source for log in logs]
    for key_index, messages_of_key in enumerate(by_key.values()):
        joined = _Frames(parts, key_index, sources, width)
        for message in messages_of_key:
            if messages is not None or len(joined.time_us):
                frames[message.name] = joined
    return Signals({name: message for name, message in wanted.items() if name in frames}, frames, named)


def _load(database: Database) -> Any:
    if not isinstance(database, (str, os.PathLike)):
        if not hasattr(database, "messages"):
            raise TypeError(f"a path or a cantools Database is wanted, not {type(database).__name__}")
        return database
    cantools = need("cantools", "signals")
    path = os.fspath(database)
    with open(path, "rb"):
        pass  # an OSError with the path, whatever cantools makes of it
    try:
        return cantools.database.load_file(path)
    except Exception as error:
        reason = str(error).splitlines()[0] if str(error) else type(error).__name__
        raise FormatError(f"{path}: no database that cantools reads (DBC, ARXML, KCD, SYM): {reason}") from error


def _wanted(database: Any, messages: Messages) -> dict[str, Any]:
    """The messages by name, in the order of the database."""
    known = {message.name: message for message in database.messages if not getattr(message, "is_container", False)}
    if messages is None:
        return known
    names = set()
    for entry in [messages] if isinstance(messages, (str, int)) else messages:
        found = [m.name for m in known.values() if m.name == entry or m.frame_id == entry]
        if not found:
            near = difflib.get_close_matches(str(entry), known, n=3)
            hint = f"did you mean {', '.join(near)}?" if near else f"it has {len(known)} messages"
            raise ValueError(f"the database has no message {entry!r}; {hint}")
        names.update(found)
    return {name: message for name, message in known.items() if name in names}


def _key(message: Any) -> int:
    return message.frame_id | message.is_extended_frame << 32


def _ids_of(messages: Iterable[Any]) -> list[str]:
    return [f"{m.frame_id:08X}" if m.is_extended_frame else f"{m.frame_id:03X}" for m in messages]


def _column_name(name: str) -> str:
    return f"{name}_signal" if name in OWN_COLUMNS else name


def _masked(values: Any, valid: Any) -> Any:
    numpy = need("numpy", "signals")
    return values if valid.all() else numpy.ma.masked_array(values, mask=~valid)


# The frames of a message

PARTS = {"time_us": "int64", "channel": "int32", "has_channel": "bool", "length": "int16", "payload": "uint8"}


class _LogFrames:
    """The data frames of a log by the keys of their messages."""

    def __init__(self, log: Log, keys: list[int], width: int) -> None:
        self.parts: list[list[tuple[Any, ...]]] = [[] for _ in keys]
        for batch in log.batches(1 << 18):
            for parts, rows in zip(self.parts, batch._columns.frames_by_id(keys, width)):
                if rows is not None:
                    parts.append(rows)
        self.time_offset = log._time_offset()


class _Frames:
    """Columns of the frames of a message, of all logs."""

    def __init__(self, logs: list[_LogFrames], key_index: int, sources: list[str], width: int) -> None:
        numpy = need("numpy", "signals")
        parts = [part for log in logs for part in log.parts[key_index]]
        for position, (name, kind) in enumerate(PARTS.items()):
            empty = numpy.empty((0, width) if name == "payload" else 0, kind)
            setattr(self, name, numpy.concatenate([part[position] for part in parts]) if parts else empty)
        counts = [sum(len(part[0]) for part in log.parts[key_index]) for log in logs]
        self.source = numpy.repeat(numpy.arange(len(logs), dtype="int32"), counts)
        self.sources = sources
        offsets = [log.time_offset for log in logs]
        self.time = self.time_us + numpy.repeat([offset or 0 for offset in offsets], counts)
        self.has_time = numpy.repeat([offset is not None for offset in offsets], counts)


# Bits

class _Decoder:
    """The signals of a message in an array of payloads."""

    def __init__(self, message: Any, payload: Any, length: Any) -> None:
        self.numpy = need("numpy", "signals")
        self.signals = {signal.name: signal for signal in message.signals}
        self.payload = payload
        self.length = length
        self._words: dict[tuple[int, str], Any] = {}
        self._selectors: dict[str, tuple[Any, Any]] = {}  # which other signals ask for
        self._long_enough: dict[int, Any] = {}

    def value(self, signal: Any) -> tuple[Any, Any]:
        """The physical values and which of them are there: int64, or float64 where there is something to reckon."""
        raw, valid = self.raw(signal)
        scale, offset = signal.scale, signal.offset
        if raw.dtype.kind == "f":
            with self.numpy.errstate(invalid="ignore", over="ignore"):  # a payload may be any number, or none
                return (raw if scale == 1 and offset == 0 else raw * scale + offset), valid
        if scale == 1 and offset == 0:
            return (raw if raw.dtype == self.numpy.int64 else raw.astype(self.numpy.float64)), valid
        if float(scale).is_integer() and float(offset).is_integer():
            return self._exact(raw, int(scale), int(offset), signal.length), valid
        return self._scaled(raw.astype(self.numpy.float64), float(scale), float(offset)), valid

    @staticmethod
    def _scaled(values: Any, scale: Any, offset: Any) -> Any:
        """In place, since new memory costs more than the arithmetic."""
        if scale != 1:
            values *= scale
        if offset != 0:
            values += offset
        return values

    def _exact(self, raw: Any, scale: int, offset: int, bits: int) -> Any:
        """Whole numbers are reckoned as such and rounded once, if at all."""
        fits = (abs(scale) << bits) + abs(offset) < 1 << 63
        if fits and (abs(scale) << bits) + abs(offset) < 1 << 53:
            return self._scaled(raw.astype(self.numpy.float64), scale, offset)  # exact, too
        if fits and raw.dtype == self.numpy.int64:
            return (raw * scale + offset).astype(self.numpy.float64)
        return (raw.astype(object) * scale + offset).astype(self.numpy.float64)

    def raw(self, signal: Any) -> tuple[Any, Any]:
        """What stands in the payload: int64, uint64 where that is needed, numbers of any size as objects, float64."""
        if signal.name in self._selectors:
            return self._selectors[signal.name]
        first, last, shift = _place(signal)
        found = self._bits(signal, first, last, shift), self._validity(signal, last)
        if signal.is_multiplexer:
            self._selectors[signal.name] = found
        return found

    def _validity(self, signal: Any, last: int) -> Any:
        """Where the payload has the signal, and its multiplexer says so."""
        numpy = self.numpy
        if last not in self._long_enough:
            self._long_enough[last] = self.length > last
        valid = self._long_enough[last]
        if signal.multiplexer_ids is not None and signal.multiplexer_signal is not None:
            selector, selector_valid = self.raw(self.signals[signal.multiplexer_signal])
            valid = valid & selector_valid & numpy.isin(selector, numpy.array(sorted(signal.multiplexer_ids)))
        return valid

    def _bits(self, signal: Any, first: int, last: int, shift: int) -> Any:
        numpy = self.numpy
        bits = signal.length
        if bits > 64 or last >= self.payload.shape[1]:
            return self._long(signal, first, last, shift)
        if shift == 0 and bits == 8 * (last - first + 1) and bits in (8, 16, 32, 64):
            return self._whole_bytes(signal, first, last)
        word = self._word(signal.byte_order, first, last, shift)
        if signal.is_float:
            kind = {16: "u2", 32: "u4", 64: "u8"}[bits]
            return word.astype(kind).view(kind.replace("u", "f")).astype(numpy.float64)
        if bits < 64:
            if signal.is_signed:
                word <<= numpy.uint64(64 - bits)
                number = word.view(numpy.int64)
                number >>= numpy.int64(64 - bits)
                return number
            word &= numpy.uint64((1 << bits) - 1)
            return word.view(numpy.int64)
        return word.view(numpy.int64) if signal.is_signed else word

    def _whole_bytes(self, signal: Any, first: int, last: int) -> Any:
        """A number as machines have it."""
        kind = "f" if signal.is_float else "i" if signal.is_signed else "u"
        order = "<" if signal.byte_order == "little_endian" else ">"
        numbers = self.payload[:, first : last + 1].view(f"{order}{kind}{signal.length // 8}")[:, 0]
        wide = {"f": "f8", "u": "u8" if signal.length == 64 else "i8", "i": "i8"}[kind]
        return numbers.astype(wide)

    def _word(self, byte_order: str, first: int, last: int, shift: int) -> Any:
        """64 bits of each payload, of which the lowest ones are the signal's; a new array."""
        numpy = self.numpy
        width = self.payload.shape[1]
        start = min(first, width - 8)
        if last - start < 8:
            word = self._eight(start, byte_order)
            behind = shift if byte_order == "little_endian" else shift + 8 * (start + 7 - last)
            before = 8 * (first - start) if byte_order == "little_endian" else 0
            return word >> numpy.uint64(behind + before)
        # Nine bytes: the ninth has the highest bits, or the lowest ones.
        ninth = self.payload[:, last].astype(numpy.uint64)
        word = self._eight(first, byte_order)
        if byte_order == "little_endian":
            return word >> numpy.uint64(shift) | ninth << numpy.uint64(64 - shift)
        return word << numpy.uint64(8 - shift) | ninth >> numpy.uint64(shift)

    def _eight(self, start: int, byte_order: str) -> Any:
        numpy = self.numpy
        if (start, byte_order) not in self._words:
            window = numpy.ascontiguousarray(self.payload[:, start : start + 8])
            kind = "<u8" if byte_order == "little_endian" else ">u8"
            self._words[start, byte_order] = window.view(kind)[:, 0].astype(numpy.uint64, copy=False)
        return self._words[start, byte_order]

    def _long(self, signal: Any, first: int, last: int, shift: int) -> Any:
        """Signals of more bits than a machine's numbers have, one by one."""
        numpy = self.numpy
        values = numpy.zeros(len(self.payload), dtype=object)
        order = "little" if signal.byte_order == "little_endian" else "big"
        mask = (1 << signal.length) - 1
        sign = 1 << (signal.length - 1) if signal.is_signed else 0
        for row in numpy.flatnonzero(self.length > last):
            value = int.from_bytes(self.payload[row, first : last + 1].tobytes(), order) >> shift & mask
            values[row] = (value ^ sign) - sign
        return values


def _place(signal: Any) -> tuple[int, int, int]:
    """The first and last byte of a signal, and how many bits of the byte with its lowest bit are below that."""
    if signal.byte_order == "little_endian":
        first = signal.start // 8
        return first, (signal.start + signal.length - 1) // 8, signal.start % 8
    begin = 8 * (signal.start // 8) + 7 - signal.start % 8
    end = begin + signal.length - 1
    return begin // 8, end // 8, 7 - end % 8
