# SPDX-License-Identifier: Apache-2.0
"""What the package's functions take and give beside the builtin types."""

from __future__ import annotations

from collections.abc import Callable, Iterable, Mapping, Sequence
from dataclasses import dataclass, field
from datetime import datetime, timedelta
from typing import Any, Literal, NamedTuple, TypedDict, Union

Scalar = Union[str, bool, int, float, datetime]
"""The value of a description."""

FileKind = Literal["document", "xml", "media", "archive", "extraXml"]
OnMatch = Literal["update", "replace", "skip", "fail"]
RowFormat = Literal["json", "jsonl", "csv", "records"]
ExportFormat = Literal["csv", "records"]
DescriptionType = Literal["string", "bool", "int", "long", "double", "time"]
Names = Union[str, Sequence[str]]
FileTuple = tuple[str, str, str]
Files = Union[Mapping[str, FileTuple], Sequence[FileTuple]]


class File(NamedTuple):
    """A reference to a file: what kind it is of, the host that has it, and its path there.

    >>> dp.File("document", "nas", "/trials/a.log").path
    '/trials/a.log'
    """

    kind: str
    host: str
    path: str


class NewRecord(TypedDict, total=False):
    """The parts of a record that is to be written, as `add_many` takes them; `dp.Record.to_dict` gives them.

    >>> new: dp.NewRecord = {"categories": {"site": "Waseca"}, "descriptions": {"yield": 40.5}}
    >>> len(runs.add_many([new]))
    1
    """

    categories: Mapping[str, str]
    descriptions: Mapping[str, Any]
    files: Files
    data: Mapping[str, Any]
    id: str
    source: tuple[str, str]


@dataclass(frozen=True)
class Name:
    """A name that records have: a category or a description, the type of its values, and how many records have it.

    >>> runs.names()[0]
    Name(name='site', kind='category', type='string', count=4)
    """

    name: str
    kind: Literal["category", "description"]
    type: str
    count: int


class Stats(TypedDict, total=False):
    """The figures of a description in one group of records."""

    by: dict[str, str | None]
    name: str
    count: int
    missing: int
    min: Any
    mean: float | None
    std: float | None
    max: Any
    median: float | None


class Histogram(TypedDict):
    """How often values fall between each two neighbours of `edges`."""

    edges: list[Any]
    counts: list[int]
    missing: int


class CoverageCell(TypedDict):
    """How many records have these two values."""

    values: tuple[str, str]
    count: int


class ComparisonRow(TypedDict):
    """A category or description of several records, side by side."""

    name: str
    kind: Literal["category", "description"]
    values: list[Any]
    difference: list[float | None]
    differs: bool


class Remark(TypedDict):
    """Something in a filter that no record can ever meet; `text` is a sentence about it."""

    reason: str
    name: str
    nearest: str | None
    text: str


class Summary(TypedDict):
    """The records of a kind as a whole."""

    records: int
    oldest: datetime | None
    newest: datetime | None


class Changed(int):
    """How many records were changed: an integer that knows what became of the others.

    >>> result = runs.update("site=Waseca", categories={"region": "south"})
    >>> result, result.unchanged, result.failed
    (Changed(2), 0, 0)
    """

    unchanged: int
    """Records that were already what they were to become."""
    skipped: int
    """Records in which a formula found no number."""
    failed: int
    """Records that could not be changed; `failures` tells why, of the first hundred."""
    failures: list[tuple[str, str]]
    """Ids and reasons."""

    def __new__(cls, result: Mapping[str, Any]) -> Changed:
        self = super().__new__(cls, result["changed"])
        self.unchanged = result["unchanged"]
        self.skipped = result["skipped"]
        self.failed = result["failed"]
        self.failures = result["failures"]
        return self

    def __repr__(self) -> str:
        others = ((name, getattr(self, name)) for name in ("skipped", "failed"))
        return f"Changed({int(self)}" + "".join(f", {name}={count}" for name, count in others if count) + ")"


class BadRow(NamedTuple):
    """A row that did not go in. `line` is 0 where there are no lines, `column` empty where the whole row is bad."""

    row: int
    line: int
    column: str
    reason: str


@dataclass(frozen=True)
class ImportResult:
    """What an import did.

    >>> runs.import_file("trials.csv", plan=dp.ImportPlan(categories=["site"], descriptions={"yield": float}))
    ImportResult(imported=2, updated=0, unchanged=0, failed=0, bad_rows=[])
    """

    imported: int
    """New records."""
    updated: int
    """Records that are others now."""
    unchanged: int
    """Records that already were what their row says, or that were to stay."""
    failed: int
    """Bad rows."""
    bad_rows: list[BadRow]
    """The first hundred of them."""

    @classmethod
    def _of(cls, result: Mapping[str, Any]) -> ImportResult:
        bad = [BadRow(*row) for row in result["bad_rows"]]
        return cls(result["imported"], result["updated"], result["unchanged"], result["failed"], bad)


@dataclass(frozen=True)
class BackupReport:
    """What a backup holds, or what was put back."""

    records: int
    """Experiments and scenarios."""
    replaced: int
    """Records that the store held before it was restored."""
    held: str
    """What it held, as "4 records"; empty for an empty store."""
    users_without_password: list[str]
    """Users that were written without their password, since a server hands none out."""
    is_one_moment: bool
    """Whether all of it is the state of one moment, which of a server it is not."""


class User(NamedTuple):
    """A user of a store, and what they may do with the experiments and the scenarios: "read" or "readWrite"."""

    name: str
    roles: dict[str, str]


_TYPES: dict[object, str] = {str: "string", bool: "bool", int: "long", float: "double", datetime: "time"}


def type_name(wanted: object) -> str:
    """The library's name of a type that is given by this name, or as a class of Python."""
    if isinstance(wanted, str):
        return wanted
    try:
        return _TYPES[wanted]
    except (KeyError, TypeError):
        raise ValueError(f"{wanted!r} is no type of a description; str, bool, int, float, datetime or one of their "
                         'names ("string", "bool", "int", "long", "double", "time") is expected') from None


@dataclass
class ImportPlan:
    """What becomes of the columns of rows. What is not named goes to `data` as it stands; an empty cell is absent.

    Types are `str`, `bool`, `int`, `float`, `datetime`, or their names in the store: "string", "bool", "int" (32 bits),
    "long" (64 bits), "double", "time". `int` is the type of numbers that the name has in the store, else "long".

    >>> plan = dp.ImportPlan(categories=["site"], descriptions={"yield": float, "year": "int"})
    >>> plan.on_match
    'update'
    """

    categories: Iterable[str] = ()
    descriptions: Mapping[str, object] = field(default_factory=dict)
    """Names and types."""
    files: Mapping[str, tuple[str, str]] = field(default_factory=dict)
    """Columns of paths, with the kind of file and the host that has them."""
    key: Iterable[str] = ()
    """The names by which a row is told to be that of a record which is there. Columns that are not named then become
    the categories and descriptions of these names that the store has."""
    on_match: OnMatch = "update"
    """What becomes of a row whose key a record has."""
    time_unit: timedelta | None = None
    """What a number in a column of times counts since 1970: a second or a millisecond."""
    source_host: str = ""
    """The data server of experiments."""
    keep_ids: bool = False
    """Of complete records; else new ones are made."""
    all_or_nothing: bool = False
    """One transaction, undone if a row is bad. Not on a server."""

    def _as_dict(self, type_in_use: Callable[[str], str | None]) -> dict[str, Any]:
        unit = self.time_unit

        def type_of(name: str, wanted: object) -> str:
            stored = type_in_use(name) if wanted is int else None
            return stored if stored in ("int", "long", "double") else type_name(wanted)

        return {
            "categories": names(self.categories),
            "descriptions": {name: type_of(name, kind) for name, kind in dict(self.descriptions).items()},
            "files": dict(self.files),
            "key": names(self.key),
            "on_match": self.on_match,
            "time_unit": None if unit is None else unit // timedelta(milliseconds=1),
            "source_host": self.source_host,
            "keep_ids": self.keep_ids,
            "all_or_nothing": self.all_or_nothing,
        }


def names(given: Iterable[str] | None) -> list[str]:
    """Names as a list; a text is one name, not its letters."""
    if given is None:
        return []
    return [given] if isinstance(given, str) else list(given)
