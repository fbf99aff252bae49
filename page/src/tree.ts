// JSON as a tree that folds. Branches are made when they are opened, and long ones in pieces.
import { JSONParse } from "json-with-bigint";
import { h, visible } from "./dom";
import { t } from "./words";

const piece = 200;
const openLevels = 3;

type Json = null | boolean | number | bigint | string | Json[] | { [key: string]: Json };

function leaf(value: Exclude<Json, object>): HTMLElement {
  const kind = value === null ? "null" : typeof value === "bigint" ? "number" : typeof value;
  return h("span", { class: `leaf ${kind}` }, ...(typeof value === "string" ? ["\"", ...visible(value), "\""] : [String(value)]));
}

function fill(host: HTMLElement, items: [string, Json][], level: number, from = 0): void {
  for (const [name, value] of items.slice(from, from + piece)) host.append(node(name, value, level));
  const left = items.length - from - piece;
  if (left <= 0) return;
  const more = h("button", { type: "button", class: "more", click: () => (more.remove(), fill(host, items, level, from + piece)) }, `${left} ${t("more")}`);
  host.append(more);
}

function node(name: string, value: Json, level: number): HTMLElement {
  const key = h("span", { class: "key" }, ...visible(name));
  if (value === null || typeof value !== "object") return h("div", { class: "item" }, key, leaf(value));
  const items: [string, Json][] = Array.isArray(value) ? value.map((each, i) => [String(i), each]) : Object.entries(value);
  const size = Array.isArray(value) ? `[${items.length}]` : `{${items.length}}`;
  const inside = h("div", { class: "branch" });
  const branch = h("details", {}, h("summary", {}, key, h("span", { class: "size" }, size)), inside);
  let filled = false;
  const open = () => {
    if (filled) return;
    filled = true;
    fill(inside, items, level + 1);
  };
  branch.addEventListener("toggle", () => branch.open && open());
  if (level < openLevels && items.length <= 60) {
    open();
    branch.open = true;
  }
  return branch;
}

export function makeTree(json: string): HTMLElement {
  const value = JSONParse(json) as Json;
  const host = h("div", { class: "tree", tabindex: 0, role: "region", "aria-label": t("tree") });
  if (value === null || typeof value !== "object") host.append(leaf(value));
  else fill(host, Object.entries(value) as [string, Json][], 0);
  return host;
}
