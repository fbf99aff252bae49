"""Small readable tables: for the prompt as text, for notebooks as HTML."""

from __future__ import annotations

import html
import shutil
import unicodedata
from typing import Any, Callable, Iterable, List, Sequence

MOST_ROWS = 10
MOST_COLUMNS = 12
MOST_LETTERS = 24

NUMBERS = frozenset("chiqCHIQfdPV")


def _clip(text: str) -> str:
    return text if len(text) <= MOST_LETTERS else text[: MOST_LETTERS - 1] + "…"


def _printable(text: str) -> str:
    return "".join(c if c.isprintable() else c.encode("unicode_escape").decode() for c in text)


def cell_text(value: Any, letter: str) -> str:
    """A cell in a few letters."""
    if value is None:
        return "-"
    if isinstance(value, str):
        return _clip(_printable(value))
    if letter == "f":
        return format(value, ".7g")
    if isinstance(value, float):
        return format(value, ".15g")
    if isinstance(value, bytes):
        return "1 byte" if len(value) == 1 else f"{len(value)} bytes"
    if letter == "t":
        return f"[{len(value)} rows]" if len(value) != 1 else "[1 row]"
    return _clip(str(value))


def _width(text: str) -> int:
    return sum(2 if unicodedata.east_asian_width(c) in "WF" else 0 if unicodedata.combining(c) else 1 for c in text)


def _shown(count: int, most: int) -> List[int]:
    """The numbers of what is shown: all, or the first and the last ones with -1 between."""
    if count <= most:
        return list(range(count))
    first = (most + 1) // 2
    return [*range(first), -1, *range(count - (most - first), count)]


def _grid(shown: Sequence[int], names: Sequence[str], types: Sequence[str], rows: int, cell: Callable[[int, int], Any]) -> List[List[str]]:
    """Headings and cells as texts, of the columns that are shown."""

    def line(text_of: Callable[[int], str]) -> List[str]:
        return ["…" if col < 0 else text_of(col) for col in shown]

    grid = [line(lambda col: _clip(_printable(names[col])))]
    for row in _shown(rows, MOST_ROWS):
        if row < 0:
            grid.append(["…"] * len(shown))
        else:
            grid.append(line(lambda col, row=row: cell_text(cell(row, col), types[col])))  # type: ignore[misc]
    return grid


def _numeric(shown: Sequence[int], types: Sequence[str]) -> List[bool]:
    return [col >= 0 and types[col] in NUMBERS for col in shown]


def _aligned(grid: Sequence[Sequence[str]], right: Sequence[bool]) -> List[str]:
    widths = [max(_width(line[i]) for line in grid) for i in range(len(right))]

    def padded(line: Iterable[str]) -> str:
        parts = []
        for part, width, numeric in zip(line, widths, right):
            blanks = " " * (width - _width(part))
            parts.append(blanks + part if numeric else part + blanks)
        return "  ".join(parts).rstrip()

    return [padded(line) for line in grid if line]


def text(title: str, names: Sequence[str], types: Sequence[str], rows: int, cell: Callable[[int, int], Any]) -> str:
    """The title, the headings and the first and last rows, in as many columns as the terminal is wide enough for."""
    room = shutil.get_terminal_size().columns
    lines: List[str] = []
    for most in range(MOST_COLUMNS, 2, -1):
        shown = _shown(len(names), most)
        lines = _aligned(_grid(shown, names, types, rows, cell), _numeric(shown, types))
        if all(_width(line) <= room for line in lines):
            break
    return "\n".join([title, *lines])


def as_html(title: str, names: Sequence[str], types: Sequence[str], rows: int, cell: Callable[[int, int], Any]) -> str:
    """The same as a table of HTML. Whatever the cells hold is text in it, never markup."""
    shown = _shown(len(names), MOST_COLUMNS)
    head, *body = _grid(shown, names, types, rows, cell)
    right = _numeric(shown, types)

    def line(tag: str, cells: Sequence[str]) -> str:
        parts = (
            f'<{tag} style="text-align: {"right" if numeric else "left"}">{html.escape(part)}</{tag}>'
            for part, numeric in zip(cells, right)
        )
        return f"<tr>{''.join(parts)}</tr>"

    return (
        f"<table><caption>{html.escape(title)}</caption><thead>{line('th', head)}</thead>"
        f"<tbody>{''.join(line('td', cells) for cells in body)}</tbody></table>"
    )
