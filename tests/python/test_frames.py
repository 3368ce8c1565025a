# SPDX-License-Identifier: Apache-2.0
"""Tables: pandas, and whatever reads Arrow."""

from __future__ import annotations

import math
import threading
from datetime import datetime, timezone

import pytest

import database_provider as dp

pandas = pytest.importorskip("pandas")
UTC = timezone.utc
MOMENT = datetime(1931, 7, 1, 6, 30, 0, 250000, tzinfo=UTC)
FULL = {"s": "süß", "b": True, "i": 5, "l": 2**40, "d": 0.5, "t": MOMENT}


@pytest.fixture
def typed(store):
    store.experiments.add_many([
        {"categories": {"site": "Waseca"}, "descriptions": FULL},
        {"categories": {"site": "Morris"}, "descriptions": {**FULL, "i": 6, "b": False}},
    ])
    return store.experiments


def dtypes(frame):
    return {name: str(kind) for name, kind in frame.dtypes.items()}


def test_columns_have_the_types_of_their_values(typed):
    frame = typed.to_dataframe(columns=["site", *FULL], sort="i")
    assert dtypes(frame) == {"site": "str", "s": "str", "b": "bool", "i": "int32", "l": "int64", "d": "float64",
                             "t": "datetime64[ms, UTC]"}
    assert frame.iloc[0].to_dict() == {"site": "Waseca", **FULL}
    assert frame["b"].tolist() == [True, False]


def test_what_is_missing_is_missing(typed):
    typed.add(categories={"other": "x"})
    frame = typed.to_dataframe(columns=["site", *FULL], sort="i")
    assert dtypes(frame) == {"site": "str", "s": "str", "b": "boolean", "i": "Int64", "l": "Int64", "d": "float64",
                             "t": "datetime64[ms, UTC]"}
    assert frame.iloc[2].isna().all() and frame.iloc[:2].notna().all().all()
    assert frame["i"].tolist()[:2] == [5, 6] and frame["l"].sum() == 2**41


def test_many_batches_are_one_table(file_store):
    runs = file_store.experiments
    runs.add_many({"categories": {"c": f"v{n % 5000}"}, "descriptions": {"n": n} if n % 3 else {"x": True}}
                  for n in range(20000))
    frame = runs.to_dataframe(columns=["c", "n", "x"])
    assert frame["n"].isna().sum() == 6667 and frame["n"].sum() == sum(n for n in range(20000) if n % 3)
    assert frame["c"].tolist() == [f"v{n % 5000}" for n in range(20000)]
    assert frame["x"].isna().sum() == 13333 and frame["x"].dropna().all()
    assert len(runs.to_dataframe("n<100", limit=7)) == 7


def test_an_empty_table(store):
    assert store.experiments.to_dataframe().empty
    frame = store.experiments.to_dataframe(columns=["id", "created"])
    assert list(frame.columns) == ["id", "created"] and len(frame) == 0


def test_id_and_created(typed):
    frame = typed.to_dataframe()
    assert list(frame.columns[:2]) == ["id", "created"]
    assert set(frame["id"]) == set(typed) and frame["created"][0] == typed[frame["id"][0]].created


def test_a_data_frame_comes_back(typed):
    typed.add(categories={"site": "Duluth"}, descriptions={"d": math.inf})
    frame = typed.to_dataframe()
    before = [record.to_json() for record in typed.find(sort="id")]
    result = typed.import_dataframe(frame.drop(columns="created"), key=["id"])
    assert (result.unchanged, result.failed, result.updated) == (3, 0, 0)
    typed.remove(all=True)
    result = typed.import_dataframe(frame[["site", *FULL]], categories=["site"], descriptions=list(FULL))
    assert (result.imported, result.bad_rows) == (3, [])
    again = typed.to_dataframe(sort="site")
    pandas.testing.assert_frame_equal(again[["site", *FULL]], frame[["site", *FULL]].sort_values("site", ignore_index=True))
    assert len(before) == 3


def test_import_takes_types_of_columns_and_leaves_out_what_is_missing(store):
    runs = store.experiments
    runs.add(descriptions={"real": 0.5, "wide": 2**40})
    frame = pandas.DataFrame({
        "site": ["a", None, "c"], "real": [1, 2, 3], "wide": [1, 2, 3], "n": pandas.array([1, None, 3], "Int64"),
        "flag": pandas.array([True, None, False], "boolean"), "x": [1.5, float("nan"), 2.5],
        "t": pandas.to_datetime(["2026-01-01", None, "2026-01-03"], utc=True), "note": [{"a": [1]}, None, "x"]})
    result = runs.import_dataframe(frame, categories=["site"], descriptions=["real", "wide", "n", "flag", "x", "t"])
    assert (result.imported, result.bad_rows) == (3, [])
    assert {name.name: name.type for name in runs.names()} == {
        "site": "string", "flag": "bool", "n": "int", "real": "double", "t": "time", "wide": "long", "x": "double"}
    records = {record.descriptions.get("wide"): record for record in runs.find()}
    assert records[1].data == {"note": {"a": [1]}} and records[3].data == {"note": "x"}
    assert records[2].categories == {} and set(records[2].descriptions) == {"real", "wide"} and records[2].data == {}
    assert records[3].descriptions["t"] == datetime(2026, 1, 3, tzinfo=UTC)
    assert list(frame.columns)[0] == "site" and frame["site"].isna().sum() == 1


def test_import_refuses_what_it_cannot_tell(store):
    runs = store.experiments
    with pytest.raises(ValueError, match="no column 'y'"):
        runs.import_dataframe(pandas.DataFrame({"x": [1]}), descriptions=["y"])
    with pytest.raises(ValueError, match=r"have no time zone.*tz_localize\('UTC'\)"):
        runs.import_dataframe(pandas.DataFrame({"t": pandas.to_datetime(["2026-01-01"])}), descriptions=["t"])
    with pytest.raises(ValueError, match=r"several types \(int, str\)"):
        runs.import_dataframe(pandas.DataFrame({"x": [1, "a"]}), descriptions=["x"])
    with pytest.raises(ValueError, match="no text for a name"):
        runs.import_dataframe(pandas.DataFrame({5: [1]}))
    result = runs.import_dataframe(pandas.DataFrame({"x": ["1", "b"]}), descriptions={"x": int})
    assert (result.imported, result.failed, result.bad_rows[0].column) == (1, 1, "x")


def test_pyarrow_polars_and_duckdb_read_it(typed):
    pyarrow = pytest.importorskip("pyarrow")
    typed.add(categories={"other": "x"})
    table = typed.to_arrow("has i", columns=["site", *FULL], sort="i")
    read = pyarrow.table(table)
    assert [str(field.type) for field in read.schema] == ["string", "string", "bool", "int32", "int64", "double",
                                                          "timestamp[ms, tz=UTC]"]
    assert read.to_pylist()[0] == {"site": "Waseca", **FULL}
    assert pyarrow.table(table).equals(read)  # it is read anew
    assert pyarrow.table(typed.to_arrow(columns=["i"])).column("i").null_count == 1
    polars = pytest.importorskip("polars")
    assert polars.DataFrame(table)["i"].to_list() == [5, 6]
    duckdb = pytest.importorskip("duckdb")
    assert duckdb.sql("select sum(i), max(site) from read").fetchall() == [(11, "Waseca")]
    assert duckdb.sql("select sum(i) from \"table\"").fetchall() == [(11,)]


def test_streams_outlive_and_report(typed):
    pyarrow = pytest.importorskip("pyarrow")
    for number in range(3):
        typed.add(descriptions={"i": number})
    reader = pyarrow.RecordBatchReader.from_stream(typed.to_arrow(columns=["i"]))
    capsule = typed.to_arrow(columns=["i"]).__arrow_c_stream__()
    del capsule
    other = pyarrow.RecordBatchReader.from_stream(typed.to_arrow(columns=["i"]))
    assert sorted(other.read_all().column("i").to_pylist()) == [0, 1, 2, 5, 6]
    with pytest.raises(dp.QueryError):
        typed.to_arrow(columns=[""]).__arrow_c_stream__()
    with pytest.raises(dp.FilterError):
        pyarrow.table(typed.to_arrow("i>"))
    assert reader.schema.names == ["i"]


def test_a_stream_of_a_closed_store_is_an_error(tmp_path):
    pyarrow = pytest.importorskip("pyarrow")
    store = dp.open(f"file:{tmp_path}/s.db")
    store.experiments.add_many({"descriptions": {"n": n}} for n in range(20000))
    reader = pyarrow.RecordBatchReader.from_stream(store.experiments.to_arrow(columns=["n"]))
    assert reader.read_next_batch().num_rows > 0
    store.close()
    with pytest.raises(OSError, match="the store is closed"):
        reader.read_next_batch()
    del store
    reader.close()


def test_a_stream_is_read_on_another_thread(file_runs):
    pyarrow = pytest.importorskip("pyarrow")
    table, rows = file_runs.to_arrow(), []
    thread = threading.Thread(target=lambda: rows.append(pyarrow.table(table).num_rows))
    thread.start()
    thread.join()
    assert rows == [4]


def test_pandas_is_not_needed(file_runs, monkeypatch):
    monkeypatch.setitem(__import__("sys").modules, "pandas", None)
    assert len(list(file_runs.find())) == 4
    with pytest.raises(ImportError):
        file_runs.to_dataframe()
