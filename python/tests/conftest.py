# SPDX-License-Identifier: Apache-2.0
import pathlib

import pytest

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"


@pytest.fixture
def examples():
    return EXAMPLES


@pytest.fixture
def write(tmp_path):
    """Writes a log and gives its path."""

    def writer(name, content):
        path = tmp_path / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return path

    return writer


CANDUMP = """\
(1700000000.123456) can0 1C7#0F1E2D
(1700000000.300000) can1 18F00503#1021324354657687 T
(1700000000.600000) can0 1C7#R5
(1700000001.100000) can0 1C7##5A0A1A2A3A4A5A6A7A8A9AAAB
(1700000001.300000) can0 20000080#0000000000000000
"""

ASC = """\
date Tue Nov 14 22:13:20.000 2023
base hex  timestamps absolute
Begin Triggerblock Tue Nov 14 22:13:20.000 2023
   0.001000 1  0C9             Rx   d 8 0C 80 1E 51 40 00 00 3B
   0.002100 2  0CF00400x       Tx   d 2 F1 7D
   // ignition on
   0.002900 1  0F1             Rx   d 4 00 00 00
   0.003000 1  632             Rx   r 4
End TriggerBlock
"""


@pytest.fixture
def candump(write):
    return write("drive.log", CANDUMP)


@pytest.fixture
def asc(write):
    return write("drive.asc", ASC)
