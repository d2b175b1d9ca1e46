# SPDX-License-Identifier: Apache-2.0
"""Which frames of a log are wanted."""

from __future__ import annotations

import datetime
import decimal
from collections.abc import Iterable
from dataclasses import dataclass
from typing import Any, Union

from . import _core

Ids = Union[int, str, Iterable[Union[int, str]], None]
Channels = Union[int, str, Iterable[Union[int, str]], None]
Moment = Union[int, float, str, datetime.datetime, None]

STANDARD = 0x7FF
EPOCH = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)


@dataclass(frozen=True)
class Choice:
    """All frames, until a field says otherwise. The library chooses, by the same texts as the command takes."""

    ids: Ids = None
    channel: Channels = None
    start: Moment = None
    end: Moment = None
    direction: str | None = None

    def __post_init__(self) -> None:
        # What is wrong is said where it was written, not when the log is read. A date is checked with any zero.
        problem = _core.choice_problem(*self._texts(0, ""))
        if problem:
            raise ValueError(problem)

    def _texts(self, offset: int | None, source: str) -> tuple[str, str, str, str, str]:
        return (
            listed(self.ids, id_text),
            listed(self.channel, str),
            moment_text(self.start, offset, source),
            moment_text(self.end, offset, source),
            self.direction or "",
        )

    def apply(self, reader: Any, offset: int | None, source: str) -> None:
        """Tells the reader, whose times become calendar times by `offset`."""
        texts = self._texts(offset, source)
        if any(texts):
            problem = reader.select(*texts)
            if problem:
                raise ValueError(problem)


def listed(entries: Any, text: Any) -> str:
    if entries is None:
        return ""
    if isinstance(entries, str) or not isinstance(entries, Iterable):
        entries = [entries]
    texts = [entry if isinstance(entry, str) else text(entry) for entry in entries]
    if not texts:
        raise ValueError("an empty list of identifiers or channels chooses no frame at all; None chooses all")
    return ",".join(texts)


def id_text(number: Any) -> str:
    """Three digits are a standard identifier, eight an extended one."""
    value = number.__index__()
    return f"{value:03X}" if value <= STANDARD else f"{value:08X}"


def moment_text(moment: Moment, offset: int | None, source: str) -> str:
    """A moment as the log counts: numbers are its own seconds, "+2.5" counts from its first frame, dates are on the
    calendar."""
    if moment is None:
        return ""
    if isinstance(moment, str):
        try:
            moment = datetime.datetime.fromisoformat(moment.replace("Z", "+00:00")) if moment[4:5] == "-" else moment
        except ValueError:
            raise ValueError(
                f"no moment {moment!r}; wanted are seconds, or a date as 2024-05-21T09:40:12+02:00"
            ) from None
        if isinstance(moment, str):
            return moment
    if not isinstance(moment, datetime.datetime):
        return seconds_text(int((decimal.Decimal(str(moment)) * 1000000).to_integral_value()))
    if moment.tzinfo is None:
        raise ValueError(f"{moment} has no zone; add one, as in 2024-05-21T09:40:12+02:00")
    if offset is None:
        raise ValueError(
            f"{source} does not say when it was recorded, so {moment} is no moment in it; give its zone= if it has a "
            "start (Log.info), or seconds of its own"
        )
    return seconds_text((moment - EPOCH) // datetime.timedelta(microseconds=1) - offset)


def seconds_text(microseconds: int) -> str:
    sign = "-" if microseconds < 0 else ""
    return f"{sign}{abs(microseconds) // 1000000}.{abs(microseconds) % 1000000:06d}"
