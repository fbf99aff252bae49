"""The example of a day's job, on a small day, against sums in plain Python."""

import csv
import subprocess
import sys

import pytest

import tesparser
from conftest import BUILD, SOURCE

pytestmark = pytest.mark.heavy


def sums_of(source, **asked):
    """By instrument and minute, and of the day by instrument as its last snapshot tells."""
    by_minute = {}
    of_day = {}
    for batch in tesparser.read(source, id=20, form="delimited", **asked):
        cells = batch.to_dict()
        for instrument, moment, volume, told in zip(cells["Obj"], cells["Data.ShiJian"], cells["Data.XianShou"], cells["Data.ChengJiaoLiang"]):
            key = (instrument, moment // 100)
            by_minute[key] = by_minute.get(key, 0) + volume
            of_day[instrument] = told
    return by_minute, of_day


def run_example(capture, folder, *options):
    command = [sys.executable, SOURCE / "examples" / "volumes_by_minute.py", capture, "--out", folder / "volumes.csv", *options]
    done = subprocess.run(command, cwd=folder, capture_output=True, text=True, check=True)
    with open(folder / "volumes.csv", newline="") as file:
        return done, {(row["instrument"], int(row["minute"])): int(row["volume"]) for row in csv.DictReader(file)}


def test_volumes_by_minute(tmp_path):
    capture = tmp_path / "day.bin"
    subprocess.run([BUILD / "bin" / "tesparser_make_capture", "4M", capture], check=True, capture_output=True)
    expected, of_day = sums_of(capture)
    totals = {}
    for (instrument, minute), volume in expected.items():
        assert 202406170930 <= minute < 202406171500
        totals[instrument] = totals.get(instrument, 0) + volume
    assert totals == of_day
    done, got = run_example(capture, tmp_path, "--processes", "1,2", "--blocksize", "512KiB")
    assert got == expected
    assert "1 process " in done.stdout and "2 processes" in done.stdout
    assert f"{len(expected)} minutes of {len(of_day)} instruments, {sum(expected.values())} shares" in done.stdout
    assert "missing" not in done.stderr


def test_volumes_of_a_damaged_day(tmp_path):
    capture = tmp_path / "day.bin"
    subprocess.run([BUILD / "bin" / "tesparser_make_capture", "1M", capture, "--damage", "12"], check=True, capture_output=True)
    data = capture.read_bytes()
    whole = bytearray()
    at = 0
    for line in (tmp_path / "day.bin.damage").read_text().splitlines()[1:]:
        offset, length = map(int, line.split("\t")[:2])
        whole += data[at:offset]
        at = offset + length
    whole += data[at:]
    expected, _ = sums_of(bytes(whole))
    done, got = run_example(capture, tmp_path, "--processes", "2", "--blocksize", "200KB")
    assert got == expected
    assert "are damaged" in done.stderr and "trades are missing" in done.stderr
