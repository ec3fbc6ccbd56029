#!/usr/bin/env bash
# Runs the tests of a built preset and closes with a line that counts them. Arguments after the preset go to ctest.
# usage: scripts/run-tests.sh PRESET [ctest options...]
set -euo pipefail
cd "$(dirname "$0")/.."

preset=$1
shift
results=$PWD/build/$preset/test-results.xml
rm -f "$results"
ctest_failed=0
ctest --test-dir "build/$preset" -j 2 --output-on-failure --no-tests=error --output-junit "$results" "$@" ||
    ctest_failed=$?

# Counted from what each test reported, and not from ctest's own summary, which counts a skipped test as passed.
python3 - "$results" "$ctest_failed" <<'PYTHON'
import sys
import xml.etree.ElementTree as xml

try:
    cases = list(xml.parse(sys.argv[1]).getroot().iter("testcase"))
except (OSError, xml.ParseError):
    cases = []
outcomes = [case.get("status") for case in cases]
passed = outcomes.count("run")
failed = outcomes.count("fail")
for case, outcome in zip(cases, outcomes):
    if outcome not in ("run", "fail"):
        print(f"not run: {case.get('name')}")
# ctest fails over a test that could not even be started, and not over one that skipped itself.
if sys.argv[2] != "0" and not failed:
    failed = max(1, len(cases) - passed)
print(f"{passed} passed, {failed} failed")
sys.exit(0 if passed and not failed else 1)
PYTHON
