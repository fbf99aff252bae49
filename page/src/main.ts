// The page: a list of replies, and the one that the address tells.
//
// An address is #/3 for the third reply of the list, and #/3/0/Data for the table in row 0, column Data.
import { h, visible, visibleText } from "./dom";
import { grouped, sizeText } from "./format";
import { Gallery } from "./gallery";
import type { Choice } from "./gallery";
import { Grid, freshState, heading } from "./grid";
import type { GridState } from "./grid";
import { ReplyList } from "./list";
import { closeWindows, openAbout, openColumnList } from "./popups";
import { readReport, readText } from "./report";
import type { Entry } from "./report";
import { rootTable } from "./table";
import type { Column, Table } from "./table";
import { factsOf } from "./tip";
import { makeTree } from "./tree";
import { currentLanguage, either, setLanguage, t } from "./words";
import type { Language } from "./words";

const report = readReport();
const app = document.getElementById("app")!;

// What is kept from one visit to the next, where the browser lets a file keep anything.
function remembered(key: string): string | null {
  try {
    return localStorage.getItem(`tesview-${key}`);
  } catch {
    return null;
  }
}
function remember(key: string, value: string): void {
  try {
    localStorage.setItem(`tesview-${key}`, value);
  } catch {
    // Then the next visit begins as the first one did.
  }
}

interface Step {
  row: number;
  column: Column;
}

interface Place {
  index: number;
  entry: Entry;
  table: Table | null;
  around: { table: Table; row: number; column: Column } | null;
  steps: { step: Step; of: Table }[];
}

const states = new Map<string, GridState>();
const choices = new Map<string, Choice>();
let roots: { index: number; table: Table | null } | null = null; // the reply that was read last
let grid: Grid | null = null;
let gallery: Gallery | null = null;
let main: HTMLElement;
let drawer: HTMLElement;
let list: ReplyList | null = null;
let refreshBar: () => void = () => {};

// ---- addresses

function addressOf(index: number, steps: Step[] = []): string {
  return `#/${index + 1}${steps.map((step) => `/${step.row}/${encodeURIComponent(step.column.name)}`).join("")}`;
}

function placeOf(hash: string): Place {
  const parts = hash.replace(/^#\/?/, "").split("/");
  const index = Math.max(0, Math.min((Number.parseInt(parts[0], 10) || 1) - 1, report.replies.length - 1));
  const entry = report.replies[index];
  if (roots?.index !== index) roots = { index, table: rootTable(report, entry) };
  const place: Place = { index, entry, table: roots.table, around: null, steps: [] };
  for (let i = 1; i + 1 < parts.length && place.table; i += 2) {
    const row = Number.parseInt(parts[i], 10);
    let name = "";
    try {
      name = decodeURIComponent(parts[i + 1]);
    } catch {
      break;
    }
    const column = place.table.column(name);
    const child = column && row >= 0 ? place.table.child(row, column) : null;
    if (!column || !child) break;
    place.steps.push({ step: { row, column }, of: place.table });
    place.around = { table: place.table, row, column };
    place.table = child;
  }
  return place;
}

function go(address: string): void {
  if (location.hash !== address) location.hash = address;
}

// ---- the frame

function colourOfRise(): string {
  return document.documentElement.dataset.rise!;
}

// The list of replies, where the screen is too narrow for it to be always there.
function openDrawer(open: boolean): void {
  document.body.classList.toggle("list-open", open);
  drawer.setAttribute("aria-expanded", String(open));
}

function header(): HTMLElement {
  const language = h("button", {
    type: "button",
    class: "switch",
    "aria-label": t("language"),
    click: () => {
      const to: Language = currentLanguage() === "en" ? "zh" : "en";
      setLanguage(to);
      remember("language", to);
      frame();
    },
  }, currentLanguage() === "en" ? "中文" : "English");
  const colours = h("button", {
    type: "button",
    class: "switch rise-switch",
    "aria-label": t("colours"),
    click: () => {
      document.documentElement.dataset.rise = colourOfRise() === "red" ? "green" : "red";
      remember("rise", colourOfRise());
      frame();
    },
  }, h("span", { class: "swatch up", "aria-hidden": "true" }, "▲"), h("span", { class: "swatch down", "aria-hidden": "true" }, "▼"), colourOfRise() === "red" ? t("redUp") : t("greenUp"));
  const about = h("button", { type: "button", class: "switch", click: () => openAbout(report.program, about) }, t("about"));
  drawer = h("button", {
    type: "button",
    class: "switch drawer",
    "aria-label": t("wide"),
    "aria-expanded": String(document.body.classList.contains("list-open")),
    click: () => openDrawer(!document.body.classList.contains("list-open")),
  }, "☰");
  const files = new Set(report.replies.map((entry) => entry.file).filter(Boolean));
  const bytes = report.replies.reduce((sum, entry) => sum + (entry.bytes ?? 0), 0);
  const facts = `${grouped(String(report.replies.length))} ${t("replies").toLowerCase()} · ${sizeText(bytes)} ${t("bytes")}`;
  const title = files.size === 1 ? [...files][0]! : t("report");
  document.title = `${visibleText(title)} – ${t("replies")}`;
  return h("header", { class: "top" }, report.replies.length > 1 && drawer, h("strong", {}, ...visible(title)), h("span", { class: "dim facts" }, facts), h("span", { class: "space" }), language, colours, about);
}

function warning(): HTMLElement | null {
  const most = `${Math.round(report.most.bytes / 1024 / 1024)} MB`;
  const lines: string[] = [];
  if (report.leftOut > 0) lines.push(`${t("leftOutSome")} ${grouped(String(report.leftOut))} ${t("replies").toLowerCase()}. ${t("takesAtMost")} ${most}.`);
  if (report.full) lines.push(`${t("full")} ${grouped(String(report.most.replies))} ${t("replies").toLowerCase()}.`);
  return lines.length === 0 ? null : h("p", { class: "warning", role: "note" }, lines.join(" "));
}

function frame(): void {
  const single = report.replies.length < 2;
  document.body.classList.toggle("single", single);
  main = h("main", { tabindex: -1 });
  list = single ? null : new ReplyList(report.replies, (index) => {
    openDrawer(false);
    go(addressOf(index));
  });
  app.replaceChildren(header(), ...[warning()].filter((each) => each !== null), h("div", { class: "page" }, list?.element, main));
  list?.mount();
  show();
}

// ---- one reply

function show(): void {
  closeWindows();
  grid?.remove();
  gallery?.remove();
  grid = null;
  gallery = null;
  main.replaceChildren();
  if (report.replies.length === 0) {
    main.append(h("p", { class: "nothing" }, t("noReplies")));
    return;
  }
  const place = placeOf(location.hash);
  list?.select(place.index);
  main.append(titleOf(place));
  const { entry } = place;
  if (entry.failure || entry.leftOut) {
    main.append(h("p", { class: "nothing" }, ...visible(entry.failure ?? t("leftOut"))));
    return;
  }
  if (place.steps.length > 0) main.append(pathOf(place));
  if (entry.tree === undefined) showTable(place, main);
  else showEither(place);
}

function titleOf({ entry }: Place): HTMLElement {
  const facts = [
    entry.file === undefined ? "" : visibleText(entry.file),
    entry.many ? `${t("reply")} ${entry.number}` : "",
    entry.bytes === undefined ? "" : `${sizeText(entry.bytes)} ${t("bytes")}`,
    entry.rows === undefined ? "" : `${grouped(String(entry.rows))} ${t(entry.rows === 1 ? "row" : "rows")} × ${entry.columns} ${t(entry.columns === 1 ? "column" : "columns")}`,
  ];
  const name = entry.id === null ? t("notShown") : either(entry.english, entry.chinese) || entry.payload || `Id ${entry.id}`;
  const other = currentLanguage() === "zh" ? entry.english : entry.chinese;
  return h(
    "div",
    { class: "title" },
    h("h1", {}, entry.id !== null && h("span", { class: "id" }, `Id ${entry.id}`), h("span", {}, ...visible(name)), h("span", { class: "other" }, ...visible(other ?? "")), h("code", {}, ...visible(entry.payload ?? ""))),
    h("p", { class: "dim" }, facts.filter(Boolean).join(" · ")),
  );
}

function pathOf(place: Place): HTMLElement {
  const steps: Step[] = [];
  const link = (text: string, to: Step[], current: boolean) =>
    h("a", { href: addressOf(place.index, to), "aria-current": current ? "page" : null }, ...visible(text));
  const nav = h("nav", { class: "path", "aria-label": t("table") }, link(place.entry.payload ?? `Id ${place.entry.id}`, [], false));
  place.steps.forEach(({ step, of }, i) => {
    steps.push(step);
    nav.append(h("span", { "aria-hidden": "true" }, "›"), link(`${of.label(step.row)} · ${heading(step.column)}`, [...steps], i === place.steps.length - 1));
  });
  return nav;
}

// A reply without a table of its own: the tree, and what the schema alone makes of it.
function showEither(place: Place): void {
  const { entry } = place;
  const body = h("div", { class: "either" });
  const tabs = h("div", { class: "group tabs", role: "group", "aria-label": t("asJson") });
  const views: ["tree" | "table", boolean][] = [["tree", true], ["table", place.table !== null]];
  const choice = remembered("view") === "table" || place.steps.length > 0 ? "table" : "tree";
  const draw = (view: "tree" | "table") => {
    grid?.remove();
    gallery?.remove();
    grid = null;
    gallery = null;
    body.replaceChildren();
    for (const button of tabs.children) button.setAttribute("aria-pressed", String((button as HTMLElement).dataset.view === view));
    if (view === "table" && place.table) {
      body.append(h("p", { class: "dim hint" }, t("bySchema")));
      showTable(place, body);
    } else {
      showPictures(place, body);
      body.append(makeTree(readText(entry.tree!)));
    }
  };
  for (const [view, there] of views) {
    if (there) tabs.append(h("button", { type: "button", class: "chip", "data-view": view, click: () => (remember("view", view), draw(view)) }, t(view)));
  }
  main.append(h("div", { class: "note" }, h("span", { class: "dim" }, ...visible(entry.note ?? "")), tabs), body);
  draw(choice === "table" && place.table ? "table" : "tree");
}

function showPictures(place: Place, host: HTMLElement): void {
  const table = place.table;
  if (!table) return;
  const key = `${place.entry.id} ${place.entry.kind} ${place.steps.map(({ step }) => step.column.name).join("/")}`;
  if (!choices.has(key)) choices.set(key, {});
  const made = new Gallery(table, visibleText(place.entry.payload ?? ""), place.around, choices.get(key)!, (of, row) => {
    if (of === table) grid?.reveal(row);
  });
  if (!made.any) return;
  gallery = made;
  const folded = h("details", { class: "pictures", open: remembered("chart") !== "closed" }, h("summary", {}, t("chartOn")), made.element);
  folded.addEventListener("toggle", () => {
    remember("chart", folded.open ? "open" : "closed");
    if (folded.open) made.show();
  });
  host.append(folded);
  // The table is there first.
  if (folded.open) requestAnimationFrame(() => made.element.isConnected && made.show());
}

function showTable(place: Place, host: HTMLElement): void {
  const table = place.table!;
  const address = addressOf(place.index, place.steps.map(({ step }) => step));
  if (!states.has(address)) states.set(address, freshState());
  const state = states.get(address)!;
  showPictures(place, host);
  const filter = h("input", { type: "search", placeholder: t("filter"), "aria-label": t("filter"), autocomplete: "off", spellcheck: "false", value: state.text });
  const count = h("span", { class: "count", role: "status" });
  const detail = h("div", { class: "detail", id: "detail" });
  const parts = h("span", { class: "group parts" });
  const made = new Grid(table, state, {
    open: (row, column) => go(addressOf(place.index, [...place.steps.map(({ step }) => step), { row, column }])),
    back: () => place.steps.length > 0 && go(addressOf(place.index, place.steps.slice(0, -1).map(({ step }) => step))),
    changed: () => refreshBar(),
    findFilter: () => filter.focus(),
  }, `${visibleText(place.entry.payload ?? "")} ${place.steps.map(({ step }) => `${step.row}/${step.column.name}`).join("/")}`);
  grid = made;
  let waiting = 0;
  filter.addEventListener("input", () => {
    clearTimeout(waiting);
    waiting = window.setTimeout(() => {
      state.text = filter.value;
      void made.arrange();
    }, 120);
  });
  filter.addEventListener("keydown", (event) => {
    if (event.key === "Enter" || event.key === "ArrowDown") made.element.focus();
  });
  const clear = h("button", {
    type: "button",
    class: "chip",
    click: () => {
      state.text = filter.value = "";
      state.filters.clear();
      void made.arrange();
    },
  }, t("clear"));
  const copy = h("button", { type: "button", class: "chip", click: () => copied(made, copy) }, t("copy"));
  const columns = h("button", { type: "button", class: "chip", "aria-haspopup": "dialog", click: () => openColumnList(made, columns) }, t("showColumns"));
  refreshBar = () => {
    const all = grouped(String(table.rows));
    const selected = made.selected();
    count.textContent = made.busy
      ? `${t("working")} …`
      : `${made.matches === table.rows ? all : `${grouped(String(made.matches))} ${t("of")} ${all}`} ${t(table.rows === 1 ? "row" : "rows")}${selected > 1 ? ` · ${grouped(String(selected))} ${t("selected")}` : ""}`;
    clear.hidden = state.text === "" && state.filters.size === 0;
    columns.textContent = state.hidden.size === 0 ? t("showColumns") : `${t("showColumns")} ${table.columns.length - state.hidden.size}/${table.columns.length}`;
    parts.replaceChildren();
    if (made.parts > 1) {
      parts.append(
        h("button", { type: "button", class: "chip", click: () => (made.showPart(state.part - 1), refreshBar()) }, t("before")),
        ` ${t("part")} ${state.part + 1}/${made.parts} M `,
        h("button", { type: "button", class: "chip", click: () => (made.showPart(state.part + 1), refreshBar()) }, t("next")),
      );
    }
    detailOf(made, detail);
  };
  host.append(h("div", { class: "tools grid-tools", role: "toolbar", "aria-label": t("table") }, filter, clear, count, parts, h("span", { class: "space" }), columns, copy), made.element, detail);
  made.mount();
  refreshBar();
}

function detailOf(of: Grid, detail: HTMLElement): void {
  const cell = of.current();
  detail.replaceChildren();
  if (!cell) return;
  detail.append(h("b", {}, ...visible(heading(cell.column))));
  for (const [name, value] of factsOf(cell.column, cell.row)) {
    if ([t("made"), t("whenUnset"), t("kind")].includes(name)) continue;
    detail.append(h("span", { class: "dim" }, name), h("span", { class: "fact" }, ...visible(value.length > 120 ? `${value.slice(0, 120)}…` : value)));
  }
}

function copied(of: Grid, button: HTMLElement): void {
  of.element.focus();
  document.execCommand("copy");
  button.textContent = t("copied");
  setTimeout(() => (button.textContent = t("copy")), 1200);
}

// ---- beginning

const asked = remembered("language");
setLanguage(asked === "zh" || asked === "en" ? asked : navigator.language.startsWith("zh") ? "zh" : "en");
document.documentElement.dataset.rise = remembered("rise") === "green" ? "green" : "red";
addEventListener("hashchange", () => {
  show();
  // Who goes through the list by keys goes on there.
  if (!list?.element.contains(document.activeElement)) grid?.element.focus({ preventScroll: true });
});
matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => gallery?.show());
frame();
performance.mark("tesview-ready");
