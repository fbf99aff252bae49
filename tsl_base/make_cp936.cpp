// Writes the table from code points to the two-byte codes of code page 936, as the system's iconv knows it:
// one number for each code point of the basic plane, lead byte times 256 plus trail byte, 0 where there is no
// code.
#include <errno.h>
#include <iconv.h>
#include <stddef.h>
#include <stdint.h>

#include <cstdio>
#include <fstream>
#include <iostream>

namespace {

constexpr uint32_t kCodePoints = 0x10000;
constexpr uint32_t kCodesInALine = 16;

// Fewer than the characters of GB2312 itself cannot be right.
constexpr int kLeastCodes = 7445;

// Null if there is none.
iconv_t OpenConverter() {
  for (const char* name : {"CP936", "GBK"}) {
    const iconv_t converter = iconv_open(name, "UTF-16BE");
    if (reinterpret_cast<intptr_t>(converter) != -1) return converter;
  }
  return nullptr;
}

unsigned TwoByteCode(iconv_t converter, uint32_t code_point) {
  char in[2] = {static_cast<char>(code_point >> 8), static_cast<char>(code_point & 0xFF)};
  unsigned char out[8];
  char* from = in;
  char* to = reinterpret_cast<char*>(out);
  size_t in_left = sizeof in;
  size_t out_left = sizeof out;
  iconv(converter, nullptr, nullptr, nullptr, nullptr);
  const size_t irreversible = iconv(converter, &from, &in_left, &to, &out_left);
  if (irreversible != 0 || in_left != 0 || sizeof out - out_left != 2) return 0;
  return out[0] * 256U + out[1];
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: make_cp936 FILE\n";
    return 2;
  }
  const iconv_t converter = OpenConverter();
  if (!converter) {
    std::cerr
        << "make_cp936: the system's iconv has no converter to CP936 or GBK; with glibc it comes with the "
           "gconv modules\n";
    return 1;
  }

  std::ofstream file(argv[1]);
  int codes = 0;
  for (uint32_t code_point = 0; code_point < kCodePoints; ++code_point) {
    const unsigned code = TwoByteCode(converter, code_point);
    if (code != 0) ++codes;
    char text[8];
    std::snprintf(text, sizeof text, "0x%04X", code);
    file << text << (code_point % kCodesInALine == kCodesInALine - 1 ? ",\n" : ",");
  }
  iconv_close(converter);

  if (codes < kLeastCodes) {
    std::cerr << "make_cp936: the system's iconv knows only " << codes
              << " two-byte codes of code page 936\n";
    return 1;
  }
  file.close();
  if (!file) {
    std::cerr << "make_cp936: " << argv[1] << ": cannot be written\n";
    return 1;
  }
  return 0;
}
