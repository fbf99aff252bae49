#include "bench/capture/trading_day.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include <protozero/pbf_writer.hpp>

#include "MSG.proto.h"
#include "bench/workloads.h"
#include "tessel.gupiaoqiepian.pb.h"
#include "tessel.paixu.pb.h"
#include "tessel.pc.dingyuetuisong.pb.h"
#include "tsloutput.pb.h"

namespace {

using protozero::pbf_writer;
using tessel::DingYueTuiSongWenDangXiaoXi;
using tessel::FenBiChengJiao;
using tessel::GeGuDongTai;
using tessel::KXian;
using tessel::MSG;

constexpr int kInSnapshot = 50;
constexpr int kInRanking = 100;
constexpr int64_t kDate = 20240617;
constexpr int64_t kMidnight = 1718553600;  // of that date in Beijing

// The time that the benchmarks' replies have, in the ways in which they have it.
const std::string kTextOfPool = "2021-01-04 09:30:00";
constexpr int64_t kUnixOfPool = 1609723800;
constexpr int64_t kClockOfPool = 93000;

// How many of ten thousand replies are of this kind.
struct Kind {
  int id;
  int64_t weight;
  int objects;
};
constexpr std::array<Kind, 9> kKinds = {{{3, 49, 1},
                                         {20, 7000, 1},
                                         {20, 100, kInSnapshot},
                                         {21, 100, 1},
                                         {22, 2500, 1},
                                         {28, 200, kInRanking},
                                         {399, 1, 1},
                                         {405, 1, 1},
                                         {437, 49, 1}}};

int64_t Packed(int64_t number, unsigned code) {
  const auto mantissa = static_cast<uint64_t>(number < 0 ? -number : number);
  return static_cast<int64_t>((mantissa & 0xFFFF) | uint64_t{code} << 16 |
                              uint64_t{number < 0 ? 1U : 0U} << 20 | (mantissa >> 16) << 24);
}

int64_t Hundredths(int64_t number) {
  return Packed(number, 0);
}

int64_t Whole(int64_t number) {
  return Packed(number, 10);
}

// Seconds since midnight, of a second of trading.
int SecondOfDay(int second) {
  constexpr int kMorning = TradingDay::kSeconds / 2;
  constexpr int kNine30 = 34200;
  constexpr int kOne = 46800;
  return second < kMorning ? kNine30 + second : kOne + second - kMorning;
}

// 93000 for half past nine.
int64_t ClockOf(int second_of_day) {
  return second_of_day / 3600 * 10000 + second_of_day / 60 % 60 * 100 + second_of_day % 60;
}

int64_t TimeOf(int second_of_day) {
  return Whole(kDate * 1000000 + ClockOf(second_of_day));
}

// Five prices from the last one on, each with what is offered at it. Their fields follow one another.
void AddOffers(int64_t price, int64_t step, protozero::pbf_tag_type first, Chance* chance, pbf_writer* data) {
  for (protozero::pbf_tag_type level = 0; level < 5; ++level) {
    price += step;
    data->add_int64(first + 2 * level, Hundredths(price));
    data->add_int64(first + 2 * level + 1, Whole(100 * chance->Between(1, 500)));
  }
}

void AddSnapshot(const Instrument& i, Chance* chance, pbf_writer* msg) {
  pbf_writer element(*msg, MSG::kRepDataQuoteDynaSingleFieldNumber);
  element.add_string(tessel::QuoteDynaSingle::kObjFieldNumber, i.code);
  pbf_writer data(element, tessel::QuoteDynaSingle::kDataFieldNumber);
  data.add_int64(GeGuDongTai::kIdFieldNumber, Whole(i.number));
  data.add_int64(GeGuDongTai::kShiJianFieldNumber, TimeOf(SecondOfDay(i.last_second)));
  data.add_int64(GeGuDongTai::kZuiXinJiaFieldNumber, Hundredths(i.last));
  data.add_int64(GeGuDongTai::kKaiPanJiaFieldNumber, Hundredths(i.open));
  data.add_int64(GeGuDongTai::kZuiGaoJiaFieldNumber, Hundredths(i.high));
  data.add_int64(GeGuDongTai::kZuiDiJiaFieldNumber, Hundredths(i.low));
  data.add_int64(GeGuDongTai::kZuoShouFieldNumber, Hundredths(i.previous_close));
  data.add_int64(GeGuDongTai::kJunJiaFieldNumber, Hundredths(i.amount / i.volume));
  data.add_int64(GeGuDongTai::kZhangDieFieldNumber, Hundredths(i.last - i.previous_close));
  data.add_int64(GeGuDongTai::kZhangFuFieldNumber, Hundredths(i.Change()));
  data.add_int64(GeGuDongTai::kZhenFuFieldNumber, Hundredths((i.high - i.low) * 10000 / i.previous_close));
  data.add_int64(GeGuDongTai::kChengJiaoLiangFieldNumber, Whole(i.volume));
  data.add_int64(GeGuDongTai::kXianShouFieldNumber, Whole(i.last_volume));
  data.add_int64(GeGuDongTai::kChengJiaoEFieldNumber, Hundredths(i.amount));
  data.add_int64(GeGuDongTai::kZongChengJiaoBiShuFieldNumber, Whole(i.trades));
  data.add_int64(GeGuDongTai::kHuanShouFieldNumber, Packed(i.volume * 1000000 / i.issued, 4));
  data.add_int64(GeGuDongTai::kNeiPanFieldNumber, Whole(i.sold));
  data.add_int64(GeGuDongTai::kWaiPanFieldNumber, Whole(i.bought));
  data.add_int64(GeGuDongTai::kZhangTingFieldNumber, Hundredths(i.Highest()));
  data.add_int64(GeGuDongTai::kDieTingFieldNumber, Hundredths(i.Lowest()));
  AddOffers(i.last, -1, GeGuDongTai::kWeiTuoMaiRuJia1FieldNumber, chance, &data);
  AddOffers(i.last, 1, GeGuDongTai::kWeiTuoMaiChuJia1FieldNumber, chance, &data);
}

void AddBars(const Instrument& i, pbf_writer* msg) {
  pbf_writer element(*msg, MSG::kRepDataQuoteKlineSingleFieldNumber);
  element.add_string(tessel::QuoteKlineSingle::kObjFieldNumber, i.code);
  for (const Bar& bar : i.bars) {
    pbf_writer data(element, tessel::QuoteKlineSingle::kDataFieldNumber);
    // The time of its end.
    data.add_int64(KXian::kShiJianFieldNumber, TimeOf(SecondOfDay(bar.minute * 60) + 60));
    data.add_int64(KXian::kKaiPanJiaFieldNumber, Hundredths(bar.open));
    data.add_int64(KXian::kZuiGaoJiaFieldNumber, Hundredths(bar.high));
    data.add_int64(KXian::kZuiDiJiaFieldNumber, Hundredths(bar.low));
    data.add_int64(KXian::kShouPanJiaFieldNumber, Hundredths(bar.close));
    data.add_int64(KXian::kChengJiaoLiangFieldNumber, Whole(bar.volume));
    data.add_int64(KXian::kChengJiaoEFieldNumber, Hundredths(bar.amount));
    data.add_int64(KXian::kChengJiaoBiShuFieldNumber, Whole(bar.trades));
  }
}

void AddLastTrade(const Instrument& i, pbf_writer* msg) {
  pbf_writer element(*msg, MSG::kRepDataQuoteTickSingleFieldNumber);
  element.add_string(tessel::QuoteTickSingle::kObjFieldNumber, i.code);
  if (i.trades == 0) return;
  pbf_writer data(element, tessel::QuoteTickSingle::kDataFieldNumber);
  data.add_int64(FenBiChengJiao::kIdFieldNumber, Whole(i.trades));
  data.add_int64(FenBiChengJiao::kShiJianFieldNumber, TimeOf(SecondOfDay(i.last_second)));
  data.add_int64(FenBiChengJiao::kChengJiaoJiaFieldNumber, Hundredths(i.last));
  data.add_int64(FenBiChengJiao::kChengJiaoLiangFieldNumber, Whole(i.last_volume));
  data.add_int64(FenBiChengJiao::kChengJiaoEFieldNumber, Hundredths(i.last * i.last_volume));
  data.add_int64(FenBiChengJiao::kChengJiaoDanBiShuFieldNumber, Whole(1));
  data.add_int64(FenBiChengJiao::kShiFouZhuDongXingMaiDanFieldNumber, Whole(i.last_was_bought ? 1 : 0));
}

void AddRanking(const Instrument* first, int count, pbf_writer* msg) {
  std::vector<const Instrument*> ranked;
  for (int i = 0; i < count; ++i)
    ranked.push_back(first + i);
  std::stable_sort(ranked.begin(), ranked.end(),
                   [](const Instrument* a, const Instrument* b) { return a->Change() > b->Change(); });
  for (const Instrument* instrument : ranked) {
    pbf_writer element(*msg, MSG::kRepDataPaiXuFieldNumber);
    element.add_string(tessel::PaiXu::kObjFieldNumber, instrument->code);
    element.add_int64(tessel::PaiXu::kValueFieldNumber, Hundredths(instrument->Change()));
    element.add_string(tessel::PaiXu::kTextFieldNumber, instrument->name);
  }
}

std::string Varint(uint64_t value) {
  std::string bytes;
  protozero::write_varint(std::back_inserter(bytes), value);
  return bytes;
}

const std::string kUnixTag = Varint(DingYueTuiSongWenDangXiaoXi::kGengXinShiJianFieldNumber << 3);

std::string UnixBytes(int64_t seconds) {
  return Varint(static_cast<uint64_t>(Whole(seconds)));
}

std::string DifferenceBytes(int64_t clock) {
  return Varint(protozero::encode_zigzag64(Whole(clock)));
}

std::string TextBytes(int second_of_day) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "2024-06-17 %02d:%02d:%02d", second_of_day / 3600,
                second_of_day / 60 % 60, second_of_day % 60);
  return text.data();
}

std::string BytesOf(TradingDay::Clock::As as, int second_of_day) {
  switch (as) {
    case TradingDay::Clock::As::kText: return TextBytes(second_of_day);
    case TradingDay::Clock::As::kUnix: return UnixBytes(kMidnight + second_of_day);
    case TradingDay::Clock::As::kDifference: break;
  }
  return DifferenceBytes(ClockOf(second_of_day));
}

// Where `bytes` are, `skip` of which belong to what is before the time.
void FindClocks(const std::string& bytes, size_t skip, TradingDay::Clock::As as, TradingDay::Pooled* pooled) {
  const size_t before = pooled->clocks.size();
  const auto fits = [&](int second_of_day) {
    return BytesOf(as, second_of_day).size() + skip == bytes.size();
  };
  for (size_t at = pooled->reply.find(bytes); at != std::string::npos; at = pooled->reply.find(bytes, at + 1))
    pooled->clocks.push_back({at + skip, as});
  const bool same_size = fits(SecondOfDay(0)) && fits(SecondOfDay(TradingDay::kSeconds - 1));
  if (pooled->clocks.size() > before && same_size) return;
  std::fprintf(stderr, "the times of the workload of Id %d are not as they were\n", pooled->id);
  std::abort();
}

TradingDay::Pooled WireTable(uint64_t seed, int rows) {
  TradingDay::Pooled pooled{3, workloads::Wire(seed, rows), {}};
  FindClocks(DifferenceBytes(kClockOfPool), 0, TradingDay::Clock::As::kDifference, &pooled);
  return pooled;
}

TradingDay::Pooled News(uint64_t seed, int documents) {
  TradingDay::Pooled pooled{437, workloads::News(seed, documents), {}};
  FindClocks(kTextOfPool, 0, TradingDay::Clock::As::kText, &pooled);
  for (int i = 0; i < documents; ++i)
    FindClocks(kUnixTag + UnixBytes(kUnixOfPool + i), kUnixTag.size(), TradingDay::Clock::As::kUnix, &pooled);
  return pooled;
}

}  // namespace

const std::vector<int>& TradingDay::Ids() {
  static const std::vector<int> ids = [] {
    std::vector<int> all;
    for (const Kind& kind : kKinds) {
      if (all.empty() || all.back() != kind.id) all.push_back(kind.id);
    }
    return all;
  }();
  return ids;
}

TradingDay::TradingDay(uint64_t seed, const std::vector<int>& ids)
    : ids_(ids.empty() ? Ids() : ids), chance_(seed), market_(&chance_) {
  for (const Kind& kind : kKinds)
    weights_ += Comes(kind.id) ? kind.weight : 0;
  FillPool(seed);
}

bool TradingDay::Comes(int id) const {
  return std::find(ids_.begin(), ids_.end(), id) != ids_.end();
}

void TradingDay::FillPool(uint64_t seed) {
  // Each has a seed of its own.
  uint64_t own = seed * 1000;
  for (int i = 0; Comes(3) && i < 16; ++i)
    pool_.push_back(WireTable(own + 100 + static_cast<uint64_t>(i), 50 + 30 * i));
  for (int i = 0; Comes(437) && i < 64; ++i)
    pool_.push_back(News(own + 200 + static_cast<uint64_t>(i), 1 + i % 2));
  if (Comes(399)) pool_.push_back({399, workloads::Blocks(own + 300), {}});
  if (Comes(405)) pool_.push_back({405, workloads::Finance(own + 400, 500), {}});
}

void TradingDay::FromPool(int id, int second, std::string* reply) {
  const auto of_id = [id](const Pooled& pooled) { return pooled.id == id; };
  const auto first = std::find_if(pool_.begin(), pool_.end(), of_id);
  const auto count = std::count_if(first, pool_.end(), of_id);
  const Pooled& pooled = *(first + static_cast<ptrdiff_t>(chance_.Between(0, count - 1)));
  *reply = pooled.reply;
  for (const Clock& clock : pooled.clocks) {
    const std::string bytes = BytesOf(clock.as, SecondOfDay(second));
    reply->replace(clock.offset, bytes.size(), bytes);
  }
}

int TradingDay::Next(int second, std::string* reply) {
  // Without snapshots the market moves all the same.
  for (int i = 0; !Comes(20) && i < 20; ++i)
    market_.Trade(market_.Any(), second);
  int64_t drawn = chance_.Between(0, weights_ - 1);
  const auto* kind = kKinds.begin();
  while (!Comes(kind->id) || (drawn -= kind->weight) >= 0)
    ++kind;

  reply->clear();
  pbf_writer msg(*reply);
  msg.add_int32(MSG::kIdFieldNumber, kind->id);
  Instrument* instrument = kind->objects == 1 ? market_.Any() : market_.Some(kind->objects);
  switch (kind->id) {
    case 20:
      for (int i = 0; i < kind->objects; ++i) {
        market_.Trade(instrument + i, second);
        AddSnapshot(instrument[i], &chance_, &msg);
      }
      break;
    case 21: AddBars(*instrument, &msg); break;
    case 22: AddLastTrade(*instrument, &msg); break;
    case 28: AddRanking(instrument, kind->objects, &msg); break;
    default: FromPool(kind->id, second, reply);
  }
  return kind->id;
}
