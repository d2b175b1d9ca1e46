# SPDX-License-Identifier: Apache-2.0
"""What `canlog convert` writes is read back by canlog and by python-can without loss that the format does not force."""

import can
import pytest

from peers import START, Frame, check_alike, every_kind, read_by_python_can
from test_can_utils import write_candump

BASE = START * 1000000
TARGETS = {"candump": ".log", "asc": ".asc", "trc": ".trc"}


@pytest.fixture(params=["candump", "asc", "trc"])
def source(request, canlog, tmp_path):
    """A log of every kind of frame in one of the formats that have them all."""
    log = write_candump(tmp_path / "in.log", every_kind())
    return log if request.param == "candump" else canlog.convert(log, tmp_path / ("in" + TARGETS[request.param]))


@pytest.mark.parametrize("target", TARGETS)
def test_own_files_are_read_back(canlog, tmp_path, source, target):
    out = canlog.convert(source, tmp_path / ("out" + TARGETS[target]))
    first = canlog.frames(source)
    expected = first
    if target == "candump":
        expected = [frame.but(dlc=8, data=bytes(8)) if frame.error else frame for frame in expected]
    elif target == "asc":
        expected = [frame.but(dlc=0, data=b"") if frame.error else frame for frame in expected]
    if target != "candump" and source.suffix == ".log":
        expected = [frame.but(time=frame.time - BASE) for frame in expected]
    check_alike(canlog.frames(out), expected)


@pytest.mark.parametrize("target", ["asc", "trc"])
def test_zone_gives_back_the_times_since_1970(canlog, tmp_path, target):
    log = write_candump(tmp_path / "in.log", every_kind())
    for zone in ("UTC", "+02:00", "Europe/Berlin"):
        middle = canlog.convert(log, tmp_path / ("middle" + TARGETS[target]), "--zone", zone)
        back = canlog.convert(middle, tmp_path / "back.log", "--zone", zone)
        assert [frame.time for frame in canlog.frames(back)] == [frame.time for frame in every_kind()]


def without_comments(path):
    return [line for line in path.read_text().splitlines() if not line.startswith(("//", ";  "))]


@pytest.mark.parametrize("target", TARGETS)
def test_second_conversion_changes_nothing(canlog, tmp_path, source, target):
    once = canlog.convert(source, tmp_path / ("once" + TARGETS[target]))
    twice = canlog.convert(once, tmp_path / ("twice" + TARGETS[target]))
    # A trace says of each error frame what the words of the format are for its bytes, beside what the log said.
    assert without_comments(once) == without_comments(twice)
    if target != "trc":
        assert once.read_bytes() == twice.read_bytes()


def test_python_can_reads_candump(canlog, tmp_path, source):
    out = canlog.convert(source, tmp_path / "out.log")
    # It knows no remote frame's length here but takes it, and gives an error frame neither channel nor data.
    expected = [Frame(time=f.time, channel=0, id=0, extended=True, error=True) if f.error else f
                for f in canlog.frames(out)]
    check_alike(read_by_python_can(can.CanutilsLogReader, out), expected)


def test_python_can_reads_asc(canlog, tmp_path, source):
    out = canlog.convert(source, tmp_path / "out.asc")
    # It takes each CAN FD line of length 0 for a remote frame, which CAN FD does not have.
    expected = [f.but(extended=True) if f.error else f.but(remote=True) if f.fd and f.dlc == 0 else f
                for f in canlog.frames(out)]
    check_alike(read_by_python_can(can.ASCReader, out), expected)


def test_python_can_reads_the_date_of_asc(canlog, tmp_path, monkeypatch):
    monkeypatch.setenv("TZ", "UTC")
    log = write_candump(tmp_path / "in.log", every_kind())
    out = canlog.convert(log, tmp_path / "out.asc")
    read = read_by_python_can(can.ASCReader, out, relative_timestamp=False)
    assert [frame.time for frame in read] == [frame.time for frame in every_kind()]


def test_python_can_reads_trc(canlog, tmp_path, source):
    out = canlog.convert(source, tmp_path / "out.trc")
    expected = []
    for frame in canlog.frames(out):
        if frame.error:
            continue  # it leaves out error frames
        if frame.fd and frame.esi:
            # It takes FE for both marks and BI for the error state indicator alone; the converter of the format's maker
            # names them the other way round, as they are written and read here.
            frame = frame.but(brs=not frame.brs)
        expected.append(frame)
    # Its channels are the buses of the trace, which count from 1, and its length is the code, of CAN FD frames as well.
    read = [frame.but(channel=frame.channel - 1, dlc=frame.dlc if frame.remote else len(frame.data))
            for frame in read_by_python_can(can.TRCReader, out)]
    check_alike([frame.but(time=0) for frame in read], [frame.but(time=0) for frame in expected])
    # It adds the start to the times, which stands in the file as days with ten decimals: those are 9 microseconds.
    start = round((read[0].time - expected[0].time) / 1000000) * 1000000
    assert all(abs(a.time - start - b.time) <= 5 for a, b in zip(read, expected))
    assert start == START * 1000000


def test_notes_and_names_are_read_back(canlog, tmp_path):
    log = tmp_path / "in.log"
    log.write_text("(1716284412.084712) vcan0 123#11 R\n(1716284412.1) engine 123#22 T\n"
                   "# brake pressed\n(1716284412.2) can7 124#33 R\n# the end\n")
    for name in ("out.asc", "out.trc"):
        out = canlog.convert(log, tmp_path / name)
        notes = [o.get("note") for o in canlog.objects(out)]
        assert notes == [None, "# brake pressed", "# the end"]
    back = canlog.convert(tmp_path / "out.asc", tmp_path / "back.log")
    words = [line.split()[1:] for line in back.read_text().splitlines()]
    assert words == [["vcan0", "123#11", "R"], ["engine", "123#22", "T"], ["can7", "124#33", "R"]]


@pytest.mark.parametrize("target", ["csv", "json"])
def test_store_gives_what_the_log_gives(canlog, tmp_path, source, target):
    store = tmp_path / "store"
    canlog.run("import", "--quiet", "--store", store, source)
    assert (canlog.run("convert", "--store", store, "--to", target)
            == canlog.run("convert", "--quiet", source, "--to", target))


@pytest.mark.parametrize("target", TARGETS)
def test_store_keeps_start_and_names(canlog, tmp_path, target):
    log = tmp_path / "in.log"
    log.write_text("(1716284412.084712) vcan0 123#11\n(1716284412.1) engine 123#22\n")
    store = tmp_path / "store"
    canlog.run("import", "--quiet", "--store", store, log)
    assert (canlog.run("convert", "--store", store, "--to", target)
            == canlog.run("convert", "--quiet", log, "--to", target))
    assert b"engine" in canlog.run("convert", "--store", store, "--to", "asc")
