// Making elements. Text only ever becomes a text node.

type Attributes = Record<string, string | number | boolean | null | undefined | ((event: never) => void)>;
type Child = Node | string | null | undefined | false;

export function h<K extends keyof HTMLElementTagNameMap>(
  tag: K,
  attributes: Attributes = {},
  ...children: Child[]
): HTMLElementTagNameMap[K] {
  const element = document.createElement(tag);
  set(element, attributes);
  element.append(...children.filter((child): child is Node | string => child !== null && child !== undefined && child !== false));
  return element;
}

export function svg(tag: string, attributes: Attributes = {}, ...children: Child[]): SVGElement {
  const element = document.createElementNS("http://www.w3.org/2000/svg", tag);
  set(element, attributes);
  element.append(...children.filter((child): child is Node | string => child !== null && child !== undefined && child !== false));
  return element;
}

function set(element: Element, attributes: Attributes): void {
  for (const [name, value] of Object.entries(attributes)) {
    if (typeof value === "function") element.addEventListener(name, value as unknown as EventListener);
    else if (value === true) element.setAttribute(name, "");
    else if (value !== false && value !== null && value !== undefined) element.setAttribute(name, String(value));
  }
}

// Characters that have no shape of their own, or that would turn text around, are shown as their codes.
const hidden = /[\u0000-\u001f\u007f-\u009f\u00ad\u061c\u180e\u200b-\u200f\u2028-\u202e\u2060-\u206f\ufeff\ufff9-\ufffb]/gu;

function codeOf(character: string): string {
  const known: Record<string, string> = { "\n": "\\n", "\r": "\\r", "\t": "\\t" };
  const code = character.codePointAt(0)!;
  return known[character] ?? (code < 256 ? `\\x${code.toString(16).padStart(2, "0")}` : `\\u${code.toString(16).padStart(4, "0")}`);
}

// Text of a reply, in a form in which all of it can be seen.
export function visible(text: string, keepLines = false): (Node | string)[] {
  const parts: (Node | string)[] = [];
  let from = 0;
  for (const found of text.matchAll(hidden)) {
    if (keepLines && found[0] === "\n") continue;
    if (found.index > from) parts.push(text.slice(from, found.index));
    parts.push(h("span", { class: "code" }, codeOf(found[0])));
    from = found.index + found[0].length;
  }
  if (from < text.length) parts.push(text.slice(from));
  return parts;
}

export function visibleText(text: string): string {
  return text.replace(hidden, codeOf);
}
