"""Any bytes at all give a result or an exception of ours, whatever is asked of them."""

import random

from hypothesis import given, settings
from hypothesis import strategies as st

import tesparser
from conftest import BUILD

SAMPLES = [path.read_bytes() for path in sorted((BUILD / "samples").glob("*.bin"))]


def walk(table):
    for row in table:
        for cell in row:
            if isinstance(cell, tesparser.Table):
                walk(cell)


def use(reply, type=None):
    try:
        table = tesparser.table(reply, type)
        if table is not None:
            walk(table)
            repr(table), table._repr_html_()
            for column in range(len(table.columns)):
                table.to_numpy(column)
            table.__arrow_c_array__()
            table.to_pandas(flat=False)
            table.to_pandas()
        elif type is None:
            assert isinstance(tesparser.why(reply), (tesparser.NoTableForm, tesparser.NothingInIt))
    except tesparser.Error as error:
        assert str(error)
    try:
        tesparser.json(reply)
    except tesparser.Error as error:
        assert str(error)
    for call in (lambda: tesparser.read(reply).to_pandas(), lambda: list(tesparser.replies(reply, errors="skip")), lambda: tesparser.scan(reply)):
        try:
            call()
        except (tesparser.Error, OSError) as error:
            assert str(error)


@settings(max_examples=300)
@given(st.binary(max_size=200))
def test_any_bytes(reply):
    use(reply)


@settings(max_examples=400)
@given(st.integers(0, 2**32))
def test_damaged_samples(seed):
    chance = random.Random(seed)
    reply = bytearray(chance.choice(SAMPLES))
    for _ in range(chance.randrange(1, 6)):
        at = chance.randrange(len(reply) + 1)
        kind = chance.randrange(4)
        if kind == 0:
            del reply[at:]
            reply += b" "
        elif kind == 1:
            reply[at:at] = chance.randbytes(chance.randrange(1, 9))
        elif kind == 2:
            del reply[at : at + chance.randrange(1, 9)]
            reply += b" " if not reply else b""
        elif at < len(reply):
            reply[at] = chance.randrange(256)
    use(bytes(reply), chance.choice([None, None, 1, 2, 3, 5, 103]))


def test_every_beginning_of_a_sample():
    for reply in sorted(SAMPLES, key=len)[:12]:
        for size in range(len(reply)):
            try:
                tesparser.table(reply[:size])
            except tesparser.Error:
                pass
