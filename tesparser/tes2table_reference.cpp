// Reference data: the tree of blocks (Id 399), the finance figures (Id 405) and the ex-rights events (Id 406)
// of all stocks. The three differ from the other converters in four ways that are the format's: a reply
// without data is a table that says so and never null, only the first element counts, text stays as it was
// received, and whole numbers are rounded. The header's version and checksum are shown and not judged.
#include "tesparser/cell.h"
#include "tesparser/tes2table.h"
#include "tessel.pc.caiwuchuquanbankuai.pb.h"

namespace {

// The labels that readers know these tables by, on every table of the reply.
constexpr char kBlocksName[] = "tes2tableType::ParseBanKuaiFenLeiFanHui";
constexpr char kFinanceName[] = "tes2tableType::ParseCaiWuShuJuFanHui";
constexpr char kRightsName[] = "tes2tableType::ParseChuQuanShuJuFanHui";

void* NoDataTable(const char* name) {
  void* table = table_create("nodata:s;", 1, name);
  table_set_str(table, 0, 0, "no data", 1);
  return table;
}

// Makes the table under the header and hangs it there before it is filled; null where the header is all there
// is. It is the header's LeiXing that decides: with it, a reply without data shows a table without rows.
void* AttachData(void* root, int col, int rows, bool has_leixing, const char* spec, const char* name) {
  if (rows == 0 && !has_leixing) {
    table_set_table(root, 0, col, nullptr, 1);
    return nullptr;
  }
  void* data = table_create(spec, rows, name);
  table_set_table_raw(root, 0, col, data);
  return data;
}

void FillMembers(void* table, const tessel::BanKuaiShuJu& block) {
  const auto& members = block.data();
  for (int i = 0; i < members.size(); ++i) {
    const tessel::GuPiaoShuJu& member = members[i];
    SetRawText(table, i, 0, member.obj());
    SetPackedIntRounded(table, i, 1, member.leixing());
    SetPackedIntRounded(table, i, 2, member.xuhao());
  }
}

void FillBlocks(void* table, const tessel::FenLeiShuJu& block_class) {
  const auto& blocks = block_class.data();
  for (int i = 0; i < blocks.size(); ++i) {
    const tessel::BanKuaiShuJu& block = blocks[i];
    SetRawText(table, i, 0, block.mingcheng());
    SetPackedIntRounded(table, i, 1, block.leixing());
    SetPackedIntRounded(table, i, 2, block.xuhao());
    void* members = table_create("Obj:s;LeiXing:i;XuHao:i;", block.data_size(), kBlocksName);
    table_set_table_raw(table, i, 3, members);
    FillMembers(members, block);
  }
}

// All values are written, sent or not, and stay packed; the mask alone tells them apart. It counts from the
// first value, which is column 1.
void FillEvent(void* table, int row, const tessel::ChuQuanShuJu& event) {
  table_set_int64(table, row, 0, event.shijian());
  table_set_int64(table, row, 1, event.meigusonggu());
  table_set_int64(table, row, 2, event.meigupeigu());
  table_set_int64(table, row, 3, event.peigujiage());
  table_set_int64(table, row, 4, event.meiguhongli());
  SetRawText(table, row, 5, event.quanyitishi());
  SetPackedIntRounded(table, row, 6, event.leixing());
  int64_t bits = 0;
  if (event.has_meigusonggu()) bits |= MaskBit(0);
  if (event.has_meigupeigu()) bits |= MaskBit(1);
  if (event.has_peigujiage()) bits |= MaskBit(2);
  if (event.has_meiguhongli()) bits |= MaskBit(3);
  if (event.has_quanyitishi()) bits |= MaskBit(4);
  table_set_int64(table, row, 7, bits);
}

// The 53 figures of a stock in one cell, as they were sent: element k is field number k + 1.
void SetFigures(void* table, int row, int col, const tessel::CaiWuShuJu& data) {
  int64_t figures[53];
  figures[0] = data.faburiqi();
  figures[1] = data.baogaoriqi();
  figures[2] = data.shangshiriqi();
  figures[3] = data.meigushouyi();
  figures[4] = data.meigujingzhichan();
  figures[5] = data.jingzhichanshouyilv();
  figures[6] = data.meigujingyingxianjin();
  figures[7] = data.meigugongjijin();
  figures[8] = data.meiguweifenpeilirun();
  figures[9] = data.gudongquanyibi();
  figures[10] = data.jingliruntongbi();
  figures[11] = data.zhuyingshourutongbi();
  figures[12] = data.xiaoshoumaolilv();
  figures[13] = data.tiaozhengmeigujingzichan();
  figures[14] = data.zongzichan();
  figures[15] = data.liudongzichan();
  figures[16] = data.gudingzichan();
  figures[17] = data.wuxingzichan();
  figures[18] = data.liudongfuzai();
  figures[19] = data.changqifuzai();
  figures[20] = data.zongfuzai();
  figures[21] = data.gudongquanyi();
  figures[22] = data.zibengongjijin();
  figures[23] = data.jingyingxianjinliuliang();
  figures[24] = data.touzixianjinliuliang();
  figures[25] = data.chouzixianjinliuliang();
  figures[26] = data.xianjinzengjiae();
  figures[27] = data.zhuyingshouru();
  figures[28] = data.zhuyinglirun();
  figures[29] = data.yingyelirun();
  figures[30] = data.touzishouyi();
  figures[31] = data.yingyewaishouzhi();
  figures[32] = data.lirunzonge();
  figures[33] = data.jinglirun();
  figures[34] = data.weifenpeilirun();
  figures[35] = data.zongguben();
  figures[36] = data.wuxianshougufenheji();
  figures[37] = data.agu();
  figures[38] = data.bgu();
  figures[39] = data.jingwaishangshiwaizigu();
  figures[40] = data.qitaliutonggufen();
  figures[41] = data.xianshougufenheji();
  figures[42] = data.guojiachigu();
  figures[43] = data.guoyoufarenchigu();
  figures[44] = data.jingneifarenchigu();
  figures[45] = data.jingneiziranrenchigu();
  figures[46] = data.qitafaqirengufen();
  figures[47] = data.mujifarengufen();
  figures[48] = data.jingwaifarenchigu();
  figures[49] = data.jingwaiziranrenchigu();
  figures[50] = data.youxianguhuoqita();
  figures[51] = data.huilv();
  figures[52] = data.ganggubaogaoqi();
  static_assert(sizeof(figures) == 424, "the width of a 53q cell");
  table_set_buff(table, row, col, figures, sizeof(figures), 0);
}

// Which of the figures were sent: bit k belongs to element k.
int64_t FigureBits(const tessel::CaiWuShuJu& data) {
  int64_t bits = 0;
  if (data.has_faburiqi()) bits |= MaskBit(0);
  if (data.has_baogaoriqi()) bits |= MaskBit(1);
  if (data.has_shangshiriqi()) bits |= MaskBit(2);
  if (data.has_meigushouyi()) bits |= MaskBit(3);
  if (data.has_meigujingzhichan()) bits |= MaskBit(4);
  if (data.has_jingzhichanshouyilv()) bits |= MaskBit(5);
  if (data.has_meigujingyingxianjin()) bits |= MaskBit(6);
  if (data.has_meigugongjijin()) bits |= MaskBit(7);
  if (data.has_meiguweifenpeilirun()) bits |= MaskBit(8);
  if (data.has_gudongquanyibi()) bits |= MaskBit(9);
  if (data.has_jingliruntongbi()) bits |= MaskBit(10);
  if (data.has_zhuyingshourutongbi()) bits |= MaskBit(11);
  if (data.has_xiaoshoumaolilv()) bits |= MaskBit(12);
  if (data.has_tiaozhengmeigujingzichan()) bits |= MaskBit(13);
  if (data.has_zongzichan()) bits |= MaskBit(14);
  if (data.has_liudongzichan()) bits |= MaskBit(15);
  if (data.has_gudingzichan()) bits |= MaskBit(16);
  if (data.has_wuxingzichan()) bits |= MaskBit(17);
  if (data.has_liudongfuzai()) bits |= MaskBit(18);
  if (data.has_changqifuzai()) bits |= MaskBit(19);
  if (data.has_zongfuzai()) bits |= MaskBit(20);
  if (data.has_gudongquanyi()) bits |= MaskBit(21);
  if (data.has_zibengongjijin()) bits |= MaskBit(22);
  if (data.has_jingyingxianjinliuliang()) bits |= MaskBit(23);
  if (data.has_touzixianjinliuliang()) bits |= MaskBit(24);
  if (data.has_chouzixianjinliuliang()) bits |= MaskBit(25);
  if (data.has_xianjinzengjiae()) bits |= MaskBit(26);
  if (data.has_zhuyingshouru()) bits |= MaskBit(27);
  if (data.has_zhuyinglirun()) bits |= MaskBit(28);
  if (data.has_yingyelirun()) bits |= MaskBit(29);
  if (data.has_touzishouyi()) bits |= MaskBit(30);
  if (data.has_yingyewaishouzhi()) bits |= MaskBit(31);
  if (data.has_lirunzonge()) bits |= MaskBit(32);
  if (data.has_jinglirun()) bits |= MaskBit(33);
  if (data.has_weifenpeilirun()) bits |= MaskBit(34);
  if (data.has_zongguben()) bits |= MaskBit(35);
  if (data.has_wuxianshougufenheji()) bits |= MaskBit(36);
  if (data.has_agu()) bits |= MaskBit(37);
  if (data.has_bgu()) bits |= MaskBit(38);
  if (data.has_jingwaishangshiwaizigu()) bits |= MaskBit(39);
  if (data.has_qitaliutonggufen()) bits |= MaskBit(40);
  if (data.has_xianshougufenheji()) bits |= MaskBit(41);
  if (data.has_guojiachigu()) bits |= MaskBit(42);
  if (data.has_guoyoufarenchigu()) bits |= MaskBit(43);
  if (data.has_jingneifarenchigu()) bits |= MaskBit(44);
  if (data.has_jingneiziranrenchigu()) bits |= MaskBit(45);
  if (data.has_qitafaqirengufen()) bits |= MaskBit(46);
  if (data.has_mujifarengufen()) bits |= MaskBit(47);
  if (data.has_jingwaifarenchigu()) bits |= MaskBit(48);
  if (data.has_jingwaiziranrenchigu()) bits |= MaskBit(49);
  if (data.has_youxianguhuoqita()) bits |= MaskBit(50);
  if (data.has_huilv()) bits |= MaskBit(51);
  if (data.has_ganggubaogaoqi()) bits |= MaskBit(52);
  return bits;
}

}  // namespace

void* tes2table::ParseBanKuaiFenLeiFanHui(const tessel::MSG& message) {
  const auto& elements = message.repdatabankuaifenleifanhui();
  if (elements.empty()) return NoDataTable(kBlocksName);
  const tessel::BanKuaiFenLeiFanHui& reply = elements[0];
  void* root = table_create("BanBen:i;Crc32:I;LeiXing:i;Data:t;", 1, kBlocksName);
  SetPackedIntRounded(root, 0, 0, reply.banben());
  SetPackedUintRounded(root, 0, 1, reply.crc32());
  SetPackedIntRounded(root, 0, 2, reply.leixing());
  const auto& classes = reply.data();
  void* table = AttachData(root, 3, classes.size(), reply.has_leixing(),
                           "MingCheng:s;LeiXing:i;XuHao:i;Data:t;", kBlocksName);
  for (int i = 0; i < classes.size(); ++i) {
    const tessel::FenLeiShuJu& block_class = classes[i];
    SetRawText(table, i, 0, block_class.mingcheng());
    SetPackedIntRounded(table, i, 1, block_class.leixing());
    SetPackedIntRounded(table, i, 2, block_class.xuhao());
    void* blocks =
        table_create("MingCheng:s;LeiXing:i;XuHao:i;Data:t;", block_class.data_size(), kBlocksName);
    table_set_table_raw(table, i, 3, blocks);
    FillBlocks(blocks, block_class);
  }
  return root;
}

void* tes2table::ParseCaiWuShuJuFanHui(const tessel::MSG& message) {
  const auto& elements = message.repdatacaiwushujufanhui();
  if (elements.empty()) return NoDataTable(kFinanceName);
  const tessel::CaiWuShuJuFanHui& reply = elements[0];
  // The checksum stands before the version here and in the ex-rights events, unlike in the block tree.
  void* root = table_create("Crc32:I;BanBen:i;LeiXing:i;ShiChang:i;Data:t;", 1, kFinanceName);
  SetPackedUintRounded(root, 0, 0, reply.crc32());
  SetPackedIntRounded(root, 0, 1, reply.banben());
  SetPackedIntRounded(root, 0, 2, reply.leixing());
  SetPackedIntRounded(root, 0, 3, reply.shichang());
  const auto& stocks = reply.data();
  void* table = AttachData(root, 4, stocks.size(), reply.has_leixing(),
                           "DaiMa:s;LeiXing:i;Data:53q;HasBits:q", kFinanceName);
  for (int i = 0; i < stocks.size(); ++i) {
    const tessel::GuPiaoCaiWuShuJu& stock = stocks[i];
    SetRawText(table, i, 0, stock.daima());
    SetPackedIntRounded(table, i, 1, stock.leixing());
    if (!stock.has_data()) continue;  // figures and mask both stay unset
    SetFigures(table, i, 2, stock.data());
    table_set_int64(table, i, 3, FigureBits(stock.data()));
  }
  return root;
}

void* tes2table::ParseChuQuanShuJuFanHui(const tessel::MSG& message) {
  const auto& elements = message.repdatachuquanshujufanhui();
  if (elements.empty()) return NoDataTable(kRightsName);
  const tessel::ChuQuanShuJuFanHui& reply = elements[0];
  void* root = table_create("Crc32:I;BanBen:i;LeiXing:i;ShiChang:i;Data:t;", 1, kRightsName);
  SetPackedUintRounded(root, 0, 0, reply.crc32());
  SetPackedIntRounded(root, 0, 1, reply.banben());
  SetPackedIntRounded(root, 0, 2, reply.leixing());
  SetPackedIntRounded(root, 0, 3, reply.shichang());
  const auto& stocks = reply.data();
  void* table =
      AttachData(root, 4, stocks.size(), reply.has_leixing(), "DaiMa:s;LeiXing:i;Data:t;", kRightsName);
  for (int i = 0; i < stocks.size(); ++i) {
    const tessel::GuPiaoChuQuanShuJu& stock = stocks[i];
    SetRawText(table, i, 0, stock.daima());
    SetPackedIntRounded(table, i, 1, stock.leixing());
    const int n = stock.data_size();
    void* events = table_create(
        "ShiJian:q;MeiGuSongGu:q;MeiGuPeiGu:q;PeiGuJiaGe:q;MeiGuHongLi:q;QuanYiTiShi:s;LeiXing:i;HasBits:q",
        n, kRightsName);
    table_set_table_raw(table, i, 2, events);
    for (int j = 0; j < n; ++j)
      FillEvent(events, j, stock.data(j));
  }
  return root;
}
