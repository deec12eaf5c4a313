#!/usr/bin/env python3
"""Runs benchmark programs and prints one table of what this library costs beside its limit and its peers.

A benchmark is named WORK/PARTICIPANT; the participant is "library", "limit" or "peer:NAME". Each program runs once, its
benchmarks interleaved at random, pinned to one core; benchmarks of several threads run by themselves on as many cores.
Times are medians of the repetitions. They are CPU time, which another process on the machine disturbs least; of
benchmarks of several threads, elapsed time. Only ratios are comparable from run to run.
"""
import argparse
import json
import os
import re
import statistics
import subprocess
import sys

SUFFIX = re.compile(r"(threads|iterations|repeats|min_time|min_warmup_time):.*|real_time|process_time|manual_time")
NANOSECONDS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def thread_count(name):
    match = re.search(r"/threads:(\d+)", name)
    return int(match.group(1)) if match else 1


def split_name(name):
    """WORK and PARTICIPANT of a benchmark's full name."""
    parts = name.split("/")
    threads = thread_count(name)
    while len(parts) > 1 and SUFFIX.fullmatch(parts[-1]):
        parts.pop()
    return "/".join(parts[:-1]) + (f", {threads} threads" if threads > 1 else ""), parts[-1]


def escaped(name):
    """The name as an extended regular expression, in which an ordinary character must not be escaped."""
    return re.sub(r"([][.*+?{}()|^$\\])", r"\\\1", name)


def names_of(program, name_filter):
    command = [program, "--benchmark_list_tests=true", f"--benchmark_filter={name_filter}"]
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout.split("\n")


def run(program, options):
    """The times of all repetitions: {work: {participant: [nanoseconds]}}, in the order of the program."""
    cores = sorted(os.sched_getaffinity(0), reverse=True)
    names = [name for name in names_of(program, options.filter) if "/" in name]
    times = {}
    for work, participant in map(split_name, names):
        times.setdefault(work, {})[participant] = []
    failures = set()
    for threads in sorted({thread_count(name) for name in names}):
        if threads > len(cores):
            print(f"{program}: no {threads} cores for {threads} threads", file=sys.stderr)
            continue
        chosen = [name for name in names if thread_count(name) == threads]
        command = ["taskset", "-c", ",".join(map(str, cores[:threads])), program,
                   f"--benchmark_repetitions={options.repetitions}", "--benchmark_enable_random_interleaving=true",
                   f"--benchmark_min_time={options.min_time}", "--benchmark_format=json",
                   "--benchmark_filter=^(" + "|".join(map(escaped, chosen)) + ")$"]
        output = subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout
        for result in json.loads(output)["benchmarks"]:
            if result["run_type"] != "iteration":
                continue
            work, participant = split_name(result["run_name"])
            if result.get("error_occurred"):
                failures.add(f"{result['run_name']}: {result['error_message']}")
                continue
            time = result["real_time" if threads > 1 else "cpu_time"] * NANOSECONDS[result["time_unit"]]
            times[work][participant].append(time)
    for failure in sorted(failures):
        print(failure, file=sys.stderr)
    return times


def shown(nanoseconds):
    for unit in ("ns", "us", "ms"):
        if nanoseconds < 1000:
            return f"{nanoseconds:.3g} {unit}"
        nanoseconds /= 1000
    return f"{nanoseconds:.3g} s"


def spread(values):
    """The middle half of the values, as a part of their median."""
    if len(values) < 2:
        return 0.0
    low, _, high = statistics.quantiles(values, n=4, method="inclusive")
    return (high - low) / statistics.median(values)


def rows(times):
    for work, participants in times.items():
        medians = {name: statistics.median(values) for name, values in participants.items() if values}

        def time_of(name):
            return shown(medians[name]) if name in medians else "-"

        def ratio_to(name):
            return f"{medians['library'] / medians[name]:.3g}" if {"library", name} <= medians.keys() else "-"

        for peer in [name for name in participants if name.startswith("peer:")] or [""]:
            compared = [name for name in ("library", "limit", peer) if name in medians]
            peer_text = f"{time_of(peer)} ({peer[len('peer:'):]})" if peer else "-"
            yield [work, time_of("library"), time_of("limit"), peer_text, ratio_to("limit"), ratio_to(peer),
                   f"{100 * max((spread(participants[name]) for name in compared), default=0):.0f} %"]


def print_table(table):
    header = ["work", "this library", "limit", "peer", "to the limit", "to the peer", "spread"]
    lines = [header] + table
    widths = [max(len(line[column]) for line in lines) for column in range(len(header))]
    lines.insert(1, ["-" * width for width in widths])
    for line in lines:
        print("| " + " | ".join(cell.ljust(width) for cell, width in zip(line, widths)) + " |")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("programs", nargs="+", help="benchmark programs")
    parser.add_argument("--repetitions", type=int, default=7)
    parser.add_argument("--min-time", type=float, default=0.1, help="seconds of a repetition")
    parser.add_argument("--filter", default=".", help="regular expression for the names of benchmarks to run")
    options = parser.parse_args()
    table = []
    for program in options.programs:
        table += rows(run(program, options))
    print_table(table)


if __name__ == "__main__":
    main()
