// Sends one snapshot, and compares what reached the host's base library with a list written by hand.
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

// Instrument "SH600000" with four of its numbers, packed.
std::string Snapshot() {
  std::string data;
  AppendNumber(&data, 1, 0x10A86A1);         // Id 100001
  AppendNumber(&data, 2, 0x1268A2CB0A9630);  // ShiJian 20240617150000
  AppendNumber(&data, 3, 816);               // ZuiXinJia 8.16
  AppendNumber(&data, 9, 0x100005);          // ZhangDie -0.05
  std::string element;
  AppendBytes(&element, 1, "SH600000");
  AppendBytes(&element, 2, data);
  std::string reply;
  AppendNumber(&reply, 1, 20);
  AppendBytes(&reply, 20, element);
  return reply;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  std::ifstream file(argv[1]);
  const std::string expected((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());

  FreeHostTable(TesparserPB2Table(Snapshot()));
  const std::string calls = TakeCalls();
  if (!expected.empty() && calls == expected) return 0;
  std::printf("expected:\n%s\ncalled:\n%s", expected.c_str(), calls.c_str());
  return 1;
}
