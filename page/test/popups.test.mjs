// The small windows: a whole value, the menu of a column, the list of columns; and what is said of a cell.
import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { Binary, Field, FixedSizeList, Float64, Int32, Int64, Utf8 } from "apache-arrow";
import { browser, filter, idle, look, menu, rowNumbers, settle, text, visit } from "./support.mjs";
import { reportOf, rowsOf, tableOf, told } from "./tables.mjs";

let chrome;
before(async () => (chrome = await browser()));
after(() => chrome.close());

const long = "long ".repeat(100).trim();
const columns = {
  Obj: [new Utf8(), ["SH600000", "SZ000001", "", null, "BJ430047"]],
  Note: [new Utf8(), ["one\ntwo\tthree", long, "", null, "x"]],
  Price: [new Float64(), [1.5, 1000, null, -2, 0]],
  Time: [new Int64(), [20240617093100n, 20240617093200n, 20240618093100n, null, 20240701093100n]],
  Parts: [new FixedSizeList(3, new Field("item", new Float64(), true)), [[1.25, null, 3000], null, [1, 2, 3], [4, 5, 6], [7, 8, 9]]],
  Bytes: [new Binary(), [Uint8Array.from({ length: 20 }, (_, i) => i), null, null, null, null]],
  Inner: [rowsOf({ A: new Int32() }), [[{ A: 1 }, { A: 2 }], [], null, null, null]],
};
const descriptions = [
  told("Obj", { english: "Instrument", chinese: "代码", kind: "code" }),
  told("Note"),
  told("Price", { english: "Last price", chinese: "最新价", meaning: "Of the last trade", unit: "yuan", source: "Data.Price", made: "packed", unset: "0xff" }),
  told("Time", { english: "Time", chinese: "时间", kind: "yyyymmddhhmmss" }),
  told("Parts", { english: "Parts", elements: [[0, "Small", "小单", "", "", "from Small"], [2, "Large", "大单", "", "", ""]] }),
  told("Bytes"),
  told("Inner"),
];
const replies = () => reportOf([{ table: tableOf(columns), told: descriptions }, { table: tableOf({ Other: [new Int32(), [7]] }) }]);

const cell = (row, column) => `.row[data-at="${row}"] [data-column="${column}"]`;

test("the whole of a value: texts, lists with what is told of them, bytes", async () => {
  const page = await look(chrome, replies());
  const value = async (row, column) => {
    await page.dblclick(cell(row, column));
    const read = [await text(page, "dialog h2"), await text(page, "dialog .value")];
    await page.click("dialog >> text=Close");
    assert.equal(await page.$("dialog"), null);
    assert.equal(await page.evaluate(() => document.activeElement.className), "grid");
    return read;
  };
  // Lines stay lines, other marks are seen; a row is called by its code.
  assert.deepEqual(await value(0, 1), ["SH600000 · Note", "one\ntwo\\tthree"]);
  assert.deepEqual(await value(1, 1), ["SZ000001 · Note", long]);
  // A row without a code by its number.
  assert.deepEqual(await value(2, 1), ["2 · Note", "empty text"]);
  assert.deepEqual(await value(3, 2), ["3 · Last price", "-2"]);
  assert.deepEqual(await value(2, 2), ["2 · Last price", "unset"]);
  assert.deepEqual((await value(0, 5))[1], "000102030405060708090a0b0c0d0e0f10111213");
  assert.deepEqual((await value(1, 4))[1], "unset");

  await page.click(cell(0, 4));
  await page.keyboard.press("Enter");
  assert.deepEqual(await page.$$eval("dialog tr", (rows) => rows.map((row) => [...row.children].map((each) => each.textContent))), [
    ["0", "Small", "1.25", "from Small"],
    ["1", "", "·", ""],
    ["2", "Large", "3000", ""],
  ]);
  // What closes it waits for nothing: the next key is for the grid.
  assert.deepEqual(
    await page.evaluate(() => {
      document.querySelector("dialog button").click();
      return [document.querySelector("dialog"), document.activeElement.className];
    }),
    [null, "grid"],
  );
  await page.keyboard.press("Enter");
  // A click in it leaves it open, one beside it closes it.
  await page.mouse.click(...Object.values(await page.$eval("dialog h2", (head) => head.getBoundingClientRect())).slice(0, 2).map((at) => at + 3));
  assert.ok(await page.$("dialog"));
  await page.mouse.click(5, 400);
  assert.equal(await page.$("dialog"), null);

  // It does not stay over another reply.
  await page.evaluate(() => (location.hash = "#/2"));
  await settle(page);
  await page.keyboard.press("Enter");
  assert.equal(await text(page, "dialog .value"), "7");
  await page.goBack();
  await page.waitForFunction(() => document.querySelector(".grid").getAttribute("aria-rowcount") === "6");
  await settle(page);
  assert.equal(await page.$("dialog"), null);
  // A long text ends in its cell, and in the line below.
  assert.equal(await text(page, cell(1, 1)), `${long.slice(0, 200)}…`);
  await page.click(cell(1, 1));
  assert.equal(await page.$eval(".detail .fact", (fact) => fact.textContent), `${long.slice(0, 120)}…`);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("filters of a column: a range, a time as it is shown, a text, set and unset cells", async () => {
  const page = await look(chrome, replies());
  assert.equal(await filter(page, 2, { From: "0" }), "0 1 4");
  assert.match(await page.getAttribute('.head [data-column="2"]', "class"), /filtered/);
  // What was asked for stands in the menu again.
  await menu(page, 2);
  assert.equal(await page.inputValue('dialog input[aria-label="From"]'), "0");
  assert.equal(await page.inputValue('dialog input[aria-label="To"]'), "");
  await page.keyboard.press("Escape");
  assert.equal(await filter(page, 2, { From: "", To: "1,000" }), "0 1 3 4");
  await menu(page, 2);
  assert.equal(await page.inputValue('dialog input[aria-label="To"]'), "1000");
  await page.click("dialog >> text=Remove filter");
  await idle(page);
  assert.equal(await text(page, ".count"), "5 rows");
  assert.equal(await page.$(".head .filtered"), null);
  // What is no number is no filter.
  assert.equal(await filter(page, 2, { From: "many" }), "0 1 2 3 4");
  assert.equal(await page.$(".head .filtered"), null);

  assert.equal(await filter(page, 2, { Cells: "only unset" }), "2");
  assert.equal(await text(page, ".count"), "1 of 5 rows");
  await menu(page, 2);
  assert.equal(await page.$eval("dialog select", (select) => select.selectedOptions[0].textContent), "only unset");
  await page.keyboard.press("Escape");
  assert.equal(await filter(page, 2, { Cells: "only set" }), "0 1 3 4");
  // A second column narrows it further; a text is found in capitals, too.
  assert.equal(await filter(page, 0, { Contains: "sz" }), "1");
  await page.click("text=Clear filters");
  await idle(page);

  assert.equal(await filter(page, 3, { From: "2024-06-17 09:31:01", To: "2024-06-18 09:31:00" }), "1 2");
  assert.equal(await filter(page, 3, { From: "2024-06-18", To: "" }), "2 4");
  // A day ends with its last second.
  assert.equal(await filter(page, 3, { From: "", To: "2024-06-17" }), "0 1");
  assert.equal(await filter(page, 3, { From: "", To: "" }), "0 1 2 3 4");

  // A text has no range, and a table nothing to contain.
  await menu(page, 1);
  assert.deepEqual(await page.$$eval("dialog label", (labels) => labels.map((label) => label.firstChild.textContent)), ["Contains", "Cells"]);
  await page.keyboard.press("Escape");
  await menu(page, 6);
  assert.deepEqual(await page.$$eval("dialog label", (labels) => labels.map((label) => label.firstChild.textContent)), ["Cells"]);
  await page.keyboard.press("Escape");
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("sorting and hiding by the menu; columns chosen from their list", async () => {
  const page = await look(chrome, replies());
  const order = async (word) => {
    await menu(page, 2);
    await page.click(`dialog >> text=${word}`);
    await idle(page);
    return (await rowNumbers(page)).join(" ");
  };
  assert.equal(await order("Sort descending"), "1 0 4 3 2");
  assert.equal(await page.getAttribute('.head [data-column="2"]', "aria-sort"), "descending");
  assert.equal(await order("Sort ascending"), "3 4 0 1 2");
  assert.equal(await order("As received"), "0 1 2 3 4");
  const names = () => page.$$eval(".head .cell .title", (all) => all.map((each) => each.textContent));
  assert.deepEqual(await names(), ["Instrument", "Note", "Last price", "Time", "Parts", "Bytes", "Inner"]);
  await menu(page, 2);
  await page.click("dialog >> text=Hide column");
  assert.deepEqual(await names(), ["Instrument", "Note", "Time", "Parts", "Bytes", "Inner"]);
  const button = '.grid-tools button[aria-haspopup="dialog"]';
  assert.equal(await text(page, button), "Columns 6/7");

  // The list has the wire's names, where headings are others.
  await page.click(button);
  assert.deepEqual(await page.$$eval(".checks label", (all) => all.slice(0, 3).map((each) => `${each.textContent} ${each.querySelector("input").checked}`)), ["InstrumentObj true", "Note true", "Last pricePrice false"]);
  await page.click("dialog >> text=Hide all but the first");
  assert.deepEqual(await names(), ["Instrument"]);
  assert.deepEqual(await page.$$eval(".checks input", (all) => all.map((each) => each.checked)), [true, false, false, false, false, false, false]);
  // With no column left there is nothing to open, to copy or to tell of.
  await page.uncheck(".checks label:first-child input");
  await page.keyboard.press("Escape");
  assert.equal(await page.evaluate(() => document.activeElement.textContent), "Columns 0/7");
  assert.deepEqual(await names(), []);
  await page.focus(".grid");
  await page.keyboard.press("Enter");
  await page.keyboard.press("m");
  assert.equal(await page.$("dialog"), null);
  assert.equal(await text(page, ".detail"), "");
  await page.click(button);
  await page.click("dialog >> text=Show all");
  await page.keyboard.press("Escape");
  assert.equal((await names()).length, 7);
  assert.equal(await text(page, button), "Columns");
  // They stay hidden while one looks elsewhere.
  await page.click(button);
  await page.uncheck(".checks label:nth-child(2) input");
  await page.keyboard.press("Escape");
  await visit(page, "#/2");
  await visit(page, "#/1");
  assert.equal(await text(page, button), "Columns 6/7");
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("what is said of a cell and of a column under the pointer", async () => {
  const page = await look(chrome, replies(), "", { viewport: { width: 1900, height: 300 } });
  const tip = async (selector) => {
    // Scrolling that comes late takes it away again.
    for (let tries = 0, shown = null; tries < 3 && !shown; ++tries) {
      await page.mouse.move(1, 1);
      await page.hover(selector);
      shown = await page.waitForSelector(".tip.shown", { timeout: 3000 }).catch(() => null);
    }
    const facts = await page.$$eval(".tip dt, .tip dd", (all) => all.map((each) => each.textContent).join("|"));
    const [above, below] = await page.evaluate(() => [".tip", ".grid .cell:hover"].map((each) => document.querySelector(each).getBoundingClientRect().top));
    return { facts, above: above < below };
  };
  assert.equal((await tip(cell(0, 2))).facts, "Value|1.5|Name|Price|Meaning|Of the last trade|Unit|yuan|Source|Data.Price|Made|packed|Unset when|0xff");
  assert.equal(await text(page, ".tip p"), "Last price 最新价");
  assert.equal((await tip(cell(2, 2))).facts.slice(0, 12), "Value|unset|");
  assert.equal((await tip(cell(2, 1))).facts, "Value|empty text|Name|Note");
  const last = await tip(cell(1, 1));
  assert.equal(last.facts, `Value|${long.slice(0, 400)}…|Name|Note`);
  assert.equal((await tip(cell(0, 6))).facts, "Name|Inner");
  assert.deepEqual(await tip('.head [data-column="3"] .title'), { facts: "Name|Time|Kind|yyyymmddhhmmss", above: false });
  // Where there is no room below a cell it is above it.
  assert.equal((await tip(cell(4, 2))).above, true);
  // It goes with the pointer, over what tells nothing and out of the table, and with scrolling.
  await page.hover(".grid .row .gutter");
  assert.equal(await page.$(".tip"), null);
  await tip(cell(0, 2));
  await page.hover(".top");
  assert.equal(await page.$(".tip"), null);
  await page.setViewportSize({ width: 800, height: 300 });
  await tip(cell(0, 1));
  // What is under the pointer then may be told of in turn.
  const shown = await page.$(".tip");
  await page.mouse.wheel(40, 0);
  await page.waitForFunction((tip) => !tip.isConnected, shown);
  // It does not come for a cell that is gone by then.
  await page.mouse.move(1, 1);
  await page.$eval(cell(3, 1), (gone) => {
    gone.dispatchEvent(new MouseEvent("mouseover", { bubbles: true }));
    gone.closest(".row").remove();
  });
  await page.waitForTimeout(400);
  assert.equal(await page.$(".tip"), null);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});
