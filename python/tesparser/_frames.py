"""Columns of Arrow arrays as NumPy arrays and as data frames of pandas."""

from __future__ import annotations

from typing import Any, Dict, List, Optional, Sequence, Tuple

import numpy as np

# A column's values, and where it is null, True; None where it is nowhere.
Part = Tuple[Any, Optional[Any]]


def masked(part: Part) -> Any:
    """A masked array that shares the values' memory."""
    values, mask = part
    if mask is None:
        return np.ma.MaskedArray(values, copy=False)
    if values.ndim == 2:
        mask = np.broadcast_to(mask[:, None], values.shape)
    return np.ma.MaskedArray(values, mask=mask, copy=False)


def _joined(parts: Sequence[Part]) -> Part:
    if len(parts) == 1:
        return parts[0]
    values = np.concatenate([each for each, _ in parts])
    if all(mask is None for _, mask in parts):
        return values, None
    return values, np.concatenate([np.zeros(len(each), bool) if mask is None else mask for each, mask in parts])


def _float_series(values: Any, mask: Any) -> Any:
    values = values.copy()
    values[mask] = np.nan
    return values


def _series(part: Part) -> Any:
    """What pandas has for a column: float with NaN, Int64 and the like only where integers are null."""
    import pandas as pd

    values, mask = part
    if values.ndim == 2:
        cells = np.empty(len(values), object)
        cells[:] = list(values)
        if mask is not None:
            cells[mask] = None
        return cells
    if mask is None or values.dtype.kind == "O":
        return values
    if values.dtype.kind == "f":
        return _float_series(values, mask)
    if values.dtype.kind == "M":
        values = values.copy()
        values[mask] = np.datetime64("NaT")
        return values
    if mask.all():
        # Arrays without a value may share one block of zeros.
        values = values.copy()
    return pd.arrays.IntegerArray(values, mask)


def frame(names: Sequence[str], columns: Sequence[Sequence[Part]], rows: int) -> Any:
    """A data frame; ``columns`` has the parts of each column, from first to last."""
    import pandas as pd

    series = {i: _series(_joined(parts)) for i, parts in enumerate(columns)}
    made = pd.DataFrame(series, index=pd.RangeIndex(rows), copy=False)
    made.columns = pd.Index(names, dtype=object)
    return made


class Parts:
    """Collects batches column by column, to make one frame of them."""

    def __init__(self) -> None:
        self.names: List[str] = []
        self.columns: List[List[Part]] = []
        self.rows = 0
        self._seen: Dict[int, Any] = {}

    def add(self, batch: Any, owned: bool) -> None:
        """``batch`` is a _core.Columns; what is owned may be written to afterwards."""
        if not self.names:
            self.names = [batch.name(i) for i in range(batch.count)]
            self.columns = [[] for _ in self.names]
        for i, parts in enumerate(self.columns):
            parts.append((self._values(batch, i, owned), batch.mask(i)))
        self.rows += batch.length

    def _values(self, batch: Any, col: int, owned: bool) -> Any:
        values = batch.values(col, owned)
        if values.dtype.kind == "O":
            return values
        if not owned:
            return values.copy()
        # Columns that share memory would change with each other.
        address = values.__array_interface__["data"][0]
        if len(values) and self._seen.setdefault(address, values) is not values:
            return values.copy()
        return values

    def frame(self) -> Any:
        return frame(self.names, self.columns, self.rows)


def to_dict(batch: Any) -> Dict[str, List[Any]]:
    """Lists of Python's values by name; of columns with one name the first."""
    lists: Dict[str, List[Any]] = {}
    for i in range(batch.count):
        lists.setdefault(batch.name(i), batch.to_list(i))
    return lists
