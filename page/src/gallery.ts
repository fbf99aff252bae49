// The pictures of a table, with what one chooses in them.
import { BarChart } from "./bars";
import type { Bar } from "./bars";
import { h, visible, visibleText } from "./dom";
import { heading, isChange } from "./grid";
import { countsOf, directionOf, firstValues, linesOf, picturesOf, timeOf } from "./picture";
import type { PictureKind, Pictures } from "./picture";
import { chartNotice } from "./popups";
import { TimeChart } from "./series";
import type { Column, Table } from "./table";
import { t } from "./words";

const mostButtons = 10;

// What was chosen, kept for tables of one kind.
export interface Choice {
  kind?: PictureKind;
  columns?: string[];
  bar?: string;
}

export class Gallery {
  readonly element = h("section", { class: "gallery", "aria-label": t("chart") });
  private readonly bar = h("div", { class: "tools", role: "toolbar", "aria-label": t("chart") });
  private readonly host = h("div", { class: "host" });
  private readonly pictures: Pictures;
  private drawn: TimeChart | BarChart | null = null;
  private chosen: number[];
  private overlay = false;
  private offered: number[];
  private row: number; // of the counts

  constructor(
    private readonly table: Table,
    title: string,
    around: { table: Table; row: number; column: Column } | null,
    private readonly choice: Choice,
    private readonly pick: (table: Table, row: number) => void,
  ) {
    this.pictures = picturesOf(table, title, around);
    this.chosen = [this.pictures.chosen];
    this.offered = this.pictures.sources.map((_, i) => i).slice(0, mostButtons);
    if (!this.offered.includes(this.pictures.chosen) && this.pictures.sources.length > 0) this.offered[mostButtons - 1] = this.pictures.chosen;
    this.row = this.countTable().rows - 1;
    this.element.append(this.bar, this.host, h("p", { class: "credit" }, t("chartBy").split("TradingView")[0], chartNotice()));
  }

  get any(): boolean {
    return this.pictures.kinds.length > 0;
  }

  remove(): void {
    this.drawn?.remove();
    this.element.remove();
  }

  private kind(): PictureKind {
    return this.choice.kind && this.pictures.kinds.includes(this.choice.kind) ? this.choice.kind : this.pictures.kinds[0];
  }

  private countTable(): Table {
    return this.pictures.sources[this.chosen[0]]?.table ?? this.table;
  }

  // Draws again, by what is chosen now and in the colours and words of now.
  show(): void {
    this.drawn?.remove();
    this.drawTools();
    const kind = this.kind();
    if (kind === "bars") this.drawn = this.ranking();
    else if (kind === "counts") this.drawn = this.counts();
    else this.drawn = this.overTime(kind);
    this.host.replaceChildren(this.drawn.element);
    if (this.drawn instanceof TimeChart) this.drawn.fit();
    performance.mark("tesview-drawn");
    this.element.classList.toggle("credited", this.drawn instanceof TimeChart);
  }

  private overTime(kind: "candles" | "lines"): TimeChart {
    const sources = this.chosen.map((i) => this.pictures.sources[i]);
    const label = `${t(kind)}: ${sources.map((source) => source.label).join(", ")}`;
    return new TimeChart({ kind, sources, columns: this.columnsChosen() }, label, (source, row) => this.pick(sources[source].table, row));
  }

  private columnsChosen(): string[] {
    const lines = linesOf(this.pictures.sources[this.chosen[0]].table)!;
    const known = (this.choice.columns ?? []).filter((name) => lines.values.some((column) => column.name === name));
    return known.length > 0 ? known : firstValues(lines).map((column) => column.name);
  }

  private ranking(): BarChart {
    const bars = this.pictures.bars!;
    const value = bars.values.find((each) => each.name === this.choice.bar) ?? this.firstBar();
    const list: Bar[] = [];
    for (let row = 0; row < Math.min(bars.rows, 2000); ++row) {
      const number = value.at(row);
      const tone = !isChange(value.column) ? "plain" : number > 0 ? "rise" : number < 0 ? "fall" : "level";
      list.push({ label: bars.label(row), value: number, tone, row });
    }
    return new BarChart(list, heading(value.column), `${t("bars")}: ${heading(value.column)}`, (row) => this.pick(this.table, row));
  }

  // A change in percent says most; otherwise the first column that has anything.
  private firstBar() {
    const values = this.pictures.bars!.values;
    return (
      values.find((each) => /^(ZhangFu|Value|ZhangDieFu)$/.test(each.name)) ??
      values.find((each) => Array.from({ length: Math.min(20, this.pictures.bars!.rows) }, (_, row) => each.at(row)).some((number) => number > 0 || number < 0)) ??
      values[0]
    );
  }

  private counts(): BarChart {
    const table = this.countTable();
    const row = Math.max(0, Math.min(this.row, table.rows - 1));
    const tones = { [-1]: "fall", 0: "level", 1: "rise" } as const;
    const bars = countsOf(table).map<Bar>((column) => ({
      label: heading(column),
      value: column.number(row),
      tone: tones[directionOf(column) as -1 | 0 | 1],
      row,
    }));
    const when = timeOf(table)?.moment(row)?.text ?? `${t("rowOf")} ${row}`;
    return new BarChart(bars, when, `${t("counts")}: ${when}`, () => this.pick(table, row));
  }

  // ---- what one chooses

  private button(label: string, on: boolean, click: () => void): HTMLElement {
    return h("button", { type: "button", class: "chip", "aria-pressed": String(on), click: () => (click(), this.show()) }, ...visible(label));
  }

  private drawTools(): void {
    const focused = this.bar.contains(document.activeElement) ? [...this.bar.querySelectorAll("button,select")].indexOf(document.activeElement as Element) : -1;
    const kind = this.kind();
    const kinds = h("div", { class: "group", role: "group", "aria-label": t("chart") });
    for (const each of this.pictures.kinds) kinds.append(this.button(t(each), each === kind, () => (this.choice.kind = each)));
    this.bar.replaceChildren(kinds);
    if (kind === "bars") this.bar.append(this.barColumns());
    else if (this.pictures.sources.length > 1) this.bar.append(this.instruments(kind));
    if (kind === "lines") this.bar.append(this.lineColumns());
    if (kind === "counts") this.bar.append(this.countRows());
    if (kind === "candles" || kind === "lines") this.bar.append(this.zooming());
    if (focused >= 0) this.bar.querySelectorAll<HTMLElement>("button,select")[focused]?.focus();
  }

  private instruments(kind: PictureKind): HTMLElement {
    const group = h("div", { class: "group", role: "group", "aria-label": t("instrument") });
    const many = this.overlay && kind !== "counts";
    const choose = (i: number) => {
      if (!many) this.chosen = [i];
      else if (!this.chosen.includes(i)) this.chosen.push(i);
      else if (this.chosen.length > 1) this.chosen = this.chosen.filter((each) => each !== i);
    };
    const shown = kind === "counts" ? this.chosen.slice(0, 1) : this.chosen;
    for (const i of this.offered) group.append(this.button(this.pictures.sources[i].label, shown.includes(i), () => choose(i)));
    if (this.pictures.sources.length > this.offered.length) {
      const more = h("select", {
        "aria-label": t("moreInstruments"),
        change: () => {
          const i = Number(more.value);
          this.offered[mostButtons - 1] = i;
          choose(i);
          this.show();
        },
      });
      more.append(h("option", { value: "" }, `${t("moreInstruments")} …`));
      this.pictures.sources.forEach((source, i) => {
        if (!this.offered.includes(i)) more.append(h("option", { value: i }, visibleText(source.label)));
      });
      group.append(more);
    }
    if (kind !== "counts") {
      group.append(
        this.button(t("overlay"), this.overlay, () => {
          this.overlay = !this.overlay;
          if (!this.overlay) this.chosen = this.chosen.slice(0, 1);
        }),
      );
    }
    return group;
  }

  private lineColumns(): HTMLElement {
    const lines = linesOf(this.pictures.sources[this.chosen[0]].table)!;
    const chosen = this.columnsChosen();
    const group = h("div", { class: "group columns", role: "group", "aria-label": t("chosenColumns") });
    for (const column of lines.values.slice(0, 60)) {
      group.append(
        this.button(heading(column), chosen.includes(column.name), () => {
          const next = chosen.includes(column.name) ? chosen.filter((name) => name !== column.name) : [...chosen, column.name];
          this.choice.columns = next.length > 0 ? next : chosen;
        }),
      );
    }
    return group;
  }

  private barColumns(): HTMLElement {
    const values = this.pictures.bars!.values;
    const chosen = values.find((each) => each.name === this.choice.bar) ?? this.firstBar();
    const group = h("div", { class: "group columns", role: "group", "aria-label": t("chosenColumns") });
    for (const each of values.slice(0, 60)) group.append(this.button(heading(each.column), each === chosen, () => (this.choice.bar = each.name)));
    return group;
  }

  private countRows(): HTMLElement {
    const table = this.countTable();
    const input = h("input", {
      type: "range",
      min: 0,
      max: table.rows - 1,
      value: Math.min(this.row, table.rows - 1),
      "aria-label": t("rowOf"),
      input: () => {
        this.row = Number(input.value);
        this.drawn?.remove();
        this.drawn = this.counts();
        this.host.replaceChildren(this.drawn.element);
      },
    });
    return h("div", { class: "group" }, table.rows > 1 ? input : null);
  }

  private zooming(): HTMLElement {
    const chart = () => this.drawn as TimeChart;
    const button = (text: string, label: string, click: () => void) => h("button", { type: "button", class: "chip", "aria-label": label, title: label, click }, text);
    return h(
      "div",
      { class: "group zoom", role: "group" },
      button("+", t("zoomIn"), () => chart().zoom(0.7)),
      button("−", t("zoomOut"), () => chart().zoom(1 / 0.7)),
      button("↔", t("wholeChart"), () => chart().whole()),
    );
  }
}
