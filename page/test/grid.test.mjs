// The grid: moving, sorting, filtering, hiding, copying, nested tables and back, all with the keyboard too.
import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { browser, cellsOf, copied, idle, look, pack, packed, report, sample, settle, text } from "./support.mjs";

let chrome;
before(async () => (chrome = await browser()));
after(() => chrome.close());

const kline = () => report([sample("21-QuoteKlineSingle")]);

test("scrolls to the end", async () => {
  const page = await look(chrome, kline(), "#/1/0/Data");
  await page.focus(".grid");
  await page.keyboard.press("Control+End");
  await settle(page);
  // The last of the columns is there, too, and the first one is not any more.
  assert.equal(await page.$eval(".cell.cursor", (cell) => cell.getAttribute("aria-colindex")), "15");
  assert.equal(await page.$('.grid .row [data-column="0"]'), null);
  await page.keyboard.press("Home");
  await settle(page);
  assert.equal((await cellsOf(page, 0)).at(-1), "2024-06-17 15:00:00");
  assert.equal(await page.$eval(".row.current", (row) => row.getAttribute("aria-rowindex")), "241");
  // No more than what is on the screen is in the page.
  assert.ok((await page.$$(".grid .row")).length < 60);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("sorts by a column, and says so", async () => {
  const page = await look(chrome, kline(), "#/1/0/Data");
  const close = 4;
  const header = page.locator(`.head [data-column="${close}"]`);
  await header.click();
  await idle(page);
  assert.equal(await header.getAttribute("aria-sort"), "ascending");
  const up = (await cellsOf(page, close)).map(Number);
  assert.deepEqual(up, [...up].sort((a, b) => a - b));
  await header.click();
  await idle(page);
  const down = (await cellsOf(page, close)).map(Number);
  assert.deepEqual(down, [...down].sort((a, b) => b - a));
  assert.ok(down[0] > up[0]);
  await header.click();
  await idle(page);
  assert.equal(await header.getAttribute("aria-sort"), "none");
  assert.equal((await cellsOf(page, 0))[0], "2024-06-17 09:31:00");
  await page.context().close();
});

test("unset cells are last either way, and are neither zero nor empty", async () => {
  // Three rows: a name that is empty, a price that was not sent.
  const file = pack(
    "unset",
    `Id: 3 Tbl { Info { Name: "T" Type: 116 } Data { Index: 0 tValues {
       Info { Name: "Name" Type: 115 } Info { Name: "Price" Type: 105 }
       Data { Index: 0 sValues: "a" sValues: "" sValues: "c" }
       Data { Index: 1 iValues: ${packed(1234, 0)} iValues: ${packed(0, 0)} } } } }`,
  );
  const page = await look(chrome, report([file]));
  assert.deepEqual(await cellsOf(page, 1), ["12.34", "0", "·"]);
  assert.equal((await cellsOf(page, 0))[1], "''");
  assert.equal(await page.getAttribute('.row[data-at="2"] [data-column="1"] span', "aria-label"), "unset");
  for (const first of ["0", "12.34"]) {
    await page.click('.head [data-column="1"]');
    await idle(page);
    const cells = await cellsOf(page, 1);
    assert.equal(cells[0], first);
    assert.equal(cells[2], "·");
  }
  await page.context().close();
});

test("filters by text and by range", async () => {
  const page = await look(chrome, kline(), "#/1/0/Data");
  await page.fill(".grid-tools input", "09:4");
  await page.waitForFunction(() => document.querySelector(".count").textContent.startsWith("10 of"));
  assert.ok((await cellsOf(page, 0)).every((time) => time.includes("09:4")));
  await page.fill(".grid-tools input", "");
  await page.waitForFunction(() => document.querySelector(".count").textContent.startsWith("240"));

  await page.hover('.head [data-column="4"]');
  await page.click('.head [data-column="4"] .menu');
  await page.fill('dialog input[aria-label="From"]', "8.6");
  await page.fill('dialog input[aria-label="To"]', "8.62");
  await page.keyboard.press("Enter");
  await idle(page);
  const closes = (await cellsOf(page, 4)).map(Number);
  assert.ok(closes.length > 0 && closes.every((close) => close >= 8.6 && close <= 8.62), String(closes));
  assert.match(await text(page, ".count"), / of 240 rows/);
  await page.click("text=Clear filters");
  await idle(page);
  assert.match(await text(page, ".count"), /^240 rows/);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("hides columns and shows them again", async () => {
  const page = await look(chrome, kline(), "#/1/0/Data");
  assert.equal(await page.getAttribute(".grid", "aria-colcount"), "15");
  await page.click(".grid-tools >> text=Columns");
  await page.uncheck("dialog .checks label:nth-child(2) input");
  await page.keyboard.press("Escape");
  assert.equal(await page.getAttribute(".grid", "aria-colcount"), "14");
  assert.equal(await text(page, '.head [data-column="1"] .name'), "ZuiGaoJia");
  await page.context().close();
});

test("copies cells and rows with the values as they are", async () => {
  const page = await look(chrome, kline(), "#/1/0/Data");
  await page.click('.row[data-at="1"] [data-column="5"]');
  assert.equal(await copied(page), "353500");
  await page.keyboard.press("Shift+ArrowLeft");
  await page.keyboard.press("Shift+ArrowDown");
  assert.equal(await copied(page), "ShouPanJia\tChengJiaoLiang\n8.17\t353500\n8.18\t249300");
  await page.click('.row[data-at="0"] .gutter');
  assert.match(await copied(page), /^ShiJian\t.*\n2024-06-17 09:31:00\t8.2\t8.2\t8.19\t8.19\t368200\t3017399\t433\t/);
  await page.context().close();
});

test("goes into a nested table and back; the address says where", async () => {
  const page = await look(chrome, kline());
  await page.focus(".grid");
  await page.keyboard.press("ArrowDown");
  await page.keyboard.press("ArrowRight");
  await page.keyboard.press("Enter");
  await settle(page);
  assert.equal(new URL(page.url()).hash, "#/1/1/Data");
  assert.equal(await page.getAttribute(".grid", "aria-rowcount"), "61");
  await page.keyboard.press("Backspace");
  await settle(page);
  assert.equal(new URL(page.url()).hash, "#/1");
  // The cursor is where it was.
  assert.equal(await page.$eval(".cell.cursor", (cell) => cell.textContent), "60 × 14");
  await page.goBack();
  await settle(page);
  assert.equal(new URL(page.url()).hash, "#/1/1/Data");
  assert.equal(await text(page, ".path a[aria-current]"), "SFIF2406 · Bars");
  // An address that leads nowhere shows how far it leads.
  await page.evaluate(() => (location.hash = "#/1/7/Data/x"));
  await settle(page);
  assert.equal(await page.getAttribute(".grid", "aria-rowcount"), "3");
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("says what a column means and what a cell exactly is, on hover and for the cursor", async () => {
  const page = await look(chrome, kline(), "#/1/0/Data");
  await page.hover('.head [data-column="5"] .title');
  await page.waitForSelector(".tip.shown");
  const tip = await text(page, ".tip");
  for (const part of ["Volume", "成交量", "ChengJiaoLiang", "Volume traded in the bar", "shares ?", "Data.ChengJiaoLiang"]) assert.ok(tip.includes(part), `${part} in ${tip}`);
  await page.click('.row[data-at="0"] [data-column="0"]');
  const detail = await text(page, ".detail");
  assert.ok(detail.includes("20240617093100") && detail.includes("Data.ShiJian"), detail);
  await page.context().close();
});

test("is a grid to a screen reader, in both languages", async () => {
  const page = await look(chrome, kline(), "#/1/0/Data");
  const problems = await page.evaluate(() => {
    const wrong = [];
    const grid = document.querySelector('[role="grid"]');
    for (const row of grid.querySelectorAll('[role="row"]')) {
      if (!row.getAttribute("aria-rowindex")) wrong.push("a row without an index");
      for (const cell of row.children) {
        if (!["gridcell", "columnheader", "rowheader"].includes(cell.getAttribute("role"))) wrong.push(`role ${cell.getAttribute("role")}`);
        if (!cell.getAttribute("aria-colindex")) wrong.push("a cell without an index");
      }
    }
    for (const control of document.querySelectorAll("button, input, select, [role=application]")) {
      if (!(control.textContent.trim() || control.getAttribute("aria-label"))) wrong.push(`no name: ${control.outerHTML}`);
    }
    return wrong;
  });
  assert.deepEqual(problems, []);
  // What the browser tells assistive technology.
  const session = await page.context().newCDPSession(page);
  const { nodes } = await session.send("Accessibility.getFullAXTree");
  const roles = nodes.map((node) => node.role?.value);
  for (const role of ["grid", "row", "columnheader", "gridcell", "toolbar", "main", "banner"]) assert.ok(roles.includes(role), role);
  await page.focus(".grid");
  await page.keyboard.press("ArrowDown");
  const active = await page.getAttribute(".grid", "aria-activedescendant");
  assert.equal(await page.$eval(`#${active}`, (cell) => cell.textContent), "2024-06-17 09:32:00");
  await page.click("text=中文");
  assert.equal(await page.getAttribute("html", "lang"), "zh-CN");
  assert.equal(await text(page, '.head [data-column="4"] .title'), "收盘价");
  assert.equal(await text(page, '.head [data-column="4"] .name'), "ShouPanJia");
  await page.context().close();
});

test("the focus is always seen, and everything can be reached with Tab", async () => {
  const page = await look(chrome, report([sample("21-QuoteKlineSingle"), sample("28-PaiXu")]));
  await settle(page);
  const seen = new Set();
  for (let i = 0; i < 40; ++i) {
    await page.keyboard.press("Tab");
    const focused = await page.evaluate(() => {
      const element = document.activeElement;
      const style = getComputedStyle(element);
      return { name: element.className || element.tagName, outline: style.outlineStyle !== "none" && parseFloat(style.outlineWidth) > 0 };
    });
    if (focused.name !== "BODY" && focused.name !== "IFRAME") assert.ok(focused.outline, focused.name);
    seen.add(focused.name.split(" ")[0]);
  }
  for (const name of ["switch", "entries", "chip", "picture", "grid"]) assert.ok(seen.has(name), `${name} among ${[...seen]}`);
  await page.context().close();
});
