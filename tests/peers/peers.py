# SPDX-License-Identifier: Apache-2.0
"""What the comparisons share: one form of a frame for all programs, frames of every kind, and the program itself."""

import itertools
import json
import os
import subprocess
from dataclasses import dataclass, replace

import can

START = 1716284412  # whole seconds, so that times since the first frame are those written below


@dataclass(frozen=True)
class Frame:
    """One frame as any of the programs tells it. The time is in microseconds."""
    time: int
    channel: int  # from 1
    id: int
    tx: bool = False
    extended: bool = False
    remote: bool = False
    fd: bool = False
    brs: bool = False
    esi: bool = False
    error: bool = False
    dlc: int = 0
    data: bytes = b""

    def but(self, **changes):
        return replace(self, **changes)

    def message(self):
        """The frame for python-can, whose channels count from 0."""
        return can.Message(timestamp=self.time / 1e6, channel=self.channel - 1, arbitration_id=self.id,
                           is_rx=not self.tx, is_extended_id=self.extended, is_remote_frame=self.remote,
                           is_fd=self.fd, bitrate_switch=self.brs, error_state_indicator=self.esi,
                           is_error_frame=self.error, dlc=self.dlc, data=None if self.remote else self.data)


def payload(length, seed):
    return bytes((17 * seed + 29 * i + 1) % 256 for i in range(length))


def every_kind(start=START * 1000000):
    """Every combination of kind, length, marks, identifier, direction and channel, in the order of time."""
    kinds = [{"dlc": n} for n in range(9)]
    kinds += [{"dlc": n, "remote": True} for n in range(9)]
    kinds += [{"dlc": n, "fd": True, "brs": brs, "esi": esi}
              for n in (*range(9), 12, 16, 20, 24, 32, 48, 64) for brs in (False, True) for esi in (False, True)]
    ids = [(0, False), (0x123, False), (0x7FF, False), (0, True), (0x123, True), (0x18F00503, True),
           (0x1FFFFFFF, True)]
    frames = [{**kind, "id": number, "extended": extended, "tx": tx, "channel": channel}
              for kind, (number, extended), tx, channel in itertools.product(kinds, ids, (False, True), (1, 2))]
    frames += [{"error": True, "id": 0, "channel": channel} for channel in (1, 2)]
    result = []
    for i, fields in enumerate(frames):
        data = b"" if fields.get("remote") else payload(fields.get("dlc", 0), i)
        # Steps of many sizes, so that no digit of a time is always the same.
        result.append(Frame(time=start + 1237 * i + i * i % 911, data=data, **fields))
    return result


def output_of(*command, **options):
    """What a program prints. It must end well."""
    environment = {**os.environ, "TZ": "UTC", "LC_ALL": "C.UTF-8", **options.pop("env", {})}
    result = subprocess.run([str(part) for part in command], capture_output=True, check=False, env=environment,
                            **options)
    assert result.returncode == 0, f"{command}: {result.stderr.decode(errors='replace')}"
    return result.stdout


class Canlog:
    """The program under test."""

    def __init__(self, program):
        self.program = program

    def run(self, *arguments, **options):
        return output_of(self.program, *arguments, **options)

    def convert(self, source, target, *options):
        self.run("convert", "--quiet", *options, source, target)
        return target

    def objects(self, path, *options):
        """The messages of a log as canlog tells them. With --strict, a single line that it drops or doubts is a
        failure."""
        text = self.run("convert", "--strict", "--quiet", *options, path, "--to", "json")
        return [json.loads(line) for line in text.splitlines()]

    def frames(self, path, *options):
        return [Frame(time=round(o["time"] * 1000000), channel=o["channel"], id=o["id"] or 0,
                      tx=o["direction"] == "Tx", extended=o["extended"], remote=o["remote"], fd=o["fd"], brs=o["brs"],
                      esi=o["esi"], error=o["error"], dlc=o["dlc"], data=bytes.fromhex(o["data"]))
                for o in self.objects(path, *options)]


def channel_of(message):
    """The number of python-can's channel, from 1: it counts from 0, or has a name with a number at its end."""
    channel = message.channel
    if isinstance(channel, str):
        return int(channel.lstrip("canvsl")) + 1
    return 0 if channel is None else channel + 1


def read_by_python_can(reader, path, **options):
    """The frames that a reader of python-can gives."""
    frames = []
    with reader(str(path), **options) as messages:
        for m in messages:
            frames.append(Frame(time=round(m.timestamp * 1000000), channel=channel_of(m), id=m.arbitration_id,
                                tx=not m.is_rx, extended=m.is_extended_id, remote=m.is_remote_frame, fd=m.is_fd,
                                brs=m.bitrate_switch, esi=m.error_state_indicator, error=m.is_error_frame, dlc=m.dlc,
                                data=bytes(m.data or b"")))
    return frames


def write_by_python_can(writer, path, frames, **settings):
    with writer(str(path)) as out:
        for name, value in settings.items():
            setattr(out, name, value)
        for frame in frames:
            out.on_message_received(frame.message())
    return path


def differences(ours, theirs, most=5):
    """The first frames that differ, as a text for people; empty when all are alike."""
    lines = [f"{i}: {a}\n   {b}" for i, (a, b) in enumerate(itertools.zip_longest(ours, theirs)) if a != b]
    more = [f"... and {len(lines) - most} more"] if len(lines) > most else []
    return "\n".join(lines[:most] + more)


def check_alike(ours, expected):
    assert expected, "nothing to compare"
    text = differences(ours, expected)
    assert not text, "first canlog or the frame read, below what was expected:\n" + text
