# SPDX-License-Identifier: Apache-2.0
"""The example notebook runs, and what it finds in its data is what it asserts."""

from __future__ import annotations

import os
import pathlib
import subprocess
import sys

import pytest

import database_provider as dp
from conftest import ROOT


def test_the_notebook(tmp_path):
    for needed in ("nbmake", "ipykernel", "pandas", "matplotlib"):
        pytest.importorskip(needed)
    folders = [os.environ.get("BARLEY", ""), "/usr/lib/python3/dist-packages"]
    if not any((pathlib.Path(folder) / "vega_datasets/_data/barley.json").exists() for folder in folders):
        pytest.skip("the barley trials are not there; scripts/setup example brings them")
    package = str(pathlib.Path(dp.__file__).parents[1])
    done = subprocess.run([sys.executable, "-m", "pytest", "--nbmake", "-p", "no:cacheprovider", "-q", "--rootdir", str(tmp_path),
                           str(ROOT / "examples/notebook.ipynb")], capture_output=True, text=True, cwd=tmp_path,
                          env={**os.environ, "PYTHONPATH": package})
    assert done.returncode == 0 and "1 passed" in done.stdout, done.stdout[-3000:]
