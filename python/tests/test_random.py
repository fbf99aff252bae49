"""Random replies, made by reflection, against decoding by hand in plain Python.

The main families: snapshots (20), bars (21), ticks (22, by the schema alone), the stock record (27), rankings (28, 115).
Of all other Ids with a table: that it can be read cell by cell and as Arrow, which has to be the same.
"""

import random
import struct

import pytest
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

import arrow_reader
import tesparser
import wire
from test_samples import nested
from wire import truncated, unpacked

ROUNDS = settings(max_examples=60, deadline=None, suppress_health_check=list(HealthCheck))
SEEDS = st.integers(min_value=0, max_value=2**32 - 1)


def number(raw):
    return unpacked(raw)[0]


SNAPSHOT = {
    "Id": truncated, "ShiJian": truncated, "ChengJiaoLiang": truncated, "XianShou": truncated,
    "ZongChengJiaoBiShu": truncated, "NeiPan": truncated, "WaiPan": truncated, "ChiCang": truncated,
}
BAR = {"ShangZhangJiaShu": truncated, "XiaDieJiaShu": truncated, "ChiCang": truncated}


def record(message, columns, kinds):
    """An absent field of a record is 0, as proto2 has it."""
    return {name: kinds.get(name, number)(getattr(message, name)) for name in columns}


def filled(schema, id, seed):
    chance = random.Random(seed)
    message = schema.reply(id)
    field = message.DESCRIPTOR.fields_by_number[id]
    for _ in range(chance.randrange(1, 5)):
        schema.fill(getattr(message, field.name).add(), chance)
    return message


def bits(rows):
    """With floats as their bits, so that minus zero and NaN count."""
    if isinstance(rows, list):
        return [bits(each) for each in rows]
    if isinstance(rows, dict):
        return {name: bits(value) for name, value in rows.items()}
    return struct.pack("<d", rows) if isinstance(rows, float) else rows


def check(message, expected):
    table = tesparser.table(message.SerializePartialToString())
    assert bits(nested(table)) == bits(expected)
    assert bits(arrow_reader.array_rows(table.__arrow_c_array__())) == bits(expected)


@ROUNDS
@given(seed=SEEDS)
def test_snapshots(schema, seed):
    message = filled(schema, 20, seed)
    columns = tesparser.table(message.SerializePartialToString())[0, "Data"].columns
    assert len(columns) == 21
    check(message, [{"Obj": each.Obj, "Data": [record(each.Data, columns, SNAPSHOT)]} for each in message.RepDataQuoteDynaSingle])


@ROUNDS
@given(seed=SEEDS)
def test_bars(schema, seed):
    message = filled(schema, 21, seed)
    columns = [path[5:] for path in tesparser.columns(21) if path.startswith("Data.")]
    assert len(columns) == 14
    check(message, [
        {"Obj": each.Obj, "Data": [record(bar, columns, BAR) for bar in each.Data] or None}
        for each in message.RepDataQuoteKlineSingle
    ])


@ROUNDS
@given(seed=SEEDS)
def test_stock_records(schema, seed):
    message = filled(schema, 27, seed)
    columns = list(tesparser.columns(27))[1:]
    assert len(columns) == 10
    check(message, [{"obj": each.Obj, **record(each, columns, {})} for each in message.RepDataStkData])


@ROUNDS
@given(seed=SEEDS)
def test_rankings(schema, seed):
    message = filled(schema, 28, seed)
    expected = []
    for each in message.RepDataPaiXu:
        has_value = each.HasField("Value") and each.Value != 0x20000
        has_text = each.HasField("Text")
        expected.append({
            "Obj": each.Obj, "Value": number(each.Value) if has_value else None,
            "Text": each.Text if has_text else None, "HasBits": 2 * has_value + 4 * has_text,
        })
    check(message, expected)


@ROUNDS
@given(seed=SEEDS)
def test_rank_numbers(schema, seed):
    def to_32_bits(raw):
        whole = truncated(raw)
        return whole if -(2**31) <= whole < 2**31 else -(2**31)

    message = filled(schema, 115, seed)
    check(message, [{"Index": to_32_bits(each.MingCi)} for each in message.RepDataPaiMing])


def by_schema(message, unpack):
    """All fields as they were sent; 64-bit ones unpacked where `unpack` says so."""
    row = {}
    for field in message.DESCRIPTOR.fields:
        def value(each, field=field):
            if field.message_type is not None:
                return by_schema(each, unpack)
            if field.cpp_type == field.CPPTYPE_INT64 and unpack(field):
                return number(each)
            return int(each) if isinstance(each, bool) else each

        if field.label == field.LABEL_REPEATED:
            cells = [value(each) for each in getattr(message, field.name)]
            row[field.name] = (cells if field.message_type else [{field.name: each} for each in cells]) or None
        elif not message.HasField(field.name):
            row[field.name] = None
        else:
            cell = value(getattr(message, field.name))
            if field.cpp_type == field.CPPTYPE_INT64 and unpack(field) and wire.unpacked(getattr(message, field.name))[1] == 0:
                cell = None  # a number without a value
            row[field.name] = [cell] if field.message_type else cell
    return row


@ROUNDS
@given(seed=SEEDS)
def test_ticks_by_the_schema_alone(schema, seed):
    message = filled(schema, 22, seed)
    reply = message.SerializePartialToString()
    reader = tesparser.read(reply, id=22, unpack=True, flat=False)
    cells = reader.to_dict()
    rows = [dict(zip(cells, row)) for row in zip(*cells.values())]
    letters = {field.name: field.type for field in tesparser.read(reply, id=22, unpack=True).fields}
    unpack = lambda field: letters.get(field.name, letters.get(f"Data.{field.name}")) == "d"  # noqa: E731
    assert any(letter == "d" for letter in letters.values())
    assert bits(rows) == bits([by_schema(each, unpack) for each in message.RepDataQuoteTickSingle])


@ROUNDS
@given(seed=SEEDS, id=st.sampled_from([each.id for each in tesparser.ids() if each.has_table and each.id != 3]))
def test_every_table_reads_as_its_arrow(schema, seed, id):
    message = schema.reply(id)
    field = message.DESCRIPTOR.fields_by_number[id]
    if field.label != field.LABEL_REPEATED or field.message_type is None:
        pytest.skip("its payload is no list of messages")
    message = filled(schema, id, seed)
    try:
        table = tesparser.table(message.SerializePartialToString())
    except tesparser.FieldMissing:
        return
    if table is None:
        return
    rows = bits(nested(table))
    assert bits(arrow_reader.array_rows(table.__arrow_c_array__())) == rows
    frame = table.to_pandas(flat=False)
    assert len(frame) == len(rows) and list(frame.columns) == list(table.columns)
