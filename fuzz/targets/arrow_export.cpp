// The tables of any reply as Arrow arrays: what leaves is what the format asks for, a stream written of it
// has the same rows, many tables give the rows of each, and parts end in any order.
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/support/change_reply.h"
#include "fuzz/support/random.h"
#include "fuzz/support/target.h"
#include "replies/arrow_check.h"
#include "replies/arrow_ipc.h"
#include "tesparser/tesparser.h"
#include "tests/support/arrow_reader.h"
#include "tests/support/arrow_rows.h"
#include "tsl_base/arrow.h"
#include "tsl_base/table.h"
#include "tsl_base/text.h"

namespace {

// The table of the Id and those of the typed layouts, which differ in the number of columns only from the
// indicators on. Null where there is none.
std::vector<void*> TablesOf(const std::string& reply, fuzz::Random* random) {
  const auto width = static_cast<TPType>(TPTypeZhiBiao1 + random->Int(16));
  std::vector<void*> tables = {TesparserPB2Table(reply)};
  for (const TPType type : {TPTypeDaDan, TPTypeFenLeiChiCang, TPTypeBxzjStock, TPTypeToken, width})
    tables.push_back(TesparserPB2TableType(reply, type));
  return tables;
}

void ReleaseIfThere(ArrowArray* array) {
  if (array->release != nullptr) array->release(array);
}

// Moves some of the children out, at all depths, and releases all parts as chance has it.
void MoveParts(ArrowArray* array, fuzz::Random* random, std::vector<ArrowArray>* parts) {
  for (int64_t i = 0; i < array->n_children; ++i) {
    if (random->OneIn(4)) continue;
    parts->push_back(std::exchange(*array->children[i], ArrowArray{}));
    ArrowArray moved = parts->back();
    MoveParts(&moved, random, parts);
  }
}

void ReleaseInAnyOrder(ArrowArray array, fuzz::Random* random) {
  std::vector<ArrowArray> parts;
  MoveParts(&array, random, &parts);
  parts.push_back(array);
  while (!parts.empty()) {
    std::swap(parts[random->Index(parts.size())], parts.back());
    ReleaseIfThere(&parts.back());
    parts.pop_back();
  }
}

// Of what takes more than so many bytes the rows are not read back: a reply may announce very many.
constexpr size_t kReadBack = 1 << 16;

bool IsRead(const ArrowSchema& schema, const ArrowArray& array) {
  if (!replies::CheckArrow(schema, array).empty()) return false;
  std::string stream;
  const replies::IpcSink sink = replies::AppendTo(&stream);
  std::string error;
  return replies::WriteIpcSchema(schema, sink, &error) &&
         replies::WriteIpcBatch(schema, array, sink, &error) && replies::WriteIpcEnd(sink) &&
         (stream.size() > kReadBack || arrow_reader::RowsOf(stream) == arrow_rows::RowsOf(schema, array));
}

// The same table twice and an empty one of its columns, by the type of the first.
void CheckBatch(const ArrowSchema& schema, void* first, void* second, fuzz::Random* random) {
  void* tables[] = {first, table_create_like(first, 0, ""), second};
  const int64_t rows = table_rows(first);
  FUZZ_CHECK(table_rows(second) == rows);
  ArrowArray array{};
  int64_t misfit = 0;
  if (table_export_arrow_batch(tables, 3, &schema, &array, &misfit) != 0) {
    for (void* table : tables)
      table_free(table);
    return;
  }
  FUZZ_CHECK(misfit == -1);
  FUZZ_CHECK(array.length == 2 * rows);
  FUZZ_CHECK(IsRead(schema, array));
  ReleaseInAnyOrder(array, random);
}

void CheckExport(void* table, void* again, void* once_more, fuzz::Random* random) {
  ArrowSchema schema{};
  ArrowArray array{};
  const int64_t rows = table_rows(table);
  if (table_export_arrow(table, &schema, &array) != 0) {
    // What cannot be said in Arrow stays a table.
    FUZZ_CHECK(schema.release == nullptr && array.release == nullptr);
    FUZZ_CHECK(table_rows(table) == rows);
    for (void* left : {table, again, once_more})
      table_free(left);
    return;
  }
  FUZZ_CHECK(array.length == rows);
  FUZZ_CHECK(IsRead(schema, array));
  CheckBatch(schema, again, once_more, random);
  ReleaseInAnyOrder(array, random);
  schema.release(&schema);
}

void arrow_export(const uint8_t* data, size_t size) {
  const auto reply = std::make_unique<std::string>(reinterpret_cast<const char*>(data), size);
  fuzz::Random random(size == 0 ? 0 : uint64_t{data[size - 1]} << 16 | size);
  std::unique_ptr<tsl_base::KeepUtf8> keep;
  if (random.OneIn(2)) keep = std::make_unique<tsl_base::KeepUtf8>();
  const fuzz::Random same = random;
  std::vector<std::vector<void*>> tables;
  for (int i = 0; i < 3; ++i) {
    random = same;
    tables.push_back(TablesOf(*reply, &random));
  }
  for (size_t i = 0; i < tables[0].size(); ++i) {
    if (tables[0][i] != nullptr) CheckExport(tables[0][i], tables[1][i], tables[2][i], &random);
  }
}

}  // namespace

FUZZ_TARGET_WITH_MUTATOR(arrow_export, 4096, fuzz::Kind::kReplies, &fuzz::ChangeReply)
