# SPDX-License-Identifier: Apache-2.0
"""What can go wrong with a log."""

from __future__ import annotations


class Error(Exception):
    """The parent of the exceptions of this package. A file that cannot be read is an OSError."""


class FormatError(Error, ValueError):
    """The file is no log of the format, or of none that is known; the text says what to try."""


class FaultyLineError(FormatError):
    """With strict=True: a line was dropped, or read in part."""

    def __init__(self, source: str, line: int, column: int, reason: str) -> None:
        super().__init__(source, line, column, reason)
        self.source = source
        self.line = line
        self.column = column
        self.reason = reason

    def __str__(self) -> str:
        return f"{self.source}:{self.line}:{self.column}: {self.reason}"


class LossWarning(UserWarning):
    """Something of a log was not read; Log.report has the whole list."""


def need(module: str, extra: str):
    """The module of an optional extra, or an ImportError that says how to get it."""
    import importlib

    try:
        return importlib.import_module(module)
    except ImportError as error:
        raise ImportError(f"this needs {module}: pip install 'canlog[{extra}]'", name=module) from error


for _class in (Error, FormatError, FaultyLineError, LossWarning):
    _class.__module__ = "canlog"  # as users know them
