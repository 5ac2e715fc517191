#!/usr/bin/env python3
"""Turns the JSON output of the benchmark programs into one table.

Every case is registered as <case>/library and <case>/baseline, with a size
appended for the cases that grow. For each case and size the table gives the
median CPU time of both over every repetition of every file and their ratio (library / baseline) with the target
beside it; for the cases measured at sizes ten times apart it gives how the
library's time grows per tenfold size, with the baseline's growth beside it.
Exits with status 1 when a target is missed.
"""
import json
import statistics
import sys
from collections import defaultdict

# case: (what is measured, ratio target, the size the target applies to)
TARGETS = {
    "records_family_sync_status": ("records: family sync status, 50x8x3, encode+decode+free vs rpcgen", 1.3, None),
    "records_packet_info": ("records: packet info, 100 targets/100 refs, encode+decode+free vs rpcgen", 1.3, None),
    "pkt_header_read": ("packet header: read layout 3, 200+200, vs read file + rpcgen + crc32", 3.0, None),
    "pkt_header_write": ("packet header: write layout 3, 200+200, vs rpcgen encode + crc32", 2.0, None),
    "shp_order_read": ("shipping order: read, every destination delivered, vs read+tokenize", 3.0, 20000),
    "epoch_row_compare": ("epoch rows: compare vs raw-oid hash map", 4.0, 10000),
    "health_file_write_read": ("health file: write+read, 50 replicas, vs rpcgen on stdio", 1.5, None),
}
GROWTH_TARGET = 12.0  # per tenfold size


def medians(paths):
    """{(case, side, size): median CPU time in microseconds over every
    repetition in every file}"""
    scale = {"ns": 1e-3, "us": 1.0, "ms": 1e3, "s": 1e6}
    samples = defaultdict(list)
    for path in paths:
        with open(path) as f:
            text = f.read()
        if not text.strip():
            continue  # a program none of whose benchmarks the filter matched
        data = json.loads(text)
        for run in data["benchmarks"]:
            if run.get("run_type") != "iteration" or run.get("error_occurred"):
                continue
            parts = run["run_name"].split("/")
            case, side = parts[0], parts[1]
            size = int(parts[2]) if len(parts) > 2 else None
            samples[(case, side, size)].append(run["cpu_time"] * scale[run["time_unit"]])
    return {key: statistics.median(values) for key, values in samples.items()}


def main(paths):
    times = medians(paths)
    cases = defaultdict(dict)
    for (case, side, size), t in times.items():
        cases[case].setdefault(size, {})[side] = t
    missed = []
    print("median CPU time over every repetition of every round; ratio = library / baseline, same runs")
    print("%-26s %8s %12s %12s %7s  %s" % ("case", "size", "library us", "baseline us", "ratio", "target"))
    for case in sorted(cases, key=lambda c: list(TARGETS).index(c) if c in TARGETS else 99):
        _, target, target_size = TARGETS.get(case, ("", None, None))
        for size in sorted(cases[case], key=lambda s: s or 0):
            sides = cases[case][size]
            if "library" not in sides or "baseline" not in sides:
                continue
            ratio = sides["library"] / sides["baseline"]
            applies = target is not None and (target_size is None or target_size == size)
            verdict = ""
            if applies:
                verdict = "<= %.1f  %s" % (target, "met" if ratio <= target else "MISSED")
                if ratio > target:
                    missed.append("%s/%s" % (case, size or ""))
            print("%-26s %8s %12.1f %12.1f %7.2f  %s" % (case, size or "-", sides["library"], sides["baseline"],
                                                         ratio, verdict))
    growth_lines = []
    for case in sorted(cases):
        sizes = sorted(s for s in cases[case] if s is not None)
        for small, large in zip(sizes, sizes[1:]):
            if large != small * 10:
                continue
            a, b = cases[case][small], cases[case][large]
            if "library" not in a or "library" not in b:
                continue
            growth = b["library"] / a["library"]
            baseline = b["baseline"] / a["baseline"] if "baseline" in a and "baseline" in b else float("nan")
            ok = growth <= GROWTH_TARGET
            if not ok:
                missed.append("%s growth %d->%d" % (case, small, large))
            growth_lines.append("%-26s %8d -> %-8d %7.2f %9.2f %9.2f   <= %.0f  %s" % (
                case, small, large, growth, baseline, growth / baseline, GROWTH_TARGET, "met" if ok else "MISSED"))
    if growth_lines:
        print("\ngrowth per tenfold size (relative: the library's growth over the baseline's)")
        print("%-26s %20s %7s %9s %9s   %s" % ("case", "sizes", "library", "baseline", "relative", "target"))
        print("\n".join(growth_lines))
    print()
    for case, (what, _, _) in TARGETS.items():
        if case in cases:
            print("%-26s %s" % (case, what))
    print("\n" + ("every target met" if not missed else "targets missed: " + ", ".join(missed)))
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
