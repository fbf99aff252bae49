"""DuckDB reads the streams, by its library in C as `scripts/setup engines` installs it."""

import ctypes as c

import pytest

import arrow_reader
import tesparser
import wire
from conftest import SOURCE

LIBRARY = SOURCE / "tests/engines/node_modules/@duckdb/node-bindings-linux-x64/libduckdb.so"

pytestmark = [
    pytest.mark.skipif(not LIBRARY.exists(), reason="DuckDB's library is not there; scripts/setup engines installs it"),
    pytest.mark.heavy,
]


class Result(c.Structure):
    _fields_ = [("counts", c.c_uint64 * 3), ("columns", c.c_void_p), ("error", c.c_char_p), ("internal", c.c_void_p)]


class DuckDb:
    def __init__(self):
        self.lib = c.CDLL(str(LIBRARY))
        self.lib.duckdb_result_error.restype = c.c_char_p
        self.lib.duckdb_value_varchar.restype = c.c_void_p
        self.lib.duckdb_value_varchar.argtypes = [c.c_void_p, c.c_uint64, c.c_uint64]
        self.lib.duckdb_row_count.restype = c.c_uint64
        self.lib.duckdb_column_count.restype = c.c_uint64
        self.lib.duckdb_free.argtypes = [c.c_void_p]
        database, self.connection = c.c_void_p(), c.c_void_p()
        assert self.lib.duckdb_open(None, c.byref(database)) == 0
        assert self.lib.duckdb_connect(database, c.byref(self.connection)) == 0

    def query(self, sql):
        result = Result()
        code = self.lib.duckdb_query(self.connection, sql.encode(), c.byref(result))
        assert code == 0, self.lib.duckdb_result_error(c.byref(result))
        rows = []
        for row in range(self.lib.duckdb_row_count(c.byref(result))):
            cells = []
            for col in range(self.lib.duckdb_column_count(c.byref(result))):
                text = self.lib.duckdb_value_varchar(c.byref(result), col, row)
                cells.append(None if not text else c.string_at(text).decode())
                if text:
                    self.lib.duckdb_free(text)
            rows.append(tuple(cells))
        self.lib.duckdb_destroy_result(c.byref(result))
        return rows

    def take(self, name, reader):
        """Makes a table of a stream. DuckDB asks for the schema several times and releases none: it is lent one."""
        capsule = reader.__arrow_c_stream__()
        source = arrow_reader.Stream.from_address(arrow_reader.CAPSULE_POINTER(capsule, b"arrow_array_stream"))
        schema = arrow_reader.Schema()
        assert source.get_schema(source, schema) == 0
        nothing = arrow_reader.Schema._fields_[7][1](lambda each: setattr(each[0], "release", type(nothing)()))
        lent = arrow_reader.Stream()

        def get_schema(_, out):
            c.memmove(out, c.byref(schema), c.sizeof(schema))
            out[0].release = nothing
            return 0

        types = dict(arrow_reader.Stream._fields_)
        lent.get_schema = types["get_schema"](get_schema)
        lent.get_next = types["get_next"](lambda _, out: source.get_next(c.byref(source), out))
        lent.get_last_error = types["get_last_error"](lambda _: source.get_last_error(c.byref(source)))
        lent.release = types["release"](lambda each: setattr(each[0], "release", types["release"]()))
        assert self.lib.duckdb_arrow_scan(self.connection, b"incoming", c.byref(lent)) == 0
        self.query(f"CREATE TABLE {name} AS SELECT * FROM incoming")
        self.query("DROP VIEW incoming")
        schema.release(schema)


def test_streams(sample):
    database = DuckDb()
    stream = wire.delimited([sample("21-QuoteKlineSingle"), sample("20-QuoteDynaSingle")] * 50)
    bars = tesparser.read(stream, id=21, number=True, batch_rows=1000)
    database.take("bars", bars)
    frame = bars.to_pandas()
    ((rows, highest, replies),) = database.query('SELECT count(*), max("Data.ZuiGaoJia"), count(DISTINCT "_reply") FROM bars')
    assert (int(rows), float(highest), int(replies)) == (len(frame), frame["Data.ZuiGaoJia"].max(), 50)
    database.take("nested", tesparser.read(stream, id=21, flat=False))
    assert database.query('SELECT "Obj", count(*), sum(len("Data")) FROM nested GROUP BY 1 ORDER BY 1') == [
        ("SFIF2406", "50", "3000"), ("SH600000", "50", "12000"),
    ]
