// Wire tables (Id 3): the service's own column-oriented table, turned into a table object by the description
// that it brings along. Columns and their data belong together by position alone.
#include <algorithm>

#include "tesparser/tes2table.h"
#include "tesparser/wire_columns.h"

// The one operation that a host's own base library may lack: without it, all tables are made from their spec.
#if defined(_WIN32)
#include <windows.h>
#elif defined(__APPLE__)
extern "C" void* table_create_like(const void* model, int rows, const char* name)
    __attribute__((weak_import));
#else
extern "C" void* table_create_like(const void* model, int rows, const char* name) __attribute__((weak));
#endif

namespace {

#if defined(_WIN32)

// A name that a DLL lacks would keep this one from being loaded, so it is looked up where `table_create`
// comes from.
void* (*FindCreateLike())(const void* model, int rows, const char* name) {
  HMODULE base = nullptr;
  if (GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
          reinterpret_cast<const wchar_t*>(&table_create), &base) == 0) {
    return nullptr;
  }
  const FARPROC found = GetProcAddress(base, "table_create_like");
  return reinterpret_cast<void* (*)(const void*, int, const char*)>(reinterpret_cast<void*>(found));
}

const auto table_create_like = FindCreateLike();

#endif

// A spec of this size is not read again for each nested table: a column may bring tens of thousands of small
// tables and a description as long as all of them together.
constexpr size_t kLongSpec = 4096;

// A table of the columns of `model`, which was made from `spec`; the first one has no model.
void* CreateAlike(const void* model, const std::string& spec, int rows) {
  return model != nullptr && table_create_like != nullptr ? table_create_like(model, rows, "")
                                                          : table_create(spec.c_str(), rows, "");
}

}  // namespace

void* tes2table::ParseTbl(const tessel::MSG& message) {
  const tessel::Table* payload = WirePayload(message);
  if (payload == nullptr) return nullptr;
  return ParseTable(*payload, payload->info());
}

std::string tes2table::ColumnSpecFromInfo(const google::protobuf::RepeatedPtrField<tessel::CInfo>& info) {
  std::string spec;
  for (const tessel::CInfo& column : info) {
    spec += column.name();
    spec += ':';
    switch (column.type()) {
      case tessel::Type_Int:
      case tessel::Type_SInt:
      case tessel::Type_Double: spec += 'd'; break;
      case tessel::Type_Float: spec += 'f'; break;
      case tessel::Type_String: spec += 's'; break;
      case tessel::Type_Binary: spec += 'b'; break;
      case tessel::Type_Table: spec += 't'; break;
      default: spec += 'q'; break;  // a column that is never filled
    }
    spec += ';';
  }
  return spec;
}

int tes2table::TableRowCount(const tessel::Table& table,
                             const google::protobuf::RepeatedPtrField<tessel::CInfo>& info) {
  if (table.data().empty()) return 0;
  if (info.empty() || info.size() != table.data_size()) return -1;
  const tessel::CData& first = table.data(0);
  switch (info[0].type()) {
    case tessel::Type_Binary: return first.bvalues_size();
    case tessel::Type_Double: return first.dvalues_size();
    case tessel::Type_Float: return first.fvalues_size();
    case tessel::Type_Int: return first.ivalues_size();
    case tessel::Type_String: return first.svalues_size();
    case tessel::Type_Table: return first.tvalues_size();
    case tessel::Type_SInt: return first.xvalues_size();
    default: return -1;
  }
}

void* tes2table::ParseTable(const tessel::Table& table,
                            const google::protobuf::RepeatedPtrField<tessel::CInfo>& info) {
  return ParseTableBySpec(table, info, ColumnSpecFromInfo(info), nullptr);
}

// `model` is a table that has the columns of the spec already, or null.
void* tes2table::ParseTableBySpec(const tessel::Table& table,
                                  const google::protobuf::RepeatedPtrField<tessel::CInfo>& info,
                                  const std::string& spec, const void* model) {
  const int rows = TableRowCount(table, info);
  if (rows <= 0) return nullptr;
  void* result = CreateAlike(model, spec, rows);
  for (int c = 0; c < info.size(); ++c) {
    const tessel::CData& data = table.data(c);
    if (info[c].type() != tessel::Type_Table) {
      FillWireColumn(result, c, info[c], data);
    } else if (!data.tvalues().empty()) {
      ParseTableColumn(result, rows, c, data);
    }
  }
  return result;
}

// All tables of one column share the description that stands in the first. Tables beyond the parent's last
// row would have no cell and are not made.
void tes2table::ParseTableColumn(void* parent, int rows, int col, const tessel::CData& data) {
  const auto& info = data.tvalues(0).info();
  const std::string spec = ColumnSpecFromInfo(info);
  const int tables = std::min(rows, data.tvalues_size());
  if (spec.size() >= kLongSpec) return ParseTablesAlike(parent, tables, col, data, spec);
  for (int r = 0; r < tables; ++r)
    table_set_table_raw(parent, r, col, ParseTableBySpec(data.tvalues(r), info, spec, nullptr));
}

// The first table made is the model of the others. It is handed over last, as a table is not touched after
// that.
void tes2table::ParseTablesAlike(void* parent, int tables, int col, const tessel::CData& data,
                                 const std::string& spec) {
  const auto& info = data.tvalues(0).info();
  void* model = nullptr;
  int model_row = 0;
  for (int r = 0; r < tables; ++r) {
    void* child = ParseTableBySpec(data.tvalues(r), info, spec, model);
    if (model == nullptr && child != nullptr) {
      model = child;
      model_row = r;
    } else {
      table_set_table_raw(parent, r, col, child);
    }
  }
  if (model != nullptr) table_set_table_raw(parent, model_row, col, model);
}
