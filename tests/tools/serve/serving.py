# SPDX-License-Identifier: Apache-2.0
"""A store that is served, for the tests of `recordctl serve`."""

import contextlib
import http.client
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import urllib.parse

RECORDCTL = os.environ.get("RECORDCTL_PATH", "")
LOGIN = []  # the options of whoever asks
SKIPPED = 77


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(SKIPPED)


def require_serve():
    """Ends the test where the program was built without the page."""
    if not RECORDCTL:
        sys.exit("RECORDCTL_PATH names the program")
    probe = subprocess.Popen([RECORDCTL, "--store", "file::memory:", "serve", "--port", "0"], text=True,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=environment())
    line = probe.stdout.readline()
    if line.startswith("http://"):
        probe.send_signal(signal.SIGTERM)
        probe.communicate(timeout=30)
        return
    error = probe.communicate(timeout=30)[1]
    if "cpp-httplib" in error:
        skip(error.strip())
    sys.exit(f"serve does not start: {error}")


def environment(store=None):
    result = {name: value for name, value in os.environ.items() if name not in ("COLUMNS", "NO_COLOR")}
    if store:
        result["RECORDCTL_STORE"] = store
    return result


def run(*arguments, store=None, status=0, text=None):
    done = subprocess.run([RECORDCTL, *LOGIN, *arguments], capture_output=True, text=True, check=False, input=text or "",
                          env=environment(store))
    if done.returncode != status:
        raise AssertionError(f"{arguments}: status {done.returncode}: {done.stderr}")
    return done.stdout


def printed(*arguments, store=None):
    """What a command prints with --json."""
    return [json.loads(line) for line in run(*arguments, "--json", store=store).splitlines()]


class Reply:
    def __init__(self, response, body):
        self.status = response.status
        self.headers = response.headers
        self.body = body

    def json(self):
        return json.loads(self.body)

    def results(self):
        assert self.status == 200, (self.status, self.body[:500])
        return self.json()["results"]


class Served:
    """A running `recordctl serve`, to be used in a with statement."""

    def __init__(self, store, *options):
        self.store = store
        self.options = options

    def __enter__(self):
        self.process = subprocess.Popen([RECORDCTL, *LOGIN, "serve", "--port", "0", *self.options], text=True,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=environment(self.store))
        self.address = self.process.stdout.readline().strip()
        if not self.address.startswith("http://"):
            raise AssertionError(self.process.communicate()[1])
        parts = urllib.parse.urlsplit(self.address)
        self.port = parts.port
        self.token = urllib.parse.parse_qs(parts.query).get("token", [""])[0]
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.stop()
        self.process.stdout.close()
        self.process.stderr.close()

    def stop(self, how=signal.SIGTERM):
        self.process.send_signal(how)
        return self.process.wait(timeout=60)

    def request(self, method, path, body=None, headers=None, with_token=True):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=120)
        with contextlib.closing(connection):
            sent = {"Cookie": f"recordctl-{self.port}={self.token}"} if with_token and self.token else {}
            sent.update(headers or {})
            connection.request(method, path, body, sent)
            response = connection.getresponse()
            return Reply(response, response.read().decode())

    def get(self, path, headers=None, with_token=True, **parameters):
        query = urllib.parse.urlencode([(name, value) for name, values in parameters.items()
                                        for value in (values if isinstance(values, list) else [values])])
        return self.request("GET", path + ("?" + query if query else ""), None, headers, with_token)

    def ask(self, path, **parameters):
        return self.get("/api/" + path, **parameters).results()


@contextlib.contextmanager
def folder():
    with tempfile.TemporaryDirectory() as name:
        yield pathlib.Path(name)


PLOTS = [{"site": site, "variety": variety, "year": year, "yield": round(20 + (7 * i + 3 * year) % 41 + i / 10, 1)}
         for year in (1931, 1932)
         for i, (site, variety) in enumerate((site, variety)
                                             for site in ("Waseca", "Morris", "Crookston", "Duluth")
                                             for variety in ("Trebi", "Manchuria", "No. 457"))]


def import_plots(where, store):
    """24 plots of a field trial, one of them with files and a user block, and two scenarios."""
    rows = where / "plots.json"
    rows.write_text(json.dumps(PLOTS))
    run("import", str(rows), "--category", "site,variety", "--description", "yield:double,year:int", store=store)
    run("add", "--category", "site=Waseca", "--description", "yield=99.5", "--description",
        "started:time=2020-03-01T10:30:00Z", "--file", "document:nas:/trials/a b.pdf", "--data", "-", store=store,
        text='{"note": {"by": ["x", 1], "long": "' + "y" * 10_000 + '"}}')
    scenarios = where / "scenarios.jsonl"
    scenarios.write_text('{"site": "Waseca", "lanes": 3}\n{"site": "Morris", "lanes": 2}\n')
    run("import", str(scenarios), "--kind", "scenario", "--category", "site", "--description", "lanes:int", store=store)
