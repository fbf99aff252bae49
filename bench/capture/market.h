// A market of invented instruments, traded at random.
#ifndef BENCH_CAPTURE_MARKET_H_
#define BENCH_CAPTURE_MARKET_H_

#include <cstdint>
#include <random>
#include <string>
#include <vector>

// Random numbers that are the same on every machine, which those of the standard library's distributions are
// not.
class Chance {
 public:
  explicit Chance(uint64_t seed) : random_(seed) {}

  int64_t Between(int64_t low, int64_t high) {
    return low + static_cast<int64_t>(random_() % static_cast<uint64_t>(high - low + 1));
  }

 private:
  std::mt19937_64 random_;
};

// Prices and amounts are in hundredths.
struct Bar {
  int minute = 0;  // of trading
  int64_t open = 0, high = 0, low = 0, close = 0;
  int64_t volume = 0, amount = 0, trades = 0;
};

struct Instrument {
  std::string code;  // "SH600000"
  std::string name;
  int64_t number = 0;
  int64_t issued = 0;  // shares
  int64_t previous_close = 0;
  int64_t open = 0, high = 0, low = 0, last = 0;
  int64_t volume = 0, amount = 0, trades = 0;
  int64_t bought = 0, sold = 0;  // by who took the other's offer
  int64_t last_volume = 0;
  int last_second = 0;
  bool last_was_bought = false;
  std::vector<Bar> bars;

  // Against the close before: the limits of the price, and the change in hundredths of a percent.
  int64_t Lowest() const { return previous_close - previous_close / 10; }
  int64_t Highest() const { return previous_close + previous_close / 10; }
  int64_t Change() const { return (last - previous_close) * 10000 / previous_close; }
};

class Market {
 public:
  static constexpr int kInstruments = 1000;

  explicit Market(Chance* chance);

  // `second`: of trading. Prices stay within a tenth of the close before.
  void Trade(Instrument* instrument, int second);

  // One of them, some more often than others.
  Instrument* Any();

  // So many neighbours; `count` divides kInstruments.
  Instrument* Some(int count);

 private:
  Chance* chance_;
  std::vector<Instrument> instruments_;
};

#endif  // BENCH_CAPTURE_MARKET_H_
