"""What decoding costs in Python, against the library itself and against what one would take instead.

    bench/python_speed.py BUILD

All in one run, medians of repeated calls: a frame by read(), by python3-protobuf with a loop, by JSON and json.loads,
by the viewer's csv and pandas.read_csv. Fails where a bound is missed.
"""

import io
import json
import pathlib
import subprocess
import sys
import tempfile
import time

BUILD = pathlib.Path(sys.argv[1]).resolve()
sys.path[:0] = [str(BUILD / "python"), str(pathlib.Path(__file__).resolve().parents[1] / "python" / "tests")]

import pandas as pd  # noqa: E402

import tesparser  # noqa: E402
import wire  # noqa: E402


def seconds(call, budget=0.5, least=3):
    """The median time of a call."""
    times = []
    end = time.perf_counter() + budget
    while len(times) < least or time.perf_counter() < end:
        begin = time.perf_counter()
        result = call()
        times.append(time.perf_counter() - begin)
        del result
    return sorted(times)[len(times) // 2]


def by_protobuf(schema, reply):
    """A loop over messages, as one writes it: a dict for each bar, a frame of all."""
    message = schema.new("MSG")
    message.ParseFromString(reply)
    rows = []
    for element in message.RepDataQuoteKlineSingle:
        for bar in element.Data:
            row = {"Obj": element.Obj}
            for name in COLUMNS:
                row[f"Data.{name}"] = wire.unpacked(getattr(bar, name))[0]
            rows.append(row)
    return pd.DataFrame(rows)


def by_json(reply):
    rows = []
    for element in json.loads(tesparser.json(reply))["RepDataQuoteKlineSingle"]:
        for bar in element["Data"]:
            row = {"Obj": element["Obj"]}
            for name in COLUMNS:
                row[f"Data.{name}"] = wire.unpacked(bar.get(name, 0))[0]
            rows.append(row)
    return pd.DataFrame(rows)


COLUMNS = [path[5:] for path in tesparser.columns(21) if path.startswith("Data.")]

with tempfile.TemporaryDirectory() as folder:
    names = ["kline2000x10", "snapshot1"]
    subprocess.run([BUILD / "bin" / "tesparser_workloads", folder, *names], check=True)
    files = [pathlib.Path(folder) / f"{name}.bin" for name in names]

    def in_the_library():
        words = [BUILD / "bin" / "tesparser_table_times", *files]
        lines = subprocess.run(words, check=True, capture_output=True, text=True).stdout.splitlines()
        return {pathlib.Path(line.split()[0]).stem: float(line.split()[1]) / 1e9 for line in lines}

    # Before and after, as what else runs on the machine comes and goes.
    before = in_the_library()
    replies = {file.stem: file.read_bytes() for file in files}
    schema = wire.Schema((BUILD / "tesparser" / "tesproto" / "tesparser.desc").read_bytes())
    bars = replies["kline2000x10"]
    small = replies["snapshot1"]
    csv = subprocess.run([BUILD / "bin" / "tesview", "--to", "csv", "--path", "0/Data", "-"], input=bars, check=True, capture_output=True).stdout

    frame = tesparser.read(bars, id=21).to_pandas()
    for other in (by_protobuf(schema, bars), by_json(bars)):
        assert (other[frame.columns].to_numpy() == frame.to_numpy()).all()

    read = seconds(lambda: tesparser.read(bars, id=21).to_pandas(), 2)
    routes = {
        "read().to_pandas()": read,
        "table().to_pandas()": seconds(lambda: tesparser.table(bars).to_pandas()),
        "read(), columns for NumPy": seconds(lambda: [batch.to_numpy(i) for batch in tesparser.read(bars, id=21) for i in range(1, 15)]),
        "python3-protobuf, a loop": seconds(lambda: by_protobuf(schema, bars)),
        "json() and json.loads, a loop": seconds(lambda: by_json(bars)),
        # The bars of the first of the ten instruments.
        "pandas.read_csv of a tenth, times ten": 10 * seconds(lambda: pd.read_csv(io.BytesIO(csv))),
    }
    one = seconds(lambda: [tesparser.table(small) for _ in range(20)], 1) / 20
    after = in_the_library()

floor = (before["kline2000x10"] + after["kline2000x10"]) / 2
small_floor = (before["snapshot1"] + after["snapshot1"]) / 2
print(f"20 000 bars, {len(bars)} bytes; decoding them in the library {floor * 1e3:.2f} ms")
for name, each in routes.items():
    print(f"  {name:<40}{each * 1e3:>10.2f} ms{each / floor:>9.2f} x")
print(f"a snapshot of {len(small)} bytes: library {small_floor * 1e6:.2f} us, tesparser.table() {one * 1e6:.2f} us")

loop = routes["python3-protobuf, a loop"] / read
bounds = {
    "read().to_pandas() within 1.5 x of decoding": read / floor <= 1.5,
    "table() of a small reply at most 2 us more": one - small_floor <= 2e-6,
    f"at least 40 times as fast as the protobuf loop ({loop:.0f})": loop >= 40,
}
for bound, is_kept in bounds.items():
    print(f"{'kept' if is_kept else 'MISSED'}: {bound}")
sys.exit(0 if all(bounds.values()) else 1)
