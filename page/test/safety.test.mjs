// Text of the wire stays text, whatever it is.
import assert from "node:assert/strict";
import { readFileSync, readdirSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, before, test } from "node:test";
import { browser, directory, look, pack, report, sample, settle, source, visit } from "./support.mjs";

let chrome;
before(async () => (chrome = await browser()));
after(() => chrome.close());

const hostile = "</script><img src=x onerror=\"window.hurt=1\"><svg onload=alert(1)>\u202e\u2066{{x}}${x}\u0000&lt;<!--";
// As protobuf's text form has it.
const literalOf = (text) => [...new TextEncoder().encode(text)].map((byte) => `\\${byte.toString(8).padStart(3, "0")}`).join("");
const literal = literalOf(hostile);

// Every text of every sample is replaced.
function hostileReplies() {
  const folder = join(source, "samples");
  return readdirSync(folder)
    .filter((name) => name.endsWith(".txtpb"))
    .map((name) => {
      // Names of columns stay, which the layouts of wire tables go by; comments may have quotation marks.
      const text = readFileSync(join(folder, name), "utf8");
      const parts = /(Name:\s*)?("(?:[^"\\]|\\.)*"|'(?:[^'\\]|\\.)*')|#[^\n]*/g;
      return pack(`hostile-${name}`, text.replace(parts, (all, named, quoted) => (quoted === undefined ? "" : named ? all : `"${literal}"`)));
    });
}

async function nothingHappened(page) {
  assert.deepEqual(page.wrong, []);
  assert.deepEqual(
    await page.evaluate(() => ({
      hurt: window.hurt,
      images: document.images.length,
      scripts: document.querySelectorAll("body script:not([type])").length,
      handlers: [...document.querySelectorAll("*")].filter((each) => each.getAttributeNames().some((name) => name.startsWith("on"))).length,
    })),
    { hurt: undefined, images: 0, scripts: 1, handlers: 0 },
  );
}

test("hostile text in every text column of every sample", async () => {
  const files = hostileReplies();
  const path = report(files);
  assert.ok(!readFileSync(path, "latin1").includes("onerror="), "the text is in the file as it came");
  const page = await look(chrome, path);
  let cells = 0;
  for (let i = 0; i < files.length; ++i) {
    await visit(page, `#/${i + 1}`);
    for (const tree of await page.$$(".tree summary")) await tree.evaluate((summary) => (summary.parentElement.open = true));
    const texts = await page.$$eval(".grid .cell.text bdi, .tree .leaf.string", (all) => all.map((each) => each.textContent));
    cells += texts.length;
    for (const text of texts.filter((each) => each.includes("<"))) {
      assert.ok(text.includes("</script><img src=x onerror="), text);
      assert.ok(text.includes("\\u202e") && text.includes("\\u2066"), text);
      assert.ok(!/[\u202e\u2066\0]/.test(text), "a mark is in the page as it came");
    }
    const inside = page.locator(".grid .inside").first();
    if (await inside.count()) {
      await inside.click();
      await settle(page);
    }
    const cell = page.locator(".grid .cell.text").first();
    if (await cell.count()) {
      await page.mouse.move(1, 1);
      await cell.scrollIntoViewIfNeeded();
      await settle(page);
      await cell.hover();
      await page.waitForSelector(".tip.shown");
      await cell.dblclick();
      if (await page.$("dialog")) await page.keyboard.press("Escape");
    }
  }
  assert.ok(cells > 100, `${cells} cells`);
  await nothingHappened(page);
  await page.context().close();
});

test("hostile names of columns and files", async () => {
  // A name ends at a semicolon or a zero byte.
  const name = literalOf(hostile.split("\0")[0]);
  const file = pack(
    "names",
    `Id: 3 Tbl { Info { Name: "T" Type: 116 } Data { Index: 0 tValues {
       Info { Name: "${name}" Type: 115 } Info { Name: "${name}" Type: 105 }
       Data { Index: 0 sValues: "${literal}" } Data { Index: 1 iValues: 5 } } } }`,
  );
  const named = join(directory, "<img src=x onerror=alert(1)>\u202e.bin");
  writeFileSync(named, readFileSync(file));
  const page = await look(chrome, report([named, sample("20-QuoteDynaSingle")]));
  await page.hover(".head .cell");
  await page.waitForSelector(".tip.shown");
  await page.hover(".top");
  await page.click(".grid-tools >> text=Columns");
  await page.keyboard.press("Escape");
  await page.click("text=About");
  await page.keyboard.press("Escape");
  await nothingHappened(page);
  await page.context().close();
});

// What the library makes of a text ends at a zero byte, so that none comes this way; the page is to bear it all the same.
test("zero bytes and marks of direction in the data themselves", async () => {
  const { Table, Utf8, tableToIPC, vectorFromArray } = await import("apache-arrow");
  const texts = ["a\u0000b", "\u202eevil\u2069", hostile, "\u200f\ufeff"];
  const arrow = Buffer.from(tableToIPC(new Table({ Obj: vectorFromArray(texts, new Utf8()), SuoShuZhuTi: vectorFromArray(texts, new Utf8()) }), "stream")).toString("base64");
  const tree = Buffer.from(JSON.stringify({ Id: 22, [hostile]: texts })).toString("base64");
  const swap = (from, block) => {
    const html = readFileSync(from, "utf8").replace(/(id="d\d">)[^<]*(<\/script>\n<script type="application\/json" id="report")/, (_, before, after) => before + block + after);
    writeFileSync(from, html);
    return from;
  };
  const page = await look(chrome, swap(report([sample("130-TopicPage")]), arrow));
  assert.deepEqual(await page.$$eval('.grid .cell[data-column="0"] bdi', (all) => all.map((each) => each.textContent)), [
    "a\\x00b",
    "\\u202eevil\\u2069",
    hostile.replace("\u202e\u2066", "\\u202e\\u2066").replace("\0", "\\x00"),
    "\\u200f\\ufeff",
  ]);
  await nothingHappened(page);
  await page.context().close();
  const other = await look(chrome, swap(report([sample("22-QuoteTickSingle")]), tree));
  assert.deepEqual(await other.$$eval(".tree .leaf.string", (all) => all.slice(0, 2).map((each) => each.textContent)), ['"a\\x00b"', '"\\u202eevil\\u2069"']);
  await nothingHappened(other);
  await other.context().close();
});

test("the policy in the page forbids what a script that got in would do", async () => {
  const page = await look(chrome, report([sample("20-QuoteDynaSingle")]));
  const refused = await page.evaluate(async () => {
    const said = [];
    document.addEventListener("securitypolicyviolation", (event) => said.push(event.effectiveDirective));
    const script = document.createElement("script");
    script.textContent = "window.hurt = 1";
    document.body.append(script);
    const image = document.createElement("img");
    image.src = "https://example.invalid/x.png";
    document.body.append(image);
    const style = document.createElement("style");
    style.textContent = "body { display: none }";
    document.head.append(style);
    await fetch("https://example.invalid/").catch(() => said.push("fetch failed"));
    await new Promise((resolve) => setTimeout(resolve, 100));
    return { said: said.sort(), hurt: window.hurt };
  });
  assert.equal(refused.hurt, undefined);
  for (const directive of ["script-src-elem", "img-src", "style-src-elem", "connect-src"]) assert.ok(refused.said.includes(directive), `${directive} in ${refused.said}`);
  await page.context().close();
});

test("the page names the licences of all that is bundled in it, and who made the charts", async () => {
  const page = await look(chrome, report([sample("21-QuoteKlineSingle")]));
  await page.waitForSelector(".credit");
  assert.equal(await page.getAttribute(".credit a", "href"), "https://www.tradingview.com/");
  await page.click("text=About");
  const about = await page.textContent("dialog");
  for (const name of ["lightweight-charts", "fancy-canvas", "apache-arrow", "flatbuffers", "@tanstack/virtual-core", "json-with-bigint", "Apache-2.0", "MIT"]) {
    assert.ok(about.includes(name), name);
  }
  assert.ok(about.includes("Apache License") && about.includes("Permission is hereby granted"), "the texts");
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});
