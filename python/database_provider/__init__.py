# SPDX-License-Identifier: Apache-2.0
"""Records of experiments and scenarios, in a MongoDB deployment or in one file.

>>> import database_provider as dp
>>> store = dp.open("file:trials.db")
>>> runs = store.experiments
>>> id = runs.add(categories={"site": "Waseca"}, descriptions={"yield": 48.9, "year": 1932})
>>> for record in runs.find("site=Waseca and yield>40", sort="-yield"):
...     print(record.id == id, record.categories, record.descriptions["yield"])
True {'site': 'Waseca'} 48.9
>>> store.close()

docs/python.md is a tour.
"""

from ._core import ObjectId, Record, Value
from ._core import version as __version__
from ._errors import (
    AuthenticationError, AuthorizationError, CancelledError, ClosedError, ConnectionError, DocumentError,
    DuplicateKeyError, Error, FilterError, ForkedError, FormulaError, InUseError, NotFoundError, NotSupportedError,
    QueryError, RowsError, ServerError, StorageError, TimeoutError, UsageError,
)
from ._records import Found, Records, Table
from ._store import Store, Users, open, restore
from ._types import (
    BackupReport, BadRow, Changed, ComparisonRow, CoverageCell, File, Histogram, ImportPlan, ImportResult, Name,
    NewRecord, Remark, Stats, Summary, User,
)

__all__ = [
    "AuthenticationError", "AuthorizationError", "BackupReport", "BadRow", "CancelledError", "Changed", "ClosedError",
    "ComparisonRow", "ConnectionError", "CoverageCell", "DocumentError", "DuplicateKeyError", "Error", "File",
    "FilterError", "ForkedError", "FormulaError", "Found", "Histogram", "ImportPlan", "ImportResult", "InUseError",
    "Name", "NewRecord", "NotFoundError", "NotSupportedError", "ObjectId", "QueryError", "Record", "Records", "Remark",
    "RowsError", "ServerError", "Stats", "StorageError", "Store", "Summary", "Table", "TimeoutError", "UsageError",
    "User", "Users", "Value", "__version__", "open", "restore",
]
