# SPDX-License-Identifier: Apache-2.0
"""canlog reads what the writers of python-can write, frame by frame. What a format leaves out stands below."""

import can
import pytest
from can.io.trc import TRCFileVersion

from peers import START, check_alike, every_kind, write_by_python_can

EPOCH = START * 1000000


@pytest.fixture(params=[EPOCH, 0, 12345678], ids=["epoch", "zero", "relative"])
def frames(request):
    return every_kind(request.param)


def since_first(frames):
    return [frame.but(time=frame.time - frames[0].time) for frame in frames]


def test_candump(canlog, tmp_path, frames):
    path = write_by_python_can(can.CanutilsLogWriter, tmp_path / "a.log", frames)
    # The writer leaves out the length of a remote frame, and gives an error frame no data.
    expected = [frame.but(dlc=0) if frame.remote else frame for frame in frames]
    check_alike(canlog.frames(path), expected)


def test_asc(canlog, tmp_path, frames):
    path = write_by_python_can(can.ASCWriter, tmp_path / "a.asc", frames)
    check_alike(canlog.frames(path), since_first(frames))


def test_asc_with_relative_times(canlog, tmp_path, frames):
    path = write_by_python_can(can.ASCWriter, tmp_path / "a.asc", frames)
    lines = []
    latest = 0
    for line in path.read_text().replace("timestamps absolute", "timestamps relative").splitlines():
        words = line.split()
        if words and words[0].replace(".", "").isdigit():
            time = round(float(words[0]) * 1000000)
            line = f"{(time - latest) / 1e6:9.6f} {line.split(maxsplit=1)[1]}"
            latest = time
        lines.append(line)
    path.write_text("\n".join(lines))
    check_alike(canlog.frames(path), since_first(frames))


def test_trc(canlog, tmp_path, frames):
    path = write_by_python_can(can.TRCWriter, tmp_path / "a.trc", frames)
    # The writer knows no other frames.
    data_frames = [frame for frame in since_first(frames) if not (frame.fd or frame.remote or frame.error)]
    check_alike(canlog.frames(path), data_frames)


def test_trc_of_version_1_0(canlog, tmp_path, frames):
    path = write_by_python_can(can.TRCWriter, tmp_path / "a.trc", frames, file_version=TRCFileVersion.V1_0)
    # Whole milliseconds, no bus, no direction.
    written = [frame for frame in frames if not (frame.fd or frame.remote or frame.error)]
    expected = [frame.but(time=int(f"{(frame.time / 1e6 - frames[0].time / 1e6) * 1000:.0f}") * 1000, channel=0,
                          tx=False)
                for frame in written]
    check_alike(canlog.frames(path), expected)


def test_csv(canlog, tmp_path, frames):
    path = write_by_python_can(can.CSVWriter, tmp_path / "a.csv", frames)
    # No channel, direction or marks of CAN FD, of which more than eight bytes are the only sign.
    expected = [frame.but(channel=0, tx=False, fd=frame.dlc > 8, brs=False, esi=False) for frame in frames]
    check_alike(canlog.frames(path), expected)


@pytest.mark.parametrize("writer, name", [(can.CanutilsLogWriter, "a.log"), (can.ASCWriter, "a.asc"),
                                          (can.TRCWriter, "a.trc"), (can.CSVWriter, "a.csv")])
def test_compressed_log_is_the_same(canlog, tmp_path, writer, name):
    plain = write_by_python_can(writer, tmp_path / name, every_kind())
    with can.Logger(str(tmp_path / (name + ".gz"))) as logger:
        for frame in every_kind():
            logger.on_message_received(frame.message())
    check_alike(canlog.frames(tmp_path / (name + ".gz")), canlog.frames(plain))
