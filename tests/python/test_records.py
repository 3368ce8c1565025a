# SPDX-License-Identifier: Apache-2.0
"""Records in, out, asked for and changed, on every store at hand."""

from __future__ import annotations

import json
from datetime import datetime, timedelta, timezone

import pytest

import database_provider as dp

UTC = timezone.utc


def yields(found):
    return [record.descriptions.get("yield") for record in found]


def test_a_record_comes_back_as_it_went_in(store):
    runs = store.experiments
    moment = datetime(2026, 3, 5, 12, 30, 15, 250000, tzinfo=UTC)
    descriptions = {"text": "süß", "flag": True, "small": 7, "large": 2**40, "real": 0.5, "moment": moment}
    data = {"note": "late frost", "list": [1, 2.5, None, "x", {"deep": [True]}], "bytes": b"\0\1\xff",
            "moment": moment, "id": dp.ObjectId("65f0c0ffee65f0c0ffee65f0"), "large": -(2**63), "empty": {}, "none": None}
    id = runs.add(categories={"site": "Waseca"}, descriptions=descriptions,
                  files={"log": ("document", "nas", "/a.log")}, data=data)
    record = runs[id]
    assert record.id == id and record.kind == "experiment"
    assert record.categories == {"site": "Waseca"}
    assert record.descriptions == descriptions
    assert [type(value) for value in record.descriptions.values()] == [str, bool, int, int, float, datetime]
    assert record.files == {"log": dp.File("document", "nas", "/a.log")}
    assert record.data == data and list(record.data) == list(data)
    assert abs(record.created - datetime.now(UTC)) < timedelta(minutes=10)
    assert [(name.name, name.type) for name in runs.names() if name.kind == "description"] == [
        ("flag", "bool"), ("large", "long"), ("moment", "time"), ("real", "double"), ("small", "int"), ("text", "string")]


def test_a_record_goes_in_again_by_its_dict(store):
    id = store.experiments.add(categories={"a": "b"}, descriptions={"n": 1}, files={"f": ("media", "h", "/p")}, data={"x": [1]})
    record = store.experiments[id]
    copy = store.scenarios.add(**record.to_dict())
    assert copy == id
    assert store.scenarios[id].to_dict() == record.to_dict()
    assert store.scenarios[id] != record


def test_an_integer_is_stored_as_its_name_has_it(store):
    runs = store.experiments

    def types():
        return {name.name: name.type for name in runs.names()}

    runs.add(descriptions={"small": 1, "large": 2**31, "real": 1.0})
    runs.add(descriptions={"small": 2, "large": 1, "real": 2})
    runs.add_many([{"descriptions": {"small": 3, "large": 3, "real": 3, "new": 2**31 - 1}}])
    runs.update("has small", descriptions={"large": 5, "real": 5})
    assert types() == {"small": "int", "large": "long", "real": "double", "new": "int"}
    assert len(runs.names()) == 4
    assert [type(record.descriptions["real"]) for record in runs.find()] == [float] * 3


def test_it_is_a_mapping(runs):
    ids = list(runs)
    assert len(runs) == 4 == len(ids) and set(runs.keys()) == set(ids)
    assert ids[0] in runs and "x" not in runs and 5 not in runs
    assert {record.id for record in runs.values()} == set(ids)
    assert {id: record.id for id, record in runs.items()} == {id: id for id in ids}
    assert runs.get(ids[0]) == runs[ids[0]] and runs.get("x", 7) == 7
    del runs[ids[0]]
    assert len(runs) == 3
    with pytest.raises(KeyError, match="no experiment has the id"):
        runs[ids[0]]
    with pytest.raises(dp.NotFoundError):
        del runs[ids[0]]


def test_find_sorts_limits_and_pages(runs):
    assert yields(runs.find("site=Waseca and yield>30", sort="-yield", limit=1)) == [48.9]
    assert yields(runs.find(sort="yield")) == [27.4, 33.5, 48.9, None]
    assert yields(runs.find(sort=["-category:site", "-yield"])) == [48.9, 33.5, 27.4, None]
    assert yields(runs.find(sort="-yield", skip=1, limit=1)) == [33.5]
    ids = runs.ids()
    assert [record.id for record in runs.find(after=ids[1])] == ids[2:]
    assert [record.id for record in runs.find(ids=ids[:2])] == ids[:2]
    assert list(runs.find("site=Nowhere")) == []
    found = runs.find()
    assert len(list(found)) == 4 and list(found) == []
    with pytest.raises(StopIteration):
        next(found)


def test_a_name_may_begin_with_a_minus_or_hold_a_comma(file_store):
    runs = file_store.experiments
    runs.add_many([{"descriptions": {"-a,b": number}} for number in (2, 1, 3)])
    assert [r.descriptions["-a,b"] for r in runs.find(sort="\\-a\\,b")] == [1, 2, 3]
    assert [r.descriptions["-a,b"] for r in runs.find(sort="--a\\,b")] == [3, 2, 1]


def test_many_records_stream(store):
    runs = store.experiments
    ids = runs.add_many(({"descriptions": {"n": n}} for n in range(3000)), batch_size=700)
    assert len(ids) == len(set(ids)) == 3000
    assert sorted(record.descriptions["n"] for record in runs.find()) == list(range(3000))
    seen = 0
    for record in runs.find("n<1000"):
        seen += runs.count(ids=[record.id])
        if seen == 500:
            break
    assert seen == 500


def test_questions(runs):
    assert runs.count() == 4 and runs.count("yield>40") == 1
    assert runs.facets("site", where="yield>30") == {"Waseca": 2}
    figures = runs.stats(["yield"], by=["site"], median=True)
    assert [set(row) for row in figures] == [{"by", "name", "count", "missing", "min", "mean", "std", "max", "median"}] * 2
    assert [(row["by"]["site"], row["count"], row["missing"], row["max"]) for row in figures] == [
        ("Morris", 1, 1, 27.4), ("Waseca", 2, 0, 48.9)]
    histogram = runs.histogram("yield", bins=2)
    assert histogram["counts"] == [2, 1] and histogram["missing"] == 1 and len(histogram["edges"]) == 3
    assert {(cell["values"], cell["count"]) for cell in runs.coverage("site", "variety")} == {
        (("Morris", "Manchuria"), 1), (("Morris", "Svansota"), 1), (("Waseca", "Manchuria"), 1), (("Waseca", "Svansota"), 1)}
    first, second = runs.ids("site=Waseca")
    rows = {row["name"]: row for row in runs.compare(first, runs[second])}
    assert rows["yield"]["difference"][1] == pytest.approx(-15.4) and not rows["site"]["differs"]
    assert runs.summary()["records"] == 4 and runs.summary()["oldest"].tzinfo is UTC
    assert [remark["nearest"] for remark in runs.remarks("yeild>40")] == ["yield"]


def test_changes(runs):
    assert runs.update("site=Waseca", categories={"site": "Wasecca"}, compute={"double": "yield*2"}) == 2
    assert runs.facets("site") == {"Morris": 2, "Wasecca": 2}
    again = runs.update("site=Wasecca", categories={"site": "Wasecca"})
    assert again == 0 and again.unchanged == 2
    assert runs.update("has yield", unset=["double"], dry_run=True) == 2
    assert runs.count("has double") == 2
    skipped = runs.update(all=True, compute={"half": "yield/2"})
    assert (skipped, skipped.skipped) == (3, 1)
    assert runs.rename_values("site", {"Wasecca": "Waseca"}) == 2
    assert runs.rename("half", "part") == 3
    assert runs.convert("year", "double") == 4
    assert runs.remove("yield<30") == 1
    assert runs.remove(ids=runs.ids(limit=1)) == 1
    assert runs.remove(all=True) == 2
    assert len(runs) == 0


@pytest.mark.parametrize("where", [None, "", "  "])
def test_an_empty_filter_changes_nothing(runs, where):
    with pytest.raises(ValueError, match="all=True"):
        runs.remove(where)
    with pytest.raises(ValueError, match="all=True"):
        runs.update(where, categories={"site": "x"})
    assert runs.facets("site") == {"Morris": 2, "Waseca": 2}
    with pytest.raises(ValueError, match="nothing is to be changed"):
        runs.update(all=True)


def test_upsert(store):
    runs = store.experiments
    rows = [{"categories": {"run": name}, "descriptions": {"v": 1.0}} for name in "ab"]
    assert runs.upsert_many(rows, key="run").imported == 2
    rows[0]["descriptions"]["v"] = 2.0
    result = runs.upsert_many(rows, key=["run"])
    assert (result.updated, result.unchanged) == (1, 1)
    failed = runs.upsert_many(rows, key=["run"], on_match="fail")
    assert failed.failed == 2 and failed.bad_rows[0].row == 1


def test_add_many_is_all_or_nothing_in_a_file(file_store):
    runs = file_store.experiments

    def records():
        for number in range(25):
            assert file_store.experiments is runs
            yield {"descriptions": {"n": number}}
        runs.count()  # the store may be used by what gives the records
        yield {"descriptions": {"n": datetime(2026, 1, 1)}}

    with pytest.raises(dp.DocumentError, match='record 26: description "n" is a datetime without a time zone') as caught:
        runs.add_many(records(), batch_size=10)
    assert caught.value.where == 'description "n"'
    assert len(runs) == 0
    assert runs.add_many([]) == []


def test_transactions(file_store):
    runs = file_store.experiments
    with file_store.transaction():
        runs.add(categories={"a": "b"})
        runs.add_many(({"categories": {"a": "c"}} for _ in range(30)), batch_size=10)
    assert len(runs) == 31
    with pytest.raises(ZeroDivisionError), file_store.transaction():
        runs.remove(all=True)
        1 / 0
    assert len(runs) == 31
    with pytest.raises(dp.Error), file_store.transaction():
        runs.update(all=True, categories={"a": "d"})
    with pytest.raises(dp.Error), file_store.transaction(), file_store.transaction():
        pass
    assert runs.facets("a") == {"c": 30, "b": 1}


def test_a_server_has_no_transactions(server):
    with dp.open(server) as store, pytest.raises(dp.NotSupportedError) as caught:
        with store.transaction():
            pytest.fail("it began")
    assert isinstance(caught.value, NotImplementedError) and caught.value.kind == "unsupported"


def test_export_and_import(runs, tmp_path):
    for name in ("all.records", "all.csv"):
        assert runs.export(tmp_path / name) == 4
    assert len((tmp_path / "all.csv").read_text().splitlines()) == 5
    before = [record.to_json() for record in runs.find(sort="id")]
    runs.remove(all=True)
    assert runs.import_file(tmp_path / "all.records", plan={"keep_ids": True}).imported == 4
    assert [record.to_json() for record in runs.find(sort="id")] == before
    runs.update("site=Waseca", descriptions={"yield": 0.0})
    assert runs.import_file(str(tmp_path / "all.csv"), plan=dp.ImportPlan(key=["id"])).updated == 2
    assert [record.to_json() for record in runs.find(sort="id")] == before


def test_import_by_a_plan(store, tmp_path):
    runs = store.experiments
    rows = [{"site": "Waseca", "yield": 48.9, "year": 1931, "log": "/a.log", "note": "x"},
            {"site": "Morris", "yield": "much", "year": 1932}]
    file = tmp_path / "rows.json"
    file.write_text(json.dumps(rows))
    plan = dp.ImportPlan(categories="site", descriptions={"yield": float, "year": int}, files={"log": ("document", "nas")})
    steps = []
    result = runs.import_file(file, plan=plan, progress=lambda *at: steps.append(at))
    assert (result.imported, result.failed) == (1, 1)
    assert result.bad_rows[0].column == "yield" and result.bad_rows[0].row == 2
    record = next(runs.find())
    assert record.categories == {"site": "Waseca"} and record.data == {"note": "x"}
    assert [file.path for file in record.files.values()] == ["/a.log"]
    assert {name.name: name.type for name in runs.names()} == {"site": "string", "yield": "double", "year": "long"}
    with pytest.raises(ValueError, match="no plan is given"):
        runs.import_file(file)
    with pytest.raises(ValueError, match="is no type of a description"):
        runs.import_file(file, plan={"descriptions": {"yield": complex}})
    with pytest.raises(dp.RowsError, match="absent.json"):
        runs.import_file(tmp_path / "absent.json", plan=plan)


def test_an_exception_of_progress_ends_an_import(file_store, tmp_path):
    file = tmp_path / "rows.jsonl"
    file.write_text("".join(f'{{"n": {n}}}\n' for n in range(5000)))

    def stop(rows, *_):
        if rows >= 2000:
            raise ZeroDivisionError

    with pytest.raises(ZeroDivisionError):
        file_store.experiments.import_file(file, plan={"all_or_nothing": True}, progress=stop)
    assert len(file_store.experiments) == 0


def test_backups(file_store, tmp_path):
    file_store.experiments.add(categories={"a": "b"})
    assert file_store.backup(tmp_path / "copy.db").records == 1
    with pytest.raises(dp.StorageError):
        file_store.backup(tmp_path / "copy.db")
    address = f"file:{tmp_path / 'other.db'}"
    assert dp.restore(tmp_path / "copy.db", address).records == 1
    with pytest.raises(dp.QueryError):
        dp.restore(tmp_path / "copy.db", address)
    with dp.open(address) as other:
        assert other.experiments.facets("a") == {"b": 1}
    assert file_store.check()[1] == []
    file_store.compact()
    assert file_store.info()["format"].startswith("file, format")


def test_users(tmp_path):
    address = f"file:{tmp_path / 'store.db'}"
    with dp.open(address) as store:
        store.users.add("ada", "s3cret", {"experiments": "read"}, data={"room": 7})
        assert store.users.list() == [dp.User("ada", {"experiments": "read"})]
        with pytest.raises(dp.ServerError) as caught:
            store.users.add("ada", "s3cret", {})
        assert caught.value.code == 51003
        store.users.update("ada", {"experiments": "read", "scenarios": "readWrite"})
        assert store.users.data("ada") == {"room": 7}
        with pytest.raises(dp.DocumentError, match="read or readWrite is expected"):
            store.users.update("ada", {"experiments": "all"})
        store.users.change_password("ada", "n3w")
        store.users.change_admin_password("r00t")
        with pytest.raises(PermissionError):
            store.experiments.count()
    with pytest.raises(dp.AuthenticationError), dp.open(address, user="ada", password="s3cret"):
        pass
    with dp.open(address, user="ada", password="n3w") as store:
        assert store.experiments.count() == 0
        store.scenarios.add(categories={"a": "b"})
        with pytest.raises(dp.AuthorizationError):
            store.experiments.add(categories={"a": "b"})
    with dp.open(address, user="admin", password="r00t") as store:
        store.users.remove("ada")
        assert store.users.list() == []
        assert store.info()["access_control"] is True
    with dp.open("file::memory:") as store, pytest.raises(dp.NotSupportedError):
        store.users.list()
