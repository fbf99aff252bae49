// Decodes the reply in a file and prints its table, the tables inside it too.
//
//   walk reply.bin
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <type_traits>

#include "tesparser/tesparser.h"
#include "tsl_base/table.hpp"

namespace {

void PrintTable(tsl_base::TableView table, int indent);

// visit() hands over a value in the type of its column, so that 64-bit numbers keep all their digits.
struct CellPrinter {
  const char* name;
  int indent;

  template <typename Value>
  void operator()(Value value) const {
    if constexpr (std::is_same_v<Value, tsl_base::TableView>) {
      std::printf("%*s%s:\n", indent, "", name);
      PrintTable(value, indent + 2);
    } else if constexpr (std::is_same_v<Value, std::string_view>) {
      // Text of cells is GB2312; a terminal that expects UTF-8 shows its Chinese characters through
      // `| iconv -f gbk`.
      std::printf("%*s%s = %.*s\n", indent, "", name, static_cast<int>(value.size()), value.data());
    } else if constexpr (std::is_floating_point_v<Value>) {
      std::printf("%*s%s = %.10g\n", indent, "", name, static_cast<double>(value));
    } else if constexpr (std::is_integral_v<Value> && std::is_signed_v<Value>) {
      std::printf("%*s%s = %lld\n", indent, "", name, static_cast<long long>(value));
    } else if constexpr (std::is_integral_v<Value>) {
      std::printf("%*s%s = %llu\n", indent, "", name, static_cast<unsigned long long>(value));
    } else if constexpr (std::is_same_v<Value, tsl_base::BytesView>) {
      std::printf("%*s%s = %zu bytes\n", indent, "", name, value.size());
    } else if constexpr (std::is_same_v<Value, tsl_time_t>) {
      std::printf("%*s%s = time %llu\n", indent, "", name, static_cast<unsigned long long>(value.value()));
    } else {  // PFloat, VFloat
      std::printf("%*s%s = %lld / 10^%d\n", indent, "", name, static_cast<long long>(value.mantissa()),
                  value.decimals());
    }
  }
};

void PrintTable(tsl_base::TableView table, int indent) {
  for (tsl_base::RowView row : table) {
    std::printf("%*srow %d\n", indent, "", row.index());
    for (int col = 0; col < table.cols(); ++col) {
      // The name of a column is zero-terminated in the table. A cell that is unset is not visited.
      row.visit(col, CellPrinter{table.column(col).name.data(), indent + 2});
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: walk FILE\n");
    return 2;
  }
  std::ifstream file(argv[1], std::ios::binary);
  if (!file) {
    std::fprintf(stderr, "walk: cannot open %s\n", argv[1]);
    return 2;
  }
  const std::string reply((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());

  const tsl_base::Table table(TesparserPB2Table(reply));
  if (!table) {
    std::fprintf(stderr, "walk: %s is no reply, or one without a table\n", argv[1]);
    return 1;
  }
  PrintTable(table.view(), 0);
  return 0;
}
