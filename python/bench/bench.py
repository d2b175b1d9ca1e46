#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""How fast the package is beside `canlog count`, python-can and cantools, in processor time; the best of three runs.

    scripts/venv; scripts/python-tests; python/bench/bench.py --canlog build/release/bin/canlog [--frames N] [--check]

With --check the exit status is 1 when something is slower than docs/python.md says.
"""
import argparse
import collections
import pathlib
import random
import resource
import subprocess
import sys
import tempfile
import time

import can
import cantools
import pyarrow

import canlog

DATABASE = pathlib.Path(__file__).resolve().parents[1] / "tests" / "vehicle.dbc"


def write_logs(folder, frames):
    """The same traffic as candump and as ASC, with the messages of the database."""
    random.seed(1)
    candump, asc = folder / "bench.log", folder / "bench.asc"
    with open(candump, "w") as log, open(asc, "w") as other:
        other.write("date Tue Nov 14 10:13:20.000 pm 2023\nbase hex  timestamps absolute\ninternal events logged\n")
        for i in range(frames):
            identifier, size = (("0C9", 8), ("0C9", 8), ("18F00503", 4), ("201", 2))[i % 4]
            payload = bytes([i & 1]) + random.randbytes(size - 1)
            log.write(f"({1700000000 + i * 0.0002:.6f}) can{i & 1} {identifier}#{payload.hex().upper()}\n")
            name = identifier.lstrip("0") + ("x" if len(identifier) > 3 else "")
            other.write(f"{i * 0.0002:11.6f} {1 + (i & 1)}  {name:15} Rx   d {size} {payload.hex(' ').upper()}\n")
    return candump, asc


def seconds(work, *, runs=3):
    """Of processor time, of this process and those that it started."""
    best = float("inf")
    for _ in range(runs):
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        start = time.process_time()
        work()
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        children = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
        best = min(best, time.process_time() - start + children)
    return best


def table_of_python_can(path):
    """The same columns, as far as a can.Message has them."""
    names = ("timestamp", "arbitration_id", "is_extended_id", "is_remote_frame", "is_error_frame", "is_fd", "is_rx",
             "bitrate_switch", "error_state_indicator", "dlc")
    columns = {name: [] for name in (*names, "channel", "data")}
    appends = [(columns[name].append, name) for name in names]
    for message in can.LogReader(path):
        for append, name in appends:
            append(getattr(message, name))
        columns["channel"].append(str(message.channel))
        columns["data"].append(bytes(message.data))
    return pyarrow.table(columns)


def drain(iterable):
    collections.deque(iterable, maxlen=0)


def own_reader(path):
    canlog.can.install()
    drain(can.LogReader(path))
    canlog.can.uninstall()


def peak_of_batches(path):
    code = ("import sys, canlog\nfor batch in canlog.open(sys.argv[1]).batches(): pass\n"
            "print([line.split()[1] for line in open('/proc/self/status') if line.startswith('VmHWM')][0])")
    return int(subprocess.run([sys.executable, "-c", code, path], capture_output=True, text=True).stdout) / 1024


def measure(folder, frames, command):
    candump, asc = write_logs(folder, frames)
    database = cantools.database.load_file(DATABASE)
    for path in (candump, asc):
        kind = path.suffix[1:]
        table = seconds(lambda: pyarrow.table(canlog.open(path)))
        if command:
            count = seconds(lambda: subprocess.run([command, "count", "--quiet", path], check=True,
                                                   stdout=subprocess.DEVNULL))
            yield f"{kind}: table, against canlog count", table, count, table / count, "<=", 1.5
        theirs = seconds(lambda: table_of_python_can(path), runs=1)
        yield f"{kind}: table, against python-can", table, theirs, theirs / table, ">=", 20
        ours = seconds(lambda: own_reader(path))
        theirs = seconds(lambda: drain(can.LogReader(path)), runs=1)
        yield f"{kind}: messages, against python-can", ours, theirs, theirs / ours, ">=", 5
    # The same frames in memory: read for us, as pairs for cantools.
    rows = canlog.open(candump).to_arrow().select(["id", "data"]).to_pydict()
    pairs = list(zip(rows["id"], rows["data"]))
    loop = seconds(lambda: drain(database.decode_message(i, data) for i, data in pairs), runs=1)
    decoding = min(decoding_time(candump, database) for _ in range(3))
    yield "signals: decoding, against cantools", decoding, loop, loop / decoding, ">=", 50
    whole = seconds(lambda: drain(canlog.signals(candump, database).values()))
    yield "signals: with reading the log", whole, loop, loop / whole, None, None


def decoding_time(path, database):
    """Of all signals of a log that was read; each table is decoded when it is asked for."""
    tables = canlog.signals(path, database)
    return seconds(lambda: drain(tables.values()), runs=1)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--frames", type=int, default=1_000_000)
    parser.add_argument("--canlog", help="the command, built with optimisation")
    parser.add_argument("--check", action="store_true")
    options = parser.parse_args()
    ok = True
    with tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        print(f"{'':38} {'ours':>8} {'other':>8} {'factor':>7}")
        for what, ours, other, factor, sign, limit in measure(folder, options.frames, options.canlog):
            met = sign is None or (factor <= limit if sign == "<=" else factor >= limit)
            ok &= met
            wanted = "" if sign is None else f"  wanted {sign} {limit}{'' if met else ': not met'}"
            print(f"{what:38} {ours:7.3f}s {other:7.3f}s {factor:7.2f}{wanted}", flush=True)
        tenth = folder / "tenth.log"
        with open(folder / "bench.log", "rb") as log:
            tenth.write_bytes(log.read((folder / "bench.log").stat().st_size // 10))
        small, large = peak_of_batches(tenth), peak_of_batches(folder / "bench.log")
        flat = large < small * 1.1
        ok &= flat
        print(f"memory of batches(): {small:.0f} MiB for a tenth, {large:.0f} MiB for all{'' if flat else ': grows'}")
    return 0 if ok or not options.check else 1


if __name__ == "__main__":
    sys.exit(main())
