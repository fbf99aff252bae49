"""Tables: rows, cells, columns as arrays, frames, and what is printed."""

import random
from collections.abc import Iterable

import numpy as np
import pandas as pd
import pytest

import arrow_reader
import tesparser
import wire
from tesparser import _core


@pytest.fixture
def quotes(sample):
    return tesparser.table(sample("20-QuoteDynaSingle"))


@pytest.fixture
def bars(sample):
    return tesparser.table(sample("21-QuoteKlineSingle"))[0, "Data"]


@pytest.fixture
def wire_table(sample):
    return tesparser.table(sample("3-wire-table"))


def test_rows_and_cells_by_number_and_name(quotes):
    assert (quotes.id, quotes.name, len(quotes)) == (20, "", 8)
    assert quotes.columns == ("Obj", "Data") and quotes.types == ("s", "t")
    assert quotes[0, "Obj"] == quotes[0, 0] == quotes[-8, -2] == quotes[0]["Obj"] == quotes[0][0] == "SH600000"
    assert quotes["Obj"] == [row["Obj"] for row in quotes] == [quotes[i, 0] for i in range(8)]
    assert [row.index for row in quotes[2:8:3]] == [2, 5]
    row = quotes[0]
    assert len(row) == 2 and row.keys() == ("Obj", "Data") and list(row)[0] == "SH600000"
    assert dict(row)["Obj"] == "SH600000" and row.values()[0] == "SH600000"
    # 8.16 is sent as 816 with two decimals.
    assert row["Data"][0, "ZuiXinJia"] == 8.16
    assert isinstance(row["Data"], tesparser.Table) and row["Data"].id == 20
    assert quotes[6:1:-2][1].index == 4 and quotes[-1].index == 7 and quotes[8:] == []


@pytest.mark.parametrize("key, error", [(8, IndexError), (-9, IndexError), ("obj", KeyError), ((0, "x"), KeyError), ((0, 2), IndexError), (2**40, IndexError)])
def test_what_is_not_there(quotes, key, error):
    with pytest.raises(error):
        quotes[key]


@pytest.mark.parametrize(
    "key, error, said",
    [
        (8, IndexError, "row 8 of a table with 8"),
        (-9, IndexError, "row -9 of a table with 8"),
        ((0, 2), IndexError, "column 2 of a table with 2"),
        ((0, -3), IndexError, "column -3 of a table with 2"),
        ("obj", KeyError, "no column obj"),
    ],
)
def test_says_what_is_not_there(quotes, key, error, said):
    with pytest.raises(error) as raised:
        quotes[key]
    assert raised.value.args == (said,)


def test_what_cannot_be_asked_for(quotes, sample):
    with pytest.raises(ValueError, match="step cannot be zero"):
        quotes[::0]
    # Every other byte, which lie apart.
    with pytest.raises(BufferError):
        tesparser.table(memoryview(sample("20-QuoteDynaSingle"))[::2])


def test_two_columns_of_one_name(schema):
    """As lists of dicts have it: the first one counts. Flat both are there."""
    message, table = schema.wire_reply()
    inner = wire.table_column(table, "T")
    for i, value in enumerate((1, 2)):
        inner.Info.add(Name="a", Type=105)
        inner.Data.add(Index=i).iValues.append(wire.packed(value, 10))
    made = tesparser.table(message.SerializeToString())
    assert made.to_dict() == {"T": [[{"a": 1.0}]]} and made.to_pandas(flat=False)["T"].tolist() == [[{"a": 1.0}]]
    assert made.to_pandas().to_dict("records") == [{"T.a": 1.0, "T.a#1": 2.0}]


def test_a_terminal_that_is_too_narrow(bars, monkeypatch):
    """Three columns are shown at least, whatever room there is."""
    monkeypatch.setenv("COLUMNS", "10")
    lines = repr(bars).splitlines()
    assert lines[1].split() == ["ShiJian", "KaiPanJia", "…", "JieSuanJia"] and lines[2].split()[2] == "…"


def test_iterators_are_iterable(quotes):
    rows = iter(quotes)
    assert next(rows).index == 0
    assert [row.index for row in iter(rows)] == [1, 2, 3, 4, 5, 6, 7]
    assert all(isinstance(each, Iterable) for each in (quotes, quotes[0], rows))


def test_help_tells_what_they_are():
    """What help() shows of each."""
    told = {name: getattr(tesparser.Table, name).__doc__ for name in ("id", "name", "columns")}
    assert told == {
        "id": "The Id that the reply carries; 0 if it has none.",
        "name": "The table's label, mostly empty.",
        "columns": "The names of the columns, a tuple of str.",
    }
    types = tesparser.Table.types.__doc__
    assert types.startswith("The types of the columns, a tuple of letters:\n\nc h i q (signed, 8 to 64 bits)")
    assert types.endswith('T (time), P V (decimals), "53q" (53 of them in each cell).')
    table, row = tesparser.Table.__doc__, tesparser.Row
    assert table.startswith("A table that a reply gave, or one inside it.\n\ntable[0] is a row")
    assert table.endswith("A table inside keeps the whole alive. Threads may read one\ntable at once.")
    assert row.__doc__.startswith("One row of a table: cells by number or name.\n\nlen() and iteration are over the cells")
    assert row.__doc__.endswith("An unset cell is None. A row keeps its table alive.")
    assert row.index.__doc__ == "The row's number, from 0."
    assert row.keys.__doc__.endswith("The names of the columns.\n") and row.values.__doc__.endswith("The cells.\n")


def test_tables_have_names(sample):
    """The labels that replies/columns/reference.txt tells of."""
    table = tesparser.table(sample("405-CaiWuShuJuFanHui"))
    assert table.name == table[0, "Data"].name == "tes2tableType::ParseCaiWuShuJuFanHui"
    assert repr(table).startswith('Table "tes2tableType::ParseCaiWuShuJuFanHui" of 405 (CaiWuShuJuFanHui): 1 row, 5 columns\n')


def test_unset_cells_are_none(wire_table):
    assert wire_table["QuanZhong"] == [0.125, 0.25, 0.0625, None, None]
    assert wire_table[4, "FenShi"] is None
    assert wire_table["BiaoZhi"][:3] == [b"\1\0", b"\1\2\3", b""]
    assert wire_table["GaiNian"] == [None] * 5


def test_numpy_without_a_copy(bars):
    close = bars.to_numpy("ShouPanJia")
    assert isinstance(close, np.ma.MaskedArray) and close.dtype == np.float64 and close.shape == (240,)
    assert np.shares_memory(close.data, bars.to_numpy("ShouPanJia").data)
    assert close.mask is np.ma.nomask and not close.data.flags.writeable
    assert close.tolist() == bars["ShouPanJia"]
    with pytest.raises(ValueError):
        close.data[0] = 1


def test_numpy_has_no_mask_where_all_is_set(quotes, bars):
    for table in (quotes, bars):
        assert all(table.to_numpy(column).mask is np.ma.nomask for column in table.columns)


def test_numpy_masks_what_is_unset(wire_table):
    column = wire_table.to_numpy("QuanZhong")
    assert column.mask.tolist() == [False, False, False, True, True]
    assert column.data[3] == 0 and column.dtype == np.float64
    assert wire_table.to_numpy("DaiMa").tolist() == wire_table["DaiMa"]
    children = wire_table.to_numpy("FenShi")
    assert children.mask.tolist() == [False] * 4 + [True] and children[0].columns == wire_table[0, "FenShi"].columns


def test_counted_cells_have_two_dimensions(schema):
    """Stocks A, B and C of Id 405: of their 53 figures A and B have the second, C none at all."""
    message = schema.reply(405)
    row = message.RepDataCaiWuShuJuFanHui.add(Crc32=wire.packed(1, 10))
    for stock, figure in (("A", 101), ("B", 102), ("C", None)):
        each = row.Data.add(DaiMa=stock, LeiXing=wire.packed(1, 10))
        if figure is not None:
            each.Data.BaoGaoRiQi = figure
    table = tesparser.table(message.SerializeToString())
    stocks = table[0, "Data"]
    cells = [[0, 101] + [0] * 51, [0, 102] + [0] * 51, None]
    assert stocks.types[2] == "53q" and stocks["Data"] == cells and stocks.to_dict()["Data"] == cells
    array = stocks.to_numpy("Data")
    assert array.shape == (3, 53) and array.dtype == np.int64 and array[:2].tolist() == cells[:2]
    assert array.mask.tolist() == [[False] * 53, [False] * 53, [True] * 53]
    frame = table.to_pandas()
    assert frame["Data.DaiMa"].tolist() == ["A", "B", "C"]
    assert [cell if cell is None else list(cell) for cell in frame["Data.Data"]] == cells


def test_counted_cells_of_a_later_table(schema):
    """Two replies of Id 405, with one stock and with two: those of the second lie behind that of the first."""
    figures = [[0, 100 + i] + [0] * 51 for i in range(4)]
    replies = []
    for count in (1, 2):
        message = schema.reply(405)
        row = message.RepDataCaiWuShuJuFanHui.add(Crc32=wire.packed(1, 10))
        for i in range(count, 2 * count):
            row.Data.add(DaiMa=f"S{i}", LeiXing=wire.packed(1, 10)).Data.BaoGaoRiQi = 100 + i
        replies.append(message.SerializeToString())
    nested = tesparser.read(wire.delimited(replies), id=405, flat=False)
    expected = [figures[1:2], figures[2:4]]
    assert [[stock["Data"] for stock in stocks] for stocks in nested.to_dict()["Data"]] == expected
    assert [[list(stock["Data"]) for stock in stocks] for stocks in nested.to_pandas()["Data"]] == expected
    inside = tesparser.read(wire.delimited(replies), id=405, path="Data", flat=False)
    (batch,) = inside
    assert batch["Data"].tolist() == inside.to_dict()["Data"] == figures[1:4]
    assert [row["Data"] for row in arrow_reader.array_rows(batch.__arrow_c_array__())] == figures[1:4]


def test_tables_three_levels_down_have_their_own_rows(schema):
    """The tree of blocks: two classes of two blocks each, with two stocks in every one."""
    message = schema.reply(399)
    row = message.RepDataBanKuaiFenLeiFanHui.add(BanBen=wire.packed(1, 10), Crc32=wire.packed(2, 10))
    for i in "AB":
        kind = row.Data.add(MingCheng=i)
        for j in "12":
            block = kind.Data.add(MingCheng=i + j)
            block.Data.add(Obj=i + j + "x")
            block.Data.add(Obj=i + j + "y")
    table = tesparser.table(message.SerializeToString())
    for i, letter in enumerate("AB"):
        for j, digit in enumerate("12"):
            stocks = table[0, "Data"][i, "Data"][j, "Data"]
            expected = [f"{letter}{digit}x", f"{letter}{digit}y"]
            assert stocks["Obj"] == stocks.to_dict()["Obj"] == stocks.to_numpy("Obj").tolist() == expected
            assert [each["Obj"] for each in arrow_reader.array_rows(stocks.__arrow_c_array__())] == expected


def test_a_table_without_rows_is_true(sample):
    last = tesparser.table(sample("406-ChuQuanShuJuFanHui"))[0, "Data"][3, "Data"]
    assert len(last) == 0 and bool(last) and list(last) == []


def test_texts_that_follow_each_other_are_one_object(schema):
    message = schema.reply(28)
    for obj in ("", "ab", "ab", "", "ab"):
        message.RepDataPaiXu.add(Obj=obj)
    texts = tesparser.table(message.SerializeToString()).to_numpy("Obj").data
    assert texts.tolist() == ["", "ab", "ab", "", "ab"]
    assert texts[1] is texts[2] and texts[1] is not texts[4]


@pytest.mark.parametrize("name", ["n", "u", "z", "+l", "+s", "+w:2", "tss:", "i"])
def test_names_say_nothing_about_types(schema, name):
    """Columns whose names are Arrow's words for types."""
    message, table = schema.wire_reply()
    table.Info.add(Name=name, Type=115)
    table.Info.add(Name=name + "?", Type=98)
    table.Info.add(Name=name + "!", Type=105)
    table.Data.add(Index=0).sValues.extend(["a", "b"])
    table.Data.add(Index=1).bValues.extend([b"c", b"d"])
    table.Data.add(Index=2).iValues.extend([wire.packed(7, 10), wire.packed(8, 10)])
    reply = message.SerializeToString()
    cells = {name: ["a", "b"], name + "?": [b"c", b"d"], name + "!": [7, 8]}
    made = tesparser.table(reply)
    assert {column: made[column] for column in made.columns} == cells
    assert {column: made.to_numpy(column).tolist() for column in made.columns} == cells
    assert made.to_dict() == cells and tesparser.read(reply).to_dict() == cells
    assert {column: list(made.to_pandas()[column]) for column in cells} == cells


def test_frames_have_the_types_that_users_expect(wire_table, bars):
    frame = wire_table.to_pandas(flat=False)
    assert frame["DaiMa"].dtype == object and frame["QuanZhong"].dtype == np.float64
    assert np.isnan(frame["QuanZhong"][3])
    assert frame["FenShi"][4] is None and frame["FenShi"][0][0]["ShiJian"] == 930
    flat = wire_table.to_pandas()
    assert len(flat) == 3 + 4 + 3 + 4 + 1
    assert flat["DaiMa"].tolist()[:3] == ["SH600000"] * 3
    assert bars.to_pandas()["ChiCang"].dtype == np.int64
    # A frame is its own: what is written to it does not reach the table.
    frame = bars.to_pandas()
    frame.loc[0, "ShouPanJia"] = -1.0
    assert bars[0, "ShouPanJia"] == 8.19


def test_nullable_integers(schema):
    message = schema.reply(28)
    for value in (100, None, 300):
        each = message.RepDataPaiXu.add(Obj="SH600000")
        if value is not None:
            each.Value = value
    frame = tesparser.table(message.SerializeToString()).to_pandas()
    assert frame["Value"].dtype == np.float64 and frame["Value"].isna().tolist() == [False, True, False]
    assert frame["HasBits"].dtype == np.int64
    # By the schema alone the numbers stay as they were sent, and an integer that did not arrive is NA.
    plain = tesparser.read(schema_ticks(schema), id=22, decode=True).to_pandas()
    nullable = [dtype for dtype in plain.dtypes if isinstance(dtype, pd.core.arrays.integer.IntegerDtype)]
    assert nullable


def schema_ticks(schema):
    """Two ticks: one with required fields alone, one with a number in each of its integers."""
    message = schema.reply(22)
    chance = random.Random(1)
    each = message.RepDataQuoteTickSingle.add(Obj="SH600000")
    for whole in (False, True):
        tick = each.Data.add()
        for field in tick.DESCRIPTOR.fields:
            if field.label == field.LABEL_REQUIRED or (whole and field.label == field.LABEL_OPTIONAL and field.message_type is None):
                setattr(tick, field.name, wire.value_of(field, chance))
    return message.SerializeToString()


def test_prints_itself(quotes, wire_table):
    lines = repr(quotes).splitlines()
    assert lines[0] == "Table of 20 (QuoteDynaSingle): 8 rows, 2 columns"
    assert lines[1].split() == ["Obj", "Data"] and lines[2].split() == ["SH600000", "[1", "row]"]
    assert len(lines) == 10
    assert repr(quotes[0]) == "Row 0: Obj=SH600000, Data=[1 row]"
    # East Asian letters take two columns: what is behind them is aligned all the same.
    rows = repr(wire_table).splitlines()
    ends = {line.index(text) + len(text) + sum("\u4e00" <= c <= "\u9fff" for c in line) for line, text in zip(rows[2:4], ("8.01", "1568.11"))}
    assert len(ends) == 1


def test_fits_the_terminal(sample, monkeypatch):
    bars = tesparser.table(sample("21-QuoteKlineSingle"))[0, "Data"]
    for columns in (60, 80, 200):
        monkeypatch.setenv("COLUMNS", str(columns))
        lines = repr(bars).splitlines()
        assert max(map(len, lines)) <= columns and len(lines) == 13
        # The first columns and the last ones.
        assert lines[1].split()[0] == bars.columns[0] and lines[1].split()[-1] == bars.columns[-1]
    # Twelve columns at most, and the sign for what is left out.
    assert len(lines[1].split()) == 13


def test_html_is_text_only(schema):
    message = schema.reply(28)
    message.RepDataPaiXu.add(Obj="<script>alert(1)</script>", Text="a&b\n\u202e")
    html = tesparser.table(message.SerializeToString())._repr_html_()
    assert "<script" not in html and "&lt;script&gt;" in html and "a&amp;b\\n\\u202e" in html


def test_types_by_number_and_name(sample):
    by_name = tesparser.table(sample("typed-103-ZhiBiao3"), "ZhiBiao3")
    assert by_name.columns == tesparser.table(sample("typed-103-ZhiBiao3"), 103).columns
    with pytest.raises(KeyError):
        tesparser.table(b"", "NoSuchLayout")
    assert tesparser.table(sample("typed-103-ZhiBiao3"), 2**31 - 1) is None


def test_reasons(schema):
    with pytest.raises(tesparser.NotAReply) as broken:
        tesparser.table(b"\x08\x15\xff")
    assert broken.value.offset == 2 and str(broken.value).startswith("not a reply: ")
    with pytest.raises(tesparser.NotAReply):
        tesparser.table(b"")
    message = schema.reply(28)
    message.RepDataPaiXu.add(Obj="x")
    message.ClearField("Id")
    with pytest.raises(tesparser.FieldMissing) as missing:
        tesparser.table(message.SerializePartialToString())
    assert missing.value.field == "Id" and str(missing.value).startswith('not a reply: required field "Id" is missing')
    # A snapshot of which the required instrument is missing.
    message = schema.reply(20)
    message.RepDataQuoteDynaSingle.add()
    with pytest.raises(tesparser.FieldMissing) as missing:
        tesparser.table(message.SerializePartialToString())
    assert missing.value.field.startswith("RepDataQuoteDynaSingle")
    why = tesparser.why(bytes([8, 22]))
    assert isinstance(why, tesparser.NoTableForm) and str(why) == "Id 22 (QuoteTickSingle) has no table form"
    why = tesparser.why(bytes([8, 21]))
    assert isinstance(why, tesparser.NothingInIt)
    assert str(why) == 'Id 21 (QuoteKlineSingle): nothing to show: field "RepDataQuoteKlineSingle" is empty'
    assert tesparser.table(bytes([8, 22])) is None and tesparser.table(bytes([8, 21])) is None
    message = schema.reply(28)
    message.RepDataPaiXu.add(Obj="x")
    assert tesparser.why(message.SerializeToString()) is None
    raw = message.SerializeToString().replace(b"x", b"\xff")
    with pytest.raises(tesparser.NotExpressible) as text:
        tesparser.json(raw)
    assert text.value.field.startswith("RepDataPaiXu") and text.value.field.endswith("Obj")
    assert str(text.value).startswith("no JSON can hold it: text that is not valid UTF-8 in field ")
    # In a table such a byte is one replacement character.
    assert tesparser.table(raw)["Obj"] == ["\ufffd"]
    for each in (tesparser.NotAReply, tesparser.FieldMissing, tesparser.NotExpressible, tesparser.NoTableForm):
        assert issubclass(each, tesparser.Error) and issubclass(each, ValueError)


def test_a_table_inside_another_row_has_its_own_rows(schema):
    message = schema.reply(21)
    for obj, price in (("A", 100), ("B", 200)):
        each = message.RepDataQuoteKlineSingle.add(Obj=obj)
        for i in range(2):
            each.Data.add(ShiJian=1718607600, KaiPanJia=price + i)
    second = tesparser.table(message.SerializeToString())[1, "Data"]
    assert second["KaiPanJia"] == [2.0, 2.01]
    assert second.to_numpy("KaiPanJia").tolist() == [2.0, 2.01]
    assert second.to_dict()["KaiPanJia"] == [2.0, 2.01]
    assert second.to_pandas()["KaiPanJia"].tolist() == [2.0, 2.01]
    assert [row["KaiPanJia"] for row in arrow_reader.array_rows(second.__arrow_c_array__())] == [2.0, 2.01]


def test_flat_tables_are_bounded(schema):
    """40,000 rows inside, beside which 2,001 cells would be repeated: 80 million."""
    message, table = schema.wire_reply()
    inside = wire.table_column(table, "T")
    inside.Info.add(Name="V", Type=105)
    inside.Data.add(Index=0).iValues.extend([100] * 40_000)
    for i in range(2000):
        table.Info.add(Name=f"C{i}", Type=105)
        table.Data.add(Index=i + 1).iValues.append(100)
    made = tesparser.table(message.SerializeToString())
    with pytest.raises(ValueError, match="too many cells; take it with flat=False$"):
        made.to_pandas()
    assert len(made.to_pandas(flat=False)) == 1


def beside(schema, kind, above, last):
    """A text, or bytes, of 2^20 bytes beside 768 rows inside, and one of `last` bytes beside one. Tables `above` that have
    nothing else beside them."""
    message, table = schema.wire_reply()
    for _ in range(above):
        table = wire.table_column(table, "A")
    table.Info.add(Name="T", Type=116)
    table.Info.add(Name="S", Type=115 if kind == "sValues" else 98)
    cells = table.Data.add(Index=0)
    for rows in (768, 1):
        inside = cells.tValues.add()
        if rows > 1:
            inside.Info.add(Name="V", Type=105)
        inside.Data.add(Index=0).iValues.extend([100] * rows)
    texts = ["x" * 2**20, "y" * last]
    getattr(table.Data.add(Index=1), kind).extend(texts if kind == "sValues" else [text.encode() for text in texts])
    return tesparser.table(message.SerializeToString())


@pytest.mark.parametrize("above", [0, 2])
@pytest.mark.parametrize("kind", ["sValues", "bValues"])
def test_texts_beside_the_rows_of_flat_tables_are_bounded(schema, kind, above):
    """A byte more than the 768 MB that are allowed."""
    made = inner = beside(schema, kind, above, 1)
    for _ in range(above):
        inner = inner[0, "A"]
    assert [len(cell) for cell in inner["T"]] == [768, 1]
    for table in (made, inner):
        with pytest.raises(ValueError, match="too many cells"):
            table.to_pandas()
    assert len(made.to_pandas(flat=False)) == (1 if above else 2)


def test_texts_of_768_megabytes_fit_a_flat_table(schema):
    with open("/proc/meminfo") as told:
        if next(int(line.split()[1]) for line in told if line.startswith("MemAvailable")) < 3 << 20:
            pytest.skip("takes more memory than there is")
    columns = _core.flatten(beside(schema, "sValues", 0, 0)._to_columns())
    assert (columns.length, len(columns.cell(767, 1)), columns.cell(768, 1)) == (769, 2**20, "")


def test_arrow_tells_what_may_be_unset(wire_table):
    """The flag 2 of each column, none of the structs."""
    capsules = wire_table.__arrow_c_array__()
    schema = arrow_reader.Schema.from_address(arrow_reader.CAPSULE_POINTER(capsules[0], b"arrow_schema"))
    assert schema.n_children == len(wire_table.columns) and schema.flags == 0
    for i in range(schema.n_children):
        column = schema.children[i][0]
        assert column.flags == 2
        if column.format == b"+l":
            assert column.children[0][0].flags == 0 and column.children[0][0].name == b"item"


def test_takes_whatever_holds_bytes(sample):
    data = sample("20-QuoteDynaSingle")
    for reply in (data, bytearray(data), memoryview(data), np.frombuffer(data, np.uint8), tesparser.Reply(data)):
        assert len(tesparser.table(reply)) == 8
        assert tesparser.json(reply).startswith('{"Id": 20')
    for wrong, name in (("text", "str"), (None, "NoneType"), (5, "int")):
        with pytest.raises(TypeError, match=f"^a reply is an object of bytes, not {name}$"):
            tesparser.table(wrong)
