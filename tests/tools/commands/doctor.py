# SPDX-License-Identifier: Apache-2.0
"""Fills an empty store with records that are odd in every way that "doctor" knows, and compares what it says with what
Python computes from the same records.

    doctor.py RECORDCTL [OPTION…]      the store is RECORDCTL_STORE; the options are those of whoever asks
"""

import json
import os
import random
import shlex
import subprocess
import sys
from collections import Counter, defaultdict

COMMAND = sys.argv[1:]
SITES = ["Waseca", "waseca", " WASECA", "été", "ÉTÉ", "New York", "NewYork", "$set", "a=b", "it's", "-x", "\u202e"]
TYPES = {"string": 4, "int": 6, "long": 7, "double": 8}
ODD = """o'dd "n" $x.y"""  # the name of a category
wrong = 0


def run(*arguments, status=0):
    done = subprocess.run([*COMMAND, *arguments], capture_output=True, text=True, stdin=subprocess.DEVNULL, check=False)
    if done.returncode != status:
        sys.exit(f"{arguments}: status {done.returncode}: {done.stderr}")
    return done.stdout


def answer(*arguments, status=0):
    return [json.loads(line) for line in run(*arguments, "--json", status=status).splitlines()]


def agree(what, given, expected):
    global wrong
    if given != expected:
        wrong += 1
        print(f"{what}\n  given    {given}\n  expected {expected}")


def folded(text):
    return "".join(text.lower().split())


def number(kind, value):
    key = {"int": "$numberInt", "long": "$numberLong", "double": "$numberDouble"}.get(kind)
    return {key: str(value)} if key else value


def document(record):
    info = {}
    if record["categories"]:
        info["category"] = [{"name": name, "value": value} for name, value in record["categories"].items()]
    if record["descriptions"]:
        info["description"] = [{"name": name, "value": number(kind, value), "type": {"$numberInt": str(TYPES[kind])}}
                               for name, (kind, value) in record["descriptions"].items()]
    data = {}
    if record["files"]:
        data["files"] = [{"fileId": str(at), "type": {"$numberInt": "4"}, "host": host, "path": path}
                         for at, (host, path) in enumerate(record["files"])]
    if record["source"]:
        data["dataSource"] = {"host": "h", "path": "/p", "type": {"$numberInt": "2"}}
    if data:
        info["additionalData"] = data
    return {"recordInfo": info, "note": 1}


def make_records():
    chance = random.Random(23)
    here = os.path.join(os.getcwd(), "here.pdf")
    with open(here, "w", encoding="utf-8") as file:
        file.write("x")
    files = [("", here), ("localhost", "/nowhere/at/all"), ("", "/nowhere/'else"), ("nas", "/far")]
    records = []
    for at in range(150):
        categories = {"Site " if at % 40 == 7 else "site": chance.choice(SITES)}
        if at % 3 == 0:
            categories[ODD] = f"v{at % 4}"
        kind = chance.choice(["double"] * 8 + ["int", "string"])
        descriptions = {"yield": (kind, {"double": at / 2, "int": at, "string": "n/a"}[kind]),
                        "year": (chance.choice(["int", "long"]), 1900 + at)}
        if at == 60:
            descriptions["yeild"] = ("double", 1.5)
        if at == 61:
            categories["-far,from:all"] = "x"
        records.append({"categories": categories, "descriptions": descriptions, "source": chance.random() < 0.5,
                        "files": chance.sample(files, chance.randrange(3))})
    return records


def expected_findings(records):
    result = []
    types = defaultdict(Counter)
    names = {"categories": Counter(), "descriptions": Counter()}
    values = defaultdict(Counter)
    missing = Counter()
    for record in records:
        for name, (kind, _) in record["descriptions"].items():
            types[name][kind] += 1
        for sort, counts in names.items():
            counts.update(record[sort].keys())
        for name, value in record["categories"].items():
            values[name][value] += 1
        missing.update(path for _, path in record["files"] if path.startswith("/nowhere"))
    for name, counts in types.items():
        if len(counts) > 1:
            target = "long" if name == "year" else max(counts, key=counts.get)
            result.append(("one name of two types", name, sum(counts.values()) - counts[target]))

    def alike(counts, problem, name_of):
        groups = defaultdict(list)
        for text, count in counts.items():
            groups[folded(text)].append((-count, text.strip() != text, text.encode(), text))
        for group in groups.values():
            for count, _, _, text in sorted(group)[1:]:
                result.append((problem, name_of(text), -count))
        return {group[0][3] for group in groups.values() if len(group) == 1}

    for counts in names.values():
        alone = alike(counts, "names that differ by case or blanks alone", lambda text: text)
        result.extend(("name used once", name, 1) for name in alone if counts[name] == 1)
    for name, counts in values.items():
        alike(counts, "values that differ by case or blanks alone", lambda text, name=name: name)
    result.extend(("file that is not there", path, count) for path, count in missing.items())
    return result


def main():
    records = make_records()
    with open("odd.records", "w", encoding="utf-8") as file:
        for record in records:
            file.write(json.dumps(document(record)) + "\n")
        for at in range(4):
            file.write(json.dumps({"n": at}) + "\n")
    run("import", "odd.records", "--format", "records")

    findings = answer("doctor")
    expected = expected_findings(records)
    expected.append(("experiments without a source", "", sum(not record["source"] for record in records)))
    expected.append(("plain rows that no filter can see", "", 4))
    agree("doctor", sorted((one["problem"], one["name"], one["records"]) for one in findings), sorted(expected))
    agree("the keys of doctor", {tuple(one) for one in findings}, {("problem", "name", "records", "command")})

    lines = {(one["problem"], one["name"]): shlex.split(one["command"]) for one in findings if one["command"]}
    agree("one name of two types", lines[("one name of two types", "year")], ["recordctl", "convert", "year", "long"])
    agree("an alike name", lines[("names that differ by case or blanks alone", "Site ")],
          ["recordctl", "rename", "--merge", "Site ", "site"])
    agree("a slip", lines[("name used once", "yeild")], ["recordctl", "rename", "--merge", "yeild", "yield"])
    agree("an odd name", lines[("name used once", "-far,from:all")],
          ["recordctl", "set", "--where", 'has category:"-far,from:all"', "--unset", r"category:-far\,from\:all"])
    agree("what would be mended is found", answer("count", "--where", lines[("name used once", "-far,from:all")][3]),
          [{"count": 1}])

    states = Counter(row["state"] for row in answer("files", "list"))
    looked = {"nas": "elsewhere"}
    wanted = Counter(looked.get(host, "missing" if path.startswith("/nowhere") else "ok")
                     for record in records for host, path in record["files"])
    agree("files list", states, wanted)
    agree("files check", Counter(row["state"] for row in answer("files", "check", status=1)), wanted)

    held = {row["kind"]: row["records"] for row in answer("info")}
    agree("info", held, {"experiment": len(records) + 4, "scenario": 0})

    print("agree" if wrong == 0 else f"{wrong} answers differ")
    return min(wrong, 1)


if __name__ == "__main__":
    sys.exit(main())
