// What of a table can be drawn, found by the names and descriptions of its columns.
import type { Column, Table } from "./table";

export type PictureKind = "candles" | "counts" | "lines" | "bars";

// A table that is drawn by its times, one of several that may be laid over each other.
export interface Source {
  label: string;
  table: Table;
}

export interface Candles {
  time: Column;
  open: Column;
  high: Column;
  low: Column;
  close: Column;
  volume?: Column;
}

export interface Lines {
  time: Column;
  values: Column[];
}

export interface Bars {
  label: (row: number) => string;
  rows: number;
  values: { name: string; column: Column; at: (row: number) => number }[];
}

export interface Pictures {
  kinds: PictureKind[];
  sources: Source[];
  chosen: number; // the source that is drawn first
  bars: Bars | null;
}

const names = {
  open: /^(KaiPanJia|KaiPan|Open(Price)?)$/i,
  high: /^(ZuiGaoJia|ZuiGao|High(Price)?)$/i,
  low: /^(ZuiDiJia|ZuiDi|Low(Price)?)$/i,
  close: /^(ShouPanJia|ShouPan|Close(Price)?)$/i,
  volume: /^(ChengJiaoLiang|Vol(ume)?)$/i,
};
const headings = { open: "Open", high: "High", low: "Low", close: "Close", volume: "Volume" };

const mostSources = 500;

function find(table: Table, part: keyof typeof names): Column | undefined {
  const numbers = table.columns.filter((column) => column.shape === "number");
  return numbers.find((column) => names[part].test(column.name)) ?? numbers.find((column) => column.told?.english === headings[part]);
}

export function timeOf(table: Table): Column | undefined {
  const times = table.columns.filter((column) => column.times.length > 0);
  return times.find((column) => /^(ShiJian|RiQi|Time|Date)$/i.test(column.name)) ?? times[0];
}

export function candlesOf(table: Table): Candles | null {
  const time = timeOf(table);
  const [open, high, low, close] = (["open", "high", "low", "close"] as const).map((part) => find(table, part));
  return time && open && high && low && close ? { time, open, high, low, close, volume: find(table, "volume") } : null;
}

function measures(table: Table): Column[] {
  return table.columns.filter((column) => column.measures);
}

export function linesOf(table: Table): Lines | null {
  const time = timeOf(table);
  const values = measures(table).filter((column) => column !== time);
  return time && values.length > 0 ? { time, values } : null;
}

// Where nobody chose: a price if there is one, otherwise the first that changes.
export function firstValues(lines: Lines): Column[] {
  const price = lines.values.find((column) => /^(ZuiXinJia|ChengJiaoJia|ShouPanJia|JiaGe|Price)$/i.test(column.name));
  if (price) return [price];
  const changing = lines.values.filter((column) => new Set(column.sample(30)).size > 1);
  const first = changing[0] ?? lines.values[0];
  const alike = changing.filter((column) => first.unit() !== "" && column.unit() === first.unit());
  return alike.length > 1 ? alike.slice(0, 2) : [first];
}

// Which way a count of instruments goes: 1 for those that rise, -1 for those that fall, 0 for those that do neither.
export function directionOf(column: Column): number | null {
  const count = column.unit() === "count" || /JiaShu$/.test(column.name);
  if (!count || column.shape !== "number") return null;
  if (/XiaDie|DieTing|DieFu/.test(column.name)) return -1;
  if (/PingPan/.test(column.name)) return 0;
  return /ShangZhang|ZhangTing|ZhangFu/.test(column.name) ? 1 : null;
}

export function countsOf(table: Table): Column[] {
  const columns = table.columns.filter((column) => directionOf(column) !== null);
  const both = columns.some((column) => directionOf(column) === 1) && columns.some((column) => directionOf(column) === -1);
  return both && columns.length >= 4 ? columns : [];
}

function drawable(table: Table): boolean {
  return table.rows > 1 && linesOf(table) !== null;
}

function sourcesIn(table: Table, column: Column): { rows: number[]; sources: Source[] } {
  const rows: number[] = [];
  const sources: Source[] = [];
  for (let row = 0; row < table.rows && sources.length < mostSources; ++row) {
    const child = table.child(row, column);
    if (!child || !drawable(child)) continue;
    rows.push(row);
    sources.push({ label: table.label(row), table: child });
  }
  return { rows, sources };
}

// A row for each one, its own numbers or those of the single row inside it.
function barsOf(table: Table): Bars | null {
  if (table.rows < 2) return null;
  const values: Bars["values"] = measures(table).map((column) => ({ name: column.name, column, at: (row) => column.number(row) }));
  for (const outer of table.columns.filter((column) => column.shape === "table")) {
    const children = Array.from({ length: Math.min(table.rows, mostSources) }, (_, row) => table.child(row, outer));
    if (!children.every((child) => child === null || child.rows === 1)) continue;
    const first = children.find((child) => child !== null);
    for (const column of first ? measures(first) : []) {
      values.push({ name: column.name, column, at: (row) => children[row]?.columns[column.index].number(0) ?? NaN });
    }
  }
  return values.length === 0 || !table.labelColumn() ? null : { label: (row) => table.label(row), rows: table.rows, values };
}

// `around` is the table that this one is in, with the cell.
export function picturesOf(table: Table, title: string, around: { table: Table; row: number; column: Column } | null): Pictures {
  const pictures: Pictures = { kinds: [], sources: [], chosen: 0, bars: null };
  if (drawable(table)) {
    pictures.sources = [{ label: around ? around.table.label(around.row) : title, table }];
    if (around) {
      const { rows, sources } = sourcesIn(around.table, around.column);
      const at = rows.indexOf(around.row);
      if (at >= 0) {
        sources[at] = { label: sources[at].label, table };
        pictures.sources = sources;
        pictures.chosen = at;
      }
    }
  } else {
    for (const column of table.columns.filter((each) => each.shape === "table")) {
      const { sources } = sourcesIn(table, column);
      if (sources.length === 0) continue;
      pictures.sources = sources;
      break;
    }
    pictures.bars = barsOf(table);
  }
  const first = pictures.sources[pictures.chosen]?.table;
  if (first && candlesOf(first)) pictures.kinds.push("candles");
  if (countsOf(first ?? table).length > 0) pictures.kinds.push("counts");
  if (first) pictures.kinds.push("lines");
  if (pictures.bars) pictures.kinds.push("bars");
  return pictures;
}
