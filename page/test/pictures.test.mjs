// The pictures of docs/page.md. They are made where scripts/test-page --pictures asks for it, and what is on them is looked
// for either way.
import assert from "node:assert/strict";
import { mkdirSync } from "node:fs";
import { basename, join } from "node:path";
import { after, before, test } from "node:test";
import { browser, look, reportIn, sampleFiles, samples, settle } from "./support.mjs";

const folder = process.env.PAGE_PICTURES;

let chrome;
let path;
before(async () => {
  chrome = await browser();
  path = reportIn(samples, sampleFiles.map((file) => basename(file)));
});
after(() => chrome.close());

async function shoot(name, file, options, steps) {
  const page = await look(chrome, path, `#/${1 + sampleFiles.findIndex((each) => each.endsWith(file))}${options.inside ?? ""}`, { viewport: { width: 1200, height: 760 }, ...options });
  await settle(page);
  await steps?.(page);
  await settle(page);
  const visible = await page.$eval("main", (main) => main.textContent.length);
  assert.ok(visible > 100);
  assert.deepEqual(page.wrong, []);
  if (folder) {
    mkdirSync(folder, { recursive: true });
    await page.screenshot({ path: join(folder, `${name}.png`) });
  }
  await page.context().close();
}

test("candlesticks with their table", () =>
  shoot("candlesticks", "21-QuoteKlineSingle.bin", { inside: "/0/Data" }, async (page) => {
    await page.waitForSelector('.picture[data-kind="candles"]');
    await page.click('.row[data-at="3"] [data-column="5"]');
    const box = await page.locator(".picture").boundingBox();
    await page.mouse.move(box.x + box.width * 0.55, box.y + box.height * 0.4);
  }));

test("instruments over each other, in the dark", () =>
  shoot("overlay-dark", "typed-3-BxzjStock-wire.bin", { colorScheme: "dark" }, async (page) => {
    await page.waitForSelector(".picture");
    await page.click(".gallery >> text=Lay over each other");
    await page.click(".gallery >> text=SH600519");
  }));

test("rise and fall counts, in Chinese", () =>
  shoot("counts-zh", "271-ShiChangZhangDieFanHuiShuJu.bin", { locale: "zh-CN" }, (page) => page.waitForSelector(".bar.rise")));

test("a reply without a table of its own, on a narrow screen", () =>
  shoot("ticks-narrow", "22-QuoteTickSingle.bin", { viewport: { width: 420, height: 760 } }, (page) => page.waitForSelector('.picture[data-kind="lines"]')));

test("what is told of a column", () =>
  shoot("column", "20-QuoteDynaSingle.bin", { inside: "/1/Data" }, async (page) => {
    await page.hover('.head [data-column="5"] .title');
    await page.waitForSelector(".tip.shown");
  }));
