// What `tesview --to arrow` writes, read by programs of others: cell by cell what `tesview --to ndjson` says.
//
// TESVIEW is the viewer, SAMPLES the directory with the sample replies.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { closeSync, mkdtempSync, openSync, readFileSync, readdirSync, rmSync, writeSync } from "node:fs";
import { tmpdir } from "node:os";
import { basename, join } from "node:path";
import test from "node:test";

import { DataType, Precision, tableFromIPC } from "apache-arrow";

import { readers } from "./readers.mjs";

const { SAMPLES, TESVIEW } = process.env;

function tesview(...args) {
  const run = spawnSync(TESVIEW, args, { maxBuffer: 2 ** 31 - 1 });
  if (run.status !== 0) throw new Error(`tesview ${args.join(" ")}: ${run.error ?? run.stderr}`);
  return run.stdout;
}

function tesviewTo(path, ...args) {
  const file = openSync(path, "w");
  const run = spawnSync(TESVIEW, args, { stdio: ["ignore", file, "pipe"] });
  closeSync(file);
  if (run.status !== 0) throw new Error(`tesview ${args.join(" ")}: ${run.error ?? run.stderr}`);
}

// A number of 16 digits and more may be beyond what JSON.parse keeps, so it becomes a text of its own kind.
const kLong = /"(?:[^"\\]|\\.)*"|-?\d{16,}(?![\d.eE])/g;
const parse = (line) => JSON.parse(line.replace(kLong, (token) => (token[0] === '"' ? token : `"long ${token}"`)));
const rowsOf = (ndjson) => ndjson.toString().split("\n").filter(Boolean).map(parse);

// The type of a column, as far as texts of JSON have to be read by it.
function kindOf(type) {
  if (DataType.isList(type) || DataType.isFixedSizeList(type)) return { list: kindOf(type.children[0].type) };
  if (DataType.isStruct(type)) return { fields: type.children.map((field) => [field.name, kindOf(field.type)]) };
  if (DataType.isBinary(type)) return "binary";
  if (DataType.isFloat(type) && type.precision === Precision.SINGLE) return "float32";
  if (DataType.isInt(type) && type.bitWidth === 64) return "int64";
  return "plain";
}

// A cell of ndjson as the readers give it.
function valueOf(json, kind) {
  if (json === undefined || json === null) return null;
  if (kind.list !== undefined) return json.map((item) => valueOf(item, kind.list));
  if (kind === "binary") return Buffer.from(json, "base64").toString("hex");
  if (kind === "float32") return Math.fround(json);
  if (kind === "int64") return BigInt(typeof json === "string" ? json.slice("long ".length) : json);
  return json;
}

const isTable = (kind) => kind.list?.fields !== undefined;

// Rows of lists as flat ones: a row for each innermost row.
function flatten(row, fields, prefix, into) {
  const own = {};
  let inside = [];
  for (const [name, kind] of fields) {
    if (!isTable(kind)) {
      own[prefix + name] = row[name];
      into.set(prefix + name, kind);
      continue;
    }
    for (const item of row[name] ?? []) inside.push(...flatten(item, kind.list.fields, `${prefix}${name}.`, into));
    // Its columns are there without rows too.
    flatten({}, kind.list.fields, `${prefix}${name}.`, into);
  }
  return inside.length === 0 ? [own] : inside.map((cells) => ({ ...own, ...cells }));
}

// By rows, with the kind of each flat column.
function flatRows(columns, bytes) {
  const fields = tableFromIPC(bytes).schema.fields.map((field) => [field.name, kindOf(field.type)]);
  const kinds = new Map();
  const count = fields.length === 0 ? 0 : columns[fields[0][0]].length;
  const rows = [];
  flatten({}, fields, "", kinds);
  for (let i = 0; i < count; ++i) {
    const row = Object.fromEntries(fields.map(([name]) => [name, columns[name][i]]));
    rows.push(...flatten(row, fields, "", kinds));
  }
  return { rows, kinds };
}

// What ndjson says beside the cells: of the reply, and of tables without rows.
const isBeside = (name, json) => name.startsWith("_") || json === null || (Array.isArray(json) && json.length === 0);

// Returns the number of cells that are not null.
function expectSame({ rows, kinds }, lines, what) {
  assert.equal(rows.length, lines.length, what);
  let cells = 0;
  rows.forEach((row, i) => {
    for (const [name, kind] of kinds) {
      const value = row[name] ?? null;
      assert.deepEqual(value, valueOf(lines[i][name], kind), `${what}, row ${i}, ${name}`);
      cells += value === null ? 0 : 1;
    }
    for (const [name, json] of Object.entries(lines[i]))
      assert.ok(kinds.has(name) || isBeside(name, json), `${what}, row ${i}: ${name} is not there`);
  });
  return cells;
}

// The layout of "typed-103-ZhiBiao3.bin" is 103.
const layoutOf = (file) => /^typed-(\d+)-/.exec(basename(file))?.slice(1, 2).flatMap((type) => ["--type", type]) ?? [];

const kWithoutTable = ["22-QuoteTickSingle", "55-F10GsgkOutput", "damaged"];
const samples = readdirSync(SAMPLES).filter((name) => name.endsWith(".bin"));
const withTable = samples.filter((name) => !kWithoutTable.includes(basename(name, ".bin")));

test("there are samples", () => assert.ok(withTable.length > 35, `${withTable.length} samples`));

for (const [reader, read] of Object.entries(readers)) {
  for (const form of [[], ["--nested"]]) {
    test(`${reader} reads every sample${form.length === 0 ? "" : ", nested,"} as ndjson tells it`, () => {
      let cells = 0;
      for (const name of withTable) {
        const args = [...layoutOf(name), join(SAMPLES, name)];
        const bytes = tesview("--to", "arrow", ...form, ...args);
        cells += expectSame(flatRows(read(bytes), bytes), rowsOf(tesview("--to", "ndjson", ...args)), name);
      }
      assert.ok(cells > 3000, `${cells} cells`);
    });
  }
}

// A sample so many times, with the length of each reply before it.
function writeReplies(path, replies) {
  const reply = readFileSync(join(SAMPLES, "27-StkData.bin"));
  const length = [];
  for (let left = reply.length; ; left >>>= 7) {
    length.push(left > 0x7f ? (left & 0x7f) | 0x80 : left);
    if (left <= 0x7f) break;
  }
  const one = Buffer.concat([Buffer.from(length), reply]);
  const block = Buffer.concat(Array(1000).fill(one));
  const file = openSync(path, "w");
  for (let i = 0; i < replies / 1000; ++i) writeSync(file, block);
  closeSync(file);
}

test("100,000 replies are read as ndjson tells them", () => {
  const directory = mkdtempSync(join(tmpdir(), "replies-"));
  const path = join(directory, "replies.bin");
  const arrows = join(directory, "replies.arrows");
  const ndjson = join(directory, "replies.ndjson");
  try {
    writeReplies(path, 100000);
    const choice = ["--columns", "obj,JingJiaHuanShou,JingJiaEChaZhi", path];
    tesviewTo(arrows, "--to", "arrow", "--jobs", "2", ...choice);
    tesviewTo(ndjson, "--to", "ndjson", "--jobs", "2", ...choice);
    const bytes = readFileSync(arrows);
    const lines = readFileSync(ndjson).toString().split("\n").filter(Boolean);
    assert.ok(lines.length >= 300000, `${lines.length} rows`);
    for (const [reader, read] of Object.entries(readers)) {
      const columns = read(bytes);
      const names = Object.keys(columns);
      assert.deepEqual(names, ["_reply", "obj", "JingJiaHuanShou", "JingJiaEChaZhi"], reader);
      assert.equal(columns.obj.length, lines.length, reader);
      lines.forEach((line, i) => {
        const json = JSON.parse(line);
        const cell = (name) => (name === "_reply" ? Number(columns[name][i]) : columns[name][i]);
        if (!names.every((name) => cell(name) === json[name])) assert.fail(`${reader}, row ${i}: ${line}`);
      });
    }
  } finally {
    rmSync(directory, { recursive: true });
  }
});
