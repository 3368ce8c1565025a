# SPDX-License-Identifier: Apache-2.0
"""The records of one kind, in a store."""

from __future__ import annotations

import os
from collections.abc import ItemsView, Iterable, Iterator, KeysView, Mapping, Sequence, ValuesView
from typing import IO, TYPE_CHECKING, Any, Literal, cast

from . import _core, _frames, _show
from ._core import ObjectId, Record
from ._errors import NotFoundError
from ._types import (
    Changed, ComparisonRow, CoverageCell, DescriptionType, ExportFormat, Files, FileTuple, Histogram, ImportPlan,
    ImportResult, Name, Names, NewRecord, OnMatch, Remark, RowFormat, Stats, Summary, names, type_name,
)

if TYPE_CHECKING:
    import pandas

_IDS = 1000


def _sort_text(sort: Names | None) -> str:
    """The library's form of "-yield,site": a key that begins with a minus is one that descends."""
    if sort is None:
        return ""
    keys: list[str] = []
    for text in [sort] if isinstance(sort, str) else sort:
        start = position = 0
        while position <= len(text):
            if position == len(text) or text[position] == ",":
                key = text[start:position].strip()
                if key.startswith("-"):
                    key = key[1:] + ":desc"
                keys.append(key[1:] if key.startswith("\\-") else key)
                start = position + 1
            position += 2 if text[position:position + 1] == "\\" else 1
    return ",".join(keys)


class Found(Iterator[Record]):
    """Records that are read while one goes through them, some at a time: memory does not grow with their number.

    To be gone through once. In a notebook the first ten show as a table, without being used up.

    >>> found = runs.find("site=Waseca", sort="-yield")
    >>> next(found).descriptions["yield"]
    48.9
    >>> [record.descriptions["yield"] for record in found]
    [33.5]
    """

    def __init__(self, records: Records, arguments: dict[str, Any]) -> None:
        self._records = records
        self._arguments = arguments
        self._iterator = records._core.find(**arguments)

    def __iter__(self) -> Iterator[Record]:
        return self._iterator

    def __next__(self) -> Record:
        return next(self._iterator)

    def __repr__(self) -> str:
        where = self._arguments["where"]
        return f"<{self._records.kind} records found" + (f" where {where}>" if where else ">")

    def _repr_html_(self) -> str:
        arguments = self._arguments
        limit = arguments["limit"]
        shown = {**arguments, "limit": min(limit, _show.LINES) if limit else _show.LINES}
        total = max(0, self._records._core.count(arguments["where"], arguments["ids"]) - arguments["skip"])
        return _show.records_html(list(self._records._core.find(**shown)), min(total, limit) if limit else total)


class Table:
    """Selected records as a table, for everything that reads Apache Arrow: polars, DuckDB, pyarrow, pandas.

    The records are read when it is, each time anew, some thousand at a time.

    >>> import pyarrow
    >>> pyarrow.table(runs.to_arrow("site=Waseca", columns=["site", "yield"], sort="-yield")).to_pydict()
    {'site': ['Waseca', 'Waseca'], 'yield': [48.9, 33.5]}
    """

    def __init__(self, records: Records, arguments: dict[str, Any]) -> None:
        self._records = records
        self._arguments = arguments

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        """A capsule with a stream of the Arrow C interface. Types are as the store has them, whatever is requested."""
        return self._records._core.arrow_stream(**self._arguments)

    def __repr__(self) -> str:
        return f"<table of {self._records.kind} records>"


class Records(Mapping[str, Record]):
    """The records of one kind in a store: a mapping from ids to records, and the questions that one asks of them.

    `where` takes a filter as docs/filters.md describes it: `site=Waseca and (yield>40 or year=1932)`.

    >>> runs
    <the experiments of file::memory:>
    >>> len(runs)
    4
    """

    def __init__(self, connection: _core.Connection, kind: Literal["experiment", "scenario"], address: str) -> None:
        self._core = _core.Records(connection, kind == "scenario")
        self._address = address
        self.kind: Literal["experiment", "scenario"] = kind
        """"experiment" or "scenario"."""

    def __repr__(self) -> str:
        return f"<the {self.kind}s of {self._address}>"

    def _repr_html_(self) -> str:
        return self.find()._repr_html_()

    def __eq__(self, other: object) -> bool:
        return self is other

    __hash__ = object.__hash__

    # A mapping.

    def __getitem__(self, id: str | ObjectId) -> Record:
        """The record of an id; `NotFoundError`, which is a KeyError, when there is none.

        >>> runs[id].categories["site"]
        'Waseca'
        """
        record = self._core.read(str(id))
        if record is None:
            raise NotFoundError(f'no {self.kind} has the id "{id}"')
        return record

    def get(self, id: str | ObjectId, default: Any = None) -> Any:
        """The record of an id, or `default`.

        >>> runs.get("none") is None
        True
        """
        record = self._core.read(str(id))
        return default if record is None else record

    def __contains__(self, id: object) -> bool:
        return isinstance(id, (str, ObjectId)) and self._core.read(str(id)) is not None

    def __len__(self) -> int:
        return self._core.count(None, None)

    def __iter__(self) -> Iterator[str]:
        """Ids, a thousand at a time."""
        after = ""
        while ids := self._core.ids(None, "", _IDS, 0, after):
            yield from ids
            after = ids[-1]

    def __delitem__(self, id: str | ObjectId) -> None:
        """Removes the record of an id; `NotFoundError` when there is none."""
        if self._core.remove(None, [str(id)], False) == 0:
            raise NotFoundError(f'no {self.kind} has the id "{id}"')

    def keys(self) -> KeysView[str]:
        """The ids."""
        return KeysView(self)

    def values(self) -> ValuesView[Record]:
        """All records, read while one goes through them."""
        return _Values(self)

    def items(self) -> ItemsView[str, Record]:
        """All ids with their records, read while one goes through them."""
        return _Items(self)

    # In.

    def add(self, *, categories: Mapping[str, str] | None = None, descriptions: Mapping[str, Any] | None = None,
            files: Files | None = None, data: Mapping[str, Any] | None = None, id: str | ObjectId | None = None,
            source: tuple[str, str] | None = None) -> str:
        """Writes a record and gives its id.

        Descriptions are str, bool, int, float or datetime (with a time zone). An int is stored as the name has it in
        the store already, else in 32 bits where it fits, in 64 where not. `data` may hold whatever a document can.
        `source` is the host and the path of the data server that has an experiment's data.

        >>> id = runs.add(categories={"site": "Crookston"}, descriptions={"yield": 38.9, "year": 1932},
        ...               files={"log": ("document", "nas", "/a.log")}, data={"note": "late frost"})
        >>> runs[id].files["log"].path
        '/a.log'
        """
        return self._core.insert(categories, descriptions, files, data, id, source)

    def add_many(self, records: Iterable[NewRecord | Mapping[str, Any]], *, batch_size: int = 5000) -> list[str]:
        """Writes many records, each a dict of the arguments of `add`, and gives their ids in the same order.

        The iterable is read a batch at a time, so that it may be longer than memory. In a file all of them are one
        transaction: all go in, or none. On a server the batches before one that fails stay.

        >>> ids = runs.add_many({"categories": {"site": "Morris"}, "descriptions": {"plot": n}} for n in range(3))
        >>> len(ids)
        3
        """
        return self._core.insert_many(records, batch_size)

    def upsert_many(self, records: Iterable[NewRecord | Mapping[str, Any]], *, key: Names,
                    on_match: OnMatch = "update") -> ImportResult:
        """Writes each record onto the one that has its key, or inserts it where none has.

        `on_match` says what becomes of the record that is there: "update" sets what is given and leaves the rest,
        "replace" makes it what is given, "skip" leaves it as it is, "fail" counts it as bad.

        >>> runs.upsert_many([{"categories": {"run": "r1"}, "descriptions": {"yield": 1.0}}], key="run").imported
        1
        >>> runs.upsert_many([{"categories": {"run": "r1"}, "descriptions": {"yield": 2.0}}], key="run").updated
        1
        """
        return ImportResult._of(self._core.upsert_many(records, names(key), on_match))

    def import_file(self, path: str | os.PathLike[str], *, plan: ImportPlan | Mapping[str, Any] | None = None,
                    format: RowFormat | None = None, progress: Any = None) -> ImportResult:
        """Makes records of the rows of a file: JSON, JSON Lines or CSV with a header, as a plan says; or complete
        records ("records"), as `export` writes them, which need none.

        `progress(rows, bytes, all_bytes)` is called every thousand rows; it must not use the store.

        >>> plan = dp.ImportPlan(categories=["site"], descriptions={"yield": float})
        >>> runs.import_file("trials.csv", plan=plan).imported
        2
        """
        file = os.fspath(path)
        is_complete = format == "records" or (format is None and file.lower().endswith(".records"))
        if plan is None and not is_complete:
            raise ValueError("no plan is given; plan=dp.ImportPlan(categories=[…], descriptions={name: type}) says "
                             "what the columns are to become")
        given = plan if isinstance(plan, ImportPlan) else ImportPlan(**dict(plan or {}))
        return ImportResult._of(self._core.import_file(file, format, given._as_dict(self._core.type_in_use), progress))

    def import_dataframe(self, frame: pandas.DataFrame, *, categories: Names = (),
                         descriptions: Names | Mapping[str, object] = (), key: Names = (),
                         on_match: OnMatch = "update", all_or_nothing: bool = False) -> ImportResult:
        """Makes a record of each row of a data frame; a missing value is an absent one.

        The type of a description is that of its column, unless a mapping of names to types says another. Columns that
        are not named go to `data`; with a key they become what the store has under their names, as far as it has
        them. Texts of categories that are numbers in the frame become texts.

        >>> import pandas
        >>> df = pandas.DataFrame({"run": ["a", "b"], "site": ["Duluth", "Morris"], "yield": [28.9, 25.7]})
        >>> runs.import_dataframe(df, categories=["run", "site"], descriptions=["yield"], key=["run"]).imported
        2
        >>> df["yield"] += 1
        >>> runs.import_dataframe(df, categories=["run", "site"], descriptions=["yield"], key=["run"]).updated
        2
        """
        chosen = names(categories)
        columns, types = _frames.columns_of(frame, chosen, descriptions, self._core.type_in_use)
        plan = ImportPlan(categories=chosen, descriptions=types, key=names(key), on_match=on_match,
                          all_or_nothing=all_or_nothing)
        return ImportResult._of(self._core.import_columns(columns, plan._as_dict(self._core.type_in_use)))

    # Out.

    def find(self, where: str | None = None, *, ids: Iterable[str] | None = None, sort: Names | None = None,
             limit: int = 0, skip: int = 0, after: str = "") -> Found:
        """The records of a filter, as an iterator that streams: memory does not grow with their number.

        `sort` takes names as filters do, "id" and "created", several behind commas or in a list, each with a minus
        in front to descend (`\\-` for a name that begins with one). `after` begins behind the record of an id, in the
        store's own order. The store may be used inside the loop.

        >>> for record in runs.find("site=Waseca and yield>30", sort="-yield", limit=10):
        ...     print(record.categories["variety"], record.descriptions["yield"])
        Svansota 48.9
        Manchuria 33.5
        """
        return Found(self, {"where": where, "ids": None if ids is None else names(ids), "sort": _sort_text(sort),
                            "limit": limit, "skip": skip, "after": after})

    def ids(self, where: str | None = None, *, sort: Names | None = None, limit: int = 0, skip: int = 0,
            after: str = "") -> list[str]:
        """The ids of the records of a filter; reads no record where an index selects them.

        >>> runs.ids("site=Waseca", limit=1) == [id]
        True
        """
        return self._core.ids(where, _sort_text(sort), limit, skip, after)

    def to_dataframe(self, where: str | None = None, *, columns: Names | None = None, sort: Names | None = None,
                     limit: int = 0) -> pandas.DataFrame:
        """The records of a filter as a data frame of pandas.

        Columns are "id", "created", and names, without any all that the records have; `category:NAME` and
        `description:NAME` tell the two apart where one name is both. Numbers, booleans and times (UTC) keep their
        types; what a record lacks is missing, and integers with gaps are the nullable `Int64`.

        >>> runs.to_dataframe("site=Waseca", columns=["site", "yield"], sort="-yield")
             site  yield
        0  Waseca   48.9
        1  Waseca   33.5
        """
        wanted = names(columns)
        return _frames.frame_of(lambda arrow: self._core.columns(where, wanted, _sort_text(sort), limit, arrow))

    def to_arrow(self, where: str | None = None, *, columns: Names | None = None, sort: Names | None = None,
                 limit: int = 0) -> Table:
        """The records of a filter as a table that everything takes that reads Apache Arrow.

        >>> import polars
        >>> polars.DataFrame(runs.to_arrow("site=Waseca", columns=["year", "yield"]))["year"].to_list()
        [1931, 1932]
        """
        return Table(self, {"where": where, "columns": names(columns), "sort": _sort_text(sort), "limit": limit})

    def export(self, to: str | os.PathLike[str] | IO[str], *, format: ExportFormat | None = None,
               where: str | None = None, sort: Names | None = None, limit: int = 0) -> int:
        """Writes records to a file or to what is open for texts, and gives their number: "records", complete, one on
        each line, or "csv". Both can be imported again.

        >>> import io
        >>> out = io.StringIO()
        >>> runs.export(out, format="csv", where="yield>40")
        1
        >>> out.getvalue().splitlines()[0]
        'id,site,variety,yield,year'
        """
        if not isinstance(to, (str, os.PathLike)):
            return self._core.export(to.write, format or "records", where, _sort_text(sort), limit)
        path = os.fspath(to)
        chosen = format or ("csv" if path.lower().endswith(".csv") else "records")
        with open(path, "w", encoding="utf-8", newline="") as file:
            return self._core.export(file.write, chosen, where, _sort_text(sort), limit)

    # Questions.

    def count(self, where: str | None = None, *, ids: Iterable[str] | None = None) -> int:
        """How many records a filter selects.

        >>> runs.count("yield>30")
        2
        """
        return self._core.count(where, None if ids is None else names(ids))

    def names(self, where: str | None = None) -> list[Name]:
        """The names that the records have: categories first, each kind by name.

        >>> [f"{name.name}: {name.type}" for name in runs.names()]
        ['site: string', 'variety: string', 'year: int', 'yield: double']
        """
        return [Name(*name) for name in self._core.names(where)]

    def facets(self, category: str, where: str | None = None, *, limit: int = 0) -> dict[str, int]:
        """How many records have each value of a category, the most frequent first.

        >>> runs.facets("site")
        {'Morris': 2, 'Waseca': 2}
        """
        return dict(self._core.facets(category, where, limit))

    def stats(self, descriptions: Names, by: Names = (), where: str | None = None, *,
              median: bool = False) -> list[Stats]:
        """The figures of descriptions, in groups of categories.

        >>> for row in runs.stats("yield", by="site"):
        ...     print(row["by"], row["count"], row["mean"])
        {'site': 'Morris'} 1 27.4
        {'site': 'Waseca'} 2 41.2
        """
        return cast("list[Stats]", self._core.stats(names(descriptions), names(by), where, median))

    def histogram(self, description: str, bins: int = 10, where: str | None = None) -> Histogram:
        """How often the values of a description fall into bins of one width.

        >>> runs.histogram("yield", bins=2)["counts"]
        [2, 1]
        """
        return cast(Histogram, self._core.histogram(description, bins, where))

    def coverage(self, first: str, second: str, where: str | None = None) -> list[CoverageCell]:
        """How many records have each pair of values of two categories; zeros too.

        >>> runs.coverage("site", "variety")[0]
        {'values': ('Morris', 'Manchuria'), 'count': 1}
        """
        return cast("list[CoverageCell]", self._core.coverage(first, second, where))

    def compare(self, *ids: str | Record) -> list[ComparisonRow]:
        """Every category and description of some records, side by side, with the difference to the first.

        >>> first, second = runs.ids("site=Waseca")
        >>> [row["name"] for row in runs.compare(first, second) if row["differs"]]
        ['variety', 'yield', 'year']
        """
        wanted = [one.id if isinstance(one, Record) else one for one in ids]
        return cast("list[ComparisonRow]", self._core.compare(wanted))

    def summary(self) -> Summary:
        """How many records there are, and the times of the oldest and the newest, as their ids say.

        >>> runs.summary()["records"]
        4
        """
        return cast(Summary, self._core.summary())

    def remarks(self, where: str) -> list[Remark]:
        """What of a filter no record can ever meet: mistyped names, most often.

        >>> runs.remarks("yeild>40")[0]["nearest"]
        'yield'
        """
        return cast("list[Remark]", self._core.remarks(where))

    # Changes.

    def update(self, where: str | None = None, *, ids: Iterable[str] | None = None, all: bool = False,
               categories: Mapping[str, str] | None = None, descriptions: Mapping[str, Any] | None = None,
               compute: Mapping[str, str] | None = None, unset: Names = (), files: Sequence[FileTuple] | None = None,
               dry_run: bool = False) -> Changed:
        """Changes the records of a filter, and says how many are others now. What is not named stays as it is.

        `compute` sets descriptions to formulas of others, `unset` takes names away, `files` adds references. In a file
        this is one transaction, so that it cannot stand in one; on a server records are changed one by one. All records
        are changed with `all=True` alone.

        >>> runs.update("site=Waseca", categories={"site": "Waseca, MN"}, compute={"total": "yield*2"})
        Changed(2)
        >>> runs.update(categories={"site": "?"})
        Traceback (most recent call last):
        ValueError: no filter is given; update all records with all=True
        """
        return Changed(self._core.update(where, None if ids is None else names(ids), all, categories, descriptions,
                                         compute, names(unset), files, dry_run))

    def rename(self, old: str, new: str, *, kind: Literal["category", "description"] | None = None,
               merge: bool = False, dry_run: bool = False) -> Changed:
        """Gives a category or description another name in all records. Refused where records have the new one
        already, unless `merge`.

        >>> runs.rename("yield", "bushels")
        Changed(3)
        """
        return Changed(self._core.rename(old, new, merge, kind, dry_run))

    def rename_values(self, category: str, values: Mapping[str, str], *, dry_run: bool = False) -> Changed:
        """Gives values of a category other ones.

        >>> runs.rename_values("site", {"Waseca": "Waseca, MN"})
        Changed(2)
        """
        return Changed(self._core.rename_values(category, values, dry_run))

    def convert(self, description: str, type: DescriptionType | type[Any], *, dry_run: bool = False) -> Changed:
        """Makes a description one of another type in all records; refused, before anything is written, where a value
        cannot become one.

        >>> runs.convert("year", float)
        Changed(4)
        """
        return Changed(self._core.convert(description, type_name(type), dry_run))

    def remove(self, where: str | None = None, *, ids: Iterable[str] | None = None, all: bool = False) -> int:
        """Removes the records of a filter and says how many. All of them with `all=True` alone.

        >>> runs.remove("yield<30")
        1
        """
        return self._core.remove(where, None if ids is None else names(ids), all)


class _Values(ValuesView[Record]):
    """In one pass, where the one of the base class would look up each id."""

    def __init__(self, records: Records) -> None:
        super().__init__(records)
        self._records = records

    def __iter__(self) -> Iterator[Record]:
        return iter(self._records.find())


class _Items(ItemsView[str, Record]):
    def __init__(self, records: Records) -> None:
        super().__init__(records)
        self._records = records

    def __iter__(self) -> Iterator[tuple[str, Record]]:
        return ((record.id, record) for record in self._records.find())
