// What the tests of the viewer put in, and how they look at what comes out.
#ifndef TESTS_TESVIEW_INPUTS_H_
#define TESTS_TESVIEW_INPUTS_H_

#include <fstream>
#include <sstream>
#include <string>

#include "tests/support/program.h"
#include "tests/support/replies.h"
#include "tests/support/viewer.h"

namespace viewer {

using test_replies::P;
using test_replies::Reply;

inline std::string Sample(const std::string& name) {
  return std::string(SAMPLE_DIR) + "/" + name + ".bin";
}

inline std::string Slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream all;
  all << in.rdbuf();
  return all.str();
}

inline std::string Varint(size_t value) {
  std::string bytes;
  for (; value > 0x7F; value >>= 7)
    bytes += static_cast<char>((value & 0x7F) | 0x80);
  return bytes + static_cast<char>(value);
}

inline std::string Framed(const std::string& bytes) {
  return Varint(bytes.size()) + bytes;
}

// A reply of Id 3 that carries the given table.
inline std::string Wire(const std::string& table) {
  return Reply("Id: 3 Tbl { Info { Name: 'T' Type: 116 } Data { Index: 0 tValues { " + table + " } } }");
}

// Three rows; the second name is empty, the third price was not sent.
inline std::string SmallTable() {
  return Wire(
      "Info { Name: 'Name' Type: 115 } Info { Name: 'Price' Type: 105 }"
      "Data { Index: 0 sValues: '平安银行' sValues: '' sValues: 'x' }"
      "Data { Index: 1 iValues: " +
      P(1234) + " iValues: " + P(5, 1) + " }");
}

// Two instruments, the first with two bars, the second without any. Prices 12.34 and 12.5.
inline std::string TwoKlines() {
  return Reply(
      "Id: 21 RepDataQuoteKlineSingle { Obj: 'SH600000'"
      "  Data { ShiJian: " +
      P(20240617, 10) + " ShouPanJia: " + P(1234) +
      " }"
      "  Data { ShiJian: " +
      P(20240618, 10) + " ShouPanJia: " + P(125, 1) +
      " } }"
      "RepDataQuoteKlineSingle { Obj: 'SZ000001' }");
}

inline std::string StreamOf(const std::string& reply, int count) {
  std::string stream;
  for (int i = 0; i < count; ++i)
    stream += Framed(reply);
  return stream;
}

// A row with so many bytes, and a short text beside them.
inline std::string LargeReply(size_t size) {
  return Wire(
      "Info { Name: 'Short' Type: 115 } Info { Name: 'Long' Type: 98 }"
      "Data { Index: 0 sValues: 'x' } Data { Index: 1 bValues: '" +
      std::string(size, 'y') + "' }");
}

// Two prices, 12.34 and 0.5.
inline std::string Prices() {
  return Wire("Info { Name: 'Price' Type: 105 } Data { Index: 0 iValues: " + P(1234) +
              " iValues: " + P(5, 1) + " }");
}

// A wire table of a few bytes for each row and each column: so many rows, by the values of the first column,
// and as many columns.
inline std::string SquareOf(int size) {
  std::string table = "Info { Name: 'A' Type: 105 } Data { Index: 0";
  for (int i = 0; i < size; ++i)
    table += " iValues: 0";
  table += " }";
  for (int i = 1; i < size; ++i)
    table += " Info { Type: 105 } Data { Index: " + std::to_string(i) + " }";
  return table;
}

inline std::string SquareTable(int size) {
  return Wire(SquareOf(size));
}

// A line of shell with the program in $0; the input is `bytes`.
inline program::Result Shell(const std::string& line, const std::string& bytes = std::string()) {
  program::How how;
  how.input = bytes;
  return program::Run({"sh", "-c", line, Program()}, how);
}

inline program::How InTerminal(unsigned short columns) {
  program::How how;
  how.terminal_out = true;
  how.columns = columns;
  how.environment = {"NO_COLOR", "TERM=xterm"};
  return how;
}

inline std::string WithoutColor(const std::string& text) {
  std::string plain;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\x1b') {
      i = text.find('m', i);
      if (i == std::string::npos) break;
    } else if (text[i] != '\r') {
      plain += text[i];
    }
  }
  return plain;
}

}  // namespace viewer

#endif  // TESTS_TESVIEW_INPUTS_H_
