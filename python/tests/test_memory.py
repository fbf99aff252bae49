"""Memory that runs out: that is what is said, whatever was asked for, and there is nothing wrong afterwards."""

import os
import subprocess
import sys

import pytest

PROGRAM = """
import os, pathlib, resource, sys
import numpy as np
import arrow_reader, tesparser, wire
from tesparser import _core

def used():
    with open("/proc/self/status") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmData")) * 1024

def next_of(capsule):
    stream = arrow_reader.Stream.from_address(arrow_reader.CAPSULE_POINTER(capsule, b"arrow_array_stream"))
    array = arrow_reader.Array()
    code = stream.get_next(stream, array)
    return array.length if code == 0 else f"{code}, {stream.get_last_error(stream).decode()}"

def texts(schema):
    # Texts of 2^20 bytes: ten in a table, and one beside ten rows inside.
    message, outer = schema.wire_reply()
    table = wire.table_column(outer, "T")
    table.Info.add(Name="S", Type=115)
    inside = table.Data.add(Index=0)
    inside.sValues.append("x" * 2**20)
    rows = wire.table_column(table, "U")
    rows.Info.add(Name="V", Type=105)
    rows.Data.add(Index=0).iValues.extend([100] * 10)
    beside = message.SerializeToString()
    message, table = schema.wire_reply()
    table.Info.add(Name="S", Type=115)
    table.Data.add(Index=0).sValues.extend(["x" * 2**20] * 10)
    return message.SerializeToString(), beside

what, descriptors = sys.argv[1:]
ten, beside = texts(wire.Schema(pathlib.Path(descriptors).read_bytes()))
# 50,000 rows of an empty text: 250 KB, of which megabytes become.
many = b"\\x08\\x1c" + b"\\xe2\\x01\\x02\\x0a\\x00" * 50_000
made, use = {
    "table": lambda: (many, lambda reply: len(tesparser.table(reply))),
    "why": lambda: (many, lambda reply: str(tesparser.why(reply))),
    "json": lambda: (many, lambda reply: tesparser.json(reply).count("Obj")),
    "arrays": lambda: (tesparser.table(ten), lambda table: table._to_columns().length),
    "flat": lambda: (tesparser.table(beside)[0, "T"]._to_columns(), lambda columns: _core.flatten(columns).length),
    "rows": lambda: (tesparser.read(many, id=28), lambda reader: sum(len(batch) for batch in reader)),
    "stream": lambda: (tesparser.read(many, id=28), lambda reader: next_of(reader.__arrow_c_stream__())),
    "rows inside": lambda: (tesparser.read(beside, id=3, path="T"), lambda reader: next_of(reader.__arrow_c_stream__())),
    "scan": lambda: (b"\\x02\\x08\\x1c" * 50_000, lambda data: len(tesparser.scan(data, form="delimited").id)),
    "numbers": lambda: (np.zeros(500_000, np.int64), lambda values: len(tesparser.unpack(values))),
}[what]()
for left in (2**16, 2**19, 2**20, 2**21, 2**22, None):
    child = os.fork()
    if child == 0:
        limit = resource.getrlimit(resource.RLIMIT_DATA)
        try:
            if left is not None:
                resource.setrlimit(resource.RLIMIT_DATA, (used() + left, limit[1]))
            print(use(made), flush=True)
        except BaseException as error:
            said = type(error).__name__
            del error
            resource.setrlimit(resource.RLIMIT_DATA, limit)
            # What has failed goes well now.
            print(said, "then", use(made), flush=True)
        os._exit(0)
    assert os.waitpid(child, 0)[1] == 0
"""


@pytest.mark.parametrize(
    "what, failed, result",
    [
        ("table", "MemoryError then 50000", "50000"),
        ("why", "out of memory", "None"),
        ("json", "MemoryError then 50000", "50000"),
        ("arrays", "MemoryError then 10", "10"),
        ("flat", "MemoryError then 10", "10"),
        ("rows", "MemoryError then 50000", "50000"),
        ("stream", "12, out of memory", "50000"),
        ("rows inside", "12, out of memory", "10"),
        ("scan", "MemoryError then 50000", "50000"),
        ("numbers", "MemoryError then 500000", "500000"),
    ],
)
def test_memory_that_runs_out(schema, tmp_path, what, failed, result):
    """With 64 KB to 4 MB left, by turns, and at last with all there is. 12 is ENOMEM."""
    with open("/proc/self/maps") as maps:
        if "libasan" in maps.read():
            pytest.skip("AddressSanitizer ends the process where memory has run out")
    (tmp_path / "all.desc").write_bytes(schema.descriptors)
    # What is large is given back at once, so that nothing of it is left for what comes later.
    environment = {**os.environ, "MALLOC_MMAP_THRESHOLD_": "65536"}
    words = [sys.executable, "-c", PROGRAM, what, tmp_path / "all.desc"]
    done = subprocess.run(words, env=environment, capture_output=True, text=True)
    assert done.returncode == 0, done.stderr
    *limited, last = done.stdout.splitlines()
    assert last == result and failed in limited and len(limited) == 5
    assert set(limited) <= {failed, result, "MemoryError then None", f"MemoryError then {result}"}
