# SPDX-License-Identifier: Apache-2.0
"""What a served store answers is what the commands print with --json.

    answers.py [RECORDCTL [OPTION…]]      the store is RECORDCTL_STORE, which has to be empty and is filled, or a file of
                                          its own; the program RECORDCTL_PATH, unless it is given with its options
"""

import json
import os
import sys
import urllib.parse

import serving
from serving import PLOTS, Served, folder, import_plots, printed, require_serve, run

WHERE = 'site in (Waseca, Morris) and yield>25 and not variety="No. 457"'
wrong = 0


def agree(what, given, expected):
    global wrong
    if given != expected:
        wrong += 1
        print(f"{what}\n  given    {given}\n  expected {expected}")


def main():
    if len(sys.argv) > 1:
        serving.RECORDCTL, *serving.LOGIN = sys.argv[1:]
    require_serve()
    with folder() as where:
        store = os.environ.get("RECORDCTL_STORE") or f"file:{where}/store.db"
        import_plots(where, store)
        with Served(store) as served:
            def same(path, *command, **parameters):
                expected = printed(*command, store=store)
                assert expected, command
                agree(f"{path} {parameters}", served.ask(path, **parameters), expected)

            same("names", "names")
            same("names", "names", "--kind", "scenario", kind="scenario")
            same("count", "count")
            same("count", "count", "--where", WHERE, where=WHERE)
            same("count", "count", "--kind", "scenario", kind="scenario")
            same("list", "list")
            same("list", "list", "--where", WHERE, "--sort", "yield:desc,site", "--limit", "5", "--skip", "2", "--columns",
                 "site,description:yield", where=WHERE, sort="yield:desc,site", limit=5, skip=2, columns="site,description:yield")
            same("list", "list", "--sort", "created:desc,id", sort="created:desc,id", limit=10_000)
            same("facets/site", "facets", "site")
            same("facets/SITE", "facets", "SITE", "--limit", "2", "--where", "yield>30", limit=2, where="yield>30")
            same("stats", "stats")
            same("stats", "stats", "yield,year", "--by", "site,variety", "--median", "--where", WHERE, columns="yield,year",
                 by="site,variety", median="1", where=WHERE)
            same("coverage", "coverage", "site", "variety", by="site,variety")
            same("coverage", "coverage", "--scenarios", "site", scenarios="site")
            ids = [record["id"] for record in printed("list", "--limit", "3", store=store)]
            same("compare", "compare", *ids, id=ids)
            same("compare", "compare", *ids, "--all", id=ids, all="true")
            same("compare", "compare", "--where", "site=Morris and variety=Trebi", where="site=Morris and variety=Trebi")
            for one in ids:
                same(f"show/{one}", "show", one)

            # An answer of nothing has the same objects: none. A question that makes no sense has a place.
            agree("nothing", served.ask("list", where="site=Nowhere"), [])
            agree("remarks", served.get("/api/list", where="sight=Waseca", limit=5).json()["remarks"],
                  ['no record has a category or description "sight"'])
            refused = served.get("/api/count", where="site= and year=1932")
            agree("status", refused.status, 400)
            agree("position", refused.json()["position"], 6)
            for path, parameters in (("count", {"limit": "x"}), ("count", {"kind": "thing"}), ("count", {"wher": "a"}),
                                     ("list", {"sort": "yield:down"}), ("list", {"columns": "a:b"}), ("stats", {"by": "a,b,c"}),
                                     ("coverage", {"by": "site"}), ("compare", {"id": ids[:1]}), ("histogram/yield", {"bins": 0}),
                                     ("facets/", {}), ("export", {"format": "xml"}), ("export", {"format": "records", "columns": "site"})):
                reply = served.get("/api/" + path, **parameters)
                agree(f"{path} {parameters}", reply.status, 400)
                agree(f"{path} {parameters}", sorted(reply.json()), ["error", "position"])
            for path in ("nothing", "show/0123456789abcdef01234567", "show/none", ""):
                agree(path, served.get("/api/" + path).status, 404)

            # A histogram counts every value once.
            values = [plot["yield"] for plot in PLOTS] + [99.5]
            [histogram] = served.ask("histogram/yield", bins=7)
            agree("sum", sum(histogram["counts"]) + histogram["missing"], len(values))
            agree("low", histogram["low"], min(values))
            expected = [0] * 7
            for value in values:
                expected[min(6, int((value - histogram["low"]) / histogram["width"]))] += 1
            agree("bins", histogram["counts"], expected)
            agree("times", served.ask("histogram/started", bins=3)[0]["times"], True)

            # Exports are those of the command, byte by byte; JSON Lines are what list --json prints.
            for format in ("csv", "jsonl", "json", "records"):
                for options, parameters in (((), {}), (("--where", WHERE, "--limit", "3"), {"where": WHERE, "limit": 3})):
                    reply = served.get("/api/export", format=format, **parameters)
                    agree(f"export {format}", reply.body.replace("\r\n", "\n"), run("export", "--format", format, *options, store=store))
            lines = served.get("/api/export", format="jsonl", sort="yield").body
            agree("jsonl", [json.loads(line) for line in lines.splitlines()], printed("list", "--sort", "yield", store=store))
            agree("json", json.loads(run("export", "--format", "json", store=store)), printed("list", store=store))
            agree("json of nothing", json.loads(run("export", "--format", "json", "--where", "site=Nowhere", store=store)), [])
            agree("columns", served.get("/api/export", format="csv", columns="yield,site", sort="yield:desc", limit=1).body,
                  "yield,site\r\n99.5,Waseca\r\n")

            # A question too long for an address comes with POST.
            long = "site=Waseca or " + " or ".join(f'variety="{"z" * 90}{i}"' for i in range(100))
            reply = served.request("POST", "/api/count", urllib.parse.urlencode({"where": long}))
            agree("long", reply.results(), printed("count", "--where", "site=Waseca", store=store))
            reply = served.request("POST", "/api/facets", urllib.parse.urlencode({"name": "site", "where": long}))
            agree("long facets", reply.results(), printed("facets", "site", "--where", "site=Waseca", store=store))

            # How a filter is taken apart.
            taken = served.ask("conditions", where='site=Waseca and (yield>3 or not has x) and category:y in ("a b", c)')
            agree("texts", [one["text"] for one in taken], ["site=Waseca", "(yield>3 or not has x)", 'category:y in ("a b", c)'])
            agree("values", taken[2]["values"], ["a b", "c"])
            agree("alternatives", [one["text"] for one in served.ask("conditions", where="a=1 or b=2")], ["(a=1 or b=2)"])
            agree("no filter", served.ask("conditions"), [])
    print("agree" if wrong == 0 else f"{wrong} differ")
    return 1 if wrong else 0


if __name__ == "__main__":
    raise SystemExit(main())
