// The pictures: pixels are looked at, values are read back through the crosshair.
import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { browser, look, pack, packed, report, run, sample, settle, text } from "./support.mjs";

let chrome;
before(async () => (chrome = await browser()));
after(() => chrome.close());

// How many pixels of the picture have the two colours.
function pixels(page) {
  return page.evaluate(() => {
    const style = getComputedStyle(document.documentElement);
    const wanted = ["--red", "--green"].map((name) => style.getPropertyValue(name).trim().match(/\w\w/g).map((part) => parseInt(part, 16)));
    const count = [0, 0];
    for (const canvas of document.querySelectorAll(".picture canvas")) {
      if (canvas.width === 0 || canvas.height === 0) continue;
      const { data } = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height);
      for (let i = 0; i < data.length; i += 4) {
        wanted.forEach(([r, g, b], which) => {
          if (data[i] === r && data[i + 1] === g && data[i + 2] === b && data[i + 3] === 255) ++count[which];
        });
      }
    }
    return count;
  });
}

async function drawn(page, kind) {
  await page.waitForSelector(`.picture[data-kind="${kind}"]`);
  await settle(page);
}

test("candlesticks: drawn, in Chinese market colours, with a switch", async () => {
  const page = await look(chrome, report([sample("21-QuoteKlineSingle")]));
  await drawn(page, "candles");
  const [red, green] = await pixels(page);
  // More of this day's 240 bars rise than fall.
  assert.ok(red > 500 && green > 300, `${red} red, ${green} green`);
  await page.click(".rise-switch");
  await drawn(page, "candles");
  const [redThen, greenThen] = await pixels(page);
  assert.ok(Math.abs(greenThen - red) < 0.5 * red && redThen < greenThen !== red < green, `${redThen} red, ${greenThen} green`);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("candlesticks: the crosshair tells the values of a bar, by keyboard and by pointer", async () => {
  const page = await look(chrome, report([sample("21-QuoteKlineSingle")]));
  await drawn(page, "candles");
  await page.focus(".picture");
  await page.keyboard.press("Home");
  // The first bar as the sample's text has it.
  assert.equal(await text(page, ".legend"), "2024-06-17 09:31:00SH600000 O 8.2  H 8.2  L 8.19  C 8.19  V 368,200");
  await page.keyboard.press("ArrowRight");
  assert.match(await text(page, ".legend"), /^2024-06-17 09:32:00SH600000 O 8.19 {2}H 8.19 {2}L 8.17 {2}C 8.17 {2}V 353,500$/);

  const bars = new Map();
  const [names, ...lines] = run("--to", "csv", "--time", "iso", "--path", "0/Data", sample("21-QuoteKlineSingle")).trim().split("\n").map((line) => line.split(","));
  for (const line of lines) bars.set(line[0], Object.fromEntries(names.map((name, i) => [name, line[i]])));
  const box = await page.locator(".picture").boundingBox();
  for (const part of [0.1, 0.3, 0.5, 0.7, 0.9]) {
    await page.mouse.move(box.x + (box.width - 70) * part, box.y + box.height * 0.4);
    await settle(page);
    const legend = await text(page, ".legend");
    const bar = bars.get(legend.slice(0, 19));
    assert.ok(bar, legend);
    const wanted = `O ${bar.KaiPanJia}  H ${bar.ZuiGaoJia}  L ${bar.ZuiDiJia}  C ${bar.ShouPanJia}  V ${Number(bar.ChengJiaoLiang).toLocaleString("en-US")}`;
    assert.equal(legend.slice(19), `SH600000 ${wanted}`);
  }
  await page.context().close();
});

test("candlesticks: another instrument, both over each other, zoom", async () => {
  const page = await look(chrome, report([sample("21-QuoteKlineSingle")]));
  await drawn(page, "candles");
  await page.click(".gallery >> text=SFIF2406");
  await drawn(page, "candles");
  assert.match(await text(page, ".legend"), /^2024-\d\d-\d\dSFIF2406 O /);
  await page.click(".gallery >> text=Lay over each other");
  await page.click(".gallery >> text=SH600000");
  await drawn(page, "candles");
  assert.equal((await page.$$(".legend .part")).length, 2);
  const before = await page.screenshot({ clip: await page.locator(".picture").boundingBox() });
  await page.focus(".picture");
  await page.keyboard.press("+");
  await page.keyboard.press("+");
  await settle(page);
  assert.notDeepEqual(await page.screenshot({ clip: await page.locator(".picture").boundingBox() }), before);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("candlesticks of a wire table with such columns; bars of one moment are all there", async () => {
  const column = (index, values, code) => `Data { Index: ${index} iValues: [${values.map((value) => packed(value, code))}] }`;
  const names = ["ShiJian", "KaiPanJia", "ZuiGaoJia", "ZuiDiJia", "ShouPanJia", "ChengJiaoLiang"];
  const file = pack(
    "wire-bars",
    `Id: 3 Tbl { Info { Name: "T" Type: 116 } Data { Index: 0 tValues {
       ${names.map((name) => `Info { Name: "${name}" Type: 105 }`).join(" ")}
       ${column(0, [20240617, 20240614, 20240617], 10)} ${column(1, [1000, 900, 1010], 0)} ${column(2, [1020, 1000, 1040], 0)}
       ${column(3, [990, 890, 1000], 0)} ${column(4, [1010, 1000, 1005], 0)} ${column(5, [500, 300, 70000], 10)} } } }`,
  );
  const page = await look(chrome, report([file]));
  await drawn(page, "candles");
  await page.focus(".picture");
  const read = [];
  for (const key of ["Home", "ArrowRight", "ArrowRight", "ArrowRight"]) {
    await page.keyboard.press(key);
    read.push((await text(page, ".legend")).replace(/Tbl| /g, ""));
  }
  // In the order of time, whatever the order of rows; the end is the end.
  const last = "2024-06-17O10.1H10.4L10C10.05V70,000";
  assert.deepEqual(read, ["2024-06-14O9H10L8.9C10V300", "2024-06-17O10H10.2L9.9C10.1V500", last, last]);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("ticks of a reply without a table: a line, its columns chosen", async () => {
  const page = await look(chrome, report([sample("22-QuoteTickSingle")]));
  await drawn(page, "lines");
  await page.focus(".picture");
  await page.keyboard.press("Home");
  assert.equal(await text(page, ".legend"), "2024-06-17 09:30:09ChengJiaoJia 8.21");
  await page.click(".gallery >> text=ChengJiaoLiang");
  await drawn(page, "lines");
  await page.focus(".picture");
  await page.keyboard.press("Home");
  assert.equal(await text(page, ".legend"), "2024-06-17 09:30:09ChengJiaoJia 8.21ChengJiaoLiang 7,700");
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("rise and fall counts: bars, a row of them at a time", async () => {
  const page = await look(chrome, report([sample("271-ShiChangZhangDieFanHuiShuJu")]));
  await drawn(page, "bars");
  const heights = () => page.$$eval(".bar", (bars) => bars.map((bar) => [bar.classList[1], Number(bar.getAttribute("height"))]));
  const first = await heights();
  assert.ok(first.some(([tone]) => tone === "rise") && first.some(([tone]) => tone === "fall") && first.some(([tone]) => tone === "level"));
  // 1203 rise and 772 fall in the last row.
  const rising = first.find(([tone, height]) => tone === "rise" && height === Math.max(...first.map(([, each]) => each)))[1];
  const falling = Math.max(...first.filter(([tone]) => tone === "fall").map(([, height]) => height));
  assert.ok(Math.abs(falling / rising - 772 / 1203) < 0.01, `${falling} of ${rising}`);
  await page.focus(".picture");
  await page.keyboard.press("ArrowRight");
  assert.equal(await text(page, ".legend"), "2024-06-17 09:37:00High at limit-up 29");
  await page.fill('input[type="range"]', "0");
  await settle(page);
  assert.match(await text(page, ".legend"), /^2024-06-17 09:35:00/);
  await page.context().close();
});

test("rankings: bars by rise and fall, read with the keyboard", async () => {
  const page = await look(chrome, report([sample("20-QuoteDynaSingle")]));
  await drawn(page, "bars");
  await page.focus(".picture");
  await page.keyboard.press("Home");
  assert.equal(await text(page, ".legend"), "Change in percentSH600000 -0.61");
  assert.equal(await page.$eval('.bar[data-bar="0"]', (bar) => bar.classList[1]), "fall");
  await page.keyboard.press("ArrowRight");
  assert.equal(await text(page, ".legend"), "Change in percentSH600519 1.9");
  await page.context().close();
});

test("dark where the system is dark", async () => {
  const path = report([sample("21-QuoteKlineSingle")]);
  for (const colorScheme of ["light", "dark"]) {
    const page = await look(chrome, path, "", { colorScheme });
    await drawn(page, "candles");
    const [r, g, b] = await page.$eval("body", (body) => getComputedStyle(body).backgroundColor.match(/\d+/g).map(Number));
    assert.equal(r + g + b > 384, colorScheme === "light");
    const [red] = await pixels(page);
    assert.ok(red > 500, `${red} in ${colorScheme}`);
    await page.context().close();
  }
});

test("nothing moves by itself where the system asks for that", async () => {
  const page = await look(chrome, report([sample("21-QuoteKlineSingle")]), "", { reducedMotion: "reduce" });
  const moving = await page.$$eval("*", (all) => all.filter((each) => parseFloat(getComputedStyle(each).transitionDuration) > 0 || getComputedStyle(each).animationName !== "none").length);
  assert.equal(moving, 0);
  await page.context().close();
});
