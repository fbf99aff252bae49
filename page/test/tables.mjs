// Reports of tables that are made here: the page as the viewer writes it, with other data in it. For values and shapes that
// no short reply has.
import { readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { Field, List, Struct, Table, tableToIPC, vectorFromArray } from "apache-arrow";
import { directory, report, sample } from "./support.mjs";

// Of columns by their names, each a type and its values.
export function tableOf(columns) {
  return new Table(Object.fromEntries(Object.entries(columns).map(([name, [type, values]]) => [name, vectorFromArray(values, type)])));
}

// The type of tables in cells, by the types of their columns. A cell is a list of objects.
export function rowsOf(columns) {
  const fields = Object.entries(columns).map(([name, type]) => new Field(name, type, true));
  return new List(new Field("item", new Struct(fields), true));
}

// What is told of a column; what is not named is empty.
export function told(name, { english = "", chinese = "", meaning = "", unit = "", kind = "", source = "", made = "", unset = "", elements = [] } = {}) {
  return [name, "", english, chinese, meaning, unit, kind, source, made, unset, elements];
}

let page = null;
let written = 0;

// The path of a report with these replies: a table or a tree, what is told of the columns, and what the list says of them.
export function reportOf(replies, more = {}) {
  page ??= readFileSync(report([sample("130-TopicPage")]), "utf8").split(/<script type="application\/octet-stream".*\n?<script type="application\/json" id="report">[^<]*<\/script>\n/s);
  const blocks = [];
  const kinds = {};
  const block = (bytes) => blocks.push(`<script type="application/octet-stream" id="d${blocks.length}">${Buffer.from(bytes).toString("base64")}</script>\n`) - 1;
  const entries = replies.map(({ table, tree, told: columns, ...entry }, i) => {
    const listed = { id: 900 + i, bytes: 1000, number: 1, many: false, file: `made-${i}.bin`, payload: "Made", ...entry };
    if (table) Object.assign(listed, { rows: table.numRows, columns: table.numCols, kind: `made/${i}`, table: block(tableToIPC(table, "stream")) });
    if (tree !== undefined) listed.tree = block(Buffer.from(tree));
    if (columns) kinds[`made/${i}`] = [{ path: "", english: "", chinese: "", rows: "", columns }];
    return listed;
  });
  const json = JSON.stringify({ program: "tesview", most: { replies: 10000, bytes: 67108864 }, leftOut: 0, full: false, replies: entries, kinds, ...more });
  const path = join(directory, `made-${++written}.html`);
  writeFileSync(path, `${page[0]}${blocks.join("")}<script type="application/json" id="report">${json.replaceAll("<", "\\u003c")}</script>\n${page[1]}`);
  return path;
}
