"""What a Table can do beyond its cells."""

from __future__ import annotations

from typing import Any, Dict, List, Optional, Tuple, Union

from . import _core, _frames, _show
from ._core import Row, Table


def _title(table: Table) -> str:
    name = f' "{table.name}"' if table.name else ""
    rows = "1 row" if len(table) == 1 else f"{len(table)} rows"
    columns = "1 column" if len(table.columns) == 1 else f"{len(table.columns)} columns"
    return f"Table{name} of {_core.id_with_name(table.id)}: {rows}, {columns}"


def _repr(self: Table) -> str:
    return _show.text(_title(self), self.columns, self.types, len(self), lambda row, col: self[row, col])


def _repr_html(self: Table) -> str:
    return _show.as_html(_title(self), self.columns, self.types, len(self), lambda row, col: self[row, col])


def to_numpy(self: Table, column: Union[int, str]) -> Any:
    """A column as a numpy.ma.MaskedArray, masked where cells are unset.

    Shape (rows,), or (rows, 53) for counted cells such as "53q". Numbers keep their width; they are views of
    the table's memory, read-only, as far as its cells lie in one piece, and stay valid when the table is
    gone. Under the mask they are 0. Texts, bytes and tables are objects, None where unset.

    Raises KeyError or IndexError for a column that is not there.

    >>> import tesparser
    >>> bars = tesparser.table(open(samples / "21-QuoteKlineSingle.bin", "rb").read())[0, "Data"]
    >>> bars.to_numpy("ShouPanJia")[:3]
    masked_array(data=[8.19, 8.17, 8.18],
                 mask=False,
           fill_value=1e+20)
    """
    return _frames.masked(self._column_arrays(self._column_of(column)))


def to_dict(self: Table) -> Dict[str, List[Any]]:
    """Lists of the columns' cells by name, as Python has them: tables inside as lists of dicts.

    Of columns with one name the first counts. Raises NotExpressible where tables inside one column differ in
    their columns.
    """
    return _frames.to_dict(self._to_columns())


def to_pandas(self: Table, flat: bool = True) -> Any:
    """The table as a pandas.DataFrame of its own memory.

    flat=True: a row for each innermost row, beside the cells of the rows around it, under names such as
    "Data.ShiJian". A row without rows inside is a row itself. flat=False: a row for each row of this table;
    tables inside are lists of dicts.

    Floats are float64 or float32, NaN where unset. Integers are as wide as they are in the table: NumPy's
    where all are set, otherwise pandas' nullable ones (Int64) with NA. Texts are str objects, bytes are
    bytes, counted cells NumPy arrays, None where unset.

    Raises NotExpressible where tables inside one column differ in their columns.

    >>> import tesparser
    >>> table = tesparser.table(open(samples / "21-QuoteKlineSingle.bin", "rb").read())
    >>> table.to_pandas()[["Obj", "Data.ShouPanJia"]].head(2)
            Obj  Data.ShouPanJia
    0  SH600000             8.19
    1  SH600000             8.17
    """
    columns = self._to_columns()
    parts = _frames.Parts()
    parts.add(_core.flatten(columns) if flat else columns, False)
    return parts.frame()


def _arrow_c_array(self: Table, requested_schema: Optional[object] = None) -> Tuple[object, object]:
    """Arrow's PyCapsule interface: (schema, array) of a struct array with a field for each column.

    Memory is shared, not copied. Tables inside are lists of structs. ``requested_schema`` is not followed,
    which the interface allows.
    """
    return self._to_columns().capsules()


def _row_repr(self: Row) -> str:
    cells = ", ".join(f"{name}={_show.cell_text(cell, 't' if isinstance(cell, Table) else '')}" for name, cell in zip(self.keys(), self))
    return f"Row {self.index}: {cells}"


for _name, _method in {
    "to_numpy": to_numpy,
    "to_dict": to_dict,
    "to_pandas": to_pandas,
    "__repr__": _repr,
    "_repr_html_": _repr_html,
    "__arrow_c_array__": _arrow_c_array,
}.items():
    setattr(Table, _name, _method)
Row.__repr__ = _row_repr  # type: ignore[method-assign]
Table.__module__ = Row.__module__ = "tesparser"
