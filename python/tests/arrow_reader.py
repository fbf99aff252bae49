"""Arrow's C interfaces read by ctypes, as far as tables use them: an eye that is not ours."""

from __future__ import annotations

import ctypes as c
import struct

CAPSULE_POINTER = c.pythonapi.PyCapsule_GetPointer
CAPSULE_POINTER.restype, CAPSULE_POINTER.argtypes = c.c_void_p, [c.py_object, c.c_char_p]


class Schema(c.Structure):
    pass


class Array(c.Structure):
    pass


class Stream(c.Structure):
    pass


Schema._fields_ = [
    ("format", c.c_char_p), ("name", c.c_char_p), ("metadata", c.c_void_p), ("flags", c.c_int64),
    ("n_children", c.c_int64), ("children", c.POINTER(c.POINTER(Schema))), ("dictionary", c.POINTER(Schema)),
    ("release", c.CFUNCTYPE(None, c.POINTER(Schema))), ("private_data", c.c_void_p),
]
Array._fields_ = [
    ("length", c.c_int64), ("null_count", c.c_int64), ("offset", c.c_int64), ("n_buffers", c.c_int64),
    ("n_children", c.c_int64), ("buffers", c.POINTER(c.c_void_p)), ("children", c.POINTER(c.POINTER(Array))),
    ("dictionary", c.POINTER(Array)), ("release", c.CFUNCTYPE(None, c.POINTER(Array))), ("private_data", c.c_void_p),
]
Stream._fields_ = [
    ("get_schema", c.CFUNCTYPE(c.c_int, c.POINTER(Stream), c.POINTER(Schema))),
    ("get_next", c.CFUNCTYPE(c.c_int, c.POINTER(Stream), c.POINTER(Array))),
    ("get_last_error", c.CFUNCTYPE(c.c_char_p, c.POINTER(Stream))),
    ("release", c.CFUNCTYPE(None, c.POINTER(Stream))), ("private_data", c.c_void_p),
]

NUMBERS = {"c": "b", "C": "B", "s": "h", "S": "H", "i": "i", "I": "I", "l": "q", "L": "Q", "f": "f", "g": "d"}


def _numbers(array, buffer, letter, first, count):
    size = struct.calcsize(letter)
    if count == 0:
        return []
    return list(struct.unpack(f"<{count}{letter}", c.string_at(array.buffers[buffer] + first * size, count * size)))


def _is_set(array, index):
    if array.n_buffers == 0:
        return False
    if not array.buffers[0]:
        return True
    return c.string_at(array.buffers[0] + (index >> 3), 1)[0] >> (index & 7) & 1 == 1


def _cells(schema, array, first, count):
    """Cells first .. first + count, counted from the array's own offset."""
    format = schema.format.decode()
    first += array.offset
    if format in NUMBERS:
        values = _numbers(array, 1, NUMBERS[format], first, count)
    elif format in "uz":
        ends = _numbers(array, 1, "i", first, count + 1)
        values = [c.string_at(array.buffers[2] + a, b - a) if b > a else b"" for a, b in zip(ends, ends[1:])]
        values = [each.decode() for each in values] if format == "u" else values
    elif format == "+l":
        ends = _numbers(array, 1, "i", first, count + 1)
        values = [_cells(schema.children[0][0], array.children[0][0], a, b - a) for a, b in zip(ends, ends[1:])]
    elif format.startswith("+w:"):
        n = int(format[3:])
        values = [_cells(schema.children[0][0], array.children[0][0], (first + i) * n, n) for i in range(count)]
    elif format == "+s":
        columns = [_cells(schema.children[i][0], array.children[i][0], first, count) for i in range(schema.n_children)]
        names = [schema.children[i][0].name.decode() for i in range(schema.n_children)]
        values = [dict(zip(names, row)) for row in zip(*columns)] if columns else [{}] * count
    elif format == "n":
        return [None] * count
    else:
        raise AssertionError(f"format {format}")
    return [value if _is_set(array, first + i) else None for i, value in enumerate(values)]


def _check_null_counts(schema, array):
    unset = array.length if schema.format == b"n" else sum(not _is_set(array, array.offset + i) for i in range(array.length))
    assert array.null_count in (-1, unset), (schema.name, array.null_count, unset)
    for i in range(array.n_children):
        _check_null_counts(schema.children[i][0], array.children[i][0])


def rows(schema, array):
    _check_null_counts(schema, array)
    return _cells(schema, array, 0, array.length)


def array_rows(capsules, release=True):
    """The rows of __arrow_c_array__(); what is in the capsules is released, as a consumer does."""
    schema = Schema.from_address(CAPSULE_POINTER(capsules[0], b"arrow_schema"))
    array = Array.from_address(CAPSULE_POINTER(capsules[1], b"arrow_array"))
    found = rows(schema, array)
    if release:
        array.release(array)
        schema.release(schema)
        assert not array.release and not schema.release
    return found


def stream_rows(capsule):
    """All rows of __arrow_c_stream__(), and how many batches they came in."""
    stream = Stream.from_address(CAPSULE_POINTER(capsule, b"arrow_array_stream"))
    schema = Schema()
    assert stream.get_schema(stream, schema) == 0, stream.get_last_error(stream)
    found, batches = [], 0
    while True:
        array = Array()
        code = stream.get_next(stream, array)
        assert code == 0, stream.get_last_error(stream)
        if not array.release:
            break
        found += rows(schema, array)
        batches += 1
        array.release(array)
    schema.release(schema)
    stream.release(stream)
    return found, batches
