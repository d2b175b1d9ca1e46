# SPDX-License-Identifier: Apache-2.0
"""Signals: by hand on a small database, and against cantools on databases and payloads of all kinds."""
import math
import pathlib

import cantools
import numpy
import pyarrow
import pytest
from cantools.database.conversion import BaseConversion
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

import canlog

DBC = pathlib.Path(__file__).with_name("vehicle.dbc")

LOG = """\
(1700000000.000000) can0 0C9#401F6401A00B0007
(1700000000.100000) can1 0C9#000000027FF0
(1700000000.200000) can0 18F00503#00FF0005
(1700000000.300000) can0 18F00503#01E80306
(1700000000.400000) can0 18F00503#02E80307
(1700000000.500000) can0 0C9#R
(1700000000.600000) can0 000000C9#401F6401A00B0007
(1700000000.700000) can0 0C9#00000006800000FF
"""


@pytest.fixture
def log(write):
    return write("drive.log", LOG)


def test_a_table_for_each_message_that_the_log_has(log):
    tables = canlog.signals(log, DBC)
    assert list(tables) == ["EngineData", "GearBox"]
    assert len(tables["EngineData"]) == 3  # neither the remote frame nor the extended identifier C9
    assert list(canlog.signals(log, DBC, messages="Display")) == ["Display"]
    assert len(canlog.signals(log, DBC, messages=["Display", 201])["Display"]) == 0


def test_values_by_hand(log):
    table = canlog.signals(log, DBC, messages=["EngineData"])["EngineData"]
    rows = table.to_arrow().to_pydict()
    assert rows["time_us"] == [1700000000000000, 1700000000100000, 1700000000700000]
    assert rows["channel"] == [1, 2, 1]
    assert rows["source"] == [str(log)] * 3
    # 1F40 = 8000, a quarter of it
    assert rows["EngineSpeed"] == [2000.0, 0.0, 0.0]
    assert rows["OilTemperature"] == [60.0, -40.0, -40.0]
    # Byte 3 is 01, 02, 06: the lowest bit, then three bits above it.
    assert rows["Running"] == [1, 0, 0]
    assert rows["Mode"] == [0, 1, 3]
    # From the highest bit of byte 4: A00 is -1536, 7FF 2047, 800 -2048; half of it and 10.
    assert rows["Torque"] == [-758.0, 1033.5, -1014.0]
    # The second frame ends before byte 7.
    assert rows["Revolutions"] == [7, None, 255]
    assert table.short_frames == 1


def test_types_and_units(log):
    schema = canlog.signals(log, DBC)["EngineData"].to_arrow().schema
    assert [(field.name, str(field.type)) for field in schema] == [
        ("time_us", "int64"),
        ("time", "timestamp[us, tz=UTC]"),
        ("source", "dictionary<values=string, indices=int32, ordered=0>"),
        ("channel", "int32"),
        ("EngineSpeed", "double"),
        ("OilTemperature", "double"),
        ("Running", "int64"),
        ("Mode", "int64"),
        ("Torque", "double"),
        ("Revolutions", "int64"),
    ]
    assert schema.field("EngineSpeed").metadata == {b"unit": b"rpm"}


def test_multiplexed_signals_are_null_on_other_pages(log):
    rows = canlog.signals(log, DBC)["GearBox"].to_arrow().to_pydict()
    assert rows["Page"] == [0, 1, 2]
    assert rows["Gear"] == [-1, None, None]
    assert rows["OilPressure"] == [None, 100.0, None]
    # A signal called like one of our columns gets another name.
    assert rows["channel"] == [1, 1, 1]
    assert rows["channel_signal"] == [5, 6, 7]


def test_named_values_are_words(log):
    tables = canlog.signals(log, DBC, named=True)
    column = tables["EngineData"].to_arrow()["Mode"]
    assert pyarrow.types.is_dictionary(column.type)
    assert column.to_pylist() == ["off", "idle", "3"]
    assert list(tables["EngineData"]["Mode"]) == ["off", "idle", "3"]


def test_numpy_columns(log):
    table = canlog.signals(log, DBC)["EngineData"]
    assert table["EngineSpeed"].tolist() == [2000.0, 0.0, 0.0]
    assert table["Revolutions"].tolist() == [7, None, 255]
    assert isinstance(table["Revolutions"], numpy.ma.MaskedArray)
    assert table["time"][0] == numpy.datetime64("2023-11-14T22:13:20")
    with pytest.raises(KeyError, match="no signal 'Speed' in EngineData; there are EngineSpeed"):
        table["Speed"]


def test_several_logs_and_the_choice_among_frames(log, write):
    other = write("other.log", "(5.000000) can0 0C9#401F6401A00B0007\n")
    table = canlog.signals([log, other], DBC, channel=1)["EngineData"].to_arrow()
    assert table["source"].to_pylist() == [str(log), str(log), str(other)]
    assert table["time"].to_pylist()[2] is None


def test_what_is_wrong_is_said(log, write):
    with pytest.raises(ValueError, match="no message 'EngineDat'; did you mean EngineData?"):
        canlog.signals(log, DBC, messages=["EngineDat"])
    with pytest.raises(FileNotFoundError):
        canlog.signals(log, "none.dbc")
    with pytest.raises(canlog.FormatError, match=r"bad\.dbc: no database"):
        canlog.signals(log, write("bad.dbc", "BO_ what"))
    with pytest.raises(TypeError):
        canlog.signals(log, 3)


# Against cantools

WHOLE = st.integers(-1000, 1000)
SCALES = st.one_of(st.just(1), st.sampled_from([2, -1, 10, 1000]), st.sampled_from([0.1, 0.25, 1e-3, -0.5, 1e6, 0.1 + 0.2]))
OFFSETS = st.one_of(st.just(0), WHOLE, st.sampled_from([-40.0, 0.5, 1e9]))


@st.composite
def one_signal(draw, name, size, multiplexer_ids=None, multiplexer=None, is_multiplexer=False):
    order = draw(st.sampled_from(["little_endian", "big_endian"]))
    is_float = not is_multiplexer and draw(st.integers(0, 4)) == 0
    bits = size * 8
    if is_float and bits >= 16:
        length = draw(st.sampled_from([n for n in (16, 32, 64) if n <= bits]))
    else:
        is_float = False
        length = draw(st.integers(1, min(bits, 8 if is_multiplexer else 80)))
    place = draw(st.integers(0, bits - length))
    start = place if order == "little_endian" else 8 * (place // 8) + 7 - place % 8
    scale, offset = (1, 0) if is_multiplexer else (draw(SCALES), draw(OFFSETS))
    return cantools.database.can.Signal(
        name, start, length, order, is_signed=not is_float and not is_multiplexer and draw(st.booleans()),
        conversion=BaseConversion.factory(scale, offset, None, is_float), is_multiplexer=is_multiplexer,
        multiplexer_ids=multiplexer_ids, multiplexer_signal=multiplexer,
    )


@st.composite
def one_message(draw):
    size = draw(st.sampled_from([1, 2, 5, 8, 8, 8, 12, 24, 64]))
    signals = [draw(one_signal(f"S{i}", size)) for i in range(draw(st.integers(1, 6)))]
    if draw(st.booleans()):
        signals.append(draw(one_signal("Page", size, is_multiplexer=True)))
        pages = (1 << signals[-1].length) - 1
        for i in range(draw(st.integers(1, 4))):
            ids = draw(st.lists(st.integers(0, min(pages, 3)), min_size=1, max_size=3, unique=True))
            signals.append(draw(one_signal(f"M{i}", size, ids, "Page")))
    return cantools.database.can.Message(0x123, "Message", size, signals, strict=False)


def payload_of(size):
    # Low values often, so that pages of a multiplexer are met.
    return st.binary(min_size=size, max_size=size) | st.integers(0, 3).map(lambda value: bytes([value]) * size)


def expected(message, payload):
    """The values that cantools has for those signals that are there."""
    try:
        return message.decode(payload, decode_choices=False, allow_truncated=True)
    except cantools.database.DecodeError:
        return None  # a page that the database does not have


@settings(max_examples=100, deadline=None, suppress_health_check=list(HealthCheck))
@given(st.data())
def test_every_value_is_that_of_cantools(tmp_path_factory, data):
    message = data.draw(one_message())
    lengths = [0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64]
    payloads = data.draw(
        st.lists(st.sampled_from(lengths).flatmap(payload_of) | payload_of(message.length), min_size=1, max_size=8)
    )
    path = tmp_path_factory.mktemp("logs") / "random.log"
    path.write_text(
        "".join(f"({i}.000000) can0 123##0{payload.hex().upper()}\n" for i, payload in enumerate(payloads))
    )
    database = cantools.database.can.Database([message], strict=False)
    table = canlog.signals(path, database, messages=["Message"])["Message"]
    assert len(table) == len(payloads)
    columns = table.to_arrow().to_pydict()
    for row, payload in enumerate(payloads):
        values = expected(message, payload)
        if values is None:
            continue
        for signal in message.signals:
            ours = columns[signal.name][row]
            if signal.name not in values:
                assert ours is None, (signal, payload.hex())
                continue
            theirs = values[signal.name]
            assert ours is not None, (signal, payload.hex())
            if isinstance(theirs, float) and math.isnan(theirs):
                assert math.isnan(ours)
            elif isinstance(ours, int):
                assert ours == theirs, (signal, payload.hex())
            else:
                assert ours == float(theirs), (signal, payload.hex())
    assert table.short_frames == sum(len(payload) < message.length for payload in payloads)
