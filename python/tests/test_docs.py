# SPDX-License-Identifier: Apache-2.0
"""What the documents show is what happens."""
import doctest
import pathlib
import subprocess
import sys

import pytest

import canlog

PAGE = pathlib.Path(__file__).resolve().parents[2] / "docs" / "python.md"


@pytest.mark.filterwarnings("ignore::canlog.LossWarning")
def test_the_page_shows_what_happens(examples, tmp_path, monkeypatch):
    monkeypatch.chdir(examples)
    page = PAGE.read_text().replace("```\n", "\n")  # what ends a block ends what is expected
    test = doctest.DocTestParser().get_doctest(page, {"out": tmp_path}, "python.md", str(PAGE), 0)
    assert len(test.examples) > 20
    output = []
    # Tracebacks name the exceptions as users know them.
    runner = doctest.DocTestRunner(optionflags=doctest.REPORT_NDIFF)
    assert runner.run(test, out=output.append).failed == 0, "".join(output)


def test_the_page_has_every_column_and_every_function():
    page = PAGE.read_text()
    for name in canlog.COLUMNS:
        assert f"`{name}`" in page
    for name in ("open", "read", "signals", "write_parquet", "formats"):
        assert f"{name}(" in page


def test_the_script_explores_the_example(examples, tmp_path):
    run = subprocess.run([sys.executable, examples / "explore.py", examples / "drive.log", tmp_path],
                         capture_output=True, text=True)
    assert run.returncode == 0, run.stderr
    assert "4059 frames in 12.0 s on 2 channels" in run.stdout
    assert "      C9:    10.00 ms" in run.stdout  # a hundred times a second
    for name in ("bus-load.png", "cycle-times.png"):
        picture = (tmp_path / name).read_bytes()
        assert picture.startswith(b"\x89PNG") and len(picture) > 10000
