// What the page itself says, in two languages.

export type Language = "en" | "zh";

const words = {
  replies: ["Replies", "回复"],
  report: ["Report", "报告"],
  findReply: ["Find a reply", "查找回复"],
  bytes: ["bytes", "字节"],
  rows: ["rows", "行"],
  row: ["row", "行"],
  columns: ["columns", "列"],
  column: ["column", "列"],
  reply: ["reply", "第"],
  noReplies: ["There are no replies in this report.", "此报告中没有回复。"],
  notShown: ["Could not be shown", "无法显示"],
  leftOut: ["Its data are left out: the report was full.", "其数据未收入:报告已满。"],
  leftOutSome: ["Left out of this report: the data of", "此报告未收入以下回复的数据:"],
  takesAtMost: ["A report takes at most", "报告上限为"],
  full: ["It ends here, what followed was not read: a report takes at most", "报告到此为止,其后内容未读取:报告上限为"],
  filter: ["Filter rows by text", "按文本筛选行"],
  clear: ["Clear filters", "清除筛选"],
  copy: ["Copy", "复制"],
  copied: ["Copied", "已复制"],
  showColumns: ["Columns", "列"],
  showAll: ["Show all", "全部显示"],
  showNone: ["Hide all but the first", "仅显示首列"],
  of: ["of", "/"],
  working: ["working", "处理中"],
  ascending: ["Sort ascending", "升序"],
  descending: ["Sort descending", "降序"],
  unsorted: ["As received", "原始顺序"],
  hide: ["Hide column", "隐藏此列"],
  least: ["From", "从"],
  most: ["To", "到"],
  contains: ["Contains", "包含"],
  state: ["Cells", "单元格"],
  any: ["all", "全部"],
  onlySet: ["only set", "仅有值"],
  onlyUnset: ["only unset", "仅未设置"],
  apply: ["Apply", "应用"],
  remove: ["Remove filter", "移除筛选"],
  unset: ["unset", "未设置"],
  empty: ["empty", "空"],
  emptyText: ["empty text", "空文本"],
  name: ["Name", "字段名"],
  meaning: ["Meaning", "含义"],
  unit: ["Unit", "单位"],
  kind: ["Kind", "类型"],
  source: ["Source", "来源"],
  made: ["Made", "生成方式"],
  whenUnset: ["Unset when", "未设置条件"],
  value: ["Value", "值"],
  open: ["Open table", "打开表"],
  table: ["Table", "表格"],
  tree: ["Tree", "树"],
  chart: ["Chart", "图"],
  chartOn: ["Chart", "图表"],
  candles: ["Candlesticks", "K线"],
  lines: ["Lines", "折线"],
  bars: ["Bars", "柱状"],
  counts: ["Counts", "家数分布"],
  overlay: ["Lay over each other", "叠加"],
  instrument: ["Instruments", "品种"],
  moreInstruments: ["More", "更多"],
  chosenColumns: ["Columns of the chart", "图表列"],
  redUp: ["Red up", "红涨绿跌"],
  greenUp: ["Green up", "绿涨红跌"],
  colours: ["Colours of rise and fall", "涨跌颜色"],
  language: ["Language", "语言"],
  about: ["About", "关于"],
  close: ["Close", "关闭"],
  more: ["more", "更多"],
  bySchema: [
    "This table is by the schema alone: 64-bit numbers of market data are taken for packed decimals. The tree has them as they came.",
    "此表仅按协议定义生成:行情类 64 位整数按压缩小数解读,树中为原始值。",
  ],
  asJson: ["Shown as JSON", "以 JSON 显示"],
  firstOf: ["first", "前"],
  rowOf: ["Row", "行"],
  part: ["Rows", "行"],
  before: ["Before", "上一段"],
  next: ["Next", "下一段"],
  zoomIn: ["Zoom in", "放大"],
  zoomOut: ["Zoom out", "缩小"],
  wholeChart: ["Whole", "全部"],
  chartKeys: [
    "Arrow keys move the crosshair, plus and minus zoom, Home and End go to the ends, Escape leaves.",
    "方向键移动十字光标,加减号缩放,Home 与 End 到两端,Esc 退出。",
  ],
  chartBy: ["Charts by TradingView Lightweight Charts™", "图表由 TradingView Lightweight Charts™ 提供"],
  aboutText: [
    "This page is one file. It needs no server and fetches nothing; a policy inside it forbids any request. The data are in it as Arrow columns.",
    "本页面为单一文件,不需要服务器,不发出任何请求(页面内的策略禁止请求)。数据以 Arrow 列格式内嵌。",
  ],
  bundled: ["What is bundled in it, and under which licence:", "内含的第三方软件及许可:"],
  keys: ["Keys", "按键"],
  keysText: [
    "In the table: arrows, Page Up and Down, Home and End move; Shift selects; Enter sorts by a heading or opens a nested table or a long value; Ctrl+C copies; Backspace goes back; M opens the menu of a column; / goes to the filter.",
    "表格内:方向键、翻页键、Home、End 移动;Shift 选择;Enter 排序、打开子表或长值;Ctrl+C 复制;Backspace 返回;M 打开列菜单;/ 转到筛选。",
  ],
  selected: ["selected", "已选"],
  wide: ["List of replies", "回复列表"],
} as const;

let language: Language = "en";

export function setLanguage(to: Language): void {
  language = to;
  document.documentElement.lang = to === "zh" ? "zh-CN" : "en";
}

export function currentLanguage(): Language {
  return language;
}

export function t(word: keyof typeof words): string {
  return words[word][language === "zh" ? 1 : 0];
}

// The one of two texts that the language asks for; the other where it is missing.
export function either(english: string | undefined, chinese: string | undefined): string {
  return (language === "zh" ? chinese || english : english || chinese) ?? "";
}
