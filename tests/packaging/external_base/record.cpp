// Sends a few replies, and compares what reached the host's base library with a list written by hand.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "host_base.h"
#include "tesparser/tesparser.h"

namespace {

void AppendVarint(std::string* bytes, unsigned long long value) {
  for (; value >= 0x80; value >>= 7)
    bytes->push_back(static_cast<char>((value & 0x7F) | 0x80));
  bytes->push_back(static_cast<char>(value));
}

void AppendNumber(std::string* bytes, unsigned field, unsigned long long value) {
  AppendVarint(bytes, field << 3);
  AppendVarint(bytes, value);
}

void AppendBytes(std::string* bytes, unsigned field, const std::string& value) {
  AppendVarint(bytes, field << 3 | 2);
  AppendVarint(bytes, value.size());
  bytes->append(value);
}

// Instrument "SH600000" with four of its numbers, packed, and "SZ000001" with three.
std::string Snapshots() {
  std::string data;
  AppendNumber(&data, 1, 0x10A86A1);         // Id 100001
  AppendNumber(&data, 2, 0x1268A2CB0A9630);  // ShiJian 20240617150000
  AppendNumber(&data, 3, 816);               // ZuiXinJia 8.16
  AppendNumber(&data, 9, 0x100005);          // ZhangDie -0.05
  std::string element;
  AppendBytes(&element, 1, "SH600000");
  AppendBytes(&element, 2, data);
  std::string other;
  AppendNumber(&other, 1, 0xA0002);  // Id 2
  AppendNumber(&other, 2, 0xA0003);  // ShiJian 3
  AppendNumber(&other, 3, 1025);     // ZuiXinJia 10.25
  std::string second;
  AppendBytes(&second, 1, "SZ000001");
  AppendBytes(&second, 2, other);
  std::string reply;
  AppendNumber(&reply, 1, 20);
  AppendBytes(&reply, 20, element);
  AppendBytes(&reply, 20, second);
  return reply;
}

// A column of a wire table: its description, and its values as they stand in a message of their own.
std::string Info(const std::string& name, unsigned char letter) {
  std::string info;
  AppendBytes(&info, 1, name);
  AppendNumber(&info, 2, letter);
  std::string table;
  AppendBytes(&table, 2, info);
  return table;
}

std::string Data(const std::string& values) {
  std::string data;
  AppendNumber(&data, 1, 0);
  data += values;
  std::string table;
  AppendBytes(&table, 3, data);
  return table;
}

// Wire tables in a column of a wire table: of two rows, of none, and of one row.
std::string NestedTables() {
  std::string two;
  AppendNumber(&two, 2, 100);  // 1.00
  AppendNumber(&two, 2, 250);  // 2.50
  std::string one;
  AppendNumber(&one, 2, 475);  // 4.75
  std::string tables;
  AppendBytes(&tables, 7, Info("x", 'i') + Data(two));
  AppendBytes(&tables, 7, "");
  AppendBytes(&tables, 7, Data(one));
  std::string cell;
  AppendBytes(&cell, 7, Info("t", 't') + Data(tables));
  std::string reply;
  AppendNumber(&reply, 1, 3);
  AppendBytes(&reply, 3, Info("", 't') + Data(cell));
  return reply;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  std::ifstream file(argv[1]);
  const std::string expected((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());

  std::string calls;
  for (const std::string& reply : {Snapshots(), NestedTables()}) {
    FreeHostTable(TesparserPB2Table(reply));
    calls += TakeCalls();
  }
  if (!expected.empty() && calls == expected) return 0;
  std::printf("expected:\n%s\ncalled:\n%s", expected.c_str(), calls.c_str());
  return 1;
}
