# SPDX-License-Identifier: Apache-2.0
"""Several logs as one table, and the choice among their frames."""
import datetime

import numpy
import pyarrow
import pytest

import canlog

LINES = """\
(1700000000.000000) can0 0C9#01
(1700000001.000000) can1 100#02 T
(1700000002.000000) can0 1FF#03
(1700000003.000000) can0 00000100#04
(1700000004.000000) can1 20000080#0000000000000000
"""


@pytest.fixture
def log(write):
    return write("a.log", LINES)


def first_bytes(**choice):
    def of(log):
        return [data[:1].hex() for data in canlog.read(log, **choice)["data"].to_pylist()]

    return of


@pytest.mark.parametrize(
    "choice, expected",
    [
        ({}, ["01", "02", "03", "04", "00"]),
        ({"ids": ["0C9"]}, ["01"]),
        ({"ids": 0xC9}, ["01"]),
        ({"ids": ["0C9", "100-1FF"]}, ["01", "02", "03"]),  # 00000100 is another identifier
        ({"ids": "0C9,00000100"}, ["01", "04"]),
        ({"ids": "100:700"}, ["02", "03"]),
        ({"ids": "error"}, ["00"]),
        ({"ids": (0xC9, "error")}, ["01", "00"]),
        ({"channel": 2}, ["02", "00"]),
        ({"channel": [1, 2]}, ["01", "02", "03", "04", "00"]),
        ({"channel": "can1"}, ["02", "00"]),
        ({"direction": "tx"}, ["02"]),
        ({"direction": "RX"}, ["01", "03", "04", "00"]),
        ({"start": 1700000001, "end": 1700000003.0}, ["02", "03", "04"]),  # both are included
        ({"start": "1700000002.5"}, ["04", "00"]),
        ({"start": "+1", "end": "+2"}, ["02", "03"]),
        ({"end": "2023-11-14T22:13:21Z"}, ["01", "02"]),
        ({"end": datetime.datetime(2023, 11, 14, 22, 13, 21, tzinfo=datetime.timezone.utc)}, ["01", "02"]),
        ({"start": "2023-11-14T23:13:23+01:00"}, ["04", "00"]),
        ({"ids": ["0C9"], "channel": 2}, []),
    ],
)
def test_the_choice_among_frames(log, choice, expected):
    assert first_bytes(**choice)(log) == expected


def test_what_is_chosen_keeps_its_place_in_the_log(log):
    table = canlog.read(log, ids=["1FF", "error"])
    assert table["index"].to_pylist() == [2, 4]
    assert table["line"].to_pylist() == [3, 5]


@pytest.mark.parametrize(
    "choice, text",
    [
        ({"ids": "xyz"}, "xyz makes no sense: wanted are hexadecimal identifiers"),
        ({"ids": [1 << 29]}, "wanted are hexadecimal identifiers"),
        ({"ids": []}, "an empty list"),
        ({"channel": "1,-2"}, "makes no sense"),
        ({"direction": "up"}, "up makes no sense: wanted is rx or tx"),
        ({"start": 2, "end": 1}, "the start is after the end"),
        ({"start": "noon"}, "noon makes no sense"),
        ({"start": "2023-11-14"}, "has no zone"),
        ({"start": datetime.datetime(2023, 11, 14)}, "has no zone"),
        ({"to": "excel"}, "no kind of table 'excel'"),
    ],
)
def test_a_choice_that_makes_no_sense(log, choice, text):
    with pytest.raises(ValueError, match=text):
        canlog.read(log, **choice)


def test_a_date_in_a_log_that_has_none(asc):
    when = "2023-11-14T22:13:20.002+01:00"
    with pytest.raises(ValueError, match="does not say when it was recorded"):
        canlog.read(asc, start=when)
    with pytest.warns(canlog.LossWarning):
        table = canlog.read(asc, start=when, zone="Europe/Berlin")
    assert table["time_us"].to_pylist() == [2100, 3000]


def test_a_channel_that_no_log_has(log):
    with pytest.warns(canlog.LossWarning, match="no channel named can7"):
        assert canlog.read(log, channel="can7").num_rows == 0


def test_several_logs(log, write, tmp_path):
    write("b.log", "(5.000000) can0 123#AA\n")
    table = canlog.read(str(tmp_path / "*.log"))
    assert [name.rsplit("/")[-1] for name in table["source"].to_pylist()] == ["a.log"] * 5 + ["b.log"]
    assert table.schema.metadata[b"canlog.format"] == b"Candump"
    assert b"canlog.channels" not in table.schema.metadata  # they differ
    assert canlog.read([tmp_path / "b.log", tmp_path / "a.log"])["index"].to_pylist() == [0, 0, 1, 2, 3, 4]
    with pytest.raises(FileNotFoundError, match=r"\*\.asc"):
        canlog.read(str(tmp_path / "*.asc"))
    (tmp_path / "odd[1].log").write_bytes(log.read_bytes())
    assert canlog.read(str(tmp_path / "odd[1].log")).num_rows == 5  # a file, though its name looks like a pattern


def test_one_bad_log_among_several_is_named(log, write):
    bad = write("bad.txt", "no log at all\n" * 50)
    with pytest.raises(canlog.FormatError, match=r"bad\.txt"):
        canlog.read([log, bad])


def test_kinds_of_tables(log):
    pandas = pytest.importorskip("pandas")
    polars = pytest.importorskip("polars")
    frame = canlog.read(log, to="pandas")
    assert isinstance(frame, pandas.DataFrame) and str(frame["id"].dtype) == "Int32"
    assert frame["id"].isna().tolist() == [False] * 4 + [True]
    assert isinstance(canlog.read(log, to="polars"), polars.DataFrame)
    arrays = canlog.read(log, to="numpy")
    assert arrays["id"].tolist() == [0xC9, 0x100, 0x1FF, 0x100, None]
    assert arrays["time"][0] == numpy.datetime64("2023-11-14T22:13:20")
    assert list(arrays) == list(canlog.COLUMNS)


def test_numpy_columns_are_views(log):
    batch = next(canlog.open(log).batches())
    table = batch.to_arrow()
    for name in ("time_us", "index", "length", "is_fd", "is_extended"):
        column = batch[name]
        assert not column.flags.owndata and not column.flags.writeable
        assert column.tolist() == table[name].to_pylist()
    # The memory is that of Arrow, too, and stays when the batch is gone.
    times = batch["time_us"]
    assert times.__array_interface__["data"][0] == table["time_us"].buffers()[1].address
    del batch, table
    assert times[0] == 1700000000000000
    ids = next(canlog.open(log).batches())["id"]
    assert isinstance(ids, numpy.ma.MaskedArray) and ids.tolist()[-1] is None and not ids.data.flags.owndata


def test_payloads_as_one_array(log, write):
    fd = write("fd.log", "(1.000000) can0 123##0000102030405060708090A0B\n(2.000000) can0 123#FFEE\n")
    batch = next(canlog.open(fd).batches())
    assert batch.padded(64).shape == (2, 64)
    assert batch.padded(64)[0, :12].tolist() == list(range(12))
    assert not batch.padded(64)[0, 12:].any()
    assert batch.padded(8)[1].tolist() == [0xFF, 0xEE, 0, 0, 0, 0, 0, 0]
    assert batch["data"].tolist() == [bytes(range(12)), b"\xff\xee"]
    with pytest.raises(ValueError, match="a width from 1 to 64"):
        batch.padded(65)
    with pytest.raises(KeyError, match="no column 'ids'; there are time_us"):
        batch["ids"]


@pytest.mark.filterwarnings("ignore::canlog.LossWarning")  # one line is faulty on purpose
def test_columns_of_a_format_that_has_some(examples):
    table = canlog.read(examples / "columns.txt", type="generic", columns="t n i ? ? l d")
    assert table["id"].to_pylist()[:2] == [0x80, 0x181]
    assert pyarrow.table(canlog.open(examples / "columns.txt", type=20)).num_rows == table.num_rows
