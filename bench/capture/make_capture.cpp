// Writes a capture: the replies of a trading day of invented instruments, each with its length before it. The
// same arguments give the same bytes.
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "bench/capture/capture_writer.h"
#include "bench/capture/trading_day.h"

namespace {

const std::map<std::string, Prefix> kPrefixes = {
    {"varint", Prefix::kVarint}, {"fixed32be", Prefix::kFixed32Be}, {"fixed32le", Prefix::kFixed32Le}};
const std::map<std::string, Harm> kHarms = {
    {"stray", Harm::kStray}, {"length", Harm::kLength}, {"gap", Harm::kGap}, {"truncated", Harm::kTruncated}};

struct Options {
  uint64_t size = 0;
  std::string path;
  uint64_t seed = 1;
  std::vector<int> ids;
  Prefix prefix = Prefix::kVarint;
  double damage = 0;
  std::vector<Harm> harms = {Harm::kStray, Harm::kLength, Harm::kGap, Harm::kTruncated};
};

struct Made {
  uint64_t replies = 0;  // damaged ones with them
  std::map<int, uint64_t> by_id;
};

void Complain(const std::string& what) {
  std::fprintf(stderr, "make-capture: %s\n", what.c_str());
}

// Decides where damage is: in the middle of so many stretches of one size, or by chance. At the end of the
// file it is a truncated reply, if that is among the kinds, and elsewhere one of the others in turn.
class Plan {
 public:
  explicit Plan(const Options& options)
      : rate_(options.damage < 1 ? options.damage : 0), size_(options.size), chance_(options.seed + 1) {
    for (const Harm harm : options.harms) {
      if (harm == Harm::kTruncated) {
        truncates_ = options.damage > 0;
      } else {
        harms_.push_back(harm);
      }
    }
    places_ = options.damage < 1 ? 0 : static_cast<uint64_t>(options.damage) - (truncates_ ? 1 : 0);
  }

  bool Truncates() const { return truncates_; }

  // Whether a place is due behind so many bytes.
  bool Due(uint64_t bytes) {
    if (harms_.empty()) return false;
    if (rate_ > 0) return static_cast<double>(chance_.Between(0, 999999999)) < rate_ * 1e9;
    return made_ < places_ && static_cast<double>(bytes) * static_cast<double>(places_) >=
                                  (static_cast<double>(made_) + 0.5) * static_cast<double>(size_);
  }

  Harm Next() { return harms_[static_cast<size_t>(made_++ % harms_.size())]; }

 private:
  double rate_;
  uint64_t size_;
  Chance chance_;
  std::vector<Harm> harms_;
  bool truncates_ = false;
  uint64_t places_ = 0;
  uint64_t made_ = 0;
};

// Seconds of trading go by with the bytes that an undamaged capture would have.
Made WriteDay(const Options& options, CaptureWriter* writer) {
  TradingDay day(options.seed, options.ids);
  Plan plan(options);
  Made made;
  std::string reply;
  uint64_t bytes = 0;
  while (bytes < options.size) {
    const auto second = static_cast<double>(bytes) / static_cast<double>(options.size) * TradingDay::kSeconds;
    const int id = day.Next(static_cast<int>(second), &reply);
    made.replies += 1;
    made.by_id[id] += 1;
    const uint64_t before = bytes;
    bytes += writer->LengthOf(reply).size() + reply.size();
    if (bytes >= options.size && plan.Truncates() && writer->may_harm()) {
      writer->WriteHarmed(reply, Harm::kTruncated);
    } else if (writer->may_harm_again() && plan.Due(before)) {
      writer->WriteHarmed(reply, plan.Next());
    } else {
      writer->Write(reply);
    }
  }
  return made;
}

const char* NameOf(Harm harm) {
  for (const auto& [name, known] : kHarms) {
    if (known == harm) return name.c_str();
  }
  return "";
}

bool WriteList(const std::string& path, const std::vector<Damage>& all) {
  std::FILE* file = std::fopen(path.c_str(), "w");
  if (file == nullptr) return false;
  std::fprintf(file, "offset\tlength\tkind\tlost\n");
  for (const Damage& damage : all)
    std::fprintf(file, "%llu\t%llu\t%s\t%llu\n", static_cast<unsigned long long>(damage.offset),
                 static_cast<unsigned long long>(damage.length), NameOf(damage.harm),
                 static_cast<unsigned long long>(damage.lost));
  const bool good = std::ferror(file) == 0;
  return std::fclose(file) == 0 && good;
}

void Tell(const CaptureWriter& writer, const Made& made) {
  uint64_t lost = 0;
  for (const Damage& damage : writer.damage())
    lost += damage.lost;
  std::fprintf(stderr, "%llu bytes, %llu replies", static_cast<unsigned long long>(writer.bytes()),
               static_cast<unsigned long long>(made.replies - lost));
  if (!writer.damage().empty())
    std::fprintf(stderr, ", %zu damaged places, %llu replies lost", writer.damage().size(),
                 static_cast<unsigned long long>(lost));
  std::fprintf(stderr, "; made by Id:");
  for (const auto& [id, count] : made.by_id)
    std::fprintf(stderr, " %d: %llu", id, static_cast<unsigned long long>(count));
  std::fprintf(stderr, "\n");
}

int Run(const Options& options) {
  if (options.path.empty() && (isatty(STDOUT_FILENO) != 0 || options.damage > 0)) {
    Complain(options.damage > 0 ? "with --damage the capture needs a FILE, to write FILE.damage beside it"
                                : "a capture is not for a terminal; name a FILE");
    return 2;
  }
  std::FILE* file = options.path.empty() ? stdout : std::fopen(options.path.c_str(), "wb");
  if (file == nullptr) {
    Complain(options.path + ": " + std::strerror(errno));
    return 1;
  }
  std::vector<char> buffer(1 << 20);
  std::setvbuf(file, buffer.data(), _IOFBF, buffer.size());
  CaptureWriter writer(file, options.prefix, options.seed);
  const Made made = WriteDay(options, &writer);
  bool good = writer.Finish();
  good = std::fclose(file) == 0 && good;
  if (good && options.damage > 0) good = WriteList(options.path + ".damage", writer.damage());
  if (!good) {
    Complain((options.path.empty() ? "standard output" : options.path) + ": " + std::strerror(errno));
    return 1;
  }
  Tell(writer, made);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app("Writes a capture: the replies of a trading day, each with its length before it",
               "make-capture");
  app.add_option("SIZE", options.size, "Bytes, as in 200M or 4G; the last reply may go beyond")
      ->required()
      ->option_text("BYTES")
      ->transform(CLI::AsSizeValue(false));
  app.add_option("FILE", options.path, "Where to; standard output without it");
  app.add_option("--seed", options.seed, "Another day for each number")->capture_default_str();
  app.add_option("--ids", options.ids, "Only these Ids, as in 20,21")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->option_text("3,20,21,22,28,399,405,437")
      ->check(CLI::IsMember(TradingDay::Ids()));
  app.add_option("--prefix", options.prefix, "How the length before a reply is written")
      ->option_text("varint|fixed32be|fixed32le")
      ->transform(CLI::CheckedTransformer(kPrefixes));
  app.add_option("--damage", options.damage,
                 "Damage so many places, or, below 1, such a share of the replies; FILE.damage lists them")
      ->option_text("PLACES|SHARE")
      ->check(CLI::NonNegativeNumber);
  app.add_option("--kinds", options.harms, "Kinds of damage")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->option_text("stray,length,gap,truncated")
      ->transform(CLI::CheckedTransformer(kHarms));
  CLI11_PARSE(app, argc, argv);
  return Run(options);
}
