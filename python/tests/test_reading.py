# SPDX-License-Identifier: Apache-2.0
"""Where logs come from, how reading ends, and what is said when it fails."""
import gc
import gzip
import io
import os
import subprocess
import sys
import threading
import time

import pyarrow
import pytest

import canlog

from conftest import ASC, CANDUMP


def test_paths_and_file_objects_give_the_same(candump):
    expected = pyarrow.table(canlog.open(candump)).drop_columns("source")
    packed = gzip.compress(CANDUMP.encode())
    compressed = candump.with_suffix(".log.gz")
    compressed.write_bytes(packed)
    sources = [str(candump), candump, io.BytesIO(CANDUMP.encode()), io.BytesIO(packed), compressed, open(candump, "rb")]
    for source in sources:
        table = pyarrow.table(canlog.open(source))
        assert table.drop_columns("source").equals(expected)
    sources[-1].close()


def test_a_name_with_odd_letters_and_bytes(tmp_path):
    path = os.fsencode(tmp_path) + b"/caf\xe9 \xf0\x9f\x9a\x97.log"
    with open(path, "wb") as file:
        file.write(CANDUMP.encode())
    assert pyarrow.table(canlog.open(os.fsdecode(path))).num_rows == 5


def test_a_pipe_is_read_as_it_comes(tmp_path):
    path = tmp_path / "pipe"
    os.mkfifo(path)
    thread = threading.Thread(target=lambda: path.write_text(CANDUMP))
    thread.start()
    assert pyarrow.table(canlog.open(path)).num_rows == 5
    thread.join()


def test_a_log_is_read_from_its_beginning_each_time(candump):
    log = canlog.open(candump)
    assert log.info.time_zero == "unix-epoch"
    assert pyarrow.table(log).equals(pyarrow.table(log))
    stream = io.BytesIO(b"12345" + CANDUMP.encode())
    stream.seek(5)
    log = canlog.open(stream)
    assert pyarrow.table(log).num_rows == pyarrow.table(log).num_rows == 5


class Unseekable(io.RawIOBase):
    def __init__(self, content):
        self.content = io.BytesIO(content)

    def readable(self):
        return True

    def readinto(self, buffer):
        return self.content.readinto(buffer)


def test_what_cannot_seek_is_read_once():
    log = canlog.open(Unseekable(CANDUMP.encode()))
    assert log.report.frames == 0  # asking is not reading
    assert pyarrow.table(log).num_rows == 5
    assert log.report.frames == 5
    with pytest.raises(ValueError, match="read once only"):
        pyarrow.table(log)


def test_exceptions_of_a_file_object_are_raised():
    class Broken(io.RawIOBase):
        calls = 0

        def read(self, size=-1):
            Broken.calls += 1
            if Broken.calls > 1:
                raise ConnectionResetError("gone")
            return CANDUMP.encode() * 10000

    with pytest.raises(ConnectionResetError, match="gone"):
        for _ in canlog.open(Broken()).batches():
            pass


def test_text_files_are_refused(candump):
    with open(candump) as file, pytest.raises(TypeError, match='open it with "rb"'):
        canlog.open(file)
    with pytest.raises(TypeError, match="a path or a binary file object"):
        canlog.open(3.5)


def test_a_missing_file_is_an_oserror_with_its_path(tmp_path):
    with pytest.raises(FileNotFoundError) as caught:
        canlog.open(tmp_path / "none.log")
    assert caught.value.filename == str(tmp_path / "none.log")
    with pytest.raises(IsADirectoryError, match="name the files in it"):
        canlog.open(tmp_path)


def test_a_cut_off_file_gives_what_can_be_read_and_an_oserror(tmp_path):
    path = tmp_path / "cut.log.gz"
    lines = "".join(f"({i}.000000) can0 123#{i & 255:02X}\n" for i in range(200000))
    path.write_bytes(gzip.compress(lines.encode())[:-3000])
    log = canlog.open(path)
    rows = 0
    with pytest.raises(OSError, match="cut off; try 'gzip --test'") as caught:
        for batch in log.batches():
            rows += len(batch)
    assert caught.value.filename == str(path)
    assert 65536 < rows < 200000
    assert log.report.read_error and not log.report.is_complete
    with pytest.raises((OSError, pyarrow.ArrowException), match="cut off"):
        pyarrow.table(log)


def test_what_is_no_log_is_a_format_error(write):
    with pytest.raises(canlog.FormatError, match=r"notes\.md: .*type= names a format"):
        canlog.open(write("notes.md", "# Shopping\n\nmilk, bread\n" * 20))
    with pytest.raises(canlog.FormatError):
        canlog.open(write("zip.zip", b"PK\x03\x04" + bytes(100)))
    with pytest.raises(ValueError, match="no format 'mdf'"):
        canlog.open(write("any.log", CANDUMP), type="mdf")


def test_a_log_that_breaks_off_its_format_gives_its_frames_first(write):
    path = write(
        "broken.trc",
        ";$FILEVERSION=1.1\n"
        "     1)      1.0  Rx        0300  2  00 01\n"
        "     2)      broken\n",
    )
    log = canlog.open(path, type="trc11")
    rows = []
    with pytest.raises(canlog.FormatError, match=r"broken\.trc"):
        for batch in log.batches():
            rows += batch.to_arrow().to_pylist()
    assert [row["id"] for row in rows] == [0x300]


def test_faulty_lines_are_reported(asc):
    log = canlog.open(asc)
    with pytest.warns(canlog.LossWarning, match=r"drive\.asc: 1 of 9 lines dropped .* first at line 7, column "):
        pyarrow.table(log)
    report = log.report
    assert (report.lines, report.frames, report.dropped_lines, report.faulty_lines) == (9, 3, 1, 1)
    assert report.is_complete
    fault = report.faults[0]
    assert fault.line == 7 and fault.column > 40 and "3 of 4" in fault.reason
    table = pyarrow.table(report)
    assert table.schema == pyarrow.schema(
        [("source", "string"), ("line", pyarrow.int64()), ("column", pyarrow.int32()), ("reason", "string")]
    )
    assert table.to_pylist() == [{"source": str(asc), "line": 7, "column": fault.column, "reason": fault.reason}]
    assert f"{asc}:7:{fault.column}: " in str(report)


def test_the_report_alone_reads_the_log(asc):
    with pytest.warns(canlog.LossWarning):
        assert canlog.open(asc).report.frames == 3


def test_strict_makes_faulty_lines_an_exception(asc):
    with pytest.raises(canlog.FaultyLineError) as caught:
        canlog.open(asc, strict=True).to_arrow()
    assert (caught.value.source, caught.value.line) == (str(asc), 7)
    with pytest.raises(canlog.FormatError):
        canlog.read(asc, strict=True)
    with pytest.raises((canlog.FormatError, pyarrow.ArrowException), match=":7:"):
        pyarrow.table(canlog.open(asc, strict=True))


def test_a_log_without_faults_is_silent(candump, recwarn):
    canlog.open(candump, strict=True).to_arrow()
    assert not [warning for warning in recwarn if issubclass(warning.category, canlog.LossWarning)]


def test_the_summary_has_a_row_of_numbers(asc):
    with pytest.warns(canlog.LossWarning):
        summary = canlog.open(asc).summary()
    assert summary.pop("seconds") > 0
    assert summary == {
        "source": str(asc), "format": "VectorAsc", "bytes": len(ASC), "lines": 9, "frames": 3, "faulty_lines": 1,
        "dropped_lines": 1, "first_time_us": 1000, "last_time_us": 3000, "error": None,
    }


def long_log(tmp_path, frames=300000):
    path = tmp_path / "long.log"
    line = "(%d.%06d) can0 123#0011223344556677\n"
    path.write_text("".join(line % (1700000000 + i // 1000, i % 1000 * 1000) for i in range(frames)))
    return path


def test_closing_ends_the_reading(candump, tmp_path):
    with canlog.open(long_log(tmp_path)) as log:
        batches = log.batches(size=10)
        assert len(next(batches)) == 10
    with pytest.raises(ValueError, match="was closed"):
        next(batches)
    with pytest.raises(ValueError, match="was closed"):
        pyarrow.table(log)
    stream = canlog.open(tmp_path / "long.log")
    reader = pyarrow.RecordBatchReader.from_stream(stream)
    stream.close()
    with pytest.raises((OSError, pyarrow.ArrowException), match="was closed"):
        reader.read_all()


def test_closing_in_another_thread_ends_a_reading_that_waits(tmp_path):
    path = tmp_path / "pipe"
    os.mkfifo(path)
    writer = os.open(path, os.O_RDWR)
    os.write(writer, CANDUMP.encode())
    done = []

    def read():
        try:
            for _ in canlog_log[0].batches():
                pass
        except ValueError as error:
            done.append(str(error))

    canlog_log = []
    opened = threading.Event()

    def open_and_read():
        # The pipe stays open, so that the type has to be given: nothing is looked at before.
        canlog_log.append(canlog.open(path, type="candump"))
        opened.set()
        read()

    thread = threading.Thread(target=open_and_read)
    thread.start()
    assert opened.wait(5)
    time.sleep(0.2)
    start = time.monotonic()
    canlog_log[0].close()
    thread.join(5)
    assert not thread.is_alive() and time.monotonic() - start < 1
    assert done and "was closed" in done[0]
    os.close(writer)


def test_several_logs_in_several_threads(tmp_path):
    path = long_log(tmp_path, 100000)
    expected = pyarrow.table(canlog.open(path))
    results = []
    threads = [threading.Thread(target=lambda: results.append(canlog.open(path).to_arrow())) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(results) == 4 and all(result.equals(expected) for result in results)


def test_other_threads_run_while_a_log_is_read(tmp_path):
    path = long_log(tmp_path)
    gaps = []
    stop = threading.Event()

    def tick():
        last = time.monotonic()
        while not stop.is_set():
            time.sleep(0.001)
            now = time.monotonic()
            gaps.append(now - last)
            last = now

    thread = threading.Thread(target=tick)
    thread.start()
    reader = canlog._core.Reader(os.open(path, os.O_RDONLY), b"long", 21)
    while reader.next(1 << 24) is not None:  # one call for all of it
        pass
    stop.set()
    thread.join()
    assert len(gaps) > 10


INTERRUPTED = """
import os, signal, sys, threading, time
import canlog
path, way = sys.argv[1:]
log = canlog.open(path, type="candump") if way != "open" else None
threading.Timer(0.3, lambda: os.kill(os.getpid(), signal.SIGINT)).start()
start = time.monotonic()
try:
    if way == "open":
        canlog.open(path)
    elif way == "batches":
        while True:
            for batch in log.batches():
                pass
    elif way == "report":
        while True:
            canlog.open(path, type="candump").report
    elif way == "read":
        while True:
            canlog.read([path] * 3, ids=["7FF"])
    elif way == "stream":
        import pyarrow
        while True:
            try:
                pyarrow.table(log)
            except OSError as error:
                print("ended by", error)
except KeyboardInterrupt:
    seconds = time.monotonic() - start
    print("interrupted", seconds)
    os._exit(0 if seconds < 1.3 else 3)
os._exit(4)
"""


@pytest.mark.parametrize("way", ["batches", "report", "read", "stream"])
def test_ctrl_c_is_a_keyboard_interrupt_within_a_second(tmp_path, way):
    path = long_log(tmp_path, 1000000)
    run = subprocess.run([sys.executable, "-c", INTERRUPTED, path, way], capture_output=True, text=True, timeout=60)
    assert run.returncode == 0, run.stdout + run.stderr


@pytest.mark.parametrize("way", ["batches", "open", "stream"])
def test_ctrl_c_ends_the_wait_for_a_pipe(tmp_path, way):
    path = tmp_path / "pipe"
    os.mkfifo(path)
    writer = os.open(path, os.O_RDWR)
    if way != "open":
        os.write(writer, CANDUMP.encode())
    run = subprocess.run([sys.executable, "-c", INTERRUPTED, path, way], capture_output=True, text=True, timeout=60)
    os.close(writer)
    assert run.returncode == 0, run.stdout + run.stderr


def test_nothing_is_started_on_import():
    code = "import canlog, os; print(len(os.listdir('/proc/self/task')))"
    assert subprocess.run([sys.executable, "-c", code], capture_output=True, text=True).stdout.strip() == "1"


def test_workers_may_fork(candump):
    pyarrow.table(canlog.open(candump))
    child = os.fork()
    if child == 0:
        rows = sum(len(batch) for batch in canlog.open(candump).batches())
        os._exit(0 if rows == 5 else 1)
    assert os.waitpid(child, 0)[1] == 0


def test_nothing_but_the_package_is_needed(candump, tmp_path):
    code = """
import sys
class Nothing:
    def find_spec(self, name, path=None, target=None):
        if name.split(".")[0] in ("numpy", "pyarrow", "pandas", "polars", "cantools", "can"):
            raise ImportError(name)
sys.meta_path.insert(0, Nothing())
import canlog
log = canlog.open(sys.argv[1])
print(sum(len(batch) for batch in log.batches()), log.report.frames)
try:
    canlog.read(sys.argv[1])
except ImportError as error:
    print(error)
"""
    run = subprocess.run([sys.executable, "-c", code, candump], capture_output=True, text=True)
    assert run.stdout == "5 5\nthis needs pyarrow: pip install 'canlog[arrow]'\n", run.stderr


def test_memory_does_not_grow_with_the_file(tmp_path):
    code = """
import sys, canlog
for batch in canlog.open(sys.argv[1]).batches():
    pass
print([line.split()[1] for line in open("/proc/self/status") if line.startswith("VmHWM")][0])
"""
    peaks = []
    for frames in (150000, 1200000):
        path = long_log(tmp_path, frames)
        run = subprocess.run([sys.executable, "-c", code, path], capture_output=True, text=True)
        peaks.append(int(run.stdout))
    assert peaks[1] < peaks[0] + 4096, peaks


def test_streams_are_released_unread(candump):
    for _ in range(100):
        log = canlog.open(candump)
        log.__arrow_c_stream__()
        next(iter(log)).__arrow_c_array__()
        log.__arrow_c_schema__()
    gc.collect()
    assert len(os.listdir("/proc/self/fd")) < 100
