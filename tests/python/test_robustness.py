# SPDX-License-Identifier: Apache-2.0
"""Stores that are closed, shared, forked, interrupted and collected: an error each time, and never a crash."""

from __future__ import annotations

import gc
import os
import pathlib
import signal
import subprocess
import sys
import textwrap
import threading
import time
import weakref
from concurrent.futures import ThreadPoolExecutor

import pytest

import database_provider as dp


def test_a_closed_store_is_an_error(file_store, file_runs):
    id = next(iter(file_runs))
    found, begun = file_runs.find(), file_runs.find()
    next(begun)
    record = file_runs[id]
    file_store.close()
    file_store.close()
    assert file_store.closed
    for use in (lambda: file_runs[id], lambda: len(file_runs), lambda: next(found), lambda: next(begun), lambda: list(found),
                lambda: file_runs.find(), lambda: file_runs.add(), lambda: file_runs.to_arrow().__arrow_c_stream__(),
                lambda: file_store.transaction().__enter__(), file_store.check, lambda: file_store.users.list(),
                lambda: file_store.backup("x.db")):
        with pytest.raises(dp.ClosedError, match="the store is closed"):
            use()
    assert record.categories["site"] == "Waseca" and "(closed)" in repr(file_store)
    with pytest.raises(ValueError), file_store:
        file_runs.count()


def test_objects_die_in_any_order(tmp_path):
    for order in range(6):
        store = dp.open(f"file:{tmp_path}/{order}.db")
        runs = store.experiments
        runs.add_many({"descriptions": {"n": n}} for n in range(10))
        found = runs.find()
        next(found)
        record, users = runs[next(iter(runs))], store.users
        capsule = runs.to_arrow().__arrow_c_stream__()
        things = [store, runs, found, record, users, capsule]
        del store, runs, found, record, users, capsule
        for _ in range(len(things)):
            things.pop(order % len(things))
            gc.collect()


def test_a_record_in_a_cycle_is_collected(file_runs):
    record = file_runs[next(iter(file_runs))]

    class Mark:
        pass

    mark = Mark()
    record.data["self"], record.data["mark"] = record, mark
    gone = weakref.ref(mark)
    del record, mark
    gc.collect()
    assert gone() is None


def test_a_store_of_another_thread_is_refused(tmp_path):
    store = dp.open(f"file:{tmp_path}/s.db")
    runs = store.experiments
    entered, leave = threading.Event(), threading.Event()

    def records():
        yield {"descriptions": {"n": 1}}
        entered.set()
        leave.wait(30)

    adding = threading.Thread(target=lambda: runs.add_many(records(), batch_size=1))
    adding.start()
    entered.wait(30)
    try:
        with pytest.raises(dp.InUseError, match="one thread at a time"):
            runs.count()
        with pytest.raises(dp.InUseError):
            store.close()
    finally:
        leave.set()
        adding.join()
    assert runs.count() == 1
    store.close()


def test_a_store_at_work_refuses_what_it_calls(file_store):
    runs = file_store.experiments

    class Out:
        def write(self, text):
            runs.count()

    runs.add(categories={"a": "b"})
    with pytest.raises(dp.InUseError, match="at work already"):
        runs.export(Out())

    def closing():
        yield {"categories": {"a": "c"}}
        file_store.close()

    with pytest.raises(dp.InUseError):
        runs.add_many(closing(), batch_size=1)
    assert runs.facets("a") == {"b": 1}


def test_a_store_for_each_of_eight_threads(tmp_path):
    address = f"file:{tmp_path}/s.db"
    dp.open(address).close()

    def work(number):
        with dp.open(address) as store:
            for step in range(20):
                store.experiments.add(categories={"thread": str(number)}, descriptions={"step": step})
            return store.experiments.count(f"thread={number}")

    with ThreadPoolExecutor(8) as pool:
        assert list(pool.map(work, range(8))) == [20] * 8
    with dp.open(address) as store:
        assert store.experiments.facets("thread") == {str(n): 20 for n in range(8)}


def test_other_threads_run_while_a_store_works(tmp_path):
    """While a file is locked, the one who waits for it holds nobody up."""
    address = f"file:{tmp_path}/s.db"
    with dp.open(address) as first, dp.open(address) as second:
        order = []
        waiting = threading.Thread(target=lambda: order.append(second.experiments.add(categories={"a": "b"})))
        with first.transaction():
            first.experiments.add(categories={"a": "c"})
            waiting.start()
            time.sleep(0.2)  # which takes the lock, and would never come back if the other thread kept it
            order.append("first")
        waiting.join()
        assert order[0] == "first" and len(order) == 2


def run(source, *arguments, **options):
    """A Python of its own."""
    command = [sys.executable, "-X", "dev", "-c", textwrap.dedent(source), *arguments]
    package = str(pathlib.Path(dp.__file__).parents[1])
    return subprocess.run(command, capture_output=True, text=True, timeout=600,
                          env={**os.environ, "PYTHONPATH": package}, **options)


def test_a_forked_child_cannot_use_it(tmp_path):
    done = run("""
        import os, sys
        import database_provider as dp
        store = dp.open(sys.argv[1])
        runs = store.experiments
        runs.add_many({"descriptions": {"n": n}} for n in range(3000))
        found = runs.find()
        next(found)
        child = os.fork()
        if child == 0:
            assert store.closed
            refused = 0
            for use in (runs.count, lambda: next(found), lambda: runs.add(categories={"a": "b"})):
                try:
                    use()
                except dp.ForkedError:
                    refused += 1
            store.close()
            del store, runs, found
            own = dp.open(sys.argv[1])
            count = own.experiments.count()
            own.close()
            sys.exit(0 if refused == 3 and count == 3000 else 9)
        assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0
        runs.add(descriptions={"n": 1})
        assert runs.count() == 3001 and len(list(found)) in (2999, 3000)
        assert store.check()[1] == []
        print("whole")
        """, f"file:{tmp_path}/s.db")
    assert (done.stdout, done.returncode) == ("whole\n", 0), done.stderr


def test_an_interpreter_ends_with_a_store_open(tmp_path):
    done = run("""
        import sys
        import database_provider as dp
        store = dp.open(sys.argv[1])
        store.experiments.add(categories={"a": "b"})
        found = store.experiments.find()
        next(found)
        capsule = store.experiments.to_arrow().__arrow_c_stream__()
        sys.kept = [store, found, capsule]
        """, f"file:{tmp_path}/s.db")
    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")


def test_control_c_ends_a_long_call(tmp_path):
    address = f"file:{tmp_path}/s.db"
    with dp.open(address) as store:
        store.experiments.add_many({"descriptions": {"n": n, "t": "x" * 50}} for n in range(60000))
    package = str(pathlib.Path(dp.__file__).parents[1])
    source = textwrap.dedent("""
        import sys
        import database_provider as dp
        with dp.open(sys.argv[1]) as store:
            print("ready", flush=True)
            try:
                while True:
                    store.experiments.convert("n", "double", dry_run=True)
            except KeyboardInterrupt:
                print("interrupted", store.experiments.count(), flush=True)
        """)
    process = subprocess.Popen([sys.executable, "-X", "dev", "-c", source, address], stdout=subprocess.PIPE, text=True,
                               stderr=subprocess.PIPE, env={**os.environ, "PYTHONPATH": package})
    assert process.stdout.readline() == "ready\n"
    time.sleep(0.5)
    process.send_signal(signal.SIGINT)
    out, error = process.communicate(timeout=60)
    assert (out, process.returncode) == ("interrupted 60000\n", 0), error


def test_opening_and_closing_leaves_nothing(tmp_path):
    done = run("""
        import os, resource, sys
        import database_provider as dp
        address = sys.argv[1]
        dp.open(address).close()

        def times(count):
            for number in range(count):
                with dp.open(address, create=False) as store:
                    store.experiments.count()
            pages = int(open("/proc/self/statm").read().split()[1])
            return pages * resource.getpagesize(), len(os.listdir("/proc/self/fd"))

        before = times(2000)
        after = times(8000)
        print(after[1] - before[1], after[0] - before[0] < 4 << 20, file=sys.stdout)
        """, f"file:{tmp_path}/s.db")
    assert done.stdout == "0 True\n", done.stdout + done.stderr
