# SPDX-License-Identifier: Apache-2.0
"""Several logs at once, as one table."""

from __future__ import annotations

import concurrent.futures
import glob
import os
from collections.abc import Callable, Iterable
from typing import TYPE_CHECKING, Any, TypeVar, Union

from ._choice import Channels, Choice, Ids, Moment
from ._errors import need
from ._log import Log, LogFile, Zone

if TYPE_CHECKING:
    import pandas

LogFiles = Union[LogFile, Iterable[LogFile]]
Result = TypeVar("Result")
KINDS = ("arrow", "pandas", "polars", "numpy")


def files_of(files: LogFiles) -> list[LogFile]:
    """Paths, patterns of paths and file objects, in their order; what a pattern names is in the order of names."""
    if isinstance(files, (str, os.PathLike)) or hasattr(files, "read"):
        files = [files]  # type: ignore[list-item]
    result: list[LogFile] = []
    for file in files:  # type: ignore[union-attr]
        if isinstance(file, str) and glob.has_magic(file) and not os.path.exists(file):
            found = sorted(glob.glob(file, recursive=True))
            if not found:
                raise FileNotFoundError(2, "No file has such a name", file)
            result += found
        else:
            result.append(file)
    return result


def in_parallel(logs: list[Log], work: Callable[[Log], Result]) -> list[Result]:
    """The work on each log, in as many threads as there are processors; an exception ends all of it."""
    if len(logs) == 1:
        return [work(logs[0])]
    with concurrent.futures.ThreadPoolExecutor(min(len(logs), os.cpu_count() or 1)) as pool:
        futures = [pool.submit(work, log) for log in logs]
        try:
            return [future.result() for future in futures]
        except BaseException:
            for future in futures:
                future.cancel()
            for log in logs:
                log.close()
            raise


def read(
    files: LogFiles,
    *,
    ids: Ids = None,
    channel: Channels = None,
    start: Moment = None,
    end: Moment = None,
    direction: str | None = None,
    to: str = "arrow",
    type: int | str | None = None,
    columns: str | None = None,
    zone: Zone = None,
    strict: bool = False,
) -> Any:
    """Reads one or more logs into one table; the column `source` tells them apart.

    files      a path, a pattern as "*.trc", a binary file object, or several of these
    ids        identifiers: 0x0C9, "0C9", ranges "100-1FF", masks "100:700", "error"; up to three digits are a standard
               one, more an extended one
    channel    a number or a name as "can0", or several
    start, end the first and the last moment: seconds as the log counts them, "+2.5" from its first frame, or a datetime
               with a zone
    direction  "rx" or "tx"
    to         "arrow" (pyarrow.Table), "pandas", "polars", or "numpy": a dict of arrays
    type, columns, zone, strict
               as for open()
    """
    if to not in KINDS:
        raise ValueError(f"no kind of table {to!r}; there are {', '.join(KINDS)}")
    need("pyarrow", "arrow")
    choice = Choice(ids, channel, start, end, direction)
    logs = [
        Log(file, type=type, columns=columns, zone=zone, strict=strict, choice=choice) for file in files_of(files)
    ]
    table = joined(in_parallel(logs, Log.to_arrow))
    if to == "pandas":
        return to_pandas(table)
    if to == "polars":
        return need("polars", "polars").from_arrow(table)
    if to == "numpy":
        return to_numpy(table)
    return table


def joined(tables: list[Any]) -> Any:
    """One table; of what their schemas say only that is kept in which they agree."""
    pyarrow = need("pyarrow", "arrow")
    if not tables:
        raise ValueError("no log is named")
    if len(tables) == 1:
        return tables[0]
    metadata = [table.schema.metadata or {} for table in tables]
    common = {key: value for key, value in metadata[0].items() if all(other.get(key) == value for other in metadata)}
    table = pyarrow.concat_tables([table.replace_schema_metadata(common) for table in tables])
    return table.unify_dictionaries()


def to_pandas(table: Any) -> pandas.DataFrame:
    """In the types of pandas that can be null, so that a missing channel turns no number into a float."""
    pandas = need("pandas", "pandas")
    pyarrow = need("pyarrow", "arrow")
    types = {
        pyarrow.bool_(): pandas.BooleanDtype(),
        pyarrow.int8(): pandas.Int8Dtype(),
        pyarrow.int16(): pandas.Int16Dtype(),
        pyarrow.int32(): pandas.Int32Dtype(),
        pyarrow.int64(): pandas.Int64Dtype(),
        pyarrow.float64(): pandas.Float64Dtype(),
    }
    return table.to_pandas(types_mapper=types.get)


def to_numpy(table: Any) -> dict[str, Any]:
    """Arrays by column, masked where values are null."""
    numpy = need("numpy", "numpy")
    pyarrow = need("pyarrow", "arrow")
    arrays = {}
    for name in table.column_names:
        column = table[name].combine_chunks() if table[name].num_chunks != 1 else table[name].chunk(0)
        kind = column.type
        if pyarrow.types.is_dictionary(kind) or not (pyarrow.types.is_primitive(kind)):
            arrays[name] = numpy.array(column.to_pylist(), dtype=object)
        elif pyarrow.types.is_timestamp(kind):
            arrays[name] = column.cast(pyarrow.timestamp("us")).to_numpy(zero_copy_only=False)
        else:
            values = column.fill_null(False if pyarrow.types.is_boolean(kind) else 0).to_numpy(zero_copy_only=False)
            mask = column.is_null().to_numpy(zero_copy_only=False)
            arrays[name] = numpy.ma.masked_array(values, mask=mask) if column.null_count else values
    return arrays
