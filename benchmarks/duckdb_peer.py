#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What a question takes in DuckDB, as a peer of growth_benchmark: loads a table of columns and prints the least processor
time in seconds, and the rows found, of the repetitions of one statement on one thread.

    benchmarks/duckdb_peer.py COLUMNS.csv STATEMENT
"""

import sys
import time

try:
    import duckdb
except ImportError:
    sys.exit("the Python package duckdb is not installed")

columns, statement = sys.argv[1:]
connection = duckdb.connect()
connection.execute("SET threads = 1")
connection.execute("CREATE TABLE records AS SELECT * FROM read_csv(?, header = true)", [columns])

taken = []
begun = time.monotonic()
while len(taken) < 5 or (time.monotonic() - begun < 1 and len(taken) < 1000):
    before = time.process_time()
    rows = len(connection.execute(statement).fetchall())
    taken.append(time.process_time() - before)
print(min(taken), rows)
