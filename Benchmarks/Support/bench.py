#!/usr/bin/env python3
"""Measures us beside the peers. ./bench calls it; Docs/performance.md says what is measured and how.

    bench.py FOLDER [--quick] [FILTER]      FOLDER: Benchmarks/ of the build

A whole run also renews Benchmarks/results.json, Docs/benchmarks.svg and the tables of Docs/performance.md.
"""
import argparse
import os
import sys

import report
from chart import chart
from measure import Failure, measure


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder")
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("filter", nargs="?", default="")
    options = parser.parse_intermixed_args()
    folder = options.folder

    results = measure(folder, options.filter, options.quick)
    sizes = report.text_sizes(folder, results)
    for line in report.lines(results, sizes):
        print(line)
    if options.quick or options.filter:
        return

    root = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
    where = report.circumstances(folder)
    with open(os.path.join(root, "Benchmarks", "results.json"), "w", encoding="utf-8") as file:
        file.write(report.as_json(results, sizes, where))
    bytes_of = {each: os.path.getsize(os.path.join(folder, "data", each + ".json")) for each in ("W1", "W2")}
    with open(os.path.join(root, "Docs", "benchmarks.svg"), "w", encoding="utf-8") as file:
        file.write(chart(results, bytes_of, where))
    report.paste(os.path.join(root, "Docs", "performance.md"), {
        "goals": report.goals_section(results, sizes, where),
        "times": report.times_section(results),
        "caches": report.caches_section(results),
        "memory": report.memory_section(results, sizes)})
    print("Renewed: Benchmarks/results.json, Docs/benchmarks.svg, Docs/performance.md")


try:
    main()
except Failure as failure:
    sys.exit(str(failure))
