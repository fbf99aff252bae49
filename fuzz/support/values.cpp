#include "fuzz/support/values.h"

#include <algorithm>
#include <limits>

namespace fuzz {
namespace {

uint64_t SomeMantissa(Random& random) {
  const uint64_t edges[] = {0,
                            1,
                            49,
                            50,
                            99,
                            100,
                            150,
                            250,
                            1234,
                            0xFFFF,
                            0x10000,
                            2147483647,
                            2147483648,
                            4294967295,
                            4294967296,
                            214748364750,
                            999999,
                            1000000,
                            4503599627,
                            1u << 31,
                            (1ull << 53) - 1,
                            1ull << 53,
                            (1ull << 55) - 1};
  if (random.OneIn(2)) return random.Of(edges);
  return random.Next() & ((uint64_t{1} << (1 + random.Below(55))) - 1);
}

int64_t Packed(uint64_t mantissa, uint64_t code, uint64_t sign) {
  return static_cast<int64_t>((mantissa & 0xFFFF) | code << 16 | sign << 20 | (mantissa >> 16) << 24);
}

}  // namespace

int64_t SomeInt64(Random& random) {
  const int64_t edges[] = {0,
                           1,
                           -1,
                           0x20000,
                           0x204D2,
                           std::numeric_limits<int64_t>::max(),
                           std::numeric_limits<int64_t>::min(),
                           20260102,
                           93000};
  switch (random.Below(8)) {
    case 0: return random.Of(edges);
    case 1: return static_cast<int64_t>(random.Next());
    case 2: return static_cast<int64_t>(random.Below(512)) - 256;
    default: {
      const uint64_t sign = random.OneIn(3) ? random.Below(16) : 0;
      const uint64_t code = random.OneIn(6) ? random.Below(16) : random.Below(11);
      return Packed(SomeMantissa(random), code, sign);
    }
  }
}

int32_t SomeInt32(Random& random) {
  const int32_t edges[] = {0,
                           1,
                           -1,
                           2,
                           63,
                           64,
                           65,
                           255,
                           256,
                           65535,
                           std::numeric_limits<int32_t>::max(),
                           std::numeric_limits<int32_t>::min()};
  switch (random.Below(3)) {
    case 0: return random.Of(edges);
    case 1: return static_cast<int32_t>(random.Below(128)) - 32;
    default: return static_cast<int32_t>(random.Next());
  }
}

double SomeDouble(Random& random) {
  using Limits = std::numeric_limits<double>;
  const double edges[] = {
      0.0,    -0.0,    0.5,    -0.5,   1.5,     12.34567, 2147483647.5,  -2147483648.5, 4294967295.5,
      9.3e18, -9.3e18, 1.9e19, 3.5e38, -3.5e38, 1e300,    Limits::max(), Limits::min(), Limits::denorm_min()};
  const double no_numbers[] = {Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN()};
  if (random.OneIn(12)) return random.Of(no_numbers);
  if (random.OneIn(2)) return random.Of(edges);
  return static_cast<double>(static_cast<int64_t>(random.Next())) /
         static_cast<double>(random.Next() >> random.Below(64) | 1);
}

float SomeFloat(Random& random) {
  using Limits = std::numeric_limits<float>;
  const float edges[] = {0.0F, -0.0F, 0.1F, 1.5F, -2.5F, 16777217.0F, Limits::max(), Limits::denorm_min()};
  const float no_numbers[] = {Limits::infinity(), Limits::quiet_NaN()};
  if (random.OneIn(12)) return random.Of(no_numbers);
  if (random.OneIn(2)) return random.Of(edges);
  return static_cast<float>(static_cast<int32_t>(random.Next())) / 1024.0F;
}

std::string SomeText(Random& random) {
  static const std::string kTexts[] = {"",
                                       "SH600000",
                                       "SZ000001",
                                       "浦发银行",
                                       "中国平安",
                                       "恒生指数①",
                                       "2026-01-02",
                                       "a,b;c:d|e",
                                       "12.5",
                                       "<b>&amp;",
                                       "€",
                                       "😀",
                                       "\"quoted\"\\",
                                       "é",
                                       "一",
                                       std::string("a\0b", 3),
                                       std::string(1, '\0'),
                                       "\n\t\x01",
                                       "0:1;2:3;",
                                       "null"};
  static const std::string kIllFormed[] = {"\xB0\xA1\xB0\xA2", "\xFF",     "\xE4\xB8",
                                           "\xED\xA0\x80",     "\xC0\x80", "\xF4\x90\x80\x80"};
  // Rare, since one of them keeps the whole reply from having a JSON form.
  if (random.OneIn(48)) return random.Of(kIllFormed);
  if (random.OneIn(24)) return std::string(random.Index(600), 'x') + "中";
  std::string text = random.Of(kTexts);
  while (random.OneIn(4))
    text += random.Of(kTexts);
  return text;
}

std::string SomeColumnName(Random& random) {
  static const char* const kTyped[] = {"ShiJian",
                                       "WeiTuoMaiRuDanShu",
                                       "WeiTuoMaiRuDaDanShu",
                                       "ZongChengJiaoE",
                                       "DaDanMaiChuE",
                                       "RiQi",
                                       "GuDongRenShu",
                                       "ChaoDaHuChiCangBi",
                                       "LiuTongGu",
                                       "ChiGuShuLiang",
                                       "ShouPanJia",
                                       "ChiGuShuLiangBianHua",
                                       "ChiGuZhangFu",
                                       "ZhanLiuTongGuBiLiBianHua",
                                       "Result",
                                       "Token",
                                       "Uid",
                                       "Device",
                                       "Obj",
                                       "Data",
                                       "JieGuo1"};
  static const std::string kOdd[] = {
      "",        ":",           ";",           "a:b",           "a;b",
      "a:d;b:s", "x:53q;",      ";;;",         " Obj ",         "\t",
      "Obj:t;",  "x:t;y:b;z:s", "名称",        "Data:",         "c:1c;C:",
      "h:H;I:I", "P:P;V:V;T:T", "9999999999q", "n:2147483647c", std::string("a\0b", 3),
      "\xFF"};
  if (random.OneIn(40)) return std::string(random.Index(300), random.OneIn(2) ? ';' : 'n');
  if (random.OneIn(3)) return random.Of(kOdd);
  return random.Of(kTyped);
}

int SomeCount(Random& random, int most) {
  const int counts[] = {0, 1, 1, 1, 2, 2, 3, 4, 5, 8, 17, 52, 53, 54, 65, 300};
  return std::min(most, random.Of(counts));
}

}  // namespace fuzz
