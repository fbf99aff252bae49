"""What consumers of Arrow get: structs that are written whole, what is told of columns, and why a stream ends."""

import ctypes
import errno
import struct

import pytest

import arrow_reader
import tesparser
import wire
from tesparser import _core


class Consumer:
    """One that keeps its structs where something else was before."""

    def __init__(self, reader):
        self.capsule = reader.__arrow_c_stream__()
        self.stream = arrow_reader.Stream.from_address(arrow_reader.CAPSULE_POINTER(self.capsule, b"arrow_array_stream"))
        self.schema, self.array = arrow_reader.Schema(), arrow_reader.Array()
        for each in (self.schema, self.array):
            ctypes.memset(ctypes.byref(each), 0xAA, ctypes.sizeof(each))

    def get_schema(self):
        return self.stream.get_schema(self.stream, self.schema)

    def get_next(self):
        return self.stream.get_next(self.stream, self.array)

    def why(self):
        return self.stream.get_last_error(self.stream).decode()

    def rows(self, name=b""):
        assert (self.get_schema(), self.get_next()) == (0, 0)
        check_struct(self.schema, self.array, name)
        return arrow_reader.rows(self.schema, self.array)


def check_struct(schema, array, name=b""):
    """A struct that is never null; its columns may be, and the rows inside them never are."""
    assert (schema.format, schema.name, schema.flags, array.null_count) == (b"+s", name, 0, 0)
    check_columns(schema, array)


def check_columns(schema, array):
    assert not schema.dictionary and not array.dictionary and schema.n_children == array.n_children
    assert bool(schema.release) and bool(array.release)
    buffers = {b"+s": 1, b"+l": 2, b"u": 3, b"z": 3, b"n": 0}
    assert array.n_buffers == buffers.get(schema.format, 1 if schema.format.startswith(b"+w:") else 2), schema.format
    for i in range(schema.n_children):
        child, cells = schema.children[i][0], array.children[i][0]
        if schema.format == b"+s":
            assert child.flags == 2 and cells.length == array.length and cells.null_count >= -1, child.name
        elif schema.format == b"+l":
            assert (child.name, child.flags, child.format) == (b"item", 0, b"+s")
        check_columns(child, cells)


ASKED = [{}, {"flat": False}, {"path": "Data"}, {"path": "Data", "flat": False}]
WAYS = ["flat", "nested", "inside, flat", "inside"]


@pytest.mark.parametrize("asked", ASKED, ids=WAYS)
@pytest.mark.parametrize("id", [20, 21, 399, 405, 406])
def test_structs_are_written_whole(samples, id, asked):
    (path,) = samples.glob(f"{id}-*.bin")
    reader = tesparser.read(path, id=id, **asked)
    cells = reader.to_dict()
    consumer = Consumer(reader)
    expected = [dict(zip(cells, row)) for row in zip(*cells.values())]
    # Rows inside keep the name that they have in a list.
    name = b"item" if set(asked) == {"path", "flat"} else b""
    assert consumer.rows(name) == expected and expected
    # The same of batches, and of what frames are made of.
    (batch,) = tesparser.read(path, id=id, **asked)
    for columns, name in ((batch._columns, name), (_core.flatten(batch._columns), b"")):
        capsules = columns.capsules()
        schema = arrow_reader.Schema.from_address(arrow_reader.CAPSULE_POINTER(capsules[0], b"arrow_schema"))
        array = arrow_reader.Array.from_address(arrow_reader.CAPSULE_POINTER(capsules[1], b"arrow_array"))
        check_struct(schema, array, name)
        assert [schema.children[i][0].name.decode() for i in range(schema.n_children)] == [columns.name(i) for i in range(columns.count)]


def test_the_end_of_a_stream_is_a_released_array(samples):
    for asked in ASKED:
        consumer = Consumer(tesparser.read(samples / "21-QuoteKlineSingle.bin", id=21, **asked))
        assert consumer.get_next() == 0 and consumer.array.length > 0
        consumer.array.release(consumer.array)
        assert consumer.get_next() == 0 and not consumer.array.release
        assert consumer.get_next() == 0 and not consumer.array.release


def metadata(schema):
    """The pairs beside a field: their number, and for each text its size before it."""
    if not schema.metadata:
        return {}
    at = schema.metadata

    def number():
        nonlocal at
        (value,) = struct.unpack("=i", ctypes.string_at(at, 4))
        at += 4
        return value

    def text():
        nonlocal at
        size = number()
        value = ctypes.string_at(at, size)
        at += size
        return value.decode()

    return {text(): text() for _ in range(number())}


def told(schema, prefix=""):
    """What a consumer is told of each column, and those inside, by their paths."""
    found = {}
    for i in range(schema.n_children):
        field = schema.children[i][0]
        path = prefix + field.name.decode()
        found[path] = metadata(field)
        if field.format == b"+l":
            found.update(told(field.children[0][0], path + "."))
    return found


KEYS = ("heading", "heading_zh", "meaning", "unit", "kind", "source")


@pytest.mark.parametrize("asked", ASKED, ids=WAYS)
@pytest.mark.parametrize("id", [20, 21, 399, 405, 406])
def test_all_that_is_told_of_columns_is_beside_them(samples, id, asked):
    (path,) = samples.glob(f"{id}-*.bin")
    reader = tesparser.read(path, id=id, **asked)
    below = "Data." if "path" in asked else ""
    described = {path[len(below) :]: column for path, column in tesparser.columns(id).items() if path.startswith(below)}
    leaves = {path: column for path, column in described.items() if column.type != "t"}
    outer = {path: column for path, column in described.items() if "." not in path}
    nested = "flat" in asked
    fields = [(each.name, each.type, each.heading, each.heading_zh, each.meaning, each.unit, each.kind) for each in reader.fields]
    expected = outer if nested else leaves
    assert fields == [(path, each.type, each.heading, each.heading_zh, each.meaning, each.unit, each.kind) for path, each in expected.items()]
    consumer = Consumer(reader)
    assert consumer.get_schema() == 0
    found = told(consumer.schema)
    assert list(found) == list(described if nested else leaves)
    for path, pairs in found.items():
        told_of = {key: value for key in KEYS if (value := getattr(described[path], key))}
        # What is told of single elements of counted cells is beside it.
        assert {key: value for key, value in pairs.items() if "[" not in key} == told_of, path
    if id == 405:
        assert any("[52]" in key for pairs in found.values() for key in pairs)
    consumer.schema.release(consumer.schema)


def test_children_moved_out_of_schemas(sample):
    """A consumer may keep the type of one column and release the rest."""
    reader = tesparser.read(sample("21-QuoteKlineSingle"), id=21, path="Data", flat=False)
    consumer = Consumer(reader)
    assert consumer.get_schema() == 0
    index = reader.columns.index("ShouPanJia")
    taken = arrow_reader.Schema()
    ctypes.memmove(ctypes.byref(taken), consumer.schema.children[index], ctypes.sizeof(taken))
    consumer.schema.children[index].contents.release = type(taken.release)()
    consumer.schema.release(consumer.schema)
    assert not consumer.schema.release
    blocks = [bytearray(b"x" * 200) for _ in range(2000)]
    assert (taken.name, taken.format, metadata(taken)["heading"]) == (b"ShouPanJia", b"g", "Close")
    del blocks
    taken.release(taken)
    assert not taken.release


def test_paths_lead_through_tables(schema):
    """Columns of texts have the names of those of tables behind them, which are told from these by their numbers."""
    message, table = schema.wire_reply()
    table.Info.add(Name="T", Type=115)
    table.Data.add(Index=0).sValues.append("text")
    middle = wire.table_column(table, "T")
    middle.Info.add(Name="U", Type=115)
    middle.Data.add(Index=0).sValues.append("text")
    inner = wire.table_column(middle, "U")
    inner.Info.add(Name="V", Type=105)
    inner.Data.add(Index=0).iValues.append(wire.packed(7, 10))
    reply = message.SerializeToString()
    for flat, name in ((True, b""), (False, b"item")):
        reader = tesparser.read(reply, id=3, path="T#1/U#1", flat=flat)
        assert reader.columns == ("V",) and reader.to_dict() == {"V": [7.0]}
        assert Consumer(reader).rows(name) == [{"V": 7.0}]
        reader = tesparser.read(reply, id=3, path=["T#1"], flat=flat)
        assert reader.columns == (("U", "U#1.V") if flat else ("U", "U#1")) and reader.to_dict()["U"] == ["text"]
        for path in ("T", "T#1/U", "T#1/U#1/V"):
            for use in (tesparser.Reader.to_pandas, lambda reader: reader.columns):
                with pytest.raises(KeyError) as raised:
                    use(tesparser.read(reply, id=3, path=path, flat=flat))
                assert raised.value.args == (f"no column of tables {path[-1]}",)


# ---- why a stream ends --------------------------------------------------------------------------------------


def test_a_misfit_ends_a_stream(sample):
    quote = sample("20-QuoteDynaSingle")
    consumer = Consumer(tesparser.read(wire.delimited([quote, quote[:-1] + b"\xff"]), id=20, batch_rows=1))
    assert consumer.get_next() == 0 and consumer.array.length == 8
    consumer.array.release(consumer.array)
    offset = len(wire.delimited([quote]))
    for _ in range(2):
        assert consumer.get_next() == errno.EINVAL
        assert consumer.why().startswith(f"reply 2 at offset {offset}: not a reply")


CALLS = pytest.mark.parametrize("call", [Consumer.get_schema, Consumer.get_next])


@CALLS
@pytest.mark.parametrize("asked", [{}, {"path": "Data"}])
def test_a_source_that_fails_ends_a_stream(tmp_path, sample, call, asked):
    """The type is not known before the first reply where no Id is asked for."""
    path = tmp_path / "a.bin"
    path.write_bytes(sample("20-QuoteDynaSingle"))
    reader = tesparser.read(path, **asked)
    path.unlink()
    consumer = Consumer(reader)
    for _ in range(2):
        assert call(consumer) == errno.EIO and consumer.why() == f"{path}: cannot open it: No such file or directory"

    class Broken:
        name = "broken"

        def read(self, size):
            raise ZeroDivisionError

    consumer = Consumer(tesparser.read(Broken(), **asked))
    assert call(consumer) == errno.EIO and consumer.why() == "broken: the reading was broken off"


@CALLS
def test_a_first_reply_that_is_none_ends_a_stream(call):
    consumer = Consumer(tesparser.read(wire.delimited([b"\x08\x14\xff"]), form="delimited", path="Data"))
    assert call(consumer) == errno.EINVAL and consumer.why().startswith("reply 1 at offset 0: ")


def test_whoever_is_told_of_misfits_may_end_a_stream(sample):
    def fail(misfit):
        raise ZeroDivisionError

    quote = sample("20-QuoteDynaSingle")
    consumer = Consumer(tesparser.read(wire.delimited([quote[:-1] + b"\xff", quote]), id=20, errors=fail))
    assert consumer.get_next() == errno.EIO and consumer.why() == "whoever was told of a misfit failed"


@pytest.mark.parametrize("flat", [True, False])
def test_a_path_that_is_not_there_ends_a_stream(sample, flat):
    for call in (Consumer.get_schema, Consumer.get_next):
        consumer = Consumer(tesparser.read(sample("20-QuoteDynaSingle"), id=20, path="Data/Nothing", flat=flat))
        assert call(consumer) == errno.ENOENT
        assert "no column of tables Nothing" in consumer.why()


def test_a_table_that_is_too_large_ends_a_stream(schema):
    """8,193 rows inside, beside 8,191 cells and with one of their own: 8,192 cells more than 2^26."""
    message, outer = schema.wire_reply()
    table = wire.table_column(outer, "T")
    inside = wire.table_column(table, "U")
    inside.Info.add(Name="V", Type=105)
    inside.Data.add(Index=0).iValues.extend([100] * 8193)
    for i in range(8191):
        table.Info.add(Name=f"C{i}", Type=102)
        table.Data.add(Index=i + 1).fValues.append(1)
    consumer = Consumer(tesparser.read(message.SerializeToString(), id=3, path="T"))
    assert consumer.get_next() == errno.EOVERFLOW
    assert consumer.why() == "flat, the table has too many cells; take it with flat=False"
