#!/usr/bin/env python3
"""Turns the results of a run of the benchmarks into the table of docs/performance.md.

usage: bench/table.py RESULTS.json [--into FILE.md] [--command TEXT]
"""

import argparse
import json
import re
import statistics
import sys

BEGIN, END = "<!-- figures: begin -->", "<!-- figures: end -->"
LIBRARY, BOUNDS, PEERS = "index_iface", ("bare_write", "bare_parse", "bare_insert", "bare_copy",
                                  "bare_parts", "first_page", "quiet"), ("leveldb", "rocksdb", "sqlite")

# Which rows have a goal: (workload, threads) -> (what it says, whether a row meets it). A row maps subjects to
# seconds an operation.
GOALS = {
    ("add", 1): ("at most 1.6 × the bare write", lambda row: row[LIBRARY] <= 1.6 * row["bare_write"]),
    ("add", 2): ("at most 1.15 × two threads' bare writes", lambda row: row[LIBRARY] <= 1.15 * row["bare_write"]),
    ("find_cached_guid", 1): ("faster than LevelDB (at 4,096)", lambda row: row[LIBRARY] < row["leveldb"]),
    ("replay", 1): ("at most 4.6 × the bare parse, faster than LevelDB and RocksDB",
                    lambda row: row[LIBRARY] <= 4.6 * row["bare_parse"]
                    and row[LIBRARY] < min(row["leveldb"], row["rocksdb"])),
    ("collect", 1): ("at least 60 % of the bare writes' rate", lambda row: row["bare_write"] >= 0.6 * row[LIBRARY]),
    ("ingest_sqlite", 1): ("at least 60 % of the bare insertions' rate",
                           lambda row: row["bare_insert"] >= 0.6 * row[LIBRARY]),
    ("ingest_postgresql", 1): ("at least 60 % of the bare copy's rate",
                               lambda row: row["bare_copy"] >= 0.6 * row[LIBRARY]),
    **{(workload, 1): ("at most 1.5 × the bare parts", lambda row: row[LIBRARY] <= 1.5 * row["bare_parts"])
       for workload in ("find_served_path", "find_served_guid", "browse_thousand")},
    **{(workload, 1): ("at most 1.3 × the first page", lambda row: row[LIBRARY] <= 1.3 * row["first_page"])
       for workload in ("browse_last_page", "browse_last_page_then")},
}


def read_rows(results):
    """Seconds an operation by (workload, threads, place, batch) and subject: the median of the repetitions. The tail
    of the library in the same way."""
    times, tails = {}, {}
    for run in results["benchmarks"]:
        if run["run_type"] != "iteration":
            continue
        name = run["name"].removesuffix("/manual_time")
        if run.get("error_occurred"):
            sys.exit(f"{name} failed: {run.get('error_message')}")
        workload, threads, place, batch, subject = name.split("/")
        key = (workload, int(threads), place, int(batch))
        times.setdefault(key, {}).setdefault(subject, []).append(run["per_op"])
        if subject == LIBRARY and "p99.9" in run:
            tails.setdefault(key, []).append(run["p99.9"])
    rows = {key: {subject: statistics.median(values) for subject, values in row.items()}
            for key, row in times.items()}
    return rows, {key: statistics.median(values) for key, values in tails.items()}


def amount(seconds):
    """A time with three digits at most."""
    for unit, scale in (("ns", 1e9), ("µs", 1e6), ("ms", 1e3)):
        if seconds * scale < 1000:
            return f"{seconds * scale:.3g} {unit}"
    return f"{seconds:.3g} s"


def goal_of(key, row):
    """The goal of a row and whether it is met; nothing where there is none or who it is held against did not run."""
    workload, threads, _, batch = key
    if (workload, threads) not in GOALS or (workload == "find_cached_guid" and batch != 4096):
        return ""
    text, met = GOALS[workload, threads]
    try:
        return f"{text}: {'met' if met(row) else 'missed'}"
    except KeyError:
        return ""


def cell(row, subject):
    if subject is None or subject not in row:
        return ""
    if subject == LIBRARY:
        return amount(row[subject])
    return f"{amount(row[subject])} ({row[LIBRARY] / row[subject]:.2f})"


def table(rows, tails):
    lines = ["| workload | threads | place | batch | index_iface | 99.9 % | bound | LevelDB | RocksDB | SQLite | goal |",
             "|---|---|---|---|---|---|---|---|---|---|---|"]
    for key, row in sorted(rows.items()):
        if LIBRARY not in row:
            continue
        workload, threads, place, batch = key
        bound = next((subject for subject in BOUNDS if subject in row), None)
        cells = [workload, str(threads), place, f"{batch:,}", cell(row, LIBRARY),
                 amount(tails[key]) if key in tails else "", cell(row, bound),
                 *(cell(row, peer) for peer in PEERS), goal_of(key, row)]
        lines.append("| " + " | ".join(cells) + " |")
    return lines


def report(results, command):
    context = results["context"]
    facts = [("date", context["date"]), ("command", f"`{command}`" if command else None),
             ("machine", context["machine"]), ("load before the run", " ".join(map(str, context["load_avg"]))),
             ("compiler", context["compiler"]), ("build", context["build"]),
             ("bytes in a journal line", context["line_bytes"]), ("sync", context["journal_sync"])]
    rows, tails = read_rows(results)
    return [*(f"- {name}: {value}" for name, value in facts if value), "", *table(rows, tails)]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("results")
    parser.add_argument("--into")
    parser.add_argument("--command", default="")
    chosen = parser.parse_args()
    with open(chosen.results) as file:
        text = "\n".join(report(json.load(file), chosen.command.strip()))
    if not chosen.into:
        print(text)
        return
    with open(chosen.into) as file:
        page = file.read()
    marked = re.compile(re.escape(BEGIN) + ".*?" + re.escape(END), re.DOTALL)
    if not marked.search(page):
        sys.exit(f"{chosen.into} has no place for the figures ({BEGIN})")
    with open(chosen.into, "w") as file:
        file.write(marked.sub(lambda _: f"{BEGIN}\n{text}\n{END}", page))


if __name__ == "__main__":
    main()
