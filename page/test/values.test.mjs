// Values of every kind: how they are shown, sorted, filtered and copied.
import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { Binary, Bool, Field, FixedSizeList, Float32, Float64, Int32, Int64, Uint32, Uint64, Utf8 } from "apache-arrow";
import { browser, cellsOf, copied, filter, idle, look, rowNumbers, text } from "./support.mjs";
import { reportOf, rowsOf, tableOf, told } from "./tables.mjs";

let chrome;
before(async () => (chrome = await browser()));
after(() => chrome.close());

// The numbers of the rows in the order that a heading sorts them in, ascending and then descending.
async function bothWays(page, column) {
  const orders = [];
  for (let i = 0; i < 2; ++i) {
    await page.click(`.head [data-column="${column}"] .title`);
    await idle(page);
    orders.push((await rowNumbers(page)).join(" "));
  }
  return orders;
}

// The rows that a filter by text leaves, which the page waits with until no more is typed.
async function finds(page, words, rows) {
  await page.fill(".grid-tools input", words);
  const shown = (wanted) => [...document.querySelectorAll(".grid .row")].sort((a, b) => a.dataset.at - b.dataset.at).map((row) => row.firstChild.textContent).join(" ") === wanted;
  await page.waitForFunction(shown, rows, { timeout: 10_000 }).catch(() => {});
  assert.equal((await rowNumbers(page)).join(" "), rows, words);
}

test("numbers: whole ones of 64 bits, ones without end, ones of 32 bits", async () => {
  const columns = {
    Big: [new Int64(), [9007199254740993n, 9007199254740992n, null, -5n, 9007199254740992n, 1000n, 9007199254740993n]],
    Odd: [new Float64(), [NaN, Infinity, -0, 1.5, -Infinity, Infinity, NaN]],
    Single: [new Float32(), [0.1, 16777216, 1e-9, 1234567.875, null, 2.5, 0]],
    Mask: [new Uint64(), [18446744073709551615n, 255n, 0n, null, null, null, null]],
    Signed: [new Int64(), [-1n, 16n, 0n, null, null, null, null]],
    Flags: [new Uint32(), [4294967295, 16, 0, null, null, null, null]],
    Number: [new Int32(), [1234567, 1, 2, 3, 4, 5, 6]],
  };
  const kinds = { Mask: "mask", Signed: "mask", Flags: "mask", Number: "id" };
  const page = await look(chrome, reportOf([{ table: tableOf(columns), told: Object.keys(columns).map((name) => told(name, { kind: kinds[name] })) }]));
  assert.deepEqual(await cellsOf(page, 0), ["9,007,199,254,740,993", "9,007,199,254,740,992", "·", "-5", "9,007,199,254,740,992", "1,000", "9,007,199,254,740,993"]);
  assert.deepEqual(await cellsOf(page, 1), ["NaN", "Infinity", "-0", "1.5", "-Infinity", "Infinity", "NaN"]);
  // Seven digits, which is what 32 bits hold.
  assert.deepEqual(await cellsOf(page, 2), ["0.1", "16,777,216", "1e-9", "1,234,568", "·", "2.5", "0"]);
  assert.deepEqual((await cellsOf(page, 3)).slice(0, 3), ["0xffffffffffffffff", "0xff", "0x0"]);
  assert.deepEqual((await cellsOf(page, 4)).slice(0, 3), ["0xffffffffffffffff", "0x10", "0x0"]);
  assert.deepEqual((await cellsOf(page, 5)).slice(0, 3), ["0xffffffff", "0x10", "0x0"]);
  assert.equal((await cellsOf(page, 6))[0], "1234567");

  // What doubles cannot tell apart is told apart, what is alike stays in its order, and NaN and unset cells are last.
  assert.deepEqual(await bothWays(page, 0), ["3 5 1 4 0 6 2", "0 6 1 4 5 3 2"]);
  assert.deepEqual(await bothWays(page, 1), ["4 2 3 1 5 0 6", "1 5 3 2 4 0 6"]);
  assert.deepEqual(await bothWays(page, 2), ["6 2 0 5 3 1 4", "1 3 5 0 2 6 4"]);
  await page.click('.head [data-column="2"] .title');
  await idle(page);

  // A filter finds a number as it is shown and as it is written.
  await finds(page, "4,740,99", "0 1 4 6");
  await finds(page, "9007199254740993", "0 6");
  await finds(page, "0XFF", "0 1");
  await page.click("text=Clear filters");
  await idle(page);

  // Copied are values as they are: nine digits tell every number of 32 bits.
  await page.click('.row[data-at="0"] [data-column="2"]');
  assert.equal(await copied(page), "0.100000001");
  await page.click('.row[data-at="2"] [data-column="1"]');
  assert.equal(await copied(page), "-0");
  await page.click('.row[data-at="0"] [data-column="3"]');
  assert.equal(await copied(page), "18446744073709551615");
  await page.click('.row[data-at="2"] [data-column="0"]');
  assert.equal(await copied(page), "");
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("texts, bytes, lists and tables", async () => {
  const bytes = Uint8Array.from({ length: 20 }, (_, i) => i);
  const list = (values) => [...values, ...Array(13 - values.length).fill(null)];
  const columns = {
    Text: [new Utf8(), ["b10", "b9", "", null, "甲", "tab\tand \"quote\""]],
    Bytes: [new Binary(), [bytes, Uint8Array.of(255), null, new Uint8Array(), Uint8Array.of(1), Uint8Array.of(2)]],
    List: [new FixedSizeList(13, new Field("item", new Float64(), true)), [list([1.25, null, 3]), list([2]), null, list([]), list([0]), list([9])]],
    Inner: [rowsOf({ A: new Int32(), B: new Int32() }), [[{ A: 1, B: 2 }, { A: 3, B: 4 }, { A: 5, B: 6 }], [{ A: 7, B: 8 }], null, [], [{ A: 1, B: 1 }], [{ A: 2, B: 2 }, { A: 2, B: 2 }]]],
    Strange: [new Bool(), [true, false, null, true, true, true]],
    HasBits: [new Uint32(), [5, 31, 0, 0, 0, 0]],
    Place: [new Utf8(), ["浙江", "北京", "上海", null, null, null]],
  };
  const page = await look(chrome, reportOf([{ table: tableOf(columns) }]));
  assert.deepEqual(await cellsOf(page, 0), ["b10", "b9", "''", "·", "甲", 'tab\\tand "quote"']);
  // Sixteen bytes, then a mark that there are more.
  assert.deepEqual(await cellsOf(page, 1), ["000102030405060708090a0b0c0d0e0f…", "ff", "·", "", "01", "02"]);
  assert.equal((await cellsOf(page, 2))[0], `1.25, ·, 3${", ·".repeat(9)}, …`);
  assert.deepEqual(await cellsOf(page, 3), ["3 × 2", "1 × 2", "·", "empty", "1 × 2", "2 × 2"]);
  // What the page does not know is neither shown nor taken for unset.
  assert.deepEqual(await cellsOf(page, 4), ["", "", "·", "", "", ""]);
  assert.deepEqual((await cellsOf(page, 5)).slice(0, 2), ["0x5", "0x1f"]);

  // Numbers in texts count, and Chinese goes by its sound: Beijing, Shanghai, Zhejiang.
  const [up, down] = await bothWays(page, 0);
  assert.equal(up.split(" ")[0], "2");
  assert.ok(up.indexOf("1") < up.indexOf("0"), up);
  assert.deepEqual([up.slice(-1), down.slice(-1)], ["3", "3"]);
  assert.deepEqual(await bothWays(page, 6), ["1 2 0 3 4 5", "0 2 1 3 4 5"]);
  // Tables by how many rows they have.
  assert.deepEqual(await bothWays(page, 3), ["3 1 4 5 0 2", "0 5 1 4 3 2"]);
  assert.deepEqual(await bothWays(page, 1), ["3 0 4 5 1 2", "1 5 4 0 3 2"]);
  await page.click('.head [data-column="1"] .title');
  await idle(page);

  await finds(page, "0E0F", "0");
  await finds(page, "1.25", "0");
  await finds(page, "TAB", "5");
  await page.click("text=Clear filters");
  await idle(page);

  // What would break a line or a cell where it is pasted is quoted; tables are not copied.
  await page.click('.row[data-at="5"] [data-column="0"]');
  assert.equal(await copied(page), '"tab\tand ""quote"""');
  await page.click('.row[data-at="0"] [data-column="1"]');
  assert.equal(await copied(page), "000102030405060708090a0b0c0d0e0f10111213");
  await page.click('.row[data-at="0"] [data-column="2"]');
  assert.equal(await copied(page), `1.25, ·, 3${", ·".repeat(10)}`);
  await page.keyboard.press("ArrowRight");
  assert.equal(await copied(page), "");
  await page.click('.row[data-at="0"] [data-column="4"]');
  assert.equal(await copied(page), "");
  // The elements of a list that nothing is told of have their numbers.
  await page.dblclick('.row[data-at="1"] [data-column="2"]');
  assert.deepEqual(await page.$$eval("dialog tr", (rows) => rows.slice(0, 2).map((row) => [...row.children].map((each) => each.textContent))), [["0", "", "2", ""], ["1", "", "·", ""]]);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("times of every kind, and numbers that are none", async () => {
  // 1718587860 s since 1970 is 01:31:00 of 17 June 2024 in Greenwich, 09:31 in Beijing.
  const columns = {
    Day: [new Int32(), [20240617, 20240229, 20230229, 9991231, 20241301, -1]],
    Moment: [new Int64(), [20240617093100n, 20240617240000n, 20240617096000n, 20240617093160n, 20240631000000n, 0n]],
    Clock: [new Int32(), [93100, 235959, 240000, 126000, 101060, 0]],
    Minute: [new Int32(), [931, 2359, 2360, 1260, 0, 9]],
    Seconds: [new Int64(), [1718587860n, 0n, 253402272000n, 1n, null, 253402271999n]],
    Millis: [new Int64(), [1718587860123n, 999n, 1000n, 253402271999999n, 253402272000000n, null]],
    Two: [new Int32(), [931, 20240617, 2360, 20240229, 0, 1]],
    Point: [new Float64(), [931, 9.5, 2359, 0, NaN, 1]],
  };
  const kinds = { Day: "yyyymmdd", Moment: "yyyymmddhhmmss", Clock: "hhmmss", Minute: "hhmm", Seconds: "unix", Millis: "unix_ms", Two: "yyyymmdd hhmm", Point: "hhmm" };
  const page = await look(chrome, reportOf([{ table: tableOf(columns), told: Object.keys(columns).map((name) => told(name, { kind: kinds[name] })) }]));
  const wanted = [
    ["2024-06-17", "2024-02-29", "20230229", "9991231", "20241301", "-1"],
    ["2024-06-17 09:31:00", "20240617240000", "20240617096000", "20240617093160", "20240631000000", "0"],
    ["09:31:00", "23:59:59", "240000", "126000", "101060", "00:00:00"],
    ["09:31", "23:59", "2360", "1260", "00:00", "00:09"],
    ["2024-06-17 09:31:00", "0", "253402272000", "1970-01-01 08:00:01", "·", "9999-12-31 23:59:59"],
    ["2024-06-17 09:31:00.123", "999", "1970-01-01 08:00:01.000", "9999-12-31 23:59:59.999", "253402272000000", "·"],
    ["09:31", "2024-06-17", "2360", "2024-02-29", "00:00", "00:01"],
    ["09:31", "9.5", "23:59", "00:00", "NaN", "00:01"],
  ];
  for (const [column, cells] of wanted.entries()) assert.deepEqual(await cellsOf(page, column), cells, Object.keys(columns)[column]);

  // Filters take times as they are shown, or the beginning of one; otherwise numbers.
  const left = async (column, From, To) => {
    const rows = await filter(page, column, { From, To });
    await page.click("text=Clear filters");
    await idle(page);
    return rows;
  };
  assert.equal(await left(0, "2024-02-29", "2024-06"), "0 1");
  assert.equal(await left(0, "20240301", ""), "0 4");
  assert.equal(await left(1, "2024-06-17 09:31", "2024-06-17 09:31"), "0");
  assert.equal(await left(2, "9:31", "10:10:60"), "0 4");
  assert.equal(await left(2, "23:59", "23"), "");
  assert.equal(await left(3, "09:31", "23:59"), "0 1 3");
  assert.equal(await left(3, "9:", "9:"), "0");
  // To the last second of June, which has no 31st.
  assert.equal(await left(4, "2024-06-17 09:31:00", "2024-06"), "0");
  assert.equal(await left(4, "2024-06-17 09:31:01", ""), "2 5");
  assert.equal(await left(4, "1", "1718587860"), "0 3");
  assert.equal(await left(5, "2024-06-17 09:31:00.123", "2024-06-17 09:31:00.123"), "0");
  assert.equal(await left(5, "2024-06-17 09:31:00.124", "2024-06-17"), "");
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});
