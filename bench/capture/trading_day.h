// The replies of a trading day, in the order in which they would come.
#ifndef BENCH_CAPTURE_TRADING_DAY_H_
#define BENCH_CAPTURE_TRADING_DAY_H_

#include <cstdint>
#include <string>
#include <vector>

#include "bench/capture/market.h"

// What is sent, by Id: snapshots (20) of one instrument and of fifty, minute bars so far (21), last trades
// (22), rankings (28); and out of a pool of the benchmarks' replies, of which the times alone move, wire
// tables (3), news (437), blocks (399) and finance (405).
//
// The numbers hang together: the volume of an instrument is the sum of the trades that its snapshots tell of,
// and so is that of its bars. A seed gives the same replies on every machine.
class TradingDay {
 public:
  // Seconds of trading: 09:30 to 11:30 and 13:00 to 15:00.
  static constexpr int kSeconds = 4 * 60 * 60;

  // In ascending order.
  static const std::vector<int>& Ids();

  // `ids`: those of Ids() that come; all if it is empty.
  TradingDay(uint64_t seed, const std::vector<int>& ids);
  TradingDay(const TradingDay&) = delete;
  TradingDay& operator=(const TradingDay&) = delete;

  // Makes the next reply in `*reply`, whose storage is used again, and returns its Id. `second`: of trading,
  // below kSeconds, never less than in the call before.
  int Next(int second, std::string* reply);

  // A time in a reply of the pool. It takes as many bytes whatever the time is.
  struct Clock {
    enum class As { kText, kUnix, kDifference };
    size_t offset = 0;
    As as = As::kText;
  };
  struct Pooled {
    int id = 0;
    std::string reply;
    std::vector<Clock> clocks;
  };

 private:
  bool Comes(int id) const;
  void FillPool(uint64_t seed);
  void FromPool(int id, int second, std::string* reply);

  std::vector<int> ids_;
  int64_t weights_ = 0;  // of those that come
  Chance chance_;
  Market market_;
  std::vector<Pooled> pool_;
};

#endif  // BENCH_CAPTURE_TRADING_DAY_H_
