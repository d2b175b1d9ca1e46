# SPDX-License-Identifier: Apache-2.0
"""Reads recorded CAN-bus traffic out of the log files of many tools, into tables.

    log = canlog.open("drive.asc")
    table = pyarrow.table(log)
"""

from __future__ import annotations

from typing import TYPE_CHECKING

from ._batch import COLUMNS, Batch
from ._choice import Channels, Choice, Ids, Moment
from ._core import version as __version__
from ._errors import Error, FaultyLineError, FormatError, LossWarning
from ._log import Format, Info, Log, LogFile, Zone, formats
from ._parquet import write_parquet
from ._read import LogFiles, read
from ._report import Fault, Report
from ._signals import Signals, SignalTable, signals

if TYPE_CHECKING:
    from . import can as can

__all__ = [
    "COLUMNS",
    "Batch",
    "Error",
    "Fault",
    "FaultyLineError",
    "Format",
    "FormatError",
    "Info",
    "Log",
    "LossWarning",
    "Report",
    "SignalTable",
    "Signals",
    "__version__",
    "formats",
    "open",
    "read",
    "signals",
    "write_parquet",
]


def open(
    file: LogFile,
    *,
    type: int | str | None = None,
    columns: str | None = None,
    zone: Zone = None,
    strict: bool = False,
    ids: Ids = None,
    channel: Channels = None,
    start: Moment = None,
    end: Moment = None,
    direction: str | None = None,
) -> Log:
    """Opens a log: a path, compressed by gzip or not, or a binary file object.

    type       the format, by number or name, as formats() lists them; else it is found from the content
    columns    what the columns of a format of type "generic" mean
    zone       of a start that the log tells without one, as "Europe/Berlin"; it gives the column `time` values
    strict     faulty lines are a FaultyLineError, not a warning
    ids, channel, start, end, direction
               only such frames, see read()
    """
    choice = Choice(ids, channel, start, end, direction)
    return Log(file, type=type, columns=columns, zone=zone, strict=strict, choice=choice)


def __getattr__(name: str) -> object:
    # canlog.can needs python-can, which not everybody has.
    if name == "can":
        import importlib

        return importlib.import_module(".can", __name__)
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
