"""Captures on many processes and machines: readers as data frames of Dask.

    import tesparser.dask
    quotes = tesparser.dask.read("captures/*.bin", id=20, columns=["Obj", "ShiJian", "XianShou"])
    print(quotes.groupby("Obj")["Data.XianShou"].sum().compute())

A capture here is a file of delimited replies. It is cut into blocks, each of which begins where a reply begins: an
index tells where. Files are opened by fsspec, on the worker that reads them.
"""

from __future__ import annotations

import json
import lzma
import zlib
from typing import Any, Dict, Iterator, List, NamedTuple, Optional, Sequence, Tuple, Union

try:
    import dask
    import dask.dataframe as dd
    import fsspec
    import pandas as pd
except ImportError as error:
    raise ImportError("tesparser.dask needs pandas, dask and fsspec (Debian: python3-dask, python3-fsspec)") from error

import numpy as np

from . import _core
from ._errors import Misfit
from ._read import Reader
from ._read import read as _read_here

__all__ = ["Block", "Damage", "File", "Index", "index", "read"]

_WIRE = 3
_FORMS = ("delimited", "fixed32be", "fixed32le")
# What opening and unpacking raise.
_UNREADABLE = (OSError, EOFError, zlib.error, lzma.LZMAError)


class Block(NamedTuple):
    """The replies that begin in a block of a file, wherever they end."""

    begin: int  #: where the first of them begins, in bytes; of a packed file, in what was packed
    end: int  #: where the next block's first one begins
    runs: Tuple[Tuple[int, int, int], ...]  #: stretches of whole replies: begin, end, how many; what is between them is damaged
    ids: Dict[int, int]  #: how many replies of each Id; -1 for none
    before: int = 0  #: the number of its first reply in the file, less one; a damaged stretch takes a number, too


class File(NamedTuple):
    """A file of an index."""

    path: str  #: as fsspec takes it, with its protocol
    size: int  #: bytes of the file
    compression: Optional[str]
    blocks: Tuple[Block, ...]
    form: str = "delimited"


class Damage(NamedTuple):
    """A stretch of a file that is not whole replies."""

    path: str
    begin: int
    end: int


class Index:
    """Where the replies of captures are, for read(); index() makes it, and it may be kept in a file.

    ``files``: what it tells, File by File. Nothing changes it.
    """

    def __init__(self, files: Sequence[File]) -> None:
        self.files: Tuple[File, ...] = tuple(files)

    @property
    def ids(self) -> Dict[int, int]:
        """How many replies of each Id there are; -1 for none."""
        counts: Dict[int, int] = {}
        for file in self.files:
            for block in file.blocks:
                for id, count in block.ids.items():
                    counts[id] = counts.get(id, 0) + count
        return dict(sorted(counts.items()))

    @property
    def damage(self) -> List[Damage]:
        """The stretches that are not whole replies, in their order."""
        return [Damage(file.path, begin, end) for file in self.files for block in file.blocks for begin, end in _damage(block)]

    def save(self, path: str) -> None:
        """Writes it to a file, as JSON; path is anything that fsspec takes."""
        files = [[file.path, file.size, file.compression, [[*block[:3], sorted(block.ids.items()), block.before] for block in file.blocks], file.form] for file in self.files]
        with fsspec.open(path, "w") as out:
            json.dump({"tesparser.dask.Index": 1, "files": files}, out)

    @classmethod
    def load(cls, path: str) -> Index:
        """Reads what save() wrote. Raises ValueError for anything else."""
        with fsspec.open(path, "r") as text:
            told = json.load(text)
        if not isinstance(told, dict) or told.get("tesparser.dask.Index") != 1:
            raise ValueError(f"{path} is no index of captures, or one of another version")
        return cls([File(name, size, packed, tuple(_block(*each) for each in blocks), form) for name, size, packed, blocks, form in told["files"]])

    def __repr__(self) -> str:
        blocks = sum(len(file.blocks) for file in self.files)
        return f"Index: {len(self.files)} files, {blocks} blocks, {sum(self.ids.values())} replies, {len(self.damage)} damaged stretches"


def _block(begin: int, end: int, runs: Any, ids: Any, before: int) -> Block:
    return Block(begin, end, tuple((a, b, count) for a, b, count in runs), dict(ids), before)


def _damage(block: Block) -> Iterator[Tuple[int, int]]:
    at = block.begin
    for begin, end, _ in block.runs:
        if at < begin:
            yield at, begin
        at = end
    if at < block.end:
        yield at, block.end


# ---- finding replies ----------------------------------------------------------------------------------------


class _Place(NamedTuple):
    """A file as the workers open it."""

    fs: Any
    name: str  # as the file system has it
    path: str  # with the protocol
    size: int
    compression: Optional[str]

    def open(self) -> Any:
        return fsspec.core.OpenFile(self.fs, self.name, compression=self.compression).open()


def _places(paths: Any, compression: Optional[str], storage_options: Optional[Dict[str, Any]]) -> List[_Place]:
    fs, _, names = fsspec.core.get_fs_token_paths(paths, storage_options=storage_options)
    places = []
    for name in names:
        # As in a directory that tesparser.read() is given: its files by name.
        inside = sorted(each["name"] for each in fs.ls(name, detail=True) if each["type"] == "file") if fs.isdir(name) else [name]
        for each in inside:
            packed = fsspec.utils.infer_compression(each) if compression == "infer" else compression
            places.append(_Place(fs, each, fs.unstrip_protocol(each), int(fs.size(each)), packed))
    if not places:
        raise FileNotFoundError(f"{paths}: there are no files")
    return places


def _walk(place: _Place, form: str, begin: int, end: Optional[int], searching: bool) -> Block:
    """The replies that begin from `begin` on and before `end`; with `searching`, none needs to begin at `begin`."""
    at = begin
    try:
        with place.open() as file:
            file.seek(begin)
            try:
                first, last, runs, ids = _core.walk(file, form, begin, end, searching)
            finally:
                at = file.tell()
    except _UNREADABLE as error:
        raise OSError(f"{place.path}, from offset {at} on: {error}") from error
    return Block(first, last, tuple(runs), ids)


class _Walked:
    """The blocks of one file, put together so that they are what one walk through all of it gives."""

    def __init__(self, place: _Place, blocksize: int) -> None:
        self.place = place
        cuts = [0] if place.compression is not None else list(range(0, place.size, blocksize)) or [0]
        self._ends: List[Optional[int]] = [*cuts[1:], None]
        self._walked: List[Optional[Block]] = [None] * len(cuts)
        self._begin = 0
        self.blocks: List[Block] = []
        # Where the first reply of a block is, is a guess at first, so that blocks are walked at the same time.
        self.wanted = [(i, cut, end, cut > 0) for i, (cut, end) in enumerate(zip(cuts, self._ends))]

    def take(self, found: Sequence[Block]) -> None:
        """Blocks for what was wanted. Then `wanted` is what has to be walked again: guesses that were wrong."""
        for (i, *_), block in zip(self.wanted, found):
            self._walked[i] = block
        self.wanted = []
        while len(self.blocks) < len(self._walked):
            i = len(self.blocks)
            block, end = self._walked[i], self._ends[i]
            if end is not None and self._begin >= end:
                block = Block(self._begin, self._begin, (), {})
            elif block is None or block.begin != self._begin:
                self.wanted = [(i, self._begin, end, False)]
                return
            before = self.blocks[-1] if self.blocks else None
            number = 0 if before is None else before.before + sum(count for _, _, count in before.runs) + len(list(_damage(before)))
            self.blocks.append(block._replace(before=number))
            self._begin = block.end


def index(
    paths: Any,
    *,
    form: str = "delimited",
    blocksize: Union[int, str] = "64MB",
    compression: Optional[str] = "infer",
    storage_options: Optional[Dict[str, Any]] = None,
) -> Index:
    """Finds where the replies of captures are, by Dask's current scheduler.

    paths, form, blocksize, compression, storage_options: as for read().

    All blocks of all files are read once, at the same time; of replies, only lengths and Ids are looked at. Each
    block but the first guesses where its first reply begins; one that disagrees with where the block before it
    ends is walked again from there. So the index is what one walk from the start of each file gives.

    Raises FileNotFoundError, and OSError with the file and the offset.
    """
    size = dask.utils.parse_bytes(blocksize)
    if size < 1:
        raise ValueError("blocksize is a number of bytes")
    if form not in _FORMS:
        raise ValueError(f"no form of streams \"{form}\"; known: {', '.join(_FORMS)}")
    walks = [_Walked(place, size) for place in _places(paths, compression, storage_options)]
    walk = dask.delayed(_walk, pure=False)
    while any(each.wanted for each in walks):
        tasks = [[walk(each.place, form, begin, end, guess) for _, begin, end, guess in each.wanted] for each in walks]
        for each, found in zip(walks, dask.compute(tasks)[0]):
            each.take(found)
    return Index([File(each.place.path, each.place.size, each.place.compression, tuple(each.blocks), form) for each in walks])


# ---- reading ------------------------------------------------------------------------------------------------

_COUNTED = ("_reply", "_offset")
_NULLABLE = {np.dtype(name.lower()): name for name in ("Int8", "Int16", "Int32", "Int64", "UInt8", "UInt16", "UInt32", "UInt64")}


def _settled(frame: Any) -> Any:
    """Whole numbers as pandas' nullable ones: which partitions have all of them set cannot be told before."""
    dtypes = {i: _NULLABLE[dtype] for i, (name, dtype) in enumerate(zip(frame.columns, frame.dtypes)) if name not in _COUNTED and dtype in _NULLABLE}
    if not dtypes:
        return frame
    names = frame.columns
    frame.columns = range(len(names))
    frame = frame.astype(dtypes, copy=False)
    frame.columns = names
    return frame


class _Part(NamedTuple):
    """What a partition is made of."""

    place: _Place
    form: str
    block: Block


def _fetch(part: _Part) -> bytes:
    block = part.block
    try:
        with part.place.open() as file:
            file.seek(block.begin)
            data = file.read(block.end - block.begin)
    except _UNREADABLE as error:
        raise OSError(f"{part.place.path}, offsets {block.begin} to {block.end}: {error}") from error
    if len(data) != block.end - block.begin:
        raise OSError(f"{part.place.path}: ends at offset {block.begin + len(data)}, was larger when it was indexed")
    return bytes(data)


class _ReadPart:
    """Makes the frame of a partition; what from_map() calls on workers."""

    def __init__(self, asked: Dict[str, Any], stops: bool, head: bytes, meta: Any, full: Any) -> None:
        self._asked = asked
        self._stops = stops
        # A reply that tells the columns, where the description does not; its rows are taken off again.
        self._head = head
        self._meta = meta
        self._full = full

    @property
    def columns(self) -> List[str]:
        return list(self._meta.columns)

    def project_columns(self, columns: Sequence[str]) -> _ReadPart:
        names = list(columns)
        if names == self.columns:
            return self
        asked = self._asked
        if asked["flat"] and not asked["path"]:
            asked = {**asked, "columns": _own_names(names, list(self._full.columns))}
        return _ReadPart(asked, self._stops, self._head, self._meta[names], self._full)

    def __call__(self, part: _Part) -> Any:
        data = _fetch(part)
        damaged = list(_damage(part.block))
        if damaged and self._stops:
            begin, end = damaged[0]
            number = part.block.before + sum(count for at, _, count in part.block.runs if at < begin) + 1
            raise Misfit(f"{part.place.path}: reply {number} at offset {begin}: no reply; {end - begin} bytes up to offset {end} are damaged", number, begin, part.place.path)
        frames = []
        number = part.block.before
        at = part.block.begin
        for begin, end, count in part.block.runs:
            number += at < begin
            at = end
            if count == 0:
                continue
            frames.append(self._frame(part, data[begin - part.block.begin : end - part.block.begin], begin, number))
            number += count
        frames = [frame for frame in frames if len(frame)] or frames[:1]
        if not frames:
            return self._meta
        return frames[0] if len(frames) == 1 else pd.concat(frames, ignore_index=True)

    def _frame(self, part: _Part, data: bytes, base: int, before: int) -> Any:
        reader = _reader(self._head + data, part.form, self._asked, self._stops)
        try:
            frame = reader.to_pandas()
        except Misfit as misfit:
            raise self._told(misfit, part, data, base, before) from None
        if self._head:
            frame = frame.iloc[len(_reader(self._head, part.form, self._asked, True).to_pandas()) :].reset_index(drop=True)
        for name, add in (("_reply", before - bool(self._head)), ("_offset", base - len(self._head))):
            if name in frame:
                frame[name] += np.uint64(add % 2**64)
        return _settled(frame)[self.columns]

    def _told(self, misfit: Misfit, part: _Part, data: bytes, base: int, before: int) -> Misfit:
        """The same, with the places of the whole file."""
        number, offset = misfit.number + before - bool(self._head), misfit.offset + base - len(self._head)
        why = str(misfit)
        alone = f"reply {misfit.number} at offset {misfit.offset}: "
        why = why[len(alone) :] if why.startswith(alone) else why
        return Misfit(f"{part.place.path}: reply {number} at offset {offset}: {why}", number, offset, part.place.path)


def _reader(data: bytes, form: str, asked: Dict[str, Any], stops: bool) -> Reader:
    return _read_here(data, form="whole:" + form, errors="raise" if stops else "skip", **asked)


def _own_names(wanted: Sequence[str], all_names: Sequence[str]) -> List[str]:
    """The columns to decode, by the names in their own tables: those wanted, and one of each other table. Without any
    column of a table there would be no rows for its rows."""
    names = [name for name in all_names if name not in _COUNTED]
    one_of_each = {name.rpartition(".")[0]: name for name in [*reversed(names), *wanted] if name not in _COUNTED}
    return sorted({name.rpartition(".")[2] for name in [*wanted, *one_of_each.values()] if name not in _COUNTED})


def _first_reply(part: _Part, id: int) -> bytes:
    """The first reply of the Id, with its length before it."""
    data = _fetch(part)
    for begin, end, _ in part.block.runs:
        run = data[begin - part.block.begin : end - part.block.begin]
        found = _core.scan([(b"(bytes)", run)], "whole:" + part.form)
        at = np.flatnonzero(found[2] == id)
        if len(at):
            where = int(at[0])
            stop = int(found[0][where + 1]) if where + 1 < len(found[0]) else len(run)
            return run[int(found[0][where]) : stop]
    return b""


def read(
    paths: Any,
    id: Union[int, str],
    type: Union[int, str, None] = None,
    path: Union[str, Sequence[str]] = (),
    columns: Optional[Sequence[str]] = None,
    flat: bool = True,
    unpack: Union[bool, Sequence[str], None] = None,
    *,
    decode: bool = False,
    errors: str = "raise",
    number: bool = False,
    offset: bool = False,
    form: str = "delimited",
    blocksize: Union[int, str] = "64MB",
    compression: Optional[str] = "infer",
    storage_options: Optional[Dict[str, Any]] = None,
) -> Any:
    """A dask DataFrame of the rows of all replies of one Id, in the order of files and offsets.

    paths: a path, one with wildcards, a directory, or a list of these, as fsspec takes them ("s3://bucket/*.bin");
        or an Index of them, which spares the walk through the files.
    id, type, path, columns, flat, unpack, decode, number, offset: as for tesparser.read(). The Id has to be named.
    errors: "raise" raises Misfit where a reply is lost, with its file and offset, and computing ends; "skip"
        leaves misfits and damaged stretches out.
    form: how the length before each reply is written: "delimited" (as a varint), "fixed32be" or "fixed32le" (in four
        bytes, big or little end first). An Index has its own.
    blocksize: bytes of a file that become a partition, as a number or as in "64MB". A reply belongs to the block
        in which it begins. Partitions without a reply of the Id are left out.
    compression: as fsspec names it ("gzip", "xz", "bz2", "zstd"); "infer" tells it by the file's name. A packed
        file is one partition, whatever its size: it has to fit into a worker's memory unpacked.
    storage_options: for fsspec.

    Unless an Index is given, index() walks through all files once, when this is called, on the workers; nothing
    is decoded then, but for one reply of wire tables (Id 3): their columns are the sender's, and the first one's
    are the frame's, as in tesparser.read(). For all others the description of the columns tells the types. The
    rows and their order do not depend on the partitions, except for the index, which begins with 0 in each.
    Types are those of Reader.to_pandas(), except that whole numbers are always nullable (Int64). Divisions are
    not known.

    Raises KeyError for an Id, a layout or a column that there is not, NoTableForm for an Id without a table,
    FileNotFoundError, OSError; ValueError if a file's size is not what the Index says.
    """
    if errors not in ("raise", "skip"):
        raise ValueError('errors is "raise" or "skip"')
    if id is None or id == 0:
        raise ValueError("the Id has to be named: partitions are read on their own, and the first reply decides nothing")
    wanted = _core.find_id(id) if isinstance(id, str) else id
    asked = {
        "id": wanted, "type": type, "path": path, "columns": list(columns) if columns else None, "flat": flat,
        "unpack": unpack, "decode": decode, "number": number, "offset": offset,
    }
    full = _reader(b"", form, asked, True).to_pandas()  # says at once what is wrong with the request
    found = paths if isinstance(paths, Index) else index(paths, form=form, blocksize=blocksize, compression=compression, storage_options=storage_options)
    parts = _parts(found, isinstance(paths, Index), wanted, errors == "raise", storage_options)
    head = b""
    if wanted == _WIRE and not decode:
        of_id = [part for part in parts if wanted in part.block.ids]
        head = dask.compute(dask.delayed(_first_reply, pure=False)(of_id[0], wanted))[0] if of_id else b""
        full = _reader(head, of_id[0].form, asked, True).to_pandas().iloc[:0] if head else full
    meta = _settled(full)
    return dd.from_map(_ReadPart(asked, errors == "raise", head, meta, meta), parts, meta=meta, label="tesparser-read")


def _parts(found: Index, kept: bool, id: int, stops: bool, storage_options: Any) -> List[_Part]:
    parts = []
    empty = []
    for file in found.files:
        fs, name = fsspec.core.url_to_fs(file.path, **(storage_options or {}))
        if kept and int(fs.size(name)) != file.size:
            raise ValueError(f"{file.path} has another size than when it was indexed: {file.size} bytes")
        place = _Place(fs, name, file.path, file.size, file.compression)
        for block in file.blocks:
            needed = id in block.ids or (stops and any(_damage(block)))
            (parts if needed else empty).append(_Part(place, file.form, block))
    # A frame without rows has a partition, too.
    return parts or [part._replace(block=part.block._replace(end=part.block.begin, runs=())) for part in empty[:1]]
