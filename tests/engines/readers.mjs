// What programs of others find in a stream of Arrow's IPC format, as plain values that compare by assert.deepEqual:
//
//   {name: [value of row 0, value of row 1, ...], ...}
//
// null is null; integers of 64 bits are BigInt, all other numbers Number; bytes are hexadecimal text, decimals text;
// a time is its milliseconds since 1970 in UTC, with a fraction where it is finer; a list is an array, a struct an object.
import { DataType, tableFromIPC } from "apache-arrow";
import pl from "nodejs-polars";

// Two's complement in words of 32 bits, the lowest first.
function decimalText(words, scale) {
  const bits = words.reduceRight((sum, word) => (sum << 32n) | BigInt(word), 0n);
  const value = BigInt.asIntN(32 * words.length, bits);
  const digits = (value < 0n ? -value : value).toString().padStart(scale + 1, "0");
  const point = digits.length - scale;
  return (value < 0n ? "-" : "") + digits.slice(0, point) + (scale > 0 ? "." + digits.slice(point) : "");
}

function plain(value, type) {
  if (value === null || value === undefined) return null;
  if (DataType.isDecimal(type)) return decimalText([...value], type.scale);
  if (DataType.isStruct(type)) {
    return Object.fromEntries(type.children.map((child) => [child.name, plain(value[child.name], child.type)]));
  }
  if (DataType.isList(type) || DataType.isLargeList(type) || DataType.isFixedSizeList(type)) {
    return Array.from(value, (item) => plain(item, type.children[0].type));
  }
  if (value instanceof Uint8Array) return Buffer.from(value).toString("hex");
  return value;
}

function columnsOf(table) {
  return Object.fromEntries(
    table.schema.fields.map((field, i) => [field.name, Array.from(table.getChildAt(i), (value) => plain(value, field.type))]),
  );
}

// By Arrow's own library.
export function columnsByArrow(bytes) {
  return columnsOf(tableFromIPC(bytes));
}

// By Polars. Its way into JavaScript loses bytes, decimals, long integers and nulls of structs, so it writes its frame
// out again, and what it wrote is read.
export function columnsByPolars(bytes) {
  const frame = pl.readIPCStream(bytes);
  return columnsOf(tableFromIPC(frame.writeIPCStream({ compression: "uncompressed" })));
}

export const readers = { "apache-arrow": columnsByArrow, "nodejs-polars": columnsByPolars };

// Of each column {name, type, nullable, metadata}; the metadata of the whole under "".
export function schemaByArrow(bytes) {
  const { schema } = tableFromIPC(bytes);
  return {
    metadata: Object.fromEntries(schema.metadata),
    fields: schema.fields.map((field) => ({
      name: field.name,
      type: String(field.type),
      nullable: field.nullable,
      metadata: Object.fromEntries(field.metadata),
    })),
  };
}

// The types that Polars gives these columns. That of bytes it cannot tell.
export function typesByPolars(bytes, names) {
  const frame = pl.readIPCStream(bytes);
  return Object.fromEntries(names.map((name) => [name, String(frame.getColumn(name).dtype)]));
}
