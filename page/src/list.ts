// The list of replies, of which only what is on the screen is in the page.
import { Virtualizer, elementScroll, observeElementOffset, observeElementRect } from "@tanstack/virtual-core";
import { h, visible } from "./dom";
import { grouped, sizeText } from "./format";
import type { Entry } from "./report";
import { either, t } from "./words";

const itemHeight = 54;

export class ReplyList {
  readonly element: HTMLElement;
  private readonly find: HTMLInputElement;
  private readonly inner = h("div", { class: "inner", role: "presentation" });
  private readonly scroller = h("div", { class: "entries", role: "listbox", tabindex: 0, "aria-label": t("replies") }, this.inner);
  private readonly virtual: Virtualizer<HTMLElement, Element>;
  private shown: number[];
  private current = 0;
  private readonly folder: number; // characters of the folder that all files are in

  constructor(
    private readonly entries: Entry[],
    private readonly choose: (index: number) => void,
  ) {
    this.shown = entries.map((_, i) => i);
    this.folder = commonFolder(entries.map((entry) => entry.file).filter((file) => file !== undefined));
    this.find = h("input", { type: "search", placeholder: t("findReply"), "aria-label": t("findReply"), autocomplete: "off", spellcheck: "false", input: () => this.search() });
    this.element = h("nav", { class: "replies", "aria-label": t("replies") }, this.find, this.scroller);
    this.virtual = new Virtualizer<HTMLElement, Element>({
      count: this.shown.length,
      getScrollElement: () => this.scroller,
      estimateSize: () => itemHeight,
      overscan: 6,
      observeElementRect,
      observeElementOffset,
      scrollToFn: elementScroll,
      onChange: () => this.draw(),
    });
    this.scroller.addEventListener("keydown", (event) => this.key(event));
  }

  mount(): void {
    this.virtual._didMount();
    this.virtual._willUpdate();
    this.draw();
  }

  select(index: number): void {
    this.current = index;
    const at = this.shown.indexOf(index);
    if (at >= 0 && this.scroller.isConnected) this.virtual.scrollToIndex(at, { align: "auto" });
    this.draw();
  }

  private search(): void {
    const words = this.find.value.toLowerCase().split(/\s+/).filter(Boolean);
    const textOf = (entry: Entry) =>
      [entry.id, entry.payload, entry.english, entry.chinese, entry.file, entry.family, entry.failure].join(" ").toLowerCase();
    this.shown = this.entries.map((_, i) => i).filter((i) => words.every((word) => textOf(this.entries[i]).includes(word)));
    this.virtual.setOptions({ ...this.virtual.options, count: this.shown.length });
    this.virtual.measure();
    this.draw();
  }

  private draw(): void {
    if (!this.scroller.isConnected) return;
    this.inner.style.height = `${this.virtual.getTotalSize()}px`;
    this.inner.replaceChildren();
    this.scroller.removeAttribute("aria-activedescendant");
    for (const item of this.virtual.getVirtualItems()) {
      const index = this.shown[item.index];
      const element = this.item(index, item.index);
      element.style.transform = `translateY(${item.start}px)`;
      this.inner.append(element);
      if (index === this.current) this.scroller.setAttribute("aria-activedescendant", element.id);
    }
  }

  private item(index: number, at: number): HTMLElement {
    const entry = this.entries[index];
    const name = entry.failure ? t("notShown") : either(entry.english, entry.chinese) || entry.payload || "";
    const where = `${entry.file?.slice(this.folder) ?? ""}${entry.many ? ` #${entry.number}` : ""}`;
    return h(
      "div",
      {
        class: `entry ${entry.failure ? "failed" : ""}`,
        id: `entry-${index}`,
        role: "option",
        "aria-selected": String(index === this.current),
        "aria-posinset": at + 1,
        "aria-setsize": this.shown.length,
        title: entry.failure ?? entry.file,
        click: () => this.choose(index),
      },
      h("span", { class: "id" }, entry.id === null ? "!" : String(entry.id)),
      h("span", { class: "what" }, ...visible(name)),
      h("span", { class: "size" }, entry.rows === undefined ? (entry.bytes === undefined ? "" : sizeText(entry.bytes) + " B") : `${grouped(String(entry.rows))} ${t(entry.rows === 1 ? "row" : "rows")}`),
      h("span", { class: "where" }, ...visible(entry.failure ?? where)),
    );
  }

  private key(event: KeyboardEvent): void {
    const at = this.shown.indexOf(this.current);
    const to: Record<string, number> = { ArrowDown: at + 1, ArrowUp: at - 1, Home: 0, End: this.shown.length - 1, PageDown: at + 10, PageUp: at - 10 };
    if (!(event.key in to) || this.shown.length === 0) return;
    event.preventDefault();
    this.choose(this.shown[Math.max(0, Math.min(to[event.key], this.shown.length - 1))]);
  }
}

function commonFolder(files: string[]): number {
  let length = files[0]?.lastIndexOf("/") ?? -1;
  for (const file of files) {
    // Looked for before the first character, it would be found there once more.
    while (length >= 0 && !file.startsWith(files[0].slice(0, length + 1))) length = length > 0 ? files[0].lastIndexOf("/", length - 1) : -1;
  }
  return length + 1;
}
