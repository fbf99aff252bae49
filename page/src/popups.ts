// Small windows: the menu of a column, the list of columns, a whole value, what the page is made of.
import type { Vector } from "apache-arrow";
import { h, visible } from "./dom";
import { exactText, plainNumber } from "./format";
import type { Grid } from "./grid";
import { heading } from "./grid";
import type { ColumnFilter } from "./order";
import { readLicences } from "./report";
import type { Column, Table } from "./table";
import { boundOf } from "./times";
import { either, t } from "./words";

// For when what is behind them changes.
export function closeWindows(): void {
  for (const each of document.querySelectorAll("dialog")) close(each);
}

// The browser tells of a window that it closed some time later. Until then it would be in the way of keys and of another.
function close(element: HTMLDialogElement): void {
  element.dispatchEvent(new Event("close"));
}

function dialog(label: string, at: HTMLElement | null, back: HTMLElement, ...children: (Node | string)[]): HTMLDialogElement {
  const element = h("dialog", { class: at ? "menu-window" : "window", "aria-label": label }, ...children);
  document.body.append(element);
  element.addEventListener("close", () => {
    if (!element.isConnected) return;
    element.remove();
    back.focus();
  });
  element.addEventListener("cancel", (event) => {
    event.preventDefault();
    close(element);
  });
  element.addEventListener("mousedown", (event) => {
    const box = element.getBoundingClientRect();
    const inside = event.clientX >= box.left && event.clientX <= box.right && event.clientY >= box.top && event.clientY <= box.bottom;
    if (!inside) close(element);
  });
  element.showModal();
  if (at) {
    const cell = at.getBoundingClientRect();
    const size = element.getBoundingClientRect();
    element.style.left = `${Math.max(8, Math.min(cell.left, innerWidth - size.width - 8))}px`;
    element.style.top = `${Math.max(8, Math.min(cell.bottom + 2, innerHeight - size.height - 8))}px`;
  }
  return element;
}

function numberIn(input: HTMLInputElement): number | undefined {
  const text = input.value.trim().replaceAll(",", "");
  const value = Number(text);
  return text === "" || Number.isNaN(value) ? undefined : value;
}

function boundIn(column: Column, input: HTMLInputElement, last: boolean): number | undefined {
  return boundOf(column.times, input.value, last) ?? numberIn(input);
}

export function openColumnMenu(grid: Grid, column: Column, at: HTMLElement): void {
  const filter = grid.state.filters.get(column.index);
  const field = (label: string, value: string) => h("input", { type: "text", value, "aria-label": label, autocomplete: "off", spellcheck: "false" });
  const least = field(t("least"), filter?.least === undefined ? "" : String(filter.least));
  const most = field(t("most"), filter?.most === undefined ? "" : String(filter.most));
  const text = field(t("contains"), filter?.text ?? "");
  const state = h("select", { "aria-label": t("state") });
  for (const [value, word] of [["", t("any")], ["set", t("onlySet")], ["unset", t("onlyUnset")]]) {
    state.append(h("option", { value, selected: (filter?.state ?? "") === value }, word));
  }
  const leave = () => close(element);
  const sort = (word: string, down: boolean | null) => h("button", { type: "button", click: () => (leave(), grid.sortBy(column.index, down)) }, word);
  const form = h(
    "form",
    {
      submit: (event: Event) => {
        event.preventDefault();
        const made: ColumnFilter = {
          least: boundIn(column, least, false),
          most: boundIn(column, most, true),
          text: text.value.trim().toLowerCase() || undefined,
          state: (state.value || undefined) as ColumnFilter["state"],
        };
        const any = Object.values(made).some((value) => value !== undefined);
        leave();
        grid.filterBy(column.index, any ? made : null);
      },
    },
    column.shape === "number" && h("label", {}, t("least"), least),
    column.shape === "number" && h("label", {}, t("most"), most),
    column.shape !== "table" && h("label", {}, t("contains"), text),
    h("label", {}, t("state"), state),
    h(
      "div",
      { class: "buttons" },
      h("button", { type: "submit", class: "main" }, t("apply")),
      filter ? h("button", { type: "button", click: () => (leave(), grid.filterBy(column.index, null)) }, t("remove")) : null,
    ),
  );
  const element = dialog(
    heading(column),
    at,
    grid.element,
    h("p", { class: "of" }, ...visible(heading(column))),
    h("div", { class: "stack" }, sort(t("ascending"), false), sort(t("descending"), true), sort(t("unsorted"), null)),
    form,
    h("div", { class: "stack" }, h("button", { type: "button", click: () => (leave(), grid.hide(column.index, true)) }, t("hide"))),
  );
}

export function openColumnList(grid: Grid, at: HTMLElement): void {
  const list = h("div", { class: "checks" });
  const boxes: [HTMLInputElement, Column][] = grid.table.columns.slice(0, 1000).map((column) => {
    const box = h("input", { type: "checkbox", checked: !grid.state.hidden.has(column.index), change: () => grid.hide(column.index, !box.checked) });
    list.append(h("label", {}, box, h("span", {}, ...visible(heading(column))), heading(column) !== column.name && h("small", {}, ...visible(column.name))));
    return [box, column];
  });
  const all = (hidden: (index: number) => boolean) => {
    for (const [box, column] of boxes) {
      if (box.checked === hidden(column.index)) {
        box.checked = !hidden(column.index);
        grid.hide(column.index, hidden(column.index));
      }
    }
  };
  dialog(
    t("showColumns"),
    at,
    at,
    h(
      "div",
      { class: "buttons" },
      h("button", { type: "button", click: () => all(() => false) }, t("showAll")),
      h("button", { type: "button", click: () => all((index) => index > 0) }, t("showNone")),
    ),
    list,
  );
}

// All of a cell: a long text, every element of a list with what is told of it, every byte.
export function openValue(table: Table, row: number, column: Column, back: HTMLElement): void {
  const value = column.get(row);
  const body = h("div", { class: "value" });
  if (column.shape === "list" && value !== null) {
    const list = value as Vector;
    const rows = h("tbody");
    const told = new Map((column.told?.elements ?? []).map((element) => [element[0], element]));
    for (let i = 0; i < list.length; ++i) {
      const element = told.get(i);
      const item = list.get(i) as number | bigint | null;
      rows.append(
        h(
          "tr",
          {},
          h("td", { class: "dim" }, String(i)),
          h("td", {}, ...visible(either(element?.[1], element?.[2]))),
          h("td", { class: "amount" }, item === null ? "·" : plainNumber(item, column.single)),
          h("td", { class: "dim" }, ...visible(element?.[5] ?? "")),
        ),
      );
    }
    body.append(h("table", {}, rows));
  } else {
    body.append(h("pre", {}, ...visible(value === null ? t("unset") : value === "" ? t("emptyText") : exactText(column, value), true)));
  }
  const leave = h("button", { type: "button", class: "main", click: () => close(element) }, t("close"));
  const element = dialog(heading(column), null, back, h("h2", {}, ...visible(`${table.label(row)} · ${heading(column)}`)), body, h("div", { class: "buttons" }, leave));
}

export function openAbout(program: string, back: HTMLElement): void {
  const { packages, texts } = readLicences();
  const list = h("dl", { class: "packages" });
  for (const each of packages) {
    list.append(h("dt", {}, `${each.name} ${each.version}`), h("dd", {}, [each.licence, each.author].filter(Boolean).join(", "), each.notice && h("pre", {}, each.notice)));
    if (each.name === "lightweight-charts") list.append(h("dd", {}, chartNotice()));
  }
  const leave = h("button", { type: "button", class: "main", click: () => close(element) }, t("close"));
  const element = dialog(
    t("about"),
    null,
    back,
    h("h2", {}, program),
    h("p", {}, t("aboutText")),
    h("h3", {}, t("keys")),
    h("p", {}, t("keysText")),
    h("p", {}, t("chartKeys")),
    h("h3", {}, t("bundled")),
    list,
    ...texts.map((text) => h("details", {}, h("summary", {}, text.split("\n").find((line) => line.trim())?.trim() ?? ""), h("pre", {}, text))),
    h("div", { class: "buttons" }, leave),
  );
}

// What the makers of the charts ask to be shown where charts are.
export function chartNotice(): HTMLElement {
  return h(
    "span",
    { class: "notice" },
    "TradingView Lightweight Charts™, Copyright © 2025 TradingView, Inc. ",
    h("a", { href: "https://www.tradingview.com/", target: "_blank", rel: "noopener noreferrer" }, "https://www.tradingview.com/"),
  );
}
