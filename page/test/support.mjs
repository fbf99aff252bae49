// Reports made by the viewer, and a browser that looks at them.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdtempSync, readdirSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { chromium } from "playwright-core";
import { countRuns } from "./coverage.mjs";

export const viewer = process.env.PAGE_VIEWER;
export const samples = process.env.PAGE_SAMPLES;
export const source = process.env.PAGE_SOURCE;
assert.ok(viewer && samples && source, "these tests are run by scripts/test-page");

export const directory = mkdtempSync(join(tmpdir(), "tesview-page-"));
process.on("exit", () => rmSync(directory, { recursive: true, force: true }));

export const sampleFiles = readdirSync(samples)
  .filter((name) => name.endsWith(".bin"))
  .sort()
  .map((name) => join(samples, name));

export function sample(name) {
  return join(samples, `${name}.bin`);
}

let made = 0;

// The path of a report. What the viewer says of replies that it cannot show is none of this program's output.
export function report(files, ...options) {
  return reportIn(process.cwd(), files, ...options);
}

// The files are named from a folder on.
export function reportIn(folder, files, ...options) {
  const path = join(directory, `report-${++made}.html`);
  try {
    execFileSync(viewer, ["--to", "html", ...options, "-o", path, ...files], { cwd: folder, stdio: ["ignore", "ignore", "pipe"] });
  } catch (error) {
    // 1: some reply could not be shown; the report has it in its list.
    assert.equal(error.status, 1, String(error.stderr));
  }
  return path;
}

export function run(...command) {
  return execFileSync(viewer, command, { encoding: "utf8", maxBuffer: 1 << 28 });
}

// The bytes of a reply in text form, as a file.
export function pack(name, text) {
  const from = join(directory, `${name}.txtpb`);
  const to = join(directory, `${name}.bin`);
  writeFileSync(from, text);
  execFileSync(viewer, ["pack", "-o", to, from]);
  return to;
}

// A number as the wire packs it: the mantissa around a byte with the code of the scale. 0 are hundredths, 10 whole numbers.
export function packed(mantissa, code) {
  const whole = BigInt(mantissa);
  return ((whole >> 16n) << 24n) | (BigInt(code) << 16n) | (whole & 0xffffn);
}

export async function browser() {
  return chromium.launch({ executablePath: process.env.PAGE_BROWSER ?? "/usr/bin/chromium", args: ["--no-sandbox", "--disable-gpu"] });
}

// A page of which every complaint, request and dialog is noted in `wrong`. The script `before` runs in it first.
export async function look(at, path, address = "", { before, ...options } = {}) {
  const context = await at.newContext({ viewport: { width: 1360, height: 860 }, locale: "en-US", colorScheme: "light", ...options });
  if (before) await context.addInitScript(before);
  const page = await context.newPage();
  await countRuns(page);
  if (process.env.PAGE_SLOW) await (await context.newCDPSession(page)).send("Emulation.setCPUThrottlingRate", { rate: Number(process.env.PAGE_SLOW) });
  page.wrong = [];
  page.on("console", (message) => ["error", "warning"].includes(message.type()) && page.wrong.push(`console: ${message.text()}`));
  page.on("pageerror", (error) => page.wrong.push(`error: ${error.stack}`));
  page.on("dialog", (dialog) => (page.wrong.push(`dialog: ${dialog.message()}`), dialog.dismiss()));
  page.on("request", (request) => {
    if (request.url() !== `file://${path}`) page.wrong.push(`request: ${request.url()}`);
  });
  context.on("page", (other) => other !== page && page.wrong.push("a window was opened"));
  await page.goto(`file://${path}${address}`);
  await page.waitForFunction(() => performance.getEntriesByName("tesview-ready").length > 0);
  return page;
}

// Goes to another place of the same report and waits until it is drawn.
export async function visit(page, address) {
  await page.evaluate((to) => (location.hash = to), address);
  await settle(page);
}

export function settle(page) {
  return page.evaluate(() => new Promise((resolve) => requestAnimationFrame(() => requestAnimationFrame(() => setTimeout(resolve, 0)))));
}

// The texts of the cells of a column that are in the page, from the first row on.
export function cellsOf(page, column) {
  return page.$$eval(
    ".grid .row",
    (rows, index) =>
      rows
        .sort((a, b) => a.dataset.at - b.dataset.at)
        .map((row) => row.querySelector(`.cell[data-column="${index}"]`)?.textContent.replaceAll(/[\u2007\u2008]/g, "").trim()),
    column,
  );
}

export function text(page, selector) {
  return page.$eval(selector, (element) => element.textContent);
}

// Waits until the rows are sorted and filtered.
export async function idle(page) {
  await page.waitForFunction(() => !document.querySelector(".count")?.textContent.includes("…"));
  await settle(page);
}

// The numbers of the rows that are in the page, from the first one that is shown on.
export function rowNumbers(page) {
  return page.$$eval(".grid .row", (rows) => rows.sort((a, b) => a.dataset.at - b.dataset.at).map((row) => Number(row.querySelector(".gutter").textContent)));
}

// What the grid gives to be copied.
export function copied(page) {
  return page.evaluate(() => {
    const data = new DataTransfer();
    document.querySelector(".grid").dispatchEvent(new ClipboardEvent("copy", { clipboardData: data, bubbles: true }));
    return data.getData("text/plain");
  });
}

// Opens the menu of a column.
export async function menu(page, column) {
  await page.hover(`.head [data-column="${column}"]`);
  await page.click(`.head [data-column="${column}"] .menu`);
}

// Filters by a column with what its menu has, and tells the numbers of the rows that are left.
export async function filter(page, column, fields) {
  await menu(page, column);
  for (const [name, value] of Object.entries(fields)) {
    if (name === "Cells") await page.selectOption('dialog select[aria-label="Cells"]', { label: value });
    else await page.fill(`dialog input[aria-label="${name}"]`, value);
  }
  await page.click("dialog >> text=Apply");
  await idle(page);
  return (await rowNumbers(page)).join(" ");
}
