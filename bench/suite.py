#!/usr/bin/env python3
"""Measures the rows of table.py. To be called by bench/run, which builds and installs what it needs."""
import argparse
import signal
import sys
import time
import traceback

import micro
import process
import real_calls
from processes import BUILD, Broken, Missing, Workplace, take_all_descriptors
from table import ROWS, Result, print_table, write_json

BEGAN = time.monotonic()


def step(text):
    seconds = int(time.monotonic() - BEGAN)
    print("[%3d:%02d] %s" % (seconds // 60, seconds % 60, text), flush=True)


def choose(names):
    unknown = [name for name in names if not any(row.id.startswith(name) for row in ROWS)]
    if unknown:
        print("bench: no row begins with %s; --list lists them" % ", ".join(unknown), file=sys.stderr)
        sys.exit(2)
    return [row for row in ROWS if not names or any(row.id.startswith(name) for name in names)]


def attempt(rows, measure, results, broken):
    """What breaks is told, and the other rows go on."""
    try:
        results.update(measure())
    except Missing as missing:
        results.update((row.id, Result(not_run=str(missing))) for row in rows)
    except Exception as error:  # whatever it is, it is these rows'
        broken.append(rows[0].id)
        results.update((row.id, Result(not_run="it broke, see above")) for row in rows)
        print(error if isinstance(error, Broken) else traceback.format_exc(), file=sys.stderr, flush=True)


def measure_micro(rows, workplace, results, broken):
    if not rows:
        return
    programs = micro.find_programs(workplace)
    for row in rows:
        if row.id not in programs:
            results[row.id] = Result(not_run="no benchmark has this name")
            continue
        step(row.id)
        attempt([row], lambda: {row.id: micro.MEASURES[row.kind](workplace, programs[row.id], row)}, results, broken)


def measure_processes(rows, results, broken):
    for name, experiment in {**process.EXPERIMENTS, **real_calls.EXPERIMENTS}.items():
        wanted = [row for row in rows if row.kind == name]
        if not wanted:
            continue
        step(", ".join(row.id for row in wanted))
        with Workplace() as workplace:
            attempt(wanted, lambda: experiment(workplace), results, broken)


def measure(rows):
    results, broken = {}, []
    with Workplace() as workplace:
        measure_micro([row for row in rows if row.kind in micro.MEASURES], workplace, results, broken)
    measure_processes(rows, results, broken)
    return results, broken


ENDING = (signal.SIGINT, signal.SIGTERM)


def end_in_order(number, _):
    for other in ENDING:  # one is enough: a second one would break off what the first began
        signal.signal(other, signal.SIG_IGN)
    sys.exit(128 + number)  # leaves by way of the workplaces, which end their processes


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("names", nargs="*", help="rows whose names begin so; all when none is given")
    parser.add_argument("--list", action="store_true", help="the rows: name, what, reference, goal")
    options = parser.parse_args()
    rows = choose(options.names)
    if options.list:
        for row in rows:
            print("%-22s %-43s %-36s %s" % (row.id, row.what, row.reference or "-", row.goal.text(row.unit)))
        return
    for number in ENDING:
        signal.signal(number, end_in_order)
    take_all_descriptors()
    results, broken = measure(rows)
    print()
    print_table(rows, results)
    write_json(BUILD / "results.json", rows, results)
    sys.exit(1 if broken else 0)


main()
