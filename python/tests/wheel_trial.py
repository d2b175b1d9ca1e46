# SPDX-License-Identifier: Apache-2.0
"""Run by scripts/wheel in an environment with nothing but the wheel: reads the examples, and makes sure that what runs
came with it and not from the system."""
import pathlib
import sys

import canlog

examples = pathlib.Path(sys.argv[1])
frames = sum(len(batch) for batch in canlog.open(examples / "drive.log").batches())
assert frames == len((examples / "drive.log").read_text().splitlines()), frames
assert canlog.open(examples / "drive.asc").report.frames > 0

# What every Linux has, or Python brings itself.
SYSTEM = ("ld-linux", "libc.", "libc-", "libm.", "libdl.", "libpthread.", "librt.", "libutil.", "libstdc++.", "libgcc_s.",
          "libglib-2.0.", "libpcre2-8.", "libpcre.", "libz.", "libexpat.", "libpython", "libffi.", "libcrypto.", "libssl.",
          "libbz2.", "liblzma.", "libuuid.")
loaded = {line.split(maxsplit=5)[5].strip() for line in open("/proc/self/maps") if ".so" in line}
here = str(pathlib.Path(canlog.__file__).parents[1])
strangers = sorted(
    path for path in loaded
    if not path.startswith(here) and "lib-dynload" not in path and not pathlib.Path(path).name.startswith(SYSTEM)
)
assert not strangers, f"from the system: {strangers}"
assert any("Qt" in path for path in loaded if path.startswith(here)), "Qt Core is not in the wheel"
print(f"wheel: reads {frames} frames with {sum(path.startswith(here) for path in loaded)} libraries of its own")
