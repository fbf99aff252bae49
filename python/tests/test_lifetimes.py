"""What outlives what, threads, and memory that stays flat."""

import ctypes
import gc
import io
import os
import random
import subprocess
import sys
import threading

import numpy as np
import pytest

import arrow_reader
import tesparser
import wire


def used_memory():
    """Resident bytes, after what is free was given back."""
    gc.collect()
    ctypes.CDLL(None).malloc_trim(0)
    with open("/proc/self/statm") as file:
        return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def churn():
    """Makes and drops things, so that memory that was freed too soon is written over."""
    gc.collect()
    blocks = [bytearray(os.urandom(4096)) for _ in range(200)]
    del blocks
    gc.collect()


def test_views_outlive_their_table(sample):
    data = bytearray(sample("21-QuoteKlineSingle"))
    table = tesparser.table(data)
    bars = table[0, "Data"]
    close, row, cells = bars.to_numpy("ShouPanJia"), bars[239], bars["ShouPanJia"]
    rows = iter(table)
    capsules = bars.__arrow_c_array__()
    frame = table.to_pandas()
    for i in range(len(data)):
        data[i] = 0xFF
    del table, bars, data
    churn()
    assert close.tolist() == cells and row["ShouPanJia"] == cells[239]
    assert next(rows)["Obj"] == "SH600000"
    assert [each["ShouPanJia"] for each in arrow_reader.array_rows(capsules)] == cells
    assert frame["Data.ShouPanJia"].tolist()[:240] == cells


def test_children_moved_out_of_capsules(sample):
    """A consumer may take one column, release the rest, and release that column last, in any order."""
    for order in range(2):
        table = tesparser.table(sample("21-QuoteKlineSingle"))[0, "Data"]
        expected = table["ShouPanJia"]
        described, held = table.__arrow_c_array__()
        schema = arrow_reader.Schema.from_address(arrow_reader.CAPSULE_POINTER(described, b"arrow_schema"))
        array = arrow_reader.Array.from_address(arrow_reader.CAPSULE_POINTER(held, b"arrow_array"))
        index = table.columns.index("ShouPanJia")
        taken = arrow_reader.Array()
        ctypes.memmove(ctypes.byref(taken), array.children[index], ctypes.sizeof(taken))
        array.children[index].contents.release = type(array.release)()
        del table
        array.release(array)
        churn()
        if order:
            del held, array
        assert arrow_reader._cells(schema.children[index][0], taken, 0, taken.length) == expected
        taken.release(taken)


def test_batches_and_frames_outlive_their_reader(sample):
    stream = wire.delimited([sample("21-QuoteKlineSingle")] * 20)
    reader = tesparser.read(io.BytesIO(stream), id=21, batch_rows=300)
    batches = list(reader)
    views = [batch.to_numpy("Data.ShouPanJia") for batch in batches]
    frame = tesparser.read(stream, id=21).to_pandas()
    capsule = tesparser.read(bytearray(stream), id=21).__arrow_c_stream__()
    del reader, batches, stream
    churn()
    assert len(views) == 20 and all(np.array_equal(view, views[0]) for view in views)
    assert np.array_equal(frame["Data.ShouPanJia"], np.concatenate(views))
    assert len(arrow_reader.stream_rows(capsule)[0]) == 6000


AT_EXIT = """
import ctypes, sys
import arrow_reader, tesparser
reader = tesparser.read(open(sys.argv[1], "rb"), id=21, errors=print)
capsule = reader.__arrow_c_stream__()
inside = arrow_reader.Stream.from_address(arrow_reader.CAPSULE_POINTER(capsule, b"arrow_array_stream"))
libc = ctypes.CDLL(None)
stream = libc.malloc
stream.restype = ctypes.c_void_p
stream = stream(ctypes.sizeof(inside))
# Moved out, it is released when the interpreter has ended.
ctypes.memmove(stream, ctypes.byref(inside), ctypes.sizeof(inside))
release = ctypes.cast(inside.release, ctypes.c_void_p)
inside.release = type(inside.release)()
assert libc.__cxa_atexit(release, ctypes.c_void_p(stream), None) == 0
print("all well")
"""


def test_a_stream_may_be_released_behind_the_end(samples):
    """As a library does that has it in a variable of its own."""
    done = subprocess.run([sys.executable, "-c", AT_EXIT, samples / "21-QuoteKlineSingle.bin"], capture_output=True, text=True)
    assert (done.returncode, done.stdout, done.stderr) == (0, "all well\n", "")


def test_a_reader_left_in_the_middle(sample):
    stream = wire.delimited([sample("21-QuoteKlineSingle")] * 5)
    batches = iter(tesparser.read(stream, id=21, batch_rows=1))
    first = next(batches)
    batches.close()
    churn()
    assert len(first) == 300


def test_bytes_that_are_held_cannot_move(sample):
    """A bytearray cannot be resized while a reader has it, and can afterwards."""
    data = bytearray(wire.delimited([sample("28-PaiXu")] * 2))
    reader = tesparser.read(data, id=28)
    with pytest.raises(BufferError):
        data.append(0)
    reader.to_pandas()
    del reader
    gc.collect()
    data.append(0)


def test_references_are_counted(sample):
    data = sample("20-QuoteDynaSingle")
    marker = object()
    for call in (
        lambda: tesparser.table(data).to_pandas(),
        lambda: tesparser.table(data)["Obj"],
        lambda: tesparser.table(data)[0, "Data"].to_numpy("ZuiXinJia"),
        lambda: tesparser.table(data).__arrow_c_array__(),
        lambda: tesparser.read(data, id=20).to_dict(),
        lambda: list(tesparser.replies(data)),
        lambda: tesparser.scan(data),
    ):
        call()
        before = sys.getrefcount(data), sys.getrefcount(None), sys.getrefcount(marker)
        for _ in range(50):
            call()
        gc.collect()
        after = sys.getrefcount(data), sys.getrefcount(None), sys.getrefcount(marker)
        assert after[0] == before[0] and abs(after[1] - before[1]) < 40


class Allocated(ctypes.Structure):
    """What mallinfo2() tells."""

    _fields_ = [(name, ctypes.c_size_t) for name in ("arena", "ordblks", "smblks", "hblks", "hblkhd", "usmblks", "fsmblks", "uordblks", "fordblks", "keepcost")]


def allocated():
    """Bytes that malloc() has given and not got back."""
    gc.collect()
    mallinfo2 = ctypes.CDLL(None).mallinfo2
    mallinfo2.restype = Allocated
    told = mallinfo2()
    return told.uordblks + told.hblkhd


def leaves_nothing(use):
    """Whether 50 times the same takes no more memory than once. Python keeps this and that for later, but not for ever more."""

    def more():
        before = allocated()
        for _ in range(50):
            use()
        return allocated() - before

    return any(more() < 50 * 64 for _ in range(12))


@pytest.mark.parametrize(
    "use",
    [
        lambda table, reader: arrow_reader.array_rows(table.__arrow_c_array__()),
        lambda table, reader: table.__arrow_c_array__(),
        lambda table, reader: table.to_pandas(),
        lambda table, reader: reader.fields,
        lambda table, reader: arrow_reader.stream_rows(reader.__arrow_c_stream__()),
        lambda table, reader: reader.to_dict(),
        lambda table, reader: [table.to_numpy(column) for column in table.columns],
        lambda table, reader: [batch.to_numpy(column) for batch in reader for column in batch.columns],
        lambda table, reader: [(row.index, dict(row), repr(row)) for row in table],
        lambda table, reader: (table["Obj"], table[0, 1]["ZuiXinJia"], table[::2], repr(table), table.types, table.name),
        lambda table, reader: reader.__arrow_c_stream__(),
        lambda table, reader: [batch.__arrow_c_array__() for batch in reader],
        lambda table, reader: next(iter(reader)),
    ],
    ids=["released", "dropped", "frame", "fields", "stream", "dicts", "numpy", "batches", "rows", "cells", "unused", "arrays", "left"],
)
def test_nothing_is_left_behind(sample, use):
    reply = sample("20-QuoteDynaSingle")
    assert leaves_nothing(lambda: use(tesparser.table(reply), tesparser.read(reply, id=20, path="Data")))


def raised(call):
    with pytest.raises(Exception) as error:
        call()
    return error.type


@pytest.mark.parametrize(
    "use",
    [
        tesparser.json,
        tesparser.why,
        tesparser.scan,
        lambda reply: list(tesparser.replies([reply, reply])),
        lambda reply: raised(lambda: tesparser.table(reply[:-1] + b"\xff")),
        lambda reply: raised(lambda: tesparser.json(reply[:-1] + b"\xff")),
        lambda reply: raised(lambda: tesparser.table(memoryview(reply)[::2])),
        lambda reply: raised(lambda: tesparser.read([reply, memoryview(reply)[::2]])),
        lambda reply: raised(lambda: tesparser.read(reply, id=20, path="Nothing").fields),
        lambda reply: raised(lambda: tesparser.read(wire.delimited([reply, reply[:-1] + b"\xff"]), id=20).to_dict()),
        lambda reply: tesparser.read(wire.delimited([reply, reply[:-1] + b"\xff"]), id=20, errors=lambda misfit: None).to_dict(),
        lambda reply: raised(lambda: tesparser.table(reply)[0, "Nothing"]),
        lambda reply: tesparser.unpack(list(range(100))),
        lambda reply: tesparser.times(list(range(100))),
        lambda reply: (tesparser.ids(), tesparser.columns(20)),
    ],
)
def test_calls_leave_nothing_behind(sample, use):
    reply = sample("20-QuoteDynaSingle")
    assert leaves_nothing(lambda: use(reply))


@pytest.mark.heavy
def test_memory_stays_flat(samples):
    """Tables, JSON, arrays, frames and failures, of all samples by turns.

    Over 200 000 replies; TESPARSER_MANY=1000000 in the environment makes it that many.
    """
    replies = [path.read_bytes() for path in sorted(samples.glob("*.bin"))]

    def one(reply, i):
        try:
            table = tesparser.table(reply)
            if table is not None and i % 5 == 0:
                table.__arrow_c_array__()
                table[0] if len(table) else None
                table.to_numpy(0)
            if i % 7 == 0:
                tesparser.json(reply)
            if i % 40 == 0 and table is not None:
                table.to_pandas()
        except tesparser.Error:
            pass

    def run(count):
        for i in range(count):
            one(replies[i % len(replies)], i)

    run(20_000)
    before = used_memory()
    run(int(os.environ.get("TESPARSER_MANY", "200000")))
    assert used_memory() - before < 3_000_000


@pytest.mark.heavy
def test_a_long_stream_takes_the_memory_of_a_batch(sample, tmp_path):
    """A million replies from a file, 80 MB of them: what is held is a batch."""
    message = sample("115-PaiMing")
    path = tmp_path / "million"
    block = wire.delimited([message] * 1000)
    with open(path, "wb") as file:
        for _ in range(1000):
            file.write(block)
    reader = tesparser.read(path, id=115)
    rows, highest = 0, 0
    before = used_memory()
    for i, batch in enumerate(reader):
        rows += len(batch)
        if i % 20 == 0:
            highest = max(highest, used_memory())
    per_reply = len(tesparser.table(message))
    assert reader.counts.replies == 1_000_000 and rows == per_reply * 1_000_000
    assert highest - before < 30_000_000


def test_threads(samples):
    """Sixteen threads make all calls at once, and get what one gets; tables and readers are shared by some."""
    replies = [path.read_bytes() for path in sorted(samples.glob("*.bin"))]
    shared = tesparser.table((samples / "21-QuoteKlineSingle.bin").read_bytes())

    def result(reply):
        try:
            table = tesparser.table(reply)
            if table is None:
                return tesparser.json(reply)
            return repr(table), str(table.to_dict()), len(table.to_pandas())
        except tesparser.Error as error:
            return repr(error)

    expected = [result(reply) for reply in replies]
    bars = shared[0, "Data"]["ShouPanJia"]
    shared = tesparser.table((samples / "21-QuoteKlineSingle.bin").read_bytes())
    start, wrong = threading.Barrier(16), []

    def run(seed):
        order = list(range(len(replies))) * 2
        random.Random(seed).shuffle(order)
        start.wait()
        # The same table becomes arrays on all threads at once.
        if shared[0, "Data"].to_numpy("ShouPanJia").tolist() != bars:
            wrong.append("shared")
        wrong.extend(i for i in order if result(replies[i]) != expected[i])

    threads = [threading.Thread(target=run, args=(seed,)) for seed in range(16)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert wrong == []


def test_the_interpreter_goes_on_while_replies_are_decoded(sample):
    """Another thread runs Python meanwhile: the lock is let go."""
    message = sample("21-QuoteKlineSingle")
    reader = tesparser.read(wire.delimited([message] * 1000), id=21, batch_rows=2**40)
    ticks, done = [], threading.Event()

    def tick():
        while not done.wait(0.001):
            ticks.append(1)

    thread = threading.Thread(target=tick)
    thread.start()
    rows = sum(len(batch) for batch in reader)
    done.set()
    thread.join()
    # One batch is one call, a few tens of milliseconds long.
    assert rows == 300_000 and len(ticks) >= 5
