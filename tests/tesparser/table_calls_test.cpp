// In which order nested tables are made and handed over. The calls are caught on their way to the base
// library.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "tesparser/tes2table.h"
#include "tesparser/tes2tableType.h"
#include "tests/support/tables.h"
#include "tsloutput.pb.h"

namespace {

std::vector<std::string> calls;
std::map<const void*, int> numbers;  // tables by the order in which they were made
std::set<const void*> handed_over;

int NumberOf(const void* table) {
  return table == nullptr ? 0 : numbers.at(table);
}

void* Made(void* table, const std::string& how, int rows, const char* name) {
  const int number = static_cast<int>(numbers.size()) + 1;
  numbers[table] = number;
  const std::string named = *name == '\0' ? "" : std::string(" ") + name;
  calls.push_back(std::to_string(number) + ": " + how + ", " + std::to_string(rows) + " rows" + named);
  return table;
}

template <class Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

void* table_create(const char* spec, int rows, const char* name) {
  static auto* const real = Real<void*(const char*, int, const char*)>("table_create");
  return Made(real(spec, rows, name), "from its spec", rows, name);
}

void* table_create_like(const void* model, int rows, const char* name) {
  static auto* const real = Real<void*(const void*, int, const char*)>("table_create_like");
  EXPECT_EQ(handed_over.count(model), 0U) << "a table that belongs to its parent is a model";
  return Made(real(model, rows, name), "like " + std::to_string(NumberOf(model)), rows, name);
}

void table_set_table_raw(void* table, int row, int col, void* child) {
  static auto* const real = Real<void(void*, int, int, void*)>("table_set_table_raw");
  calls.push_back(std::to_string(NumberOf(table)) + "[" + std::to_string(row) + "," + std::to_string(col) +
                  "] = " + std::to_string(NumberOf(child)));
  handed_over.insert(child);
  real(table, row, col, child);
}

}  // extern "C"

namespace {

using Calls = std::vector<std::string>;

class NestedTables : public testing::Test {
 protected:
  NestedTables() {
    calls.clear();
    numbers.clear();
    handed_over.clear();
  }

  // Adds a column of tables to the payload of the wire reply.
  tessel::CData* AddTables() {
    if (message_.tbl().info().empty()) {
      message_.set_id(tessel::IDTbl);
      message_.mutable_tbl()->add_info()->set_type(tessel::Type_Table);
      tessel::CData* cell = message_.mutable_tbl()->add_data();
      cell->set_index(0);
      payload_ = cell->add_tvalues();
    }
    payload_->add_info()->set_type(tessel::Type_Table);
    tessel::CData* column = payload_->add_data();
    column->set_index(0);
    return column;
  }

  // Adds a table of one column with `rows` numbers.
  static tessel::Table* AddTable(tessel::CData* column, int rows) {
    tessel::Table* table = column->add_tvalues();
    tessel::CData* numbers_of_it = table->add_data();
    numbers_of_it->set_index(0);
    for (int row = 0; row < rows; ++row)
      numbers_of_it->add_ivalues(row);
    return table;
  }

  static void Describe(tessel::Table* table, const std::string& name) {
    tessel::CInfo* info = table->add_info();
    info->set_name(name);
    info->set_type(tessel::Type_Int);
  }

  tessel::MSG message_;
  tessel::Table* payload_ = nullptr;
};

TEST_F(NestedTables, SnapshotsAreMadeOneAfterTheOther) {
  message_.set_id(tessel::IDQuoteDynaSingle);
  for (const char* obj : {"SH600000", "SZ000001", "SZ300001"})
    message_.add_repdataquotedynasingle()->set_obj(obj);
  const OwnedTable table(tes2table().Parse(message_));
  EXPECT_EQ(calls,
            (Calls{"1: from its spec, 3 rows", "2: from its spec, 1 rows", "1[0,1] = 2",
                   "3: from its spec, 1 rows", "1[1,1] = 3", "4: from its spec, 1 rows", "1[2,1] = 4"}));
}

// The second table has no row, the fourth no cell.
TEST_F(NestedTables, WireColumnIsFilledInRowOrder) {
  tessel::CData* column = AddTables();
  Describe(AddTable(column, 2), "x");
  AddTable(column, 0);
  AddTable(column, 3);
  tessel::CData* second = AddTables();
  Describe(AddTable(second, 1), "y");
  for (int i = 0; i < 3; ++i)
    AddTable(second, 1);
  const OwnedTable table(tes2table().Parse(message_));
  EXPECT_EQ(calls,
            (Calls{"1: from its spec, 3 rows", "2: from its spec, 2 rows", "1[0,0] = 2", "1[1,0] = 0",
                   "3: from its spec, 3 rows", "1[2,0] = 3", "4: from its spec, 1 rows", "1[0,1] = 4",
                   "5: from its spec, 1 rows", "1[1,1] = 5", "6: from its spec, 1 rows", "1[2,1] = 6"}));
}

TEST_F(NestedTables, ALongSpecIsReadOnceAndItsFirstTableHandedOverLast) {
  tessel::CData* column = AddTables();
  Describe(AddTable(column, 0), std::string(4093, 'n'));  // and ":d;"
  for (int i = 0; i < 3; ++i)
    AddTable(column, 1);
  const OwnedTable table(tes2table().Parse(message_));
  EXPECT_EQ(calls,
            (Calls{"1: from its spec, 4 rows", "1[0,0] = 0", "2: from its spec, 1 rows", "3: like 2, 1 rows",
                   "1[2,0] = 3", "4: like 2, 1 rows", "1[3,0] = 4", "1[1,0] = 2"}));
}

TEST_F(NestedTables, ASpecOfOneByteLessIsReadForEach) {
  tessel::CData* column = AddTables();
  Describe(AddTable(column, 1), std::string(4092, 'n'));
  AddTable(column, 1);
  const OwnedTable table(tes2table().Parse(message_));
  EXPECT_EQ(calls, (Calls{"1: from its spec, 2 rows", "2: from its spec, 1 rows", "1[0,0] = 2",
                          "3: from its spec, 1 rows", "1[1,0] = 3"}));
}

TEST_F(NestedTables, TypedOnesAreMadeOneAfterTheOther) {
  tessel::CData* column = AddTables();
  for (int i = 0; i < 2; ++i)
    Describe(AddTable(column, 1), "Result");
  const OwnedTable table(tes2tableType().ParseTableType(message_, TPTypeToken));
  EXPECT_EQ(calls, (Calls{"1: from its spec, 2 rows", "2: from its spec, 1 rows tesdata", "1[0,0] = 2",
                          "3: from its spec, 1 rows tesdata", "1[1,0] = 3"}));
}

}  // namespace
