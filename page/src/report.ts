// What the viewer wrote into the page: the list of replies, and their data by number.
import { tableFromIPC } from "apache-arrow";
import type { Table as ArrowTable } from "apache-arrow";

export interface Entry {
  id: number | null;
  bytes?: number;
  number?: number;
  offset?: number;
  many?: boolean;
  file?: string;
  payload?: string;
  english?: string;
  chinese?: string;
  family?: string;
  note?: string;
  rows?: number;
  columns?: number;
  decoded?: boolean;
  kind?: string;
  table?: number;
  tree?: number;
  leftOut?: boolean;
  failure?: string;
}

type Element = [index: number, english: string, chinese: string, unit: string, kind: string, source: string];

// What is told of a column.
export interface Told {
  letter: string;
  english: string;
  chinese: string;
  meaning: string;
  unit: string;
  kind: string;
  source: string;
  made: string;
  unset: string;
  elements: Element[];
}

type ToldColumn = [
  name: string,
  letter: string,
  english: string,
  chinese: string,
  meaning: string,
  unit: string,
  kind: string,
  source: string,
  made: string,
  unset: string,
  elements: Element[],
];

export interface ToldTable {
  path: string;
  english: string;
  chinese: string;
  rows: string;
  columns: ToldColumn[];
}

export interface Report {
  program: string;
  most: { replies: number; bytes: number };
  leftOut: number;
  full: boolean;
  replies: Entry[];
  kinds: Record<string, ToldTable[]>;
}

export interface Licences {
  packages: { name: string; version: string; licence: string; author: string; notice: string; text: number }[];
  texts: string[];
}

function textOf(id: string): string {
  return document.getElementById(id)!.textContent!;
}

export function readReport(): Report {
  return JSON.parse(textOf("report")) as Report;
}

export function readLicences(): Licences {
  return JSON.parse(textOf("licences")) as Licences;
}

function bytesOf(block: number): Uint8Array {
  const base64 = textOf(`d${block}`);
  const modern = Uint8Array as unknown as { fromBase64?: (text: string) => Uint8Array };
  if (modern.fromBase64) return modern.fromBase64(base64);
  const binary = atob(base64);
  const bytes = new Uint8Array(binary.length);
  for (let i = 0; i < binary.length; ++i) bytes[i] = binary.charCodeAt(i);
  return bytes;
}

export function readArrow(block: number): ArrowTable {
  return tableFromIPC(bytesOf(block));
}

export function readText(block: number): string {
  return new TextDecoder().decode(bytesOf(block));
}

// What is told of a table with these columns. Nested tables of one kind that have the same columns are told alike.
export function toldOf(report: Report, kind: string | undefined, names: string[]): ToldTable | undefined {
  const tables = kind === undefined ? undefined : report.kinds[kind];
  return tables?.find((table) => table.columns.length === names.length && table.columns.every((column, i) => column[0] === names[i]));
}

export function toldColumn(column: ToldColumn): Told {
  const [, letter, english, chinese, meaning, unit, kind, source, made, unset, elements] = column;
  return { letter, english, chinese, meaning, unit, kind, source, made, unset, elements };
}
