# SPDX-License-Identifier: Apache-2.0
"""What goes in and comes out as which type, and what is refused in which words."""

from __future__ import annotations

import math
import pickle
from datetime import date, datetime, timedelta, timezone
from decimal import Decimal
from types import MappingProxyType

import pytest
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

import database_provider as dp

UTC = timezone.utc


@pytest.fixture(scope="module")
def memory():
    with dp.open("file::memory:") as store:
        yield store.experiments


def round_trip(runs, data):
    id = runs.add(data=data)
    record = runs[id]
    runs.remove(ids=[id])
    return record.data


times = st.datetimes(timezones=st.just(UTC)).map(lambda time: time.replace(microsecond=time.microsecond // 1000 * 1000))
texts = st.text(st.characters(exclude_categories=["Cs"]))
leaves = st.one_of(
    texts, st.booleans(), st.none(), st.integers(-(2**63), 2**63 - 1), st.floats(allow_nan=False), times, st.binary(),
    st.binary(min_size=12, max_size=12).map(lambda id: dp.ObjectId(id.hex())),
    st.sampled_from(['{"$numberDecimal":"1.50"}', '{"$minKey":1}', '{"$regularExpression":{"pattern":"a","options":"i"}}',
                     '{"$binary":{"base64":"AAE=","subType":"04"}}', '{"$timestamp":{"t":5,"i":7}}', '{"$symbol":"s"}',
                     '{"$code":"x","$scope":{"a":{"$numberInt":"1"}}}', '{"$undefined":true}',
                     '{"$dbPointer":{"$ref":"a.b","$id":{"$oid":"65f0c0ffee65f0c0ffee65f0"}}}',
                     '{"$date":{"$numberLong":"9000000000000000000"}}']).map(dp.Value))
keys = st.text(st.characters(exclude_categories=["Cs"], exclude_characters="\0")).filter(
    lambda key: key not in ("recordInfo", "_id"))
values = st.recursive(leaves, lambda inner: st.lists(inner, max_size=4) | st.dictionaries(keys, inner, max_size=4),
                      max_leaves=20)


@settings(max_examples=300, deadline=None, suppress_health_check=[HealthCheck.function_scoped_fixture])
@given(st.dictionaries(keys, values, max_size=5))
def test_data_comes_back_as_it_went_in(memory, data):
    assert round_trip(memory, data) == data


anything = st.recursive(
    st.one_of(leaves, st.text(), st.integers(), st.complex_numbers(), st.dates(), st.datetimes(), st.decimals(),
              st.just(object()), st.just(b"x" * 100), st.just(math.nan)),
    lambda inner: st.lists(inner, max_size=3) | st.dictionaries(st.text() | st.integers(), inner, max_size=3)
    | st.tuples(inner) | st.frozensets(st.integers()), max_leaves=8)


@settings(max_examples=300, deadline=None, suppress_health_check=[HealthCheck.function_scoped_fixture])
@given(anything, anything, anything, anything)
def test_whatever_is_given_is_stored_or_refused(memory, categories, descriptions, files, data):
    before = len(memory)
    for parts in ({"data": data}, {"descriptions": {"d": descriptions}}, {"categories": {"c": categories}},
                  {"files": files}, {"categories": categories, "descriptions": descriptions, "files": files, "data": data}):
        try:
            id = memory.add(**parts)
        except (dp.Error, TypeError):
            assert len(memory) == before
        else:
            memory[id].data, memory[id].descriptions, memory[id].files, repr(memory[id]), memory[id]._repr_html_()
            memory.remove(ids=[id])


@settings(max_examples=100, deadline=None, suppress_health_check=[HealthCheck.function_scoped_fixture])
@given(st.text(max_size=30))
def test_any_text_is_a_filter_or_none(memory, text):
    try:
        memory.count(text)
    except dp.FilterError as error:
        assert 0 <= error.position <= len(text)
    except dp.Error:
        pass


@pytest.mark.parametrize(("value", "words"), [
    (datetime(2026, 1, 1), "without a time zone.*tzinfo=timezone.utc"),
    (date(2026, 1, 1), "a date without a time of day"),
    (None, "is None; leave the name out"),
    (2**63, "does not fit into 64 bits"),
    (Decimal("1.5"), "is of the type Decimal"),
    ([1], "is of the type list"),
    ("", "has an empty text"),
    ("\ud800", "lone surrogate"),
])
def test_a_description_that_is_refused(memory, value, words):
    with pytest.raises(dp.DocumentError, match=f'description "d".*{words}') as caught:
        memory.add(descriptions={"d": value})
    assert isinstance(caught.value, ValueError) and caught.value.kind == "document"


@pytest.mark.parametrize(("parts", "words"), [
    ({"categories": {"c": 5}}, 'category "c" is of the type int; a text'),
    ({"categories": [1]}, "categories is of the type list; a dict is expected"),
    ({"categories": {5: "x"}}, "the name of a category is of the type int"),
    ({"files": {"f": ("paper", "h", "/p")}}, 'the kind "paper"'),
    ({"files": {"f": ("document", "h")}}, "no tuple of kind, host and path"),
    ({"data": {"a": {"b": [1, {1, 2}]}}}, r"data\.a\.b\.1 is of the type set"),
    ({"data": {"a": {5: 1}}}, r"data\.a has a key of the type int"),
    ({"data": {"a\0": 1}}, "NUL"),
    ({"data": {"a": datetime(2026, 1, 1)}}, r"data\.a is a datetime without a time zone"),
    ({"data": 5}, "data is of the type int; a dict"),
    ({"id": 5}, "the id is of the type int"),
])
def test_a_record_that_is_refused(memory, parts, words):
    with pytest.raises(dp.DocumentError, match=words):
        memory.add(**parts)
    with pytest.raises(dp.DocumentError, match="record 1: .*" + words):
        memory.add_many([parts])


def test_data_has_no_key_of_the_library(memory):
    for add in (lambda parts: memory.add(**parts), lambda parts: memory.add_many([parts])):
        for key in ("_id", "recordInfo"):
            with pytest.raises(dp.DocumentError, match=f'cannot have the key "{key}"'):
                add({"data": {key: 1}})


def test_a_record_of_many_has_known_parts_alone(memory):
    with pytest.raises(dp.DocumentError, match='has a part "category"; categories'):
        memory.add_many([{"category": {}}])
    with pytest.raises(TypeError):
        memory.add_many(5)


def test_levels_are_bounded(memory):
    deep = []
    for _ in range(200):
        deep = [deep]
    endless = {}
    endless["self"] = endless
    for data in ({"deep": deep}, endless):
        with pytest.raises(dp.DocumentError, match="more than 100 levels"):
            memory.add(data=data)


def test_a_dict_that_changes_while_it_is_read(memory):
    data = {"a": 1, "b": 2}

    class Emptying(dict):
        def keys(self):
            data.clear()
            return super().keys()

    class Mapping:
        def keys(self):
            data.clear()
            return ["x"]

        def items(self):
            return [("x", 1)]

        def __getitem__(self, key):
            return 1

    data["a"] = Mapping()
    assert round_trip(memory, data) == {"a": {"x": 1}, "b": 2}


def test_floats_that_are_no_numbers(memory):
    id = memory.add(descriptions={"nan": math.nan, "inf": math.inf, "low": -math.inf})
    values = memory[id].descriptions
    assert math.isnan(values["nan"]) and values["inf"] == math.inf and values["low"] == -math.inf


def test_times_are_kept_to_the_millisecond_in_any_zone(memory):
    zone = timezone(timedelta(hours=-5))
    id = memory.add(descriptions={"t": datetime(1931, 1, 1, 7, 0, 0, 123999, tzinfo=zone)})
    assert memory[id].descriptions["t"] == datetime(1931, 1, 1, 12, 0, 0, 123000, tzinfo=UTC)


def test_a_time_beyond_the_years_of_datetime(memory):
    far = dp.Value('{"$date":{"$numberLong":"300000000000000"}}')
    id = memory.add(descriptions={"t": far})
    assert memory[id].descriptions["t"] == far and far.kind == "time"


def test_scalars_of_numpy(memory):
    numpy = pytest.importorskip("numpy")
    given = {"i": numpy.int32(5), "l": numpy.int64(2**40), "u": numpy.uint8(7), "f": numpy.float32(0.5),
             "d": numpy.float64(0.25), "b": numpy.bool_(True), "s": numpy.str_("x")}
    id = memory.add(descriptions=given, data={"array": numpy.array([[1, 2], [3, 4]]), "scalar": numpy.int64(3)})
    assert memory[id].descriptions == {"i": 5, "l": 2**40, "u": 7, "f": 0.5, "d": 0.25, "b": True, "s": "x"}
    assert memory[id].data == {"array": [[1, 2], [3, 4]], "scalar": 3}
    with pytest.raises(dp.DocumentError, match="without a time zone"):
        memory.add(descriptions={"t": numpy.datetime64("2026-01-01T00:00:00")})


def test_other_mappings_and_sequences(memory):
    data = {"m": MappingProxyType({"a": (1, 2)}), "b": bytearray(b"xy")}
    assert round_trip(memory, MappingProxyType(data)) == {"m": {"a": [1, 2]}, "b": b"xy"}


def test_ids_and_values_are_values():
    id = dp.ObjectId("65F0C0FFEE65F0C0FFEE65F0")
    assert str(id) == "65f0c0ffee65f0c0ffee65f0" and eval(repr(id), {"ObjectId": dp.ObjectId}) == id
    value = dp.Value('{"$numberDecimal":"1.5"}')
    for one in (id, value):
        assert pickle.loads(pickle.dumps(one)) == one and len({one, pickle.loads(pickle.dumps(one))}) == 1
        assert one != 5
    assert eval(repr(value), {"Value": dp.Value}) == value
    for wrong in ("", "x" * 24, "65f0"):
        with pytest.raises(ValueError):
            dp.ObjectId(wrong)
    for wrong in ("", "{", '1, "w": 2', '1} {"x": 1'):
        with pytest.raises(ValueError):
            dp.Value(wrong)


def test_errors_can_be_pickled(memory):
    with pytest.raises(dp.FilterError) as caught:
        memory.count("süß=")
    again = pickle.loads(pickle.dumps(caught.value))
    assert (type(again), str(again), again.position, again.filter) == (dp.FilterError, str(caught.value), 4, "süß=")


def test_errors_are_the_builtin_ones():
    for error, builtin in ((dp.ConnectionError, ConnectionError), (dp.TimeoutError, TimeoutError),
                           (dp.AuthenticationError, PermissionError), (dp.AuthorizationError, PermissionError),
                           (dp.DocumentError, ValueError), (dp.QueryError, ValueError), (dp.FilterError, ValueError),
                           (dp.NotFoundError, KeyError), (dp.NotSupportedError, NotImplementedError),
                           (dp.StorageError, OSError), (dp.ClosedError, ValueError), (dp.InUseError, RuntimeError)):
        assert issubclass(error, builtin) and issubclass(error, dp.Error)


def test_a_store_that_cannot_be_reached(tmp_path):
    with pytest.raises(ConnectionError) as caught:
        dp.open("mongodb://127.0.0.1:1/?serverSelectionTimeoutMS=200", user="ada", password="s3cret")
    assert caught.value.kind == "connection" and "s3cret" not in str(caught.value)
    with pytest.raises(OSError):
        dp.open(f"file:{tmp_path}/absent/store.db")
    with pytest.raises(dp.Error):
        dp.open(f"file:{tmp_path}/absent.db", create=False)
    with pytest.raises(ValueError, match="a store in a file is given as file:"):
        dp.open("./store.db")
    assert not list(tmp_path.iterdir())


def test_how_things_are_shown():
    with dp.open("file::memory:") as store:
        runs = store.experiments
        id = runs.add(categories={"<b>": "<script>alert(1)</script>"}, descriptions={"a&b": 1.5, "n": 1}, data={"x": "<i>"})
        html = runs[id]._repr_html_()
        assert "&lt;script&gt;" in html and "a&amp;b" in html and "&lt;i&gt;" in html and "<script" not in html
        assert repr(runs[id]) == f"<experiment '{id}', <b>='<script>alert(1)</script>', a&b=1.5, n=1>"
        for number in range(20):
            runs.add(descriptions={"n": number})
        found = runs.find("has n")
        html = found._repr_html_()
        assert html.count("<tr>") == 11 and "21 records" in html and "<script" not in html
        assert len(list(found)) == 21
        assert "3 records" not in runs.find(limit=3)._repr_html_()
        assert runs._repr_html_() and repr(found) == "<experiment records found where has n>"
        assert repr(store) == "<store file::memory:>"
    assert repr(store) == "<store file::memory: (closed)>"
