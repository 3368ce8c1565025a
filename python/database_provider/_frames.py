# SPDX-License-Identifier: Apache-2.0
"""Data frames of columns, and columns of data frames. pandas is imported when it is asked for, and never before."""

from __future__ import annotations

from collections.abc import Callable, Iterable, Mapping
from typing import TYPE_CHECKING, Any

from ._types import type_name

if TYPE_CHECKING:
    import pandas


class _Part:
    """A part of a column of texts, for pyarrow."""

    def __init__(self, capsules: tuple[object, object]) -> None:
        self._capsules = capsules

    def __arrow_c_array__(self, requested_schema: object = None) -> tuple[object, object]:
        return self._capsules


def _texts_of(dtype: Any) -> Callable[[Any], Any] | None:
    """How pandas takes texts as Arrow has them, which copies none; nothing where pyarrow is not what it keeps them in."""
    if getattr(dtype, "storage", None) != "pyarrow":
        return None
    import pyarrow as pa

    return lambda parts: dtype.__from_arrow__(pa.chunked_array([pa.array(_Part(part)) for part in parts], pa.string()))


def frame_of(read: Callable[[bool], list[tuple[str, str, Any, Any]]]) -> pandas.DataFrame:
    """A frame of the columns that `read` gives, told whether it is to give texts as Arrow's arrays."""
    import pandas as pd

    dtype: Any = pd.api.types.pandas_dtype("str") if int(pd.__version__.split(".")[0]) >= 3 else object
    texts_of = _texts_of(dtype)

    def column(kind: str, values: Any, mask: Any) -> Any:
        if kind == "time":
            return pd.array(values.view("datetime64[ms]"), copy=False).tz_localize("UTC")
        if kind == "string":
            return texts_of(values) if texts_of else pd.array(values, dtype=dtype)
        if mask is None:
            return values
        if kind == "bool":
            return pd.arrays.BooleanArray(values, mask)
        return pd.arrays.IntegerArray(values, mask)

    columns = read(texts_of is not None)
    return pd.DataFrame({name: column(kind, values, mask) for name, kind, values, mask in columns}, copy=False)


def _described_as(series: Any) -> str | None:
    """The type that a column's own type stands for; nothing where its values have to tell."""
    import pandas as pd

    kind = series.dtype
    if pd.api.types.is_bool_dtype(kind):
        return "bool"
    if pd.api.types.is_integer_dtype(kind):
        known = series.dropna()
        fits = known.empty or (-(2**31) <= known.min() and known.max() < 2**31)
        return "int" if fits else "long"
    if pd.api.types.is_float_dtype(kind):
        return "double"
    if isinstance(kind, pd.DatetimeTZDtype):
        return "time"
    if pd.api.types.is_datetime64_dtype(kind):
        raise ValueError(f"the times of the column {series.name!r} have no time zone, so that nobody can say which "
                         f"moments they are; give them one, for example by "
                         f"df[{series.name!r}].dt.tz_localize('UTC')")
    return None


def _type_of_values(name: str, values: Iterable[Any]) -> str:
    from datetime import datetime

    found = {type(value) for value in values if value is not None}
    for wanted, kind in (({bool}, "bool"), ({int}, "long"), ({int, float}, "double"), ({str}, "string")):
        if found <= wanted:
            return "string" if not found else kind
    if all(issubclass(kind, datetime) for kind in found):
        return "time"
    described = ", ".join(sorted(kind.__name__ for kind in found))
    raise ValueError(f"the values of the column {name!r} are of several types ({described}); say which the description "
                     f"is to have, as descriptions={{{name!r}: str}}")


def columns_of(
    frame: pandas.DataFrame, categories: list[str], descriptions: Iterable[str] | Mapping[str, object],
    type_in_use: Callable[[str], str | None]
) -> tuple[dict[str, list[Any]], dict[str, str]]:
    """The columns of a frame as lists, with None for what is missing, and the types of the descriptions."""
    import pandas as pd

    wanted: dict[str, object] = (
        dict(descriptions) if isinstance(descriptions, Mapping)
        else dict.fromkeys([descriptions] if isinstance(descriptions, str) else descriptions)
    )
    for name in [*categories, *wanted]:
        if name not in frame.columns:
            raise ValueError(f"the data frame has no column {name!r}")
    columns: dict[str, list[Any]] = {}
    types: dict[str, str] = {}
    for name in frame.columns:
        if not isinstance(name, str):
            raise ValueError(f"the column {name!r} has no text for a name; rename it with df.rename(columns=…)")
        series = frame[name]
        if isinstance(series, pd.DataFrame):
            raise ValueError(f"the data frame has several columns {name!r}")
        described = _described_as(series)
        missing = series.isna()
        values = series.astype(object).tolist()
        columns[name] = [None if gone else value for value, gone in zip(values, missing.tolist())] \
            if missing.any() else values
        if name not in wanted:
            continue
        if wanted[name] is not None:
            types[name] = type_name(wanted[name])
        else:
            types[name] = described or _type_of_values(name, columns[name])
            stored = type_in_use(name) if types[name] in ("int", "long") else None
            if stored in ("long", "double"):
                types[name] = stored
    return columns, types
