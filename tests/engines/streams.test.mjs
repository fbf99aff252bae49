// What engine_streams wrote into the directory of ENGINE_STREAMS, read by programs of others.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { join } from "node:path";
import test from "node:test";

import { readers, schemaByArrow, typesByPolars } from "./readers.mjs";

const stream = (name) => readFileSync(join(process.env.ENGINE_STREAMS, `${name}.arrows`));

const types = {
  all_float64: [0.1, -0, 1e300],
  float32: [1.5, null, -0.25],
  int8: [-128, null, 127],
  uint8: [0, null, 255],
  int16: [-32768, null, 32767],
  uint16: [0, null, 65535],
  int32: [-2147483648, null, 2147483647],
  uint32: [0, null, 4294967295],
  int64: [-9223372036854775808n, null, 9223372036854775807n],
  uint64: [0n, null, 18446744073709551615n],
  bool: [true, null, false],
  utf8: ["中文", null, ""],
  large_utf8: ['a"b\n', null, "😀"],
  binary: ["00ff", null, ""],
  large_binary: ["80", null, "7a"],
  timestamp_s: [1700000000000, null, -1000],
  timestamp_ms: [1700000000123, null, -1],
  timestamp_us: [1700000000123.5, null, -1],
  timestamp_ns: [1700000000123.25, null, -1],
  date: [19675 * 86400000, null, -86400000],
  decimal: ["12.34", null, "-0.01"],
};

// The four rows of the first batch.
const points = [
  { n: 0, t: "zero" },
  { n: 1, t: "one" },
  { n: null, t: "two" },
  { n: 3, t: "three" },
  { n: 4, t: null },
  null,
];
const nested = {
  row: [0n, 1n, 2n, 3n],
  list: [[0, 1], null, [null], [3, 4, 5]],
  large_list: [[], null, [0, 1, null, 3, 4, 5], []],
  rows: [points.slice(0, 2), null, points.slice(2, 3), points.slice(3)],
  pair: [[1.5, 2.5], null, [5.5, 6.5], [7.5, 8.5]],
  struct: [{ item: null, texts: ["a"] }, { item: 3, texts: [] }, { item: 4, texts: ["b", "c"] }, null],
  deep: [[{ rows: points.slice(0, 2) }], [], [{ rows: points.slice(2) }], []],
};

// Of every column the same.
const each = (columns, change) => Object.fromEntries(Object.entries(columns).map(([name, values]) => [name, change(values)]));

for (const [reader, read] of Object.entries(readers)) {
  test(`${reader} reads every type`, () => {
    assert.deepEqual(read(stream("types")), types);
  });

  test(`${reader} reads lists and structs, whole and cut`, () => {
    assert.deepEqual(read(stream("nested")), each(nested, (values) => [...values, values[1], values[2]]));
  });

  test(`${reader} reads a stream without batches`, () => {
    assert.deepEqual(read(stream("no_batch")), each(types, () => []));
  });

  test(`${reader} reads a batch without rows`, () => {
    assert.deepEqual(read(stream("no_rows")), each(nested, () => []));
  });

  test(`${reader} reads 100,000 rows of 40 batches`, () => {
    const { number, text } = read(stream("many"));
    assert.equal(number.length, 100000);
    assert.ok(number.every((value, i) => value === BigInt(i)));
    assert.ok(text.every((value, i) => value === `row ${i}`));
  });

  test(`${reader} refuses a stream that is cut off in a batch`, () => {
    const bytes = stream("types");
    assert.throws(() => read(bytes.subarray(0, bytes.length - 64)));
  });
}

test("apache-arrow sees types, metadata, and where nulls may be", () => {
  const { fields, metadata } = schemaByArrow(stream("types"));
  assert.deepEqual(metadata, { "made by": "hand" });
  assert.deepEqual(fields[0], {
    name: "all_float64",
    type: "Float64",
    nullable: false,
    metadata: { unit: "yuan", heading: "价" },
  });
  assert.deepEqual(fields[1], { name: "float32", type: "Float32", nullable: true, metadata: {} });
  const type = Object.fromEntries(fields.map((field) => [field.name, field.type]));
  assert.equal(type.uint16, "Uint16");
  assert.equal(type.large_utf8, "LargeUtf8");
  assert.equal(type.timestamp_s, "Timestamp<SECOND>");
  assert.equal(type.timestamp_ms, "Timestamp<MILLISECOND, Asia/Shanghai>");
  assert.equal(type.timestamp_ns, "Timestamp<NANOSECOND>");
  assert.equal(type.date, "Date32<DAY>");
});

test("nodejs-polars sees the types", () => {
  const flat = {
    uint32: "DataType(UInt32)",
    utf8: "DataType(String)",
    timestamp_ms: "DataType(Datetime(ms,Asia/Shanghai))",
    timestamp_ns: "DataType(Datetime(ns,))",
    decimal: "DataType(Decimal(12,2))",
  };
  assert.deepEqual(typesByPolars(stream("no_batch"), Object.keys(flat)), flat);
  const deep = {
    pair: "DataType(FixedSizeList(DataType(Float64),2))",
    rows: 'DataType(List(DataType(Struct(Field("n", DataType(Int32)),Field("t", DataType(String))))))',
  };
  assert.deepEqual(typesByPolars(stream("no_rows"), Object.keys(deep)), deep);
});
