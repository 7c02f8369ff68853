"""Runs the benchmark programs and collects what they say."""
import json
import os
import re
import statistics
import subprocess
import sys

OURS = "kvt"
BEST = "best"  # whichever peer is the quickest


class Failure(Exception):
    pass


def figures_of(times):
    return {"ns": statistics.median(times),
            "cv": statistics.stdev(times) / statistics.mean(times) if len(times) > 1 and any(times) else 0.0}


def is_about_threads(workload):
    return workload.startswith(("threads", "queue", "mainqueue", "timers")) or workload.endswith("x4")


def is_of_caches(workload):
    return workload.startswith("lru")


class Programs:
    """The programs of a build, and who measures which workload in them."""

    def __init__(self, folder):
        self.folder = folder
        self.suites = {}  # program → [(who, workload)]
        programs = os.path.join(folder, "programs")
        for name in sorted(os.listdir(programs)):
            path = os.path.join(programs, name)
            self.suites[path] = [tuple(line.split("/")) for line in self._output([path, "--list"]).splitlines()]

    def workloads(self, wanted):
        """Those whose name matches, in the order in which they are registered."""
        names = dict.fromkeys(workload for suites in self.suites.values() for _, workload in suites)
        return [each for each in names if re.search(wanted, each)]

    def with_workload(self, workload):
        return [program for program, suites in self.suites.items() if any(each == workload for _, each in suites)]

    def time(self, program, workload, seconds):
        """Google Benchmark's report. On one processor, unless threads are the matter."""
        pin = [] if is_about_threads(workload) else ["taskset", "-c", str(max(os.sched_getaffinity(0)))]
        # What belongs to no workload runs for seconds, and caches are many workloads.
        only = ["--benchmark_filter=/lru"] if is_of_caches(workload) else []
        return json.loads(self._output(pin + [program, "--workload=" + workload, "--benchmark_format=json",
                                              "--benchmark_min_time=%g" % seconds] + only))

    def allocations(self, program, workload):
        """[{who, kind, blocks, peak}] of one operation each."""
        counter = os.path.join(self.folder, "libbench_allocations.so")
        return json.loads(self._output([program, "--workload=" + workload, "--allocations"], LD_PRELOAD=counter))

    def peak(self, program, workload, name):
        return int(self._output([program, "--workload=" + workload, "--peak=" + name]))

    @staticmethod
    def _output(command, **environment):
        result = subprocess.run(command, capture_output=True, text=True, env=dict(os.environ, **environment))
        if result.returncode != 0:
            raise Failure("%s failed:\n%s" % (" ".join(command), result.stderr))
        return result.stdout


class Results:
    """times[workload][kind][who]: ns of each round; blocks and heap likewise, of one operation; peaks in bytes."""

    def __init__(self):
        self.times = {}
        self.blocks = {}
        self.heap = {}
        self.peaks = {}
        self.digests = {}  # [workload][who/what]
        self.programs = {}  # [workload][kind][who]

    def measured_by(self, program, workload, kind):
        return [who for who, each in self.programs[workload].get(kind, {}).items() if each == program]

    def add_report(self, program, workload, report):
        for each in report["benchmarks"]:
            if each.get("error_occurred"):
                raise Failure("%s: %s" % (each["name"], each["error_message"]))
            if each["time_unit"] != "ns":
                raise Failure("%s: time in %s" % (each["name"], each["time_unit"]))
            who, _, kind = each["name"].split("/")[:3]
            # The processor's time is disturbed less than the clock's; of threads, the clock's is what counts.
            time = each["real_time" if re.search("/(real|manual)_time", each["name"]) else "cpu_time"] / each.get("parts", 1)
            self._put(self.times, workload, kind).setdefault(who, []).append(time)
            self._put(self.programs, workload, kind)[who] = program
        for name, value in report["context"].items():
            if name.startswith("digest/"):
                who, _, what = name[len("digest/"):].split("/")
                self.digests.setdefault(workload, {})[who + "/" + what] = value

    def add_allocations(self, workload, report):
        for each in report:
            self._put(self.blocks, workload, each["kind"])[each["who"]] = each["blocks"]
            self._put(self.heap, workload, each["kind"])[each["who"]] = each["peak"]

    def add_peak(self, workload, kind, who, value):
        self._put(self.peaks, workload, kind)[who] = value

    def check_digests(self, expected):
        """All must have read and written the same; what it must be is known of most workloads."""
        for workload, found in self.digests.items():
            want = expected.get(workload) or next(iter(found.values()))
            for name, value in found.items():
                if value != want:
                    raise Failure("%s of %s is other data than it should be: digest %s, not %s" % (name, workload, value, want))

    def ratio(self, workload, kind, peer):
        """Our time ÷ the peer's: the median over the rounds, in each of which both ran shortly after each other. `alloc`
        is the number of blocks that reading takes, `BEST` the quickest peer. None where one of the two is missing."""
        if kind == "alloc":
            blocks = self.blocks.get(workload, {}).get("read", {})
            return blocks[OURS] / blocks[peer] if OURS in blocks and blocks.get(peer) else None
        times = self.times.get(workload, {}).get(kind, {})
        if peer == BEST:
            peer = min((each for each in times if each != OURS), key=lambda each: statistics.median(times[each]), default=None)
        if OURS not in times or peer not in times:
            return None
        return statistics.median(ours / peers for ours, peers in zip(times[OURS], times[peer]))

    @staticmethod
    def _put(table, workload, kind):
        return table.setdefault(workload, {}).setdefault(kind, {})


def measure(folder, wanted, quick):
    programs = Programs(folder)
    results = Results()
    workloads = programs.workloads(wanted)
    if not workloads:
        raise Failure("no workload's name matches %s" % wanted)
    for number, workload in enumerate(workloads, 1):
        print("    %2d of %d  %s" % (number, len(workloads), workload), file=sys.stderr, flush=True)
        taking_part = programs.with_workload(workload)
        large = workload.startswith(("W2x", "lru1000000"))
        rounds = 2 if quick else 3 if workload.startswith(("W2x", "timers")) else 7 if large else 11
        for round_ in range(rounds):
            # Nobody always runs behind the same neighbour.
            first = round_ % len(taking_part)
            for program in taking_part[first:] + taking_part[:first]:
                results.add_report(program, workload, programs.time(program, workload, 0.02 if quick else 0.05))
        if is_about_threads(workload) or is_of_caches(workload):
            continue
        for program in taking_part:
            if not large:
                results.add_allocations(workload, programs.allocations(program, workload))
            for who in results.measured_by(program, workload, "read"):
                if workload in ("W2", "W2x10MB") and who != "memcpy":
                    results.add_peak(workload, "read", who, programs.peak(program, workload, who + "/read"))
    with open(os.path.join(folder, "data", "digests.txt")) as file:
        results.check_digests(dict(line.split() for line in file))
    return results
