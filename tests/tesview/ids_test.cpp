// tesview ids.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tests/support/ids_with_table.h"
#include "tests/support/program.h"
#include "tests/support/replies.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::Result;
using viewer::LinesOf;
using viewer::View;

TEST(Ids, ExactlyThoseWithAConverterHaveATable) {
  std::string ids;
  for (const std::string& line : LinesOf(View({"ids", "--table"}).out)) {
    std::stringstream fields(line);
    std::string id, name, form;
    fields >> id >> name >> form;
    if (form == "table" || form == "table,") ids += id + " ";
  }
  std::string expected;
  for (const int id : kIdsWithTable)
    expected += std::to_string(id) + " ";
  EXPECT_EQ(ids, expected) << "tests/support/ids_with_table.h lists the Ids that have a converter";
}

TEST(Ids, TheTypedLayoutsAreNamed) {
  const std::string all = View({"ids"}).out;
  EXPECT_NE(
      all.find("   25  ZhiBiaoShuChu                             --type ZhiBiao1 to ZhiBiao16   indicator "),
      std::string::npos);
  EXPECT_NE(
      all.find(
          "   44  Token                                     --type Token                   entitlement "),
      std::string::npos);
  EXPECT_NE(
      all.find("  296  PcFenLeiChiCangLieBiao                    --type FenLeiChiCang           order flow "),
      std::string::npos);
  EXPECT_NE(
      all.find("  321  DaDanShuJuShuChu                          table, --type DaDan            order flow "),
      std::string::npos);
  EXPECT_NE(
      all.find("  430  BxzjBasicStockInfoOutput                  --type BxzjStock               order flow "),
      std::string::npos);
  // Every Id of the vocabulary and a header.
  const auto* vocabulary = test_replies::Pool().FindEnumTypeByName("tessel.EnumID");
  EXPECT_EQ(LinesOf(all).size(), static_cast<size_t>(vocabulary->value_count()) + 1);
}

TEST(Ids, AMistypedOneIsAnswered) {
  const Result result = View({"ids", "QuoteDinaSingle"});
  EXPECT_EQ(result.err, "tesview: no Id is called \"QuoteDinaSingle\"; did you mean \"QuoteDynaSingle\"?\n");
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(View({"ids", "9999"}).err,
            "tesview: no Id has the number \"9999\"; tesview ids lists them all\n");
  EXPECT_EQ(View({"schema", "9999"}).err,
            "tesview: no message or enumeration has the Id \"9999\"; tesview ids lists the payloads\n");
  EXPECT_NE(View({"ids", "21"}).out.find("   21  QuoteKlineSingle"), std::string::npos);
}

TEST(Names, ThatAreNotThereAreSaid) {
  EXPECT_EQ(View({"ids", "qqqq"}).err, "tesview: no Id is called \"qqqq\"; tesview ids lists them all\n");
  const Result tables = View({"ids", "--table", "QuoteTickSingle"});
  EXPECT_EQ(tables.err.find("tesview: no Id with a table is called \"QuoteTickSingle\""), 0U) << tables.err;
  EXPECT_EQ(tables.code, 1);
  // By the name of the field as well.
  EXPECT_EQ(LinesOf(View({"ids", "repdatastkdata"}).out).size(), 2U);

  const Result schemas = View({"schema", "JPBLeiXing", "qqqq", "InfoType"});
  EXPECT_EQ(schemas.err,
            "tesview: no message or enumeration is called \"qqqq\"; tesview ids lists the payloads\n");
  EXPECT_EQ(schemas.code, 1);
  EXPECT_NE(schemas.out.find("}\n\nenum InfoType {"), std::string::npos) << schemas.out;
}

TEST(Ids, AreLinesOfAlignedWords) {
  // What is wider than its column moves the rest of its line.
  const std::string head =
      "   Id  payload                                   columns                        family             what "
      "it is\n";
  EXPECT_EQ(
      View({"ids", "21", "22", "3"}).out,
      head +
          "    3  Tbl                                       table, --type DaDan, FenLeiChiCang, BxzjStock, "
          "Token  envelope           Generic table that describes its own columns\n"
          "   21  QuoteKlineSingle                          table                          quote          "
          "    Candlesticks of one instrument\n"
          "   22  QuoteTickSingle                           --decode                       quote          "
          "    Ticks of one instrument\n");
  // The envelope's own numbers have nothing to decode.
  for (const std::string id : {"0", "1", "2", "5"}) {
    const auto lines = LinesOf(View({"ids", id}).out);
    ASSERT_EQ(lines.size(), 2U) << id;
    EXPECT_EQ(lines[1].find("--decode"), std::string::npos) << id;
  }
}

TEST(Ids, AreFoundByWhatTheyAreInAnyLetters) {
  const std::string found = View({"ids", "CandleSTICKS of one"}).out;
  EXPECT_EQ(found, View({"ids", "21"}).out);
  // An empty word is in every name.
  EXPECT_EQ(View({"ids", ""}).out, View({"ids"}).out);
  // A number is no part of a name.
  EXPECT_EQ(LinesOf(View({"ids", "4"}).out).size(), 2U);
}

}  // namespace
