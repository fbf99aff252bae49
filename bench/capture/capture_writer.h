// Writes replies with their lengths before them, and damages some places on purpose.
#ifndef BENCH_CAPTURE_CAPTURE_WRITER_H_
#define BENCH_CAPTURE_CAPTURE_WRITER_H_

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "bench/capture/market.h"

enum class Prefix { kVarint, kFixed32Be, kFixed32Le };

enum class Harm {
  kStray,      // bytes between two replies that belong to none
  kLength,     // a length with one bit changed
  kGap,        // from the middle of a reply on to the middle of a later one nothing was written
  kTruncated,  // only the beginning of a reply was written
};

// A stretch of the file. All that is outside of these is whole replies with their lengths.
struct Damage {
  uint64_t offset = 0;
  uint64_t length = 0;
  Harm harm = Harm::kStray;
  uint64_t lost = 0;  // replies that are not there whole
};

class CaptureWriter {
 public:
  // `file` stays the caller's. The seed is of the damage alone.
  CaptureWriter(std::FILE* file, Prefix prefix, uint64_t seed);

  // A whole reply, as far as no gap takes it.
  void Write(std::string_view reply);

  void WriteHarmed(std::string_view reply, Harm harm);

  // Not while there is a gap.
  bool may_harm() const { return in_gap_ == 0; }
  // Two whole replies are behind the last stretch. One alone looks like what there is inside of others.
  bool may_harm_again() const { return in_gap_ == 0 && whole_since_ >= 2; }

  // False if something could not be written, now or before.
  bool Finish();

  // What stands before the reply.
  std::string LengthOf(std::string_view reply) const;

  uint64_t bytes() const { return bytes_; }
  const std::vector<Damage>& damage() const { return damage_; }

 private:
  void Put(std::string_view bytes);
  size_t Middle(size_t size);
  void Begin(Harm harm, uint64_t lost);
  void AddToGap(std::string_view reply);
  void PutStrayBytes();
  void PutWithFalseLength(std::string_view reply);

  std::FILE* file_;
  Prefix prefix_;
  Chance chance_;
  bool good_ = true;
  uint64_t bytes_ = 0;
  int whole_since_ = 0;
  int64_t in_gap_ = 0;  // how many replies more a gap takes
  std::vector<Damage> damage_;
};

#endif  // BENCH_CAPTURE_CAPTURE_WRITER_H_
