// Writes the tables of code page 936, as the system's iconv knows it, for text.cpp to include:
//
//   kCodes        the code of each code point from U+0800 on to the end of the basic plane: two bytes, the
//                 lead byte lower, or 256 times a single byte; 0 where there is none, and below U+0800
//   kLowCodes     the same for the code points below U+0800
//   kSingles      the way back: the code point of each single byte from 0x80 on; 0 where there is none
//   kPairs        the code point of each lead byte from 0x81 to 0xFE with each trail byte from 0x40 to 0xFE;
//                 0 where there is none
#include <iconv.h>
#include <stddef.h>
#include <stdint.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <vector>

namespace {

constexpr unsigned kCodePoints = 0x10000;
// The first that UTF-8 writes in three bytes.
constexpr unsigned kFirstOfThreeBytes = 0x800;
constexpr unsigned kFirstLead = 0x81;
constexpr unsigned kFirstTrail = 0x40;
constexpr unsigned kLastByte = 0xFE;

// Fewer than the characters of GB2312 itself cannot be right.
constexpr int kLeastCodes = 7445;

using Numbers = std::vector<unsigned>;

struct Tables {
  Numbers codes;
  Numbers singles;
  Numbers pairs;
};

class Converter {
 public:
  Converter(const char* to, const char* from) : handle_(iconv_open(to, from)) {}
  ~Converter() {
    if (valid()) iconv_close(handle_);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  bool valid() const { return reinterpret_cast<intptr_t>(handle_) != -1; }

  // One or two bytes for one or two bytes, as numbers; `in_size` and the result's size tell how many. 0 for
  // what has no exact counterpart of at most two bytes.
  unsigned operator()(unsigned number, size_t in_size, size_t* out_size) const {
    char in[2] = {static_cast<char>(number >> 8), static_cast<char>(number & 0xFF)};
    unsigned char out[8];
    char* from = in + (sizeof in - in_size);
    char* to = reinterpret_cast<char*>(out);
    size_t out_left = sizeof out;
    iconv(handle_, nullptr, nullptr, nullptr, nullptr);
    const size_t irreversible = iconv(handle_, &from, &in_size, &to, &out_left);
    *out_size = sizeof out - out_left;
    if (irreversible != 0 || in_size != 0 || *out_size == 0 || *out_size > 2) return 0;
    return *out_size == 1 ? out[0] : out[0] * 256U + out[1];
  }

 private:
  iconv_t handle_;
};

Numbers ReadCodes(const Converter& to_page) {
  Numbers codes;
  size_t size = 0;
  // A pair's lead byte is never 0, so that the number alone tells how many bytes a code has.
  for (unsigned code_point = 0; code_point < kCodePoints; ++code_point)
    codes.push_back(to_page(code_point, 2, &size));
  return codes;
}

// The code point of a code, 0 for none.
unsigned ReadCharacter(const Converter& from_page, unsigned code, size_t code_size) {
  size_t size = 0;
  const unsigned code_point = from_page(code, code_size, &size);
  return size == 2 ? code_point : 0;
}

Tables ReadTables(const Converter& to_page, const Converter& from_page) {
  Tables tables{ReadCodes(to_page), {}, {}};
  for (unsigned byte = 0x80; byte <= 0xFF; ++byte)
    tables.singles.push_back(ReadCharacter(from_page, byte, 1));
  for (unsigned lead = kFirstLead; lead <= kLastByte; ++lead) {
    for (unsigned trail = kFirstTrail; trail <= kLastByte; ++trail)
      tables.pairs.push_back(ReadCharacter(from_page, lead * 256 + trail, 2));
  }
  return tables;
}

// 0 for what is no code.
unsigned CharacterOf(const Tables& tables, unsigned code) {
  if (code < 0x80) return code;
  if (code < 0x100) return tables.singles[code - 0x80];
  const unsigned lead = code / 256;
  const unsigned trail = code % 256;
  if (lead < kFirstLead || lead > kLastByte || trail < kFirstTrail || trail > kLastByte) return 0;
  return tables.pairs[(lead - kFirstLead) * (kLastByte - kFirstTrail + 1) + (trail - kFirstTrail)];
}

// Says what is wrong with what iconv answered; null if all is well.
const char* WhatIsWrong(const Tables& tables) {
  int codes = 0;
  for (unsigned code_point = 0; code_point < kCodePoints; ++code_point) {
    const unsigned code = tables.codes[code_point];
    if (code_point < 0x80 && code != code_point) return "does not pass ASCII through";
    if (code == 0) continue;
    if (CharacterOf(tables, code) != code_point) return "does not lead every code back to its character";
    ++codes;
  }
  return codes < kLeastCodes ? "knows too few codes" : nullptr;
}

void Write(std::ofstream& file, const char* name, const Numbers& numbers) {
  constexpr size_t kNumbersInALine = 16;
  file << "const uint16_t " << name << "[" << numbers.size() << "] = {\n";
  for (size_t i = 0; i < numbers.size(); ++i) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%04X", numbers[i]);
    file << text << (i % kNumbersInALine == kNumbersInALine - 1 ? ",\n" : ",");
  }
  file << "};\n";
}

// The codes of code points from `first` on; zeros stand for those before it. Both bytes change places, so
// that a single one comes into the upper half.
Numbers LeadByteLowest(const Numbers& codes, unsigned first, unsigned end) {
  Numbers turned(end, 0);
  for (unsigned i = first; i < end; ++i)
    turned[i] = codes[i] % 256 * 256 + codes[i] / 256;
  return turned;
}

int Fail(const char* what, const char* why) {
  std::cerr << "make_cp936: " << what << why << "\n";
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: make_cp936 FILE\n";
    return 2;
  }
  const Converter to_page("CP936", "UTF-16BE");
  const Converter from_page("UTF-16BE", "CP936");
  if (!to_page.valid() || !from_page.valid()) {
    return Fail("the system's iconv has no converter for CP936",
                "; with glibc it comes with the gconv modules");
  }
  const Tables tables = ReadTables(to_page, from_page);
  if (const char* wrong = WhatIsWrong(tables)) return Fail("the system's iconv, asked for CP936, ", wrong);

  std::ofstream file(argv[1]);
  Write(file, "kCodes", LeadByteLowest(tables.codes, kFirstOfThreeBytes, kCodePoints));
  Write(file, "kLowCodes", LeadByteLowest(tables.codes, 0, kFirstOfThreeBytes));
  Write(file, "kSingles", tables.singles);
  Write(file, "kPairs", tables.pairs);
  file.close();
  return file ? 0 : Fail(argv[1], ": cannot be written");
}
