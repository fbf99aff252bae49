// tesview schema.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::Result;
using viewer::View;

TEST(Schema, AMessageByNameOrId) {
  const std::string expected =
      "// tsloutput.proto\nmessage QuoteKlineSingle {\n  required string Obj = 1;\n  repeated KXian Data = 2;\n}\n";
  EXPECT_EQ(View({"schema", "QuoteKlineSingle"}).out, expected);
  EXPECT_EQ(View({"schema", "21"}).out, expected);
  EXPECT_NE(View({"schema", "--all", "21"}).out.find("message KXian {"), std::string::npos);
  EXPECT_NE(View({"schema", "InfoType"}).out.find("Type_SInt = 120;"), std::string::npos);
  const Result wrong = View({"schema", "QuoteKlineSingl"});
  EXPECT_EQ(
      wrong.err,
      "tesview: no message or enumeration is called \"QuoteKlineSingl\"; did you mean \"QuoteKlineSingle\"?\n");
  EXPECT_EQ(wrong.code, 1);
}

TEST(Schema, IsFoundByAnyNameOfAnId) {
  const std::string expected = View({"schema", "StkData"}).out;
  EXPECT_NE(expected.find("message StkData {"), std::string::npos) << expected;
  for (const std::string name : {"27", "stkdata", "IDStkData", "RepDataStkData", "repdatastkdata"})
    EXPECT_EQ(View({"schema", name}).out, expected) << name;
}

TEST(Schema, AllComesWithEnumerationsAndEnclosingMessages) {
  const std::string keyboard = View({"schema", "--all", "JianPanBaoShuChu"}).out;
  for (const std::string part : {"message JianPanBaoShuChu {", "message JPBShuChu {", "message JPBShuJu {",
                                 "enum JPBLeiXing {", "  TYPE_ISSUESQL = 10;"}) {
    const size_t at = keyboard.find(part);
    ASSERT_NE(at, std::string::npos) << part << " in\n" << keyboard;
    EXPECT_EQ(keyboard.find(part, at + 1), std::string::npos) << part;
  }
  EXPECT_EQ(View({"schema", "JianPanBaoShuChu"}).out.find("enum"), std::string::npos);
  // Its only field is of a message inside another.
  const std::string drawing = View({"schema", "--all", "ZhiBiaoHuiTuShuChu"}).out;
  EXPECT_NE(drawing.find("\nmessage ZhiBiaoShuChu {"), std::string::npos) << drawing;
  // A message inside it has a field of an enumeration inside another one.
  const std::string indicator = View({"schema", "--all", "ZhiBiao"}).out;
  EXPECT_EQ(indicator.find("// tessel.zhibiao.proto\nmessage ZhiBiao {"), 0U) << indicator;
  EXPECT_NE(indicator.find("\nmessage ZhiBiaoShuChu {"), std::string::npos) << indicator;
}

}  // namespace
