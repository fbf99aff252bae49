// Candlesticks and lines over time.
import {
  CandlestickSeries,
  ColorType,
  CrosshairMode,
  HistogramSeries,
  LineSeries,
  PriceScaleMode,
  createChart,
} from "lightweight-charts";
import type { IChartApi, ISeriesApi, Logical, LogicalRange, MouseEventParams, SeriesType, Time, UTCTimestamp } from "lightweight-charts";
import { h, visible } from "./dom";
import { grouped, placesOf, plainNumber } from "./format";
import { heading } from "./grid";
import { candlesOf, linesOf } from "./picture";
import type { Source } from "./picture";
import type { Column, Table } from "./table";
import { either, t } from "./words";

export interface Wanted {
  kind: "candles" | "lines";
  sources: Source[];
  columns: string[]; // of lines
}

interface Part {
  label: string;
  color: string | null; // null where rise and fall colour it
  value: (row: number) => string;
  rows: Map<number, number>; // from a time to the row
}

interface Placed {
  time: UTCTimestamp;
  row: number;
}

// The rows by their times, each with a time of its own: those of one second are told apart by fractions of it.
function placed(table: Table, time: Column): Placed[] {
  const all: { seconds: number; row: number }[] = [];
  for (let row = 0; row < table.rows; ++row) {
    const moment = time.moment(row);
    if (moment) all.push({ seconds: moment.seconds, row });
  }
  all.sort((a, b) => a.seconds - b.seconds || a.row - b.row);
  const result: Placed[] = [];
  for (let i = 0; i < all.length; ) {
    let end = i;
    while (end < all.length && all[end].seconds === all[i].seconds) ++end;
    for (let k = i; k < end; ++k) {
      result.push({ time: (all[i].seconds + (k - i) / (end - i)) as UTCTimestamp, row: all[k].row });
    }
    i = end;
  }
  return result;
}

function css(name: string): string {
  return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

export function lineColor(index: number): string {
  return css(`--line-${index % 6}`);
}

function formatOf(column: Column) {
  const places = column.whole ? 0 : placesOf(column);
  return { type: "price" as const, precision: places, minMove: 10 ** -places };
}

function shown(column: Column, row: number): string {
  const value = column.get(row);
  return typeof value === "number" || typeof value === "bigint" ? grouped(plainNumber(value, column.single)) : "·";
}

export class TimeChart {
  readonly element: HTMLElement;
  private readonly canvas = h("div", { class: "canvas" });
  private readonly legend = h("div", { class: "legend", "aria-live": "polite", "aria-atomic": "true" });
  private readonly chart: IChartApi;
  private readonly parts: Part[] = [];
  private readonly main: { source: number; series: ISeriesApi<SeriesType>; price: (row: number) => number; rows: Map<number, number> }[] = [];
  private readonly clocks: { rows: Map<number, number>; column: Column }[] = []; // what tells the times
  private readonly times: number[];
  private at = -1;
  private byKeys = false; // the keys put the crosshair where it is
  private ahead: LogicalRange | null = null; // what the chart shows from its next frame on
  private readonly watch = new ResizeObserver(() => this.resize());

  constructor(
    private readonly wanted: Wanted,
    label: string,
    private readonly pick: (source: number, row: number) => void,
  ) {
    this.element = h(
      "div",
      { class: "picture", tabindex: 0, role: "application", "aria-label": `${label}. ${t("chartKeys")}`, "data-kind": wanted.kind },
      this.canvas,
      this.legend,
    );
    this.chart = createChart(this.canvas, this.options());
    if (wanted.kind === "candles") this.addCandles();
    else this.addLines();
    this.times = Float64Array.from(new Set(this.clocks.flatMap(({ rows }) => [...rows.keys()]))).sort() as unknown as number[];
    this.chart.timeScale().applyOptions({ timeVisible: this.clocks.some(({ rows, column }) => column.moment([...rows.values()][0])?.hasClock) });
    this.chart.subscribeCrosshairMove((event) => this.moved(event));
    this.chart.subscribeClick((event) => this.clicked(event));
    this.element.addEventListener("keydown", (event) => this.key(event));
    this.element.addEventListener("blur", () => this.leave());
    this.say(this.times[this.times.length - 1]);
  }

  remove(): void {
    this.watch.disconnect();
    this.byKeys = false;
    // An element with the focus loses it here and has the chart drawn once more, which must still be there.
    this.element.remove();
    this.chart.remove();
  }

  // All of it, or the end where a bar would be thinner than a pixel or two.
  fit(): void {
    this.resize();
    this.watch.observe(this.canvas);
    const room = this.canvas.clientWidth - 70;
    const most = Math.max(50, Math.floor(room / 2));
    if (this.times.length <= most) this.whole();
    else this.show(this.times.length - most, this.times.length + 2);
  }

  private resize(): void {
    const { clientWidth, clientHeight } = this.canvas;
    if (clientWidth > 0 && clientHeight > 0) this.chart.resize(clientWidth, clientHeight, true);
  }

  whole(): void {
    this.chart.timeScale().fitContent();
    this.expect(0, this.times.length); // a bar's room at the right
  }

  zoom(factor: number): void {
    const range = this.range();
    if (!range) return;
    const middle = this.at >= 0 ? this.at : (range.from + range.to) / 2;
    this.show(middle + (range.from - middle) * factor, middle + (range.to - middle) * factor);
  }

  // The chart takes a range with its next frame. Keys come faster than frames where a browser is busy, and each of them
  // goes on from the one before.
  private range(): LogicalRange | null {
    return this.ahead ?? this.chart.timeScale().getVisibleLogicalRange();
  }

  private show(from: number, to: number): void {
    this.chart.timeScale().setVisibleLogicalRange({ from, to });
    this.expect(from, to);
  }

  private expect(from: number, to: number): void {
    this.ahead = { from: from as Logical, to: to as Logical };
    // Behind the chart's own. A crosshair of the keys stays on its bar.
    requestAnimationFrame(() => {
      this.ahead = null;
      if (this.byKeys) this.cross();
    });
  }

  private options() {
    const line = css("--line");
    return {
      layout: {
        background: { type: ColorType.Solid, color: css("--panel") },
        textColor: css("--dim"),
        fontFamily: css("--font"),
        fontSize: 11,
        attributionLogo: false, // named below the picture
        panes: { separatorColor: line, separatorHoverColor: line },
      },
      grid: { vertLines: { color: css("--faint") }, horzLines: { color: css("--faint") } },
      crosshair: { mode: CrosshairMode.Magnet },
      rightPriceScale: { borderColor: line },
      timeScale: { borderColor: line, minBarSpacing: 0.02, rightOffset: 1 },
      localization: { timeFormatter: (time: Time) => this.textOf(time as number) },
    };
  }

  private textOf(time: number): string {
    const clock = this.clocks.find(({ rows }) => rows.has(time));
    return clock?.column.moment(clock.rows.get(time)!)?.text ?? "";
  }

  private place(table: Table, time: Column): { places: Placed[]; rows: Map<number, number> } {
    const places = placed(table, time);
    const rows = new Map<number, number>();
    for (const { time: at, row } of places) rows.set(at, row);
    this.clocks.push({ rows, column: time });
    return { places, rows };
  }

  private addCandles(): void {
    const [rise, fall] = [css("--rise"), css("--fall")];
    this.wanted.sources.forEach((source, index) => {
      const candles = candlesOf(source.table)!; // all of them have the columns of the first
      const { places, rows } = this.place(source.table, candles.time);
      const [open, high, low, close] = [candles.open, candles.high, candles.low, candles.close].map((column) => column.numbers());
      const whole = places.filter(({ row }) => Number.isFinite(open[row] + high[row] + low[row] + close[row]));
      const value = (row: number) =>
        [["O", candles.open], ["H", candles.high], ["L", candles.low], ["C", candles.close]]
          .map(([letter, column]) => `${either(letter as string, { O: "开", H: "高", L: "低", C: "收" }[letter as "O"])} ${shown(column as Column, row)}`)
          .join("  ") + (candles.volume ? `  ${either("V", "量")} ${shown(candles.volume, row)}` : "");
      if (index === 0) {
        const series = this.chart.addSeries(CandlestickSeries, {
          upColor: rise,
          downColor: fall,
          wickUpColor: rise,
          wickDownColor: fall,
          borderVisible: false,
          priceFormat: formatOf(candles.close),
        });
        series.setData(whole.map(({ time, row }) => ({ time, open: open[row], high: high[row], low: low[row], close: close[row] })));
        this.parts.push({ label: source.label, color: null, rows, value });
        this.main.push({ source: index, series, price: (row) => close[row], rows });
        if (candles.volume && this.wanted.sources.length === 1) this.addVolume(candles.volume, whole, open, close);
      } else {
        const color = lineColor(index);
        const series = this.chart.addSeries(LineSeries, { color, lineWidth: 2, priceFormat: formatOf(candles.close), priceLineVisible: false });
        series.setData(whole.map(({ time, row }) => ({ time, value: close[row] })));
        this.parts.push({ label: source.label, color, rows, value });
        this.main.push({ source: index, series, price: (row) => close[row], rows });
      }
    });
    this.compare();
  }

  // Instruments over each other are compared by how far they have come, where that can be said of all of them.
  private compare(): void {
    const fits = this.main.every(({ price, rows }) => price([...rows.values()][0]) > 0);
    if (this.wanted.sources.length < 2 || !fits) return;
    this.chart.panes().forEach((_, pane) => this.chart.priceScale("right", pane).applyOptions({ mode: PriceScaleMode.Percentage }));
  }

  private addVolume(volume: Column, places: Placed[], open: Float64Array, close: Float64Array): void {
    const [rise, fall] = [css("--rise-soft"), css("--fall-soft")];
    const series = this.chart.addSeries(HistogramSeries, { priceFormat: { type: "volume" }, priceLineVisible: false, lastValueVisible: false }, 1);
    const values = volume.numbers();
    series.setData(
      places.filter(({ row }) => Number.isFinite(values[row])).map(({ time, row }) => ({ time, value: values[row], color: close[row] >= open[row] ? rise : fall })),
    );
    const [above, below] = this.chart.panes();
    above.setStretchFactor(3);
    below?.setStretchFactor(1);
  }

  private addLines(): void {
    const units: string[] = [];
    let count = 0;
    this.wanted.sources.forEach((source, index) => {
      const lines = linesOf(source.table)!;
      const { places, rows } = this.place(source.table, lines.time);
      for (const column of lines.values.filter((each) => this.wanted.columns.includes(each.name))) {
        const unit = column.unit() || column.name;
        if (!units.includes(unit)) units.push(unit);
        const color = lineColor(count++);
        const values = column.numbers();
        const series = this.chart.addSeries(
          LineSeries,
          { color, lineWidth: 2, priceFormat: formatOf(column), priceLineVisible: false },
          Math.min(units.indexOf(unit), 2),
        );
        series.setData(places.map(({ time, row }) => (Number.isFinite(values[row]) ? { time, value: values[row] } : { time })));
        const several = this.wanted.sources.length > 1;
        this.parts.push({ label: several ? `${source.label} ${heading(column)}` : heading(column), color, rows, value: (row) => shown(column, row) });
        this.main.push({ source: index, series, price: (row) => values[row], rows });
      }
    });
    this.compare();
  }

  private say(time: number | undefined): void {
    if (time === undefined) return;
    this.legend.replaceChildren(h("span", { class: "when" }, this.textOf(time)));
    for (const part of this.parts) {
      const row = part.rows.get(time);
      const name = h("b", {}, ...visible(part.label));
      if (part.color) name.style.color = part.color;
      this.legend.append(h("span", { class: "part" }, name, ` ${row === undefined ? "·" : part.value(row)}`));
    }
  }

  private moved(event: MouseEventParams): void {
    // Where the bars move, the chart tells what came under the crosshair; that of the keys is put back on its bar.
    if (event.time === undefined || (this.byKeys && !event.sourceEvent)) return;
    this.byKeys = false;
    this.at = this.times.indexOf(event.time as number);
    this.say(event.time as number);
  }

  private clicked(event: MouseEventParams): void {
    if (event.time === undefined) return;
    const found = this.main.find(({ rows }) => rows.has(event.time as number));
    const row = found?.rows.get(event.time as number);
    if (found && row !== undefined) this.pick(found.source, row);
  }

  private leave(): void {
    this.chart.clearCrosshairPosition();
    this.at = -1;
    this.byKeys = false;
  }

  private go(to: number): void {
    if (this.times.length === 0) return;
    this.at = Math.max(0, Math.min(to, this.times.length - 1));
    const range = this.range();
    if (range && (this.at < range.from || this.at > range.to)) {
      const half = (range.to - range.from) / 2;
      this.show(this.at - half, this.at + half);
    }
    this.byKeys = true;
    this.cross();
    this.say(this.times[this.at]);
  }

  private cross(): void {
    const time = this.times[this.at];
    const main = this.main.find(({ rows }) => rows.has(time))!;
    const price = main.price(main.rows.get(time)!);
    if (Number.isFinite(price)) this.chart.setCrosshairPosition(price, time as UTCTimestamp, main.series);
  }

  private key(event: KeyboardEvent): void {
    const step = event.shiftKey ? 10 : 1;
    const from = this.at < 0 ? this.times.length : this.at;
    if (event.key === "ArrowLeft") this.go(from - step);
    else if (event.key === "ArrowRight") this.go(this.at < 0 ? 0 : from + step);
    else if (event.key === "Home") this.go(0);
    else if (event.key === "End") this.go(this.times.length - 1);
    else if (event.key === "+" || event.key === "=") this.zoom(0.7);
    else if (event.key === "-") this.zoom(1 / 0.7);
    else if (event.key === "0") this.whole();
    else if (event.key === "Escape") this.leave();
    else return;
    event.preventDefault();
  }
}
