// What is around the tables: the list of replies, titles, warnings, addresses, trees, languages, and what is remembered.
import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { Float64, Int32, Int64, Utf8 } from "apache-arrow";
import { browser, idle, look, report, sample, settle, text, visit } from "./support.mjs";
import { reportOf, rowsOf, tableOf, told } from "./tables.mjs";

let chrome;
before(async () => (chrome = await browser()));
after(() => chrome.close());

const one = () => tableOf({ A: [new Int32(), [1]] });
const hash = (page) => new URL(page.url()).hash;
const selected = (page) => page.$eval('.entry[aria-selected="true"]', (entry) => Number(entry.id.replace("entry-", "")));

test("a report without replies; one that is full says so", async () => {
  const page = await look(chrome, reportOf([]));
  assert.equal(await text(page, "main"), "There are no replies in this report.");
  assert.equal(await page.$(".replies"), null);
  assert.equal(await page.$(".warning"), null);
  assert.equal(await text(page, ".facts"), "0 replies · 0 bytes");
  await page.context().close();

  const full = await look(chrome, reportOf([{ table: one() }], { leftOut: 1200, full: true }));
  assert.equal(
    await text(full, ".warning"),
    "Left out of this report: the data of 1,200 replies. A report takes at most 64 MB. It ends here, what followed was not read: a report takes at most 10,000 replies.",
  );
  // One reply needs no list; the title is the file's name.
  assert.equal(await full.$(".replies"), null);
  assert.equal(await text(full, ".top strong"), "made-0.bin");
  assert.equal(await full.title(), "made-0.bin – Replies");
  assert.deepEqual([...page.wrong, ...full.wrong], []);
  await full.context().close();
});

test("the list: what it says of each, finding, going by keys and clicks", async () => {
  const replies = [
    { table: one(), file: "/data/day/a.bin", english: "First one", chinese: "第一" },
    { id: 22, tree: "1", file: "/data/day/b.bin", payload: "Second", bytes: 1234 },
    { id: null, bytes: undefined, file: undefined, payload: undefined, failure: "b.bin: reply 2: it ends early" },
    { table: tableOf({ A: [new Int32(), [1, 2]] }), file: "/data/other.bin", payload: undefined, number: 7, many: true },
    { leftOut: true, bytes: undefined, file: undefined, chinese: "剩下" },
    ...Array.from({ length: 15 }, () => ({ table: one() })),
  ];
  const page = await look(chrome, reportOf(replies));
  const entry = (i) => page.$$eval(`#entry-${i} span`, (all) => all.map((each) => each.textContent));
  // The folder that all files are in is not said again.
  assert.deepEqual(await entry(0), ["900", "First one", "1 row", "/data/day/a.bin"]);
  assert.deepEqual(await entry(1), ["22", "Second", "1,234 B", "/data/day/b.bin"]);
  assert.deepEqual(await entry(2), ["!", "Could not be shown", "", "b.bin: reply 2: it ends early"]);
  assert.deepEqual(await entry(3), ["903", "", "2 rows", "/data/other.bin #7"]);
  assert.deepEqual(await entry(4), ["904", "剩下", "", ""]);
  assert.equal(await text(page, ".top strong"), "Report");

  assert.equal(await text(page, ".title h1"), "Id 900First one第一Made");
  assert.equal(await text(page, ".title p"), "/data/day/a.bin · 1,000 bytes · 1 row × 1 column");
  await page.focus(".entries");
  // The keys go on in the list, whatever is shown beside it.
  for (const [key, to] of [["ArrowDown", 1], ["ArrowDown", 2], ["ArrowDown", 3], ["ArrowUp", 2], ["PageDown", 12], ["End", 19], ["ArrowDown", 19], ["PageUp", 9], ["Home", 0], ["ArrowUp", 0]]) {
    await page.keyboard.press(key);
    await settle(page);
    assert.equal(await selected(page), to, key);
  }
  assert.equal(await page.getAttribute(".entries", "aria-activedescendant"), "entry-0");
  await page.keyboard.press("x");
  assert.equal(await selected(page), 0);
  await page.click("#entry-2");
  await settle(page);
  assert.equal(await text(page, ".title h1"), "Could not be shown");
  assert.equal(await text(page, ".nothing"), "b.bin: reply 2: it ends early");
  await page.click("#entry-3");
  await settle(page);
  assert.equal(await text(page, ".title h1"), "Id 903Id 903");
  assert.equal(await text(page, ".title p"), "/data/other.bin · reply 7 · 1,000 bytes · 2 rows × 1 column");
  await page.click("#entry-4");
  await settle(page);
  assert.equal(await text(page, ".title h1"), "Id 904剩下剩下Made");
  assert.equal(await text(page, ".nothing"), "Its data are left out: the report was full.");

  const find = async (words) => {
    await page.fill(".replies input", words);
    return page.$$eval(".entry", (all) => all.map((each) => Number(each.id.replace("entry-", ""))));
  };
  assert.deepEqual(await find("DAY bin"), [0, 1]);
  assert.deepEqual(await find("early"), [2]);
  assert.deepEqual(await find("剩"), [4]);
  // From a reply that is not in the list one comes to the first that is.
  assert.deepEqual(await find("day"), [0, 1]);
  await page.focus(".entries");
  await page.keyboard.press("End");
  await settle(page);
  assert.equal(hash(page), "#/2");
  assert.deepEqual(await find("nowhere"), []);
  await page.focus(".entries");
  await page.keyboard.press("ArrowDown");
  await visit(page, "#/5");
  assert.equal(await page.getAttribute(".entries", "aria-activedescendant"), null);
  await find("");
  assert.equal(await selected(page), 4);
  assert.deepEqual(page.wrong, []);
  await page.context().close();

  const unnamed = await look(chrome, reportOf([{ table: one(), file: undefined }, { table: one(), file: undefined }]));
  assert.deepEqual(await unnamed.$$eval(".entry .where", (all) => all.map((each) => each.textContent)), ["", ""]);
  await unnamed.context().close();
  // Of files in one folder only the names are said.
  const folder = await look(chrome, reportOf([{ table: one(), file: "/data/a/x.bin" }, { table: one(), file: "/data/b/y.bin" }, { table: one(), file: "/data/b/z.bin" }]));
  assert.deepEqual(await folder.$$eval(".entry .where", (all) => all.map((each) => each.textContent)), ["a/x.bin", "b/y.bin", "b/z.bin"]);
  await folder.context().close();
});

test("on a narrow screen the list opens and closes", async () => {
  const page = await look(chrome, reportOf([{ table: one() }, { table: one() }]), "", { viewport: { width: 420, height: 700 } });
  const open = async () => [await page.isVisible(".replies"), await page.getAttribute(".drawer", "aria-expanded")];
  assert.deepEqual(await open(), [false, "false"]);
  await page.click(".drawer");
  assert.deepEqual(await open(), [true, "true"]);
  await page.click("#entry-1");
  await settle(page);
  assert.deepEqual(await open(), [false, "false"]);
  await page.click(".drawer");
  await settle(page);
  assert.equal(await selected(page), 1);
  await page.click(".drawer");
  assert.deepEqual(await open(), [false, "false"]);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("addresses lead as far as they can", async () => {
  const inner = rowsOf({ B: new Int32() });
  const columns = { Obj: [new Utf8(), ["x", "y"]], "a/b": [inner, [[{ B: 1 }, { B: 2 }, { B: 3 }], null]] };
  const page = await look(chrome, reportOf([{ table: tableOf(columns) }, { table: one() }, { table: tableOf(columns), payload: undefined }]), "#/1/0/a%2Fb");
  const rows = () => page.getAttribute(".grid", "aria-rowcount").then(Number);
  assert.equal(await rows(), 4);
  assert.equal(await text(page, ".path"), "Made›x · a/b");
  // A row that is none, a cell that is unset, a column that is none, a name that is no name.
  for (const [address, wanted] of [["#/1/9/a%2Fb", 3], ["#/1/-1/a%2Fb", 3], ["#/1/x/a%2Fb", 3], ["#/1/1/a%2Fb", 3], ["#/1/0/Obj", 3], ["#/1/0/none", 3], ["#/1/0/%E0%A4%A", 3], ["#/1/0/a%2Fb/0/B", 4], ["#/99", 3], ["#/0", 3], ["#/2", 2], ["#/x", 3]]) {
    await visit(page, address);
    assert.equal(await rows(), wanted, address);
  }
  // A reply without a name is called by its Id; from inside one comes back by a key.
  await visit(page, "#/3/0/a%2Fb");
  assert.equal(await text(page, ".path"), "Id 902›x · a/b");
  await visit(page, "#/1/0/a%2Fb");
  await page.focus(".grid");
  await page.keyboard.press("Backspace");
  await settle(page);
  assert.equal(hash(page), "#/1");
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("trees: what is deep or long is opened on demand, numbers are exact", async () => {
  const tree = `{"Id":12345678901234567890,"none":null,"yes":true,"half":0.5,"text":"a\\u0007b","long":[${Array.from({ length: 450 }, (_, i) => i).join()}],"a":{"b":{"c":{"d":{"e":"deep"}}}}}`;
  const page = await look(chrome, reportOf([{ tree, note: "Shown as JSON" }, { tree: '"only"' }, { tree: "null" }]));
  const leaves = await page.$$eval(".tree > .item .leaf", (all) => all.map((each) => `${each.className} ${each.textContent}`));
  assert.deepEqual(leaves, ["leaf number 12345678901234567890", "leaf null null", "leaf boolean true", "leaf number 0.5", 'leaf string "a\\x07b"']);
  assert.equal(await text(page, ".note .dim"), "Shown as JSON");
  const long = page.locator(".tree > details", { hasText: "[450]" });
  const items = () => long.locator(".branch > .item").count();
  assert.equal(await items(), 0);
  await long.locator("summary").click();
  await settle(page);
  assert.equal(await items(), 200);
  assert.equal(await text(page, ".tree .more"), "250 more");
  await page.click(".tree .more");
  assert.equal(await items(), 400);
  await page.click(".tree .more");
  assert.equal(await items(), 450);
  assert.equal(await page.$(".tree .more"), null);
  assert.equal(await long.locator(".item .key").last().textContent(), "449");
  // Folded and opened again it is not made twice.
  await long.locator("summary").click();
  await settle(page);
  await long.locator("summary").click();
  await settle(page);
  assert.equal(await items(), 450);
  assert.ok(!(await text(page, ".tree")).includes("deep"));
  await page.click('.tree summary:has(.key:text-is("d"))');
  await settle(page);
  assert.ok((await text(page, ".tree")).includes("deep"));
  // Without a table there is nothing to choose.
  assert.deepEqual(await page.$$eval(".tabs button", (all) => all.map((each) => each.textContent)), ["Tree"]);
  await page.click(".tabs button");
  assert.ok(await page.$(".tree"));
  await visit(page, "#/2");
  assert.equal(await text(page, ".tree"), '"only"');
  await visit(page, "#/3");
  assert.equal(await text(page, ".tree"), "null");
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("a tree or a table: what was chosen is remembered", async () => {
  const page = await look(chrome, report([sample("22-QuoteTickSingle"), sample("28-PaiXu")]));
  assert.ok((await page.$(".tree")) && !(await page.$(".grid")));
  await page.click(".tabs >> text=Table");
  assert.match(await text(page, ".hint"), /^This table is by the schema alone/);
  assert.equal(await page.getAttribute('.tabs [data-view="table"]', "aria-pressed"), "true");
  assert.ok(!(await page.$(".tree")));
  const inside = await page.$eval(".grid .cell.table", (cell) => Number(cell.dataset.column));
  const name = await page.getAttribute(`.head [data-column="${inside}"]`, "data-name");
  await page.reload();
  await page.waitForSelector(".grid");
  assert.ok(!(await page.$(".tree")));
  await page.click(".tabs >> text=Tree");
  assert.ok(await page.$(".tree"));
  await visit(page, "#/2");
  await visit(page, "#/1");
  assert.ok(await page.$(".tree"));
  // An address inside the table shows the table all the same.
  await visit(page, `#/1/0/${name}`);
  assert.ok((await page.$(".grid")) && !(await page.$(".tree")));
  assert.match(await text(page, ".path"), new RegExp(` · ${name}$`));
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("language, colours and the folded chart are remembered; the system's are taken first", async () => {
  const page = await look(chrome, report([sample("21-QuoteKlineSingle")]), "", { locale: "zh-CN" });
  const state = () => page.evaluate(() => [document.documentElement.lang, document.documentElement.dataset.rise, document.querySelector(".pictures").open]);
  assert.deepEqual(await state(), ["zh-CN", "red", true]);
  assert.equal(await text(page, ".title h1"), "Id 21K线Candlesticks of one instrumentQuoteKlineSingle");
  await page.click("text=English");
  assert.equal(await text(page, ".title h1"), "Id 21Candlesticks of one instrumentK线QuoteKlineSingle");
  assert.equal(await text(page, ".rise-switch"), "▲▼Red up");
  await page.click(".rise-switch");
  assert.equal(await text(page, ".rise-switch"), "▲▼Green up");
  await page.click(".pictures summary");
  await settle(page);
  assert.deepEqual(await state(), ["en", "green", false]);
  await page.reload();
  await page.waitForSelector(".pictures");
  await settle(page);
  assert.deepEqual(await state(), ["en", "green", false]);
  assert.equal(await page.$(".picture"), null);
  await page.click(".pictures summary");
  await page.waitForSelector('.picture[data-kind="candles"]');
  await page.click(".rise-switch");
  await page.click("text=中文");
  await settle(page);
  assert.deepEqual(await state(), ["zh-CN", "red", true]);
  await page.reload();
  await page.waitForSelector(".pictures");
  assert.deepEqual(await state(), ["zh-CN", "red", true]);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("a browser that keeps nothing, and one that is older, show the same", async () => {
  const before = `
    Object.defineProperty(window, "localStorage", { get() { throw new Error("refused"); } });
    delete Uint8Array.fromBase64;
  `;
  const page = await look(chrome, report([sample("28-PaiXu"), sample("22-QuoteTickSingle")]), "", { before });
  assert.equal(await page.evaluate(() => Uint8Array.fromBase64), undefined);
  assert.equal(await text(page, '.row[data-at="1"] [data-column="0"]'), "SZ002371");
  await page.click("text=中文");
  assert.equal(await page.getAttribute("html", "lang"), "zh-CN");
  await page.click(".rise-switch");
  assert.equal(await page.getAttribute("html", "data-rise"), "green");
  await visit(page, "#/2");
  assert.ok((await text(page, ".tree")).includes("SH600000"));
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("the chart follows the system into the dark", async () => {
  const page = await look(chrome, report([sample("21-QuoteKlineSingle"), sample("130-TopicPage")]));
  await page.waitForSelector(".picture canvas");
  // The corner of the picture is its ground.
  const ground = () =>
    page.$eval(".picture canvas", (canvas) => {
      const copy = new OffscreenCanvas(1, 1).getContext("2d");
      copy.drawImage(canvas, 2, canvas.height - 3, 1, 1, 0, 0, 1, 1);
      return copy.getImageData(0, 0, 1, 1).data.slice(0, 3).join();
    });
  await settle(page);
  assert.equal(await ground(), "255,255,255");
  await page.emulateMedia({ colorScheme: "dark" });
  await settle(page);
  assert.equal(await ground(), "25,29,35");
  await visit(page, "#/2");
  await page.emulateMedia({ colorScheme: "light" });
  await settle(page);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("the button copies what is selected, and says so for a moment", async () => {
  const page = await look(chrome, report([sample("28-PaiXu")]), "", { permissions: ["clipboard-read", "clipboard-write"] });
  await page.click('.row[data-at="1"] [data-column="0"]');
  const button = page.locator(".grid-tools button").last();
  assert.equal(await button.textContent(), "Copy");
  await button.click();
  assert.equal(await button.textContent(), "Copied");
  assert.equal(await page.evaluate(() => navigator.clipboard.readText()), "SZ002371");
  await page.waitForFunction(() => [...document.querySelectorAll(".grid-tools button")].at(-1).textContent === "Copy");
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("columns of a change have their tone; what is told decides what a column is", async () => {
  const columns = {
    Obj: [new Utf8(), ["a", "b", "c", "d"]],
    ZhangFu: [new Float64(), [1, -1, 0, null]],
    Flow: [new Float64(), [2, -2, 0, 1]],
    Kind: [new Int32(), [1, 2, 3, 4]],
    ShiJian: [new Int64(), [20240617093100n, 20240617093200n, 0n, null]],
    Count: [new Int64(), [1n, 2n, 3n, 4n]],
    Date: [new Float64(), [1.5, 2.5, 0, null]],
    EndTime: [new Int32(), [0, 0, 0, 0]],
  };
  const made = tableOf(columns);
  const descriptions = [told("Obj"), told("ZhangFu"), told("Flow", { english: "Net flow" }), told("Kind", { kind: "enum" }), told("ShiJian"), told("Count", { unit: "shares ?" }), told("Date"), told("EndTime")];
  const page = await look(chrome, reportOf([{ table: made }, { table: made, told: descriptions }]));
  const tones = (column) => page.$$eval(`.row [data-column="${column}"]`, (all) => all.map((each) => ["rise", "fall", "level"].find((tone) => each.classList.contains(tone)) ?? ""));
  assert.deepEqual(await tones(1), ["rise", "fall", "level", ""]);
  assert.deepEqual(await tones(2), ["", "", "", ""]);
  // Nothing is told of this table: its times are guessed by name and value, and said to be a guess.
  assert.equal(await text(page, '.row[data-at="0"] [data-column="4"]'), "2024-06-17 09:31:00");
  await page.hover('.head [data-column="4"] .title');
  await page.waitForSelector(".tip.shown");
  assert.match(await text(page, ".tip"), /yyyymmddhhmmss \?/);
  // What looks like a time by its name only is a number.
  assert.equal(await text(page, '.row[data-at="0"] [data-column="6"]'), "1.5");
  assert.equal(await text(page, '.row[data-at="0"] [data-column="7"]'), "0");
  await visit(page, "#/2");
  await idle(page);
  assert.deepEqual(await tones(2), ["rise", "fall", "level", "rise"]);
  assert.equal(await text(page, '.row[data-at="0"] [data-column="4"]'), "20,240,617,093,100");
  // Its unit stands where a heading has no other name.
  assert.equal(await text(page, '.head [data-column="5"] .name'), "shares ?");
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});
