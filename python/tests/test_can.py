# SPDX-License-Identifier: Apache-2.0
"""python-can's readers and ours, message by message, on logs that python-can's own writers made; and by hand what
differs."""
import gzip
import os
import pathlib
import random
import subprocess
import sys

import can
import pytest

import canlog

FIELDS = [name for name in can.Message.__slots__ if name != "__weakref__"]


def fields(message):
    return {name: getattr(message, name) for name in FIELDS}


@pytest.fixture(autouse=True)
def installed():
    canlog.can.install()
    yield
    canlog.can.uninstall()


def messages(kinds, with_errors=True, channels=(0, 1, 5), seed=1):
    """Messages of all kinds that a format has."""
    random.seed(seed)
    result = []
    for i in range(400):
        kind = random.choice(kinds)
        extended = random.random() < 0.5
        common = {
            "timestamp": 1700000000 + i + random.randrange(1000000) / 1e6,
            "arbitration_id": random.randrange(1 << (29 if extended else 11)),
            "is_extended_id": extended,
            "channel": random.choice(channels),
            "is_rx": random.random() < 0.7,
        }
        if kind == "error":
            result.append(can.Message(timestamp=common["timestamp"], is_error_frame=True, channel=common["channel"]))
        elif kind == "remote":
            result.append(can.Message(is_remote_frame=True, dlc=random.randrange(9), **common))
        elif kind == "fd":
            size = random.choice([0, 1, 8, 12, 16, 20, 24, 32, 48, 64])
            result.append(can.Message(
                is_fd=True, bitrate_switch=random.random() < 0.5, error_state_indicator=random.random() < 0.5,
                data=random.randbytes(size), **common))
        else:
            result.append(can.Message(data=random.randbytes(random.randrange(9)), **common))
    return result


def written(path, log, **options):
    with can.Logger(path, **options) as writer:
        for message in log:
            writer.on_message_received(message)
    return path


def assert_same(path, own, **options):
    theirs = [fields(message) for message in own(path, **options)]
    reader = can.LogReader(path, **options)
    assert isinstance(reader, canlog.can.CanlogReader)
    ours = [fields(message) for message in reader]
    assert len(theirs) == len(ours) > 0
    for number, (a, b) in enumerate(zip(theirs, ours)):
        assert a == b, number
        assert [type(value) for value in a.values()] == [type(value) for value in b.values()], number


@pytest.mark.parametrize("channels", [(0, 1, 5), ("can0", "vcan0", "slcan1"), ("can0", 3)])
def test_candump_logs(tmp_path, channels):
    log = messages(["data", "fd", "remote", "error"], channels=channels)
    assert_same(written(tmp_path / "x.log", log), can.CanutilsLogReader)


def test_asc_logs(tmp_path):
    # An empty CAN FD frame is a remote one to python-can, see below.
    log = [m for m in messages(["data", "fd", "remote", "error"]) if not m.is_fd or m.data]
    path = written(tmp_path / "x.asc", log)
    assert_same(path, can.ASCReader)
    assert_same(path, can.ASCReader, relative_timestamp=False)


def test_csv_logs(tmp_path):
    assert_same(written(tmp_path / "x.csv", messages(["data", "remote", "error"])), can.CSVReader)


def test_traces(tmp_path):
    # Lengths of CAN FD frames are codes to python-can, see below; and its writer writes no remote frames.
    log = [m for m in messages(["data", "data", "data"], channels=(1, 2)) if not m.is_fd]
    assert_same(written(tmp_path / "x.trc", log), can.TRCReader)


@pytest.mark.skipif("Blf" not in canlog.can.READERS, reason="there is no reader of binary logs")
def test_binary_logs(tmp_path):
    path = written(tmp_path / "x.blf", messages(["data", "fd", "remote"]))
    theirs = [fields(message) for message in can.BLFReader(path)]
    ours = [fields(message) for message in can.LogReader(path)]
    assert len(theirs) == len(ours) > 0
    for a, b in zip(theirs, ours):
        # Times have nanoseconds there, and microseconds here.
        assert abs(a.pop("timestamp") - b.pop("timestamp")) < 1e-6
        assert a == b


def test_traces_of_every_version(write):
    head = ";$FILEVERSION={}\n;$STARTTIME=43008.6310226852\n"
    logs = {
        "1.1": "     1)      1059.9  Rx        0300  7  00 00 00 00 04 00 00\n"
               "     2)      1283.2  Tx    18EFC034  8  04 33 11 00 00 00 30 7A\n"
               "     3)      1298.9  Rx        00C8  4  RTR\n"
               "     4)      1299.0  Warng FFFFFFFF  4  00 00 00 08  BUSHEAVY\n",
        "1.3": "     1)      1059.900 1  Rx        0300 -  7    00 00 00 00 04 00 00\n"
               "     2)      1283.231 2  Tx    18EFC034 -  2    04 33\n",
        "2.0": "      1      1059.900 DT     0300 Rx 7  00 00 00 00 04 00 00\n"
               "      2      1324.000 RR     0501 Rx 4\n",
        "2.1": "      1      1059.900 DT 1      0300 Rx -  7    00 00 00 00 04 00 00\n"
               "      2      1324.000 FB 2  18EFC034 Tx -  5    00 01 02 03 04\n",
    }
    columns = {"2.0": ";$COLUMNS=N,O,T,I,d,l,D\n", "2.1": ";$COLUMNS=N,O,T,B,I,d,R,L,D\n"}
    for version, lines in logs.items():
        path = write(f"{version}.trc", head.format(version) + columns.get(version, "") + lines)
        assert_same(path, can.TRCReader)


def test_compressed_logs_and_file_objects(tmp_path):
    log = messages(["data"])
    path = written(tmp_path / "x.asc", log)
    packed = tmp_path / "y.asc.gz"
    packed.write_bytes(gzip.compress(path.read_bytes()))
    expected = [fields(message) for message in can.ASCReader(path)]
    assert [fields(message) for message in can.LogReader(packed)] == expected
    with open(path) as text, open(path, "rb") as binary:
        assert [fields(message) for message in canlog.can.AscReader(text)] == expected
        assert [fields(message) for message in canlog.can.AscReader(binary)] == expected


def test_what_differs_and_why(write):
    def both(name, text, own):
        path = write(name, text)
        return next(iter(own(path))), next(iter(can.LogReader(path)))

    # The length is one in bytes, as can.Message documents it, not a code.
    theirs, ours = both("a.trc", ";$FILEVERSION=2.1\n;$STARTTIME=43008.5\n;$COLUMNS=N,O,T,B,I,d,R,L,D\n"
                        "      1      1.000 FD 1      0300 Rx -  9    00 01 02 03 04 05 06 07 08 09 0A 0B\n", can.TRCReader)
    assert (theirs.dlc, ours.dlc, len(ours.data)) == (9, 12, 12)
    # CAN FD has no remote frames.
    asc = "date Sat Sep 30 10:06:13.191 AM 2017\nbase hex  timestamps absolute\ninternal events logged\n"
    theirs, ours = both("a.asc", asc + "   1.000000 CANFD   1 Rx   1a0   1 0 0 0        1 1 3000 0 0 0 0 0\n", can.ASCReader)
    assert (theirs.is_remote_frame, ours.is_remote_frame, ours.is_fd) == (True, False, True)
    # A classic frame with a length code above eight has eight bytes.
    line = "   1.000000 1  1A0             Rx   d C 00 01 02 03 04 05 06 07\n"
    theirs, ours = both("b.asc", asc + line, can.ASCReader)
    assert (theirs.dlc, ours.dlc, len(theirs.data), len(ours.data)) == (24, 8, 8, 8)
    # A frame of more than eight bytes is a CAN FD frame.
    theirs, ours = both("a.csv", "timestamp,arbitration_id,extended,remote,error,dlc,data\n"
                        "1.5,0x12,0,0,0,12,AAECAwQFBgcICQoL\n", can.CSVReader)
    assert (theirs.is_fd, ours.is_fd) == (False, True)
    # An error frame is one, whatever its class.
    theirs, ours = both("a.log", "(1.500000) can0 20000004#0001000000000000\n", can.CanutilsLogReader)
    assert (theirs.is_error_frame, ours.is_error_frame) == (False, True)


def test_error_frames_of_traces_on_demand(write):
    path = write("e.trc", ";$FILEVERSION=2.1\n;$STARTTIME=43008.5\n;$COLUMNS=N,O,T,B,I,d,R,L,D\n"
                 "      1      1.000 DT 1      0300 Rx -  1    00\n"
                 "      2   1326.000 ER 1         - Rx -  5    04 01 03 00 00\n")
    assert [m.is_error_frame for m in can.LogReader(path)] == [False]
    assert [m.is_error_frame for m in can.LogReader(path, error_frames=True)] == [False, True]


def test_logs_that_python_can_does_not_know(examples):
    ours = list(can.LogReader(examples / "drive-busmaster.log"))
    assert len(ours) == len(canlog.open(examples / "drive-busmaster.log").to_arrow())
    assert len(list(can.LogReader(examples / "drive-gvret.csv"))) > 0


def test_a_class_for_each_format(examples):
    assert len(canlog.can.READERS) == len(canlog.formats())
    assert len(list(canlog.can.KvaserTxtLogReader(examples / "drive-kvaser.txt"))) > 0
    with canlog.can.VectorAscReader(examples / "drive.asc") as reader:
        assert next(iter(reader)).arbitration_id == 0xC9


def test_uninstall_gives_the_readers_back(tmp_path):
    path = written(tmp_path / "x.asc", messages(["data"]))
    canlog.can.install()
    canlog.can.uninstall()
    assert isinstance(can.LogReader(path), can.ASCReader)
    with pytest.raises(ValueError, match="unknown log format"):
        can.LogReader(tmp_path / "x.txt2")


def test_the_entry_point_adds_the_suffixes_that_python_can_lacks(examples):
    from importlib.metadata import PackageNotFoundError, distribution

    try:
        distribution("canlog")
    except PackageNotFoundError:
        pytest.skip("the package is not installed, only on the path")
    code = "import sys, can; print(sum(1 for _ in can.LogReader(sys.argv[1])))"
    run = subprocess.run([sys.executable, "-c", code, examples / "drive-kvaser.txt"], capture_output=True, text=True)
    assert run.stdout.strip() == str(len(canlog.open(examples / "drive-kvaser.txt").to_arrow())), run.stderr


# What docs/python.md says of python-can's own test data: fields by the number of the message, and logs of whose frames
# none is a possible one.
DIFFERENCES = {
    "issue_1299.asc": {2: {"dlc"}},
    "logfile.asc": {17: {"is_fd"}},
    "test_CanFdRemoteMessage.asc": {0: {"is_fd"}},
}
IMPOSSIBLE = {
    "single_frame.asc", "test_CanErrorFrameExt.blf", "test_CanFdMessage.blf", "test_CanFdMessage64.blf",
    "test_CanMessage.blf", "test_CanMessage2.blf",
}


@pytest.mark.skipif("CANLOG_PYTHON_CAN_DATA" not in os.environ, reason="CANLOG_PYTHON_CAN_DATA names no folder")
@pytest.mark.filterwarnings("ignore::canlog.LossWarning")
def test_the_test_data_of_python_can():
    """CANLOG_PYTHON_CAN_DATA is the folder test/data of python-can's source archive."""
    compared = 0
    for path in sorted(pathlib.Path(os.environ["CANLOG_PYTHON_CAN_DATA"]).iterdir()):
        if path.suffix not in (".asc", ".blf", ".gz", ".trc"):
            continue
        canlog.can.uninstall()
        theirs = [fields(message) for message in can.LogReader(path)]
        canlog.can.install()
        ours = [fields(message) for message in can.LogReader(path)]
        if path.name in IMPOSSIBLE:
            assert ours == [], path
            continue
        assert len(theirs) == len(ours) > 0, path
        for number, (a, b) in enumerate(zip(theirs, ours)):
            differing = {name for name in FIELDS if a[name] != b[name]}
            assert differing == DIFFERENCES.get(path.name, {}).get(number, set()), (path, number)
        compared += 1
    assert compared > 10
