// DuckDB takes arrays by the C data interface, and answers, writes and reads what they hold.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>

#include "tests/engines/duckdb_session.h"
#include "tests/engines/sample_columns.h"

namespace {

using arrow_columns::Batch;
using arrow_columns::Column;
using arrow_columns::ExportStream;
using arrow_columns::Numbers;
using arrow_columns::Texts;
using arrow_columns::WithSlicedColumns;
using duckdb_session::Check;
using duckdb_session::Error;
using duckdb_session::Session;
using duckdb_session::TextOf;

// Of an array that begins within a byte of its bitmap, DuckDB copies one byte more than the bitmap has.
Column WithSpareByte(Column column) {
  if (column.buffers[0]) *column.buffers[0] += '\0';
  for (Column& child : column.children)
    child = WithSpareByte(child);
  return column;
}

class DuckDb : public testing::Test {
 protected:
  void Ingest(const std::string& name, const std::vector<Column>& batches, const std::string& error = "",
              Check check = Check::kYes) {
    std::vector<Column> spared;
    for (const Column& batch : batches)
      spared.push_back(WithSpareByte(batch));
    ArrowArrayStream stream = ExportStream(spared.front(), spared, error);
    session_.Ingest(name, &stream, check);
  }

  std::string Ask(const std::string& select) { return TextOf(session_.Query(select)); }

  Session session_{DUCKDB_LIBRARY};
};

TEST_F(DuckDb, TakesEveryType) {
  Ingest("t", {sample_columns::AllTypes()});
  EXPECT_EQ(
      Ask("SELECT column_name, column_type FROM (DESCRIBE t)"),
      "all_float64|DOUBLE\nfloat32|FLOAT\nint8|TINYINT\nuint8|UTINYINT\nint16|SMALLINT\nuint16|USMALLINT\n"
      "int32|INTEGER\nuint32|UINTEGER\nint64|BIGINT\nuint64|UBIGINT\nbool|BOOLEAN\nutf8|VARCHAR\n"
      "large_utf8|VARCHAR\nbinary|BLOB\nlarge_binary|BLOB\ntimestamp_s|TIMESTAMP_S\n"
      "timestamp_ms|TIMESTAMP WITH TIME ZONE\ntimestamp_us|TIMESTAMP\ntimestamp_ns|TIMESTAMP_NS\ndate|DATE\n"
      "decimal|DECIMAL(12,2)\n");
  EXPECT_EQ(Ask("SELECT all_float64, float32, int8, uint8, int16, uint16, int32, uint32 FROM t"),
            "0.1|1.5|-128|0|-32768|0|-2147483648|0\n"
            "-0.0|NULL|NULL|NULL|NULL|NULL|NULL|NULL\n"
            "1e+300|-0.25|127|255|32767|65535|2147483647|4294967295\n");
  EXPECT_EQ(Ask("SELECT int64, uint64, bool, utf8, large_utf8, hex(\"binary\"), hex(large_binary) FROM t"),
            "-9223372036854775808|0|true|\xE4\xB8\xAD\xE6\x96\x87|a\"b\n|00FF|80\n"
            "NULL|NULL|NULL|NULL|NULL|NULL|NULL\n"
            "9223372036854775807|18446744073709551615|false||\xF0\x9F\x98\x80||7A\n");
  EXPECT_EQ(Ask("SELECT timestamp_s, timestamp_us, timestamp_ns, date, decimal FROM t"),
            "2023-11-14 22:13:20|2023-11-14 22:13:20.1235|2023-11-14 22:13:20.12325|2023-11-14|12.34\n"
            "NULL|NULL|NULL|NULL|NULL\n"
            "1969-12-31 23:59:59|1969-12-31 23:59:59.999|1969-12-31 23:59:59.999|1969-12-31|-0.01\n");
  EXPECT_EQ(Ask("SELECT epoch_ms(timestamp_ms) FROM t"), "1700000000123\nNULL\n-1\n");
}

TEST_F(DuckDb, TakesListsAndStructs) {
  Ingest("t", {sample_columns::Nested(), WithSlicedColumns(sample_columns::Nested(), 1, 2)});
  EXPECT_EQ(Ask("SELECT row, list, large_list, pair FROM t"),
            "0|[0, 1]|[]|[1.5, 2.5]\n"
            "1|NULL|NULL|NULL\n"
            "2|[NULL]|[0, 1, NULL, 3, 4, 5]|[5.5, 6.5]\n"
            "3|[3, 4, 5]|[]|[7.5, 8.5]\n"
            "1|NULL|NULL|NULL\n"
            "2|[NULL]|[0, 1, NULL, 3, 4, 5]|[5.5, 6.5]\n");
  EXPECT_EQ(Ask("SELECT rows FROM t LIMIT 4"),
            "[{'n': 0, 't': zero}, {'n': 1, 't': one}]\nNULL\n[{'n': NULL, 't': two}]\n"
            "[{'n': 3, 't': three}, {'n': 4, 't': NULL}, NULL]\n");
  EXPECT_EQ(Ask("SELECT struct.item, struct.texts FROM t LIMIT 4"), "NULL|[a]\n3|[]\n4|[b, c]\nNULL|NULL\n");
  EXPECT_EQ(Ask("SELECT row, unnest(rows, recursive := true) FROM t WHERE rowid < 4 ORDER BY ALL"),
            "0|0|zero\n0|1|one\n2|NULL|two\n3|3|three\n3|4|NULL\n3|NULL|NULL\n");
  EXPECT_EQ(Ask("SELECT sum(len(deep[1].rows)) FROM t"), "10\n");
}

TEST_F(DuckDb, KeepsRowsInOrderOverBatches) {
  Ingest("t", sample_columns::ManyBatches());
  EXPECT_EQ(Ask("SELECT count(*), sum(number), count(DISTINCT text) FROM t"), "100000|4999950000|100000\n");
  EXPECT_EQ(Ask("SELECT count(*) FROM t WHERE number <> rowid OR text <> 'row ' || number"), "0\n");
  EXPECT_EQ(Ask("SELECT text FROM t WHERE number = 77777"), "row 77777\n");
}

TEST_F(DuckDb, JoinsAndGroups) {
  Ingest("price",
         {Batch({Texts("u", "code", {"a", "b", "a", "b"}), Numbers<int64_t>("tss:", "time", {0, 59, 61, 120}),
                 Numbers<double>("g", "price", {1, 2, 4, 8})})});
  Ingest("name", {Batch({Texts("u", "code", {"b", "a"}), Texts("u", "name", {"Bee", "Ay"})})});
  EXPECT_EQ(Ask("SELECT name, time_bucket(INTERVAL '1 minute', time) AS minute, max(price) "
                "FROM price JOIN name USING (code) GROUP BY ALL ORDER BY ALL"),
            "Ay|1970-01-01 00:00:00|1.0\nAy|1970-01-01 00:01:00|4.0\n"
            "Bee|1970-01-01 00:00:00|2.0\nBee|1970-01-01 00:02:00|8.0\n");
}

TEST_F(DuckDb, WritesParquetAndReadsItBack) {
  const std::string types = testing::TempDir() + "engines_types.parquet";
  const std::string nested = testing::TempDir() + "engines_nested.parquet";
  Ingest("types", {sample_columns::AllTypes()});
  Ingest("nested", {sample_columns::Nested()});
  session_.Run("COPY types TO '" + types + "' (FORMAT parquet)");
  session_.Run("COPY nested TO '" + nested + "' (FORMAT parquet)");
  // Parquet has no time in seconds, and no list of fixed size.
  EXPECT_EQ(Ask("SELECT * FROM '" + types + "'"),
            Ask("SELECT * REPLACE (timestamp_s::TIMESTAMP AS timestamp_s) FROM types"));
  EXPECT_EQ(Ask("SELECT count(*), count(int64), sum(uint8) FROM '" + types + "'"), "3|2|255\n");
  EXPECT_EQ(Ask("SELECT * FROM '" + nested + "'"), Ask("SELECT * FROM nested"));
  std::remove(types.c_str());
  std::remove(nested.c_str());
}

TEST_F(DuckDb, MakesAnEmptyTableOfAStreamWithoutRows) {
  ArrowArrayStream stream = ExportStream(sample_columns::AllTypes(), {});
  session_.Ingest("t", &stream);
  EXPECT_EQ(stream.release, nullptr);
  EXPECT_EQ(Ask("SELECT count(*), count(all_float64) FROM t"), "0|0\n");
  EXPECT_EQ(Ask("SELECT count(*) FROM (DESCRIBE t)"), "21\n");
}

TEST_F(DuckDb, NamesMayHoldAnything) {
  Ingest("a \"b\" c", {Batch({Numbers<int32_t>("i", "\xE4\xBB\xB7 \"x\"", {7})})});
  EXPECT_EQ(Ask("SELECT * FROM \"a \"\"b\"\" c\""), "7\n");
  EXPECT_EQ(session_.Query("SELECT * FROM \"a \"\"b\"\" c\"").names.at(0), "\xE4\xBB\xB7 \"x\"");
}

std::string ErrorOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const Error& error) {
    return error.what();
  }
  return "";
}

TEST_F(DuckDb, SaysWhatFails) {
  EXPECT_NE(ErrorOf([] { Session("/nowhere/libduckdb.so"); }).find("scripts/setup engines"),
            std::string::npos);
  EXPECT_NE(ErrorOf([this] { Ask("SELECT nothing"); }).find("nothing"), std::string::npos);
  const Column batch = Batch({Numbers<int32_t>("i", "n", {1})});
  EXPECT_NE(ErrorOf([&] { Ingest("t", {batch}, "the disk is gone"); }).find("the disk is gone"),
            std::string::npos);
  EXPECT_EQ(ErrorOf([&] { Ingest("t", {arrow_columns::Struct("", 1, {})}); }),
            "a table has at least one column");
  const Column torn = Batch({Texts("u", "t", {"\xFF"})});
  EXPECT_NE(ErrorOf([&] { Ingest("t", {torn}); }).find("t: value 0 is not UTF-8"), std::string::npos);
  // After all that the session still works, and nothing is left over.
  Ingest("t", {batch});
  EXPECT_EQ(Ask("SELECT n FROM t"), "1\n");
}

}  // namespace
