// Replies in DuckDB, by the C data interface: bars put together into longer ones, quotes joined with what is
// told of their stocks, and Parquet that holds the same.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "replies/table_stream.h"
#include "tesparser/tesparser.h"
#include "tests/engines/duckdb_session.h"
#include "tsl_base/table.hpp"

namespace {

using duckdb_session::Session;
using duckdb_session::TextOf;
using tsl_base::RowView;
using tsl_base::Table;
using tsl_base::TableView;

std::string Sample(const std::string& name) {
  std::ifstream file(std::string(TESPARSER_SAMPLES "/") + name + ".bin", std::ios::binary);
  EXPECT_TRUE(file) << name;
  return std::string((std::istreambuf_iterator<char>(file)), {});
}

class Replies : public testing::Test {
 protected:
  void Ingest(const std::string& name, int32_t id, const std::string& reply, int times = 1) {
    replies::TableRequest request;
    request.id = id;
    const auto next = [&reply, &times](replies::Reply* to, std::string*) {
      if (times-- == 0) return replies::Next::kEnd;
      to->bytes = reply;
      return replies::Next::kReply;
    };
    ArrowArrayStream stream{};
    std::string error;
    ASSERT_TRUE(replies::MakeTableStream(next, request, {}, {}, nullptr, &stream, &error)) << error;
    session_.Ingest(name, &stream);
  }

  std::string Ask(const std::string& select) { return TextOf(session_.Query(select)); }

  Session session_{DUCKDB_LIBRARY};
};

struct Bar {
  double open = 0;
  double high = 0;
  double low = 0;
  double close = 0;
  double volume = 0;
};

// Minutes of the day that "20240617093100" tells.
int64_t MinuteOf(int64_t time) {
  return time / 10000 % 100 * 60 + time / 100 % 100;
}

// Bars of five minutes out of those of one, each with the time of its end, read from the table itself.
std::map<int64_t, Bar> FiveMinutes(TableView minutes) {
  std::map<int64_t, Bar> bars;
  for (const RowView row : minutes) {
    const auto [place, is_new] =
        bars.try_emplace((MinuteOf(static_cast<int64_t>(*row.as_double("ShiJian"))) + 4) / 5 * 5, Bar());
    Bar& bar = place->second;
    const double high = *row.get<double>("ZuiGaoJia");
    const double low = *row.get<double>("ZuiDiJia");
    bar.open = is_new ? *row.get<double>("KaiPanJia") : bar.open;
    bar.high = is_new ? high : std::max(bar.high, high);
    bar.low = is_new ? low : std::min(bar.low, low);
    bar.close = *row.get<double>("ShouPanJia");
    bar.volume += *row.as_double("ChengJiaoLiang");
  }
  return bars;
}

constexpr char kResample[] = R"(
  WITH minute AS (
    SELECT *, "Data.ShiJian"::BIGINT // 10000 % 100 * 60 + "Data.ShiJian"::BIGINT // 100 % 100 AS of_day
    FROM kline WHERE Obj = 'SH600000')
  SELECT (of_day + 4) // 5 * 5 AS until, arg_min("Data.KaiPanJia", of_day), max("Data.ZuiGaoJia"),
    min("Data.ZuiDiJia"), arg_max("Data.ShouPanJia", of_day), sum("Data.ChengJiaoLiang")
  FROM minute GROUP BY until ORDER BY until)";

TEST_F(Replies, AreBarsOfAnotherLength) {
  const std::string reply = Sample("21-QuoteKlineSingle");
  Ingest("kline", 21, reply);
  const Table table(TesparserPB2Table(reply));
  const std::map<int64_t, Bar> bars = FiveMinutes(*table.view().row(0).get<TableView>("Data"));
  // 240 minutes of trading.
  ASSERT_EQ(bars.size(), 48U);
  const duckdb_session::Result result = session_.Query(kResample);
  ASSERT_EQ(result.rows.size(), bars.size());
  size_t next = 0;
  for (const auto& [until, bar] : bars) {
    const auto& row = result.rows[next++];
    EXPECT_EQ(std::stoll(*row[0]), until);
    EXPECT_EQ(std::stod(*row[1]), bar.open) << until;
    EXPECT_EQ(std::stod(*row[2]), bar.high) << until;
    EXPECT_EQ(std::stod(*row[3]), bar.low) << until;
    EXPECT_EQ(std::stod(*row[4]), bar.close) << until;
    EXPECT_EQ(std::stod(*row[5]), bar.volume) << until;
  }
  // The first of them by hand: 9:31 to 9:35.
  EXPECT_EQ(bars.begin()->first, 9 * 60 + 35);
  EXPECT_EQ(bars.begin()->second.open, 8.2);
  EXPECT_EQ(bars.begin()->second.high, 8.2);
  EXPECT_EQ(bars.begin()->second.low, 8.15);
  EXPECT_EQ(bars.begin()->second.close, 8.2);
  EXPECT_EQ(bars.begin()->second.volume, 368200 + 353500 + 249300 + 105200 + 317700);
}

TEST_F(Replies, AreJoinedOverTheirObject) {
  Ingest("quote", 20, Sample("20-QuoteDynaSingle"));
  Ingest("auction", 27, Sample("27-StkData"));
  EXPECT_EQ(Ask("SELECT quote.Obj, \"Data.ZuiXinJia\", JingJiaHuanShou FROM quote "
                "JOIN auction ON quote.Obj = auction.obj ORDER BY quote.Obj LIMIT 3"),
            "SH600000|8.16|0.1169\nSH600519|1580.49|0.1555\nSH601318|40.38|0.0\n");
}

TEST_F(Replies, AreTheSameInParquet) {
  const std::string path = testing::TempDir() + "engines_replies.parquet";
  for (const auto& [id, name] : std::map<int32_t, std::string>{
           {20, "20-QuoteDynaSingle"}, {21, "21-QuoteKlineSingle"}, {405, "405-CaiWuShuJuFanHui"}}) {
    const std::string table = fmt::format("t{}", id);
    Ingest(table, id, Sample(name));
    session_.Run("COPY " + table + " TO '" + path + "' (FORMAT parquet)");
    const std::string all = Ask("SELECT * FROM " + table);
    EXPECT_GT(all.size(), 100U);
    EXPECT_EQ(Ask("SELECT * FROM '" + path + "'"), all) << name;
    std::remove(path.c_str());
  }
}

TEST_F(Replies, MayBeVeryMany) {
  const std::string reply = Sample("27-StkData");
  const int64_t rows = table_rows(Table(TesparserPB2Table(reply)).get());
  Ingest("auction", 27, reply, 100000);
  EXPECT_EQ(
      Ask("SELECT count(*), count(DISTINCT obj), sum((obj = 'SH600519' AND JingJiaHuanShou = 0.1555)::INT) "
          "FROM auction"),
      fmt::format("{}|{}|100000\n", 100000 * rows, rows));
}

}  // namespace
