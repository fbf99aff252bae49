"""Readers: every form of input, batches, what does not fit, and Arrow's stream."""

import base64
import io
import os
import pathlib
import resource
import signal
import subprocess
import sys
import threading

import numpy as np
import pandas as pd
import pytest

import arrow_reader
import tesparser
import wire
from tesparser import _core


@pytest.fixture
def rankings(schema):
    """Five replies of Id 28; reply n has n rows, with values 100 n + row."""
    replies = []
    for n in range(1, 6):
        message = schema.reply(28)
        for row in range(n):
            message.RepDataPaiXu.add(Obj=f"SH{n}", Value=wire.packed(100 * n + row, 10))
        replies.append(message.SerializeToString())
    return replies


EXPECTED = [100.0 * n + row for n in range(1, 6) for row in range(n)]


def values(reader):
    return reader.to_pandas()["Value"].tolist()


def test_every_form_of_input(rankings, tmp_path):
    stream = wire.delimited(rankings)
    (tmp_path / "s.delimited").write_bytes(stream)
    (tmp_path / "s.hex").write_text("".join(each.hex() + "\n" for each in rankings))
    (tmp_path / "s.base64").write_bytes(b"".join(base64.b64encode(each) + b"\n" for each in rankings))
    (tmp_path / "s.log").write_text("".join(f"12:00:0{i} got reply={each.hex()} of {len(each)}\n" for i, each in enumerate(rankings)))
    for file in tmp_path.iterdir():
        assert values(tesparser.read(file, id=28)) == EXPECTED, file
        assert values(tesparser.read(str(file), id="PaiXu")) == EXPECTED
    folder = tmp_path / "folder"
    folder.mkdir()
    for i, each in enumerate(rankings):
        (folder / f"{i}.bin").write_bytes(each)
    assert values(tesparser.read(folder, id=28)) == EXPECTED
    assert values(tesparser.read(sorted(folder.iterdir()), id=28)) == EXPECTED
    for memory in (stream, bytearray(stream), memoryview(stream), np.frombuffer(stream, np.uint8)):
        assert values(tesparser.read(memory, id=28)) == EXPECTED
    assert values(tesparser.read(io.BytesIO(stream), id=28)) == EXPECTED
    with open(tmp_path / "s.delimited", "rb") as file:
        assert values(tesparser.read(file)) == EXPECTED
    assert values(tesparser.read([rankings[0], io.BytesIO(wire.delimited(rankings[1:]))], id=28)) == EXPECTED
    assert values(tesparser.read(stream, form="delimited")) == EXPECTED


def test_what_is_no_source_of_replies():
    """What the viewer has an option for is a parameter here, wherever it is named."""
    for call in (lambda source: list(tesparser.replies(source)), tesparser.scan, lambda source: tesparser.read(source, id=28).to_pandas()):
        with pytest.raises(OSError) as raised:
            call(b"\xff" * 100_000)
        said = str(raised.value)
        assert said == "(bytes): neither a reply nor a stream of replies; if it is one, form= says which"
    (error,) = tesparser.scan(b"no reply").errors
    assert error.startswith("(bytes): not recognised as a reply in any form ") and error.endswith("; form= says which it is")


def test_what_is_wrong_is_said_with_its_place(rankings, tmp_path):
    """Each reply of a source by its number and offset there, and of several sources by the name."""
    (tmp_path / "a").write_bytes(wire.delimited(rankings))
    (tmp_path / "b").write_bytes(wire.delimited(rankings[:2]) + b"\x7f")
    offset = len(wire.delimited(rankings[:2]))
    said = f"reply 3 at offset {offset}: its length is given as 127, but the stream ends after 0 bytes"
    (error,) = tesparser.scan(tmp_path, form="delimited").errors
    assert error == f"{tmp_path / 'b'}: {said}"
    told = []
    for call in (
        lambda errors: list(tesparser.replies(tmp_path, form="delimited", errors=errors)),
        lambda errors: tesparser.read(tmp_path, id=28, form="delimited", errors=errors).to_pandas(),
    ):
        with pytest.raises(tesparser.Misfit) as raised:
            call("raise")
        call(told.append)
        told.append(raised.value)
    for each in told:
        assert (str(each), each.number, each.offset, each.source) == (said, 3, offset, str(tmp_path / "b"))


def test_lines_that_look_like_replies_are_counted(rankings):
    """In all sources together; in the first two lines of each a reply lacks its last digit."""
    log = "".join(f"12:00 got {each}\n" for each in (rankings[0].hex()[:-1], rankings[1].hex()[:-1], rankings[2].hex())).encode()
    reader = tesparser.read([log, log, wire.delimited(rankings)], id=28)
    assert values(reader) == EXPECTED[3:6] * 2 + EXPECTED and reader.counts == tesparser.Counts(7, 21, 0, 0, 0, 4)


def test_how_far_the_reading_is(rankings):
    """In bytes of all sources; two rows of the first make a batch."""
    streams = [(b"a", wire.delimited(rankings[:2])), (b"b", wire.delimited(rankings[2:]))]
    asked = {**tesparser.read(b"", id=28)._asked, "batch_rows": 1}
    stream = _core.Stream(streams, "delimited", asked)
    positions = [stream.position]
    while stream.next() is not None:
        positions.append(stream.position)
    assert positions == [len(wire.delimited(rankings[:n])) for n in range(6)]
    assert stream.position == len(wire.delimited(rankings))


def test_files_and_their_bytes(tmp_path):
    for name, size in (("b", 5), ("a", 10), ("c", 0)):
        (tmp_path / name).write_bytes(bytes(size))
    names = [os.fsencode(tmp_path / name) for name in "abc"]
    assert _core.files(os.fsencode(tmp_path)) == (names, 15) and _core.files(names[0]) == ([names[0]], 10)
    # What is written to a pipe later is not known before.
    os.mkfifo(tmp_path / "d")
    assert _core.files(os.fsencode(tmp_path / "d")) == ([os.fsencode(tmp_path / "d")], 0)


def open_files():
    return [os.readlink(entry.path) for entry in os.scandir("/proc/self/fd") if os.path.islink(entry.path)]


def test_files_are_closed_when_they_have_been_read(rankings, tmp_path):
    for i in range(3):
        (tmp_path / f"{i}").write_bytes(wire.delimited(rankings))
    reader = tesparser.read(tmp_path, id=28, batch_rows=1)
    batches = iter(reader)
    next(batches)
    assert [path for path in open_files() if path.startswith(str(tmp_path))] == [str(tmp_path / "0")]
    assert sum(len(batch) for batch in batches) == 3 * 15 - 1
    assert not [path for path in open_files() if path.startswith(str(tmp_path))]


def test_a_stream_that_was_found_whole_is_not_searched(rankings):
    """Behind damage the reading goes on, but not where there was none before."""
    data = wire.delimited(rankings[:1]) + b"\xff" * 50 + wire.delimited(rankings[1:])

    def numbers(form):
        found = []
        iterator = _core.ReplyIterator([(b"day.bin", data)], form)
        while True:
            try:
                found.append(iterator.next()[1])
            except tesparser.Misfit as misfit:
                found.append(-misfit.number)
            except StopIteration:
                return found

    assert numbers("delimited") == [1, -2, 3, 4, 5, 6] and numbers("whole:delimited") == [1, -2]
    with pytest.raises(ValueError, match='^no form "whole"; known: auto'):
        numbers("whole")


def test_objects_that_read_may_give_any_buffer(rankings):
    """Of two bytes each here, and for a while of none."""
    stream = wire.delimited([*rankings, bytes([8, 28])])
    stream += b"\x02\x08\x1c" * (len(stream) % 2)

    class Source:
        def __init__(self):
            self.file = io.BytesIO(stream)
            self.sizes = []

        def read(self, size):
            self.sizes.append(size)
            return np.frombuffer(self.file.read(min(size, 10)), np.uint16)

    source = Source()
    assert values(tesparser.read(source, id=28)) == EXPECTED
    assert source.file.read() == b"" and min(source.sizes) > 0


def test_a_path_of_any_bytes(rankings, tmp_path):
    path = os.fsencode(tmp_path) + b"/\xff\xfe.bin"
    with open(path, "wb") as file:
        file.write(wire.delimited(rankings))
    assert values(tesparser.read(os.fsdecode(path))) == EXPECTED
    with open(path, "ab") as file:
        file.write(b"\x05\x01")
    with pytest.raises(tesparser.Misfit) as misfit:
        tesparser.read(pathlib.Path(os.fsdecode(path))).to_pandas()
    assert misfit.value.number == 6


def test_what_cannot_be_read(tmp_path):
    with pytest.raises(FileNotFoundError):
        tesparser.read(tmp_path / "nothing")
    with pytest.raises(FileNotFoundError):
        tesparser.read(tmp_path)
    with pytest.raises(TypeError):
        tesparser.read(5)
    with pytest.raises(TypeError, match="binary"):
        tesparser.read(io.StringIO("text"), id=28).to_pandas()
    with pytest.raises(ValueError) as raised:
        tesparser.read(b"", form="telegram")
    assert str(raised.value) == 'no form "telegram"; known: auto, raw, delimited, fixed32be, fixed32le, hex, base64, lines, text'

    class Broken(io.RawIOBase):
        def read(self, size=-1):
            raise ZeroDivisionError("mine")

    with pytest.raises(ZeroDivisionError, match="mine"):
        tesparser.read(Broken(), id=28).to_pandas()
    with pytest.raises(ZeroDivisionError, match="mine"):
        list(tesparser.replies(Broken()))
    with pytest.raises(ZeroDivisionError, match="mine"):
        tesparser.scan(Broken())

    class TooMuch(io.RawIOBase):
        def read(self, size=-1):
            return bytes(size + 1)

    with pytest.raises(ValueError) as raised:
        list(tesparser.replies(TooMuch()))
    assert raised.value.args == ("read() gave more bytes than were asked for",)


def test_a_file_that_goes_away(rankings, tmp_path):
    path = tmp_path / "s"
    path.write_bytes(wire.delimited(rankings))
    reader = tesparser.read(path, id=28)
    path.unlink()
    with pytest.raises(OSError) as raised:
        list(reader)
    assert str(raised.value) == f"{path}: cannot open it: No such file or directory"


def test_a_directory_that_cannot_be_listed(tmp_path):
    """There is no file descriptor left for it."""
    before = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (0, before[1]))
    try:
        with pytest.raises(OSError) as raised:
            tesparser.read(tmp_path)
    finally:
        resource.setrlimit(resource.RLIMIT_NOFILE, before)
    assert str(raised.value) == f"{tmp_path}: cannot list it: Too many open files"


@pytest.mark.parametrize("kind", ["path", "file"])
def test_signals_end_the_reading(sample, tmp_path, kind):
    """A handler of Python's runs before the next read, and what it raises comes through."""
    stream = wire.delimited([sample("21-QuoteKlineSingle")] * 3000)

    (tmp_path / "s").write_bytes(stream)
    source = tmp_path / "s" if kind == "path" else io.BytesIO(stream)

    class Rung(Exception):
        pass

    def ring(number, frame):
        raise Rung

    reader = tesparser.read(source, id=21, batch_rows=2**40)
    before = signal.signal(signal.SIGALRM, ring)
    signal.setitimer(signal.ITIMER_REAL, 0.1)
    try:
        with pytest.raises(Rung):
            list(reader)
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, before)
    assert kind == "path" or 0 < source.tell() < len(stream)


@pytest.mark.parametrize("opened", [True, False])
def test_signals_end_the_waiting_for_a_pipe(tmp_path, opened):
    """Whether nobody writes to it or nobody has opened it, a handler of Python's runs."""
    path = tmp_path / "pipe"
    os.mkfifo(path)
    given_up = threading.Event()

    def give_up():
        """So that the test fails in the end, instead of waiting for ever."""
        given_up.set()
        os.close(os.open(path, os.O_RDWR | os.O_NONBLOCK))

    class Rung(Exception):
        pass

    def ring(number, frame):
        raise Rung

    reader = tesparser.read(path, id=28, form="delimited")
    writer = os.open(path, os.O_RDWR) if opened else None
    timer = threading.Timer(20, (lambda: (given_up.set(), os.close(writer))) if opened else give_up)
    timer.start()
    before = signal.signal(signal.SIGALRM, ring)
    # Again and again, as the first one may come before the waiting.
    signal.setitimer(signal.ITIMER_REAL, 0.2, 0.2)
    try:
        with pytest.raises(Rung):
            list(reader)
        assert not given_up.is_set()
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, before)
        timer.cancel()
        timer.join()
        if opened and not given_up.is_set():
            os.close(writer)


def test_bytes_that_cannot_be_held_hold_no_others():
    data = bytearray(b"abc")
    with pytest.raises(BufferError):
        tesparser.read([data, memoryview(b"abcd")[::2]])
    data.append(0)


def test_batches(rankings):
    stream = wire.delimited(rankings)
    reader = tesparser.read(stream, id=28, batch_rows=4)
    batches = list(reader)
    # A reply is never divided: 1 + 2 + 3 rows are more than 4 only with the third.
    assert [len(batch) for batch in batches] == [6, 4, 5]
    assert batches[0].columns == ("Obj", "Value", "Text", "HasBits") and batches[0].types == ("s", "d", "s", "q")
    assert batches[0]["Value"].tolist() == EXPECTED[:6] and batches[0]["Text"].mask.all()
    assert batches[0].to_dict()["Text"] == [None] * 6
    lines = repr(batches[0]).splitlines()
    assert lines[0] == "Batch: 6 rows, 4 columns" and len(lines) == 8
    assert lines[1].split() == ["Obj", "Value", "Text", "HasBits"] and lines[2].split() == ["SH1", "100", "-", "2"]
    assert "<table>" in batches[0]._repr_html_()
    with pytest.raises(KeyError):
        batches[0]["x"]
    assert pd.concat([batch.to_pandas() for batch in batches])["Value"].tolist() == EXPECTED
    assert values(reader) == EXPECTED and values(reader) == EXPECTED
    assert reader.counts == tesparser.Counts(5, 15, 0, 0, 0, 0)
    assert [row["Value"] for batch in reader for row in arrow_reader.array_rows(batch.__arrow_c_array__())] == EXPECTED


def test_of_several_ids(rankings, sample):
    stream = wire.delimited([sample("20-QuoteDynaSingle"), *rankings, bytes([8, 28])])
    reader = tesparser.read(stream, id=28)
    assert values(reader) == EXPECTED
    assert reader.counts == tesparser.Counts(7, 15, 1, 1, 0, 0)
    with pytest.raises(tesparser.Misfit) as misfit:
        tesparser.read(stream).to_pandas()
    assert (misfit.value.number, misfit.value.offset) == (2, len(wire.delimited([sample("20-QuoteDynaSingle")])))


def test_misfits(rankings):
    broken = rankings[1][:-3]
    stream = wire.delimited([rankings[0], broken, *rankings[2:]])
    left = [100.0] + EXPECTED[3:]
    reader = tesparser.read(stream, id=28)
    with pytest.raises(tesparser.Misfit) as misfit:
        list(reader)
    assert misfit.value.number == 2 and misfit.value.offset == 1 + len(rankings[0]) and "reply" in str(misfit.value)
    reader = tesparser.read(stream, id=28, errors="skip")
    assert values(reader) == left and reader.counts.misfits == 1
    told = []
    assert values(tesparser.read(stream, id=28, errors=told.append)) == left
    assert [(type(each), each.number, each.offset, each.source) for each in told] == [(tesparser.Misfit, 2, 1 + len(rankings[0]), "(bytes)")]

    def fail(misfit):
        raise ZeroDivisionError

    with pytest.raises(ZeroDivisionError):
        tesparser.read(stream, id=28, errors=fail).to_pandas()
    with pytest.raises(ValueError):
        tesparser.read(stream, errors="ignore")


def test_requests_that_cannot_be(rankings):
    stream = wire.delimited(rankings)
    with pytest.raises(KeyError):
        tesparser.read(stream, id="NoSuchReply")
    with pytest.raises(KeyError):
        tesparser.read(stream, id=28, columns=["NoSuchColumn"])
    for use in (tesparser.Reader.to_pandas, lambda reader: reader.columns):
        with pytest.raises(KeyError, match="no column of tables NoSuchColumn"):
            use(tesparser.read(stream, id=28, path="NoSuchColumn"))
    with pytest.raises(KeyError, match="no layout NoSuchLayout"):
        tesparser.read(stream, id=28, type="NoSuchLayout")
    with pytest.raises(tesparser.NoTableForm):
        tesparser.read(stream, id=22)
    with pytest.raises(ValueError):
        tesparser.read(stream, id=21, path="Data", number=True)


def test_origin_columns_and_choice(rankings):
    stream = wire.delimited(rankings)
    frame = tesparser.read(stream, id=28, columns=["Value", "Obj"], number=True, offset=True).to_pandas()
    assert list(frame.columns) == ["_reply", "_offset", "Value", "Obj"]
    assert frame["_reply"].tolist() == [n for n in range(1, 6) for _ in range(n)]
    starts = [len(wire.delimited(rankings[:n])) for n in range(5)]
    assert frame["_offset"].drop_duplicates().tolist() == starts


def test_nested_and_inside(samples, sample):
    table = tesparser.table(sample("21-QuoteKlineSingle"))
    close = [bar["ShouPanJia"] for row in table for bar in row["Data"]]
    path = samples / "21-QuoteKlineSingle.bin"
    inside = tesparser.read(path, id=21, path="Data")
    assert inside.columns == table[0, "Data"].columns and inside.to_pandas()["ShouPanJia"].tolist() == close
    assert inside.fields[4].heading == "Close" == tesparser.read(path, id=21, path="Data", flat=False).fields[4].heading
    assert [row["ShouPanJia"] for row in arrow_reader.stream_rows(inside.__arrow_c_stream__())[0]] == close
    nested = tesparser.read(path, id=21, flat=False).to_pandas()
    assert list(nested.columns) == ["Obj", "Data"] and [bar["ShouPanJia"] for cell in nested["Data"] for bar in cell] == close
    flat = tesparser.read(path, id=21, columns=["ShouPanJia"]).to_pandas()
    assert list(flat.columns) == ["Data.ShouPanJia"] and flat["Data.ShouPanJia"].tolist() == close


def test_tables_inside_what_a_path_leads_to(samples):
    """Ex-rights events of four stocks, of which the last has none: 3, 3, 2 and 0."""
    path = samples / "406-ChuQuanShuJuFanHui.bin"
    reader = tesparser.read(path, id=406, path="Data")
    (batch,) = reader
    assert batch.columns == reader.columns and reader.columns[:3] == ("DaiMa", "LeiXing", "Data.ShiJian")
    assert batch["DaiMa"].tolist() == ["SH600000"] * 3 + ["SH600036"] * 3 + ["SH600519"] * 2 + ["SH688981"]
    reader = tesparser.read(path, id=406, path="Data", flat=False)
    (batch,) = reader
    assert batch.columns == reader.columns == ("DaiMa", "LeiXing", "Data")
    assert [len(cell or []) for cell in batch["Data"]] == [3, 3, 2, 0]


@pytest.mark.parametrize("columns, fits", [(8191, True), (8192, False)])
def test_what_a_path_leads_to_is_bounded(schema, columns, fits):
    """8,192 rows inside, beside which the cells of these columns are repeated: with their own one, 2^26 cells are allowed."""
    message, outer = schema.wire_reply()
    table = wire.table_column(outer, "T")
    inside = wire.table_column(table, "U")
    inside.Info.add(Name="V", Type=105)
    inside.Data.add(Index=0).iValues.extend([100] * 8192)
    for i in range(columns):
        table.Info.add(Name=f"C{i}", Type=102)
        table.Data.add(Index=i + 1).fValues.append(1)
    reader = tesparser.read(message.SerializeToString(), id=3, path="T")
    if fits:
        assert [(len(batch), len(batch.columns)) for batch in reader] == [(8192, 8192)]
        return
    with pytest.raises(tesparser.NotExpressible) as raised:
        list(reader)
    assert str(raised.value) == "flat, the table has too many cells; take it with flat=False"


WITH_LITTLE_MEMORY = """
import pathlib, resource, sys
import tesparser
stream = pathlib.Path(sys.argv[1]).read_bytes()
reader = tesparser.read(stream, id=21, batch_rows=2**40)
status = pathlib.Path("/proc/self/status").read_text().splitlines()
used = next(int(line.split()[1]) for line in status if line.startswith("VmData")) * 1024
resource.setrlimit(resource.RLIMIT_DATA, (used + (16 << 20), resource.getrlimit(resource.RLIMIT_DATA)[1]))
try:
    list(reader)
except Exception as error:
    print(type(error).__name__, len(tesparser.read(stream[: len(stream) // 2000], id=21).to_dict()["Obj"]))
"""


def test_too_little_memory(sample, tmp_path):
    """A batch of 600,000 rows takes over 60 MB; 16 MB are left. A small one fits afterwards."""
    with open("/proc/self/maps") as maps:
        if "libasan" in maps.read():
            pytest.skip("AddressSanitizer ends the process where memory has run out")
    (tmp_path / "s").write_bytes(wire.delimited([sample("21-QuoteKlineSingle")] * 2000))
    done = subprocess.run([sys.executable, "-c", WITH_LITTLE_MEMORY, tmp_path / "s"], capture_output=True, text=True, check=True)
    assert done.stdout == "MemoryError 300\n"


def test_a_source_without_rows():
    reader = tesparser.read(b"", id=21, form="delimited")
    frame = reader.to_pandas()
    assert len(frame) == 0 and list(frame.columns)[:2] == ["Obj", "Data.ShiJian"]
    assert frame["Data.ShiJian"].dtype == np.float64 and frame["Obj"].dtype == object
    assert reader.to_dict()["Obj"] == [] and reader.fields[1].kind.startswith("yyyymmdd")


def test_capsules_of_streams(rankings):
    stream = wire.delimited(rankings)
    reader = tesparser.read(stream, id=28, batch_rows=4)
    rows, batches = arrow_reader.stream_rows(reader.__arrow_c_stream__())
    assert [row["Value"] for row in rows] == EXPECTED and batches == 3
    assert len(arrow_reader.stream_rows(reader.__arrow_c_stream__())[0]) == 15
    once = tesparser.read(io.BytesIO(stream), id=28)
    assert len(arrow_reader.stream_rows(once.__arrow_c_stream__())[0]) == 15
    # Capsules that nobody takes anything out of.
    del reader, once
    tesparser.read(stream, id=28).__arrow_c_stream__()


def test_the_core_says_what_is_not_there(sample):
    asked = tesparser.read(b"", id=21)._asked
    stream = _core.Stream([(b"(bytes)", sample("21-QuoteKlineSingle"))], "raw", asked)
    columns = stream.next()
    for row, col, said in (
        (columns.length, 0, "row"), (-1, 0, "row"), (columns.length, columns.count, "row"), (0, columns.count, "column"), (0, -1, "column"),
    ):
        with pytest.raises(IndexError) as raised:
            columns.cell(row, col)
        assert raised.value.args == (f"no {said} of that number",)
    for use in (columns.name, columns.format, columns.mask, columns.to_list, lambda col: columns.values(col, False)):
        for col in (columns.count, -1):
            with pytest.raises(IndexError, match="^no column of that number$"):
                use(col)
    stream.capsule()
    for use in (stream.capsule, stream.next, stream.fields):
        with pytest.raises(ValueError, match="the stream was handed over"):
            use()


def test_raw_replies_and_where_they_are(rankings, tmp_path):
    stream = wire.delimited(rankings)
    found = list(tesparser.replies(stream))
    assert found == rankings and all(isinstance(each, bytes) for each in found)
    starts = [len(wire.delimited(rankings[:n])) for n in range(5)]
    assert [each.offset for each in found] == starts and [each.number for each in found] == [1, 2, 3, 4, 5]
    assert tesparser.table(found[4])["Value"] == EXPECTED[-5:]
    # Of several Ids the last one counts.
    assert tesparser.scan(rankings[0] + bytes([8, 21]), form="raw").id.tolist() == [21]
    scan = tesparser.scan(stream)
    assert scan.offset.tolist() == starts and scan.length.tolist() == [len(each) for each in rankings]
    assert scan.id.tolist() == [28] * 5 and scan.errors == () and scan.source.tolist() == [0] * 5
    (tmp_path / "a").write_bytes(stream)
    (tmp_path / "b").write_bytes(stream + b"\x7f")
    scan = tesparser.scan(tmp_path)
    assert scan.source.tolist() == [0] * 5 + [1] * 5 and len(scan.errors) == 1 and scan.sources[1].endswith("b")
    with pytest.raises(tesparser.Misfit):
        list(tesparser.replies(tmp_path / "b"))
    assert list(tesparser.replies(tmp_path / "b", errors="skip")) == rankings
    told = []
    assert list(tesparser.replies(tmp_path / "b", errors=told.append)) == rankings and told[0].source.endswith("b")


def test_progress_is_shown_by_tqdm(rankings, capsys):
    values(tesparser.read(wire.delimited(rankings), id=28, progress=True))
    assert "100%" in capsys.readouterr().err
    values(tesparser.read(wire.delimited(rankings), id=28))
    assert capsys.readouterr().err == ""


def test_frames_may_be_written_to(rankings, samples):
    for frame in (tesparser.read(wire.delimited(rankings), id=28).to_pandas(), tesparser.read(wire.delimited(rankings), id=28, batch_rows=2).to_pandas()):
        frame.loc[:, "Value"] += 1
        frame.loc[0, "HasBits"] = -7
        assert frame["Value"].tolist() == [each + 1 for each in EXPECTED] and frame["HasBits"][0] == -7
        assert frame["HasBits"][1] == 2
    # Columns do not share memory with each other, whatever they were made of.
    frame = tesparser.read(samples / "21-QuoteKlineSingle.bin", id=21).to_pandas()
    before = frame.copy(deep=True)
    for name in frame.columns[1:]:
        frame.loc[0, name] = 12345
        before.loc[0, name] = 12345
        pd.testing.assert_frame_equal(frame, before)


def test_nothing_is_said_on_standard_error(rankings, capfd):
    values(tesparser.read(wire.delimited(rankings + [bytes([8, 28, 0xE2, 1, 0])]), id=28, errors="skip"))
    with pytest.raises(tesparser.Error):
        tesparser.table(bytes([8, 28, 0xE2, 1, 0]))
    assert capfd.readouterr().err == ""
