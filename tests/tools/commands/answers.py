# SPDX-License-Identifier: Apache-2.0
"""Puts rows into an empty store and compares what the command answers with what Python computes from the same rows.

    answers.py RECORDCTL [OPTION…]      the store is RECORDCTL_STORE; the options are those of whoever asks
"""

import csv
import json
import math
import random
import statistics
import subprocess
import sys
from collections import Counter, defaultdict

COMMAND = sys.argv[1:]
ROWS = "rows.csv"
SITES = ["Waseca", "Morris", "a,b", 'say "x"', "été", "c:d", "$set", "<b>"]
ODD = 'odd, "name": $x.y'  # the name of a category
ESCAPED = ODD.replace("\\", "\\\\").replace(",", "\\,").replace(":", "\\:")
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
    if not same(given, expected):
        wrong += 1
        print(f"{what}\n  given    {given}\n  expected {expected}")


def same(one, other):
    if isinstance(one, float) or isinstance(other, float):
        if one is None or other is None:
            return one is other
        return math.isclose(one, other, rel_tol=1e-9, abs_tol=1e-9)
    if isinstance(one, list) and isinstance(other, list):
        return len(one) == len(other) and all(map(same, one, other))
    if isinstance(one, dict) and isinstance(other, dict):
        return one.keys() == other.keys() and all(same(one[key], other[key]) for key in one)
    return one == other


def write_rows():
    chance = random.Random(14)
    with open(ROWS, "w", newline="", encoding="utf-8") as file:
        writer = csv.writer(file)
        writer.writerow(["site", ODD, "yield", "year", "when"])
        for number in range(250):
            site = chance.choice(SITES) if chance.random() < 0.9 else ""
            value = "" if chance.random() < 0.1 else "NaN" if chance.random() < 0.05 else f"{chance.uniform(-5, 60):.3f}"
            when = f"20{chance.randrange(10, 30)}-0{chance.randrange(1, 10)}-1{chance.randrange(10)}T00:00:00Z"
            writer.writerow([site, f"v{chance.randrange(4)}", value, 1900 + number % 40, when])


def number(text):
    return None if text in ("", "NaN") else float(text)


def figures(rows, by, name):
    groups = defaultdict(list)
    for row in rows:
        groups[tuple(row[key] for key in by)].append(number(row[name]))
    result = []
    for key in sorted(groups, key=lambda values: [(value == "", value.encode()) for value in values]):
        values = sorted(value for value in groups[key] if value is not None)
        many = len(values) > 1
        result.append({
            "by": dict(zip(by, [value or None for value in key])), "name": name, "count": len(values),
            "missing": len(groups[key]) - len(values), "min": values[0] if values else None,
            "mean": statistics.fmean(values) if values else None, "std": statistics.stdev(values) if many else None,
            "max": values[-1] if values else None, "median": statistics.median(values) if values else None,
        })
    return result


def without_median(rows):
    return [{key: value for key, value in row.items() if key != "median"} for row in rows]


def main():
    write_rows()
    with open(ROWS, newline="", encoding="utf-8") as file:
        rows = list(csv.DictReader(file))
    run("import", ROWS, "--category", f"site,{ESCAPED}", "--description", "yield:double,year:int,when:time")

    agree("count", answer("count"), [{"count": 250}])
    late = [row for row in rows if int(row["year"]) >= 1930]
    agree("count --where", answer("count", "--where", "year>=1930"), [{"count": len(late)}])
    exact = [row for row in rows if row["site"] == 'say "x"']
    agree("count of a quoted value", answer("count", "--where", r'site="say \"x\""'), [{"count": len(exact)}])

    counts = Counter(row["site"] for row in rows if row["site"])
    widest = sorted(counts.items(), key=lambda item: (-item[1], item[0].encode()))
    agree("facets", answer("facets", "site"), [{"value": value, "count": count} for value, count in widest])
    counts = Counter(row[ODD] for row in late)
    widest = sorted(counts.items(), key=lambda item: (-item[1], item[0].encode()))
    agree("facets --where", answer("facets", ODD, "--where", "year>=1930"),
          [{"value": value, "count": count} for value, count in widest])

    agree("stats", answer("stats", "yield", "--median"), figures(rows, [], "yield"))
    agree("stats of every description", answer("stats"),
          without_median(figures(rows, [], "year") + figures(rows, [], "yield")))
    agree("stats --by", answer("stats", "yield", "--by", "site", "--median"), figures(rows, ["site"], "yield"))
    agree("stats --by two", answer("stats", "yield", "--by", f"site,{ESCAPED}", "--where", "year>=1930"),
          without_median(figures(late, ["site", ODD], "yield")))

    cells = Counter((row["site"], row[ODD]) for row in rows if row["site"])
    sites = sorted({site for site, _ in cells}, key=str.encode)
    varieties = sorted({variety for _, variety in cells}, key=str.encode)
    agree("coverage", answer("coverage", "site", ODD),
          [{"values": [site, variety], "count": cells[(site, variety)]} for site in sites for variety in varieties])

    order = sorted(range(len(rows)), key=lambda i: (rows[i]["site"] == "", rows[i]["site"].encode(), -int(rows[i]["year"])))
    listed = answer("list", "--sort", "site,year:desc", "--columns", "site,year")
    agree("list --sort", [(row["categories"].get("site", ""), row["descriptions"]["year"]) for row in listed],
          [(rows[i]["site"], int(rows[i]["year"])) for i in order])
    highest = sorted((number(row["yield"]) for row in rows if number(row["yield"]) is not None), reverse=True)
    listed = answer("list", "--sort", "yield:desc", "--limit", "10", "--skip", "5")
    agree("list --sort --limit --skip", [row["descriptions"]["yield"] for row in listed], highest[5:15])
    agree("list --columns", {tuple(row["descriptions"]) for row in listed[:1]}, {("yield", "year", "when")})
    agree("the keys of list", [list(row) for row in listed[:1]], [["id", "created", "categories", "descriptions"]])

    first, second = answer("list", "--limit", "2")
    differing = {row["name"]: row for row in answer("compare", first["id"], second["id"], "--all")}
    for name in ("year", "yield"):
        one, other = first["descriptions"].get(name), second["descriptions"].get(name)
        both = isinstance(one, (int, float)) and isinstance(other, (int, float))
        agree(f"compare {name}", differing[name],
              {"name": name, "kind": "description", "values": [one, other], "difference": other - one if both else None})

    # Changes, which come last.
    missing = [row for row in late if row["yield"] == ""]
    numbers = [row for row in late if number(row["yield"]) is not None]
    agree("set", answer("set", "--where", "year>=1930 and (yield>-1e9 or not has yield)", "--description",
                        "gain==(yield - 10) * 2 / -4 + year", "--yes"),
          [{"changed": len(numbers), "unchanged": 0, "skipped": len(missing), "failed": 0}])
    gains = [(number(row["yield"]) - 10) * 2 / -4 + int(row["year"]) for row in numbers]
    agree("what set computed", [row["descriptions"]["gain"] for row in answer("list", "--where", "gain<1e9", "--sort", "gain")],
          sorted(gains))
    odd = [row for row in numbers if int(row["year"]) % 2 == 1]
    agree("set of a typed value",
          answer("set", "--where", "has gain", "--description", "odd:int==(year + 1) / 2", "--yes", status=1),
          [{"changed": len(odd), "unchanged": 0, "skipped": 0, "failed": len(numbers) - len(odd)}])
    counts = Counter(row["site"] for row in rows if row["site"])
    agree("rename", answer("rename", "site", ESCAPED + "2", "--yes"),
          [{"changed": sum(counts.values()), "unchanged": 0, "failed": 0}])
    agree("rename --value", answer("rename", ESCAPED + "2", "--value", "a,b=x=y", "--value", "$set=a,b", "--yes"),
          [{"changed": counts["a,b"] + counts["$set"], "unchanged": 0, "failed": 0}])
    counts["x=y"], counts["a,b"], counts["$set"] = counts["a,b"], counts["$set"], 0
    widest = sorted(((value, count) for value, count in counts.items() if count),
                    key=lambda item: (-item[1], item[0].encode()))
    agree("facets of what was renamed", answer("facets", ODD + "2"),
          [{"value": value, "count": count} for value, count in widest])
    agree("convert", answer("convert", "odd", "string", "--yes"), [{"changed": len(odd), "unchanged": 0, "failed": 0}])
    agree("count of what was converted", answer("count", "--where", 'odd="966"'),
          [{"count": len([row for row in odd if row["year"] == "1931"])}])

    print("agree" if wrong == 0 else f"{wrong} answers differ")
    return min(wrong, 1)


if __name__ == "__main__":
    sys.exit(main())
