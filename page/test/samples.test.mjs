// Every sample is opened, and nothing complains or asks for anything.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { after, before, test } from "node:test";
import { basename } from "node:path";
import { browser, look, report, run, sample, sampleFiles, settle, viewer, visit } from "./support.mjs";

let chrome;
before(async () => (chrome = await browser()));
after(() => chrome.close());

// Every table inside a reply, as addresses.
async function tablesInside(page, address, depth = 0) {
  if (depth > 3) return [];
  const inside = await page.evaluate(() =>
    [...document.querySelectorAll(".grid .inside")].map((link) => ({
      row: link.closest(".row").querySelector(".gutter").textContent,
      column: [...document.querySelectorAll(".head .cell")].find((cell) => cell.dataset.column === link.closest(".cell").dataset.column).dataset.name,
    })),
  );
  return inside.map(({ row, column }) => `${address}/${row}/${encodeURIComponent(column)}`);
}

test("a report of all samples: each reply, each table inside, no complaint and no request", async () => {
  const page = await look(chrome, report(sampleFiles));
  const entries = await page.evaluate(() => JSON.parse(document.getElementById("report").textContent).replies);
  assert.equal(entries.length, sampleFiles.length);
  let tables = 0;
  for (let i = 0; i < entries.length; ++i) {
    const entry = entries[i];
    await visit(page, `#/${i + 1}`);
    const name = basename(sampleFiles[i], ".bin");
    if (entry.failure) {
      assert.equal(name, "damaged");
      continue;
    }
    assert.equal(entry.bytes, execFileSync("cat", [sampleFiles[i]]).length, name);
    assert.match(await page.textContent(".title"), new RegExp(`Id ${entry.id}`), name);
    if (entry.tree !== undefined) {
      assert.ok((await page.$$(".tree .key")).length > 0, name);
      continue;
    }
    assert.equal(await page.getAttribute(".grid", "aria-rowcount"), String(entry.rows + 1), name);
    for (const inside of await tablesInside(page, `#/${i + 1}`)) {
      await visit(page, inside);
      assert.ok(await page.$(".path a[aria-current]"), inside);
      ++tables;
    }
  }
  assert.ok(tables > 50, `${tables} tables inside`);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("typed layouts: lines of an indicator and of large orders", async () => {
  for (const [type, name] of [["ZhiBiao3", "typed-103-ZhiBiao3"], ["DaDan", "typed-1-DaDan"]]) {
    const page = await look(chrome, report([sample(name)], "--type", type));
    await settle(page);
    await page.waitForSelector('.picture[data-kind="lines"]');
    assert.deepEqual(page.wrong, []);
    await page.context().close();
  }
});

test("the cells are what the viewer prints", async () => {
  const page = await look(chrome, report([sample("27-StkData")]));
  const lines = run("--to", "csv", sample("27-StkData")).trim().split("\n").map((line) => line.split(","));
  const shown = await page.$$eval(".grid .row", (rows) =>
    rows.map((row) => [...row.querySelectorAll(".cell")].map((cell) => cell.textContent.replaceAll(/[\u2007\u2008,]/g, ""))),
  );
  assert.deepEqual(shown.map((row) => row.slice(0, 8)), lines.slice(1).map((line) => line.slice(0, 8)));
  await page.context().close();
});

test("what a report leaves out is said in it", async () => {
  // 3 replies of some 25 MB each do not fit 64 MB of base64.
  const { packed, pack } = await import("./support.mjs");
  const bars = Array.from({ length: 160000 }, (_, i) => `Data{ShiJian:${packed(20240101 + i, 10)} ShouPanJia:${i}}`).join("");
  const big = pack("big", `Id: 21 RepDataQuoteKlineSingle { Obj: "SH600000" ${bars} }`);
  const page = await look(chrome, report([big, sample("20-QuoteDynaSingle"), big, big, sample("28-PaiXu")]));
  assert.match(await page.textContent(".warning"), /the data of \d+ replies\. A report takes at most 64 MB/);
  const left = await page.evaluate(() => JSON.parse(document.getElementById("report").textContent).replies.map((entry) => entry.leftOut === true));
  assert.deepEqual(left, [false, false, false, true, false]);
  await visit(page, "#/4");
  assert.match(await page.textContent("main"), /left out/);
  await visit(page, "#/5");
  assert.equal(await page.getAttribute(".grid", "aria-rowcount"), "10");
  assert.deepEqual(page.wrong, []);
  assert.ok(viewer);
  await page.context().close();
});
