"""Packed decimals, times, and the vocabulary."""

import struct

import numpy as np
import pandas as pd
import pytest
from hypothesis import given
from hypothesis import strategies as st

import tesparser
from wire import unpacked

INT64 = st.integers(min_value=-(2**63), max_value=2**63 - 1)


def bits(number):
    return struct.pack("<d", number)


@given(INT64)
def test_unpacks_one_bit_for_bit(raw):
    number, divisor = tesparser.unpack(raw, divisors=True)
    assert (bits(number), divisor) == (bits(unpacked(raw)[0]), unpacked(raw)[1])
    assert bits(tesparser.unpack(raw)) == bits(number)


@given(st.lists(INT64, max_size=50))
def test_unpacks_arrays_bit_for_bit(raw):
    array = np.array(raw, np.int64)
    numbers, divisors = tesparser.unpack(array, divisors=True)
    assert numbers.dtype == np.float64 and divisors.dtype == np.int32 and numbers.shape == array.shape
    assert numbers.tobytes() == b"".join(bits(unpacked(each)[0]) for each in raw)
    assert divisors.tolist() == [unpacked(each)[1] for each in raw]


def test_agrees_with_the_viewer(tesview):
    raw = [1234, 0x1004D2, 0x304D2, 0xA04D2, 0x104E240]
    said = tesview("number", *raw).decode()
    for value, number in zip(raw, (12.34, -12.34, 1.234, 1234, 12.3456)):
        assert tesparser.unpack(value) == number and f"{number:g}" in said
    assert bits(tesparser.unpack(0x100000)) == bits(-0.0)


def test_unpack_takes_what_holds_whole_numbers():
    packed = np.array([[1234, 0x304D2], [0x20000, -1]], np.int64)
    assert tesparser.unpack(packed).tolist() == [[12.34, 1.234], [0, 0]]
    assert tesparser.unpack(packed.T).tolist() == [[12.34, 0], [1.234, 0]]
    assert tesparser.unpack(packed[:, ::-1]).tolist() == [[1.234, 12.34], [0, 0]]
    assert tesparser.unpack(pd.Series([1234])).tolist() == [12.34]
    assert tesparser.unpack(np.array([1234], np.int32)).tolist() == [12.34]
    assert tesparser.unpack(np.array([2**63 + 5], np.uint64)).tolist() == [0.0]
    assert tesparser.unpack([]).tolist() == []
    masked = tesparser.unpack(np.ma.MaskedArray([1234, 5], mask=[False, True]))
    assert masked.mask.tolist() == [False, True] and masked[0] == 12.34
    for wrong in ([1.5], ["1"], 1.5):
        with pytest.raises(TypeError):
            tesparser.unpack(wrong)
    with pytest.raises(OverflowError):
        tesparser.unpack(2**63)


def test_times():
    both = "yyyymmdd yyyymmddhhmmss ?"
    found = tesparser.times([20240617093100, 20240617, 0, 20240231, -5], both)
    assert found.dtype == "M8[ms]"
    expected = np.array(["2024-06-17T09:31", "2024-06-17", "NaT", "NaT", "NaT"], "M8[ms]")
    assert np.array_equal(found, expected, equal_nan=True)
    # Bars have them as doubles, and what is unset has no time.
    assert np.isnat(tesparser.times(np.array([np.nan, np.inf, 20240617.5, 1e300]), both)).all()
    assert np.isnat(tesparser.times(np.ma.MaskedArray([20240617], mask=[True]), both)).all()
    assert np.isnat(tesparser.times([None, 20240617], both)).tolist() == [True, False]
    # 2024-06-17 07:00 in Greenwich is 15:00 in Beijing.
    assert tesparser.times([1718607600], "unix")[0] == np.datetime64("2024-06-17T15:00")
    assert tesparser.times([1718607600042], "unix_ms")[0] == np.datetime64("2024-06-17T15:00:00.042")
    assert tesparser.times([93005], "hhmmss")[0] == np.timedelta64(9 * 3600 + 30 * 60 + 5, "s")
    assert tesparser.times([[20240617]], both).shape == (1, 1)
    with pytest.raises(ValueError):
        tesparser.times([1], "currency")


def test_times_of_a_column(samples):
    frame = tesparser.read(samples / "21-QuoteKlineSingle.bin", id=21).to_pandas()
    times = tesparser.times(frame["Data.ShiJian"], tesparser.columns(21)["Data.ShiJian"])
    assert times[0] == np.datetime64("2024-06-17T09:31") and times[-1] == np.datetime64("2024-06-13")
    reader = tesparser.read(samples / "21-QuoteKlineSingle.bin", id=21)
    field = next(each for each in reader.fields if each.name == "Data.ShiJian")
    assert np.array_equal(tesparser.times(frame["Data.ShiJian"], field), times)


def test_ids(tesview):
    ids = {each.id: each for each in tesparser.ids()}
    assert list(ids) == sorted(ids)
    assert ids[21].name == "QuoteKlineSingle" and ids[21].field == "RepDataQuoteKlineSingle" and ids[21].has_table
    assert ids[22].name == "QuoteTickSingle" and not ids[22].has_table
    assert ids[321].types == ("DaDan",) and ids[44].types == ("Token",) and ids[21].types == ()
    assert ids[25].types == tuple(f"ZhiBiao{i}" for i in range(1, 17))
    # The Ids with a converter, 29 at least, are among those that the viewer lists.
    listed = [line for line in tesview("ids", "--table").decode().splitlines() if line.split()[:1] and line.split()[0].isdigit()]
    assert 29 <= sum(each.has_table for each in ids.values()) <= len(listed)


def test_columns():
    columns = tesparser.columns(21)
    assert list(columns)[:3] == ["Obj", "Data", "Data.ShiJian"] and len(columns) == 16
    assert columns["Data.ShouPanJia"].heading_zh == "收盘价" and columns["Data.ShouPanJia"].unit == "currency"
    assert list(tesparser.columns("quoteklinesingle")) == list(columns)
    assert tesparser.columns(321, "DaDan") and tesparser.columns(22) == {}
    with pytest.raises(KeyError):
        tesparser.columns("NoSuchReply")
