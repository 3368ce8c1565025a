# SPDX-License-Identifier: Apache-2.0
"""Imports files of many kinds, each by the command line that `import --plan` prints, and compares what the store has
then with what Python's own readers find in the file.

    imports.py RECORDCTL [OPTION…]      the store is RECORDCTL_STORE, of which each file gets one of its own
"""

import csv
import datetime
import gzip
import json
import math
import os
import pathlib
import shlex
import subprocess
import sys
import xml.etree.ElementTree

COMMAND = sys.argv[1:]
DATA = pathlib.Path(__file__).resolve().parents[2] / "importing" / "data"
UTC = datetime.timezone.utc
wrong = files = 0


def run(store, *arguments):
    done = subprocess.run([*COMMAND, *arguments], capture_output=True, text=True, stdin=subprocess.DEVNULL, check=False,
                          env={**os.environ, "RECORDCTL_STORE": f"file:{store}.db"})
    if done.returncode != 0:
        sys.exit(f"{arguments}: status {done.returncode}: {done.stderr}")
    return done


def plain(value):
    """A value of canonical extended JSON as Python has it."""
    if isinstance(value, dict) and len(value) == 1:
        kind, inner = next(iter(value.items()))
        if kind in ("$numberInt", "$numberLong"):
            return int(inner)
        if kind == "$numberDouble":
            return float(inner)
        if kind == "$date":
            return ("time", int(inner["$numberLong"]))
    if isinstance(value, dict):
        return {key: plain(inner) for key, inner in value.items()}
    return [plain(inner) for inner in value] if isinstance(value, list) else value


def imported(name, *options):
    """The records of a file: name to value of all that they have."""
    store = f"{name}.store"
    plan = run(store, "import", str(DATA / name), *options, "--plan").stdout
    run(store, *shlex.split(plan)[1:])
    result = []
    for line in run(store, "export").stdout.splitlines():
        record = plain(json.loads(line))
        info = record.pop("recordInfo", {})
        record.pop("_id")
        for item in info.get("category", []) + info.get("description", []):
            record[item["name"]] = item["value"]
        result.append(record)
    return result, shlex.split(plan)


def same(left, right):
    if isinstance(left, float) and isinstance(right, float) and math.isnan(left):
        return math.isnan(right)
    return left == right and isinstance(left, bool) == isinstance(right, bool)


def compare(name, found, expected, plan, columns):
    """`columns`: what the plan is to say of --category and --description, where that is to be looked at."""
    global wrong, files
    files += 1
    for option, text in columns.items():
        said = plan[plan.index(option) + 1] if option in plan else None
        if said != text:
            wrong += 1
            print(f"{name}: {option} is {said}, expected {text}", file=sys.stderr)
    if len(found) != len(expected):
        wrong += 1
        print(f"{name}: {len(found)} records, expected {len(expected)}", file=sys.stderr)
    for number, (record, row) in enumerate(zip(found, expected)):
        for key, value in row.items():
            if not same(record.get(key), value):
                wrong += 1
                print(f"{name}: row {number}: {key} is {record.get(key)!r}, expected {value!r}", file=sys.stderr)


def time(text, form=None):
    when = datetime.datetime.strptime(text, form) if form else datetime.datetime.fromisoformat(text)
    when = when if when.tzinfo else when.replace(tzinfo=UTC)
    return ("time", int(when.timestamp()) * 1000 + when.microsecond // 1000)


def typed(rows, kinds, absent=("",)):
    """The cells of CSV as the kinds say; what is absent is None."""
    return [{key: None if text in absent and key in kinds else kinds.get(key, str)(text) for key, text in row.items()}
            for row in rows]


PLOTS = {"plot": int, "year": int, "date": time, "yield": float, "rain": float, "irrigated": lambda text: text == "true",
         "seeds": int}
PLOT_COLUMNS = {"--category": "site,variety,zip,operator",
                "--description": "plot:int,year:int,date:time,yield:double,rain:double,irrigated:bool,seeds:int"}
with open(DATA / "plots.csv", newline="", encoding="utf-8") as stream:
    rows = typed(csv.DictReader(stream), PLOTS)
for name in ("plots.csv", "plots.csv.gz", "plots.csv.zst", "plots16.csv"):
    found, plan = imported(name)
    if name.endswith(".gz"):
        with gzip.open(DATA / name, "rt", newline="", encoding="utf-8") as stream:
            rows = typed(csv.DictReader(stream), PLOTS)
    if name == "plots16.csv":
        with open(DATA / name, newline="", encoding="utf-16") as stream:
            rows = typed(csv.DictReader(stream), PLOTS)
    compare(name, found, rows, plan, PLOT_COLUMNS)

with open(DATA / "plots1.csv", newline="", encoding="latin-1") as stream:
    number = lambda text: float(text.replace(".", "").replace(",", "."))
    rows = typed(csv.DictReader(stream, delimiter=";"), {"menge": number})
found, plan = imported("plots1.csv", "--encoding", "latin-1")
compare("plots1.csv", found, rows, plan, {"--category": "ort", "--description": "menge:double", "--decimal": ",", "--thousands": "."})

with open(DATA / "european.csv", newline="", encoding="utf-8") as stream:
    rows = typed(csv.DictReader(stream, delimiter=";"),
                 {"datum": lambda text: time(text, "%d.%m.%Y"), "ertrag": number, "flaeche": int, "kosten": number})
found, plan = imported("european.csv")
compare("european.csv", found, rows, plan,
        {"--category": "standort", "--description": "datum:time,ertrag:double,flaeche:int,kosten:double", "--decimal": ",",
         "--thousands": ".", "--time-format": "%d.%m.%Y"})

with open(DATA / "weather.tsv", newline="", encoding="utf-8") as stream:
    rows = typed(csv.DictReader(stream, delimiter="\t"), {"temp": float, "wind": int}, ("NA", "-"))
found, plan = imported("weather.tsv")
compare("weather.tsv", found, rows, plan, {"--category": "station,sky", "--description": "temp:double,wind:int", "--na": "NA,-"})

features = json.loads((DATA / "quakes.geojson").read_text())["features"]
rows = [{"properties.mag": f["properties"]["mag"], "properties.net": f["properties"]["net"], "id": f["id"],
         "properties.time": f["properties"]["time"], "properties.felt": f["properties"]["felt"]}
        for f in features]
found, plan = imported("quakes.geojson")
compare("quakes.geojson", found, rows, plan, {"--category": "type,properties.net,geometry.type"})
if [record["properties"]["place"] for record in found] != [f["properties"]["place"] for f in features]:
    wrong += 1
    print("quakes.geojson: places", file=sys.stderr)
if [record["geometry"]["coordinates"] for record in found] != [f["geometry"]["coordinates"] for f in features]:
    wrong += 1
    print("quakes.geojson: coordinates", file=sys.stderr)

rows = [{"run": r["run"], "config.lr": float(r["config"]["lr"]), "config.layers.dense": r["config"]["layers"]["dense"],
         "loss": float(r["loss"]), "tags": r["tags"], "started": time(r["started"].replace("Z", "+00:00")), "done": r["done"]}
        for r in map(json.loads, (DATA / "runs.jsonl").read_text().splitlines())]
found, plan = imported("runs.jsonl")
compare("runs.jsonl", found, rows, plan,
        {"--category": "run",
         "--description": "config.lr:double,config.layers.dense:int,loss:double,started:time,done:bool"})

for name in ("gtest.xml", "ctest.xml", "pytest.xml"):
    tests = list(xml.etree.ElementTree.parse(DATA / name).getroot().iter("testcase"))
    rows = [{"name": t.get("name"), "class": t.get("classname"), "seconds": float(t.get("time"))} for t in tests]
    found, plan = imported(name, "--format", "junit")
    compare(name, found, rows, plan, {})

rows = json.loads((DATA / "google-benchmark.json").read_text())["benchmarks"]
rows = [{key: float(b[key]) if key.endswith("time") else b[key] for key in ("name", "real_time", "cpu_time", "time_unit") if key in b}
        for b in rows]
found, plan = imported("google-benchmark.json", "--format", "google-benchmark")
compare("google-benchmark.json", found, rows, plan, {})

document = json.loads((DATA / "pytest-benchmark.json").read_text())
rows = [{"name": b["name"], "mean": b["stats"]["mean"], "rounds": b["stats"]["rounds"], "data": b["stats"]["data"] if "data" in b["stats"] else None,
         "datetime": time(document["datetime"]), "commit": document["commit_info"]["id"]} for b in document["benchmarks"]]
found, plan = imported("pytest-benchmark.json", "--format", "pytest-benchmark")
compare("pytest-benchmark.json", found, rows, plan, {})

print(f"{files} files")
sys.exit(1 if wrong else 0)
