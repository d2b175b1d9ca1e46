# SPDX-License-Identifier: Apache-2.0
"""Explores a log, cell by cell: run it as a whole, or open it in an editor that knows "# %%" as a notebook.

    python explore.py [LOG [FOLDER]]     draws bus-load.png and cycle-times.png into FOLDER
"""

# %% The log, and what it says of itself
import pathlib
import sys

import matplotlib

matplotlib.use("Agg")  # into files; leave it out in a notebook
import matplotlib.pyplot as plt
import numpy as np

import canlog

here = pathlib.Path(__file__).parent
path = sys.argv[1] if len(sys.argv) > 1 else str(here / "drive.log")
folder = pathlib.Path(sys.argv[2] if len(sys.argv) > 2 else ".")
log = canlog.open(path)
frames = log.to_numpy()
print(log, log.info.time_zero, log.info.channels)

# %% Its frames, as arrays
seconds = (frames["time_us"] - frames["time_us"][0]) / 1e6
channel = np.ma.filled(frames["channel"], 0)
print(f"{len(seconds)} frames in {seconds[-1]:.1f} s on {len(np.unique(channel))} channels")

# %% Bus load: the bits of each frame, without stuff bits, against what the bus could carry
BIT_RATES = {1: 500_000, 2: 250_000}
bits = np.where(frames["is_extended"], 67, 47) + 8 * np.where(frames["is_remote"], 0, frames["length"])
window = 0.1  # seconds
edges = np.arange(0, seconds[-1] + window, window)
figure, axes = plt.subplots(figsize=(9, 4))
for number in np.unique(channel):
    mine = channel == number
    carried, _ = np.histogram(seconds[mine], edges, weights=bits[mine])
    load = 100 * carried / (BIT_RATES.get(int(number), 500_000) * window)
    axes.step(edges[:-1], load, where="post", label=log.info.channels.get(int(number), f"channel {number}"))
    print(f"channel {number}: {load.mean():.1f} % on average, {load.max():.1f} % at most")
axes.set(xlabel="time in s", ylabel="bus load in %", ylim=(0, None), title=pathlib.Path(path).name)
axes.legend()
figure.savefig(folder / "bus-load.png", dpi=120)

# %% Cycle times: how evenly each identifier comes
ids = np.ma.filled(frames["id"], -1)
busiest = [id for id in np.unique(ids) if id >= 0 and np.count_nonzero(ids == id) >= 24]
gaps = [np.diff(seconds[ids == id]) * 1000 for id in busiest]
figure, axes = plt.subplots(figsize=(9, 4))
axes.boxplot(gaps, showfliers=False)
axes.set_xticks(range(1, len(busiest) + 1), [f"{id:X}" for id in busiest], rotation=60)
axes.set(yscale="log", ylabel="time since the frame before in ms", title="cycle times")
figure.tight_layout()
figure.savefig(folder / "cycle-times.png", dpi=120)
for id, gap in zip(busiest, gaps):
    print(f"{id:8X}: {np.median(gap):8.2f} ms, +- {gap.std():.2f}")
