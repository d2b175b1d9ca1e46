# SPDX-License-Identifier: Apache-2.0
"""A batch of frames, column by column."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

from . import _core
from ._errors import need

if TYPE_CHECKING:
    import numpy
    import pyarrow

COLUMNS: tuple[str, ...] = tuple(_core.column_names())


class Batch:
    """Frames of a log, in its order. pyarrow.record_batch(batch) and the like take it as it is; batch["id"] is a numpy
    array on the same memory."""

    def __init__(self, columns: Any, source: str, metadata: list[tuple[str, str]]) -> None:
        self._columns = columns
        self._source = source
        self._metadata = metadata

    def __len__(self) -> int:
        return len(self._columns)

    def __repr__(self) -> str:
        return f"<canlog.Batch of {len(self)} frames of {self._source}>"

    @property
    def columns(self) -> tuple[str, ...]:
        return COLUMNS

    @property
    def source(self) -> str:
        return self._source

    def __arrow_c_array__(self, requested_schema: object = None) -> tuple[object, object]:
        return _core.schema(self._metadata), self._columns.array(self._source.encode("utf-8", "replace"))

    def __arrow_c_schema__(self) -> object:
        return _core.schema(self._metadata)

    def to_arrow(self) -> pyarrow.RecordBatch:
        return need("pyarrow", "arrow").record_batch(self)

    def __getitem__(self, name: str) -> numpy.ndarray:
        """A column. Where values are null it is a masked array; what has a fixed width is not copied."""
        numpy = need("numpy", "numpy")
        if name not in COLUMNS:
            raise KeyError(f"no column {name!r}; there are {', '.join(COLUMNS)}")
        if name == "source":
            return numpy.full(len(self), self._source, dtype=object)
        if name in ("data", "note"):
            return self._strings(name)
        values = _core.values(self._columns, name)
        if name == "time":
            if not self._columns.has_time:
                return numpy.full(len(self), "NaT", dtype="datetime64[us]")
            return values.view("datetime64[us]")
        presence = _core.presence(self._columns, name)
        return values if presence is None else numpy.ma.masked_array(values, mask=~presence, copy=False)

    def _strings(self, name: str) -> numpy.ndarray:
        numpy = need("numpy", "numpy")
        offsets = _core.offsets(self._columns, name).tolist()
        content = _core.content(self._columns, name).tobytes()
        presence = _core.presence(self._columns, name) if name == "note" else None
        column = numpy.empty(len(self), dtype=object)
        for row, (begin, end) in enumerate(zip(offsets, offsets[1:])):
            value = content[begin:end]
            if name == "note":
                column[row] = value.decode() if presence is None or presence[row] else None
            else:
                column[row] = value
        return column

    def padded(self, width: int = 64) -> numpy.ndarray:
        """The payloads as an array of (frames, width) bytes, with zeros behind each; `length` tells where those begin.
        A width of 8 cuts CAN FD frames."""
        need("numpy", "numpy")
        if not 1 <= width <= 64:
            raise ValueError(f"a width from 1 to 64 is wanted, not {width}")
        return self._columns.padded(width)
