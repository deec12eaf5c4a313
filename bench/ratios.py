#!/usr/bin/env python3
"""Runs the benchmarks, those of the Python package and of the page included, and prints, in Markdown, a table that
compares the cost of this library with its limit and its peers, the goals that are not met, and how the cost grows with
the size.

A benchmark is named WORK/PARTICIPANT; the participant is "library", "limit" or "peer:NAME". The benchmarks run
interleaved at random, pinned to one core; those of several threads run by themselves on as many cores. Times are
medians of the repetitions: CPU time, which another process on the machine disturbs least; of several threads, elapsed
time; of a command, what the benchmark measures. A ratio is followed by the range of the middle half of the repetitions'
own ratios. Only ratios are comparable from run to run. The page's times are elapsed times.
"""
import argparse
import datetime
import json
import os
import pathlib
import re
import statistics
import subprocess
import sys

SUFFIX = re.compile(r"(threads|iterations|repeats|min_time|min_warmup_time):.*|real_time|process_time|manual_time")
NANOSECONDS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}

# The goals: the highest ratio to a participant, for works and participants of these names.
GOALS = (
    (r"Read/.*/(1|16|128|512|1024)", r"peer:hdf5.*", 1.0),
    (r"Read/.*/sequential/(4096|65536|1048576)", r"limit", 1.15),
    (r"Read/.*/random/(4096|65536|1048576)", r"limit", 1.7),
    (r"Find/.*", r"peer:hdf5", 1.0),
    (r"Save/.*", r"limit", 1.15),
    (r"Save/.*", r"peer:hdf5", 1.0),
    (r"LogLine", r"limit", 1.3),
    (r"LogLine.*", r"peer:.*", 1.0),
    (r"Stamp/.*", r"peer:date-fmt", 0.35),
    (r"Question/find", r"limit", 2.0),
    (r"Question/find", r"peer:grep", 0.5),
    (r"Question/stats", r"limit", 4.0),
    (r"Question/diff", r"peer:cmp", 1.0),
    (r"Question/cut", r"peer:cp", 1.3),
    (r"Question/stats -j 2.*", r"peer:-j 1", 1 / 1.7),
    (r"Question/index", r"limit", 5.0),
    (r"Question/index/mixed", r"limit", 7.0),
    (r"Tool/recover, damaged", r"limit", 3.0),
    (r"Tool/(samples|dump).*", r"peer:.*", 1.0),
    (r"Python/read/.*", r"peer:h5py", 1.0),
    (r"Python/read/(4096|1048576)", r"peer:fromfile", 1.3),
    (r"Python/find in an array", r"peer:numpy", 0.25),
    (r"Python/find in a file", r"peer:numpy", 0.35),
)
# The most nanoseconds for works of these names.
TIME_GOALS = (
    (r"Python/stamps, a word", r"library", 10.0),
    (r"Page/first picture", r"library", 1e9),
    (r"Page/longest of 100 answers", r"library", 50e6),
)
# Why a goal is not met.
REASONS = (
    (r"LogLine", r"limit", "the time stamp, the format and the lock take 0.2 us, which is more than 0.3 of a write where "
                           "the kernel is as fast as here; on a machine where a write takes 2 us the ratio was 1.26"),
    (r"Find/.*", r".*", "HDF5 has an index of the names; a TDF file has none, so a lookup walks from header to header"),
    (r"Save/.*", r".*", "each chunk of 128 KiB is covered by the section's length before the next one is written, so "
                        "that a save that is killed leaves a readable file"),
)
# The rows that the README shows.
FIRST_ROWS = ("Read/plain/sequential/1", "Read/section/sequential/4096", "Read/section/random/512", "LogLine",
              "Stamp/within an hour")
ROOT = pathlib.Path(__file__).resolve().parent.parent
# What makes a comparison unequal.
NOTES = (
    (r"Read/.*", r"limit", "bare calls, one for each page; a buffered reader can need fewer"),
    (r"Read/.*", r"peer:hdf5", "opened once; reads through its own buffer of 64 KiB"),
    (r"Read/.*", r"peer:hdf5-nosieve", "the same without that buffer"),
    (r"Find/.*", r"limit", "maps the file and walks it without checks"),
    (r"Find/.*", r"peer:hdf5", "has an index of the names; also reads type and shape"),
    (r"Save/.*", r"limit", "checks, opens and closes nothing"),
    (r"Save/.*", r"peer:hdf5", "opens and closes nothing"),
    (r"LogLine.*", r"limit", "writes the same bytes each time, without time stamp and formatting"),
    (r"LogLine.*", r"peer:spdlog", "a sink with a lock, like the library's"),
    (r"LogLine", r"peer:spdlog-st", "a sink without a lock"),
    (r"LogLine", r"peer:glog", "writes a prefix of its own"),
    (r"Stamp/.*", r"limit", "computes no calendar date"),
    (r"Stamp/.*", r"peer:date-fmt-compiled", "with a format that is compiled at build time"),
    (r"Question/.*", r"limit", "cat to /dev/null, which looks at no byte"),
    (r"Tool/list.*", r"peer:walk", "a program that reads the file and prints the same fields, without checks"),
    (r"Tool/recover.*", r"limit or cp", "looks at no byte"),
    (r"Tool/.*", r"od or xxd", "prints the same words or bytes, in a similar layout"),
    (r"Question/cut", r"peer:cp", "copies a file of just these samples; cut also walks the sections of what it wrote"),
    (r"Python/read/.*", r"peer:h5py", "a contiguous data set, opened once, like all files of these rows"),
    (r"Python/read/.*", r"peer:memmap", "copies from mapped memory, which ends the process if the file is cut"),
    (r"Page/first picture", r"limit", "cat to /dev/null; the page's time has the start of the server and a browser in it"),
    (r"Python/.*", r"peer:numpy", "the expression with which numpy computes the same array"),
    (r"Question/.*", r"peer:grep", "finds four bytes wherever they begin, not only in samples"),
)


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
            is_real = threads > 1 or "/manual_time" in result["run_name"]
            time = result["real_time" if is_real else "cpu_time"] * NANOSECONDS[result["time_unit"]]
            times[work][participant].append(time)
    for failure in sorted(failures):
        print(failure, file=sys.stderr)
    return times


def run_python(program, options):
    """The same for the benchmarks of the Python package, which print them. Uses /usr/bin/python3, as the package does."""
    command = ["taskset", "-c", str(max(os.sched_getaffinity(0))), "/usr/bin/python3", program,
               f"--repetitions={options.repetitions}", f"--filter={options.filter}"]
    return json.loads(subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout)


def run_page(program, tool, options):
    """The same for the page, in a browser, on all cores."""
    command = ["node", program, tool, f"--repetitions={options.repetitions}", f"--filter={options.filter}"]
    return json.loads(subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout)


def shown(nanoseconds):
    for unit in ("ns", "us", "ms"):
        if nanoseconds < 1000:
            return f"{nanoseconds:.3g} {unit}"
        nanoseconds /= 1000
    return f"{nanoseconds:.3g} s"


def shown_with_goal(work, nanoseconds):
    """The time, and its goal if there is one."""
    goal = first_match(TIME_GOALS, work, "library")
    if goal is None:
        return shown(nanoseconds)
    text = f"{shown(nanoseconds)} {'<=' if nanoseconds <= goal else '>'} {shown(goal)}"
    return text if nanoseconds <= goal else f"**{text}**"


def first_match(table, work, participant):
    for works, participants, value in table:
        if re.fullmatch(works, work) and re.fullmatch(participants, participant):
            return value
    return None


def ratio(values, others):
    """The ratio of the medians, and the quartiles of the ratios of the repetitions."""
    single = [value / other for value, other in zip(values, others)]
    low, _, high = statistics.quantiles(single, n=4, method="inclusive") if len(single) > 1 else single * 3
    return statistics.median(values) / statistics.median(others), low, high


def compared(work, library, name, values):
    """The cell of the table for one participant: the ratio with its spread, and its goal."""
    of, low, high = ratio(library, values)
    text = f"{of:.2f} ({low:.2f} to {high:.2f})"
    goal = first_match(GOALS, work, name)
    if goal is None:
        return text
    return f"{text} <= {goal:g}" if of <= goal else f"**{text} > {goal:g}**"


def rows(times):
    """A row for each work."""
    table = []
    for work, participants in times.items():
        library = participants.get("library")
        if work.startswith("Growth/") or not library:
            continue
        cells = {name: compared(work, library, name, values)
                 for name, values in participants.items() if name != "library" and values}
        peers = [f"{name.removeprefix('peer:')} {text}" for name, text in cells.items() if name.startswith("peer:")]
        table.append([work, shown_with_goal(work, statistics.median(library)), cells.get("limit", ""), "; ".join(peers)])
    return table


def growth(times):
    """A row for each size, with how many times what the smallest one takes."""
    table = []
    first = {}
    for work, participants in times.items():
        if work.startswith("Growth/") and participants.get("library"):
            what, size = work.split("/")[1:]
            median = statistics.median(participants["library"])
            table.append([f"{what}: {int(size):,}", shown(median), f"{median / first.setdefault(what, median):.2f}"])
    return table


def table_text(header, table):
    lines = [header] + table
    widths = [max(len(line[column]) for line in lines) for column in range(len(header))]
    lines.insert(1, ["-" * width for width in widths])
    return "".join("| " + " | ".join(cell.ljust(width) for cell, width in zip(line, widths)) + " |\n" for line in lines)


def misses(times):
    """A line for each goal that is not met, with the figure and the reason."""
    for work, participants in times.items():
        library = participants.get("library")
        limit = first_match(TIME_GOALS, work, "library")
        if library and limit is not None and statistics.median(library) > limit:
            yield f"- {work}: {shown(statistics.median(library))}, the goal is {shown(limit)}: not explained.\n"
        for name, values in participants.items():
            goal = first_match(GOALS, work, name)
            if library and values and goal is not None and ratio(library, values)[0] > goal:
                yield (f"- {work}: {ratio(library, values)[0]:.2f} times {name.removeprefix('peer:')}, "
                       f"the goal is {goal:g}: {first_match(REASONS, work, name) or 'not explained'}.\n")


def machine():
    model = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    return f"{os.cpu_count()} cores" + (f" of {model[1]}" if model else "")


def report(times, options):
    """The text of all results."""
    text = []
    if table := rows(times):
        text += [table_text(["work", "library", "of the limit", "of the peers"], table),
                 f"\nMedians of {options.repetitions} repetitions. A ratio is that of two medians. In parentheses is "
                 "the middle half of the repetitions' ratios; the ratio can lie outside it. The goal follows with <= "
                 "or >; bold ratios miss it.\n"]
        if missed := list(misses(times)):
            text += ["\nGoals not met, and why:\n\n"] + missed
        text += ["\nWhat makes a comparison unequal:\n\n"]
        text += [f"- {works.split('/')[0].removesuffix('.*')}, {name.removeprefix('peer:')}: {note}.\n"
                 for works, name, note in NOTES]
    if grown := growth(times):
        text += ["\n", table_text(["size", "time of a call", "relative to the first"], grown),
                 '\n"samples" reads one sample of a sparse plain file of this many; "sections" looks up the last of '
                 'this many.\n']
    return "".join(text)


def replace_block(path, text):
    """Replaces what stands between the two marks of the file."""
    begin, end = "<!-- measured: written by ./bench.sh --markdown -->\n", "<!-- end of measured -->\n"
    head, rest = path.read_text().split(begin)
    path.write_text(head + begin + text + end + rest.split(end)[1])


def write_documents(times, options):
    measured = f"Measured on {datetime.date.today():%d %B %Y}, on {machine()}.\n\n"
    replace_block(ROOT / "docs" / "performance.md", measured + report(times, options))
    first = [row for work in FIRST_ROWS for row in rows({work: times.get(work, {})})]
    replace_block(ROOT / "README.md", table_text(["work", "library", "of the limit", "of the peers"], first))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program", help="the benchmarks")
    parser.add_argument("python", help="those of the Python package")
    parser.add_argument("page", help="those of the page")
    parser.add_argument("--repetitions", type=int, default=7)
    parser.add_argument("--min-time", type=float, default=0.05, help="seconds of a repetition")
    parser.add_argument("--filter", default=".", help="regular expression for the names of benchmarks to run")
    parser.add_argument("--markdown", action="store_true", help="write docs/performance.md and the README's rows too")
    options = parser.parse_args()
    tool = pathlib.Path(options.program).with_name("orm-trace")
    times = (run(options.program, options) | run_python(options.python, options)
             | run_page(options.page, tool, options))
    text = report(times, options)
    print(text, end="")
    if options.markdown and text:
        write_documents(times, options)
    return 0 if text else 1


if __name__ == "__main__":
    sys.exit(main())
