# SPDX-License-Identifier: Apache-2.0
"""canlog and the converters of can-utils say the same of the same frames."""

import itertools

import can
import pytest

from peers import START, Frame, check_alike, every_kind, payload, write_by_python_can

EVENTS = Frame(time=0, channel=1, id=0, error=True, dlc=8, data=bytes(8))


def write_candump(path, frames):
    """Written here, since the writers of others leave out the length of a remote frame and the data of an error."""
    lines = []
    for frame in frames:
        number = f"{frame.id:08X}" if frame.extended else f"{frame.id:03X}"
        if frame.error:
            body = "20000080#0000000000000000"
        elif frame.remote:
            body = f"{number}#R{frame.dlc or ''}"
        elif frame.fd:
            body = f"{number}##{frame.brs + 2 * frame.esi}{frame.data.hex().upper()}"
        else:
            body = f"{number}#{frame.data.hex().upper()}"
        direction = "" if frame.error else " T" if frame.tx else " R"
        lines.append(f"({frame.time // 1000000}.{frame.time % 1000000:06}) can{frame.channel - 1} {body}{direction}\n")
    path.write_text("".join(lines))
    return path


@pytest.fixture
def log(tmp_path):
    return write_candump(tmp_path / "a.log", every_kind())


def from_zero(frames):
    return [frame.but(time=frame.time - frames[0].time) for frame in frames]


@pytest.mark.parametrize("options", [letters for n in range(5) for letters in itertools.combinations("4nfr", n)],
                         ids=lambda letters: "".join(letters) or "none")
def test_log2asc(canlog, tool, tmp_path, log, options):
    path = tmp_path / "a.asc"
    tool("log2asc", "-I", log, "-O", path, *(f"-{letter}" for letter in options), "can0", "can1")
    expected = []
    for frame in from_zero(every_kind()):
        if "4" in options:
            frame = frame.but(time=frame.time // 100 * 100)
        if frame.error and "f" in options:
            # With -f it writes an error frame as a data frame whose identifier is the class of the error.
            frame = frame.but(error=False, id=0x80, dlc=8, data=bytes(8))
        if frame.remote and "r" in options and "f" not in options:
            frame = frame.but(dlc=0)
        expected.append(frame)
    check_alike(canlog.frames(path), expected)


def test_log2asc_and_our_conversion_give_the_same_frames(canlog, tool, tmp_path, log):
    theirs = tmp_path / "theirs.asc"
    tool("log2asc", "-I", log, "-O", theirs, "can0", "can1")
    ours = canlog.convert(log, tmp_path / "ours.asc")
    check_alike(canlog.frames(ours), canlog.frames(theirs))


def test_log2long(canlog, tool, log):
    text = tool("log2long", stdin=log.open("rb"))
    screen = log.with_name("screen.log")
    screen.write_bytes(text)
    # The form for the screen tells neither direction nor marks, and of a remote frame log2long leaves out the length.
    expected = [frame.but(tx=False, brs=False, esi=False) for frame in every_kind()]
    expected = [frame.but(dlc=8, data=bytes(8)) if frame.error else frame for frame in expected]
    check_alike(canlog.frames(screen), expected)


def asc_of(writer, canlog, tool, folder, log):
    path = folder / "a.asc"
    if writer == "python-can":
        return write_by_python_can(can.ASCWriter, path, every_kind())
    if writer == "canlog":
        return canlog.convert(log, path)
    options = {"log2asc": [], "log2asc -f": ["-f"], "log2asc -n": ["-n"], "log2asc -4": ["-4"],
               "log2asc -r": ["-r"]}[writer]
    tool("log2asc", "-I", log, "-O", path, *options, "can0", "can1")
    return path


@pytest.mark.parametrize("writer", ["python-can", "canlog", "log2asc", "log2asc -f", "log2asc -n", "log2asc -4",
                                    "log2asc -r"])
@pytest.mark.parametrize("is_piped", [False, True], ids=["files", "pipe"])
def test_asc2log(canlog, tool, tmp_path, log, writer, is_piped):
    asc = asc_of(writer, canlog, tool, tmp_path, log)
    back = tmp_path / "back.log"
    if is_piped:
        back.write_bytes(tool("asc2log", stdin=asc.open("rb")))
    else:
        tool("asc2log", "-I", asc, "-O", back)
    # It adds the date of the log to the times, or today's where it cannot read that. An error frame has no data in ASC.
    expected = [frame.but(dlc=8, data=bytes(8)) if frame.error else frame for frame in canlog.frames(asc)]
    check_alike(from_zero(canlog.frames(back)), from_zero(expected))


def test_asc2log_of_decimal_logs(canlog, tool, tmp_path):
    lines = ["date Tue May 21 09:40:12 am 2024", "base dec  timestamps absolute"]
    for i in range(9):
        data = " ".join(str(byte) for byte in payload(i, i))
        lines.append(f"   {i}.{i:06} {1 + i % 2}  {227 * i}{'x' if i % 3 else ''}  {'RT'[i % 2]}x   d {i} {data}")
    asc = tmp_path / "a.asc"
    asc.write_text("\n".join(lines) + "\n")
    back = tmp_path / "back.log"
    tool("asc2log", "-I", asc, "-O", back)
    check_alike(from_zero(canlog.frames(back)), from_zero(canlog.frames(asc)))


def test_candump_log_is_what_was_written(canlog, log):
    expected = [frame.but(dlc=8, data=bytes(8)) if frame.error else frame for frame in every_kind()]
    assert START * 1000000 == expected[0].time
    check_alike(canlog.frames(log), expected)
