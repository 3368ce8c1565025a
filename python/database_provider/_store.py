# SPDX-License-Identifier: Apache-2.0
"""A store, its users, and its backups."""

from __future__ import annotations

import os
import re
from collections.abc import Iterator, Mapping
from contextlib import contextmanager
from types import TracebackType
from typing import Any, Literal

from . import _core
from ._records import Records
from ._types import BackupReport, Name, User


def _without_password(address: str) -> str:
    """What may be shown of an address."""
    return re.sub(r"(://[^:/@]*):[^@]*@", r"\1:…@", address)


def open(address: str, *, user: str = "", password: str = "", auth_database: str = "", create: bool = True) -> Store:
    """Opens a store: "file:PATH", "file::memory:", a host with or without a port, or a "mongodb://" address.

    A store is used by one thread at a time; open one for each. It is a context manager, which closes it.

    >>> with dp.open("file::memory:") as store:
    ...     len(store.experiments)
    0

    `create=False` refuses a file that is not there. `auth_database` is where the user is kept: for users that this
    library made, and for "admin", it need not be said.
    """
    return Store(_core.Connection(address, user, password, auth_database, create), _without_password(address))


class Store:
    """A store that is open. `database_provider.open` gives one.

    >>> store
    <store file::memory:>
    >>> len(store.experiments), len(store.scenarios)
    (4, 0)
    """

    def __init__(self, connection: _core.Connection, address: str) -> None:
        self._connection = connection
        self.address = address
        """Where it is, without the password."""
        self.experiments = Records(connection, "experiment", address)
        """The records of experiments."""
        self.scenarios = Records(connection, "scenario", address)
        """The records of scenarios."""
        self.users = Users(connection)
        """Who may use the store."""

    def __repr__(self) -> str:
        return f"<store {self.address}{' (closed)' if self.closed else ''}>"

    @property
    def closed(self) -> bool:
        """Whether the store was closed, or belongs to the process that this one was forked from."""
        return self._connection.closed

    def close(self) -> None:
        """Closes the store; a second call does nothing. What is used afterwards raises `ClosedError`.

        >>> other = dp.open("file::memory:")
        >>> other.close()
        >>> other.closed
        True
        """
        self._connection.close()

    def __enter__(self) -> Store:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 traceback: TracebackType | None) -> None:
        self.close()

    @contextmanager
    def transaction(self) -> Iterator[Store]:
        """All or nothing: what is written inside is made permanent at the end, or undone where an exception leaves it.

        In a file only; a server raises `NotSupportedError`. Nobody else can write meanwhile. `update`, `rename` and
        `convert` are transactions of their own, and are refused inside.

        >>> with store.transaction():
        ...     id = store.experiments.add(categories={"site": "Duluth"})
        ...     store.experiments.remove("site=Morris")
        2
        """
        self._connection.begin()
        try:
            yield self
        except BaseException:
            if not self.closed:
                self._connection.rollback()
            raise
        self._connection.commit()

    def names(self) -> dict[Literal["experiments", "scenarios"], list[Name]]:
        """The names that records have, of either kind.

        >>> store.names()["scenarios"]
        []
        """
        return {"experiments": self.experiments.names(), "scenarios": self.scenarios.names()}

    def backup(self, path: str | os.PathLike[str]) -> BackupReport:
        """Writes everything in the store to a new file, which can be opened like any store; others may go on writing.

        >>> store.backup("copy.db").records
        4
        """
        return BackupReport(**self._connection.backup(os.fspath(path)))

    def info(self) -> dict[str, Any]:
        """The format and the size of the store, and whether access to it is controlled.

        >>> store.info()["access_control"]
        False
        """
        return {**self._connection.describe(), "access_control": self._connection.access_control()}

    def check(self) -> tuple[int, list[str]]:
        """Reads all of a store in a file: how many documents it has, and what is wrong with them.

        >>> store.check()[1]
        []
        """
        return self._connection.check()

    def compact(self) -> None:
        """Merges the index of a store in a file, and gives free space back.

        >>> store.compact()
        """
        self._connection.compact()


def restore(path: str | os.PathLike[str], address: str, *, user: str = "", password: str = "", replace: bool = False,
            dry_run: bool = False) -> BackupReport:
    """Puts a backup back into the store at an address. A store that holds something is refused, unless `replace`.

    >>> store.backup("all.db").records
    4
    >>> dp.restore("all.db", "file:again.db").records
    4
    """
    return BackupReport(**_core.restore(os.fspath(path), address, user, password, replace, dry_run))


class Users:
    """Who may use a store. Roles are "read" or "readWrite" on "experiments" and "scenarios".

    In a file, access is controlled from the moment the administrator has a password. Each call opens a connection of
    its own, with the user that the store was opened with.

    >>> with dp.open("file:shared.db") as shared:
    ...     shared.users.add("ada", "s3cret", {"experiments": "readWrite", "scenarios": "read"})
    ...     shared.users.list()
    [User(name='ada', roles={'experiments': 'readWrite', 'scenarios': 'read'})]
    """

    def __init__(self, connection: _core.Connection) -> None:
        self._core = _core.Users(connection)

    def list(self) -> list[User]:
        """The users, the administrator left out."""
        return [User(*user) for user in self._core.list()]

    def data(self, name: str) -> dict[str, Any]:
        """What was kept with a user."""
        return self._core.info(name)[1]

    def add(self, name: str, password: str, roles: Mapping[str, str], *, data: Mapping[str, Any] | None = None) -> None:
        """Creates a user; `ServerError` with the code 51003 when there is one of this name."""
        self._core.add(name, password, roles, data)

    def update(self, name: str, roles: Mapping[str, str], *, data: Mapping[str, Any] | None = None) -> None:
        """Replaces a user's roles, and `data` where it is given."""
        self._core.update(name, roles, data)

    def remove(self, name: str) -> None:
        """Removes a user, and the settings that they kept."""
        self._core.remove(name)

    def change_password(self, name: str, password: str) -> None:
        """Gives a user another password."""
        self._core.change_password(name, password)

    def change_admin_password(self, password: str) -> None:
        """Gives the administrator, "admin", a password. The first one switches the access control of a file on: this
        store, opened without a user, has no rights from then on."""
        self._core.change_admin_password(password)
