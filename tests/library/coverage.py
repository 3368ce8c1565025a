#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that docs/coverage.md and docs/failures.md name only tests that exist, and the former every public operation."""

import pathlib
import re
import sys

root = pathlib.Path(__file__).resolve().parents[2]
document = (root / "docs/coverage.md").read_text()
failures = (root / "docs/failures.md").read_text()
sources = "\n".join(path.read_text() for path in (root / "tests").rglob("*Test.cpp"))
headers = "\n".join(path.read_text() for path in (root / "include").glob("*/*.h"))

tests = {".".join(pair) for pair in re.findall(r"\bT(?:YPED_T)?EST(?:_[FP])?\(\s*(\w+),\s*(\w+)\)", sources)}
named = set(re.findall(r"`(\w+\.[A-Z]\w+)`", document + failures))
operations = set(re.findall(r"^\s*virtual\s[^~(]*?(\w+|operator=)\(", headers, re.MULTILINE))
operations |= set(re.findall(r"^DATABASE_PROVIDER_EXPORT [^(]*?(\w+)\(", headers, re.MULTILINE))
covered = set(re.findall(r"`(\w+=?)`", document))

for name in sorted(named - tests):
    print(f"docs: there is no test {name}")
for name in sorted(operations - covered):
    print(f"docs/coverage.md: nothing is said about {name}")
sys.exit(1 if named - tests or operations - covered or not tests or not operations else 0)
