# SPDX-License-Identifier: Apache-2.0
"""Logs as Parquet files."""

from __future__ import annotations

import os
import tempfile
from typing import Any

from ._choice import Channels, Choice, Ids, Moment
from ._errors import need
from ._log import Log, Zone
from ._read import LogFiles, files_of, in_parallel


def write_parquet(
    files: LogFiles,
    target: str | os.PathLike[str],
    *,
    compression: str = "zstd",
    ids: Ids = None,
    channel: Channels = None,
    start: Moment = None,
    end: Moment = None,
    direction: str | None = None,
    type: int | str | None = None,
    columns: str | None = None,
    zone: Zone = None,
    strict: bool = False,
) -> list[dict[str, Any]]:
    """Writes one or more logs as Parquet files, batch by batch, and gives a row of numbers on each (Log.summary()).

    target     a folder, which is made if need be: drive.asc becomes drive.asc.parquet in it; or, of a single log, a
               file that ends with .parquet
    the rest   as for read()

    A file appears when it is complete, under its name at once; until then, and when something fails, what stood there
    before stays.
    """
    need("pyarrow", "arrow")
    choice = Choice(ids, channel, start, end, direction)
    logs = [
        Log(file, type=type, columns=columns, zone=zone, strict=strict, choice=choice) for file in files_of(files)
    ]
    paths = _targets(logs, os.fspath(target))
    for folder in {os.path.dirname(path) or "." for path in paths.values()}:
        os.makedirs(folder, exist_ok=True)
    return in_parallel(logs, lambda log: _write(log, paths[id(log)], compression))


def _targets(logs: list[Log], target: str) -> dict[int, str]:
    if target.endswith(".parquet") and not os.path.isdir(target):
        if len(logs) != 1:
            raise ValueError(f"{len(logs)} logs do not go into one file {target}; name a folder")
        return {id(logs[0]): target}
    paths: dict[int, str] = {}
    origins: dict[str, str] = {}
    for log in logs:
        name = os.path.basename(log.source.rstrip("/"))
        path = os.path.join(target, f"{name}.parquet")
        if path in origins:
            raise ValueError(f"{origins[path]} and {log.source} would both become {path}; write them to two folders")
        origins[path] = log.source
        paths[id(log)] = path
    return paths


def _write(log: Log, path: str, compression: str) -> dict[str, Any]:
    """Beside the target first, which is on the same disk, and under its name when all of it is on that."""
    folder = os.path.dirname(path) or "."
    descriptor, beside = tempfile.mkstemp(prefix=f".{os.path.basename(path)}.", suffix=".part", dir=folder)
    try:
        with os.fdopen(descriptor, "wb") as file:
            _write_batches(log, file, compression)
            file.flush()
            os.fsync(file.fileno())
        os.chmod(beside, 0o666 & ~_umask())
        os.replace(beside, path)
    except BaseException:
        os.unlink(beside)
        raise
    _sync_folder(folder)
    return log.summary()


def _write_batches(log: Log, file: Any, compression: str) -> None:
    pyarrow = need("pyarrow", "arrow")
    parquet = need("pyarrow.parquet", "arrow")
    writer = None
    try:
        for batch in log.batches():
            columns = pyarrow.record_batch(batch)
            if writer is None:
                writer = parquet.ParquetWriter(file, columns.schema, compression=compression)
            writer.write_batch(columns)
        if writer is None:
            writer = parquet.ParquetWriter(file, pyarrow.schema(log), compression=compression)
    finally:
        if writer is not None:
            writer.close()


def _umask() -> int:
    """Of this process. There is no way to ask without setting it, but this one, which other threads do not notice."""
    try:
        with open("/proc/self/status") as status:
            return next(int(line.split()[1], 8) for line in status if line.startswith("Umask:"))
    except (OSError, StopIteration):
        return 0o022


def _sync_folder(folder: str) -> None:
    descriptor = os.open(folder, os.O_RDONLY)
    try:
        os.fsync(descriptor)
    finally:
        os.close(descriptor)
