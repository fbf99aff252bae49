// Times as the columns have them, as text and as seconds on a scale. All are Beijing time, shown as it is.

export const timeKinds = ["yyyymmdd", "yyyymmddhhmmss", "hhmmss", "hhmm", "unix", "unix_ms"] as const;
export type TimeKind = (typeof timeKinds)[number];

type Form = "day" | "moment" | "milli" | "clock" | "minute";

export class Moment {
  // `seconds` since 1970 on a clock in Beijing; of a time of day, since midnight.
  constructor(
    readonly seconds: number,
    private readonly form: Form,
  ) {}

  // Whether it is more than a day.
  get hasClock(): boolean {
    return this.form !== "day";
  }

  get text(): string {
    const iso = new Date(Math.round(this.seconds * 1000)).toISOString();
    switch (this.form) {
      case "day":
        return iso.slice(0, 10);
      case "moment":
        return `${iso.slice(0, 10)} ${iso.slice(11, 19)}`;
      case "milli":
        return `${iso.slice(0, 10)} ${iso.slice(11, 23)}`;
      case "clock":
        return iso.slice(11, 19);
      case "minute":
        return iso.slice(11, 16);
    }
  }
}

const beijing = 8 * 3600;
const lastSecond = 253402300799 - beijing; // of the year 9999

// Null where it is no date; years before 1000 are counts that look like dates.
function dayOf(date: number): number | null {
  const year = Math.floor(date / 10000);
  const month = Math.floor(date / 100) % 100;
  const day = date % 100;
  if (year < 1000 || year > 9999 || month < 1 || month > 12 || day < 1) return null;
  const at = new Date(Date.UTC(year, month - 1, day));
  return at.getUTCDate() === day ? at.getTime() / 1000 : null;
}

function clockOf(time: number): number | null {
  const hour = Math.floor(time / 10000);
  const minute = Math.floor(time / 100) % 100;
  const second = time % 100;
  return hour > 23 || minute > 59 || second > 59 ? null : hour * 3600 + minute * 60 + second;
}

function made(seconds: number | null, form: Form): Moment | null {
  return seconds === null ? null : new Moment(seconds, form);
}

export function readAs(kind: TimeKind, value: number): Moment | null {
  if (!Number.isInteger(value) || value < 0) return null;
  switch (kind) {
    case "yyyymmdd":
      return made(dayOf(value), "day");
    case "yyyymmddhhmmss": {
      const day = dayOf(Math.floor(value / 1e6));
      const clock = clockOf(value % 1e6);
      return day === null || clock === null ? null : new Moment(day + clock, "moment");
    }
    case "hhmmss":
      return made(clockOf(value), "clock");
    case "hhmm":
      return value > 2359 ? null : made(clockOf(value * 100), "minute");
    case "unix":
      return value === 0 || value > lastSecond ? null : new Moment(value + beijing, "moment");
    case "unix_ms":
      return value < 1000 || value / 1000 >= lastSecond + 1 ? null : new Moment(value / 1000 + beijing, "milli");
  }
}

// Of two kinds that both fit, the first one counts. Null for a value that is no such time: 0 is no date.
export function readTime(kinds: readonly TimeKind[], value: number): Moment | null {
  for (const kind of kinds) {
    const moment = readAs(kind, value);
    if (moment) return moment;
  }
  return null;
}

// The kind of time of numbers that nothing is told of, by what all of them can be; null if none fits.
export function guessKind(values: number[]): TimeKind | null {
  const order: TimeKind[] = ["yyyymmddhhmmss", "yyyymmdd", "unix", "unix_ms", "hhmm", "hhmmss"];
  return (values.length > 0 && order.find((kind) => values.every((value) => readAs(kind, value) !== null))) || null;
}

// The number that a column of times has for one that is given as it is shown, or only the beginning of it: the first such
// moment, or the last one. Undefined for a text of another form.
export function boundOf(kinds: readonly TimeKind[], given: string, last: boolean): number | undefined {
  const text = given.trim().replace(/^(\d):/, "0$1:");
  const digits = text.replace(/\D/g, "");
  const rest = last ? "99991231235959999" : "00000101000000000";
  const full = digits + rest.slice(digits.length);
  for (const kind of kinds) {
    if (kind === "yyyymmddhhmmss" && digits !== "") return Number(full.slice(0, 14));
    if (/^\d{4}-/.test(text)) {
      if (kind === "yyyymmdd") return Number(full.slice(0, 8));
      if (kind === "unix") return Math.floor(milliseconds(full) / 1000);
      if (kind === "unix_ms") return milliseconds(full);
    }
    if (/^\d\d:/.test(text)) {
      const clock = digits + rest.slice(8 + digits.length);
      if (kind === "hhmmss") return Number(clock.slice(0, 6));
      if (kind === "hhmm") return Number(clock.slice(0, 4));
    }
  }
  return undefined;
}

// Since 1970, of the 17 digits of a moment in Beijing. No day is behind the last one of its month.
function milliseconds(digits: string): number {
  const [year, month, day, hour, minute, second] = [0, 4, 6, 8, 10, 12].map((at) => Number(digits.slice(at, at === 0 ? 4 : at + 2)));
  const days = new Date(Date.UTC(year, month, 0)).getUTCDate();
  return Date.UTC(year, month - 1, Math.min(day, days), hour, minute, second, Number(digits.slice(14, 17))) - beijing * 1000;
}
