// A table as a grid of which only what is on the screen is in the page.
import { Virtualizer, elementScroll, observeElementOffset, observeElementRect } from "@tanstack/virtual-core";
import type { Struct, Vector } from "apache-arrow";
import { h, visible, visibleText } from "./dom";
import { cellText, exactText, grouped, placesOf } from "./format";
import { matching, sorted } from "./order";
import type { ColumnFilter, View } from "./order";
import { openColumnMenu, openValue } from "./popups";
import type { Column, Table } from "./table";
import { hideTip, showTip } from "./tip";
import { either, t } from "./words";

const rowHeight = 26;
const headHeight = 46;
const mostInPart = 1_000_000; // browsers end an element at some 30 million pixels
const longestText = 200; // characters of a text that a cell has; the rest is shown on its own

export interface GridState extends View {
  hidden: Set<number>;
  left: number;
  top: number;
  part: number;
  cell: { row: number; column: number };
}

export function freshState(): GridState {
  return { text: "", filters: new Map(), sorting: null, hidden: new Set(), left: 0, top: 0, part: 0, cell: { row: 0, column: 0 } };
}

export interface GridEvents {
  open(row: number, column: Column): void; // a nested table
  back(): void;
  changed(): void; // of the rows that are shown, or of the cell
  findFilter(): void;
}

let grids = 0;

export class Grid {
  readonly element: HTMLElement;
  private readonly inner = h("div", { class: "inner", role: "presentation" });
  private readonly head = h("div", { class: "head", role: "row", "aria-rowindex": 1 });
  private readonly body = h("div", { class: "body", role: "rowgroup" });
  private readonly prefix = `g${++grids}`;
  private readonly rowsShown: Virtualizer<HTMLElement, Element>;
  private readonly columnsShown: Virtualizer<HTMLElement, Element>;
  private readonly unmount: (() => void)[] = [];
  private readonly places: number[];
  private readonly changes: boolean[];
  private readonly widths: number[];
  private readonly drawn = new Map<number, HTMLElement>();
  private drawnColumns: string | null = null; // no column is an empty text
  private order: Int32Array;
  private columns: Column[];
  private anchor: { row: number; column: number } | null = null;
  private run = 0;
  private waiting = false;
  private marked: HTMLElement[] = []; // what has a mark of the cursor or the selection
  busy = false;

  constructor(
    readonly table: Table,
    readonly state: GridState,
    private readonly events: GridEvents,
    label: string,
  ) {
    this.columns = table.columns.filter((column) => !state.hidden.has(column.index));
    this.order = everyRow(table.rows);
    this.places = table.columns.map(placesOf);
    this.changes = table.columns.map(isChange);
    this.widths = table.columns.map((column) => this.widthOf(column));
    this.inner.append(h("div", { role: "rowgroup", class: "heads" }, this.head), this.body);
    this.element = h(
      "div",
      { class: "grid", role: "grid", tabindex: 0, "aria-label": label, "aria-multiselectable": "true", "aria-describedby": "detail" },
      this.inner,
    );
    const shared = {
      getScrollElement: () => this.element,
      observeElementRect,
      observeElementOffset,
      scrollToFn: elementScroll,
      onChange: () => this.drawSoon(),
    };
    this.rowsShown = new Virtualizer<HTMLElement, Element>({
      ...shared,
      count: this.inPart(),
      estimateSize: () => rowHeight,
      overscan: 10,
      paddingStart: headHeight,
      scrollPaddingStart: headHeight,
      initialOffset: state.top,
    });
    this.columnsShown = new Virtualizer<HTMLElement, Element>({
      ...shared,
      horizontal: true,
      count: this.columns.length,
      estimateSize: (index) => this.widths[this.columns[index].index],
      overscan: 2,
      paddingStart: this.numberWidth(),
      scrollPaddingStart: this.numberWidth(),
      initialOffset: state.left,
    });
    this.listen();
  }

  // Once the element is in the page.
  mount(): void {
    for (const virtual of [this.rowsShown, this.columnsShown] as Virtualizer<HTMLElement, Element>[]) {
      this.unmount.push(virtual._didMount());
      virtual._willUpdate();
    }
    this.draw();
    this.element.scrollTo(this.state.left, this.state.top);
    if (this.state.sorting || this.state.text || this.state.filters.size > 0) void this.arrange();
  }

  remove(): void {
    ++this.run;
    hideTip();
    for (const unmount of this.unmount) unmount();
    this.element.remove();
  }

  get matches(): number {
    return this.order.length;
  }

  get parts(): number {
    return Math.max(1, Math.ceil(this.order.length / mostInPart));
  }

  showPart(part: number): void {
    this.state.part = Math.max(0, Math.min(part, this.parts - 1));
    this.state.cell.row = this.state.part * mostInPart;
    this.recount();
    this.element.scrollTop = 0;
  }

  // The row of the table and the column that the cursor is on.
  current(): { row: number; column: Column } | null {
    const column = this.columns[this.state.cell.column];
    const at = this.state.cell.row;
    if (!column || at < 0 || at >= this.order.length) return null;
    return { row: this.order[at], column };
  }

  // Filters and sorts, and shows what is left.
  async arrange(): Promise<void> {
    const run = ++this.run;
    this.busy = true;
    this.events.changed();
    const filtered = this.state.text.trim() !== "" || this.state.filters.size > 0;
    const rows = filtered ? await matching(this.table, this.state, () => run !== this.run) : everyRow(this.table.rows);
    if (rows === null || run !== this.run) return;
    this.order = this.state.sorting ? sorted(this.table, rows, this.state.sorting) : rows;
    this.busy = false;
    this.state.part = Math.min(this.state.part, this.parts - 1);
    this.state.cell.row = Math.min(this.state.cell.row, Math.max(0, this.order.length - 1));
    this.anchor = null;
    this.recount();
    this.events.changed();
  }

  sortBy(index: number, down: boolean | null): void {
    this.state.sorting = down === null ? null : { column: index, down };
    void this.arrange();
  }

  filterBy(index: number, filter: ColumnFilter | null): void {
    if (filter) this.state.filters.set(index, filter);
    else this.state.filters.delete(index);
    void this.arrange();
  }

  hide(index: number, hidden: boolean): void {
    if (hidden) this.state.hidden.add(index);
    else this.state.hidden.delete(index);
    this.columns = this.table.columns.filter((column) => !this.state.hidden.has(column.index));
    this.state.cell.column = Math.max(0, Math.min(this.state.cell.column, this.columns.length - 1));
    this.anchor = null;
    this.recount();
    this.events.changed();
  }

  // Brings a row of the table onto the screen.
  reveal(row: number): void {
    const at = this.order.indexOf(row);
    if (at >= 0) this.moveTo(at, this.state.cell.column);
  }

  // ---- what is drawn

  private inPart(): number {
    return Math.min(mostInPart, Math.max(0, this.order.length - this.state.part * mostInPart));
  }

  private numberWidth(): number {
    return 26 + 8 * String(Math.max(0, this.table.rows - 1)).length;
  }

  private recount(): void {
    this.rowsShown.setOptions({ ...this.rowsShown.options, count: this.inPart() });
    this.columnsShown.setOptions({ ...this.columnsShown.options, count: this.columns.length });
    this.rowsShown.measure();
    this.columnsShown.measure();
    this.drawnColumns = null;
    this.draw();
  }

  private widthOf(column: Column): number {
    let widest = Math.max(1.1 * textWidth(heading(column)), 0.86 * textWidth(column.name)) + 26;
    for (let row = 0; row < Math.min(this.table.rows, 120); ++row) {
      const value = column.get(row);
      const text = column.shape === "table" ? "00,000 × 00" : cellText(column, row, value, this.places[column.index]);
      widest = Math.max(widest, textWidth(text.slice(0, 80)) + 22);
    }
    return Math.round(Math.min(Math.max(widest, 64), column.shape === "text" ? 340 : 260));
  }

  // Rows and columns both tell of one scrolling.
  private drawSoon(): void {
    if (this.waiting) return;
    this.waiting = true;
    queueMicrotask(() => {
      this.waiting = false;
      this.draw();
    });
  }

  private draw(): void {
    if (!this.element.isConnected) return;
    const columns = this.columnsShown.getVirtualItems();
    const rows = this.rowsShown.getVirtualItems();
    this.inner.style.width = `${this.columnsShown.getTotalSize()}px`;
    this.inner.style.height = `${this.rowsShown.getTotalSize()}px`;
    const key = columns.map((item) => item.index).join();
    if (key !== this.drawnColumns) {
      for (const element of this.drawn.values()) element.remove();
      this.drawn.clear();
      this.drawHead();
      this.drawnColumns = key;
    }
    const wanted = new Set(rows.map((item) => item.index));
    // What has left the screen is used again: to fill a row costs a fraction of making one.
    const spare: HTMLElement[] = [];
    for (const [index, element] of this.drawn) {
      if (wanted.has(index)) continue;
      spare.push(element);
      this.drawn.delete(index);
    }
    const fresh = document.createDocumentFragment();
    for (const item of rows) {
      const at = item.index + this.state.part * mostInPart;
      if (this.drawn.has(item.index) || at >= this.order.length) continue;
      let element = spare.pop();
      if (!element) fresh.append((element = this.emptyRow()));
      this.fillRow(element, at, item.start);
      this.drawn.set(item.index, element);
    }
    for (const element of spare) element.remove();
    this.body.append(fresh);
    this.element.setAttribute("aria-rowcount", String(this.order.length + 1));
    this.element.setAttribute("aria-colcount", String(this.columns.length + 1));
    this.state.left = this.element.scrollLeft;
    this.state.top = this.element.scrollTop;
    this.mark();
  }

  private drawHead(): void {
    const number = h("div", { class: "gutter corner", role: "columnheader", "aria-colindex": 1, "aria-label": t("row") }, "#");
    number.style.width = `${this.numberWidth()}px`;
    this.head.replaceChildren(number);
    for (const item of this.columnsShown.getVirtualItems()) {
      const column = this.columns[item.index];
      const sorting = this.state.sorting?.column === column.index ? this.state.sorting : null;
      const filtered = this.state.filters.has(column.index);
      const cell = h(
        "div",
        {
          class: `cell ${column.shape} ${sorting ? "sorted" : ""} ${filtered ? "filtered" : ""}`,
          role: "columnheader",
          id: `${this.prefix}-h-${item.index}`,
          "aria-colindex": item.index + 2,
          "aria-sort": sorting ? (sorting.down ? "descending" : "ascending") : "none",
          "data-column": item.index,
          "data-name": column.name,
        },
        h("span", { class: "title" }, ...visible(heading(column))),
        h("span", { class: "name" }, ...visible(heading(column) === column.name ? unitText(column) : column.name)),
        sorting && h("span", { class: "sort", "aria-hidden": "true" }, sorting.down ? "▼" : "▲"),
        filtered && h("span", { class: "funnel", "aria-hidden": "true" }, "●"),
        h("button", { class: "menu", tabindex: -1, "aria-label": `${t("column")} ${visibleText(heading(column))}` }, "⋮"),
      );
      cell.style.left = `${item.start}px`;
      cell.style.width = `${item.size}px`;
      this.head.append(cell);
    }
  }

  private emptyRow(): HTMLElement {
    const gutter = h("div", { class: "gutter", role: "rowheader", "aria-colindex": 1 });
    gutter.style.width = `${this.numberWidth()}px`;
    const element = h("div", { role: "row" }, gutter);
    for (const item of this.columnsShown.getVirtualItems()) {
      const cell = h("div", { role: "gridcell", "aria-colindex": item.index + 2, "data-column": item.index });
      cell.style.left = `${item.start}px`;
      cell.style.width = `${item.size}px`;
      element.append(cell);
    }
    return element;
  }

  private fillRow(element: HTMLElement, at: number, start: number): void {
    const row = this.order[at];
    element.className = at % 2 ? "row odd" : "row";
    element.dataset.at = String(at);
    element.setAttribute("aria-rowindex", String(at + 2));
    element.style.transform = `translateY(${start}px)`;
    const [gutter, ...cells] = element.children as unknown as HTMLElement[];
    gutter.textContent = String(row);
    this.columnsShown.getVirtualItems().forEach((item, i) => {
      cells[i].id = `${this.prefix}-${at}-${item.index}`;
      this.fillCell(cells[i], row, this.columns[item.index]);
    });
  }

  private fillCell(cell: HTMLElement, row: number, column: Column): void {
    const value = column.get(row);
    cell.className = `cell ${column.shape}`;
    if (value === null) {
      cell.classList.add("unset");
      cell.replaceChildren(h("span", { "aria-label": t("unset"), role: "img" }, "·"));
    } else if (column.shape === "table") {
      const child = value as Vector;
      const columns = (child.type as Struct).children.length;
      const text = child.length === 0 ? t("empty") : `${grouped(String(child.length))} × ${columns}`;
      cell.replaceChildren(h("a", { class: child.length === 0 ? "inside none" : "inside", tabindex: -1 }, text));
    } else if (value === "") {
      cell.classList.add("blank");
      cell.replaceChildren(h("span", { "aria-label": t("emptyText"), role: "img" }, "''"));
    } else {
      const text = cellText(column, row, value, this.places[column.index]);
      if (column.shape === "number") cell.textContent = text;
      else cell.replaceChildren(h("bdi", {}, ...visible(text.slice(0, longestText)), text.length > longestText ? "…" : ""));
      if (this.changes[column.index]) cell.classList.add(column.number(row) > 0 ? "rise" : column.number(row) < 0 ? "fall" : "level");
    }
  }

  // The cursor and the selection, over what is drawn.
  private mark(): void {
    const { row, column } = this.state.cell;
    const range = this.range();
    let active = "";
    for (const element of this.marked) {
      element.classList.remove("current", "cursor", "selected");
      element.removeAttribute("aria-selected");
    }
    this.marked = [];
    for (const element of this.drawn.values()) {
      const at = Number(element.dataset.at);
      if (at !== row && (range === null || at < range.top || at > range.bottom)) continue;
      if (at === row) {
        element.classList.add("current");
        this.marked.push(element);
      }
      for (const cell of element.querySelectorAll<HTMLElement>(".cell")) {
        const index = Number(cell.dataset.column);
        const on = at === row && index === column;
        const selected = range !== null && at >= range.top && at <= range.bottom && index >= range.left && index <= range.right;
        if (on) active = cell.id;
        cell.classList.toggle("cursor", on);
        cell.classList.toggle("selected", selected);
        if (selected) cell.setAttribute("aria-selected", "true");
        if (on || selected) this.marked.push(cell);
      }
    }
    for (const cell of this.head.querySelectorAll<HTMLElement>(".cell")) {
      const on = row < 0 && Number(cell.dataset.column) === column;
      cell.classList.toggle("cursor", on);
      if (on) active = cell.id;
    }
    if (active) this.element.setAttribute("aria-activedescendant", active);
    else this.element.removeAttribute("aria-activedescendant");
  }

  // ---- selecting and copying

  private range(): { top: number; bottom: number; left: number; right: number } | null {
    const { row, column } = this.state.cell;
    if (!this.anchor || row < 0) return null;
    return {
      top: Math.min(this.anchor.row, row),
      bottom: Math.max(this.anchor.row, row),
      left: Math.min(this.anchor.column, column),
      right: Math.max(this.anchor.column, column),
    };
  }

  selected(): number {
    const range = this.range();
    return range ? (range.bottom - range.top + 1) * (range.right - range.left + 1) : 0;
  }

  // The selection, or the cell with the cursor, with tabs between columns; values as they are.
  copyText(): string {
    const { row, column } = this.state.cell;
    const range = this.range() ?? { top: Math.max(row, 0), bottom: Math.max(row, 0), left: column, right: column };
    const lines: string[] = [];
    if (range.bottom > range.top || range.right > range.left) {
      lines.push(this.columns.slice(range.left, range.right + 1).map((each) => quoted(each.name)).join("\t"));
    }
    for (let at = range.top; at <= Math.min(range.bottom, this.order.length - 1); ++at) {
      const cells = this.columns.slice(range.left, range.right + 1);
      lines.push(cells.map((each) => quoted(this.copyCell(each, this.order[at]))).join("\t"));
    }
    return lines.join("\n");
  }

  private copyCell(column: Column, row: number): string {
    const value = column.get(row);
    if (value === null || column.shape === "table") return "";
    return column.moment(row)?.text ?? exactText(column, value);
  }

  selectRow(at: number, extend: boolean): void {
    this.anchor = { row: extend && this.anchor ? this.anchor.row : at, column: 0 };
    this.state.cell = { row: at, column: this.columns.length - 1 };
    this.mark();
    this.events.changed();
  }

  // ---- moving

  private moveTo(row: number, column: number, extend = false): void {
    const at = { row: Math.max(-1, Math.min(row, this.order.length - 1)), column: Math.max(0, Math.min(column, this.columns.length - 1)) };
    if (extend) this.anchor ??= { ...this.state.cell };
    else this.anchor = null;
    this.state.cell = at;
    const part = Math.floor(Math.max(0, at.row) / mostInPart);
    if (part !== this.state.part) {
      this.state.part = part;
      this.recount();
    }
    if (at.row >= 0) this.rowsShown.scrollToIndex(at.row - part * mostInPart, { align: "auto" });
    this.columnsShown.scrollToIndex(at.column, { align: "auto" });
    this.mark();
    this.events.changed();
  }

  private enter(): void {
    const { row, column } = this.state.cell;
    const shown = this.columns[column];
    if (!shown) return;
    if (row < 0) return this.nextSorting(shown);
    const of = this.current();
    if (!of) return;
    if (shown.shape === "table") {
      if (shown.isSet(of.row)) this.events.open(of.row, shown);
    } else {
      openValue(this.table, of.row, shown, this.element);
    }
  }

  private nextSorting(column: Column): void {
    const sorting = this.state.sorting?.column === column.index ? this.state.sorting : null;
    this.sortBy(column.index, sorting === null ? false : sorting.down ? null : true);
  }

  private menu(index: number): void {
    const column = this.columns[index];
    const cell = this.head.querySelector<HTMLElement>(`[data-column="${index}"]`);
    if (column && cell) openColumnMenu(this, column, cell);
  }

  private key(event: KeyboardEvent): void {
    const { row, column } = this.state.cell;
    const page = Math.max(1, Math.floor(this.element.clientHeight / rowHeight) - 3);
    const whole = event.ctrlKey || event.metaKey;
    const moves: Record<string, [number, number]> = {
      ArrowDown: [row + 1, column],
      ArrowUp: [row - 1, column],
      ArrowRight: [row, column + 1],
      ArrowLeft: [row, column - 1],
      PageDown: [row + page, column],
      PageUp: [Math.max(0, row - page), column],
      Home: [whole ? 0 : row, 0],
      End: [whole ? this.order.length - 1 : row, this.columns.length - 1],
    };
    const move = moves[event.key];
    if (move && !event.altKey) this.moveTo(move[0], move[1], event.shiftKey);
    else if (event.key === "Enter") this.enter();
    else if (event.key === "Backspace") this.events.back();
    else if (event.key === "Escape") this.moveTo(row, column);
    else if (whole && event.key === "a") {
      this.anchor = { row: 0, column: 0 };
      this.state.cell = { row: this.order.length - 1, column: this.columns.length - 1 };
      this.mark();
      this.events.changed();
    } else if (!whole && event.key.toLowerCase() === "m") this.menu(column);
    else if (event.key === "/") this.events.findFilter();
    else return;
    event.preventDefault();
  }

  private listen(): void {
    const grid = this.element;
    const placeOf = (event: Event) => {
      const cell = (event.target as HTMLElement).closest<HTMLElement>(".cell");
      const row = (event.target as HTMLElement).closest<HTMLElement>(".row");
      return { at: row ? Number(row.dataset.at) : -1, column: cell ? Number(cell.dataset.column) : -1, cell };
    };
    let dragging = false;
    grid.addEventListener("keydown", (event) => this.key(event));
    grid.addEventListener("mousedown", (event) => {
      const { at, column, cell } = placeOf(event);
      if (event.button !== 0 || at < 0) return;
      if (!cell) return this.selectRow(at, event.shiftKey);
      this.moveTo(at, column, event.shiftKey);
      dragging = true;
    });
    grid.addEventListener("mousemove", (event) => {
      if (!dragging || !(event.buttons & 1)) return void (dragging = false);
      const { at, column } = placeOf(event);
      const { row, column: index } = this.state.cell;
      if (at >= 0 && column >= 0 && (at !== row || column !== index)) this.moveTo(at, column, true);
    });
    grid.addEventListener("click", (event) => {
      const { at, column } = placeOf(event);
      if (at >= 0) {
        if ((event.target as HTMLElement).closest(".inside") && this.selected() === 0) this.enter();
        return;
      }
      if (column < 0) return;
      if ((event.target as HTMLElement).closest(".menu")) this.menu(column);
      else this.nextSorting(this.columns[column]);
    });
    grid.addEventListener("dblclick", (event) => {
      if (placeOf(event).at >= 0) this.enter();
    });
    grid.addEventListener("copy", (event) => {
      event.clipboardData?.setData("text/plain", this.copyText());
      event.preventDefault();
    });
    grid.addEventListener("mouseover", (event) => {
      const { at, column, cell } = placeOf(event);
      if (cell && this.columns[column]) showTip(cell, this.columns[column], at < 0 ? null : this.order[at]);
      else hideTip();
    });
    grid.addEventListener("mouseleave", () => hideTip());
    grid.addEventListener("scroll", () => hideTip(), { passive: true });
  }
}

export function heading(column: Column): string {
  return either(column.told?.english, column.told?.chinese) || column.name;
}

function unitText(column: Column): string {
  return column.told?.unit ?? "";
}

// Columns whose sign says whether something rose.
export function isChange(column: Column): boolean {
  return column.measures && (/^Zhang(Die|Fu|Su)|ZhangFu$|JingE$|ChaZhi$|BianHua$|LiuRuE/.test(column.name) || /^(Change|Net )/.test(column.told?.english ?? ""));
}

function quoted(text: string): string {
  return /[\t\n\r"]/.test(text) ? `"${text.replaceAll('"', '""')}"` : text;
}

function everyRow(rows: number): Int32Array {
  const all = new Int32Array(rows);
  for (let i = 0; i < rows; ++i) all[i] = i;
  return all;
}

let ruler: CanvasRenderingContext2D | null = null;

// In pixels, as the page writes cells.
function textWidth(text: string): number {
  if (!ruler) {
    ruler = document.createElement("canvas").getContext("2d");
    if (ruler) ruler.font = `13px ${getComputedStyle(document.documentElement).getPropertyValue("--font")}`;
  }
  return ruler ? ruler.measureText(text).width : 8 * text.length;
}
