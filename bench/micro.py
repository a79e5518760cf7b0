"""The rows that Google Benchmark programs measure: bench_* in the build folder, benchmarks ROW/ours and
ROW/reference. They give processor time, or real time where a benchmark says so; or the counter "per_item", which is
in seconds."""
import json
import statistics

from processes import BIN, Broken
from table import Result

REPETITIONS = 5
MIN_TIME_S = 0.1  # of one repetition
UNITS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1}


def find_programs(workplace):
    """Which program has the benchmarks of a row."""
    programs = {}
    for path in sorted(BIN.glob("bench_*")):
        for name in workplace.run([path, "--benchmark_list_tests"], path.name).split():
            programs[name.split("/")[0]] = path
    return programs


def run(workplace, path, filter_):
    """Medians in seconds, by ours and reference."""
    output = workplace.run(
        [path, "--benchmark_format=json", "--benchmark_filter=^%s" % filter_,
         "--benchmark_repetitions=%d" % REPETITIONS, "--benchmark_min_time=%g" % MIN_TIME_S,
         "--benchmark_enable_random_interleaving=true", "--benchmark_report_aggregates_only=true"], path.name)
    medians = {}
    for entry in json.loads(output)["benchmarks"]:
        if entry.get("error_occurred"):
            raise Broken("%s: %s" % (entry["name"], entry["error_message"]))
        if entry.get("aggregate_name") == "median":
            medians[entry["run_name"].split("/")[1]] = seconds_of(entry)
    return medians


def seconds_of(entry):
    if "per_item" in entry:
        return entry["per_item"]
    is_real = "/real_time" in entry["run_name"] or "/manual_time" in entry["run_name"]
    return entry["real_time" if is_real else "cpu_time"] * UNITS[entry["time_unit"]]


def together(workplace, path, row):
    medians = run(workplace, path, row.id + "/")
    if set(medians) < {"ours", "reference"}:
        raise Broken("%s has no benchmarks %s/ours and %s/reference" % (path.name, row.id, row.id))
    return Result(medians["ours"], medians["reference"])


def apart(workplace, path, row):
    """Each side in a process of its own: what one leaves in the heap must not be the other's."""
    values = {"ours": [], "reference": []}
    for _ in range(REPETITIONS):
        for side, found in values.items():
            found.append(run(workplace, path, "%s/%s" % (row.id, side))[side])
    return Result(*(statistics.median(found) for found in values.values()))


MEASURES = {"micro": together, "micro, apart": apart}
