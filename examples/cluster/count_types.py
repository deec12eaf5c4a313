"""Counts the words of each type in a folder of captures, with two processes: count_types.py FOLDER

The processes open the files themselves. With the address of a scheduler in place of LocalCluster, they can be on other
machines that have the folder at the same path.
"""

import sys
from pathlib import Path

import dask.array as da
import numpy as np
from distributed import Client, LocalCluster

import orm_trace.dask


def main(folder: Path) -> None:
    words = orm_trace.dask.from_files(sorted(folder.glob("*.tdf")))
    counts = da.bincount((words >> np.uint64(56)).astype(np.int64), minlength=256).compute()
    for kind in np.flatnonzero(counts):
        print(f"0x{kind:02X} {counts[kind]}")


if __name__ == "__main__":  # the processes import this file, too
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    with LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster, Client(cluster):
        main(Path(sys.argv[1]))
