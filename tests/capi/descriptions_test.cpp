// Claim: what the C face tells of Ids, tables, columns and elements is what is described of them, each text
// in its own place.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "replies/columns.h"
#include "tesparser_c.h"

namespace {

struct ToldText {
  const char* what;
  const char* told;
  std::string described;
};

void ExpectTexts(const std::vector<ToldText>& texts) {
  for (const ToldText& text : texts)
    EXPECT_EQ(std::string_view(text.told), text.described) << text.what;
}

void ExpectElement(const tesparser_element& element, const replies::ElementDescription& described) {
  EXPECT_EQ(element.index, described.index);
  EXPECT_EQ(element.reserved, 0);
  ExpectTexts({{"heading", element.heading, described.english.Marked()},
               {"heading_zh", element.heading_zh, described.chinese.Marked()},
               {"unit", element.unit, described.unit.Marked()},
               {"kind", element.kind, described.kind.Marked()},
               {"source", element.source, std::string(described.source)}});
}

void ExpectColumn(const tesparser_column& column, const replies::ColumnDescription& described) {
  SCOPED_TRACE(described.name);
  ExpectTexts({{"name", column.name, std::string(described.name)},
               {"letter", column.letter, std::string(described.letter)},
               {"heading", column.heading, described.english.Marked()},
               {"heading_zh", column.heading_zh, described.chinese.Marked()},
               {"meaning", column.meaning, described.meaning.Marked()},
               {"unit", column.unit, described.unit.Marked()},
               {"kind", column.kind, described.kind.Marked()},
               {"source", column.source, std::string(described.source)},
               {"made", column.made, std::string(described.made)},
               {"unset", column.unset, std::string(described.unset)}});
  ASSERT_EQ(column.element_count, described.elements.size());
  for (size_t i = 0; i < column.element_count; ++i)
    ExpectElement(column.elements[i], described.elements[i]);
}

TEST(Descriptions, OfTablesAreAsDescribed) {
  size_t count = 0;
  const tesparser_layout* layouts = tesparser_layouts(&count, nullptr);
  const std::vector<replies::TableDescription>& described = replies::DescribedTables();
  ASSERT_EQ(count, described.size());
  for (size_t i = 0; i < count; ++i) {
    const tesparser_layout& layout = layouts[i];
    const replies::TableDescription& table = described[i];
    SCOPED_TRACE(std::to_string(table.id) + ", " + std::to_string(table.type) + ", " +
                 std::string(table.path));
    EXPECT_EQ(layout.id, table.id);
    EXPECT_EQ(layout.type, table.type);
    ExpectTexts({{"path", layout.path, std::string(table.path)},
                 {"field", layout.field, std::string(table.field)},
                 {"heading", layout.heading, std::string(table.english)},
                 {"heading_zh", layout.heading_zh, std::string(table.chinese)},
                 {"rows", layout.rows, std::string(table.rows)},
                 {"empty", layout.empty, std::string(table.empty)}});
    ASSERT_EQ(layout.column_count, table.columns.size());
    for (size_t k = 0; k < layout.column_count; ++k)
      ExpectColumn(layout.columns[k], table.columns[k]);
  }
}

TEST(Descriptions, OfIdsAreAsDescribed) {
  size_t count = 0;
  const tesparser_payload* payloads = tesparser_payloads(&count, nullptr);
  const std::vector<replies::PayloadDescription>& described = replies::DescribedPayloads();
  ASSERT_EQ(count, described.size());
  for (size_t i = 0; i < count; ++i) {
    SCOPED_TRACE(described[i].id);
    EXPECT_EQ(payloads[i].id, described[i].id);
    ExpectTexts({{"name", payloads[i].name, std::string(described[i].name)},
                 {"family", payloads[i].family, std::string(described[i].family)},
                 {"heading", payloads[i].heading, described[i].english.Marked()},
                 {"heading_zh", payloads[i].heading_zh, described[i].chinese.Marked()}});
  }
}

}  // namespace
