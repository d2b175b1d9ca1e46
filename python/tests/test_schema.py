# SPDX-License-Identifier: Apache-2.0
"""The table of a log: its columns, their types, what is null, and what the schema says beside them."""
import datetime
import json

import pyarrow
import pytest

import canlog

UTC = datetime.timezone.utc

SCHEMA = pyarrow.schema(
    [
        pyarrow.field("time_us", pyarrow.int64(), nullable=False),
        pyarrow.field("time", pyarrow.timestamp("us", "UTC")),
        pyarrow.field("channel", pyarrow.int32()),
        pyarrow.field("id", pyarrow.int32()),
        pyarrow.field("is_extended", pyarrow.bool_(), nullable=False),
        pyarrow.field("is_remote", pyarrow.bool_(), nullable=False),
        pyarrow.field("is_error", pyarrow.bool_(), nullable=False),
        pyarrow.field("is_fd", pyarrow.bool_(), nullable=False),
        pyarrow.field("is_tx", pyarrow.bool_()),
        pyarrow.field("is_brs", pyarrow.bool_()),
        pyarrow.field("is_esi", pyarrow.bool_()),
        pyarrow.field("dlc", pyarrow.int8()),
        pyarrow.field("length", pyarrow.int16(), nullable=False),
        pyarrow.field("data", pyarrow.binary(), nullable=False),
        pyarrow.field("index", pyarrow.int64(), nullable=False),
        pyarrow.field("line", pyarrow.int64()),
        pyarrow.field("note", pyarrow.utf8()),
        pyarrow.field("source", pyarrow.dictionary(pyarrow.int32(), pyarrow.utf8()), nullable=False),
    ]
)


def metadata(table):
    return {key.decode(): value.decode() for key, value in table.schema.metadata.items()}


def test_the_columns_have_their_names_and_types(candump):
    log = canlog.open(candump)
    assert log.columns == tuple(SCHEMA.names)
    assert pyarrow.schema(log).equals(SCHEMA, check_metadata=False)
    assert pyarrow.table(log).schema.equals(SCHEMA, check_metadata=False)


def test_a_row_for_each_frame_of_a_candump_log(candump):
    table = pyarrow.table(canlog.open(candump))
    table.validate(full=True)
    rows = {name: table[name].to_pylist() for name in table.column_names}
    assert rows["time_us"] == [
        1700000000123456, 1700000000300000, 1700000000600000, 1700000001100000, 1700000001300000,
    ]
    assert rows["time"][0] == datetime.datetime(2023, 11, 14, 22, 13, 20, 123456, UTC)
    assert rows["channel"] == [1, 2, 1, 1, 1]
    assert rows["id"] == [0x1C7, 0x18F00503, 0x1C7, 0x1C7, None]
    assert rows["is_extended"] == [False, True, False, False, False]
    assert rows["is_remote"] == [False, False, True, False, False]
    assert rows["is_error"] == [False, False, False, False, True]
    assert rows["is_fd"] == [False, False, False, True, False]
    assert rows["is_tx"] == [None, True, None, None, None]
    assert rows["is_brs"] == [None, None, None, True, None]
    assert rows["is_esi"] == [None, None, None, False, None]
    assert rows["dlc"] == [3, 8, 5, 9, 8]
    assert rows["length"] == [3, 8, 5, 12, 8]
    assert rows["data"] == [
        bytes.fromhex("0F1E2D"), bytes.fromhex("1021324354657687"), b"",
        bytes.fromhex("A0A1A2A3A4A5A6A7A8A9AAAB"), bytes(8),
    ]
    assert rows["index"] == [0, 1, 2, 3, 4]
    assert rows["line"] == [1, 2, 3, 4, 5]
    assert rows["note"] == [None, None, None, None, "error frame: bus error"]
    assert rows["source"] == [str(candump)] * 5


def test_what_a_candump_log_says_of_itself(candump):
    said = metadata(pyarrow.table(canlog.open(candump)))
    assert said["canlog.version"] == canlog.__version__
    assert said["canlog.format"] == "Candump"
    assert said["canlog.time_zero"] == "unix-epoch"
    assert "canlog.start" not in said and "canlog.zone" not in said
    assert json.loads(said["canlog.channels"]) == {"1": "can0", "2": "can1"}


def test_the_start_of_an_asc_log_has_no_zone_until_one_is_given(asc):
    log = canlog.open(asc)
    with pytest.warns(canlog.LossWarning):
        table = pyarrow.table(log)
    assert table["time"].null_count == table.num_rows == 3
    assert metadata(table)["canlog.start"] == "2023-11-14T22:13:20"
    assert log.info.start == datetime.datetime(2023, 11, 14, 22, 13, 20)
    assert log.info.zone is None


@pytest.mark.parametrize("zone", ["Europe/Berlin", "+01:00", datetime.timezone(datetime.timedelta(hours=1))])
@pytest.mark.filterwarnings("ignore::canlog.LossWarning")
def test_a_zone_puts_an_asc_log_on_the_calendar(asc, zone):
    log = canlog.open(asc, zone=zone)
    table = pyarrow.table(log)
    assert table["time"][0].as_py() == datetime.datetime(2023, 11, 14, 21, 13, 20, 1000, UTC)
    assert table["time_us"][0].as_py() == 1000
    assert metadata(table)["canlog.start"] == "2023-11-14T22:13:20+01:00"
    assert "canlog.zone" in metadata(table)


def test_times_of_day_count_from_midnight_of_the_start(examples):
    table = canlog.open(examples / "drive-busmaster.log", zone="UTC").to_arrow()
    assert metadata(table)["canlog.time_zero"] == "midnight"
    first_us, first = table["time_us"][0].as_py(), table["time"][0].as_py()
    midnight = datetime.datetime(2024, 5, 21, tzinfo=UTC)
    assert first == midnight + datetime.timedelta(microseconds=first_us)


@pytest.mark.filterwarnings("ignore::canlog.LossWarning")
def test_notes_belong_to_the_frame_before_them(asc):
    table = pyarrow.table(canlog.open(asc))
    assert table["note"].to_pylist() == [None, "ignition on", None]
    assert table["line"].to_pylist() == [4, 5, 8]


def test_the_last_note_of_an_old_type_is_final_too(write):
    # Type 14 gives a note with the frame after it; what stands after the last frame belongs to that one.
    path = write(
        "old.asc",
        "   0.001000 1  100             Rx   d 1 01  Length = 0 BitCount = 0 ID = 256\n"
        "   0.002000 1  Statistic: D 0 R 0 XD 0 XR 0 E 0 O 0 B 0.00%\n"
        "   0.003000 1  101             Rx   d 1 02  Length = 0 BitCount = 0 ID = 257\n"
        "   0.004000 log trigger event\n",
    )
    table = pyarrow.table(canlog.open(path, type="VectorAscLog"))
    first, last = table["note"].to_pylist()
    assert table["id"].to_pylist() == [0x100, 0x101]
    assert first is None
    before, after = last.split(" | ")
    assert "Statistic" in before and "log trigger" in after
    # The same frame by frame: no batch ends with a note that is cut short.
    notes = [batch["note"][0] for batch in canlog.open(path, type=14).batches(size=1)]
    assert notes == [None, last]


def test_a_length_code_becomes_a_length_and_its_code_again(examples):
    table = pyarrow.table(canlog.open(examples / "washer-trc21.trc"))
    fd = table.filter(table["is_fd"])
    assert fd.num_rows > 0
    lengths = [0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64]
    for row in fd.to_pylist():
        assert lengths[row["dlc"]] == row["length"] == len(row["data"])


def test_the_old_reader_of_trace_2_1_keeps_codes_which_become_lengths(write):
    path = write(
        "old.trc",
        ";$FILEVERSION=2.1\n;$STARTTIME=45433.4\n;$COLUMNS=N,O,T,B,I,d,R,L,D\n"
        "      1      1.000 FB 1      0300 Rx -  9    01 02 03 04 05 06 07 08 09 0A 0B 0C\n",
    )
    for kind in ("trc21", 9, "PeakTraceV21", "trc"):
        row = pyarrow.table(canlog.open(path, type=kind)).to_pylist()[0]
        assert (row["dlc"], row["length"]) == (9, 12)
        assert row["data"] == bytes(range(1, 13))


def test_a_log_without_frames_has_the_columns(write):
    path = write("empty.asc", "date Tue Nov 14 22:13:20.000 2023\nbase hex  timestamps absolute\n")
    with pytest.warns(canlog.LossWarning, match="no frame in it when read as VectorAsc"):
        table = pyarrow.table(canlog.open(path, type="asc"))
    assert table.num_rows == 0
    assert table.schema.equals(SCHEMA, check_metadata=False)


def test_batches_have_the_size_that_is_asked_for(examples):
    log = canlog.open(examples / "drive.log")
    sizes = [len(batch) for batch in log.batches(size=1000)]
    assert sizes == [1000, 1000, 1000, 1000, 59]
    assert [len(batch) for batch in log] == [4059]
    batches = [pyarrow.record_batch(batch) for batch in log.batches(size=1000)]
    whole = pyarrow.table(log)
    assert pyarrow.Table.from_batches(batches).equals(whole)
    reader = pyarrow.RecordBatchReader.from_stream(log)
    assert [len(batch) for batch in reader] == [4059]


def test_the_stream_has_batches_of_65536_rows(tmp_path):
    path = tmp_path / "long.log"
    path.write_text("".join(f"({i}.000000) can0 123#{i & 255:02X}\n" for i in range(70000)))
    reader = pyarrow.RecordBatchReader.from_stream(canlog.open(path))
    assert [len(batch) for batch in reader] == [65536, 70000 - 65536]


def test_other_programs_read_the_stream(examples):
    polars = pytest.importorskip("polars")
    log = canlog.open(examples / "drive.log")
    assert polars.DataFrame(log).equals(polars.from_arrow(pyarrow.table(log)))


@pytest.mark.filterwarnings("ignore::canlog.LossWarning")  # the example of Wireshark has lines that are not read
def test_every_example_is_a_table(examples):
    others = {"columns.txt", "make-drive-log", "explore.py", "vehicle.dbc"}
    logs = [path for path in sorted(examples.iterdir()) if path.name not in others]
    assert len(logs) > 10
    for path in logs:
        table = pyarrow.table(canlog.open(path))
        table.validate(full=True)
        assert table.num_rows > 0
        assert table["index"].to_pylist() == list(range(table.num_rows))
