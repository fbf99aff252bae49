// What is known of columns before there is a table, against the tables that the library makes.
#include "replies/table_columns.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "replies/arrow_check.h"
#include "replies/columns.h"
#include "replies/decode.h"
#include "replies/parse_reply.h"
#include "tesparser/tesparser.h"
#include "tests/support/arrow_rows.h"
#include "tests/support/full_replies.h"
#include "tests/support/replies.h"
#include "tests/support/tables.h"
#include "tsl_base/text.h"

namespace {

namespace pb = google::protobuf;
using arrow_rows::TypeText;
using replies::ArrowOwner;
using replies::ShownColumns;
using replies::TableColumn;
using replies::TableColumns;

std::string TypeOf(const TableColumns& columns) {
  const ArrowOwner<ArrowSchema> schema(MakeArrowSchema(TableField(columns)));
  EXPECT_EQ(replies::CheckArrowSchema(*schema), "");
  return TypeText(*schema);
}

// The type that the library itself gives a table.
std::string ExportedType(void* table) {
  ArrowOwner<ArrowSchema> schema;
  ArrowOwner<ArrowArray> array;
  EXPECT_EQ(table_export_arrow(table, schema.get(), array.get()), 0);
  return TypeText(*schema);
}

// The names and types of what is shown, and "no column" and its name.
std::string Shown(const TableColumns& columns, const std::vector<std::string>& wanted, bool flat) {
  std::string missing;
  const auto shown = ChooseColumns(columns, wanted, flat, &missing);
  if (!shown) return "no column " + missing;
  const ArrowOwner<ArrowSchema> schema(
      replies::MakeArrowSchema({"+s", "", false, {}, ShownFields(columns, *shown, flat)}));
  return TypeText(*schema);
}

TableColumn Column(const std::string& name, const std::string& format = "g", TableColumns inside = {}) {
  TableColumn column;
  column.name = name;
  column.label = name;
  column.format = format;
  column.inside = std::move(inside);
  return column;
}

std::map<std::string, std::string> MetadataOf(const TableColumns& columns, const std::string& name) {
  for (const TableColumn& column : columns) {
    if (column.name == name) return {column.metadata.begin(), column.metadata.end()};
  }
  ADD_FAILURE() << "no column " << name;
  return {};
}

}  // namespace

TEST(DescribedColumns, AreThoseOfTheTablesOfFullReplies) {
  int tables = 0;
  for (const replies::TableDescription& table : replies::DescribedTables()) {
    if (table.id == 3 || !table.path.empty()) continue;
    SCOPED_TRACE(std::to_string(table.id) + " type " + std::to_string(table.type));
    const auto columns = replies::DescribedColumns(table.id, table.type);
    ASSERT_TRUE(columns);
    const std::string bytes = test_replies::Bytes(*full_replies::FullReply(table));
    void* made = table.type == 0 ? TesparserPB2Table(bytes)
                                 : TesparserPB2TableType(bytes, static_cast<TPType>(table.type));
    EXPECT_EQ(TypeOf(*columns), ExportedType(made));
    ++tables;
  }
  // At least 28 Ids have a table of their own columns; four layouts and the 16 of indicators go by type.
  EXPECT_GE(tables, 48);
}

TEST(DescribedColumns, AreNotThereWhereTheSenderChoosesThem) {
  EXPECT_FALSE(replies::DescribedColumns(3, 0));
  EXPECT_FALSE(replies::DescribedColumns(22, 0));
  EXPECT_FALSE(replies::DescribedColumns(21, 1));
}

TEST(DescribedColumns, TellWhatIsWrittenOfThem) {
  const auto columns = replies::DescribedColumns(21, 0);
  ASSERT_TRUE(columns);
  ASSERT_EQ(columns->size(), 2U);
  EXPECT_EQ(TypeOf(*columns).substr(0, 25), "Obj:u Data:+l(ShiJian:g K");
  const replies::ColumnDescription& told = replies::DescribeTable(21, 0, "Data")->columns[0];
  const auto metadata = MetadataOf((*columns)[1].inside, "ShiJian");
  EXPECT_EQ(metadata.at("heading"), told.english.Marked());
  EXPECT_EQ(metadata.at("heading_zh"), told.chinese.Marked());
  EXPECT_EQ(metadata.at("meaning"), told.meaning.Marked());
  EXPECT_EQ(metadata.at("kind"), told.kind.Marked());
  EXPECT_EQ(metadata.at("source"), told.source);
  EXPECT_EQ(metadata.count("unit"), told.unit.text.empty() ? 0U : 1U);
}

TEST(DescribedColumns, TellOfTheElementsOfAnArray) {
  const auto columns = replies::DescribedColumns(405, 0);
  ASSERT_TRUE(columns);
  for (const TableColumn& column : *columns) {
    if (column.name != "Data") continue;
    const auto metadata = MetadataOf(column.inside, "Data");
    const replies::TableDescription& table = *replies::DescribeTable(405, 0, "Data");
    const replies::ColumnDescription& told = *replies::FindColumn(table, "Data");
    EXPECT_EQ(metadata.at("heading[52]"), told.elements[52].english.Marked());
    // What is not known of an element is not told.
    std::map<std::string, std::string> wanted;
    for (const replies::ElementDescription& element : told.elements) {
      const std::pair<std::string, std::string> pairs[] = {{"heading", element.english.Marked()},
                                                           {"heading_zh", element.chinese.Marked()},
                                                           {"unit", element.unit.Marked()},
                                                           {"kind", element.kind.Marked()},
                                                           {"source", std::string(element.source)}};
      for (const auto& [key, value] : pairs) {
        if (!value.empty()) wanted[key + "[" + std::to_string(element.index) + "]"] = value;
      }
    }
    for (const auto& [key, value] : metadata) {
      if (key.back() != ']') continue;
      EXPECT_EQ(value, wanted[key]) << key;
    }
    EXPECT_EQ(std::count_if(metadata.begin(), metadata.end(),
                            [](const auto& pair) { return pair.first.back() == ']'; }),
              static_cast<std::ptrdiff_t>(wanted.size()));
    EXPECT_EQ(wanted.at("unit[3]"), "currency");
  }
}

// The columns that are told before the first reply are those that a reply with everything in it gives.
TEST(DecodedColumns, AreThoseOfTheTablesOfEveryPayload) {
  const auto empty = test_replies::New("MSG");
  const pb::Descriptor* envelope = empty->GetDescriptor();
  int payloads = 0;
  for (int i = 0; i < envelope->field_count(); ++i) {
    const pb::FieldDescriptor* field = envelope->field(i);
    if (field->message_type() == nullptr || field->name() == "Tbl") continue;
    SCOPED_TRACE(field->name());
    auto reply = test_replies::New("MSG");
    full_replies::SetValue(reply.get(), envelope->FindFieldByName("Id"), field->number(), "");
    // Deeper than any message nests that is not inside itself; there is one that is.
    const int depth = field->name() == "RepDataCfgList" ? replies::kMostUnfolded : 8;
    full_replies::FillAll(full_replies::NewElement(reply.get(), field), depth);
    std::string error;
    const auto parsed = replies::ParseReply(test_replies::Bytes(*reply), &error);
    ASSERT_NE(parsed, nullptr) << error;
    const replies::Unpack unpack{true, {}};
    tsl_base::Table table = replies::DecodePayload(*parsed, unpack, &error);
    ASSERT_TRUE(table) << error;
    EXPECT_EQ(TypeOf(replies::DecodedColumns(field->number(), unpack)), ExportedType(table.release()));
    ++payloads;
  }
  EXPECT_GT(payloads, 400);
}

TEST(DecodedColumns, TellTheTypesOfTheirFields) {
  const pb::Descriptor* envelope = test_replies::Pool().FindMessageTypeByName("tessel.MSG");
  const auto tables = replies::DecodedTables(*envelope, 22, {});
  ASSERT_EQ(tables.size(), 2U);
  const TableColumns columns = replies::DecodedColumns(22, {});
  ASSERT_EQ(columns.size(), tables[0].columns.size());
  const TableColumns& inside = columns[1].inside;
  ASSERT_EQ(inside.size(), tables[1].columns.size());
  using Metadata = std::map<std::string, std::string>;
  EXPECT_EQ(MetadataOf(columns, "Obj"), (Metadata{{"type", "string"}}));
  EXPECT_EQ(MetadataOf(columns, "Data"), (Metadata{{"type", "repeated FenBiChengJiao"}}));
  EXPECT_EQ(MetadataOf(columns, "QingPan"), (Metadata{{"type", "int64"}}));
  for (const replies::DecodedColumn& told : tables[1].columns)
    EXPECT_EQ(MetadataOf(inside, told.name), (Metadata{{"type", told.type}})) << told.name;
}

TEST(DecodedColumns, UnfoldAMessageInsideItselfThreeTimes) {
  int times = 0;
  const TableColumns columns = replies::DecodedColumns(3, {});
  const TableColumns* at = &columns;
  while (true) {
    const TableColumns* next = nullptr;
    for (const TableColumn& column : *at) {
      if (column.name != "Data") continue;
      for (const TableColumn& inner : column.inside) {
        if (inner.name == "tValues") next = &inner.inside;
      }
    }
    if (next == nullptr || next->empty()) break;
    ++times;
    at = next;
  }
  EXPECT_EQ(times, 3);
  EXPECT_TRUE(replies::DecodedColumns(2, {}).empty());
}

// ---- what is shown ----------------------------------------------------------------------------------------

TEST(ChooseColumns, GivesFlatNamesWithThePathBeforeThem) {
  const TableColumns columns = {
      Column("Obj", "u"), Column("Data", "+l", {Column("Time"), Column("More", "+l", {Column("Value")})}),
      Column("HasBits", "l")};
  EXPECT_EQ(Shown(columns, {}, true), "Obj:u Data.Time:g Data.More.Value:g HasBits:l");
  EXPECT_EQ(Shown(columns, {}, false), "Obj:u Data:+l(Time:g More:+l(Value:g)) HasBits:l");
}

TEST(ChooseColumns, TakesThemInTheOrderThatWasAskedFor) {
  const TableColumns columns = {Column("Obj", "u"),
                                Column("Data", "+l", {Column("Time"), Column("Price"), Column("Volume")}),
                                Column("HasBits", "l")};
  EXPECT_EQ(Shown(columns, {"HasBits", "Obj"}, true), "HasBits:l Obj:u");
  EXPECT_EQ(Shown(columns, {"Price", "Time", "Obj"}, true), "Obj:u Data.Price:g Data.Time:g");
  EXPECT_EQ(Shown(columns, {"Price", "Obj"}, false), "Obj:u Data:+l(Price:g)");
  // The whole of a table, unless a column in it was asked for.
  EXPECT_EQ(Shown(columns, {"Data"}, true), "Data.Time:g Data.Price:g Data.Volume:g");
  EXPECT_EQ(Shown(columns, {"Data", "Time"}, true), "Data.Time:g");
  EXPECT_EQ(Shown(columns, {"Obj", "Prize"}, true), "no column Prize");
}

// A name alone is looked for in all tables, one behind a table's name in that one only.
TEST(ChooseColumns, FindsANameBehindATableInThatTable) {
  const TableColumns columns = {Column("A", "+l", {Column("C", "+l", {Column("B")}), Column("D")})};
  EXPECT_EQ(Shown(columns, {"B"}, true), "A.C.B:g");
  EXPECT_EQ(Shown(columns, {"A.C.B"}, true), "A.C.B:g");
  EXPECT_EQ(Shown(columns, {"C.B"}, true), "A.C.B:g");
  EXPECT_EQ(Shown(columns, {"A.D"}, true), "A.D:g");
  EXPECT_EQ(Shown(columns, {"A.B"}, true), "no column A.B");
}

TEST(ChooseColumns, RenamesNamesThatAreTaken) {
  EXPECT_EQ(
      Shown({Column("_reply"), Column("Data.A"), Column("Data", "+l", {Column("A")}), Column("_offset")}, {},
            true),
      "_reply#0:g Data.A:g Data.A#0:g _offset#3:g");
  // Two columns of tables beside each other.
  EXPECT_EQ(Shown({Column("A", "+l", {Column("B.C")}), Column("A.B", "+l", {Column("C")})}, {}, true),
            "A.B.C:g A.B.C#0:g");
  EXPECT_EQ(Shown({Column("_file"), Column("X")}, {}, false), "_file#0:g X:g");
}
