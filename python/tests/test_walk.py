"""Where replies are in parts of a stream: what each part of a file is found to hold, for those who read many at a time."""

import io

import pytest

import wire
from tesparser import _core


@pytest.fixture
def stream(schema):
    """Nine replies, of 28 and 115 by turns, and where each begins."""
    replies = []
    for n in range(9):
        message = schema.reply(115 if n % 2 else 28)
        if n % 2:
            message.RepDataPaiMing.add(Obj="SH600000", MingCi=wire.packed(n, 10))
        else:
            message.RepDataPaiXu.add(Obj=f"SH60000{n}", Value=wire.packed(n, 10))
        replies.append(message.SerializeToString())
    return wire.delimited(replies), [len(wire.delimited(replies[:n])) for n in range(10)]


def walk(data, begin=0, end=None, searching=False):
    file = io.BytesIO(data)
    file.seek(begin)
    return _core.walk(file, "delimited", begin, end, searching)


def test_a_whole_stream_is_one_stretch(stream):
    data, at = stream
    assert walk(data) == (0, at[9], [(0, at[9], 9)], {28: 5, 115: 4})
    assert walk(b"") == (0, 0, [], {})


@pytest.mark.parametrize("first, last", [(0, 1), (0, 4), (3, 4), (3, 8), (8, 9)])
def test_a_part_has_the_replies_that_begin_in_it(stream, first, last):
    data, at = stream
    ids = {id: count for id, count in ((28, (last + 1) // 2 - (first + 1) // 2), (115, last // 2 - first // 2)) if count}
    expected = (at[first], at[last], [(at[first], at[last], last - first)], ids)
    # Where it ends inside a reply, that one is in it as well.
    assert walk(data, at[first], at[last]) == walk(data, at[first], at[last - 1] + 1) == expected
    # The first one is looked for from any byte of the one before.
    if first > 0:
        assert walk(data, at[first - 1] + 1, at[last], True) == walk(data, at[first] - 1, at[last], True) == expected
        assert walk(data, at[first], at[last], True) == expected
    else:
        assert walk(data, 0, at[last], True) == expected


def test_nothing_begins_in_the_rest_of_the_last_one(stream):
    data, at = stream
    assert walk(data, at[8] + 1, None, True) == (at[9], at[9], [], {})


def test_a_part_that_begins_behind_its_end_is_empty(stream):
    """A reply of the part before may reach beyond all of it."""
    data, at = stream
    assert walk(data, at[4], at[4]) == walk(data, at[4], at[4] - 1) == (at[4], at[4], [], {})


def test_stretches_end_where_damage_begins(stream):
    data, at = stream
    data = data[: at[3]] + b"\xff" * 50 + data[at[3] :]
    behind = (at[3] + 50, at[9] + 50, 6)
    assert walk(data) == (0, at[9] + 50, [(0, at[3], 3), behind], {28: 5, 115: 4})
    # Of what is behind a part's end only the damage that begins in it is looked at.
    assert walk(data, 0, at[3]) == (0, at[3], [(0, at[3], 3)], {28: 2, 115: 1})
    # Searched from inside the damage, the first reply is the one behind it.
    assert walk(data, at[3] + 7, None, True) == (*behind[:2], [behind], {28: 3, 115: 3})
    assert walk(data, at[3] + 50, None, False) == (*behind[:2], [behind], {28: 3, 115: 3})
    # From where the damage begins, unless that has to be looked for.
    assert walk(data, at[3], None, False) == (at[3], behind[1], [behind], {28: 3, 115: 3})


def test_a_reply_without_an_id_is_counted_as_such():
    assert walk(wire.delimited([b"\x12\x00", *[b"\x08\x16"] * 3])) == (0, 12, [(0, 12, 4)], {-1: 1, 22: 3})
