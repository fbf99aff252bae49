"""Replies of the market-data service as tables, JSON, NumPy arrays, data frames and Arrow.

    import tesparser
    table = tesparser.table(open("reply.bin", "rb").read())      # one reply
    frame = tesparser.read("capture/", id=21).to_pandas()        # many

Everything that takes bytes takes any bytes at all: what is no reply raises an exception that says why. Replies
are decoded without the interpreter's lock, on as many threads as call; only where one of less than 1 KB is given
by itself, the lock is kept for the few microseconds that it takes.
"""

from __future__ import annotations

from typing import Any, Dict, List, NamedTuple, Optional, Tuple, Union

import numpy as np

from . import _core
from . import _table as _table  # what Table can do
from ._core import Row, Table
from ._errors import Error, FieldMissing, Misfit, NotAReply, NotExpressible, NothingInIt, NoTableForm
from ._read import Batch, Counts, Field, Reader, Reply, Scan, read, replies, scan

__all__ = [
    "Batch", "Column", "Counts", "Error", "Field", "FieldMissing", "Id", "Misfit", "NoTableForm", "NotAReply",
    "NotExpressible", "NothingInIt", "Reader", "Reply", "Row", "Scan", "Table", "columns", "ids", "json", "read",
    "replies", "scan", "table", "times", "unpack", "why",
]


def table(reply: Any, type: Union[int, str, None] = None) -> Optional[Table]:
    """The table that a reply gives, or None: there is no table for its Id, or nothing in it.

    reply: bytes, or anything with the buffer protocol; copied. type: a layout ("DaDan", "ZhiBiao3", 103) in
    place of the one of the reply's Id. why() tells what None means.

    Raises NotAReply or FieldMissing for bytes that are no reply, KeyError for a name of no layout.

    >>> import tesparser
    >>> quotes = tesparser.table(open(samples / "20-QuoteDynaSingle.bin", "rb").read())
    >>> len(quotes), quotes.columns
    (8, ('Obj', 'Data'))
    >>> quotes[0, "Obj"], quotes[0]["Data"][0]["ZuiXinJia"]
    ('SH600000', 8.16)
    """
    return _core.table(reply, type)


def why(reply: Any, type: Union[int, str, None] = None) -> Optional[Exception]:
    """Why a reply gives no table: NoTableForm, NothingInIt, NotAReply, FieldMissing, or None if it gives one.

    The exception is returned, not raised.

    >>> import tesparser
    >>> tesparser.why(bytes([8, 21]))
    NothingInIt(...)
    """
    return _core.why(reply, type)


def json(reply: Any) -> str:
    """A whole reply as one line of JSON: every field that was sent, under its name in the schema.

    Bytes are base64, enumerations numbers, packed decimals their raw 64-bit numbers, unsigned 64-bit numbers
    taken as signed.

    Raises NotAReply, FieldMissing, or NotExpressible for a text that is not UTF-8 or a number that is not
    finite.

    >>> import tesparser
    >>> tesparser.json(bytes([8, 21]))
    '{"Id": 21}'
    """
    return _core.json(reply)


def _int64(values: Any) -> Any:
    """An array of whole numbers as contiguous int64, the bits of unsigned ones as they are."""
    array = np.asarray(values)
    if array.dtype.kind not in "iu" and array.size:
        raise TypeError(f"packed numbers are whole numbers, not {array.dtype}")
    if array.dtype == np.uint64:
        array = array.view(np.int64)
    return np.ascontiguousarray(array, np.int64)


def unpack(values: Any, divisors: bool = False) -> Any:
    """Unpacks packed decimals, one or an array of them.

    values: an int, or int64 of any shape (an array, a list, a Series); the mask of a masked array is kept.
    Returns a float, or float64 of the same shape; with ``divisors`` a pair, with the powers of ten by which
    the numbers were divided, int32. What holds no number (negative, or scale code 2 or above 10) is 0.0, and
    its divisor 0.

    Raises TypeError for what is not whole numbers, OverflowError for an int beyond 64 bits.

    >>> import tesparser
    >>> tesparser.unpack(0x304D2), tesparser.unpack([1234, 0x1004D2], divisors=True)
    (1.234, (array([ 12.34, -12.34]), array([100, 100], dtype=int32)))
    """
    if isinstance(values, int):
        numbers, powers = _core.unpack(np.array([values], np.int64))
        return (float(numbers[0]), int(powers[0])) if divisors else float(numbers[0])
    packed = _int64(values)
    numbers, powers = (part.reshape(packed.shape) for part in _core.unpack(packed.ravel()))
    if isinstance(values, np.ma.MaskedArray):
        numbers, powers = (np.ma.MaskedArray(part, mask=values.mask) for part in (numbers, powers))
    return (numbers, powers) if divisors else numbers


_NO_TIME = np.iinfo(np.int64).min


def times(values: Any, column: Union[str, Any] = "yyyymmdd yyyymmddhhmmss") -> Any:
    """Times as columns have them, to datetime64.

    values: whole numbers, of any shape, also as float64 (as bars have them); masked ones and NaN are NaT.
    column: what kind of time they are: a Column or a Field, or the words of its ``kind``: "yyyymmdd",
    "yyyymmddhhmmss", "unix" (seconds), "unix_ms"; with several the value says which.
    Returns datetime64[ms] of the same shape, in Beijing's time without a zone, NaT for what is no such time;
    for "hhmmss" and "hhmm", times of a day, timedelta64[ms] since midnight.

    Raises ValueError for a column that has no kind of time.

    >>> import tesparser
    >>> tesparser.times([20240617093100, 20240617, 0])
    array(['2024-06-17T09:31:00.000', '2024-06-17T00:00:00.000',
                               'NaT'], dtype='datetime64[ms]')
    """
    kind = column if isinstance(column, str) else column.kind
    if not _core.is_time(kind):
        raise ValueError(f"no kind of time: {kind!r}")
    array = np.ma.MaskedArray(values)
    if array.dtype.kind == "O":
        array = np.ma.MaskedArray([0 if each is None else each for each in array.filled(0)], mask=np.ma.getmaskarray(array))
    whole = array.filled(0)
    if whole.dtype.kind == "f":
        usable = np.isfinite(whole) & (np.abs(whole) < 2.0**63) & (np.trunc(whole) == whole)
        whole = np.where(usable, whole, 0)
    whole = np.ascontiguousarray(whole, np.int64)
    millis = _core.times(whole.ravel(), kind).reshape(whole.shape)
    millis[np.ma.getmaskarray(array)] = _NO_TIME
    of_a_day = set(kind.split()) <= {"hhmmss", "hhmm", "?"}
    return millis.view("m8[ms]" if of_a_day else "M8[ms]")


class Id(NamedTuple):
    """A kind of reply. What is a guess has " ?" behind it."""

    id: int
    name: str  #: "QuoteKlineSingle"
    heading: str  #: what it is, in English
    heading_zh: str
    family: str  #: "quote", "news"
    field: str  #: of the envelope, "RepDataQuoteKlineSingle"; empty if it has none
    has_table: bool
    types: Tuple[str, ...]  #: the layouts besides its own


def ids() -> List[Id]:
    """All Ids of the vocabulary, in ascending order.

    >>> import tesparser
    >>> [each.name for each in tesparser.ids() if each.id in (20, 21)]
    ['QuoteDynaSingle', 'QuoteKlineSingle']
    """
    return [Id(*each) for each in _core.ids()]


class Column(NamedTuple):
    """What is told of a column. What is a guess has " ?" behind it."""

    path: str  #: as flat rows name it: "Data.ShiJian"
    name: str
    type: str  #: a letter, as in Table.types
    heading: str  #: in English
    heading_zh: str
    meaning: str
    unit: str  #: "currency", "shares", "percent"; "varies" if it differs from row to row
    kind: str  #: words: "yyyymmdd", "unix", "mask", "code"
    source: str  #: the field that it is made of, "Data.ZuiXinJia"
    unset: str  #: when a cell is unset: "never", "absent"


def columns(id: Union[int, str], type: Union[int, str, None] = None) -> Dict[str, Column]:
    """The columns of an Id's table and of those inside it, by path, in their order.

    id: a number or a name. type: a layout in place of its own table. Empty for what has no table, or one
    whose columns are the sender's to choose.

    Raises KeyError for a name that there is not.

    >>> import tesparser
    >>> close = tesparser.columns("QuoteKlineSingle")["Data.ShouPanJia"]
    >>> close.heading, close.unit, close.type
    ('Close', 'currency', 'd')
    """
    number = _core.find_id(id) if isinstance(id, str) else id
    layout = _core.find_type(type) if isinstance(type, str) else type or 0
    told: Dict[str, Column] = {}
    for each in _core.columns(number, layout):
        column = Column(*each)
        told.setdefault(column.path, column)
    return told
