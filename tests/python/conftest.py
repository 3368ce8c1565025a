# SPDX-License-Identifier: Apache-2.0
"""Stores to test on: a file, and the servers that are there."""

from __future__ import annotations

import os
import pathlib
import socket
import subprocess
import time

import pytest

import database_provider as dp

ROOT = pathlib.Path(__file__).resolve().parents[2]
SERVERS = pathlib.Path(os.environ.get("DATABASE_TEST_SERVERS", ROOT / "build" / "servers"))


def free_port() -> int:
    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        return taken.getsockname()[1]


@pytest.fixture(scope="session")
def server(tmp_path_factory):
    """The address of a server that runs for the session: the one that DATABASE_TEST_URI names, or one of our own."""
    if uri := os.environ.get("DATABASE_TEST_URI"):
        yield uri
        return
    program = SERVERS / "secantus" / "bin" / "secantusd-py"
    if not program.exists():
        pytest.skip("no server is at hand; scripts/setup test brings one")
    folder = tmp_path_factory.mktemp("server")
    port = free_port()
    with open(folder / "log", "w") as log:
        process = subprocess.Popen([program, "--host", "127.0.0.1", "--port", str(port), "--storage-path", folder / "data"],
                                   stdout=log, stderr=log)
    try:
        deadline = time.monotonic() + 60
        while True:
            try:
                socket.create_connection(("127.0.0.1", port), timeout=1).close()
                break
            except OSError:
                if process.poll() is not None or time.monotonic() > deadline:
                    pytest.skip(f"the server does not answer: {(folder / 'log').read_text()[-500:]}")
                time.sleep(0.05)
        yield f"mongodb://127.0.0.1:{port}/"
    finally:
        process.terminate()
        process.wait(30)


def emptied(address: str) -> dp.Store:
    store = dp.open(address)
    store.experiments.remove(all=True)
    store.scenarios.remove(all=True)
    return store


@pytest.fixture(params=["file", "server"])
def address(request, tmp_path):
    if request.param == "file":
        return f"file:{tmp_path / 'store.db'}"
    return request.getfixturevalue("server")


@pytest.fixture
def store(address):
    with emptied(address) as opened:
        yield opened


@pytest.fixture
def file_store(tmp_path):
    with dp.open(f"file:{tmp_path / 'store.db'}") as opened:
        yield opened


PLOTS = [
    {"categories": {"site": "Waseca", "variety": "Svansota"}, "descriptions": {"yield": 48.9, "year": 1931}},
    {"categories": {"site": "Waseca", "variety": "Manchuria"}, "descriptions": {"yield": 33.5, "year": 1932}},
    {"categories": {"site": "Morris", "variety": "Manchuria"}, "descriptions": {"yield": 27.4, "year": 1931}},
    {"categories": {"site": "Morris", "variety": "Svansota"}, "descriptions": {"year": 1932}},
]


@pytest.fixture
def runs(store):
    store.experiments.add_many(PLOTS)
    return store.experiments


@pytest.fixture
def file_runs(file_store):
    file_store.experiments.add_many(PLOTS)
    return file_store.experiments
