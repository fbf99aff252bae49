// Ids, tables and columns, as C can read them.
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "capi/call.h"
#include "replies/columns.h"

namespace capi {
namespace {

using replies::ColumnDescription;
using replies::DescribedTables;
using replies::TableDescription;

// Made once, at the first use, and never freed: what is handed out points into it.
class Descriptions {
 public:
  Descriptions() {
    AddLayouts();
    AddPayloads();
  }

  const std::vector<tesparser_layout>& layouts() const { return layouts_; }
  const std::vector<tesparser_payload>& payloads() const { return payloads_; }

 private:
  const char* Text(std::string_view text) { return texts_.emplace_back(text).c_str(); }
  const char* Text(const replies::Told& told) { return texts_.emplace_back(told.Marked()).c_str(); }

  void AddLayouts() {
    for (const TableDescription& table : DescribedTables()) {
      const auto& columns = columns_.emplace_back(Columns(table));
      layouts_.push_back({table.id, table.type, Text(table.path), Text(table.field), Text(table.english),
                          Text(table.chinese), Text(table.rows), Text(table.empty), columns.data(),
                          columns.size()});
    }
  }

  std::vector<tesparser_column> Columns(const TableDescription& table) {
    std::vector<tesparser_column> columns;
    for (const ColumnDescription& column : table.columns) {
      const auto& elements = elements_.emplace_back(Elements(column));
      columns.push_back({Text(column.name), Text(column.letter), Text(column.english), Text(column.chinese),
                         Text(column.meaning), Text(column.unit), Text(column.kind), Text(column.source),
                         Text(column.made), Text(column.unset), elements.empty() ? nullptr : elements.data(),
                         elements.size()});
    }
    return columns;
  }

  std::vector<tesparser_element> Elements(const ColumnDescription& column) {
    std::vector<tesparser_element> elements;
    for (const replies::ElementDescription& element : column.elements)
      elements.push_back({element.index, 0, Text(element.english), Text(element.chinese), Text(element.unit),
                          Text(element.kind), Text(element.source)});
    return elements;
  }

  void AddPayloads() {
    for (const replies::PayloadDescription& payload : replies::DescribedPayloads()) {
      const auto& types = types_.emplace_back(TypesOf(payload.id));
      payloads_.push_back({payload.id, replies::DescribeTable(payload.id, 0, "") != nullptr ? 1 : 0,
                           types.empty() ? nullptr : types.data(), types.size(), Text(payload.name),
                           Text(payload.family), Text(payload.english), Text(payload.chinese)});
    }
  }

  // Each once. Of a layout that wire tables have too, it is the nested table alone that is told.
  static std::vector<int32_t> TypesOf(int32_t id) {
    std::vector<int32_t> types;
    for (const TableDescription& table : DescribedTables()) {
      if (table.id == id && table.type != 0 && (types.empty() || types.back() != table.type))
        types.push_back(table.type);
    }
    return types;
  }

  std::deque<std::string> texts_;
  std::deque<std::vector<tesparser_element>> elements_;
  std::deque<std::vector<tesparser_column>> columns_;
  std::deque<std::vector<int32_t>> types_;
  std::vector<tesparser_layout> layouts_;
  std::vector<tesparser_payload> payloads_;
};

const Descriptions& All() {
  static const auto* const all = new Descriptions;
  return *all;
}

// The elements of a list, and how many.
template <typename Element>
const Element* Listed(size_t* count, tesparser_error* error,
                      const std::vector<Element>& (Descriptions::*list)() const) {
  if (count == nullptr) {
    Fail(error, TESPARSER_BAD_ARGUMENT, "`count` is null");
    return nullptr;
  }
  *count = 0;
  return Guarded<const Element*>(error, nullptr, [&] {
    const std::vector<Element>& elements = (All().*list)();
    *count = elements.size();
    return elements.data();
  });
}

const tesparser_layout* FindLayout(int32_t id, int32_t type, std::string_view path) {
  for (const tesparser_layout& layout : All().layouts()) {
    if (layout.id == id && layout.type == type && layout.path == path) return &layout;
  }
  return nullptr;
}

}  // namespace
}  // namespace capi

const tesparser_payload* tesparser_payloads(size_t* count, tesparser_error* error) {
  return capi::Listed(count, error, &capi::Descriptions::payloads);
}

const tesparser_layout* tesparser_layouts(size_t* count, tesparser_error* error) {
  return capi::Listed(count, error, &capi::Descriptions::layouts);
}

const tesparser_layout* tesparser_find_layout(int32_t id, int32_t type, const char* path,
                                              tesparser_error* error) {
  return capi::Guarded<const tesparser_layout*>(error, nullptr, [&] {
    const tesparser_layout* found = capi::FindLayout(id, type, path == nullptr ? "" : path);
    if (found == nullptr) capi::Fail(error, TESPARSER_NO_TABLE_FORM, "no such table");
    return found;
  });
}
