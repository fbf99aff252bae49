"""Cells of every kind that a reply can have, and what is seldom met: sources and tables that fail."""

import gc
import json
import os

import numpy as np
import pytest

import tesparser
import wire
from conftest import SOURCE

DTYPES = {"C": np.uint8, "i": np.int32, "I": np.uint32, "q": np.int64, "Q": np.uint64, "f": np.float32, "d": np.float64, "s": object}


def sent_value(field):
    """What is sent in a field, and what comes out of it, by the letter of its column where that decides."""
    if field.enum_type is not None:
        number = field.enum_type.values[0].number
        return number, {"i": number}
    return {
        field.CPPTYPE_STRING: ("东海", {"s": "东海"}),
        field.CPPTYPE_BOOL: (True, {"C": 1}),
        field.CPPTYPE_INT32: (-5, {"i": -5}),
        field.CPPTYPE_UINT32: (2**32 - 1, {"I": 2**32 - 1}),
        # Seven as a packed decimal; as it was sent it is 7 + 10 * 65536.
        field.CPPTYPE_INT64: (wire.packed(7, 10), {"q": 655367, "d": 7.0}),
        field.CPPTYPE_UINT64: (2**64 - 1, {"Q": 2**64 - 1}),
        field.CPPTYPE_FLOAT: (0.5, {"f": 0.5}),
        field.CPPTYPE_DOUBLE: (0.25, {"d": 0.25}),
    }[field.cpp_type]


def test_cells_of_every_kind(schema):
    """A message of each payload with a value in each of its own fields, decoded by the schema."""
    seen = set()
    for payload in schema.reply(0).DESCRIPTOR.fields:
        if payload.number < 20 or payload.message_type is None:
            continue
        message = schema.reply(payload.number)
        each = getattr(message, payload.name)
        each = each.add() if payload.label == payload.LABEL_REPEATED else each
        each.SetInParent()
        expected = {}
        for field in payload.message_type.fields:
            if field.label != field.LABEL_REPEATED and field.message_type is None:
                sent, expected[field.name] = sent_value(field)
                setattr(each, field.name, sent)
        if not message.IsInitialized() or not expected:
            continue
        reader = tesparser.read(message.SerializeToString(), id=payload.number, decode=True, flat=False)
        (batch,) = reader
        letters = dict(zip(batch.columns, batch.types))
        assert letters == {field.name: field.type for field in reader.fields}
        cells = reader.to_dict()
        for number, name in enumerate(batch.columns):
            if name not in expected:
                continue
            value = expected[name][letters[name]]
            assert cells[name] == [value], (payload.name, name)
            column = batch[number]
            assert column.dtype == DTYPES[letters[name]] and column.tolist() == [value], (payload.name, name)
            assert batch[name].tolist() == [value]
            seen.add(letters[name])
        frame = reader.to_pandas()
        assert all(frame[name].iloc[0] == next(iter(expected[name].values())) or letters[name] in "qd" for name in expected)
    assert seen == set(DTYPES)


def test_counted_columns_tell_what_they_hold(sample):
    reader = tesparser.read(sample("405-CaiWuShuJuFanHui"), id=405, path="Data")
    (batch,) = reader
    child = tesparser.table(sample("405-CaiWuShuJuFanHui"))[0, "Data"]
    assert batch.types == child.types == tuple(field.type for field in reader.fields)
    assert dict(zip(batch.columns, batch.types))["Data"] == "53q"
    assert batch["Data"].shape == (4, 53) and batch["Data"].tolist() == child["Data"][:3] + [[None] * 53]


def test_a_column_is_taken_by_number_and_name(sample):
    (batch,) = tesparser.read(sample("20-QuoteDynaSingle"), id=20, flat=False)
    assert batch[0][0] == batch[-len(batch.columns)][0] == "SH600000"
    for key, error in ((len(batch.columns), IndexError), ("obj", KeyError)):
        with pytest.raises(error):
            batch[key]


def test_readers_say_what_they_read(tmp_path, sample):
    paths = []
    for name in "abcd":
        paths.append(tmp_path / f"{name}.bin")
        paths[-1].write_bytes(sample("20-QuoteDynaSingle"))
    assert repr(tesparser.read(paths[0], id=20)) == f"Reader of {paths[0]}"
    assert repr(tesparser.read(paths, id=20)) == f"Reader of {paths[0]}, {paths[1]}, {paths[2]}, …"


@pytest.fixture
def any_columns(schema):
    """A table of two rows with the bounds of each type of number, of the longest as far as doubles are whole, and a column each
    that hold nothing, times, decimals and counted numbers. The name of its first column is a spec itself; so all but one of
    the columns that were meant come behind these."""
    message, table = schema.wire_reply()
    for i, name in enumerate(["c:c;h:h;i:i;q:q;C:C;H:H;I:I;Q:Q;n;T:T;P:P;V:V;k:2h;x", *(f"y{i}" for i in range(7))]):
        table.Info.add(Name=name, Type=105)
        bounds = list(BOUNDS.values())[i]
        table.Data.add(Index=i).iValues.extend([wire.packed(abs(bound), 10, bound < 0) for bound in bounds])
    return message.SerializeToString()


NUMBERS = {"c": np.int8, "h": np.int16, "i": np.int32, "q": np.int64, "C": np.uint8, "H": np.uint16, "I": np.uint32, "Q": np.uint64}
BOUNDS = {
    "c": [-(2**7), 2**7 - 1], "h": [-(2**15), 2**15 - 1], "i": [-(2**31), 2**31 - 1], "q": [-(2**53), 2**53],
    "C": [2**8 - 1, 0], "H": [2**16 - 1, 0], "I": [2**32 - 1, 0], "Q": [2**53, 0],
}
UNSET = {"n": np.dtype(object), "T": np.dtype("M8[s]"), "P": np.float64, "V": np.float64, "k": np.int16, "x": np.float64}


def test_columns_of_every_type(any_columns):
    table = tesparser.table(any_columns)
    assert table.types == ("c", "h", "i", "q", "C", "H", "I", "Q", "", "T", "P", "V", "2h", *"dddddddd")
    for name, dtype in NUMBERS.items():
        array = table.to_numpy(name)
        assert array.dtype == dtype and array.tolist() == table[name] == BOUNDS[name], name
        assert table[1, name] == BOUNDS[name][1] and type(table[1, name]) is int
    for name, dtype in UNSET.items():
        array = table.to_numpy(name)
        assert array.dtype == dtype and array.mask.all() and table[name] == [None, None], name
    assert table.to_numpy("k").shape == (2, 2)
    frame = table.to_pandas()
    assert frame["c"].tolist() == BOUNDS["c"] and frame["T"].dtype.kind == "M" and frame[list(UNSET)].isna().all(axis=None)
    assert {name: table.to_dict()[name] for name in BOUNDS} == BOUNDS


def test_readers_of_columns_of_every_type(any_columns):
    reader = tesparser.read(any_columns, id=3)
    cells = reader.to_dict()
    assert {name: cells[name] for name in NUMBERS} == BOUNDS
    assert {name: cells[name] for name in UNSET} == dict.fromkeys(UNSET, [None, None])
    (batch,) = reader
    for name, dtype in {**NUMBERS, **UNSET}.items():
        assert batch.to_numpy(name).dtype == dtype, name
    frame = reader.to_pandas()
    assert frame["Q"].tolist() == BOUNDS["Q"] and frame[list(UNSET)].isna().all(axis=None)


def test_unknown_names(sample):
    with pytest.raises(KeyError, match="NoSuchLayout"):
        tesparser.read(sample("20-QuoteDynaSingle"), type="NoSuchLayout")
    for flat in (True, False):
        with pytest.raises(KeyError, match="Nothing"):
            tesparser.read(sample("21-QuoteKlineSingle"), id=21, path="Nothing", flat=flat).to_pandas()
        # A column of texts leads nowhere.
        with pytest.raises(KeyError, match="no column of tables Obj"):
            tesparser.read(sample("21-QuoteKlineSingle"), id=21, path="Obj", flat=flat).to_pandas()


@pytest.mark.parametrize(
    "ask, said",
    [
        (lambda: tesparser.read(b"", id="Nothing"), "no Id Nothing"),
        (lambda: tesparser.columns("Nothing"), "no Id Nothing"),
        (lambda: tesparser.read(b"", id=28, type="Nothing"), "no layout Nothing"),
        (lambda: tesparser.columns(28, "Nothing"), "no layout Nothing"),
        (lambda: tesparser.table(b"", "Nothing"), "no layout Nothing"),
        (lambda: tesparser.why(b"", "Nothing"), "no layout Nothing"),
    ],
)
def test_says_which_name_is_unknown(ask, said):
    with pytest.raises(KeyError) as raised:
        ask()
    assert raised.value.args == (said,)


def test_an_id_without_a_table(sample):
    with pytest.raises(tesparser.NoTableForm) as raised:
        tesparser.read(sample("20-QuoteDynaSingle"), id=22)
    assert str(raised.value) == "Id 22 (QuoteTickSingle) has no table form"


def test_an_id_without_a_payload(sample):
    with pytest.raises(tesparser.NoTableForm, match="^Id 5 has no payload in the schema$"):
        tesparser.read(sample("20-QuoteDynaSingle"), id=5, decode=True)
    with pytest.raises(KeyError, match="Nothing"):
        tesparser.read(sample("20-QuoteDynaSingle"), id=20, decode=True, columns=["Nothing"])


def sparse(schema):
    """3,000 rows of which all columns but one of a thousand have the first alone: 24 MB of announced numbers."""
    message, table = schema.wire_reply()
    for i in range(1000):
        table.Info.add(Name=f"C{i}", Type=105)
        table.Data.add(Index=i).iValues.extend([wire.packed(1, 10)] * (3000 if i == 0 else 1))
    return message.SerializeToString()


def test_a_table_that_is_no_array(schema):
    table = tesparser.table(sparse(schema))
    assert (len(table), table[0, "C999"], table[2999, "C999"]) == (3000, 1.0, None)
    for _ in range(2):
        with pytest.raises(tesparser.NotExpressible, match="^its table is too deep, too sparse or too large to be handed out as arrays$"):
            table.__arrow_c_array__()
    assert table["C0"] == [1.0] * 3000


class Source:
    def __init__(self, read):
        self.read = read


def test_a_source_that_gives_too_much():
    with pytest.raises(ValueError, match="more bytes than were asked for"):
        tesparser.read(Source(lambda size: b"x" * (size + 1)), id=20).to_pandas()
    with pytest.raises(ValueError, match="more bytes than were asked for"):
        list(tesparser.replies(Source(lambda size: b"x" * (size + 1))))


def test_bytes_that_cannot_be_held_let_go_of_the_others(sample):
    first = bytearray(sample("20-QuoteDynaSingle"))
    every_other = memoryview(bytes(first))[::2]
    with pytest.raises(BufferError):
        tesparser.read([first, every_other], id=20)
    gc.collect()
    # Nobody holds it, so it may grow.
    first.append(0)


def test_a_file_that_is_gone(tmp_path, sample):
    path = tmp_path / "a.bin"
    path.write_bytes(sample("20-QuoteDynaSingle"))
    reader = tesparser.read(path, id=20)
    os.unlink(path)
    with pytest.raises(OSError, match="a.bin"):
        reader.to_pandas()


def test_scan_says_what_it_cannot_read():
    """Nothing is at the front of a process's memory."""
    with pytest.raises(OSError, match="^/proc/self/mem: "):
        tesparser.scan("/proc/self/mem")


def test_the_memory_of_a_reply_is_given_back(sample):
    reply = bytearray(sample("20-QuoteDynaSingle"))
    whole = tesparser.json(reply)
    # Python refuses this while anybody holds the memory.
    reply += b"\x08\x14"
    assert tesparser.json(reply) == whole


def test_negative_numbers_inside_tables(schema):
    message = schema.reply(22)
    tick = message.RepDataQuoteTickSingle.add(Obj="A").Data.add()
    tick.Id, tick.ShiJian = -5, 1
    (row,) = tesparser.read(message.SerializeToString(), id=22, decode=True, flat=False).to_dict()["Data"]
    assert row[0]["Id"] == -5


def test_numbers_are_unpacked_as_it_is_asked(schema):
    """All three are 64 bits long and sent packed: 816 with two decimals is 8.16."""
    message = schema.reply(22)
    sent = {"Id": wire.packed(5, 10), "ShiJian": wire.packed(930, 10), "ChengJiaoJia": wire.packed(816, 0)}
    numbers = {"Id": 5.0, "ShiJian": 930.0, "ChengJiaoJia": 8.16}
    tick = message.RepDataQuoteTickSingle.add(Obj="A").Data.add()
    for name, value in sent.items():
        setattr(tick, name, value)
    reply = message.SerializeToString()
    for unpack, unpacked in ((None, ()), (True, numbers), (["ChengJiaoJia"], ["ChengJiaoJia"]), (["Id", "ShiJian"], ["Id", "ShiJian"])):
        reader = tesparser.read(reply, id=22, decode=unpack is None, unpack=unpack, path="Data")
        cells = reader.to_dict()
        types = {field.name: field.type for field in reader.fields}
        for name in sent:
            expected = ([numbers[name]], "d") if name in unpacked else ([sent[name]], "q")
            assert (cells[name], types[name]) == expected, (unpack, name)


def test_a_reply_as_text_has_what_is_required():
    with pytest.raises(tesparser.Error, match="^not a reply in text form: .*Obj"):
        tesparser.read(b"Id: 20 RepDataQuoteDynaSingle { }", form="text", id=20).to_pandas()


def told_of_columns():
    """The columns of each table in replies/columns, by Id and layout and by the table's path: fields of a line, "-" for none."""
    tables, own, types = {}, None, {}
    for file in sorted((SOURCE / "replies/columns").glob("*.txt")):
        for line in file.read_text().splitlines():
            words = line.split()
            if words[:1] == ["table"]:
                id, _, path = words[1].partition("/")
                own = tables.setdefault((int(id), 0), {}).setdefault(path, [])
            elif words[:1] == ["type"]:
                type, _, path = words[1].partition("/")
                id = int(words[2] if path else words[3])
                own = tables.setdefault((id, int(type)), {}).setdefault(path, [])
                if not path:
                    types.setdefault(id, []).append(words[2])
            elif line.count(" | ") == 9 and not line.startswith("#"):
                own.append(["" if field.strip() == "-" else field.strip() for field in line.split(" | ")])
    return tables, types


def in_order(tables, path=""):
    for fields in tables[path]:
        inside = f"{path}/{fields[0]}" if path else fields[0]
        name, letter, english, chinese, meaning, unit, kind, source, _, unset = fields
        yield inside.replace("/", "."), name, letter, english, chinese, meaning, unit, kind, source, unset
        if letter == "t" and inside in tables:
            yield from in_order(tables, inside)


def test_columns_are_as_described():
    tables, _ = told_of_columns()
    assert len(tables) > 40
    for (id, type), described in tables.items():
        if "" in described:
            expected = {}
            for column in in_order(described):
                # Of columns with one name the first counts.
                expected.setdefault(column[0], column)
            assert {path: tuple(column) for path, column in tesparser.columns(id, type).items()} == expected, (id, type)
            assert list(tesparser.columns(id, type)) == list(expected)


def test_ids_are_as_described(schema):
    tables, types = told_of_columns()
    fields = schema.reply(0).DESCRIPTOR.fields_by_number
    lines = (SOURCE / "replies/payloads.txt").read_text().splitlines()
    expected = []
    for line in lines:
        if not line or line.startswith("#"):
            continue
        number, name, family, english, chinese = (field.strip() for field in line.split(" | "))
        id = int(number)
        field = fields[id].name if id in fields and id >= 20 else None
        expected.append((id, name, english, chinese, family, field, (id, 0) in tables or id == 3, tuple(types.get(id, ()))))
    found = [tuple(each) for each in tesparser.ids()]
    assert [each for each in found if each[0] >= 20] == [each for each in expected if each[0] >= 20]
    assert [each[:5] for each in found] == [each[:5] for each in expected]


@pytest.mark.parametrize("id", [20, 21, 28, 405])
def test_columns_are_what_the_viewer_tells(tesview, id):
    (own, *inside) = json.loads(tesview("columns", id, "--to", "json"))
    told = {column["column"]: column for column in own["columns"]}
    for table in inside:
        told.update({f"{table['path'].replace('/', '.')}.{column['column']}": column for column in table["columns"]})
    columns = tesparser.columns(id)
    assert set(columns) == set(told)
    for path, column in columns.items():
        assert (column.path, column.name) == (path, told[path]["column"])
        assert column.type == told[path]["letter"]
        # What is inferred has a mark here.
        marked = (column.heading, column.heading_zh, column.meaning, column.unit, column.kind)
        keys = ("english", "chinese", "meaning", "unit", "kind")
        assert [text.removesuffix(" ?") for text in marked] == [told[path][key] for key in keys]
        assert (column.source, column.unset) == (told[path]["source"], told[path]["unset"])


def test_each_source_is_counted_from_its_front():
    sources = [b"\x02\x08\x16" * 2, b"\x02\x08\x16"]
    found = [(reply.number, reply.offset) for reply in tesparser.replies(sources, form="delimited")]
    assert found == [(1, 0), (2, 3), (1, 0)]


def test_scan_tells_replies_without_an_id():
    assert tesparser.scan(b"\x02\x12\x00\x02\x08\x16", form="delimited").id.tolist() == [-1, 22]
