"""Many replies: readers, raw replies, and where replies are."""

from __future__ import annotations

import os
from typing import Any, Callable, Dict, Iterator, List, NamedTuple, Optional, Sequence, Tuple, Union

import numpy as np

from . import _core, _frames, _show
from ._errors import Misfit

#: What replies are read from: a path, several, bytes in memory, or a binary file that is open.
Source = Any

_FORMATS = {"c": "i1", "C": "u1", "s": "i2", "S": "u2", "i": "i4", "I": "u4", "l": "i8", "L": "u8", "f": "f4", "g": "f8"}
_LETTERS = {**{f: f for f in "cCiIfn"}, "s": "h", "S": "H", "l": "q", "L": "Q", "g": "d", "u": "s", "z": "b", "+l": "t"}


def _has_buffer(source: Any) -> bool:
    try:
        memoryview(source).release()
    except TypeError:
        return False
    return True


def _paths(path: bytes) -> Tuple[List[bytes], int]:
    os.stat(os.fsdecode(path))  # FileNotFoundError, PermissionError
    files, size = _core.files(path)
    if not files:
        raise FileNotFoundError(f"{os.fsdecode(path)}: there are no files in it")
    return files, size


def _sources(source: Source) -> Tuple[List[Tuple[bytes, Any]], int]:
    """Names and what _core reads, None for a file; and the bytes of all, 0 where these are not known."""
    if isinstance(source, (str, os.PathLike)):
        files, size = _paths(os.fsencode(source))
        return [(file, None) for file in files], size
    if _has_buffer(source):
        return [(b"(bytes)", source)], memoryview(source).nbytes
    if hasattr(source, "read"):
        return [(str(getattr(source, "name", "(file)")).encode(errors="replace"), source)], 0
    try:
        parts = [_sources(each) for each in source]
    except TypeError:
        raise TypeError(f"replies are read from paths, bytes or open files, not from {type(source).__name__}") from None
    named = [pair for pairs, _ in parts for pair in pairs]
    return named, sum(size for _, size in parts) if all(size for _, size in parts) else 0


class Reply(bytes):
    """The bytes of one reply, and where they were.

    ``number``: which one of its source, from 1. ``offset``: where it begins there, in bytes; in a log, where
    its line does. ``source``: the name of the source.
    """

    number: int = 0
    offset: int = 0
    source: str = ""


class _Errors:
    """What `errors` of read() and replies() says."""

    def __init__(self, errors: Union[str, Callable[[Misfit], Any]]) -> None:
        if errors not in ("raise", "skip") and not callable(errors):
            raise ValueError('errors is "raise", "skip" or a function')
        self.stops = isinstance(errors, str) and errors == "raise"
        self.call: Any = errors if callable(errors) else True

    def for_core(self) -> Any:
        return None if self.stops else self.call


def replies(source: Source, *, form: str = "auto", errors: Union[str, Callable[[Misfit], Any]] = "raise") -> Iterator[Reply]:
    """The raw replies of a source, one by one, in memory for one reply.

    source: as for read(). form: how it holds replies, as the viewer's --from has it: "raw", "delimited",
    "fixed32be", "fixed32le", "hex", "base64", "lines", "text"; "auto" recognises it. errors: "raise" raises Misfit where a reply is
    lost and ends there; "skip" goes on behind it; a function is called with the Misfit instead.

    Raises OSError if the source cannot be read.

    >>> import tesparser
    >>> [(reply.number, reply.offset, len(reply) > 300) for reply in tesparser.replies(samples / "20-QuoteDynaSingle.bin")]
    [(1, 0, True)]
    """
    wanted = _Errors(errors)
    found = _core.ReplyIterator(_sources(source)[0], form)
    while True:
        try:
            data, number, offset, name = found.next()
        except StopIteration:
            return
        except Misfit as misfit:
            if wanted.stops:
                raise
            if callable(wanted.call):
                wanted.call(misfit)
            continue
        reply = Reply(data)
        reply.number, reply.offset, reply.source = number, offset, name
        yield reply


class Scan(NamedTuple):
    """Where the replies of a source are: arrays of one length, and what was wrong."""

    offset: Any  #: int64: where each reply begins in its source, in bytes; in a log, where its line does
    length: Any  #: int64: the reply's own bytes, without a length before it, and decoded where it was text
    id: Any  #: int32: the Id that it carries; -1 for none
    source: Any  #: int32: in which of the sources it is
    sources: Tuple[str, ...]  #: their names
    errors: Tuple[str, ...]  #: a sentence for each stretch that could not be read


def scan(source: Source, *, form: str = "auto") -> Scan:
    """Where each reply of a source is, how long it is, and its Id, without decoding any of them.

    source, form: as for replies(). In a stream of replies each with its length before it, ``offset`` is that
    of the length. Raises OSError if a source cannot be read.

    >>> import tesparser
    >>> found = tesparser.scan(samples / "20-QuoteDynaSingle.bin")
    >>> found.id.tolist(), found.offset.tolist()
    ([20], [0])
    """
    sources = _sources(source)[0]
    offset, length, ids, which, errors = _core.scan(sources, form)
    return Scan(offset, length, ids, which, tuple(os.fsdecode(name) for name, _ in sources), tuple(errors))


class Field(NamedTuple):
    """A column of a reader."""

    name: str  #: "Data.ShiJian" where rows are flat
    type: str  #: a letter, as in Table.types
    heading: str  #: in English; what is a guess has " ?" behind it, here and below
    heading_zh: str
    meaning: str
    unit: str
    kind: str  #: words, for times(): "yyyymmdd", "unix"


class Counts(NamedTuple):
    """What became of the replies of a source."""

    replies: int  #: all that were read
    rows: int
    empty: int  #: gave no table, or one without rows
    passed_over: int  #: had other Ids than the one that was asked for
    misfits: int  #: could not be read, or have no place among the others
    lookalikes: int  #: lines of logs that looked like replies and were none


def _letter(format: str) -> str:
    if format.startswith("+w:"):
        count, _, element = format[3:].partition(":")
        return count + _letter(element)
    return _LETTERS.get(format, "T" if format.startswith("tss:") else "")


class Batch:
    """Some rows of a reader, as columns; it keeps its memory as long as anybody has a view of it."""

    def __init__(self, columns: Any) -> None:
        self._columns = columns

    def __len__(self) -> int:
        return int(self._columns.length)

    @property
    def columns(self) -> Tuple[str, ...]:
        """The names of the columns."""
        return tuple(self._columns.name(i) for i in range(self._columns.count))

    @property
    def types(self) -> Tuple[str, ...]:
        """The types of the columns, as in Table.types."""
        return tuple(_letter(self._columns.format(i)) for i in range(self._columns.count))

    def _index(self, column: Union[int, str]) -> int:
        if isinstance(column, str):
            if column not in self.columns:
                raise KeyError(column)
            return self.columns.index(column)
        return range(self._columns.count)[column]

    def to_numpy(self, column: Union[int, str]) -> Any:
        """A column as a masked array, as Table.to_numpy() has it; tables inside are lists of dicts."""
        index = self._index(column)
        return _frames.masked((self._columns.values(index, False), self._columns.mask(index)))

    def __getitem__(self, column: Union[int, str]) -> Any:
        return self.to_numpy(column)

    def to_pandas(self) -> Any:
        """The rows as a pandas.DataFrame of its own memory, with types as Table.to_pandas() has them."""
        parts = _frames.Parts()
        parts.add(self._columns, False)
        return parts.frame()

    def to_dict(self) -> Dict[str, List[Any]]:
        """Lists of the columns' cells by name, as Python has them."""
        return _frames.to_dict(self._columns)

    def __arrow_c_array__(self, requested_schema: Optional[object] = None) -> Tuple[object, object]:
        """Arrow's PyCapsule interface. Memory is shared; ``requested_schema`` is not followed."""
        return self._columns.capsules()

    def _grid(self) -> Tuple[Any, ...]:
        rows = "1 row" if len(self) == 1 else f"{len(self)} rows"
        return f"Batch: {rows}, {len(self.columns)} columns", self.columns, self.types, len(self), self._columns.cell

    def __repr__(self) -> str:
        return _show.text(*self._grid())

    def _repr_html_(self) -> str:
        return _show.as_html(*self._grid())


class Reader:
    """The rows of a source's replies; read() makes it.

    Iteration gives Batches, in memory for one batch, and begins at the start again each time, except where
    the source is an open file. Threads may have readers of their own.
    """

    def __init__(self, source: Source, form: str, asked: Dict[str, Any], errors: _Errors, progress: bool) -> None:
        self._sources, self._size = _sources(source)
        self._form = form
        self._asked = {**asked, "on_misfit": errors.for_core()}
        self._progress = progress
        self._counts: Optional[Counts] = None
        self._fields: Optional[List[Tuple[str, str, Dict[str, str]]]] = None
        self._once = any(each is not None and not _has_buffer(each) for _, each in self._sources)
        self._stream: Any = None
        self._open()  # says at once what is wrong with the request

    def _open(self) -> Any:
        """A pass from the start, or the one that has been begun where there is but one."""
        if self._stream is None or not self._once:
            self._stream = _core.Stream(self._sources, self._form, self._asked)
        return self._stream

    @property
    def fields(self) -> List[Field]:
        """The columns. Known before a reply is read, except for wire tables and without an Id."""
        if self._fields is None:
            self._fields = self._stream.fields()
        return [
            Field(name, _letter(format), told.get("heading", ""), told.get("heading_zh", ""), told.get("meaning", ""), told.get("unit", ""), told.get("kind", ""))
            for name, format, told in self._fields
        ]

    @property
    def columns(self) -> Tuple[str, ...]:
        """The names of the columns."""
        return tuple(field.name for field in self.fields)

    @property
    def counts(self) -> Counts:
        """What became of the replies of the last pass, as far as it went."""
        return self._counts if self._counts is not None else Counts(0, 0, 0, 0, 0, 0)

    def _batches(self) -> Iterator[Any]:
        stream = self._open()
        self._counts = Counts(*stream.counts)
        bar = _bar(self._size) if self._progress else None
        try:
            while True:
                batch = stream.next()
                self._counts = Counts(*stream.counts)
                if bar is not None:
                    bar.update(stream.position - bar.n)
                if batch is None:
                    return
                yield batch
        finally:
            if bar is not None:
                bar.close()

    def __iter__(self) -> Iterator[Batch]:
        for batch in self._batches():
            yield Batch(batch)

    def to_pandas(self) -> Any:
        """All rows as one pandas.DataFrame of its own memory, with types as Table.to_pandas() has them.

        Where all rows fit one batch, columns without nulls are the memory that they were decoded into.
        """
        parts = _frames.Parts()
        for batch in self._batches():
            parts.add(batch, True)
        if parts.names:
            return parts.frame()
        fields = self._stream.fields()
        return _frames.frame([name for name, _, _ in fields], [[(_no_values(format), None)] for _, format, _ in fields], 0)

    def to_dict(self) -> Dict[str, List[Any]]:
        """Lists of the columns' cells by name, as Python has them: None, int, float, str, bytes, list, dict."""
        lists: Dict[str, List[Any]] = {}
        for batch in self._batches():
            for name, cells in _frames.to_dict(batch).items():
                lists.setdefault(name, []).extend(cells)
        return lists or {name: [] for name in self.columns}

    def __arrow_c_stream__(self, requested_schema: Optional[object] = None) -> object:
        """Arrow's PyCapsule interface: a stream of struct arrays, from the start of the source.

        The consumer pulls replies through it, on any thread, one at a time, without the interpreter's lock.
        ``requested_schema`` is not followed, which the interface allows.
        """
        stream = self._open()
        self._stream = None if self._once else _core.Stream(self._sources, self._form, self._asked)
        return stream.capsule()

    def __repr__(self) -> str:
        names = ", ".join(os.fsdecode(name) for name, _ in self._sources[:3]) + (", …" if len(self._sources) > 3 else "")
        return f"Reader of {names}"


def _no_values(format: str) -> Any:
    if format.startswith("tss:"):
        return np.empty(0, "M8[s]")
    return np.empty(0, _FORMATS.get(format, "O"))


def _bar(size: int) -> Any:
    try:
        from tqdm.auto import tqdm
    except ImportError:
        return None
    return tqdm(total=size or None, unit="B", unit_scale=True)


def read(
    source: Source,
    id: Union[int, str, None] = None,
    type: Union[int, str, None] = None,
    path: Union[str, Sequence[str]] = (),
    columns: Optional[Sequence[str]] = None,
    flat: bool = True,
    unpack: Union[bool, Sequence[str], None] = None,
    *,
    decode: bool = False,
    form: str = "auto",
    errors: Union[str, Callable[[Misfit], Any]] = "raise",
    number: bool = False,
    offset: bool = False,
    batch_rows: int = 65536,
    progress: bool = False,
) -> Reader:
    """A reader of the rows of all replies of one Id.

    source: a path of a file or of a directory, whose files are read by name; an object with the buffer
        protocol, which is held meanwhile; a binary file that is open; or a list of these. Any form that the
        viewer takes is recognised; ``form`` names it, as for replies().
    id: a number or a name ("QuoteKlineSingle"); replies of other Ids are passed over and counted. None: the
        first reply decides, and one of another Id is a misfit.
    type: a layout ("DaDan", 101) in place of the Id's own table.
    decode: by the schema alone, for Ids without a table. unpack, which implies it: the names of 64-bit
        fields to unpack, or True for all of market data that are not known to be plain.
    flat: a row for each innermost row, beside the cells around it, under names such as "Data.ShiJian"; else
        tables inside are lists.
    path: the rows of a table inside alone, as in "Data" or "Data/Inner", without what is around them.
    columns: only these, by the names that they have in their own table.
    number, offset: columns "_reply" and "_offset" tell which reply a row is from, and where it was.
    errors: "raise" raises Misfit, behind the rows before it; "skip" leaves misfits out, see Reader.counts; a
        function is called with each Misfit that is left out.
    batch_rows: a batch is handed out when it has that many rows; a reply is never divided.
    progress: shows a bar by tqdm, where that is installed.

    Raises KeyError for an Id, a layout or a column that there is not, OSError if the source cannot be read,
    NoTableForm for an Id without a table. Times are numbers, as they were sent: times() converts them.

    >>> import tesparser
    >>> bars = tesparser.read(samples / "21-QuoteKlineSingle.bin", id="QuoteKlineSingle", columns=["Obj", "ShouPanJia"])
    >>> bars.to_pandas().head(2)
            Obj  Data.ShouPanJia
    0  SH600000             8.19
    1  SH600000             8.17
    """
    if path and (number or offset):
        raise ValueError("rows of tables inside have no reply's number or offset beside them; leave out path")
    number_of_id = _core.find_id(id) if isinstance(id, str) else id or 0
    fields = [] if unpack is None or isinstance(unpack, bool) else list(unpack)
    asked = {
        "id": number_of_id,
        "type": _core.find_type(type) if isinstance(type, str) else type,
        "decode": decode or bool(unpack),
        "unpack_all": unpack is True,
        "unpack_fields": fields,
        "path": [part for part in path.split("/") if part] if isinstance(path, str) else list(path),
        "columns": list(columns or ()),
        "flat": flat,
        "batch_rows": batch_rows,
        "number": number,
        "offset": offset,
    }
    return Reader(source, form, asked, _Errors(errors), progress)
