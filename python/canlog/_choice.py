# SPDX-License-Identifier: Apache-2.0
"""Which frames of a log are wanted."""

from __future__ import annotations

import datetime
from collections.abc import Iterable
from dataclasses import dataclass
from typing import Any, Union

Ids = Union[int, str, Iterable[Union[int, str]], None]
Channels = Union[int, Iterable[int], None]
Moment = Union[int, float, str, datetime.datetime, None]


@dataclass(frozen=True)
class Choice:
    """All frames, until a field says otherwise."""

    ids: Ids = None
    channel: Channels = None
    start: Moment = None
    end: Moment = None
    direction: str | None = None

    def apply(self, reader: Any, offset: int | None, source: str) -> None:
        """Tells the reader, whose times become calendar times by `offset`."""
