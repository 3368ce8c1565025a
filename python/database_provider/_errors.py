# SPDX-License-Identifier: Apache-2.0
"""The exceptions of the package. Each is an `Error`, and most are the builtin exception that fits as well."""

from __future__ import annotations

import builtins
from typing import Any


class Error(Exception):
    """What a store, or the module itself, refuses or cannot do.

    >>> try:
    ...     runs.find("site=")
    ... except dp.Error as error:
    ...     print(error.kind, error.retryable)
    query False
    """

    kind: str = "error"
    """What went wrong: "connection", "timeout", "authentication", "authorization", "duplicateKey", "document", "query",
    "unsupported", "storage", "server", "cancelled" or "usage"."""
    code: int = 0
    """A server's number for it, from a store in a file too; 0 where there is none."""
    retryable: bool = False
    """Whether the same call may succeed later, unchanged."""
    outcome_unknown: bool = False
    """Whether this was a write of which it is not known whether it took place."""
    where: str = ""
    """The key's path, the argument, or host and port; empty where there is none."""

    def __reduce__(self) -> tuple[Any, ...]:
        return (_rebuild, (type(self), str(self), self.__dict__))


def _rebuild(cls: type[Error], message: str, state: dict[str, Any]) -> Error:
    error = cls(message)
    error.__dict__.update(state)
    return error


class ConnectionError(Error, builtins.ConnectionError):
    """The store cannot be reached, or the connection to it was lost."""

    kind = "connection"


class TimeoutError(Error, builtins.TimeoutError):
    """No answer came within the time allowed."""

    kind = "timeout"


class AuthenticationError(Error, builtins.PermissionError):
    """The store does not accept the user."""

    kind = "authentication"


class AuthorizationError(Error, builtins.PermissionError):
    """The user has no right to do this."""

    kind = "authorization"


class DuplicateKeyError(Error, builtins.ValueError):
    """Another record has this id already."""

    kind = "duplicateKey"


class DocumentError(Error, builtins.ValueError):
    """A value, a name or a record that cannot be stored, or is not of the kind asked for. `where` names it."""

    kind = "document"


class QueryError(Error, builtins.ValueError):
    """An argument that makes no sense."""

    kind = "query"


class FilterError(QueryError):
    """A filter that cannot be read.

    >>> try:
    ...     runs.count("site=Waseca and yield>")
    ... except dp.FilterError as error:
    ...     print(error.position, error.reason)
    22 expected a value, found the end
    """

    reason: str = ""
    """What was expected, and what was found."""
    filter: str = ""
    """The filter as it was given."""
    position: int = 0
    """The first character of it that could not be read; its length where something is missing at its end."""


class FormulaError(QueryError):
    """A formula of `update(compute=…)` that cannot be read."""

    reason: str = ""
    position: int = 0


class NotSupportedError(Error, builtins.NotImplementedError):
    """The store does not know this operation: a transaction on a server, for example."""

    kind = "unsupported"


class StorageError(Error, builtins.OSError):
    """The file of a store cannot be read or written."""

    kind = "storage"

    def __str__(self) -> str:
        return str(self.args[0]) if self.args else ""


class ServerError(Error):
    """Any other refusal by the store; `code` has its number."""

    kind = "server"


class CancelledError(Error):
    """What was given up."""

    kind = "cancelled"


class RowsError(Error, builtins.ValueError):
    """Rows that cannot be read on, or that cannot be imported as a whole. The message names the file and the line."""

    kind = "document"


class NotFoundError(Error, builtins.KeyError):
    """No record has the id that was asked for.

    >>> try:
    ...     runs["000000000000000000000000"]
    ... except KeyError as error:
    ...     print(error)
    no experiment has the id "000000000000000000000000"
    """

    kind = "query"

    def __str__(self) -> str:
        return str(self.args[0]) if self.args else ""


class UsageError(Error):
    """The base of what is wrong in the use of the objects of this package."""

    kind = "usage"


class ClosedError(UsageError, builtins.ValueError):
    """The store is closed.

    >>> other = dp.open("file::memory:")
    >>> other.close()
    >>> other.experiments.count()
    Traceback (most recent call last):
    database_provider._errors.ClosedError: the store is closed
    """


class InUseError(UsageError, builtins.RuntimeError):
    """Another thread is using the store, or the store is at work and has called what now calls it."""


class ForkedError(UsageError, builtins.RuntimeError):
    """The store was opened before this process was forked from the one that opened it."""
