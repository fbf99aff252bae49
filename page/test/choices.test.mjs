// What one chooses in the charts, by clicks and by keys, and what they say then.
import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { Float64, Int32, Int64, Utf8 } from "apache-arrow";
import { browser, look, report, sample, settle, text, visit } from "./support.mjs";
import { reportOf, rowsOf, tableOf, told } from "./tables.mjs";

let chrome;
before(async () => (chrome = await browser()));
after(() => chrome.close());

async function drawn(page, kind) {
  await page.waitForSelector(`.picture[data-kind="${kind}"]`);
  await settle(page);
}

async function press(page, ...keys) {
  await page.focus(".picture");
  for (const key of keys) await page.keyboard.press(key);
  return text(page, ".legend");
}

const chip = (name) => `.gallery button:text-is("${name}")`;
const pressed = (page, group) => page.$$eval(`.gallery [aria-label="${group}"] [aria-pressed="true"]`, (all) => all.map((each) => each.textContent));
const legends = (page) => page.$$eval(".legend .part", (all) => all.map((each) => each.textContent));
const cursor = (page) => page.$eval(".grid .row.current", (row) => Number(row.dataset.at));
const shot = async (page) => (await page.screenshot({ clip: await page.locator(".picture").boundingBox() })).toString("base64");

// The highest pixel of each of the first two lines at the right end of the picture; smaller is higher.
function ends(page) {
  return page.evaluate(() => {
    const style = getComputedStyle(document.documentElement);
    return ["--line-0", "--line-1"].map((name) => {
      const wanted = style.getPropertyValue(name).trim().match(/\w\w/g).map((part) => parseInt(part, 16));
      const highest = [];
      for (const canvas of document.querySelectorAll(".picture canvas")) {
        if (canvas.width < 200 || canvas.height < 60) continue;
        const copy = new OffscreenCanvas(canvas.width, canvas.height).getContext("2d", { willReadFrequently: true });
        copy.drawImage(canvas, 0, 0);
        const { data } = copy.getImageData(0, 0, canvas.width, canvas.height);
        for (let i = 0; i < data.length; i += 4) {
          if (wanted.every((part, k) => Math.abs(data[i + k] - part) < 8)) highest.push(Math.floor(i / 4 / canvas.width));
        }
      }
      return Math.min(...highest);
    });
  });
}

// Twelve instruments with three days each: of number n, prices from n on and volumes from 100 n on.
function twelve() {
  const days = [20240617n, 20240618n, 20240619n];
  const rows = (n) => days.map((ShiJian, i) => ({ ShiJian, ShouPanJia: n + i / 10, ChengJiaoLiang: 100n * BigInt(n) + BigInt(i) }));
  const numbers = Array.from({ length: 12 }, (_, n) => n);
  const type = rowsOf({ ShiJian: new Int64(), ShouPanJia: new Float64(), ChengJiaoLiang: new Int64() });
  return { table: tableOf({ Obj: [new Utf8(), numbers.map((n) => `X${n}`)], Data: [type, numbers.map(rows)] }) };
}

test("lines: one of many instruments, several of them, their columns", async () => {
  const page = await look(chrome, reportOf([twelve(), { table: tableOf({ A: [new Int32(), [1]] }) }]));
  await drawn(page, "lines");
  const chosen = () => pressed(page, "Instruments");
  assert.deepEqual(await chosen(), ["X0"]);
  assert.equal(await text(page, ".legend"), "2024-06-19ShouPanJia 0.2");
  // Ten have buttons, the rest a list; who is chosen there takes the last button.
  const rest = () => page.$$eval(".gallery select option", (all) => all.map((each) => each.textContent));
  assert.deepEqual(await rest(), ["More …", "X10", "X11"]);
  await page.selectOption(".gallery select", { label: "X11" });
  await settle(page);
  assert.deepEqual(await chosen(), ["X11"]);
  assert.deepEqual(await rest(), ["More …", "X9", "X10"]);
  assert.deepEqual(await legends(page), ["ShouPanJia 11.2"]);

  await page.click(chip("Lay over each other"));
  await page.click(chip("X0"));
  assert.deepEqual(await chosen(), ["X0", "X11", "Lay over each other"]);
  assert.deepEqual(await legends(page), ["X11 ShouPanJia 11.2", "X0 ShouPanJia 0.2"]);
  // From nothing nobody rises by a percentage: the prices themselves are compared.
  await settle(page);
  const [eleven, none] = await ends(page);
  assert.ok(eleven < none, `${eleven} above ${none}`);
  await page.click(chip("X11"));
  assert.deepEqual(await legends(page), ["ShouPanJia 0.2"]);
  // One of them stays.
  await page.click(chip("X0"));
  assert.deepEqual(await chosen(), ["X0", "Lay over each other"]);
  // X1 rises by 20 %, X8 by 2.5 %: the first one is above, though its price is lower.
  await page.click(chip("X1"));
  await page.click(chip("X0"));
  await page.click(chip("X8"));
  assert.deepEqual(await legends(page), ["X1 ShouPanJia 1.2", "X8 ShouPanJia 8.2"]);
  await settle(page);
  const [one, eight] = await ends(page);
  assert.ok(one < eight, `${one} above ${eight}`);
  await page.click(chip("Lay over each other"));
  assert.deepEqual(await chosen(), ["X1"]);

  const columns = () => pressed(page, "Columns of the chart");
  assert.deepEqual(await columns(), ["ShouPanJia"]);
  await page.click(chip("ChengJiaoLiang"));
  assert.deepEqual(await legends(page), ["ShouPanJia 1.2", "ChengJiaoLiang 102"]);
  await page.click(chip("ShouPanJia"));
  assert.deepEqual(await legends(page), ["ChengJiaoLiang 102"]);
  // The button that was clicked keeps the focus, though it is another one now.
  assert.equal(await page.evaluate(() => document.activeElement.textContent), "ShouPanJia");
  await page.click(chip("ChengJiaoLiang"));
  assert.deepEqual(await columns(), ["ChengJiaoLiang"]);
  // What was chosen is kept for the next table of the kind.
  await visit(page, "#/2");
  assert.equal(await page.$(".gallery"), null);
  await visit(page, "#/1");
  await drawn(page, "lines");
  assert.deepEqual(await columns(), ["ChengJiaoLiang"]);
  // In the table of an instrument without a button it has one.
  await visit(page, "#/1/11/Data");
  await drawn(page, "lines");
  assert.deepEqual(await chosen(), ["X11"]);
  // There and back at once: what is drawn is where one is.
  await page.evaluate(() => {
    location.hash = "#/1";
    location.hash = "#/2";
  });
  await settle(page);
  assert.equal(await page.$(".gallery"), null);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

// A chart takes a second click within half a second for the end of a double one.
const afterClick = 550;

test("a click in a chart goes to the row, if the row is in the table below", async () => {
  const page = await look(chrome, report([sample("21-QuoteKlineSingle")]), "#/1/0/Data");
  await drawn(page, "candles");
  const box = await page.locator(".picture").boundingBox();
  const click = async (part) => {
    await page.mouse.move(box.x + (box.width - 70) * part, box.y + 100);
    await settle(page);
    await page.mouse.click(box.x + (box.width - 70) * part, box.y + 100);
    await settle(page);
    await page.waitForTimeout(afterClick);
  };
  await click(0.6);
  const time = (await text(page, ".legend")).slice(0, 19);
  assert.match(time, /^2024-06-17 1[34]:/);
  assert.equal(await page.$eval('.row.current [data-column="0"]', (cell) => cell.textContent), time);
  const row = await cursor(page);
  assert.ok(row > 100, `row ${row}`);
  // A row that a filter has left out is not gone to.
  await page.fill(".grid-tools input", "09:4");
  await page.waitForFunction(() => document.querySelector(".count").textContent.startsWith("10 of"));
  await click(0.7);
  assert.equal(await cursor(page), 9);
  await page.click("text=Clear filters");
  await settle(page);
  await click(0.6);
  assert.equal(await cursor(page), row);
  // Where no bar is, nothing is chosen; leaving the picture changes nothing either.
  await press(page, "-", "-", "-", "-", "-", "-");
  await click(0.05);
  assert.equal(await cursor(page), row);
  await page.mouse.move(5, 5);
  await settle(page);

  // Over the table that the bars' table is in, there is no such row.
  await visit(page, "#/1");
  await drawn(page, "candles");
  await page.focus(".grid");
  await page.keyboard.press("ArrowDown");
  await click(0.6);
  assert.equal(await cursor(page), 1);

  // Over another instrument its own rows are meant, not those of the one that is laid over it.
  const days = [20240617n, 20240618n, 20240619n, 20240620n];
  const rows = (some) => some.map((ShiJian) => ({ ShiJian, A: 1, B: 2 }));
  const type = rowsOf({ ShiJian: new Int64(), A: new Float64(), B: new Float64() });
  const columns = { Obj: [new Utf8(), ["X", "Y", "Z"]], Data: [type, [rows(days.slice(0, 2)), rows(days.slice(0, 3)), rows(days)]] };
  const other = await look(chrome, reportOf([{ table: tableOf(columns) }]), "#/1/1/Data");
  await drawn(other, "lines");
  for (const name of ["B", "Lay over each other", "X", "Y", "Y", "Z"]) await other.click(chip(name));
  await drawn(other, "lines");
  assert.deepEqual(await legends(other), ["X A ·", "X B ·", "Y A ·", "Y B ·", "Z A 1", "Z B 2"]);
  assert.equal(await press(other, "Home", "ArrowRight", "ArrowRight"), "2024-06-19X A ·X B ·Y A 1Y B 2Z A 1Z B 2");
  const place = await other.locator(".picture").boundingBox();
  const clickDay = async (day) => {
    await press(other, "Home");
    for (let x = place.width - 75; x > 0; x -= 40) {
      await other.mouse.move(place.x + x, place.y + 60);
      await settle(other);
      if ((await text(other, ".legend")).startsWith(day)) break;
    }
    await other.mouse.down();
    await other.mouse.up();
    await settle(other);
    await other.waitForTimeout(afterClick);
  };
  // The third day is the third row of Y. The last one is Z's alone, of which no row is in Y's table.
  await clickDay("2024-06-19");
  assert.equal(await cursor(other), 2);
  await clickDay("2024-06-20");
  assert.equal(await cursor(other), 2);
  assert.deepEqual([...page.wrong, ...other.wrong], []);
  await other.context().close();
  await page.context().close();
});

test("candlesticks: ten bars at a time, the ends, zoom, and back to the whole", async () => {
  const page = await look(chrome, report([sample("21-QuoteKlineSingle")]));
  await drawn(page, "candles");
  await page.mouse.move(5, 5);
  const at = async (...keys) => (await press(page, ...keys)).slice(11, 16);
  // From the morning's first bar on; Escape forgets where one was.
  assert.equal(await at("ArrowRight"), "09:31");
  assert.equal(await at("Shift+ArrowRight", "ArrowRight"), "09:42");
  assert.equal(await at("Shift+ArrowLeft", "ArrowLeft"), "09:31");
  assert.equal(await at("ArrowLeft"), "09:31");
  assert.equal(await at("End"), "15:00");
  assert.equal(await at("ArrowRight"), "15:00");
  assert.equal(await at("Escape", "ArrowRight"), "09:31");
  assert.equal(await at("Escape", "ArrowLeft"), "15:00");
  assert.equal(await at("x"), "15:00");
  await page.keyboard.press("Escape");
  await settle(page);
  const whole = await shot(page);
  for (const [closer, back] of [[["=", "+"], ["0"]], [["-"], ["0"]]]) {
    await press(page, ...closer);
    await settle(page);
    const closely = await shot(page);
    assert.notEqual(closely, whole, String(closer));
    await press(page, ...back);
    await settle(page);
    assert.equal(await shot(page), whole, String(closer));
  }
  // A bar that is out of sight is brought into it.
  const middleIs = async (right) => {
    let time = "";
    for (let tries = 0; tries < 50 && !right(time); ++tries) {
      const box = await page.locator(".picture").boundingBox();
      await page.mouse.move(box.x + (box.width - 70) / 2, box.y + 100 + (tries % 2));
      await settle(page);
      time = (await text(page, ".legend")).slice(11, 16);
      if (!right(time)) await page.waitForTimeout(100);
    }
    assert.ok(right(time), time);
  };
  await press(page, "End", "+", "+", "+", "+", "+");
  await middleIs((time) => time > "14:30");
  await press(page, "Home");
  await middleIs((time) => time !== "" && time < "10:00");
  await page.click('.zoom [aria-label="Whole"]');
  await middleIs((time) => time > "10:30" && time < "14:00");
  await page.click('.zoom [aria-label="Zoom in"]');
  await page.mouse.move(5, 5);
  await settle(page);
  assert.notEqual(await shot(page), whole);
  await page.click('.zoom [aria-label="Zoom out"]');
  // On a narrow screen the chart begins with its end, two pixels for a bar: 160 of 240.
  await page.setViewportSize({ width: 420, height: 860 });
  await page.click(chip("Lines"));
  await drawn(page, "lines");
  await page.click(chip("Candlesticks"));
  await drawn(page, "candles");
  await middleIs((time) => time > "13:20" && time < "14:00");
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

// A browser that is busy gets several keys before it draws.
test("candlesticks: keys between two frames go on from each other", async () => {
  const page = await look(chrome, report([sample("21-QuoteKlineSingle")]));
  await drawn(page, "candles");
  await page.mouse.move(5, 5);
  await page.focus(".picture");
  const atOnce = (keys) =>
    page.$eval(".picture", (picture, all) => all.forEach((key) => picture.dispatchEvent(new KeyboardEvent("keydown", { key }))), keys);
  for (const keys of [["End", "+", "+", "+"], ["End", "+", "+", "Home", "-"], ["+", "0", "+"], ["+", "+", "Home", "0"]]) {
    await press(page, "0", "Escape");
    await settle(page);
    for (const key of keys) {
      await page.keyboard.press(key);
      await settle(page);
    }
    const oneByOne = await shot(page);
    await press(page, "0", "Escape");
    await settle(page);
    await atOnce(keys);
    await settle(page);
    assert.ok((await shot(page)) === oneByOne, String(keys));
  }
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("candlesticks with holes: bars without a price are left out, what is unset is said", async () => {
  const bars = rowsOf({ Time: new Int64(), Open: new Float64(), High: new Float64(), Low: new Float64(), Close: new Float64() });
  const lines = rowsOf({ Time: new Int64(), Open: new Float64() });
  const bar = (Time, Open, Close) => ({ Time, Open, High: 9, Low: 1, Close });
  const columns = {
    Obj: [new Utf8(), ["X", "Y"]],
    Data: [bars, [[bar(20240617n, 2, 3), bar(20240618n, null, null), bar(0n, 5, 5), bar(20240619n, 3, 2)], [bar(20240618n, 5, 6), bar(20240620n, 6, 7)]]],
    Other: [lines, [[{ Time: 20240617n, Open: 1 }, { Time: 20240618n, Open: 2 }], null]],
  };
  const page = await look(chrome, reportOf([{ table: tableOf(columns) }]));
  await drawn(page, "candles");
  assert.equal(await press(page, "Home"), "2024-06-17X O 2  H 9  L 1  C 3");
  assert.equal(await press(page, "ArrowRight"), "2024-06-18X O ·  H 9  L 1  C ·");
  // No day is 0.
  assert.equal(await press(page, "ArrowRight"), "2024-06-19X O 3  H 9  L 1  C 2");
  await page.click(chip("Lay over each other"));
  await page.click(chip("Y"));
  await drawn(page, "candles");
  assert.equal(await press(page, "Home"), "2024-06-17X O 2  H 9  L 1  C 3Y ·");
  assert.equal(await press(page, "End"), "2024-06-20X ·Y O 6  H 9  L 1  C 7");
  // As lines, with the other instrument's.
  await page.click(chip("Lines"));
  await drawn(page, "lines");
  assert.equal(await press(page, "Home"), "2024-06-17X Open 2Y Open ·");
  assert.equal(await page.$eval(chip("Lines"), (button) => button.getAttribute("aria-pressed")), "true");
  await page.click("text=中文");
  await drawn(page, "lines");
  await page.click(chip("K线"));
  await drawn(page, "candles");
  assert.equal(await press(page, "Home"), "2024-06-17X 开 2  高 9  低 1  收 3");
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("rise and fall counts: another instrument, as lines, a row of the table", async () => {
  const page = await look(chrome, report([sample("271-ShiChangZhangDieFanHuiShuJu")]));
  await drawn(page, "bars");
  const objects = await page.$$eval('.gallery [aria-label="Instruments"] button', (all) => all.map((each) => each.textContent));
  assert.deepEqual(objects.slice(0, 1), ["SH000001"]);
  assert.ok(!objects.includes("Lay over each other"));
  await page.click(chip("Lines"));
  await drawn(page, "lines");
  await page.click(chip("Counts"));
  await drawn(page, "bars");
  // 19 stood at the limit at 09:35; the row is told by its time.
  await visit(page, "#/1/0/Data");
  await drawn(page, "bars");
  await press(page, "Enter");
  assert.equal(await cursor(page), 2);
  await page.fill('input[type="range"]', "0");
  assert.equal(await press(page, "Home"), "2024-06-17 09:35:00Latest at limit-up 19");
  await page.click('.picture [data-bar="2"].catch');
  assert.equal(await cursor(page), 0);
  assert.deepEqual(page.wrong, []);
  await page.context().close();

  // A single row without a time has no slider and is told by its number.
  const names = ["ShangZhangJiaShu", "XiaDieJiaShu", "PingPanJiaShu", "ZhangTingJiaShu"];
  const single = tableOf(Object.fromEntries(names.map((name, i) => [name, [new Int32(), [10 * (i + 1)]]])));
  const other = await look(chrome, reportOf([{ table: single }]));
  await drawn(other, "bars");
  assert.equal(await other.$('input[type="range"]'), null);
  assert.equal(await press(other, "End"), "Row 0ZhangTingJiaShu 40");
  assert.deepEqual(await other.$$eval(".bar", (all) => all.map((each) => each.classList[1])), ["rise", "fall", "level", "rise"]);
  assert.deepEqual(other.wrong, []);
  await other.context().close();
});

test("rankings: tones, amounts, labels, another column, the row of a bar", async () => {
  const columns = {
    Obj: [new Utf8(), ["A very long name of an instrument that no chart has room for", "上海浦东发展银行股份有限公司", "C  D", "", "E"]],
    ZhangFu: [new Float64(), [1.5, -2, 0, null, 10]],
    Amount: [new Float64(), [3.5e9, -2e6, 12345, 999.5, 0]],
    Nothing: [new Float64(), [null, 0, null, null, null]],
  };
  const page = await look(chrome, reportOf([{ table: tableOf(columns) }]));
  await drawn(page, "bars");
  const tones = () => page.$$eval(".bar", (all) => all.map((each) => each.classList[1]));
  assert.deepEqual(await tones(), ["rise", "fall", "level", "level", "rise"]);
  assert.equal(await press(page, "Home", "ArrowRight", "ArrowRight"), "ZhangFuC  D 0");
  // Without a name a bar is called by its row; without a value it says so.
  assert.equal(await press(page, "ArrowRight"), "ZhangFu3 unset");
  assert.equal(await press(page, "Shift+ArrowLeft"), `ZhangFu${columns.Obj[1][0]} 1.5`);
  assert.equal(await press(page, "End", "ArrowRight"), "ZhangFuE 10");
  assert.equal(await press(page, "ArrowLeft", "ArrowLeft", "x"), "ZhangFuC  D 0");
  await page.keyboard.press("Enter");
  assert.equal(await cursor(page), 2);
  // Under the pointer and with a click.
  await page.hover('.catch[data-bar="1"]');
  assert.equal(await text(page, ".legend"), `ZhangFu${columns.Obj[1][1]} -2`);
  assert.equal(await page.$eval(".bar.on", (bar) => bar.dataset.bar), "1");
  await page.click('.catch[data-bar="4"]');
  assert.equal(await cursor(page), 4);
  const box = await page.locator(".picture").boundingBox();
  await page.mouse.move(box.x + 20, box.y + 20);
  assert.equal(await page.$eval(".bar.on", (bar) => bar.dataset.bar), "4");

  await page.click(chip("Amount"));
  await drawn(page, "bars");
  assert.deepEqual(await pressed(page, "Columns of the chart"), ["Amount"]);
  assert.deepEqual(await page.$$eval("svg .amount", (all) => all.map((each) => each.textContent)), ["3.5G", "-2M", "12.3k", "999.5", "0"]);
  assert.deepEqual(await tones(), Array(5).fill("plain"));
  await page.click(chip("Nothing"));
  await drawn(page, "bars");
  assert.deepEqual(await page.$$eval("svg .amount", (all) => all.map((each) => each.textContent)), ["0"]);
  assert.deepEqual(page.wrong, []);

  // Three lines at most, the last of them cut; Chinese breaks anywhere.
  await page.setViewportSize({ width: 560, height: 860 });
  await settle(page);
  const labels = await page.$$eval("svg text.axis:has(tspan)", (all) => all.map((each) => [...each.children].map((line) => line.textContent)));
  assert.equal(labels[0].length, 3);
  assert.ok(labels[0][0].startsWith("A very") && labels[0][2].endsWith("…"), String(labels[0]));
  assert.ok(labels[1].length > 1 && labels[1][0].startsWith("上海"), String(labels[1]));
  await page.context().close();
});

test("rankings: as many bars as there is room for; the first column that has anything", async () => {
  const many = {
    Obj: [new Utf8(), Array.from({ length: 300 }, (_, i) => `S${i}`)],
    Empty: [new Float64(), Array(300).fill(null)],
    Zero: [new Float64(), Array(300).fill(0)],
    Amount: [new Float64(), Array.from({ length: 300 }, (_, i) => i)],
  };
  const { Obj, Empty, Zero } = many;
  const page = await look(chrome, reportOf([{ table: tableOf(many) }, { table: tableOf({ Obj, Empty, Zero }) }]));
  await drawn(page, "bars");
  assert.deepEqual(await pressed(page, "Columns of the chart"), ["Amount"]);
  // Twelve pixels each; the last one that is there is the end.
  const shown = Math.floor(((await page.$eval(".picture .canvas", (canvas) => canvas.clientWidth)) - 76) / 12);
  assert.ok(shown > 20 && shown < 300);
  assert.equal(await press(page, "End"), `AmountS${shown - 1} ${shown - 1}first ${shown} of 300`);
  assert.equal(await press(page, "Home", "Shift+ArrowRight"), `AmountS10 10first ${shown} of 300`);
  assert.equal((await page.$$(".bar")).length, shown);
  // Not every one has a label.
  const labels = await page.$$eval("svg text.axis:has(tspan)", (all) => all.map((each) => each.textContent));
  assert.ok(labels.length > 5 && labels.length < shown / 2 && labels[0] === "S0", String(labels));
  // No room at all: nothing to go to, and nothing breaks.
  for (const width of [100, 90]) {
    await page.setViewportSize({ width, height: 860 });
    await settle(page);
    assert.equal((await page.$$(".bar")).length, 0, `${width} pixels`);
  }
  await page.setViewportSize({ width: 1360, height: 860 });
  await settle(page);
  assert.equal((await page.$$(".bar")).length, shown);
  await visit(page, "#/2");
  await drawn(page, "bars");
  assert.deepEqual(await pressed(page, "Columns of the chart"), ["Empty"]);
  assert.equal(await press(page, "Home"), `EmptyS0 unsetfirst ${shown} of 300`);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("charts of nothing, and of one of more instruments than are offered", async () => {
  const days = [20240617n, 20240618n];
  const type = rowsOf({ ShiJian: new Int64(), Price: new Float64() });
  const numbers = Array.from({ length: 502 }, (_, n) => n);
  const many = { Obj: [new Utf8(), numbers.map((n) => `X${n}`)], Data: [type, numbers.map((n) => days.map((ShiJian) => ({ ShiJian, Price: n })))] };
  const none = { Day: [new Int64(), [0n, 0n]], Price: [new Float64(), [1, 2]] };
  const page = await look(chrome, reportOf([{ table: tableOf(none), told: [told("Day", { kind: "yyyymmdd" }), told("Price")] }, { table: tableOf(many) }]));
  // No day is 0, so that no value has a place; keys and buttons do nothing then.
  await drawn(page, "lines");
  assert.equal(await press(page, "Home", "+", "-", "0", "ArrowLeft"), "");
  await page.click('.zoom [aria-label="Zoom in"]');
  assert.equal(await text(page, ".legend"), "");
  await visit(page, "#/2/501/Data");
  await drawn(page, "lines");
  assert.equal(await page.$('.gallery [aria-label="Instruments"]'), null);
  assert.equal(await text(page, ".legend"), "2024-06-18Price 501");
  await visit(page, "#/2/499/Data");
  await drawn(page, "lines");
  assert.deepEqual(await pressed(page, "Instruments"), ["X499"]);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});
