// The table by keys and with the pointer: moving, selecting, opening.
import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { Int32, Int8, Utf8 } from "apache-arrow";
import { browser, cellsOf, copied, idle, look, report, rowNumbers, sample, settle, text, visit } from "./support.mjs";
import { reportOf, rowsOf, tableOf } from "./tables.mjs";

let chrome;
before(async () => (chrome = await browser()));
after(() => chrome.close());

// 240 bars of one minute, 14 columns.
const bars = () => look(chrome, report([sample("21-QuoteKlineSingle")]), "#/1/0/Data");

// The row and the column of the cursor; row -1 are the headings.
async function where(page) {
  await settle(page);
  return page.evaluate(() => {
    const cell = document.querySelector(".grid .cell.cursor");
    return [Number(cell.closest(".row")?.dataset.at ?? -1), Number(cell.dataset.column)];
  });
}

async function press(page, ...keys) {
  for (const key of keys) await page.keyboard.press(key);
  return where(page);
}

const selected = (page) => page.$$eval(".grid .cell.selected", (all) => all.length);

test("the cursor moves by cells, pages and to the ends, and stops there", async () => {
  const page = await bars();
  await page.focus(".grid");
  assert.deepEqual(await press(page, "ArrowDown", "ArrowDown", "ArrowRight"), [2, 1]);
  assert.deepEqual(await press(page, "ArrowUp", "ArrowLeft", "ArrowLeft"), [1, 0]);
  const [down] = await press(page, "Home", "PageDown");
  // A page is what can be seen.
  const seen = await page.$eval(".grid", (grid) => grid.clientHeight / 26);
  assert.ok(down > 1 && down - 1 < seen && down - 1 > seen / 3, `${down} of ${seen}`);
  assert.deepEqual(await press(page, "PageUp"), [1, 0]);
  assert.deepEqual(await press(page, "PageUp"), [0, 0]);
  assert.deepEqual(await press(page, "End"), [0, 13]);
  assert.deepEqual(await press(page, "ArrowRight"), [0, 13]);
  assert.deepEqual(await press(page, "Control+End", "ArrowDown"), [239, 13]);
  assert.deepEqual(await press(page, "Control+Home"), [0, 0]);
  // Keys that mean something to the browser, or nothing at all, move nothing.
  assert.deepEqual(await press(page, "Alt+ArrowDown", "x"), [0, 0]);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("headings are reached by keys: sorting, the menu, what is told", async () => {
  const page = await bars();
  await page.focus(".grid");
  assert.deepEqual(await press(page, ..."4444".split("").map(() => "ArrowRight"), "ArrowUp"), [-1, 4]);
  // There is no value there; what is copied is the first row's.
  assert.equal(await text(page, ".detail"), "");
  assert.equal(await copied(page), "8.19");
  const active = await page.getAttribute(".grid", "aria-activedescendant");
  assert.equal(await page.$eval(`#${active}`, (cell) => cell.dataset.name), "ShouPanJia");
  for (const order of ["ascending", "descending", "none"]) {
    await page.keyboard.press("Enter");
    await idle(page);
    assert.equal(await page.getAttribute('.head [data-column="4"]', "aria-sort"), order);
  }
  await page.keyboard.press("m");
  assert.equal(await text(page, "dialog .of"), "Close");
  await page.keyboard.press("Escape");
  assert.equal(await page.evaluate(() => document.activeElement.className), "grid");
  assert.deepEqual(await press(page, "Shift+M"), [-1, 4]);
  assert.ok(await page.$("dialog"));
  await page.keyboard.press("Escape");
  // Two clicks on a heading sort twice and open nothing; a click beside the headings does nothing.
  await page.dblclick('.head [data-column="4"] .title');
  await idle(page);
  assert.equal(await page.getAttribute('.head [data-column="4"]', "aria-sort"), "descending");
  assert.equal(await page.$("dialog"), null);
  await page.dblclick(".head .corner");
  await idle(page);
  assert.equal(await page.getAttribute('.head [data-column="4"]', "aria-sort"), "descending");
  // The order is kept while one looks at another table.
  const order = await rowNumbers(page);
  await visit(page, "#/1");
  await visit(page, "#/1/0/Data");
  await idle(page);
  assert.deepEqual(await rowNumbers(page), order);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("cells are selected with Shift, by dragging, by rows and all at once", async () => {
  const page = await bars();
  await page.focus(".grid");
  await press(page, "Shift+ArrowDown", "Shift+ArrowDown", "Shift+ArrowRight");
  assert.equal(await selected(page), 6);
  assert.match(await text(page, ".count"), /^240 rows · 6 selected$/);
  await press(page, "Escape");
  assert.equal(await selected(page), 0);
  assert.equal(await text(page, ".count"), "240 rows");
  await page.keyboard.press("Control+a");
  await settle(page);
  assert.equal(await text(page, ".count"), "240 rows · 3,360 selected");
  const lines = (await copied(page)).split("\n");
  assert.equal(lines.length, 241);
  assert.equal(lines[2].split("\t").length, 14);
  assert.deepEqual(lines[2].split("\t").slice(0, 2), ["2024-06-17 09:32:00", "8.19"]);
  // From the headings nothing is selected.
  await press(page, "Control+Home", "ArrowUp", "Shift+ArrowRight");
  assert.equal(await selected(page), 0);

  const at = async (row, column) => {
    const box = await page.locator(`.row[data-at="${row}"] [data-column="${column}"]`).boundingBox();
    return [box.x + box.width / 2, box.y + box.height / 2];
  };
  await page.mouse.move(...(await at(1, 1)));
  await page.mouse.down();
  await page.mouse.move(...(await at(2, 2)));
  await page.mouse.move(...(await at(3, 2)), { steps: 4 });
  const [x, y] = await at(3, 2);
  await page.mouse.move(x + 2, y);
  assert.equal(await selected(page), 6);
  await page.mouse.up();
  await page.mouse.move(...(await at(5, 3)));
  assert.equal(await selected(page), 6);
  // The other button is for the browser's menu.
  await page.mouse.click(...(await at(5, 3)), { button: "right" });
  assert.deepEqual(await where(page), [3, 2]);
  await page.keyboard.press("Escape");

  await page.click('.row[data-at="1"] .gutter');
  await page.click('.row[data-at="3"] .gutter', { modifiers: ["Shift"] });
  assert.equal(await text(page, ".count"), "240 rows · 42 selected");
  await page.click('.row[data-at="4"] .gutter');
  assert.equal(await text(page, ".count"), "240 rows · 14 selected");
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("the filter is reached from the table and left for it; a new one ends the one before", async () => {
  const rows = 200_000;
  const columns = { N: [new Int32(), Array.from({ length: rows }, (_, i) => i)] };
  const page = await look(chrome, reportOf([{ table: tableOf(columns) }]));
  await page.focus(".grid");
  await page.keyboard.press("/");
  const focused = () => page.evaluate(() => document.activeElement.getAttribute("role") ?? document.activeElement.type);
  assert.equal(await focused(), "search");
  await page.keyboard.type("19999");
  await page.keyboard.press("Enter");
  assert.equal(await focused(), "grid");
  await page.waitForFunction(() => document.querySelector(".count").textContent === "12 of 200,000 rows");
  assert.deepEqual(await rowNumbers(page), [19999, 119999, ...Array.from({ length: 10 }, (_, i) => 199990 + i)]);
  await page.keyboard.press("/");
  await page.keyboard.press("ArrowDown");
  assert.equal(await focused(), "grid");
  // The cursor stays among the rows that are left.
  assert.deepEqual(await press(page, "Control+End"), [11, 0]);
  await page.fill(".grid-tools input", "199995");
  await page.waitForFunction(() => document.querySelector(".count").textContent === "1 of 200,000 rows");
  assert.deepEqual(await where(page), [0, 0]);
  // Cleared while it works, a filter comes to nothing.
  await page.evaluate(() => {
    const count = document.querySelector(".count");
    window.said = [];
    new MutationObserver(() => {
      window.said.push(count.textContent);
      if (window.said.length === 1) document.querySelectorAll(".grid-tools .chip")[0].click();
    }).observe(count, { childList: true });
  });
  await page.fill(".grid-tools input", "7");
  await page.waitForFunction(() => document.querySelector(".count").textContent === "200,000 rows");
  await page.waitForTimeout(300);
  const said = await page.evaluate(() => window.said);
  assert.ok(said[0].startsWith("working") && said.every((each) => !each.includes("of")), String(said));
  assert.equal(await text(page, ".count"), "200,000 rows");
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("tables in cells: unset ones do not open, empty ones are empty", async () => {
  const columns = { Obj: [new Utf8(), ["a", "b", "c"]], Inner: [rowsOf({ A: new Int32() }), [[{ A: 1 }, { A: 2 }], [], null]] };
  const page = await look(chrome, reportOf([{ table: tableOf(columns) }]));
  const hash = () => new URL(page.url()).hash;
  await page.focus(".grid");
  await press(page, "ArrowDown", "ArrowDown", "ArrowRight", "Enter", "Backspace");
  assert.equal(hash(), "");
  assert.equal(await page.$("dialog"), null);
  // With Shift a click on a table selects.
  await page.click('.row[data-at="0"] .inside', { modifiers: ["Shift"] });
  assert.equal(await selected(page), 3);
  assert.equal(hash(), "");
  await page.click('.row[data-at="1"] .inside');
  await settle(page);
  assert.equal(hash(), "#/1/1/Inner");
  assert.equal(await text(page, ".count"), "0 rows");
  assert.deepEqual(await page.$$eval(".path a", (all) => all.map((each) => each.textContent)), ["Made", "b · Inner"]);
  await page.keyboard.press("Enter");
  assert.equal(await page.$("dialog"), null);
  await press(page, "ArrowUp", "Enter", "Control+a");
  assert.equal(await copied(page), "");
  assert.equal(await text(page, ".detail"), "");
  await page.click(".path a");
  await settle(page);
  assert.deepEqual(await where(page), [1, 1]);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("parts of a table: forward, back, and by moving", async () => {
  const rows = 1_000_002;
  const page = await look(chrome, reportOf([{ table: tableOf({ N: [new Int8(), Array.from({ length: rows }, (_, i) => i % 100)] }) }]));
  const parts = () => page.$eval(".parts", (element) => element.textContent.match(/\d\/\d/)[0]);
  assert.equal(await parts(), "1/2");
  await page.click(".parts >> text=Next");
  await settle(page);
  assert.equal(await parts(), "2/2");
  assert.deepEqual(await rowNumbers(page), [1_000_000, 1_000_001]);
  assert.deepEqual(await cellsOf(page, 0), ["0", "1"]);
  // Behind the last part is nothing.
  await page.click(".parts >> text=Next");
  assert.equal(await parts(), "2/2");
  await page.focus(".grid");
  assert.deepEqual(await press(page, "ArrowDown"), [1_000_001, 0]);
  assert.deepEqual(await press(page, "ArrowUp", "ArrowUp"), [999_999, 0]);
  assert.equal(await parts(), "1/2");
  assert.equal((await cellsOf(page, 0)).at(-1), "99");
  await page.click(".parts >> text=Next");
  await page.click(".parts >> text=Before");
  await settle(page);
  assert.deepEqual((await rowNumbers(page)).slice(0, 3), [0, 1, 2]);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});
