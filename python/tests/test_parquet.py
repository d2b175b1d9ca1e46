# SPDX-License-Identifier: Apache-2.0
"""Parquet files: what is in them, and that there is never half of one."""
import os
import stat
import subprocess
import sys
import time

import pyarrow
import pyarrow.parquet
import pytest

import canlog


def test_a_log_becomes_a_file_in_the_folder(examples, tmp_path):
    out = tmp_path / "a" / "out"
    rows = canlog.write_parquet(examples / "drive.log", out)
    assert os.listdir(out) == ["drive.log.parquet"]
    table = pyarrow.parquet.read_table(out / "drive.log.parquet")
    assert table.equals(pyarrow.table(canlog.open(examples / "drive.log")))
    assert table.schema.metadata[b"canlog.format"] == b"Candump"
    assert [row["frames"] for row in rows] == [table.num_rows]
    mask = os.umask(0)
    os.umask(mask)
    assert stat.S_IMODE(os.stat(out / "drive.log.parquet").st_mode) == 0o666 & ~mask


def test_several_logs_and_a_choice(examples, tmp_path):
    rows = canlog.write_parquet([str(examples / "washer-*.trc"), examples / "drive.asc"], tmp_path, ids=["300"])
    assert sorted(os.listdir(tmp_path)) == [
        "drive.asc.parquet", "washer-trc11.trc.parquet", "washer-trc21.trc.parquet",
    ]
    assert len(rows) == 3
    assert set(pyarrow.parquet.read_table(tmp_path / "washer-trc11.trc.parquet")["id"].to_pylist()) <= {0x300}


def test_one_file_by_its_name(candump, tmp_path):
    canlog.write_parquet(candump, tmp_path / "mine.parquet")
    assert pyarrow.parquet.read_table(tmp_path / "mine.parquet").num_rows == 5
    with pytest.raises(ValueError, match="name a folder"):
        canlog.write_parquet([candump, candump], tmp_path / "mine.parquet")


def test_two_logs_of_one_name(candump, tmp_path):
    other = tmp_path / "other" / candump.name
    other.parent.mkdir()
    other.write_bytes(candump.read_bytes())
    with pytest.raises(ValueError, match="would both become"):
        canlog.write_parquet([candump, other], tmp_path / "out")
    assert not (tmp_path / "out").exists()


def test_an_empty_log_is_an_empty_table(write, tmp_path):
    path = write("empty.asc", "date Tue Nov 14 22:13:20.000 2023\nbase hex  timestamps absolute\n")
    with pytest.warns(canlog.LossWarning):
        canlog.write_parquet(path, tmp_path / "out", type="asc")
    table = pyarrow.parquet.read_table(tmp_path / "out" / "empty.asc.parquet")
    assert table.num_rows == 0 and table.column_names == list(canlog.COLUMNS)


def test_what_fails_leaves_what_there_was(asc, candump, tmp_path):
    out = tmp_path / "out"
    canlog.write_parquet(candump, out / "drive.parquet")
    before = (out / "drive.parquet").read_bytes()
    with pytest.raises(canlog.FaultyLineError):
        canlog.write_parquet(asc, out / "drive.parquet", strict=True)
    assert os.listdir(out) == ["drive.parquet"]
    assert (out / "drive.parquet").read_bytes() == before


def test_a_file_appears_when_it_is_complete(tmp_path):
    path = tmp_path / "long.log"
    path.write_text("".join(f"({i}.000000) can0 123#{i & 255:02X}{i & 65535:04X}\n" for i in range(400000)))
    code = "import sys, canlog; canlog.write_parquet(sys.argv[1], sys.argv[2])"
    out = tmp_path / "out"
    run = subprocess.Popen([sys.executable, "-c", code, path, out])
    while run.poll() is None:
        if (out / "long.log.parquet").exists():
            assert pyarrow.parquet.read_table(out / "long.log.parquet").num_rows == 400000
        time.sleep(0.005)
    assert run.returncode == 0
    assert os.listdir(out) == ["long.log.parquet"]
