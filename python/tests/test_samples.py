"""Every sample gives what the viewer says of it."""

import base64
import json
import pathlib

import numpy as np
import pandas as pd
import pytest

import arrow_reader
import tesparser

SOURCE = pathlib.Path(__file__).resolve().parents[2]
NAMES = sorted(path.stem for path in (SOURCE / "samples").glob("*.txtpb"))


def type_of(name):
    return int(name.split("-")[1]) if name.startswith("typed-") else None


def flat_names(table, prefix=""):
    """Names of a flat row, with the letter of each column."""
    letters = {}
    for index, (name, letter) in enumerate(zip(table.columns, table.types)):
        # A name that is taken has its index behind it.
        name = prefix + name if prefix + name not in letters else f"{prefix}{name}#{index}"
        letters[name] = letter
        if letter == "t":
            for row in table:
                if row[index] is not None:
                    letters.update(flat_names(row[index], f"{name}."))
    return letters


def agrees(value, said, letter):
    """Whether a cell is what a line of the viewer has."""
    if value is None or said is None:
        return value is None and said is None
    if letter == "b":
        return bytes(value) == base64.b64decode(said)
    if letter == "f":
        return np.float32(value) == np.float32(said)
    if isinstance(value, (list, np.ndarray)):
        return list(value) == said
    return value == said


def check_rows(rows, lines, letters):
    assert len(rows) == len(lines)
    for row, line in zip(rows, lines):
        for name, letter in letters.items():
            if letter != "t":
                assert agrees(row[name], line.get(name), letter), (name, row[name], line.get(name))
        beyond = {name for name in line if not name.startswith("_")} - set(letters)
        assert not beyond


@pytest.mark.parametrize("name", NAMES)
def test_is_what_the_viewer_shows(name, samples, sample, ndjson):
    type = type_of(name)
    lines = ndjson(*(["--type", type] if type else []), samples / f"{name}.bin")
    table = tesparser.table(sample(name), type)
    if "_json" in lines[0]:
        assert table is None
        assert isinstance(tesparser.why(sample(name)), tesparser.NoTableForm)
        assert json.loads(tesparser.json(sample(name))) == lines[0]["_json"]
        with pytest.raises(tesparser.NoTableForm):
            tesparser.read(samples / f"{name}.bin", id=table_id(lines), type=type).to_dict()
        return
    letters = flat_names(table)
    cells = tesparser.read(samples / f"{name}.bin", type=type).to_dict()
    rows = [dict(zip(cells, row)) for row in zip(*cells.values())]
    check_rows(rows, lines, letters)
    # The same by way of the table, the frame and Arrow's capsules.
    frame = table.to_pandas()
    assert len(frame) == len(lines)
    assert list(frame.columns) == list(cells)
    for column in cells:
        for value, cell in zip(frame[column], cells[column]):
            assert same(value, cell), column
    assert arrow_reader.array_rows(table.__arrow_c_array__()) == nested(table)
    found, _ = arrow_reader.stream_rows(tesparser.read(samples / f"{name}.bin", type=type).__arrow_c_stream__())
    assert found == rows


def table_id(lines):
    return lines[0]["_id"]


def same(value, cell):
    if cell is None:
        return value is None or pd.isna(value)
    if isinstance(cell, list):
        return list(value) == cell
    return value == cell


def nested(table):
    """The rows of a table, cell by cell, as lists of dicts."""

    def value(cell):
        return nested(cell) if isinstance(cell, tesparser.Table) else cell

    return [{name: value(cell) for name, cell in zip(row.keys(), row)} for row in table]


def test_damaged_reply_raises(sample):
    for call in (tesparser.table, tesparser.json):
        with pytest.raises(tesparser.NotAReply) as raised:
            call(sample("damaged"))
        assert 0 <= raised.value.offset <= len(sample("damaged"))


@pytest.mark.parametrize("name", NAMES)
def test_json_is_that_of_the_viewer(name, samples, sample, tesview):
    assert json.loads(tesparser.json(sample(name))) == json.loads(tesview("--json", samples / f"{name}.bin"))
