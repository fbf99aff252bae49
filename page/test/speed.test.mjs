// 100,000 rows: how soon they are there, and how they scroll. Other work on the machine slows a run down, never up: the
// best of a few counts.
import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { browser, cellsOf, look, pack, packed, report, settle } from "./support.mjs";

const rows = 100_000;
const mostTries = 8;
// A machine that is known to be slow, or busy throughout, gets so many times as long.
const slowness = Number(process.env.PAGE_SLOWNESS ?? 1);
const readyWithin = 2000 * slowness; // milliseconds
const longestTask = 100 * slowness;

let chrome;
let path;
before(async () => {
  chrome = await browser();
  // One-minute bars, one after the other, prices between 8 and 12.
  const bars = Array.from({ length: rows }, (_, i) => {
    const at = new Date(Date.UTC(2020, 0, 1, 0, i)).toISOString().replace(/\D/g, "").slice(0, 14);
    const open = 1000 + Math.round(200 * Math.sin(i / 500));
    const close = open + ((i * 7919) % 11) - 5;
    return (
      `Data{ShiJian:${packed(at, 10)} KaiPanJia:${packed(open, 0)} ZuiGaoJia:${packed(Math.max(open, close) + 2, 0)} ` +
      `ZuiDiJia:${packed(Math.min(open, close) - 2, 0)} ShouPanJia:${packed(close, 0)} ChengJiaoLiang:${packed(100 * (i % 977), 10)}}`
    );
  }).join("\n");
  path = report([pack("many", `Id: 21 RepDataQuoteKlineSingle { Obj: "SH600000" ${bars} }`)]);
});
after(() => chrome.close());

async function best(measure, enough) {
  const all = [];
  for (let i = 0; i < mostTries; ++i) {
    all.push(await measure());
    if (all.at(-1) < enough) break;
    await new Promise((resolve) => setTimeout(resolve, 500));
  }
  return { least: Math.min(...all), all: all.map(Math.round).join(", ") };
}

test("100,000 rows are ready in under 2 s", async (t) => {
  let drawn = 0;
  const { least, all } = await best(async () => {
    const page = await look(chrome, path, "#/1/0/Data");
    assert.equal(await page.getAttribute(".grid", "aria-rowcount"), String(rows + 1));
    assert.equal((await cellsOf(page, 0))[0], "2020-01-01 00:00:00");
    await page.waitForFunction(() => performance.getEntriesByName("tesview-drawn").length > 0);
    const [ready, picture] = await page.evaluate(() => ["tesview-ready", "tesview-drawn"].map((name) => performance.getEntriesByName(name)[0].startTime));
    drawn = picture;
    assert.deepEqual(page.wrong, []);
    await page.context().close();
    return ready;
  }, readyWithin);
  t.diagnostic(`ready after ${all} ms, the picture after ${Math.round(drawn)} ms`);
  assert.ok(least < readyWithin, `${all} ms`);
});

test("100,000 rows scroll without tasks of over 100 ms, and to the end", async (t) => {
  const page = await look(chrome, path, "#/1/0/Data");
  await page.waitForFunction(() => performance.getEntriesByName("tesview-drawn").length > 0);
  await page.evaluate(() => {
    window.tasks = [];
    new PerformanceObserver((list) => window.tasks.push(...list.getEntries().map((entry) => entry.duration))).observe({ type: "longtask" });
  });
  const box = await page.locator(".grid").boundingBox();
  await page.mouse.move(box.x + 200, box.y + 150);
  const { least, all } = await best(async () => {
    await page.evaluate(() => {
      window.tasks = [];
      document.querySelector(".grid").scrollTop = 0;
    });
    await settle(page);
    for (let i = 0; i < 40; ++i) await page.mouse.wheel(0, 900);
    for (let i = 1; i <= 20; ++i) {
      await page.evaluate((part) => {
        const grid = document.querySelector(".grid");
        grid.scrollTop = (grid.scrollHeight * part) / 20;
      }, i);
      await settle(page);
    }
    await page.waitForTimeout(200);
    return page.evaluate(() => Math.max(0, ...window.tasks));
  }, longestTask);
  t.diagnostic(`longest tasks ${all} ms`);
  assert.ok(least < longestTask, `${all} ms`);
  const last = await cellsOf(page, 0);
  assert.equal(last.at(-1), new Date(Date.UTC(2020, 0, 1, 0, rows - 1)).toISOString().slice(0, 19).replace("T", " "));
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("100,000 rows are sorted and filtered", async (t) => {
  const page = await look(chrome, path, "#/1/0/Data");
  await page.waitForFunction(() => performance.getEntriesByName("tesview-drawn").length > 0);
  let began = Date.now();
  await page.click('.head [data-column="4"] .title');
  await page.waitForSelector('.head [aria-sort="ascending"]');
  await settle(page);
  t.diagnostic(`sorted after ${Date.now() - began} ms`);
  const closes = (await cellsOf(page, 4)).map(Number);
  assert.deepEqual(closes, [...closes].sort((a, b) => a - b));
  assert.equal(closes[0], 7.95);
  began = Date.now();
  await page.fill(".grid-tools input", "2020-02-01 12:3");
  await page.waitForFunction(() => document.querySelector(".count").textContent.startsWith("10 of"));
  t.diagnostic(`filtered after ${Date.now() - began} ms`);
  await page.context().close();
});

test("more rows than a browser can scroll come in parts", async (t) => {
  const most = 1_000_000;
  const numbers = Array.from({ length: most + 2 }, (_, i) => packed(i, 10)).join(",");
  const page = await look(chrome, report([pack("million", `Id: 3 Tbl { Info { Name: "T" Type: 116 } Data { Index: 0 tValues { Info { Name: "N" Type: 105 } Data { Index: 0 iValues: [${numbers}] } } } }`)]));
  t.diagnostic(`ready after ${Math.round(await page.evaluate(() => performance.getEntriesByName("tesview-ready")[0].startTime))} ms`);
  await page.click(".parts >> text=Next");
  await settle(page);
  assert.deepEqual(await page.$$eval(".grid .row .gutter", (all) => all.map((each) => each.textContent)), [String(most), String(most + 1)]);
  await page.focus(".grid");
  await page.keyboard.press("Control+Home");
  await settle(page);
  assert.equal((await cellsOf(page, 0))[0], "0");
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});
