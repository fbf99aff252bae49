// What is said of a cell or a column: under the pointer, and in the line below the grid.
import { h, visible } from "./dom";
import { exactText } from "./format";
import type { Column } from "./table";
import { either, t } from "./words";

const delay = 250; // milliseconds

let tip: HTMLElement | null = null;
let waiting = 0;

type Fact = [name: string, value: string];

export function factsOf(column: Column, row: number | null): Fact[] {
  const facts: Fact[] = [];
  const told = column.told;
  const add = (name: string, value: string | undefined) => value && facts.push([name, value]);
  if (row !== null) {
    const value = column.get(row);
    if (value === null) add(t("value"), t("unset"));
    else if (value === "") add(t("value"), t("emptyText"));
    else if (column.shape !== "table") {
      const exact = exactText(column, value);
      add(t("value"), exact.length > 400 ? `${exact.slice(0, 400)}…` : exact);
    }
  }
  add(t("name"), column.name);
  add(t("meaning"), told?.meaning);
  add(t("unit"), told?.unit);
  add(t("kind"), told?.kind || (column.timesGuessed ? `${column.times[0]} ?` : ""));
  add(t("source"), told?.source);
  add(t("made"), told?.made);
  add(t("whenUnset"), told?.unset);
  return facts;
}

export function showTip(at: HTMLElement, column: Column, row: number | null): void {
  hideTip();
  waiting = window.setTimeout(() => {
    if (!at.isConnected) return;
    const list = h("dl", {});
    for (const [name, value] of factsOf(column, row)) list.append(h("dt", {}, name), h("dd", {}, ...visible(value)));
    tip = h(
      "div",
      { class: "tip", role: "tooltip" },
      h("p", {}, ...visible(either(column.told?.english, column.told?.chinese) || column.name), " ", h("span", {}, ...visible(either(column.told?.chinese, column.told?.english)))),
      list,
    );
    document.body.append(tip);
    const cell = at.getBoundingClientRect();
    const size = tip.getBoundingClientRect();
    const below = cell.bottom + 6 + size.height < innerHeight;
    tip.style.left = `${Math.max(8, Math.min(cell.left, innerWidth - size.width - 8))}px`;
    tip.style.top = `${Math.max(8, below ? cell.bottom + 6 : cell.top - size.height - 6)}px`;
    tip.classList.add("shown");
  }, delay);
}

export function hideTip(): void {
  clearTimeout(waiting);
  tip?.remove();
  tip = null;
}
