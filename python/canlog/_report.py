# SPDX-License-Identifier: Apache-2.0
"""What became of the lines of a log."""

from __future__ import annotations

import warnings
from dataclasses import dataclass, field
from typing import Any, NamedTuple

from . import _core
from ._errors import LossWarning


class Fault(NamedTuple):
    """A line that was dropped or read in part; line and column count from 1."""

    line: int
    column: int
    reason: str


@dataclass(frozen=True)
class Report:
    """What became of the lines of a log. As an Arrow table (pyarrow.table(report)) it is the list of faults."""

    source: str
    lines: int = 0
    frames: int = 0
    other_lines: int = 0  #: headers, comments, events: by the rules of the format no frames
    dropped_lines: int = 0  #: should be frames, but gave none
    faulty_lines: int = 0  #: dropped, or read in part
    cut_notes: int = 0
    read_error: str = ""  #: why the file could not be read to its end
    is_complete: bool = False  #: whether the log was read to its end
    faults: list[Fault] = field(default_factory=list, repr=False)  #: the first 1000 of them

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        return faults_stream([self])

    def __str__(self) -> str:
        text = f"{self.source}: {self.lines} lines, {self.frames} frames"
        if self.faulty_lines:
            text += f", {self.faulty_lines} lines dropped or read in part"
        if not self.is_complete:
            text += ", not read to its end"
        return "\n".join([text, *(f"{self.source}:{f.line}:{f.column}: {f.reason}" for f in self.faults)])


def faults_stream(reports: list[Report]) -> object:
    """The faults of several logs as one Arrow stream."""
    rows = [(report.source, *fault) for report in reports for fault in report.faults]
    kinds = [("source", "u"), ("line", "l"), ("column", "i"), ("reason", "u")]
    return _core.table_stream([(name, kind, [row[i] for row in rows]) for i, (name, kind) in enumerate(kinds)])


def report_of(source: str, told: dict[str, Any]) -> Report:
    return Report(source=source, **{**told, "faults": [Fault(*fault) for fault in told["faults"]]})


def counted(number: int, what: str) -> str:
    return f"{number} {what}" if number == 1 else f"{number} {what}s"


def warn_of_losses(source: str, format_name: str, told: dict[str, Any]) -> None:
    """Loss has a name: what was not read is said once, at the end of the log."""
    first = told["faults"][0] if told["faults"] else None
    text = ""
    if first:
        text = (
            f"{told['faulty_lines']} of {counted(told['lines'], 'line')} dropped or read in part, "
            f"the first at line {first[0]}, column {first[1]} ({first[2]}); Log.report lists them"
        )
    if told["frames"] == 0:
        text = f"no frame in it when read as {format_name}" + (f": {text}" if text else "; try another type=")
    if text:
        warnings.warn(f"{source}: {text}", LossWarning, stacklevel=3)
    if told["unknown_channels"]:
        warnings.warn(f"{source}: it has no channel named {told['unknown_channels']}", LossWarning, stacklevel=3)
    if told["cut_notes"]:
        cut = counted(told["cut_notes"], "note")
        warnings.warn(f"{source}: {cut} cut, since what the log says there would fill the memory", LossWarning,
                      stacklevel=3)
