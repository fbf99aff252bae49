#include "bench/workloads.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "MSG.proto.h"
#include "tessel.orderdata.pb.h"
#include "tessel.paixu.pb.h"
#include "tessel.pc.caiwuchuquanbankuai.pb.h"
#include "tessel.pc.dingyuetuisong.pb.h"
#include "tessel.zhibiao.pb.h"
#include "tsl_base/table.h"
#include "tsloutput.pb.h"
#include "tslpbtable.pb.h"

namespace {

class Generator {
 public:
  explicit Generator(uint64_t seed) : random_(seed) {}

  int64_t Between(int64_t low, int64_t high) {
    return low + static_cast<int64_t>(random_() % static_cast<uint64_t>(high - low + 1));
  }

  // Two decimals: scale code 0.
  int64_t Price() { return Pack(static_cast<uint64_t>(Between(200, 200000)), 0, false); }
  int64_t Change() {
    const int64_t change = Between(-1000, 1000);
    return Pack(static_cast<uint64_t>(change < 0 ? -change : change), 0, change < 0);
  }
  // Whole: scale code 10.
  int64_t Volume() { return Pack(static_cast<uint64_t>(Between(100, 50000000)), 10, false); }

  std::string Code(int i) {
    char text[16];
    std::snprintf(text, sizeof(text), i % 2 == 0 ? "SH60%04d" : "SZ00%04d", i % 10000);
    return text;
  }

  // `n` characters out of the commonest block of Chinese characters, U+4E00 to U+6FFF.
  std::string Chinese(int n) {
    std::string text;
    for (int i = 0; i < n; ++i) {
      const auto c = static_cast<uint32_t>(Between(0x4E00, 0x6FFF));
      text += static_cast<char>(0xE0 | c >> 12);
      text += static_cast<char>(0x80 | (c >> 6 & 0x3F));
      text += static_cast<char>(0x80 | (c & 0x3F));
    }
    return text;
  }

  static int64_t Pack(uint64_t mantissa, unsigned code, bool negative) {
    return static_cast<int64_t>((mantissa & 0xFFFF) | uint64_t{code} << 16 |
                                uint64_t{negative ? 1u : 0u} << 20 | (mantissa >> 16) << 24);
  }

 private:
  std::mt19937_64 random_;
};

bool IsCount(const std::string& field) {
  for (const char* word : {"Liang", "Shou", "BiShu", "Cang", "Pan", "JiaShu", "DanShu"}) {
    if (field.find(word) != std::string::npos && field.find("LiangBi") == std::string::npos) return true;
  }
  return false;
}

// The first `n` int64 fields of a message: counts whole, everything else at two decimals.
void FillNumbers(Generator& g, google::protobuf::Message* message, int n) {
  const auto* descriptor = message->GetDescriptor();
  const auto* reflection = message->GetReflection();
  for (int i = 0; i < descriptor->field_count() && n > 0; ++i) {
    const auto* field = descriptor->field(i);
    if (field->is_repeated() || field->cpp_type() != google::protobuf::FieldDescriptor::CPPTYPE_INT64)
      continue;
    reflection->SetInt64(message, field, IsCount(field->name()) ? g.Volume() : g.Price());
    --n;
  }
}

std::string Snapshot(int instruments) {
  Generator g(20);
  tessel::MSG msg;
  msg.set_id(tessel::IDQuoteDynaSingle);
  for (int i = 0; i < instruments; ++i) {
    auto* element = msg.add_repdataquotedynasingle();
    element->set_obj(g.Code(i));
    FillNumbers(g, element->mutable_data(), 60);
  }
  return msg.SerializeAsString();
}

std::string Kline(int instruments, int bars) {
  Generator g(21);
  tessel::MSG msg;
  msg.set_id(tessel::IDQuoteKlineSingle);
  for (int i = 0; i < instruments; ++i) {
    auto* element = msg.add_repdataquoteklinesingle();
    element->set_obj(g.Code(i));
    int64_t close = g.Between(500, 20000);
    for (int b = 0; b < bars; ++b) {
      auto* bar = element->add_data();
      FillNumbers(g, bar, 14);
      const int64_t open = close;
      close = close + g.Between(-open / 50, open / 50);
      const auto high = (open > close ? open : close) + g.Between(0, 20);
      const auto low = (open < close ? open : close) - g.Between(0, 20);
      bar->set_shijian(Generator::Pack(static_cast<uint64_t>(1609459200 + b * 86400), 10, false));
      bar->set_kaipanjia(Generator::Pack(static_cast<uint64_t>(open), 0, false));
      bar->set_zuigaojia(Generator::Pack(static_cast<uint64_t>(high), 0, false));
      bar->set_zuidijia(Generator::Pack(static_cast<uint64_t>(low), 0, false));
      bar->set_shoupanjia(Generator::Pack(static_cast<uint64_t>(close), 0, false));
    }
  }
  return msg.SerializeAsString();
}

tessel::CData* AddColumn(tessel::Table* table, const std::string& name, int type) {
  auto* info = table->add_info();
  info->set_name(name);
  info->set_type(type);
  auto* data = table->add_data();
  data->set_index(table->data_size() - 1);
  return data;
}

tessel::Table* WrapTable(tessel::MSG* msg) {
  msg->set_id(tessel::IDTbl);
  return AddColumn(msg->mutable_tbl(), "Data", tessel::Type_Table)->add_tvalues();
}

std::string Ranking(int rows) {
  Generator g(28);
  tessel::MSG msg;
  msg.set_id(tessel::IDPaiXu);
  for (int i = 0; i < rows; ++i) {
    auto* element = msg.add_repdatapaixu();
    element->set_obj(g.Code(i));
    element->set_value(g.Change());
    element->set_text(g.Chinese(4));
  }
  return msg.SerializeAsString();
}

std::string LargeOrders(int objects, int samples) {
  Generator g(321);
  tessel::MSG msg;
  msg.set_id(tessel::IDDaDanShuJuShuChu);
  for (int i = 0; i < objects; ++i) {
    auto* element = msg.add_repdatadadanshujushuchu();
    element->set_obj(g.Code(i));
    for (int s = 0; s < samples; ++s)
      FillNumbers(g, element->add_data(), 11);
  }
  return msg.SerializeAsString();
}

std::string LargeOrdersWire(int objects, int samples) {
  Generator g(321);
  tessel::MSG msg;
  tessel::Table* table = WrapTable(&msg);
  auto* codes = AddColumn(table, "Obj", tessel::Type_String);
  auto* series = AddColumn(table, "Data", tessel::Type_Table);
  // Taken again: adding the second column may have moved the first one's data.
  codes = table->mutable_data(0);
  series = table->mutable_data(1);
  const auto* fields = tessel::DaDanShuJu::descriptor();
  for (int i = 0; i < objects; ++i) {
    codes->add_svalues(g.Code(i));
    auto* nested = series->add_tvalues();
    for (int f = 0; f < 11; ++f) {
      const std::string& name = fields->field(f)->name();
      auto* column = AddColumn(nested, name, tessel::Type_Int);
      for (int s = 0; s < samples; ++s)
        column->add_ivalues(IsCount(name) ? g.Volume() : g.Price());
    }
  }
  return msg.SerializeAsString();
}

std::string Indicator(int points) {
  Generator g(25);
  tessel::MSG msg;
  msg.set_id(tessel::IDZhiBiaoShuChu);
  auto* element = msg.add_repdatazhibiaoshuchu();
  element->set_obj(g.Code(0));
  for (int p = 0; p < points; ++p) {
    auto* point = element->add_shuju();
    point->set_shijian(Generator::Pack(static_cast<uint64_t>(1609459200 + p * 86400), 10, false));
    for (int r = 0; r < 8; ++r)
      point->add_jieguo(g.Change());
  }
  return msg.SerializeAsString();
}

}  // namespace

namespace workloads {

std::string Wire(uint64_t seed, int rows) {
  Generator g(seed);
  tessel::MSG msg;
  tessel::Table* table = WrapTable(&msg);
  auto* names = AddColumn(table, "ZhongWenJianCheng", tessel::Type_String);
  for (int r = 0; r < rows; ++r)
    names->add_svalues(g.Chinese(4));
  for (const char* name :
       {"ZuiXinJia", "KaiPanJia", "ZuiGaoJia", "ZuiDiJia", "ChengJiaoLiang", "ChengJiaoE"}) {
    auto* column = AddColumn(table, name, tessel::Type_Int);
    for (int r = 0; r < rows; ++r)
      column->add_ivalues(IsCount(name) ? g.Volume() : g.Price());
  }
  auto* delta = AddColumn(table, "ShiJian", tessel::Type_SInt);
  delta->add_xvalues(Generator::Pack(93000, 10, false));
  for (int r = 1; r < rows; ++r)
    delta->add_xvalues(g.Between(-60, 60));
  for (const char* name : {"ZhangFu", "HuanShou"}) {
    auto* column = AddColumn(table, name, tessel::Type_Float);
    for (int r = 0; r < rows; ++r)
      column->add_fvalues(static_cast<float>(g.Between(-1000, 1000)) / 100.0f);
  }
  return msg.SerializeAsString();
}

std::string Blocks(uint64_t seed) {
  Generator g(seed);
  const auto whole = [](int64_t n) { return Generator::Pack(static_cast<uint64_t>(n), 10, false); };
  tessel::MSG msg;
  msg.set_id(tessel::IDBanKuaiFenLeiFanHui);
  auto* root = msg.add_repdatabankuaifenleifanhui();
  root->set_banben(whole(7));
  root->set_crc32(whole(0x1234567));
  root->set_leixing(whole(1));
  for (int c = 0; c < 4; ++c) {
    auto* kind = root->add_data();
    kind->set_mingcheng(g.Chinese(4));
    kind->set_leixing(whole(c));
    kind->set_xuhao(whole(c + 1));
    for (int b = 0; b < 50; ++b) {
      auto* block = kind->add_data();
      block->set_mingcheng(g.Chinese(5));
      block->set_leixing(whole(b % 4));
      block->set_xuhao(whole(b + 1));
      for (int m = 0; m < 50; ++m) {
        auto* member = block->add_data();
        member->set_obj(g.Code(static_cast<int>(g.Between(0, 9999))));
        member->set_leixing(whole(1));
        member->set_xuhao(whole(m + 1));
      }
    }
  }
  return msg.SerializeAsString();
}

std::string News(uint64_t seed, int documents) {
  Generator g(seed);
  tessel::MSG msg;
  msg.set_id(tessel::IDDingYueTuiSongXiaoXiFanHuiShuJu);
  auto* element = msg.add_repdatadingyuetuisongxiaoxifanhuishuju();
  element->set_shujuzonggeshu(Generator::Pack(static_cast<uint64_t>(documents), 10, false));
  for (int i = 0; i < documents; ++i) {
    auto* document = element->add_data();
    document->set_id("doc-" + std::to_string(100000 + i));
    document->set_category(g.Chinese(2));
    document->set_title(g.Chinese(20));
    document->set_pubdate("2021-01-04 09:30:00");
    document->set_author(g.Chinese(3));
    document->set_summary(g.Chinese(60));
    // 2 to 6 KB, with the digits and Latin words that such texts have among the Chinese.
    const int64_t bytes = g.Between(2048, 6144);
    std::string content;
    while (static_cast<int64_t>(content.size()) < bytes) {
      content += g.Chinese(static_cast<int>(g.Between(8, 40)));
      content += g.Between(0, 3) == 0 ? " 2020 EPS 1.25, " : "\xEF\xBC\x8C";
    }
    document->set_content(content);
    document->set_url("https://example.invalid/doc/" + std::to_string(i));
    document->set_extra("{\"source\":\"wire\"}");
    document->set_gengxinshijian(Generator::Pack(static_cast<uint64_t>(1609723800 + i), 10, false));
  }
  return msg.SerializeAsString();
}

std::string Finance(uint64_t seed, int stocks) {
  Generator g(seed);
  tessel::MSG msg;
  msg.set_id(tessel::IDCaiWuShuJuFanHui);
  auto* root = msg.add_repdatacaiwushujufanhui();
  root->set_crc32(Generator::Pack(0x1234567, 10, false));
  root->set_leixing(Generator::Pack(1, 10, false));
  for (int i = 0; i < stocks; ++i) {
    auto* stock = root->add_data();
    stock->set_daima(g.Code(i));
    stock->set_leixing(Generator::Pack(1, 10, false));
    FillNumbers(g, stock->mutable_data(), 53);
  }
  return msg.SerializeAsString();
}

}  // namespace workloads

namespace {

Workload Build(const std::string& name) {
  if (name == "snapshot1") return {name, TPTypeById, Snapshot(1)};
  if (name == "snapshot50") return {name, TPTypeById, Snapshot(50)};
  if (name == "snapshot5000") return {name, TPTypeById, Snapshot(5000)};
  if (name == "kline240") return {name, TPTypeById, Kline(1, 240)};
  if (name == "kline2000x10") return {name, TPTypeById, Kline(10, 2000)};
  if (name == "wire5000") return {name, TPTypeById, workloads::Wire(3, 5000)};
  if (name == "blocks") return {name, TPTypeById, workloads::Blocks(399)};
  if (name == "news200") return {name, TPTypeById, workloads::News(437, 200)};
  if (name == "finance") return {name, TPTypeById, workloads::Finance(405, 5000)};
  if (name == "ranking") return {name, TPTypeById, Ranking(5000)};
  if (name == "typed") return {name, TPTypeDaDan, LargeOrders(10, 240)};
  if (name == "typed_wire") return {name, TPTypeDaDan, LargeOrdersWire(10, 240)};
  if (name == "indicator") return {name, TPTypeZhiBiao8, Indicator(240)};
  std::fprintf(stderr, "no workload %s\n", name.c_str());
  std::exit(2);
}

}  // namespace

const std::vector<std::string>& WorkloadNames() {
  static const std::vector<std::string> names = {
      "snapshot1", "snapshot50", "snapshot5000", "kline240", "kline2000x10", "wire5000", "blocks",
      "news200",   "finance",    "ranking",      "typed",    "typed_wire",   "indicator"};
  return names;
}

Workload MakeWorkload(const std::string& name) {
  Workload workload = Build(name);
  void* table = TesparserPB2TableType(workload.reply, workload.type);
  if (table == nullptr || table_rows(table) == 0) {
    std::fprintf(stderr, "workload %s gives no table\n", name.c_str());
    std::abort();
  }
  table_free(table);
  return workload;
}

std::vector<Workload> MakeWorkloads() {
  std::vector<Workload> workloads;
  for (const std::string& name : WorkloadNames())
    workloads.push_back(MakeWorkload(name));
  return workloads;
}
