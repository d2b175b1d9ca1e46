# SPDX-License-Identifier: Apache-2.0
"""Which frames of a log are wanted."""

from __future__ import annotations

import datetime
import decimal
import re
from collections.abc import Iterable
from dataclasses import dataclass
from typing import Any, Union

Ids = Union[int, str, Iterable[Union[int, str]], None]
Channels = Union[int, Iterable[int], None]
Moment = Union[int, float, str, datetime.datetime, None]

STANDARD = 0x7FF
EXTENDED = 0x1FFFFFFF
EPOCH = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)
NUMBER = re.compile(r"[+-]?\d+(\.\d*)?\Z")


@dataclass(frozen=True)
class Choice:
    """All frames, until a field says otherwise. As the command's options have it: identifiers of up to three digits are
    standard ones, more digits mean an extended one; start and end are included."""

    ids: Ids = None
    channel: Channels = None
    start: Moment = None
    end: Moment = None
    direction: str | None = None

    def __post_init__(self) -> None:
        # What is wrong is said where it was written, not when the log is read.
        id_ranges(self.ids)
        channel_list(self.channel)
        direction_flag(self.direction)

    @property
    def is_all(self) -> bool:
        return all(
            value is None for value in (self.ids, self.channel, self.start, self.end, self.direction)
        )

    def apply(self, reader: Any, offset: int | None, source: str) -> None:
        """Tells the reader, whose times become calendar times by `offset`."""
        if self.is_all:
            return
        ranges, errors = id_ranges(self.ids)
        start, end = (microseconds(moment, offset, source) for moment in (self.start, self.end))
        if start is not None and end is not None and start > end:
            raise ValueError(f"start {self.start} is after end {self.end}")
        reader.select(ranges, errors, channel_list(self.channel), start, end, direction_flag(self.direction))


def id_ranges(ids: Ids) -> tuple[list[tuple[int, int, int, bool]] | None, bool]:
    """First, last, mask and whether it is extended, of each entry; and whether error frames are wanted."""
    if ids is None:
        return None, True
    entries = [ids] if isinstance(ids, (int, str)) else list(ids)
    texts = [part for entry in entries for part in (entry.split(",") if isinstance(entry, str) else [entry])]
    ranges = []
    errors = False
    for entry in texts:
        if isinstance(entry, str) and entry.strip().lower() == "error":
            errors = True
        else:
            ranges.append(id_range(entry))
    return ranges, errors


def id_range(entry: int | str) -> tuple[int, int, int, bool]:
    if isinstance(entry, str):
        text = entry.strip()
        if ":" in text:
            (value, is_extended), (mask, _) = (one_id(part, entry) for part in text.split(":", 1))
            return value & mask, value & mask, mask, is_extended
        parts = [one_id(part, entry) for part in text.split("-", 1)]
    else:
        parts = [one_id(entry, entry)]
    (first, is_extended), (last, last_is_extended) = parts[0], parts[-1]
    if is_extended != last_is_extended or first > last:
        raise bad_id(entry)
    return first, last, 0xFFFFFFFF, is_extended


def one_id(value: int | str, entry: object) -> tuple[int, bool]:
    if isinstance(value, str):
        if not re.fullmatch(r"[0-9A-Fa-f]{1,8}", value.strip()):
            raise bad_id(entry)
        number = int(value, 16)
        is_extended = len(value.strip()) > 3 or number > STANDARD
    else:
        try:
            number = value.__index__()
        except AttributeError:
            raise bad_id(entry) from None
        is_extended = number > STANDARD
    if not 0 <= number <= EXTENDED:
        raise bad_id(entry)
    return number, is_extended


def bad_id(entry: object) -> ValueError:
    return ValueError(
        f"no identifier {entry!r}; wanted are numbers or hexadecimal texts up to 1FFFFFFF, ranges '100-1FF', "
        "masks '100:700' or 'error'"
    )


def channel_list(channel: Channels) -> list[int] | None:
    if channel is None:
        return None
    channels = list(channel) if isinstance(channel, Iterable) else [channel]
    for number in channels:
        if isinstance(number, str) or not 0 <= number <= 65535:
            raise ValueError(f"no channel {number!r}; wanted are numbers from 0 to 65535")
    return channels


def direction_flag(direction: str | None) -> bool | None:
    if direction is None:
        return None
    if str(direction).lower() not in ("rx", "tx"):
        raise ValueError(f"no direction {direction!r}; wanted is 'rx' or 'tx'")
    return direction.lower() == "tx"


def microseconds(moment: Moment, offset: int | None, source: str) -> int | None:
    """A moment as the log counts: numbers are its own seconds, dates are on the calendar."""
    if moment is None:
        return None
    if isinstance(moment, str):
        if NUMBER.match(moment):
            return exact(decimal.Decimal(moment))
        try:
            moment = datetime.datetime.fromisoformat(moment.replace("Z", "+00:00"))
        except ValueError:
            raise ValueError(f"no moment {moment!r}; wanted are seconds, or a date as 2024-05-21T09:40:12+02:00") from None
    if not isinstance(moment, datetime.datetime):
        return exact(decimal.Decimal(str(moment)))
    if moment.tzinfo is None:
        raise ValueError(f"{moment} has no zone; add one, as in 2024-05-21T09:40:12+02:00")
    if offset is None:
        raise ValueError(
            f"{source} does not say when it was recorded, so {moment} is no moment in it; give its zone= if it has a "
            "start (Log.info), or seconds of its own"
        )
    return (moment - EPOCH) // datetime.timedelta(microseconds=1) - offset


def exact(seconds: decimal.Decimal) -> int:
    return int((seconds * 1000000).to_integral_value(decimal.ROUND_HALF_EVEN))
