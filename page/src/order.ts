// Which rows a grid shows, in which order.
//
// Filtering is done in slices between which the browser can draw and scroll; a later call ends an earlier one.
import { cellText } from "./format";
import type { Column, Table } from "./table";

export interface ColumnFilter {
  least?: number;
  most?: number;
  text?: string;
  state?: "set" | "unset";
}

export interface Sorting {
  column: number;
  down: boolean;
}

export interface View {
  text: string;
  filters: Map<number, ColumnFilter>;
  sorting: Sorting | null;
}

const slice = 12; // milliseconds

function passes(column: Column, row: number, filter: ColumnFilter): boolean {
  const set = column.isSet(row);
  if (filter.state === "set" && !set) return false;
  if (filter.state === "unset" && set) return false;
  if (filter.least !== undefined || filter.most !== undefined) {
    const value = column.numbers()[row];
    if (!(value >= (filter.least ?? -Infinity) && value <= (filter.most ?? Infinity))) return false;
  }
  return !filter.text || textOf(column, row).includes(filter.text);
}

// What a filter by text looks at: the cell as it is shown and as it is.
export function textOf(column: Column, row: number): string {
  const value = column.get(row);
  if (value === null) return "";
  if (typeof value === "string") return value.toLowerCase();
  const shown = cellText(column, row, value, 0);
  return (typeof value === "number" || typeof value === "bigint" ? `${shown} ${value}` : shown).toLowerCase();
}

function rest(): Promise<void> {
  return new Promise((resolve) => setTimeout(resolve, 0));
}

export async function matching(table: Table, view: View, cancelled: () => boolean): Promise<Int32Array | null> {
  const text = view.text.trim().toLowerCase();
  const filters = [...view.filters].map(([index, filter]) => [table.columns[index], filter] as const);
  const columns = table.columns.filter((column) => column.shape !== "table" && column.shape !== "nothing");
  const rows = new Int32Array(table.rows);
  let count = 0;
  let until = performance.now() + slice;
  for (let row = 0; row < table.rows; ++row) {
    if ((row & 63) === 0 && performance.now() > until) {
      await rest();
      if (cancelled()) return null;
      until = performance.now() + slice;
    }
    if (!filters.every(([column, filter]) => passes(column, row, filter))) continue;
    if (text !== "" && !columns.some((column) => textOf(column, row).includes(text))) continue;
    rows[count++] = row;
  }
  return rows.subarray(0, count);
}

// Stable; unset cells are last either way.
export function sorted(table: Table, rows: Int32Array, sorting: Sorting): Int32Array {
  const column = table.columns[sorting.column];
  const sign = sorting.down ? -1 : 1;
  if (column.shape === "number") {
    const keys = column.numbers();
    const exact = column.whole ? (row: number) => column.get(row) as bigint | number : null;
    const set = rows.filter((row) => column.isSet(row));
    set.sort((a, b) => {
      const by = keys[a] - keys[b];
      if (by !== 0 && by === by) return sign * by;
      // NaN goes behind numbers; integers that doubles cannot tell apart are compared as they are.
      if (by !== by && (keys[a] !== keys[a]) !== (keys[b] !== keys[b])) return keys[a] !== keys[a] ? 1 : -1;
      if (exact) {
        const x = exact(a);
        const y = exact(b);
        if (x !== y) return sign * (x < y ? -1 : 1);
      }
      return a - b;
    });
    return joined(set, rows.filter((row) => !column.isSet(row)));
  }
  const keys = new Map<number, string | number>();
  for (const row of rows) {
    const value = column.get(row);
    if (value === null) continue;
    keys.set(row, column.shape === "table" ? (value as { length: number }).length : typeof value === "string" ? value : cellText(column, row, value, 0));
  }
  const collator = new Intl.Collator("zh-Hans-CN", { numeric: column.shape !== "bytes" });
  const set = rows.filter((row) => keys.has(row));
  set.sort((a, b) => {
    const x = keys.get(a)!;
    const y = keys.get(b)!;
    const by = typeof x === "number" ? x - (y as number) : collator.compare(x, y as string);
    return by === 0 ? a - b : sign * by;
  });
  return joined(set, rows.filter((row) => !keys.has(row)));
}

function joined(first: Int32Array, second: Int32Array): Int32Array {
  const all = new Int32Array(first.length + second.length);
  all.set(first);
  all.set(second, first.length);
  return all;
}
