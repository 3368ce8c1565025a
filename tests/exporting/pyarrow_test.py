# SPDX-License-Identifier: Apache-2.0
"""Reads a table as pyarrow does. Usage: pyarrow_test.py PRODUCER, a shared library that is loaded."""

import ctypes
import datetime
import sys

try:
    import pyarrow
    import pyarrow.compute
except ImportError:
    print("pyarrow: missing")
    sys.exit(0)

producer = ctypes.CDLL(sys.argv[1])
producer.fillStream.argtypes = [ctypes.c_void_p, ctypes.POINTER(ctypes.c_char_p)]
producer.cancel.argtypes = [ctypes.c_bool]
POINTERS_OF_STREAM = 5


def reader(*columns):
    stream = (ctypes.c_void_p * POINTERS_OF_STREAM)()
    wanted = (ctypes.c_char_p * (len(columns) + 1))(*[column.encode() for column in columns], None)
    assert producer.fillStream(ctypes.addressof(stream), wanted) == 0
    return pyarrow.RecordBatchReader._import_from_c(ctypes.addressof(stream))


table = reader().read_all()
table.validate(full=True)
assert table.num_rows == 10_000
assert table.schema == pyarrow.schema([
    ("id", pyarrow.string()), ("created", pyarrow.timestamp("ms", "UTC")), ("site", pyarrow.string()),
    ("bool", pyarrow.bool_()), ("double", pyarrow.float64()), ("int", pyarrow.int32()), ("long", pyarrow.int64()),
    ("mixed", pyarrow.int32()), ("mixed:string", pyarrow.string()), ("time", pyarrow.timestamp("ms", "UTC"))]), table.schema
time = datetime.datetime(2020, 1, 31, 10, 0, 0, 125000, tzinfo=datetime.timezone.utc)
assert table["site"].to_pylist() == [["Waseca", "Morris"][i % 2] for i in range(10_000)]
assert table["int"].to_pylist() == list(range(10_000))
assert table["double"].to_pylist() == [i / 2 if i % 3 else None for i in range(10_000)]
assert table["bool"].to_pylist() == [None if i % 5 else i % 10 == 0 for i in range(10_000)]
assert table["long"].to_pylist() == [None if i % 7 else 1 << 40 for i in range(10_000)]
assert table["time"].to_pylist() == [None if i % 11 else time for i in range(10_000)]
assert table["mixed"].to_pylist() == [None if i < 10 else i for i in range(10_000)]
assert table["mixed:string"].to_pylist() == [f"t{i}" if i < 10 else None for i in range(10_000)]
assert table["id"].null_count == 0 and len(set(table["id"].to_pylist())) == 10_000

early = reader("int")
first = early.read_next_batch()
early.close()
assert 0 < first.num_rows < 10_000
assert first.column(0)[5].as_py() == 5

given_up = reader("int")
producer.cancel(True)
try:
    given_up.read_all()
    raise AssertionError("nothing was given up")
except (pyarrow.ArrowCancelled, OSError) as error:
    assert str(error), "an error has a message"
producer.cancel(False)
print("pyarrow", pyarrow.__version__, "reads the table")
