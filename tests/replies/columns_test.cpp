// The descriptions of columns against what the library returns: which tables there are, their columns and
// nested tables, how each value is made and what an absent field leaves behind. A converter that changes
// without its description fails here.
#include "replies/columns.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tesparser/tesparser.h"
#include "tests/support/full_replies.h"
#include "tests/support/replies.h"
#include "tests/support/tables.h"

namespace {

namespace pb = google::protobuf;
using full_replies::Complete;
using full_replies::ElementOf;
using full_replies::Envelope;
using full_replies::FieldOf;
using full_replies::FillAll;
using full_replies::kChinese;
using full_replies::kPacked299;
using full_replies::NewElement;
using full_replies::Outer;
using full_replies::SetValue;
using full_replies::WriteValue;
using replies::ColumnDescription;
using replies::TableDescription;

using Path = std::vector<std::string>;

Path Split(std::string_view text, char separator) {
  Path parts;
  std::istringstream in{std::string(text)};
  for (std::string part; std::getline(in, part, separator);)
    parts.push_back(part.substr(part.find_first_not_of(' ')));
  return parts;
}

// ---- replies ----------------------------------------------------------------------------------------------

const char kChineseCp936[] = "\xD6\xD0";

// A reply with one element in which all messages on the way to the field are there, and nothing else but what
// is required. The message that holds the field, or would hold it, in `holder`.
std::unique_ptr<pb::Message> SparseReply(const TableDescription& table, const Path& source,
                                         pb::Message** holder) {
  auto reply = Envelope(table);
  pb::Message* at = NewElement(reply.get(), FieldOf(*reply, std::string(Outer(table).field)));
  for (size_t i = 0; i + 1 < source.size(); ++i) {
    const pb::FieldDescriptor* field = FieldOf(*at, source[i]);
    if (field == nullptr) return nullptr;
    at = NewElement(at, field);
  }
  *holder = at;
  return reply;
}

OwnedTable TableOf(const TableDescription& table, const pb::Message& reply) {
  const std::string bytes = test_replies::Bytes(reply);
  return OwnedTable(table.type == 0 ? TesparserPB2Table(bytes)
                                    : TesparserPB2TableType(bytes, static_cast<TPType>(table.type)));
}

// The table at the described path: always the first row's.
void* Inside(void* table, std::string_view path) {
  for (const std::string& column : Split(path, '/')) {
    if (table == nullptr) return nullptr;
    table = table_get_table(table, 0, table_col_index(table, column.c_str()));
  }
  return table;
}

int ColumnIndex(const TableDescription& table, const ColumnDescription& column) {
  return static_cast<int>(&column - table.columns.data());
}

std::string Where(const TableDescription& table, const ColumnDescription& column) {
  return "Id " + std::to_string(table.id) + ", type " + std::to_string(table.type) + ", " +
         std::string(table.path) + "/" + std::string(column.name);
}

bool OfAMessage(const TableDescription& table) {
  return table.id != 3;
}

// Calls check(table, column, alternative source) for every column that has a source.
template <class Check>
void ForEachSource(Check check) {
  int columns = 0;
  for (const TableDescription& table : replies::DescribedTables()) {
    if (!OfAMessage(table)) continue;
    for (const ColumnDescription& column : table.columns) {
      if (column.source.empty()) continue;
      SCOPED_TRACE(Where(table, column));
      for (const std::string& alternative : Split(column.source, ','))
        check(table, column, Split(alternative, '.'));
      ++columns;
    }
  }
  EXPECT_GT(columns, 400);
}

// ---- cells ------------------------------------------------------------------------------------------------

std::optional<double> NumberAt(void* table, int row, int col) {
  if (table_is_set(table, row, col) == 0) return std::nullopt;
  switch (table_col_type(table, col)) {
    case 3: return table_get_int(table, row, col);
    case 4: return static_cast<double>(table_get_int64(table, row, col));
    case 6: return table_get_double(table, row, col);
    case 11: return table_get_uint(table, row, col);
    default: return std::nullopt;
  }
}

// What 2.99, packed, becomes; empty for columns that hold no number of their own.
std::optional<double> Expected(std::string_view made, double value = 2.99) {
  if (made == "decoded") return value;
  if (made == "decoded / 10000") return value / 10000;
  if (made == "truncated") return static_cast<int>(value);
  if (made == "rounded") return static_cast<int>(value + 0.5);
  if (made == "plain" || made == "low 32 bits") return 299;
  return std::nullopt;
}

void CheckMade(const TableDescription& table, const ColumnDescription& column,
               const pb::FieldDescriptor* field, void* content) {
  const int col = ColumnIndex(table, column);
  if (column.made == "text") {
    ASSERT_TRUE(column.Is("cp936") || column.Is("raw"));
    EXPECT_EQ(TextAt(content, 0, col), column.Is("raw") ? kChinese : kChineseCp936);
  } else if (column.made == "children") {
    const void* child = table_get_table(content, 0, col);
    ASSERT_NE(child, nullptr);
    EXPECT_GE(table_rows(child), 1);
  } else if (const auto expected =
                 Expected(column.made, field->type() == pb::FieldDescriptor::TYPE_BOOL ? 0.01 : 2.99)) {
    EXPECT_EQ(NumberAt(content, 0, col), expected);
  } else {
    EXPECT_TRUE(column.made == "nothing" || column.made == "array" || column.made == "mask") << column.made;
  }
}

// ---- structure --------------------------------------------------------------------------------------------

void CheckStructure(const TableDescription& table, void* content, std::set<std::string>* seen) {
  const std::string where =
      std::to_string(table.id) + " type " + std::to_string(table.type) + "/" + std::string(table.path);
  seen->insert(where);
  EXPECT_EQ(SpecOf(content), table.Spec()) << where;
  EXPECT_EQ(std::string(table_name(content)), table.name) << where;
  for (const ColumnDescription& column : table.columns) {
    if (column.letter != "t") continue;
    const std::string path =
        (table.path.empty() ? "" : std::string(table.path) + "/") + std::string(column.name);
    const TableDescription* inner = replies::DescribeTable(table.id, table.type, path);
    ASSERT_NE(inner, nullptr) << where << " does not tell of " << path;
    int children = 0;
    for (int row = 0; row < table_rows(content); ++row) {
      void* child = table_get_table(content, row, ColumnIndex(table, column));
      if (child == nullptr) continue;
      ++children;
      CheckStructure(*inner, child, seen);
    }
    EXPECT_GT(children, 0) << where << " has no table in " << column.name;
  }
}

}  // namespace

TEST(Columns, AreDescribedForEachIdWithATableAndNoOther) {
  const auto empty = test_replies::New("MSG");
  const pb::Descriptor* envelope = empty->GetDescriptor();
  std::set<int> described;
  for (const TableDescription& table : replies::DescribedTables()) {
    if (table.type == 0) described.insert(table.id);
  }
  std::set<int> tables = {3};  // the wrapper of a wire table has a form of its own
  for (int i = 0; i < envelope->field_count(); ++i) {
    const pb::FieldDescriptor* field = envelope->field(i);
    if (field->message_type() == nullptr || field->name() == "Tbl") continue;
    auto reply = test_replies::New("MSG");
    SetValue(reply.get(), envelope->FindFieldByName("Id"), field->number(), "");
    NewElement(reply.get(), field);
    if (OwnedTable(TesparserPB2Table(test_replies::Bytes(*reply))) != nullptr) tables.insert(field->number());
  }
  EXPECT_EQ(described, tables);
}

TEST(Columns, AreDescribedInTheOrderOfTypesAndIds) {
  std::vector<std::pair<int, int>> order;
  for (const replies::TableDescription& table : replies::DescribedTables())
    order.emplace_back(table.type, table.id);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(Columns, AreThoseOfAReplyWithEveryField) {
  std::set<std::string> seen;
  std::set<std::string> described;
  for (const TableDescription& table : replies::DescribedTables()) {
    if (!OfAMessage(table)) continue;
    described.insert(std::to_string(table.id) + " type " + std::to_string(table.type) + "/" +
                     std::string(table.path));
    if (!table.path.empty()) continue;
    const auto reply = full_replies::FullReply(table);
    EXPECT_EQ(FieldOf(*reply, std::string(table.field))->number(), table.id);
    const OwnedTable content = TableOf(table, *reply);
    ASSERT_NE(content, nullptr) << table.id << " " << table.type;
    CheckStructure(table, content.get(), &seen);
  }
  EXPECT_EQ(seen, described);
}

TEST(Columns, AreThoseOfASparseReply) {
  for (const TableDescription& table : replies::DescribedTables()) {
    if (!OfAMessage(table) || !table.path.empty()) continue;
    pb::Message* holder = nullptr;
    const auto reply = SparseReply(table, {""}, &holder);
    const OwnedTable content = TableOf(table, *reply);
    ASSERT_NE(content, nullptr) << table.id << " " << table.type;
    EXPECT_EQ(SpecOf(content.get()), table.Spec());
  }
}

TEST(Columns, AreMadeAsToldFromTheFieldThatIsTold) {
  ForEachSource([](const TableDescription& table, const ColumnDescription& column, const Path& source) {
    pb::Message* holder = nullptr;
    const auto reply = SparseReply(table, source, &holder);
    ASSERT_NE(reply, nullptr);
    const pb::FieldDescriptor* field = FieldOf(*holder, source.back());
    ASSERT_NE(field, nullptr);
    if (field->message_type() != nullptr) {
      if (!field->is_required()) NewElement(holder, field);
    } else {
      WriteValue(holder, field, kPacked299);
    }
    if (source.back() != "CaoZuoJieGuo") Complete(table, ElementOf(table, reply.get()));
    const OwnedTable outer = TableOf(table, *reply);
    void* content = Inside(outer.get(), table.path);
    ASSERT_NE(content, nullptr);
    CheckMade(table, column, field, content);
  });
}

TEST(Columns, AreUnsetAsToldWithoutTheField) {
  ForEachSource([](const TableDescription& table, const ColumnDescription& column, const Path& source) {
    pb::Message* holder = nullptr;
    const auto reply = SparseReply(table, source, &holder);
    const pb::FieldDescriptor* field = FieldOf(*holder, source.back());
    if (field->is_required()) return;  // such a reply does not come without it
    const OwnedTable outer = TableOf(table, *reply);
    void* content = Inside(outer.get(), table.path);
    if (content == nullptr) return;  // the messages on the way are all that the table is made of
    const bool set = table_rows(content) > 0 && table_is_set(content, 0, ColumnIndex(table, column)) != 0;
    if (column.unset == "never") {
      EXPECT_TRUE(set);
    } else if (column.unset != "unless the result is 0") {
      EXPECT_FALSE(set) << column.unset;
    }
  });
}

TEST(Columns, LeaveAPackedNullUnsetWhereThatIsTold) {
  int columns = 0;
  ForEachSource(
      [&columns](const TableDescription& table, const ColumnDescription& column, const Path& source) {
        if (!Expected(column.made)) return;
        pb::Message* holder = nullptr;
        const auto reply = SparseReply(table, source, &holder);
        const pb::FieldDescriptor* field = FieldOf(*holder, source.back());
        if (field->cpp_type() != pb::FieldDescriptor::CPPTYPE_INT64) return;
        WriteValue(holder, field, 0x20000);
        if (source.back() != "CaoZuoJieGuo") Complete(table, ElementOf(table, reply.get()));
        const OwnedTable outer = TableOf(table, *reply);
        void* content = Inside(outer.get(), table.path);
        ASSERT_NE(content, nullptr);
        const bool set = table_is_set(content, 0, ColumnIndex(table, column)) != 0;
        EXPECT_EQ(!set, column.unset == "absent or null" || column.unset == "always");
        ++columns;
      });
  EXPECT_GT(columns, 300);
}

// Columns that nothing writes stay unset in the fullest reply.
TEST(Columns, ThatAreMadeOfNothingAreNeverSet) {
  std::vector<std::string> found;
  for (const TableDescription& table : replies::DescribedTables()) {
    for (const ColumnDescription& column : table.columns) {
      if (column.made != "nothing" || !OfAMessage(table)) continue;
      EXPECT_EQ(column.unset, "always");
      auto reply = Envelope(table);
      FillAll(NewElement(reply.get(), FieldOf(*reply, std::string(Outer(table).field))), 4);
      const OwnedTable outer = TableOf(table, *reply);
      void* content = Inside(outer.get(), table.path);
      ASSERT_NE(content, nullptr);
      for (int row = 0; row < table_rows(content); ++row)
        EXPECT_EQ(table_is_set(content, row, ColumnIndex(table, column)), 0) << Where(table, column);
      found.emplace_back(column.name);
    }
  }
  EXPECT_EQ(found.size(), 3U);  // three of Id 321, which are declared and not written
}

// The layouts that types give the tables nested in a wire table.
TEST(Columns, OfTypedWireTablesAreThoseOfTheLayout) {
  int layouts = 0;
  for (const TableDescription& table : replies::DescribedTables()) {
    if (table.id != 3 || table.type == 0) continue;
    EXPECT_EQ(table.path, "*");
    const std::string bytes = test_replies::Reply(
        "Id: 3 Tbl { Info { Name: 'W' Type: 116 } Data { Index: 0 tValues {"
        " Info { Name: 'T' Type: 116 } Data { Index: 0 tValues {"
        " Info { Name: 'N' Type: 105 } Data { Index: 0 iValues: 0 } } } } } }");
    const OwnedTable outer(TesparserPB2TableType(bytes, static_cast<TPType>(table.type)));
    ASSERT_NE(outer, nullptr) << table.type;
    void* content = table_get_table(outer.get(), 0, 0);
    ASSERT_NE(content, nullptr) << table.type;
    EXPECT_EQ(SpecOf(content), table.Spec());
    EXPECT_EQ(std::string(table_name(content)), table.name);
    ++layouts;
  }
  EXPECT_EQ(layouts, 4);
}

TEST(Columns, OfAnArrayAreDescribedElementByElement) {
  const TableDescription* table = replies::DescribeTable(405, 0, "Data");
  ASSERT_NE(table, nullptr);
  const ColumnDescription* column = replies::FindColumn(*table, "Data");
  ASSERT_NE(column, nullptr);
  EXPECT_EQ(column->letter, "53q");
  ASSERT_EQ(column->elements.size(), 53U);
  for (int i = 0; i < 53; ++i) {
    EXPECT_EQ(column->elements[static_cast<size_t>(i)].index, i);
    // One figure alone, unpacked as the cell keeps it.
    pb::Message* holder = nullptr;
    const std::string name(column->elements[static_cast<size_t>(i)].source);
    const auto reply = SparseReply(*table, {"Data", "Data", name}, &holder);
    SetValue(holder, FieldOf(*holder, name), kPacked299, "");
    const OwnedTable outer = TableOf(*table, *reply);
    void* content = Inside(outer.get(), "Data");
    int size = 0;
    const auto* values =
        static_cast<const int64_t*>(table_get_buff(content, 0, ColumnIndex(*table, *column), &size));
    ASSERT_EQ(size, 424);
    for (int k = 0; k < 53; ++k)
      EXPECT_EQ(values[k], k == i ? kPacked299 : 0) << name;
  }
}

// ---- the form of the texts --------------------------------------------------------------------------------

TEST(Columns, AreToldInKnownWords) {
  const std::set<std::string_view> made = {"decoded", "decoded / 10000", "truncated", "rounded",
                                           "plain",   "low 32 bits",     "text",      "children",
                                           "mask",    "array",           "nothing",   "wire"};
  for (const TableDescription& table : replies::DescribedTables()) {
    EXPECT_EQ(table.path.empty(), !table.english.empty()) << table.id << "/" << table.path;
    EXPECT_FALSE(table.rows.empty()) << table.id << "/" << table.path;
    for (const ColumnDescription& column : table.columns) {
      SCOPED_TRACE(Where(table, column));
      EXPECT_EQ(made.count(column.made), 1U) << column.made;
      EXPECT_FALSE(column.english.text.empty());
      EXPECT_FALSE(column.chinese.text.empty());
      EXPECT_FALSE(column.meaning.text.empty());
      EXPECT_FALSE(column.unset.empty());
      const bool text = column.made == "text" || (column.made == "wire" && column.letter == "s");
      EXPECT_EQ(text, column.Is("cp936") || column.Is("raw")) << column.kind.text;
    }
  }
}

TEST(Columns, AreReadFromTheirText) {
  const auto tables = replies::ParseDescriptions(
      "# a comment\n"
      "table 9 RepDataNine\n"
      "title Nine | 九\n"
      "rows  one for each instrument\n"
      "empty no table\n"
      "Obj | s | Instrument | 代码 | The code ? | - | raw code | Obj | text | never\n"
      "Data | 2q | Pair | 对 | Two numbers | lots ? | - | Data | array | absent\n"
      "[0] | First | 第一 | - | yyyymmdd ? | A\n"
      "[1] | Second | 第二 | - | - | -\n"
      "\n"
      "table 9/Data\n"
      "rows one\n"
      "rows | q | Rows | 行 | A column of that name | count | - | - | plain | never\n");
  ASSERT_EQ(tables.size(), 2U);
  EXPECT_EQ(tables[0].id, 9);
  EXPECT_EQ(tables[0].field, "RepDataNine");
  EXPECT_EQ(tables[0].chinese, "九");
  EXPECT_EQ(tables[0].Spec(), "Obj:s;Data:2q;");
  EXPECT_EQ(tables[0].columns[0].meaning.text, "The code");
  EXPECT_TRUE(tables[0].columns[0].meaning.guess);
  EXPECT_EQ(tables[0].columns[0].meaning.Marked(), "The code ?");
  EXPECT_EQ(tables[0].columns[0].unit.text, "");
  EXPECT_TRUE(tables[0].columns[0].Is("code"));
  EXPECT_FALSE(tables[0].columns[0].Is("cod"));
  ASSERT_EQ(tables[0].columns[1].elements.size(), 2U);
  EXPECT_EQ(tables[0].columns[1].elements[0].source, "A");
  EXPECT_EQ(tables[0].columns[1].elements[1].source, "");
  EXPECT_EQ(tables[1].path, "Data");
  EXPECT_EQ(tables[1].columns[0].name, "rows");
}

TEST(Columns, OfATypeHaveItsNameInTheirHead) {
  const auto tables = replies::ParseDescriptions(
      "type 7 DaDan 9 RepDataNine\n"
      "title Large orders | 大单\n"
      "rows  one for each order\n"
      "empty a table without rows\n"
      "name  Orders\n"
      "A | d | A | 甲 | The first | - | - | A | decoded | absent\n"
      "\n"
      "type 7/Data/Data 9\n"
      "rows two\n"
      "B | q | B | 乙 | The second | - | - | Data.Data.B | plain | never\n"
      "\n"
      "table 8 RepDataEight\n");
  ASSERT_EQ(tables.size(), 3U);
  // That without a type comes first.
  EXPECT_EQ(tables[0].id, 8);
  EXPECT_EQ(tables[0].type, 0);
  EXPECT_EQ(tables[0].type_name, "");
  EXPECT_EQ(tables[0].field, "RepDataEight");
  EXPECT_EQ(tables[1].id, 9);
  EXPECT_EQ(tables[1].type, 7);
  EXPECT_EQ(tables[1].type_name, "DaDan");
  EXPECT_EQ(tables[1].path, "");
  EXPECT_EQ(tables[1].field, "RepDataNine");
  EXPECT_EQ(tables[1].english, "Large orders");
  EXPECT_EQ(tables[1].chinese, "大单");
  EXPECT_EQ(tables[1].rows, "one for each order");
  EXPECT_EQ(tables[1].empty, "a table without rows");
  EXPECT_EQ(tables[1].name, "Orders");
  EXPECT_EQ(tables[2].id, 9);
  EXPECT_EQ(tables[2].type, 7);
  EXPECT_EQ(tables[2].type_name, "");
  EXPECT_EQ(tables[2].path, "Data/Data");
  EXPECT_EQ(tables[2].field, "");
}

TEST(Columns, SayWhichLineOfTheirTextIsWrong) {
  const auto error = [](const std::string& text) -> std::string {
    try {
      replies::ParseDescriptions(text);
    } catch (const std::runtime_error& failure) {
      return failure.what();
    }
    return "";
  };
  EXPECT_EQ(error("Obj | s\n"), "line 1: a line before the first table: Obj | s");
  EXPECT_EQ(error("\ntable x F\n"), "line 2: \"x\" is no number: table x F");
  EXPECT_EQ(error("table 3\n"), "line 1: a head with too few words or too many: table 3");
  EXPECT_EQ(error("table 3/A F\n"), "line 1: a head with too few words or too many: table 3/A F");
  EXPECT_EQ(error("table 3 F\nObj | s\n"), "line 2: a column has 10 parts, not 2: Obj | s");
  EXPECT_EQ(error("table 3 F\ntitle A\n"), "line 2: a title is in English and in Chinese: title A");
  EXPECT_EQ(error("table 3 F\n[0] | A | B | - | - | F\n"),
            "line 2: an element without a column: [0] | A | B | - | - | F");
  EXPECT_EQ(error("table 99999999999 F\n"), "line 1: \"99999999999\" is no number: table 99999999999 F");
  EXPECT_EQ(error("table 3x F\n"), "line 1: \"3x\" is no number: table 3x F");
  // A word that tells of no table, and a line of one word.
  EXPECT_EQ(error("table 3 F\nheight 7\n"), "line 2: a column has 10 parts, not 1: height 7");
  EXPECT_EQ(error("table 3 F\ntitle\n"), "line 2: a column has 10 parts, not 1: title");
  EXPECT_EQ(error("table 3 F\ntitle  \n"), "line 2: a column has 10 parts, not 1: title  ");
  const std::string array = "table 3 F\nA | 2q | A | A | - | - | - | A | array | absent\n";
  EXPECT_EQ(error(array), "");
  for (const char* element : {"[] | A | B | - | - | F", "[0 | A | B | - | - | F", "[0] | A | B | - | F"}) {
    EXPECT_NE(error(array + element + "\n").find("line 3: "), std::string::npos) << element;
  }
}

// Two digits, and blanks on all sides of a part.
TEST(Columns, MayBeWrittenWithBlanks) {
  const auto tables = replies::ParseDescriptions(
      "table 3 F\n"
      "title   A b   |   C  \n"
      "  A  |  12q  |  One two  |   A | - | - | - | A | array |  absent or null  \n"
      "[10]  |  First one  |  B  |  -  |  -  |  F  \n");
  ASSERT_EQ(tables.size(), 1U);
  EXPECT_EQ(tables[0].english, "A b");
  EXPECT_EQ(tables[0].chinese, "C");
  ASSERT_EQ(tables[0].columns.size(), 1U);
  EXPECT_EQ(tables[0].columns[0].name, "A");
  EXPECT_EQ(tables[0].columns[0].letter, "12q");
  EXPECT_EQ(tables[0].columns[0].english.text, "One two");
  EXPECT_EQ(tables[0].columns[0].unset, "absent or null");
  ASSERT_EQ(tables[0].columns[0].elements.size(), 1U);
  EXPECT_EQ(tables[0].columns[0].elements[0].index, 10);
  EXPECT_EQ(tables[0].columns[0].elements[0].english.text, "First one");
  EXPECT_EQ(tables[0].columns[0].elements[0].source, "F");
}

// Types in their order, and the Ids of each.
TEST(Columns, AreSortedByTypesAndThenByIds) {
  std::string text;
  for (const char* head : {"type 7 B 12 F", "table 30 F", "type 7 A 11 F", "type 5 C 40 F", "table 20 F"})
    text += std::string(head) + "\n";
  std::vector<std::pair<int, int>> order;
  for (const TableDescription& table : replies::ParseDescriptions(text))
    order.emplace_back(table.type, table.id);
  EXPECT_EQ(order, (std::vector<std::pair<int, int>>{{0, 20}, {0, 30}, {5, 40}, {7, 11}, {7, 12}}));
}

// A program that reads a reply knows its tables by their columns: two of one reply that have the same
// columns are told alike.
TEST(Columns, OfTablesAlikeAreHeadedAlike) {
  for (const TableDescription& table : replies::DescribedTables()) {
    for (const TableDescription& other : replies::DescribedTables()) {
      if (table.id != other.id || table.type != other.type || table.Spec() != other.Spec()) continue;
      for (size_t i = 0; i < table.columns.size(); ++i) {
        EXPECT_EQ(table.columns[i].english.text, other.columns[i].english.text)
            << Where(table, table.columns[i]);
        EXPECT_EQ(table.columns[i].chinese.text, other.columns[i].chinese.text)
            << Where(table, table.columns[i]);
        EXPECT_EQ(table.columns[i].kind.text, other.columns[i].kind.text) << Where(table, table.columns[i]);
      }
    }
  }
}

TEST(Payloads, AreDescribedForEachIdOfTheVocabulary) {
  const pb::EnumDescriptor* ids = test_replies::Pool().FindEnumTypeByName("tessel.EnumID");
  ASSERT_NE(ids, nullptr);
  std::map<int, std::string> wanted;
  for (int i = 0; i < ids->value_count(); ++i)
    wanted[ids->value(i)->number()] = ids->value(i)->name();
  std::map<int, std::string> described;
  for (const auto& payload : replies::DescribedPayloads()) {
    described[payload.id] = "ID" + std::string(payload.name);
    EXPECT_FALSE(payload.english.text.empty()) << payload.id;
    EXPECT_FALSE(payload.family.empty()) << payload.id;
    EXPECT_EQ(replies::DescribePayload(payload.id), &payload);
  }
  EXPECT_EQ(described, wanted);
  EXPECT_EQ(replies::DescribePayload(-1), nullptr);
}
