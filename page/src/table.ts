// A table of a reply: columns of Arrow, with what is told of them.
import { DataType } from "apache-arrow";
import type { Struct, Table as ArrowTable, Vector } from "apache-arrow";
import { readArrow, toldColumn, toldOf } from "./report";
import type { Entry, Report, Told, ToldTable } from "./report";
import { guessKind, readTime, timeKinds } from "./times";
import type { Moment, TimeKind } from "./times";

export type Shape = "number" | "text" | "bytes" | "table" | "list" | "nothing";
export type Value = null | number | bigint | string | Uint8Array | Vector;

const namesOfTimes = /^(time|date)$|(shi_?jian|ri_?qi|_time|_date|Time|Date)$/i;

export class Column {
  readonly shape: Shape;
  readonly single: boolean; // numbers of 32 bits with a point
  readonly whole: boolean; // numbers without one
  readonly times: readonly TimeKind[];
  readonly timesGuessed: boolean;
  readonly mask: boolean;
  readonly counts: boolean; // says how much, so that its digits are grouped
  private readonly words: Set<string>; // of its kind
  private numbersOnce: Float64Array | null = null;

  constructor(
    readonly index: number,
    readonly name: string, // no other column of the table has it
    private readonly vector: Vector,
    readonly rows: number,
    readonly told: Told | undefined,
  ) {
    const type = vector.type as DataType;
    this.shape = shapeOf(type);
    this.single = DataType.isFloat(type) && type.precision === 1;
    this.whole = DataType.isInt(type);
    this.words = new Set((told?.kind ?? "").split(" "));
    this.mask = this.is("mask") || (!told && name === "HasBits");
    const toldTimes = timeKinds.filter((kind) => this.is(kind));
    const guessed = told || this.shape !== "number" || !namesOfTimes.test(name) ? null : guessKind(this.sample(50));
    this.times = guessed ? [guessed] : this.shape === "number" ? toldTimes : [];
    this.timesGuessed = guessed !== null;
    this.counts = this.times.length === 0 && !["id", "enum", "flag"].some((word) => this.is(word));
  }

  get(row: number): Value {
    return this.vector.get(row) as Value;
  }

  isSet(row: number): boolean {
    return this.get(row) !== null;
  }

  // As the nearest double; NaN where it is unset.
  numbers(): Float64Array {
    if (this.numbersOnce) return this.numbersOnce;
    const numbers = new Float64Array(this.rows);
    for (let row = 0; row < this.rows; ++row) {
      const value = this.get(row);
      numbers[row] = typeof value === "number" || typeof value === "bigint" ? Number(value) : NaN;
    }
    return (this.numbersOnce = numbers);
  }

  number(row: number): number {
    const value = this.get(row);
    return typeof value === "number" || typeof value === "bigint" ? Number(value) : NaN;
  }

  moment(row: number): Moment | null {
    return this.times.length === 0 ? null : readTime(this.times, this.number(row));
  }

  // The first values that are there and not zero.
  sample(count: number): number[] {
    const values: number[] = [];
    for (let row = 0; row < Math.min(this.rows, 4 * count) && values.length < count; ++row) {
      const value = this.number(row);
      if (value === value && value !== 0) values.push(value);
    }
    return values;
  }

  is(word: string): boolean {
    return this.words.has(word);
  }

  unit(): string {
    return this.told?.unit.replace(" ?", "") ?? "";
  }

  // Numbers that say how much, not which one.
  get measures(): boolean {
    if (this.shape !== "number" || !this.counts || this.mask) return false;
    return this.told !== undefined || !/^(id|uid)$|(Id|LeiXing|HasBits|FangXiang)$/i.test(this.name);
  }
}

function shapeOf(type: DataType): Shape {
  if (DataType.isUtf8(type)) return "text";
  if (DataType.isBinary(type)) return "bytes";
  if (DataType.isList(type)) return "table";
  if (DataType.isFixedSizeList(type)) return "list";
  if (DataType.isInt(type) || DataType.isFloat(type) || DataType.isTimestamp(type)) return "number";
  return "nothing";
}

export class Table {
  readonly columns: Column[] = [];
  readonly told: ToldTable | undefined;

  constructor(
    readonly report: Report,
    readonly entry: Entry,
    readonly rows: number,
    names: string[],
    vectorAt: (index: number) => Vector,
  ) {
    this.told = toldOf(report, entry.kind, names);
    const taken = new Set<string>();
    names.forEach((given, index) => {
      let name = given || `#${index}`;
      while (taken.has(name)) name += `#${index}`;
      taken.add(name);
      const told = this.told && toldColumn(this.told.columns[index]);
      this.columns.push(new Column(index, name, vectorAt(index), rows, told));
    });
  }

  column(name: string): Column | undefined {
    return this.columns.find((column) => column.name === name);
  }

  // The table in a cell; null if it is unset or of another shape.
  child(row: number, column: Column): Table | null {
    const value = column.shape === "table" && row < this.rows ? (column.get(row) as Vector | null) : null;
    if (!value) return null;
    const fields = (value.type as Struct).children;
    return new Table(
      this.report,
      this.entry,
      value.length,
      fields.map((field) => field.name),
      (index) => value.getChildAt(index)!,
    );
  }

  // What a row is called: its instrument, or its first text.
  label(row: number): string {
    const column = this.labelColumn();
    const value = column?.get(row);
    return typeof value === "string" && value !== "" ? value : String(row);
  }

  labelColumn(): Column | undefined {
    return this.columns.find((column) => column.shape === "text" && (column.is("code") || /^obj$|^DaiMa$/i.test(column.name)))
      ?? this.columns.find((column) => column.shape === "text");
  }
}

export function rootTable(report: Report, entry: Entry): Table | null {
  if (entry.table === undefined) return null;
  const arrow: ArrowTable = readArrow(entry.table);
  return new Table(
    report,
    entry,
    arrow.numRows,
    arrow.schema.fields.map((field) => field.name),
    (index) => arrow.getChildAt(index)!,
  );
}
