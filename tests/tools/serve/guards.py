# SPDX-License-Identifier: Apache-2.0
"""Who is let in to a served store, what it withstands, and how it ends."""

import http.client
import json
import os
import signal
import socket
import sys
import threading
import time
import unittest
import urllib.parse

import serving
from serving import Served, folder, import_plots, printed, run

PATHS = ["/", "/index.html", "/main.js", "/icon.svg", "/favicon.ico", "/api/count", "/api/list", "/api/export?format=csv",
         "/api/about", "/nothing", "/api/nothing", "/..%2f..%2fetc/passwd"]


def raw(port, data, size=65536, timeout=30):
    """What comes back for these bytes until the server closes, or falls silent."""
    with socket.create_connection(("127.0.0.1", port), timeout=timeout) as connection:
        connection.sendall(data)
        result = b""
        try:
            while len(result) < size:
                piece = connection.recv(size)
                if not piece:
                    break
                result += piece
                if b"\r\n\r\n" in result and b"Connection: close" not in result:
                    break
        except (socket.timeout, ConnectionResetError):
            pass
        return result


class Guards(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.stack = folder()
        cls.where = cls.stack.__enter__()
        cls.store = f"file:{cls.where}/store.db"
        import_plots(cls.where, cls.store)

    @classmethod
    def tearDownClass(cls):
        cls.stack.__exit__(None, None, None)

    def test_without_the_token_every_path_is_refused(self):
        with Served(self.store) as served:
            for path in PATHS:
                for method in ("GET", "HEAD", "POST", "PUT", "DELETE", "OPTIONS", "PATCH"):
                    self.assertEqual(served.request(method, path, with_token=False).status, 403, (method, path))
            for wrong in ("", "x", served.token[:-1], served.token + "0", served.token.upper() + " "):
                self.assertEqual(served.get("/api/count", with_token=False, token=wrong).status, 403)
                self.assertEqual(served.get("/api/count", {"Cookie": f"recordctl-{served.port}={wrong}"}, False).status, 403)
                self.assertEqual(served.get("/api/count", {"X-Recordctl-Token": wrong}, False).status, 403)
            self.assertEqual(served.get("/api/count", {"Cookie": f"other={served.token}"}, False).status, 403)

    def test_the_token_of_the_address_becomes_a_cookie(self):
        with Served(self.store) as served:
            reply = served.get("/?token=" + served.token + "&where=site%3DWaseca&x=%22", with_token=False)
            self.assertEqual(reply.status, 303)
            self.assertEqual(reply.headers["Location"], "/?where=site%3DWaseca&x=%22")
            cookie = reply.headers["Set-Cookie"]
            self.assertIn("HttpOnly", cookie)
            self.assertIn("SameSite=Strict", cookie)
            self.assertEqual(served.get("/", {"Cookie": "a=b; " + cookie.split(";")[0]}, False).status, 200)
            self.assertEqual(served.get("/api/count", with_token=False, token=served.token).results(), [{"count": 25}])

    def test_tokens_differ(self):
        with Served(self.store) as one, Served(self.store) as other:
            self.assertNotEqual(one.token, other.token)
            self.assertGreaterEqual(len(one.token), 32)
            self.assertEqual(other.get("/", {"Cookie": f"recordctl-{other.port}={one.token}"}, False).status, 403)

    def test_no_token_lets_everybody_on_this_machine_in(self):
        with Served(self.store, "--no-token", "--write") as served:
            self.assertNotIn("token", served.address)
            self.assertEqual(served.ask("count"), [{"count": 25}])
            self.assertEqual(served.get("/api/count", {"Host": "evil.example"}).status, 403)
            body = urllib.parse.urlencode({"where": "site=Waseca", "category": "soil=loam"})
            self.assertEqual(served.request("POST", "/api/set", body).status, 403)

    def test_a_foreign_host_is_refused(self):
        with Served(self.store) as served:
            for host in ("evil.example", f"evil.example:{served.port}", "127.0.0.1", "127.0.0.1:1", f"127.0.0.1.evil.example:{served.port}",
                         f"0.0.0.0:{served.port}", "", f"localhost:{served.port}@evil.example"):
                self.assertEqual(served.get("/api/count", {"Host": host}).status, 403, host)
            for host in (f"127.0.0.1:{served.port}", f"localhost:{served.port}", f"[::1]:{served.port}"):
                self.assertEqual(served.get("/api/count", {"Host": host}).status, 200, host)
            cookie = f"Cookie: recordctl-{served.port}={served.token}\r\n".encode()
            self.assertIn(b" 403 ", raw(served.port, b"GET /api/count HTTP/1.1\r\n" + cookie + b"\r\n").split(b"\r\n")[0])
            two = f"Host: 127.0.0.1:{served.port}\r\nHost: evil.example\r\n".encode()
            self.assertIn(b" 403 ", raw(served.port, b"GET /api/count HTTP/1.1\r\n" + two + cookie + b"\r\n").split(b"\r\n")[0])

    def test_a_foreign_origin_is_refused(self):
        with Served(self.store, "--write") as served:
            for origin in ("http://evil.example", "null", f"http://127.0.0.1:{served.port + 1}", f"https://127.0.0.1:{served.port}"):
                self.assertEqual(served.get("/api/count", {"Origin": origin}).status, 403, origin)
                body = urllib.parse.urlencode({"where": "site=Waseca", "category": "soil=loam"})
                self.assertEqual(served.request("POST", "/api/set", body, {"Origin": origin, "X-Recordctl-Token": served.token}).status, 403)
            reply = served.get("/api/count", {"Origin": f"http://127.0.0.1:{served.port}"})
            self.assertEqual(reply.status, 200)
            self.assertFalse([name for name in reply.headers if name.lower().startswith("access-control")])
            self.assertEqual(served.get("/main.js", {"Sec-Fetch-Site": "cross-site", "Sec-Fetch-Mode": "no-cors"}).status, 403)
        self.assertEqual(printed("count", "--where", "soil=loam", store=self.store), [{"count": 0}])

    def test_every_answer_has_the_headers(self):
        with Served(self.store) as served:
            for path, with_token in (("/", True), ("/style.css", True), ("/api/count", True), ("/api/count?where=%3D", True),
                                     ("/nothing", True), ("/", False), ("/api/export?format=csv", True)):
                headers = served.request("GET", path, with_token=with_token).headers
                self.assertIn("default-src 'self'", headers["Content-Security-Policy"], path)
                self.assertEqual(headers["X-Content-Type-Options"], "nosniff")
                self.assertEqual(headers["Referrer-Policy"], "no-referrer")
                self.assertEqual(headers["Cache-Control"], "no-store")

    def test_no_path_leads_out_of_the_page(self):
        with Served(self.store) as served:
            for path in ("/../../../../etc/passwd", "/..%2f..%2f..%2fetc%2fpasswd", "/%2e%2e/%2e%2e/etc/passwd", "/page/../../etc/passwd",
                         "//etc/passwd", "/./main.js/..", "/etc/passwd", "/main.js%00.html", "/%5c..%5cetc", "/..", "/CMakeLists.txt"):
                self.assertEqual(served.get(path).status, 404, path)
            for path in ("/%", "/%zz", "/api/show/%4"):
                self.assertEqual(served.get(path).status, 400, path)
            self.assertEqual(served.get("/main.js").status, 200)

    def test_no_text_of_a_request_becomes_a_header(self):
        with Served(self.store) as served:
            start = f"GET /?token={served.token}&where=".encode()
            end = f" HTTP/1.1\r\nHost: 127.0.0.1:{served.port}\r\n\r\n".encode()
            for text in (b"a%0d%0aX-Evil:%201", b"a%0aX-Evil:%201", b"a\rX-Evil: 1", b"%E5%98%8A%E5%98%8DX-Evil:1"):
                head = raw(served.port, start + text + end, timeout=15).split(b"\r\n\r\n")[0]
                self.assertNotIn(b"\nX-Evil", head.replace(b"\r", b"\n"), text)
            reply = served.get("/api/export?format=csv%0d%0aX-Evil:1")
            self.assertEqual(reply.status, 400)
            self.assertIsNone(reply.headers["X-Evil"])

    def test_oversize_requests_are_refused(self):
        with Served(self.store) as served:
            cookie = f"Host: 127.0.0.1:{served.port}\r\nCookie: recordctl-{served.port}={served.token}\r\n".encode()
            self.assertIn(b" 414 ", raw(served.port, b"GET /?where=" + b"a" * 9000 + b" HTTP/1.1\r\n" + cookie + b"\r\n").split(b"\r\n")[0])
            reply = raw(served.port, b"GET / HTTP/1.1\r\n" + cookie + b"X-Long: " + b"a" * 1_000_000 + b"\r\n\r\n")
            self.assertNotIn(b" 200 ", reply.split(b"\r\n")[0])
            reply = raw(served.port, b"POST /api/count HTTP/1.1\r\n" + cookie + b"Content-Length: 999999999\r\n\r\n" + b"a" * 1000)
            self.assertIn(b" 413 ", reply.split(b"\r\n")[0])
            for garbage in (b"\0" * 100 + b"\r\n\r\n", b"GET\r\n\r\n", b"\r\n\r\n", b"GET / HTTP/9.9\r\n\r\n", b"\xff\xfe\r\n\r\n",
                            b"GET /api/count HTTP/1.1\r\nHost\r\n\r\n", b"POST /api/count HTTP/1.1\r\n" + cookie + b"Content-Length: -1\r\n\r\n",
                            b"POST /api/count HTTP/1.1\r\n" + cookie + b"Transfer-Encoding: chunked\r\n\r\nzz\r\n"):
                raw(served.port, garbage, timeout=15)
            self.assertEqual(served.ask("count"), [{"count": 25}])

    def test_a_second_request_does_not_hide_in_the_first(self):
        with Served(self.store) as served:
            hidden = f"GET /api/count HTTP/1.1\r\nHost: 127.0.0.1:{served.port}\r\nCookie: recordctl-{served.port}={served.token}\r\n\r\n".encode()
            outer = f"GET /nothing HTTP/1.1\r\nHost: evil\r\nContent-Length: {len(hidden)}\r\n\r\n".encode()
            self.assertEqual(raw(served.port, outer + hidden, timeout=10).count(b"HTTP/1.1 "), 1)

    def test_a_thousand_held_connections_keep_nobody_waiting(self):
        with Served(self.store) as served:
            held = []
            try:
                for i in range(1000):
                    try:
                        connection = socket.create_connection(("127.0.0.1", served.port), timeout=30)
                    except OSError:
                        break  # this process has no more descriptors
                    connection.sendall([b"", b"G", b"GET / HTTP/1.1\r\n", b"POST /api/count HTTP/1.1\r\nContent-Le"][i % 4])
                    held.append(connection)
                self.assertGreater(len(held), 900)
                for _ in range(5):
                    self.assertEqual(served.ask("count"), [{"count": 25}])
            finally:
                for connection in held:
                    connection.close()
            self.assertEqual(served.ask("count"), [{"count": 25}])

    def test_bodies_that_do_not_come_hold_no_place_without_a_token(self):
        with Served(self.store) as served:
            head = f"POST /api/count HTTP/1.1\r\nHost: 127.0.0.1:{served.port}\r\nContent-Length: 1000\r\n\r\n".encode()
            held = [socket.create_connection(("127.0.0.1", served.port), timeout=30) for _ in range(100)]
            for connection in held:
                connection.sendall(head)
            self.assertEqual(served.ask("count"), [{"count": 25}])
            for connection in held:
                connection.close()

    def test_exports_at_once_are_all_whole(self):
        with folder() as where:
            store = f"file:{where}/many.db"
            rows = where / "rows.csv"
            rows.write_text("a,n\n" + "".join(f"{i % 7},{i}\n" for i in range(20_000)))
            run("import", str(rows), "--category", "a", "--description", "n:int", store=store)
            with Served(store) as served:
                counts = []

                def export(format):
                    counts.append((format, served.get("/api/export", format=format).body.count("\n")))

                threads = [threading.Thread(target=export, args=[format]) for format in ["csv", "jsonl", "records", "csv"] * 2]
                for thread in threads:
                    thread.start()
                self.assertEqual(served.ask("count"), [{"count": 20_000}])
                for thread in threads:
                    thread.join()
                self.assertEqual(sorted(counts), sorted([("csv", 20_001), ("jsonl", 20_000), ("records", 20_000), ("csv", 20_001)] * 2))
                # One who reads nothing, and goes, leaves the others alone.
                slow = socket.create_connection(("127.0.0.1", served.port))
                slow.sendall(f"GET /api/export?format=jsonl HTTP/1.1\r\nHost: 127.0.0.1:{served.port}\r\nX-Recordctl-Token: {served.token}\r\n\r\n".encode())
                self.assertEqual(served.ask("count"), [{"count": 20_000}])
                slow.close()
                self.assertEqual(served.ask("count"), [{"count": 20_000}])

    def test_reading_changes_nothing_and_is_not_writing(self):
        with Served(self.store) as served:
            body = urllib.parse.urlencode({"where": "site=Waseca", "category": "soil=loam"})
            token = {"X-Recordctl-Token": served.token}
            self.assertEqual(served.request("POST", "/api/set", body, token).status, 403)
            self.assertNotIn("token", served.ask("about")[0])
            for method in ("PUT", "DELETE", "PATCH", "OPTIONS"):
                self.assertEqual(served.request(method, "/api/count").status, 405)
            self.assertEqual(served.get("/api/set?" + body, token).status, 404)
        self.assertEqual(printed("count", "--where", "soil=loam", store=self.store), [{"count": 0}])

    def test_write_changes_as_the_command_does(self):
        with folder() as where:
            store = f"file:{where}/store.db"
            import_plots(where, store)
            with Served(store, "--write") as served:
                token = {"X-Recordctl-Token": served.ask("about")[0]["token"]}

                def change(status=200, headers=None, **parameters):
                    reply = served.request("POST", "/api/set", urllib.parse.urlencode(parameters, True), token if headers is None else headers)
                    self.assertEqual(reply.status, status, reply.body)
                    return reply.json()

                before = printed("list", store=store)
                self.assertEqual(change(where="site=Waseca", category="soil=loam", **{"dry-run": "true"})["results"],
                                 [{"changed": 7, "unchanged": 0, "skipped": 0, "failed": 0}])
                self.assertEqual(printed("list", store=store), before)
                change(403, {}, where="site=Waseca", category="soil=loam")
                change(403, {"X-Recordctl-Token": "x"}, where="site=Waseca", category="soil=loam")
                change(400, category="soil=loam")
                change(400, where="site=Waseca")
                change(400, where="site=", category="soil=loam")
                change(400, where="site=Waseca", unset="sight")
                change(400, where="site=Waseca", description="yield:int=x")
                self.assertEqual(printed("list", store=store), before)
                self.assertEqual(change(where="site=Waseca", category="soil=loam")["results"][0]["changed"], 7)
                self.assertEqual(printed("count", "--where", "soil=loam", store=store), [{"count": 7}])
                # Only who still is what was shown is changed.
                one = printed("list", "--limit", "1", "--where", "soil=loam", store=store)[0]["id"]
                run("set", one, "--category", "soil=sand", "--yes", store=store)
                self.assertEqual(change(id=one, where="soil=loam", category="soil=clay")["results"][0]["changed"], 0)
                self.assertEqual(printed("count", "--where", "soil=sand", store=store), [{"count": 1}])

    def test_a_store_that_goes_away_comes_back(self):
        with folder() as where:
            store = f"file:{where}/store.db"
            import_plots(where, store)
            with Served(store) as served:
                self.assertEqual(served.ask("count"), [{"count": 25}])
                aside = where / "aside"
                aside.mkdir()
                for name in where.glob("store.db*"):
                    name.rename(aside / name.name)
                reply = served.get("/api/count")
                self.assertEqual(reply.status, 503, reply.body)
                self.assertEqual(sorted(reply.json()), ["error", "position"])
                for path in ("/api/list?limit=3", "/api/list", "/api/export?format=csv", "/api/names"):
                    self.assertEqual(served.get(path).status, 503, path)
                self.assertEqual(list(where.glob("store.db*")), [])
                for name in aside.glob("store.db*"):
                    name.rename(where / name.name)
                self.assertEqual(served.ask("count"), [{"count": 25}])

    def test_ctrl_c_ends_it_whatever_is_under_way(self):
        with Served(self.store) as served:
            held = [socket.create_connection(("127.0.0.1", served.port)) for _ in range(20)]
            held[0].sendall(f"GET /api/export?format=records HTTP/1.1\r\nHost: 127.0.0.1:{served.port}\r\nX-Recordctl-Token: {served.token}\r\n\r\n".encode())
            held[1].sendall(f"POST /api/count HTTP/1.1\r\nHost: 127.0.0.1:{served.port}\r\nX-Recordctl-Token: {served.token}\r\nContent-Length: 9\r\n\r\n".encode())
            self.assertEqual(served.stop(signal.SIGINT), 130)
            for connection in held:
                connection.close()

    def test_what_cannot_be_served_is_told(self):
        with Served(self.store) as served:
            error = serving.subprocess.run([serving.RECORDCTL, "serve", "--port", str(served.port)], capture_output=True, text=True,
                                           check=False, env=serving.environment(self.store))
            self.assertEqual(error.returncode, 2, error.stderr)
            self.assertIn("is taken", error.stderr)
        for arguments, status in ((["--port", "70000"], 2), (["--port", "x"], 2)):
            self.assertEqual(serving.subprocess.run([serving.RECORDCTL, "serve", *arguments], capture_output=True, text=True, check=False,
                                                    env=serving.environment(self.store)).returncode, status)
        missing = serving.subprocess.run([serving.RECORDCTL, "serve", "--port", "0"], capture_output=True, text=True, check=False,
                                         env=serving.environment(f"file:{self.where}/none.db"))
        self.assertEqual(missing.returncode, 3, missing.stderr)


if __name__ == "__main__":
    serving.require_serve()
    unittest.main(verbosity=1)
