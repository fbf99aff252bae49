"""Captures by Dask: whatever the partitions, what tesparser.read() gives; on threads, processes and machines."""

import gzip
import io
import os
import pathlib
import random
import signal
import subprocess
import sys
import time

import dask
import fsspec
import numpy as np
import pandas as pd
import pytest
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

import tesparser
import tesparser.dask
import wire
from conftest import BUILD

IDS = (3, 20, 21, 28, 437)


@pytest.fixture(scope="session")
def make_capture(tmp_path_factory):
    folder = tmp_path_factory.mktemp("captures")

    def make(size, *options) -> pathlib.Path:
        path = folder / "-".join([size, *(each.strip("-") for each in options)])
        if not path.exists():
            subprocess.run([BUILD / "bin" / "tesparser_make_capture", size, path, *options], check=True, capture_output=True)
        return path

    return make


@pytest.fixture(autouse=True)
def one_thread():
    with dask.config.set(scheduler="synchronous"):
        yield


def nullable(frame):
    """Whole numbers as pandas' nullable ones, those of _reply and _offset apart."""
    for name in frame.columns:
        if frame[name].dtype.kind in "iu" and isinstance(frame[name].dtype, np.dtype) and name not in ("_reply", "_offset"):
            frame[name] = frame[name].astype(str(frame[name].dtype).replace("int", "Int").replace("uI", "UI"))
    return frame


def here(source, **asked):
    return nullable(tesparser.read(source, form="delimited", **asked).to_pandas())


def same(lazy, expected):
    pd.testing.assert_frame_equal(lazy.compute().reset_index(drop=True), expected, check_exact=True)


@pytest.mark.parametrize("blocksize", [70, 1000, 8192, "64KiB", "1GB"])
def test_any_size_of_blocks(make_capture, blocksize):
    capture = make_capture({70: "20K", 1000: "100K"}.get(blocksize, "400K"))
    index = tesparser.dask.index(str(capture), blocksize=blocksize)
    found = tesparser.scan(capture)
    ids, counts = np.unique(found.id, return_counts=True)
    assert index.ids == dict(zip(ids.tolist(), counts.tolist())) and index.damage == []
    for id in set(IDS) & set(index.ids):
        same(tesparser.dask.read(index, id=id), here(capture, id=id))
    lazy = tesparser.dask.read(str(capture), id=20, number=True, offset=True, blocksize=blocksize)
    same(lazy, here(capture, id=20, number=True, offset=True))
    assert lazy.npartitions == sum(20 in block.ids for block in index.files[0].blocks)
    assert not lazy.known_divisions


@pytest.mark.parametrize(
    "asked",
    [
        {"id": 20, "flat": False},
        {"id": "QuoteKlineSingle", "columns": ["Obj", "ShouPanJia"]},
        {"id": 21, "columns": ["Obj"]},
        {"id": 21, "path": "Data"},
        {"id": 399},
        {"id": 405},
        {"id": 22, "decode": True, "unpack": True, "number": True},
        {"id": 3, "number": True, "offset": True},
        {"id": 3, "flat": False},
    ],
)
def test_what_read_can_do(make_capture, asked):
    capture = make_capture("6M")
    expected = here(capture, **asked)
    assert len(expected) > 0
    same(tesparser.dask.read(str(capture), **asked, blocksize="1MiB"), expected)


@pytest.mark.parametrize("id", [*IDS, 399, 405, 443])
def test_every_partition_is_what_meta_says(make_capture, id):
    capture = make_capture("400K")
    index = tesparser.dask.index(str(capture), blocksize=20000)
    lazy = tesparser.dask.read(index, id=id, number=True)
    assert lazy.npartitions == max(1, sum(id in block.ids for block in index.files[0].blocks))
    for i in range(lazy.npartitions):
        part = lazy.get_partition(i).compute()
        assert part.dtypes.equals(lazy._meta.dtypes) and part.columns.equals(lazy._meta.columns)
        assert part.index.equals(pd.RangeIndex(len(part)))
    if id == 443:
        assert len(lazy.compute()) == 0


def test_partitions_without_rows_have_the_types(rankings_of):
    lazy = read_bytes(wire.delimited([bytes([8, 28]), rankings_of(3), rankings_of(2)]), id=28, blocksize=3)
    assert lazy.npartitions == 3
    assert all(lazy.get_partition(i).compute().dtypes.equals(lazy._meta.dtypes) for i in range(3))
    assert [len(lazy.get_partition(i)) for i in range(3)] == [0, 3, 2]


@pytest.fixture
def rankings_of(schema):
    def make(rows, first=0):
        message = schema.reply(28)
        for row in range(rows):
            message.RepDataPaiXu.add(Obj=f"SH{first + row}", Value=wire.packed(first + row, 10))
        return message.SerializeToString()

    return make


@pytest.fixture
def replies_for_cuts(rankings_of):
    return wire.delimited([rankings_of(n % 7, n) for n in range(60)])


def in_memory(data):
    """A file in memory: whatever fsspec opens will do."""
    with fsspec.open("memory://capture.bin", "wb") as file:
        file.write(data)
    return "memory://capture.bin"


def read_bytes(data, **asked):
    return tesparser.dask.read(in_memory(data), **asked)


def index_bytes(data, blocksize):
    return tesparser.dask.index(in_memory(data), blocksize=blocksize)


def test_files_by_name(make_capture, tmp_path):
    for i in (2, 0, 1):
        (tmp_path / f"day-{i}.bin").write_bytes(make_capture("50K", "--seed", str(i)).read_bytes())
    (tmp_path / "nothing.bin").write_bytes(b"")
    expected = here([str(tmp_path / f"day-{i}.bin") for i in range(3)], id=20)
    same(tesparser.dask.read(str(tmp_path), id=20, blocksize=20000), expected)
    same(tesparser.dask.read(str(tmp_path / "day-*"), id=20, blocksize=20000), expected)
    same(tesparser.dask.read([tmp_path / f"day-{i}.bin" for i in range(3)], id=20), expected)
    # One file that has nothing gives a frame with its columns, still.
    lazy = tesparser.dask.read(str(tmp_path / "nothing.bin"), id=20)
    assert len(lazy) == 0 and list(lazy.columns) == list(expected.columns)


def test_packed_files_are_one_partition(make_capture, tmp_path):
    capture = make_capture("400K")
    (tmp_path / "day.bin.gz").write_bytes(gzip.compress(capture.read_bytes()))
    lazy = tesparser.dask.read(str(tmp_path / "day.bin.gz"), id=20, offset=True, blocksize=10000)
    assert lazy.npartitions == 1
    same(lazy, here(capture, id=20, offset=True))
    (tmp_path / "day").write_bytes(gzip.compress(capture.read_bytes()))
    same(tesparser.dask.read(str(tmp_path / "day"), id=20, offset=True, compression="gzip"), here(capture, id=20, offset=True))
    os.truncate(tmp_path / "day.bin.gz", 5000)
    with pytest.raises(OSError, match=r"day.bin.gz, from offset \d+ on: "):
        tesparser.dask.index(str(tmp_path / "day.bin.gz"))


def test_only_the_columns_that_are_used_are_decoded(make_capture, monkeypatch):
    capture = make_capture("400K")
    lazy = tesparser.dask.read(str(capture), id=21, blocksize=100000)
    expected = here(capture, id=21)
    asked = []
    reader = tesparser.dask._reader

    def spy(data, form, request, stops):
        asked.append(request["columns"])
        return reader(data, form, request, stops)

    monkeypatch.setattr(tesparser.dask, "_reader", spy)
    (total,) = dask.optimize(lazy["Data.ChengJiaoLiang"].sum())
    assert total.compute() == expected["Data.ChengJiaoLiang"].sum()
    assert asked and all(each == ["ChengJiaoLiang", "Obj"] for each in asked)
    # Each column alone has the rows that all have together.
    for name in expected.columns:
        pd.testing.assert_series_equal(lazy[name].compute().reset_index(drop=True), expected[name])


def test_columns_are_taken_of_lists_too(make_capture):
    capture = make_capture("400K")
    nested = tesparser.dask.read(str(capture), id=21, flat=False, blocksize=100000)
    expected = here(capture, id=21, flat=False)
    (names,) = dask.optimize(nested["Obj"])
    assert names.compute().tolist() == expected["Obj"].tolist()
    # All of them, which leaves the reading as it is.
    (whole,) = dask.optimize(nested[list(expected.columns)])
    assert whole.compute()["Data"].tolist() == expected["Data"].tolist()


def test_a_reply_that_has_replies_in_it(rankings_of):
    # What looks like replies in the middle of one begins none, although a block begins there.
    inside = wire.delimited([rankings_of(2, 100 * i) for i in range(50)])
    # A ranking of an instrument, and a field 2000 in it, which the schema has not.
    ranking = b"\x0a\x01A\x82\x7d" + wire.delimited([inside])
    swallowed = bytes([8, 28]) + b"\xe2\x01" + wire.delimited([ranking])
    data = wire.delimited([rankings_of(1, 1), swallowed, rankings_of(1, 2), rankings_of(1, 3)])
    expected = here(data, id=28)
    assert expected["Value"].isna().tolist() == [False, True, False, False]
    for blocksize in (16, 100, 1000, 10**6):
        same(read_bytes(data, id=28, blocksize=blocksize), expected)


def test_wire_tables_have_the_columns_of_the_first(schema, rankings_of):
    def table(name, value):
        message, inner = schema.wire_reply()
        inner.Info.add(Name=name, Type=105)
        inner.Data.add(Index=0).iValues.append(wire.packed(value, 10))
        return message.SerializeToString()

    replies = [rankings_of(1), table("A", 1), rankings_of(2), table("B", 2), table("A", 3)]
    data = wire.delimited(replies)
    offset = len(wire.delimited(replies[:3]))
    expected = here(data, id=3, errors="skip", number=True)
    assert expected["A"].tolist() == [1, 3] and expected["_reply"].tolist() == [2, 5]
    for blocksize in (8, 60, 1000):
        same(read_bytes(data, id=3, errors="skip", number=True, blocksize=blocksize), expected)
        with pytest.raises(tesparser.Misfit, match=f"memory:///capture.bin: reply 4 at offset {offset}: ") as misfit:
            read_bytes(data, id=3, blocksize=blocksize).compute()
        assert (misfit.value.number, misfit.value.offset) == (4, offset)


def test_misfits_say_where(rankings_of):
    replies = [rankings_of(n, 10 * n) for n in range(1, 30)]
    broken = replies[17][:-3]
    data = wire.delimited([*replies[:17], broken, *replies[18:]])
    offset = len(wire.delimited(replies[:17]))
    for blocksize in (50, 1000, 10**6):
        with pytest.raises(tesparser.Misfit, match=f"^memory:///capture.bin: reply 18 at offset {offset}: ") as misfit:
            read_bytes(data, id=28, blocksize=blocksize).compute()
        assert (misfit.value.number, misfit.value.offset, misfit.value.source) == (18, offset, "memory:///capture.bin")
        same(read_bytes(data, id=28, errors="skip", blocksize=blocksize), here(data, id=28, errors="skip"))


def damage_of(capture):
    lines = pathlib.Path(f"{capture}.damage").read_text().splitlines()[1:]
    return [(int(offset), int(offset) + int(length), kind) for offset, length, kind, _ in (line.split("\t") for line in lines)]


def test_nothing_whole_is_lost_to_damage(make_capture):
    capture = make_capture("2M", "--damage", "40")
    data = capture.read_bytes()
    whole = bytearray()
    at = 0
    for begin, end, _ in damage_of(capture):
        whole += data[at:begin]
        at = end
    assert at == len(data)  # the last one is the truncated end
    for blocksize in (20000, 300000, 10**7):
        index = tesparser.dask.index(str(capture), blocksize=blocksize)
        for id in (20, 28):
            same(tesparser.dask.read(index, id=id, errors="skip"), here(bytes(whole), id=id))
    index = tesparser.dask.index(str(capture), blocksize=30000)
    # What is passed over lies in what was damaged.
    for damage in index.damage:
        assert any(begin <= damage.begin and damage.end <= end for begin, end, _ in damage_of(capture)), damage
    assert len(index.damage) == 40
    first = index.damage[0]
    with pytest.raises(tesparser.Misfit, match=f"at offset {first.begin}: .* up to offset {first.end} are damaged") as misfit:
        tesparser.dask.read(index, id=20).compute()
    assert misfit.value.offset == first.begin and misfit.value.source == first.path == f"file://{capture}"
    before = tesparser.scan(data[: damage_of(capture)[0][0]])
    assert misfit.value.number == len(before.offset) + 1


@settings(suppress_health_check=[HealthCheck.function_scoped_fixture])
@given(harm=st.lists(st.tuples(st.integers(0, 2999), st.integers(0, 40), st.binary(max_size=12)), max_size=4), blocksize=st.integers(1, 400))
def test_cuts_change_nothing(replies_for_cuts, harm, blocksize):
    """Bytes are replaced by others here and there: what is found does not depend on where blocks begin."""
    data = bytearray(replies_for_cuts)
    for at, length, put in harm:
        data[at : at + length] = put

    def runs(blocksize):
        index = index_bytes(bytes(data), blocksize)
        found = index.files[0].blocks
        joined = []
        for begin, end, count in (run for block in found for run in block.runs if run[2] != 0):
            if joined and joined[-1][1] == begin:
                begin, count = joined[-1][0], joined[-1][2] + count
                joined.pop()
            joined.append((begin, end, count))
        assert [block.end for block in found[:-1]] == [block.begin for block in found[1:]]
        assert found[0].begin == 0 and found[-1].end == len(data)
        return joined, index.damage

    whole = runs(10**6)
    assert runs(blocksize) == whole
    if not harm:
        assert whole == ([(0, len(data), 60)], [])
    # As one reader finds them.
    alone = tesparser.scan(bytes(data), form="delimited")
    assert sum(count for _, _, count in whole[0]) == len(alone.offset)
    assert len(whole[1]) == len(alone.errors)


def test_damage_beside_damage(rankings_of):
    """Bytes that are nothing, and behind them a reply that lost its end: what comes next reads as the rest of it, as it
    breaks off behind the tag of a row (0xE2 0x01), and by its length it ends where the stream does."""
    whole = wire.delimited([rankings_of(20)])
    begun = rankings_of(1) + b"\xe2\x01"
    cut = wire.delimited([begun + whole])[: -len(whole)]
    data = whole + b"\xff" * 50 + cut + whole
    at = len(whole)
    assert [(each.begin, each.end) for each in index_bytes(data, 10**6).damage] == [(at, at + 50), (at + 50, at + 50 + len(cut))]
    assert len(tesparser.scan(data, form="delimited").errors) == 2


class Dribble(io.RawIOBase):
    """A file of which a read gives 100 bytes at most."""

    def __init__(self, data):
        self._data = io.BytesIO(data)

    def seek(self, at, whence=0):
        return self._data.seek(at, whence)

    def tell(self):
        return self._data.tell()

    def read(self, size=-1):
        return self._data.read(min(size, 100) if size >= 0 else size)


@settings(max_examples=30, deadline=None, suppress_health_check=list(HealthCheck))
@given(seed=st.integers(0, 2**32))
def test_short_reads_change_nothing(replies_for_cuts, seed):
    chance = random.Random(seed)
    data = bytearray(replies_for_cuts)
    for _ in range(20):
        data[chance.randrange(len(data))] = chance.randrange(256)
    data = bytes(data)
    found = index_bytes(data, 300)
    with pytest.MonkeyPatch.context() as patch:
        patch.setattr(tesparser.dask._Place, "open", lambda place: Dribble(data))
        assert index_bytes(data, 300).files == found.files


@pytest.mark.parametrize("form", ["delimited", "fixed32be", "fixed32le"])
def test_damage_is_where_one_reader_finds_it(make_capture, form):
    capture = make_capture("300K", "--prefix", form.replace("delimited", "varint"), "--damage", "30")
    alone = nullable(tesparser.read(capture, form=form, id=20, errors="skip", number=True, offset=True).to_pandas())
    for blocksize in (5000, 10**7):
        asked = {"id": 20, "form": form, "blocksize": blocksize, "number": True, "offset": True}
        same(tesparser.dask.read(str(capture), errors="skip", **asked), alone)
    with pytest.raises(ValueError, match="delimited, fixed32be, fixed32le"):
        tesparser.dask.index(str(capture), form="hex")


def test_an_index_may_be_kept(make_capture, tmp_path):
    capture = tmp_path / "day.bin"
    capture.write_bytes(make_capture("400K").read_bytes())
    index = tesparser.dask.index(str(capture), blocksize=50000)
    index.save(str(tmp_path / "day.idx"))
    kept = tesparser.dask.Index.load(str(tmp_path / "day.idx"))
    assert kept.files == index.files and repr(kept) == repr(index)
    same(tesparser.dask.read(kept, id=20), here(capture, id=20))
    lazy = tesparser.dask.read(kept, id=20)
    os.truncate(capture, 300000)
    with pytest.raises(OSError, match="ends at offset 300000"):
        lazy.compute()
    with pytest.raises(ValueError, match="another size"):
        tesparser.dask.read(kept, id=20)
    (tmp_path / "other.idx").write_text("[]")
    with pytest.raises(ValueError, match="no index"):
        tesparser.dask.Index.load(str(tmp_path / "other.idx"))


def test_a_file_that_is_gone_is_said(make_capture, tmp_path):
    capture = tmp_path / "day.bin"
    capture.write_bytes(make_capture("50K").read_bytes())
    lazy = tesparser.dask.read(str(capture), id=20)
    size = os.path.getsize(capture)
    os.unlink(capture)
    with pytest.raises(OSError, match=f"day.bin, offsets 0 to {size}: "):
        lazy.compute()


def test_the_first_wire_table_may_be_behind_damage(samples, tmp_path):
    quote = (samples / "20-QuoteDynaSingle.bin").read_bytes()
    table = (samples / "3-wire-table.bin").read_bytes()
    capture = tmp_path / "day.bin"
    capture.write_bytes(wire.delimited([quote, quote]) + b"\xff" * 1000 + wire.delimited([quote, table, table]))
    expected = nullable(tesparser.read(capture, form="delimited", id=3, errors="skip").to_pandas())
    assert len(expected) > 0
    same(tesparser.dask.read(str(capture), id=3, errors="skip"), expected)


def test_what_is_wrong_is_said_at_once(make_capture, tmp_path):
    capture = str(make_capture("50K"))
    for asked, error in [
        ({"id": None}, ValueError),
        ({"id": 20, "errors": print}, ValueError),
        ({"id": 20, "blocksize": 0}, ValueError),
        ({"id": 20, "columns": ["Nothing"]}, KeyError),
        ({"id": "Nothing"}, KeyError),
        ({"id": 22}, tesparser.NoTableForm),
    ]:
        with pytest.raises(error):
            tesparser.dask.read(capture, **asked)
    with pytest.raises(FileNotFoundError):
        tesparser.dask.read(str(tmp_path / "nothing"), id=20)
    with pytest.raises(FileNotFoundError):
        tesparser.dask.read(str(tmp_path), id=20)


def test_without_dask_an_import_says_so():
    program = "import sys; sys.modules['dask'] = None\nimport tesparser\ntry: import tesparser.dask\nexcept ImportError as error: print(error)"
    done = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, check=True)
    assert "python3-dask" in done.stdout


# ---- processes and machines ---------------------------------------------------------------------------------


@pytest.mark.heavy
def test_two_processes(make_capture):
    from distributed import Client, LocalCluster

    capture = make_capture("6M")
    with LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None, host="127.0.0.1") as cluster:
        with Client(cluster), dask.config.set(scheduler=None):
            for id in (3, 20):
                same(tesparser.dask.read(str(capture), id=id, blocksize="512KiB"), here(capture, id=id))
            index = tesparser.dask.index(str(make_capture("2M", "--damage", "40")), blocksize="512KiB")
            with pytest.raises(tesparser.Misfit, match="at offset") as misfit:
                tesparser.dask.read(index, id=20).compute()
            assert misfit.value.offset in [damage.begin for damage in index.damage]


@pytest.fixture
def machines(tmp_path):
    """A scheduler and two workers, each a program of its own, that meet over the loopback."""
    started = []

    def start(program, *options):
        log = open(tmp_path / f"log-{len(started)}", "wb")
        started.append(subprocess.Popen([f"/usr/bin/{program}", "--scheduler-file", tmp_path / "scheduler.json", *options], cwd=tmp_path, stdout=log, stderr=log))
        return started[-1]

    try:
        start("dask-scheduler", "--host", "127.0.0.1", "--port", "0", "--no-dashboard")
        workers = [start("dask-worker", "--nthreads", "1", "--no-nanny", "--no-dashboard", "--name", f"w{i}") for i in range(2)]
        yield tmp_path / "scheduler.json", workers
    finally:
        for each in started:
            each.kill()
            each.wait()


@pytest.mark.heavy
def test_a_worker_that_dies(make_capture, machines):
    from distributed import Client, wait

    capture = make_capture("6M")
    file, workers = machines
    with Client(scheduler_file=str(file), timeout=60) as client, dask.config.set(scheduler=None):
        client.wait_for_workers(2, timeout=60)
        lazy = tesparser.dask.read(str(capture), id=20, blocksize="256KiB")
        assert lazy.npartitions > 20

        def slowly(part):
            time.sleep(0.1)
            return part

        futures = client.compute(lazy.map_partitions(slowly, meta=lazy._meta).to_delayed())
        wait(futures[:6])
        holding = client.who_has(futures)
        lost = [key for key, where in holding.items() if where and len(where) == 1]
        assert lost and not all(future.done() for future in futures)
        addresses = {name["name"]: address for address, name in client.scheduler_info()["workers"].items()}
        assert any(addresses["w0"] in where for where in holding.values())
        workers[0].send_signal(signal.SIGKILL)
        got = pd.concat(client.gather(futures), ignore_index=True)
        assert len(client.scheduler_info()["workers"]) == 1
    pd.testing.assert_frame_equal(got, here(capture, id=20), check_exact=True)
