# SPDX-License-Identifier: Apache-2.0
"""How records are shown: in one line, and as small tables in a notebook."""

from __future__ import annotations

from collections.abc import Iterable, Sequence
from html import escape
from itertools import islice
from typing import TYPE_CHECKING, Any

if TYPE_CHECKING:
    from ._core import Record

LINES = 10
LENGTH = 80


def text_of(value: object) -> str:
    text = value if isinstance(value, str) else str(value)
    return text if len(text) <= LENGTH else text[: LENGTH - 1] + "…"


def record_repr(record: Record) -> str:
    parts = [repr(record.id)]
    for values in (record.categories, record.descriptions):
        parts += [f"{name}={value!r}" for name, value in islice(values.items(), 6)]
    text = ", ".join(parts)
    return f"<{record.kind} {text if len(text) <= 2 * LENGTH else text[: 2 * LENGTH - 1] + '…'}>"


def table(header: Sequence[str], rows: Iterable[Sequence[object]], more: str = "") -> str:
    lines = ["<table>"]
    if header:
        lines.append("<tr>" + "".join(f"<th>{escape(text_of(name))}</th>" for name in header) + "</tr>")
    for row in rows:
        cells = "".join("<td></td>" if value is None else f"<td>{escape(text_of(value))}</td>" for value in row)
        lines.append(f"<tr>{cells}</tr>")
    lines.append("</table>")
    if more:
        lines.append(f"<p>{escape(more)}</p>")
    return "".join(lines)


def record_html(record: Record) -> str:
    rows: list[tuple[object, ...]] = [("id", record.id, record.kind)]
    if record.created is not None:
        rows.append(("created", record.created, ""))
    rows += [(name, value, "category") for name, value in record.categories.items()]
    rows += [(name, value, "description") for name, value in record.descriptions.items()]
    rows += [(name, f"{file.host}:{file.path}", f"file ({file.kind})") for name, file in record.files.items()]
    rows += [(name, value, "data") for name, value in record.data.items()]
    return table((), rows)


def records_html(records: Sequence[Record], total: int) -> str:
    columns: dict[tuple[str, str], None] = {}
    for record in records:
        columns.update(dict.fromkeys(("c", name) for name in record.categories))
        columns.update(dict.fromkeys(("d", name) for name in record.descriptions))

    def cells(record: Record) -> list[object]:
        values: dict[str, dict[str, Any]] = {"c": record.categories, "d": record.descriptions}
        return [record.id, *(values[kind].get(name) for kind, name in columns)]

    more = f"{total} records" if total > len(records) else ""
    return table(["id", *(name for _, name in columns)], map(cells, records), more)


def record_to_dict(record: Record) -> dict[str, Any]:
    parts = {"categories": dict(record.categories), "descriptions": dict(record.descriptions),
             "files": dict(record.files), "data": dict(record.data)}
    return {"id": record.id, **{name: values for name, values in parts.items() if values}}
