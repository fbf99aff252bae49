#include "bench/capture/market.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace {

// Four characters out of the commonest block of Chinese characters.
std::string NameOf(Chance* chance) {
  std::string name;
  for (int i = 0; i < 4; ++i) {
    const auto letter = static_cast<uint32_t>(chance->Between(0x4E00, 0x6FFF));
    name += static_cast<char>(0xE0 | letter >> 12);
    name += static_cast<char>(0x80 | (letter >> 6 & 0x3F));
    name += static_cast<char>(0x80 | (letter & 0x3F));
  }
  return name;
}

void AddToBars(const Instrument& instrument, int minute, std::vector<Bar>* bars) {
  if (bars->empty() || bars->back().minute != minute) {
    Bar bar;
    bar.minute = minute;
    bar.open = bar.high = bar.low = instrument.last;
    bars->push_back(bar);
  }
  Bar& bar = bars->back();
  bar.high = std::max(bar.high, instrument.last);
  bar.low = std::min(bar.low, instrument.last);
  bar.close = instrument.last;
  bar.volume += instrument.last_volume;
  bar.amount += instrument.last_volume * instrument.last;
  bar.trades += 1;
}

}  // namespace

Market::Market(Chance* chance) : chance_(chance), instruments_(kInstruments) {
  int index = 0;
  for (Instrument& instrument : instruments_) {
    std::array<char, 16> code{};
    std::snprintf(code.data(), code.size(), index % 2 == 0 ? "SH60%04d" : "SZ00%04d", index / 2);
    instrument.code = code.data();
    instrument.name = NameOf(chance_);
    instrument.number = 100001 + index;
    instrument.issued = chance_->Between(1000000, 100000000) * 100;
    instrument.previous_close = chance_->Between(200, 20000);
    instrument.last = instrument.previous_close;
    ++index;
  }
}

void Market::Trade(Instrument* instrument, int second) {
  Instrument& i = *instrument;
  i.last = std::clamp(i.last + chance_->Between(-2, 2), i.Lowest(), i.Highest());
  const int64_t lots = chance_->Between(1, chance_->Between(0, 7) == 0 ? 200 : 10);
  if (i.trades == 0) i.open = i.high = i.low = i.last;
  i.high = std::max(i.high, i.last);
  i.low = std::min(i.low, i.last);
  i.last_volume = 100 * lots;
  i.last_second = second;
  i.last_was_bought = chance_->Between(0, 1) == 0;
  i.volume += i.last_volume;
  i.amount += i.last_volume * i.last;
  i.trades += 1;
  (i.last_was_bought ? i.bought : i.sold) += i.last_volume;
  AddToBars(i, second / 60, &i.bars);
}

Instrument* Market::Any() {
  const int64_t first = chance_->Between(0, kInstruments - 1);
  const int64_t second = chance_->Between(0, kInstruments - 1);
  return &instruments_[static_cast<size_t>(first * second / kInstruments)];
}

Instrument* Market::Some(int count) {
  const int64_t group = chance_->Between(0, kInstruments / count - 1);
  return &instruments_[static_cast<size_t>(group * count)];
}
