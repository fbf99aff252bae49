// Bars: one for each row of a ranking, or for each count of one row.
import { h, svg, visible, visibleText } from "./dom";
import { grouped, plainNumber } from "./format";
import { t } from "./words";

export interface Bar {
  label: string;
  value: number;
  tone: "rise" | "fall" | "level" | "plain";
  row: number;
}

const left = 64;
const right = 12;
const top = 44;
const bottom = 42;
const lineHeight = 12;
const mostLines = 3;
const thinnest = 12;

export function short(value: number): string {
  const size = Math.abs(value);
  for (const [unit, letter] of [[1e9, "G"], [1e6, "M"], [1e4, "k"]] as const) {
    if (size >= unit) return `${plainNumber(Number((value / (letter === "k" ? 1e3 : unit)).toPrecision(3)))}${letter}`;
  }
  return plainNumber(Number(value.toPrecision(4)));
}

// Wide characters take nearly two places, and a line may end behind each of them.
const wide = /[\u2e80-\uffff]/;

function widthOf(text: string): number {
  return [...text].reduce((sum, character) => sum + (wide.test(character) ? 1.75 : 1), 0);
}

function wordsOf(label: string): [word: string, gap: string][] {
  return label.split(" ").flatMap((part) => (part.match(/[\u2e80-\uffff]|[^\u2e80-\uffff]+/g) ?? []).map<[string, string]>((word, i) => [word, i === 0 ? " " : ""]));
}

// The words of a label below each other, as far as there is room.
function labelOf(label: string, room: number, x: number, y: number): SVGElement {
  const lines: string[] = [];
  for (const [word, gap] of wordsOf(visibleText(label))) {
    const last = lines.length - 1;
    if (last >= 0 && widthOf(lines[last]) + gap.length + widthOf(word) <= room) lines[last] += gap + word;
    else lines.push(word);
  }
  const text = svg("text", { class: "axis", "text-anchor": "middle" });
  lines.slice(0, mostLines).forEach((line, i) => {
    const cut = (i === mostLines - 1 && lines.length > mostLines) || widthOf(line) > room + 1;
    text.append(svg("tspan", { x, y: y + i * lineHeight }, cut ? `${line.slice(0, room - 1)}…` : line));
  });
  return text;
}

export class BarChart {
  readonly element: HTMLElement;
  private readonly legend = h("div", { class: "legend", "aria-live": "polite", "aria-atomic": "true" });
  private readonly canvas = h("div", { class: "canvas" });
  private readonly watch = new ResizeObserver(() => this.draw());
  private at = -1;
  private count = 0;

  constructor(
    private readonly bars: Bar[],
    private readonly title: string,
    label: string,
    private readonly pick: (row: number) => void,
  ) {
    this.element = h(
      "div",
      { class: "picture", tabindex: 0, role: "application", "aria-label": `${label}. ${t("chartKeys")}`, "data-kind": "bars" },
      this.canvas,
      this.legend,
    );
    this.element.addEventListener("keydown", (event) => this.key(event));
    this.canvas.addEventListener("mousemove", (event) => {
      const bar = (event.target as Element).closest("[data-bar]");
      if (bar) this.go(Number(bar.getAttribute("data-bar")));
    });
    this.canvas.addEventListener("click", () => this.at >= 0 && this.pick(this.bars[this.at].row));
    this.watch.observe(this.canvas);
  }

  remove(): void {
    this.watch.disconnect();
    this.element.remove();
  }

  private draw(): void {
    const { clientWidth: width, clientHeight: height } = this.canvas;
    if (width < 80 || height < 80) return;
    this.count = Math.min(this.bars.length, Math.floor((width - left - right) / thinnest));
    const bars = this.bars.slice(0, this.count);
    const values = bars.map((bar) => bar.value).filter(Number.isFinite);
    const most = Math.max(0, ...values);
    const least = Math.min(0, ...values);
    const span = most - least || 1;
    const y = (value: number) => top + ((most - value) / span) * (height - top - bottom);
    const step = (width - left - right) / Math.max(1, bars.length);
    const wide = Math.min(step * 0.72, 56);
    const drawing = svg("svg", { width, height, role: "img", "aria-label": this.title });
    for (const value of [most, least, (most + least) / 2]) {
      if (value === 0) continue;
      drawing.append(
        svg("line", { x1: left, x2: width - right, y1: y(value), y2: y(value), class: "guide" }),
        svg("text", { x: left - 6, y: y(value) + 4, class: "axis", "text-anchor": "end" }, short(value)),
      );
    }
    const room = Math.max(1, Math.floor(step / 7));
    bars.forEach((bar, i) => {
      const x = left + i * step + (step - wide) / 2;
      const value = Number.isFinite(bar.value) ? bar.value : 0;
      drawing.append(
        svg("rect", { x, y: Math.min(y(0), y(value)), width: wide, height: Math.max(1, Math.abs(y(value) - y(0))), rx: 1.5, class: `bar ${bar.tone}`, "data-bar": i }),
        svg("rect", { x: left + i * step, y: top, width: step, height: height - top, class: "catch", "data-bar": i }),
      );
      if (step >= 34 && Number.isFinite(bar.value)) {
        drawing.append(svg("text", { x: x + wide / 2, y: value < 0 ? y(value) + 12 : y(value) - 4, class: "amount", "text-anchor": "middle" }, short(value)));
      }
      if (room >= 5 || i % Math.ceil(48 / step) === 0) drawing.append(labelOf(bar.label, Math.max(room, 7), x + wide / 2, height - bottom + 14));
    });
    drawing.append(svg("line", { x1: left, x2: width - right, y1: y(0), y2: y(0), class: "zero" }));
    this.canvas.replaceChildren(drawing);
    this.go(Math.min(Math.max(this.at, 0), this.count - 1));
  }

  private go(to: number): void {
    if (to < 0 || to >= this.count) return;
    this.at = to;
    const bar = this.bars[to];
    this.legend.replaceChildren(
      h("span", { class: "when" }, ...visible(this.title)),
      h("span", { class: "part" }, h("b", {}, ...visible(bar.label)), ` ${Number.isFinite(bar.value) ? grouped(plainNumber(bar.value)) : t("unset")}`),
    );
    if (this.count < this.bars.length) this.legend.append(h("span", { class: "part" }, `${t("firstOf")} ${this.count} ${t("of")} ${grouped(String(this.bars.length))}`));
    for (const element of this.canvas.querySelectorAll(".bar")) element.classList.toggle("on", element.getAttribute("data-bar") === String(to));
  }

  private key(event: KeyboardEvent): void {
    const step = event.shiftKey ? 10 : 1;
    if (event.key === "ArrowLeft") this.go(Math.max(0, this.at - step));
    else if (event.key === "ArrowRight") this.go(Math.min(this.count - 1, this.at + step));
    else if (event.key === "Home") this.go(0);
    else if (event.key === "End") this.go(this.count - 1);
    else if (event.key === "Enter" && this.at >= 0) this.pick(this.bars[this.at].row);
    else return;
    event.preventDefault();
  }
}
