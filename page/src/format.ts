// Values as people read them.
import type { Vector } from "apache-arrow";
import type { Column, Value } from "./table";

// At most 15 digits, of a number of 32 bits 7; without an exponent where that is short.
export function plainNumber(value: number | bigint, single = false): string {
  if (typeof value === "bigint") return value.toString();
  if (!Number.isFinite(value)) return String(value);
  if (Number.isInteger(value) && Math.abs(value) < 1e15) return Object.is(value, -0) ? "-0" : String(value);
  return String(Number(value.toPrecision(single ? 7 : 15)));
}

export function grouped(text: string): string {
  const parts = /^(-?)(\d+)(\.\d+)?$/.exec(text);
  if (!parts) return text;
  return parts[1] + parts[2].replace(/\B(?=(\d{3})+$)/g, ",") + (parts[3] ?? "");
}

export function decimalsOf(text: string): number {
  const at = text.indexOf(".");
  return at < 0 || text.includes("e") ? 0 : text.length - at - 1;
}

const padPoint = "\u2008"; // as wide as a point
const padDigit = "\u2007"; // as wide as a digit

export function hex(bytes: Uint8Array, most = Infinity): string {
  let text = "";
  for (let i = 0; i < Math.min(bytes.length, most); ++i) text += bytes[i].toString(16).padStart(2, "0");
  return bytes.length > most ? `${text}…` : text;
}

function listText(column: Column, list: Vector, most: number): string {
  const parts: string[] = [];
  for (let i = 0; i < Math.min(list.length, most); ++i) {
    const value = list.get(i) as number | bigint | null;
    parts.push(value === null ? "·" : plainNumber(value, column.single));
  }
  return parts.join(", ") + (list.length > most ? ", …" : "");
}

// Aligned at the point, as many places as the column's numbers have.
export function cellText(column: Column, row: number, value: Value, decimals: number): string {
  if (value === null) return "";
  switch (column.shape) {
    case "text":
      return value as string;
    case "bytes":
      return hex(value as Uint8Array, 16);
    case "list":
      return listText(column, value as Vector, 12);
    case "number": {
      const moment = column.moment(row);
      if (moment) return moment.text;
      const number = value as number | bigint;
      if (column.mask) return `0x${(typeof number === "bigint" ? BigInt.asUintN(64, number) : number).toString(16)}`;
      const text = plainNumber(number, column.single);
      if (!column.counts) return text;
      const missing = decimals - decimalsOf(text);
      if (missing <= 0 || text.includes("e")) return grouped(text);
      return grouped(text) + (text.includes(".") ? "" : padPoint) + padDigit.repeat(missing);
    }
    default:
      return "";
  }
}

// All of a value, nothing rounded.
export function exactText(column: Column, value: Exclude<Value, null>): string {
  if (typeof value === "number") return Object.is(value, -0) ? "-0" : String(column.single ? Number(value.toPrecision(9)) : value);
  if (typeof value === "bigint" || typeof value === "string") return String(value);
  if (value instanceof Uint8Array) return hex(value);
  return column.shape === "list" ? listText(column, value as Vector, Infinity) : "";
}

// The places behind the point that a column needs, by its first rows.
export function placesOf(column: Column): number {
  if (column.shape !== "number" || column.whole || column.times.length > 0) return 0;
  let most = 0;
  for (let row = 0; row < Math.min(column.rows, 400); ++row) {
    const value = column.number(row);
    if (Number.isFinite(value)) most = Math.max(most, decimalsOf(plainNumber(value, column.single)));
  }
  return Math.min(most, 6);
}

export function sizeText(bytes: number): string {
  return grouped(String(bytes));
}
