#include "tesview/show/summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

#include "replies/text.h"
#include "replies/vocabulary.h"
#include "tesview/show/cells.h"
#include "tsl_base/table.hpp"

namespace tesview {

using replies::DisplayWidth;
using replies::FindPayload;
using replies::Payload;
using replies::Printable;
using replies::Vocabulary;
using tsl_base::Table;
using tsl_base::TableView;

namespace {

// Names of files are mostly shorter.
constexpr size_t kLeastSourceWidth = 24;

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

struct TreeSize {
  uint64_t tables = 0;
  uint64_t rows = 0;
  uint64_t cells = 0;  // that are set
};

void Measure(TableView table, TreeSize* size) {
  ++size->tables;
  const int rows = table.rows();
  const int cols = table.cols();
  size->rows += static_cast<uint64_t>(rows);
  for (int row = 0; row < rows; ++row) {
    for (int col = 0; col < cols; ++col) {
      if (!table.is_set(row, col)) continue;
      ++size->cells;
      if (const TableView child = ChildOf(table, row, col)) Measure(child, size);
    }
  }
}

// Of the longest name that an Id has.
size_t PayloadWidth() {
  static const size_t width = [] {
    size_t longest = 0;
    for (const Payload& payload : Vocabulary())
      longest = std::max(longest, payload.name.size());
    return longest;
  }();
  return width;
}

std::string Start(const Item& item, const std::string& source, const std::string& number) {
  std::string text;
  if (item.name_source) {
    const size_t room = std::max(item.source_width, kLeastSourceWidth);
    const size_t width = DisplayWidth(source);
    text += source + std::string(room > width ? room - width : 0, ' ') + "  ";
  }
  if (item.number_reply) text += fmt::format("{:>8}  ", number);
  return text;
}

}  // namespace

std::string SummaryHeader(const Item& item) {
  return Start(item, "file", "reply") +
         fmt::format("{:>5}  {:<{}}  {:>10}  {:>7}  {:>7}  {:>7}  {:>9}  {:>9}  {:>11}  {:>11}\n", "Id",
                     "payload", PayloadWidth(), "bytes", "rows", "columns", "tables", "all rows", "cells",
                     "parse us", "convert us");
}

std::string RenderSummary(const Item& item, int32_t id, std::optional<TPType> type) {
  // A type that is rejected after the parse leaves the parse to be measured.
  const double parse =
      Fastest([&] { Table rejected(TesparserPB2TableType(item.reply.bytes, TPTypeBxzjBlock)); });
  Table table;
  const double both = Fastest([&] {
    table.reset(type ? TesparserPB2TableType(item.reply.bytes, *type) : TesparserPB2Table(item.reply.bytes));
  });

  const Payload* payload = FindPayload(id);
  std::string line = Start(item, Printable(item.source), fmt::format("{}", item.reply.number)) +
                     fmt::format("{:>5}  {:<{}}  {:>10}  ", id, payload == nullptr ? "?" : payload->name,
                                 PayloadWidth(), item.reply.bytes.size());
  if (!table) {
    return line + fmt::format("{:>7}  {:>7}  {:>7}  {:>9}  {:>9}  {:>11.1f}  {:>11}\n", "-", "-", "-", "-",
                              "-", parse, "-");
  }
  TreeSize size;
  Measure(table.view(), &size);
  return line + fmt::format("{:>7}  {:>7}  {:>7}  {:>9}  {:>9}  {:>11.1f}  {:>11.1f}\n", table.view().rows(),
                            table.view().cols(), size.tables, size.rows, size.cells, parse,
                            both > parse ? both - parse : 0.0);
}

}  // namespace tesview
