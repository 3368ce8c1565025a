# SPDX-License-Identifier: Apache-2.0
"""The examples of the tour and of every docstring say what happens, and everything public has one."""

from __future__ import annotations

import contextlib
import doctest
import inspect
import io
import pathlib
import re
import shutil
import subprocess
import sys

import pytest

import database_provider as dp
from conftest import PLOTS, ROOT

FLAGS = doctest.NORMALIZE_WHITESPACE | doctest.IGNORE_EXCEPTION_DETAIL


def public():
    for name in dp.__all__:
        thing = getattr(dp, name)
        yield name, thing
        if inspect.isclass(thing):
            for member, value in vars(thing).items():
                if not member.startswith("_") and (callable(value) or isinstance(value, property)):
                    yield f"{name}.{member}", value


def documented():
    for name, thing in [("database_provider", dp), *public()]:
        if isinstance(getattr(thing, "__doc__", None), str) and ">>>" in thing.__doc__:
            yield pytest.param(thing.__doc__, id=name)


@pytest.mark.parametrize("text", list(documented()))
def test_an_example(text, tmp_path, monkeypatch):
    for needed in ("pandas", "polars", "pyarrow"):
        if f"import {needed}" in text or (needed == "pandas" and "to_dataframe" in text):
            pytest.importorskip(needed)
    monkeypatch.chdir(tmp_path)
    (tmp_path / "trials.csv").write_text("site,yield\nDuluth,28.9\nMorris,25.7\n")
    with dp.open("file::memory:") as store:
        ids = store.experiments.add_many(PLOTS)
        names = {"dp": dp, "store": store, "runs": store.experiments, "id": ids[0]}
        test = doctest.DocTestParser().get_doctest(text, names, "example", None, 0)
        said = io.StringIO()
        result = doctest.DocTestRunner(optionflags=FLAGS).run(test, out=said.write, clear_globs=False)
        assert result.attempted > 0 and result.failed == 0, said.getvalue()


def test_everything_public_is_documented():
    without = [name for name, thing in public() if name != "__version__" and not getattr(thing, "__doc__", None)]
    assert without == []
    methods = [f"Records.{name}" for name, value in vars(dp.Records).items() if inspect.isfunction(value) and name[0] != "_"]
    plain = [name for name in methods if name.split(".")[1] not in ("keys", "values", "items")
             and ">>>" not in getattr(dp.Records, name.split(".")[1]).__doc__]
    assert plain == []
    assert "find(self, where" in subprocess.run(
        [sys.executable, "-c", "import database_provider as dp; help(dp.Records)"], capture_output=True, text=True,
        env={"PYTHONPATH": str(pathlib.Path(dp.__file__).parents[1]), "PATH": "/usr/bin"}).stdout


def test_the_tour(tmp_path, monkeypatch):
    for needed in ("pandas", "polars"):
        pytest.importorskip(needed)
    monkeypatch.chdir(tmp_path)
    blocks = re.findall(r"^```(python|text)\n(.*?)^```", (ROOT / "docs/python.md").read_text(), re.MULTILINE | re.DOTALL)
    assert len(blocks) > 15
    names, said = {}, None
    for language, text in blocks:
        if language == "text":
            assert said == text
            continue
        with contextlib.redirect_stdout(io.StringIO()) as out:
            exec(compile(text, "docs/python.md", "exec"), names)
        said = out.getvalue()


def test_the_package_is_typed(tmp_path):
    if shutil.which("mypy") is None and not (pathlib.Path(sys.executable).parent / "mypy").exists():
        pytest.skip("mypy is not installed")
    package = pathlib.Path(dp.__file__).parent
    assert (package / "py.typed").exists()
    user = tmp_path / "user.py"
    user.write_text("""
import database_provider as dp
from typing import assert_type
with dp.open("file:x.db") as store:
    runs = store.experiments
    assert_type(runs.add(categories={"a": "b"}, descriptions={"n": 1}), str)
    assert_type(runs.count("n>1"), int)
    for record in runs.find("n>1", sort="-n", limit=10):
        assert_type(record, dp.Record)
        assert_type(record.categories["a"], str)
    assert_type(runs["x"], dp.Record)
    assert_type(runs.facets("a"), dict[str, int])
    new: dp.NewRecord = {"categories": {"a": "b"}}
    assert_type(runs.add_many([new]), list[str])
    runs.add_many({"categories": {"a": "b"}} for _ in range(3))
    runs.count(5)  # type: ignore[arg-type]
    dp.NewRecord(category={})  # type: ignore[typeddict-unknown-key]
""")
    done = subprocess.run([sys.executable, "-m", "mypy", "--strict", "--no-incremental", "--warn-unused-ignores",
                           "--disable-error-code=import-untyped",  # of pandas, which is nothing of the user's
                           str(user)],
                          capture_output=True, text=True, cwd=tmp_path,
                          env={"PATH": "/usr/bin", "MYPYPATH": str(package.parent)})
    assert done.returncode == 0, done.stdout + done.stderr


def test_the_sources_of_the_package_are_typed():
    pytest.importorskip("mypy")
    done = subprocess.run([sys.executable, "-m", "mypy", "--no-incremental"], capture_output=True, text=True, cwd=ROOT)
    assert done.returncode == 0, done.stdout + done.stderr


def test_the_stub_names_what_the_extension_has():
    from database_provider import _core

    stub = (pathlib.Path(dp.__file__).parent / "_core.pyi").read_text()
    for name in (name for name in dir(_core) if not name.startswith("_")):
        assert re.search(rf"^(class |def )?{name}\b", stub, re.MULTILINE), name
        thing = getattr(_core, name)
        if inspect.isclass(thing):
            body = re.search(rf"^class {name}\b.*?(?=^\S|\Z)", stub, re.MULTILINE | re.DOTALL).group()
            members = {member for member in vars(thing) if not member.startswith("_")}
            assert members == set(re.findall(r"def ([a-z]\w*)", body)), name
