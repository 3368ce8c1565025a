#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The Python module beside pandas, pyarrow and sqlite3, in one run: records of ten columns into a file, out of it one by
one, and as a data frame. Each figure is the best of several runs, in milliseconds: by the clock, and of the processor, which
tells more where others use the machine.

    PYTHONPATH=build/…/python/package benchmarks/python_module.py [RECORDS]
"""

import datetime
import os
import random
import sqlite3
import sys
import tempfile
import time

import pandas
import pyarrow
import pyarrow.parquet

import database_provider as dp

RECORDS = int(sys.argv[1]) if len(sys.argv) > 1 else 100_000
REPEATS = 3
CATEGORIES = ("site", "variety", "operator")
DESCRIPTIONS = ("run", "seed", "long", "yield", "weight", "done", "started")


def rows():
    random.seed(7)
    start = datetime.datetime(2026, 1, 1, tzinfo=datetime.timezone.utc)
    return [(f"site {random.randrange(20)}", f"variety {random.randrange(50)}", f"operator {random.randrange(8)}", number,
             random.randrange(2**31), random.randrange(2**33, 2**40), random.random() * 60, random.random(),
             number % 3 == 0, start + datetime.timedelta(seconds=number)) for number in range(RECORDS)]


def best(what, step, repeats=REPEATS, prepare=lambda: None):
    times = []
    for _ in range(repeats):
        prepared = prepare()
        begin, worked = time.perf_counter(), time.process_time()
        result = step(prepared) if prepared is not None else step()
        times.append((time.perf_counter() - begin, time.process_time() - worked))
    clock, processor = (min(figures) * 1000 for figures in zip(*times))
    print(f"{what:<50} {clock:9.1f} {processor:9.1f}", flush=True)
    return result


def main():
    table = rows()
    names = [*CATEGORIES, *DESCRIPTIONS]
    split = len(CATEGORIES)
    dicts = [{"categories": dict(zip(CATEGORIES, row)), "descriptions": dict(zip(DESCRIPTIONS, row[split:]))} for row in table]
    print(f"{RECORDS} records of {len(names)} columns; pandas {pandas.__version__}, pyarrow {pyarrow.__version__}, "
          f"SQLite {sqlite3.sqlite_version}")
    print(f"{'':<50} {'clock':>9} {'processor':>9}")
    with tempfile.TemporaryDirectory() as folder:
        count = iter(range(1000))

        def new_store():
            return dp.open(f"file:{folder}/{next(count)}.db")

        def new_sqlite():
            connection = sqlite3.connect(f"{folder}/{next(count)}.sqlite")
            connection.execute(f"create table plots ({', '.join(f'[{name}]' for name in names)})")
            return connection

        def executemany(connection, indexed=False):
            with connection:
                if indexed:
                    for name in names:
                        connection.execute(f"create index [by {name}] on plots ([{name}])")
                connection.executemany(f"insert into plots values ({', '.join('?' * len(names))})", plain)
            return connection

        plain = [(*row[:-1], row[-1].isoformat()) for row in table]
        store = best("add_many", lambda store: (store.experiments.add_many(dicts), store)[1], prepare=new_store)
        connection = best("  sqlite3 executemany", executemany, prepare=new_sqlite)
        best("  sqlite3 executemany, every column indexed", lambda made: executemany(made, True), prepare=new_sqlite)
        runs = store.experiments

        best("for record in find(): one description", lambda: sum(record.descriptions["yield"] for record in runs.find()))
        best("for record in find(): id alone", lambda: sum(len(record.id) for record in runs.find()))
        best("  sqlite3 cursor: one column", lambda: sum(row[6] for row in connection.execute("select * from plots")))

        frame = best("to_dataframe", lambda: runs.to_dataframe(columns=names))
        best("  pandas read_sql from SQLite", lambda: pandas.read_sql("select * from plots", connection))
        file = f"{folder}/plots.parquet"
        frame.to_parquet(file)
        best("  pandas read_parquet", lambda: pandas.read_parquet(file))
        columns = {name: [row[place] for row in table] for place, name in enumerate(names)}
        best("  pyarrow.table of ready columns (lists)", lambda: pyarrow.table(columns))
        best("pyarrow.table(to_arrow)", lambda: pyarrow.table(runs.to_arrow(columns=names)))
        best("count, a filter of two conditions", lambda: runs.count("yield>40 and site='site 3'"))
        best("stats by site", lambda: runs.stats("yield", by="site"))
        assert len(frame) == RECORDS
        best("import_dataframe", lambda made: made.experiments.import_dataframe(
            frame, categories=list(CATEGORIES), descriptions=list(DESCRIPTIONS)), repeats=1, prepare=new_store)
        best("  pandas to_sql into SQLite", lambda made: frame.to_sql("t", made, index=False), repeats=1, prepare=new_sqlite)
        print(f"bytes: store {os.path.getsize(folder + '/0.db')}, SQLite {os.path.getsize(folder + '/3.sqlite')}")


if __name__ == "__main__":
    main()
