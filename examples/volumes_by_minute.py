#!/usr/bin/python3
"""A day's job: the volume of each instrument in each minute, out of the snapshots of captures.

    scripts/make-capture 2G day.bin
    examples/volumes_by_minute.py day.bin --processes 1,2 --out volumes.csv

Prints how long it takes with as many processes of this machine as are named. With --scheduler ADDRESS, the workers of
that scheduler do it; they open the captures under the names given here.

A snapshot tells the volume of the last trade (XianShou) and of the day so far (ChengJiaoLiang). The first are added up by
minute; that they make the second is checked in the same pass.
"""

import argparse
import sys
import time

import dask
import tesparser.dask
from distributed import Client, LocalCluster

COLUMNS = ["Obj", "ShiJian", "ChengJiaoLiang", "XianShou"]


def volumes(index):
    """Two lazy tables: the volume by instrument and minute (yyyymmddhhmm), and that of the day by instrument."""
    quotes = tesparser.dask.read(index, id="QuoteDynaSingle", columns=COLUMNS, errors="skip")
    quotes = quotes.rename(columns={"Obj": "instrument", "Data.XianShou": "volume", "Data.ChengJiaoLiang": "of_day"})
    quotes["minute"] = quotes["Data.ShiJian"] // 100
    by_minute = quotes.groupby(["instrument", "minute"])["volume"].sum()
    of_day = quotes.groupby("instrument")["of_day"].max()
    return by_minute, of_day


def run(paths, blocksize):
    """Does it on the current scheduler; gives the volumes, and the seconds that finding replies and all took."""
    begun = time.perf_counter()
    index = tesparser.dask.index(paths, blocksize=blocksize)
    found = time.perf_counter()
    by_minute, of_day = dask.compute(*volumes(index))
    seconds = (found - begun, time.perf_counter() - begun)
    by_minute = by_minute.sort_index()
    differing = (by_minute.groupby("instrument").sum() != of_day.sort_index()).sum()
    for damage in index.damage:
        print(f"{damage.path}: {damage.end - damage.begin} bytes from offset {damage.begin} on are damaged", file=sys.stderr)
    if differing:
        print(f"of {differing} instruments, trades are missing", file=sys.stderr)
    return by_minute, index, seconds


def tell(what, index, seconds):
    size = sum(file.size for file in index.files)
    blocks = sum(len(file.blocks) for file in index.files)
    print(f"{what:12} {size / 1e9:7.2f} GB {blocks:5} blocks   index {seconds[0]:7.1f} s   all {seconds[1]:7.1f} s   {size / seconds[1] / 1e6:7.0f} MB/s", flush=True)


def main():
    parser = argparse.ArgumentParser(description="Volumes by instrument and minute, out of the snapshots of captures.")
    parser.add_argument("captures", nargs="+", help="files, directories or patterns, as fsspec has them")
    parser.add_argument("--processes", default="2", help="how many processes of this machine; several to compare them: 1,2")
    parser.add_argument("--scheduler", help="address of a scheduler, in place of processes of this machine")
    parser.add_argument("--blocksize", default="64MB")
    parser.add_argument("--out", help="writes the volumes to a CSV file")
    asked = parser.parse_args()

    if asked.scheduler:
        with Client(asked.scheduler):
            by_minute, index, seconds = run(asked.captures, asked.blocksize)
        tell("cluster", index, seconds)
    else:
        for count in map(int, asked.processes.split(",")):
            with LocalCluster(n_workers=count, threads_per_worker=1, processes=True, dashboard_address=None) as cluster, Client(cluster):
                by_minute, index, seconds = run(asked.captures, asked.blocksize)
            tell("1 process" if count == 1 else f"{count} processes", index, seconds)
    print(f"{len(by_minute)} minutes of {by_minute.index.get_level_values(0).nunique()} instruments, {by_minute.sum()} shares")
    if asked.out:
        by_minute.reset_index().to_csv(asked.out, index=False)


if __name__ == "__main__":
    main()
