#include <chrono>

#include "replies/text.h"
#include "replies/vocabulary.h"
#include "tesview/show/choose.h"

namespace tesview {

using replies::DisplayWidth;
using replies::FindPayload;
using replies::Payload;
using replies::Printable;

namespace {

using Clock = std::chrono::steady_clock;

// In microseconds. The first call pays for memory that later ones find ready, so the fastest of a few counts.
template <class Call>
double Fastest(Call call) {
  double fastest = 0;
  for (int i = 0; i < 3; ++i) {
    const auto start = Clock::now();
    call();
    const double time = std::chrono::duration<double, std::micro>(Clock::now() - start).count();
    if (i == 0 || time < fastest) fastest = time;
  }
  return fastest;
}

struct Size {
  uint64_t tables = 0;
  uint64_t rows = 0;
  uint64_t cells = 0;  // that are set
};

void Measure(void* table, Size* size) {
  ++size->tables;
  const int rows = table_rows(table);
  const int cols = table_cols(table);
  size->rows += static_cast<uint64_t>(rows);
  for (int row = 0; row < rows; ++row) {
    for (int col = 0; col < cols; ++col) {
      if (table_is_set(table, row, col) == 0) continue;
      ++size->cells;
      if (void* child = table_get_table(table, row, col)) Measure(child, size);
    }
  }
}

std::string Start(const Item& item, const std::string& source, const std::string& number) {
  std::string text;
  if (item.name_source) {
    const size_t width = DisplayWidth(source);
    text += source + std::string(width < 24 ? 24 - width : 0, ' ') + "  ";
  }
  if (item.number_reply) text += fmt::format("{:>8}  ", number);
  return text;
}

}  // namespace

std::string SummaryHeader(const Item& item) {
  return Start(item, "file", "reply") +
         fmt::format("{:>5}  {:<28}  {:>10}  {:>7}  {:>7}  {:>7}  {:>9}  {:>9}  {:>11}  {:>11}\n", "Id",
                     "payload", "bytes", "rows", "columns", "tables", "all rows", "cells", "parse us",
                     "convert us");
}

std::string RenderSummary(const View& view, const Item& item, int32_t id) {
  // A type that is rejected after the parse leaves the parse to be measured.
  const double parse = Fastest([&] { TesparserPB2TableType(item.reply.bytes, TPTypeBxzjBlock); });
  OwnedTable table;
  const double both = Fastest([&] {
    table.reset(view.type ? TesparserPB2TableType(item.reply.bytes, *view.type)
                          : TesparserPB2Table(item.reply.bytes));
  });

  const Payload* payload = FindPayload(id);
  std::string line = Start(item, Printable(item.source), fmt::format("{}", item.reply.number)) +
                     fmt::format("{:>5}  {:<28}  {:>10}  ", id, payload == nullptr ? "?" : payload->name,
                                 item.reply.bytes.size());
  if (table == nullptr) {
    return line + fmt::format("{:>7}  {:>7}  {:>7}  {:>9}  {:>9}  {:>11.1f}  {:>11}\n", "-", "-", "-", "-",
                              "-", parse, "-");
  }
  Size size;
  Measure(table.get(), &size);
  return line + fmt::format("{:>7}  {:>7}  {:>7}  {:>9}  {:>9}  {:>11.1f}  {:>11.1f}\n",
                            table_rows(table.get()), table_cols(table.get()), size.tables, size.rows,
                            size.cells, parse, both > parse ? both - parse : 0.0);
}

}  // namespace tesview
