// A program of somebody else's: knows the public headers, and decodes the snapshot among the samples.
//
//   decode VERSION 20-QuoteDynaSingle.bin
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "tesparser/tesparser.h"
#include "tsl_base/table.hpp"
#include "tsl_base/text.h"
#include "tsl_base/version.h"

extern "C" int CountCellsInC(const void* table);

#define CHECK(condition)                                            \
  if (!(condition)) {                                               \
    std::fprintf(stderr, "%d: not so: %s\n", __LINE__, #condition); \
    return 1;                                                       \
  }

int main(int argc, char** argv) {
  CHECK(argc == 3);
  CHECK(tsl_base_version() == std::string(argv[1]));
  std::ifstream file(argv[2], std::ios::binary);
  CHECK(file);
  const std::string reply((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());

  const tsl_base::Table table(TesparserPB2Table(reply));
  CHECK(table);
  CHECK(table.view().rows() == 8);
  CHECK(table.view().get<std::string_view>(0, "Obj") == "SH600000");
  const auto snapshot = table.view().get<tsl_base::TableView>(0, "Data");
  CHECK(snapshot);
  CHECK(snapshot->get<double>(0, "ZuiXinJia") == 8.16);
  CHECK(snapshot->get<long long>(0, "ChengJiaoLiang") == 232036600);
  CHECK(CountCellsInC(table.get()) == 16);

  CHECK(TesparserPB2Json(reply).compare(0, 1, "{") == 0);
  CHECK(TesparserPB2TableType(reply, TPTypeBxzjBlock) == nullptr);
  int divisor = 0;
  CHECK(TesparserInt64ToDouble(0x1004D2, &divisor) == -12.34 && divisor == 100);
  CHECK(TesparserInt64ToInt(0x1004D2, nullptr) == -11);
  CHECK(tsl_base::text::Utf8toGb2312("\xE4\xB8\xAD") == "\xD6\xD0");

  // A bus number for a field that JSON shows as text: byte FF can be no part of UTF-8.
  bool caught = false;
  try {
    TesparserPB2Json(std::string("\x08\x14\xA2\x01\x03\x0A\x01\xFF", 8));
  } catch (const j2pb_error& error) {
    caught = std::string(error.what()).rfind("Obj: ", 0) == 0;
  }
  CHECK(caught);
  std::puts("consumer: all as it should be");
  return 0;
}
