"""What the results come to: lines, tables, goals and results.json."""
import datetime
import json
import os
import platform
import re
import subprocess

from measure import BEST, OURS, figures_of, is_of_caches

# What we aim at: (workload, kind, peer, our time ÷ the peer's at most). `alloc` compares numbers of blocks.
GOALS = [
    ("W1", "read", "simdjson", 0.65), ("W2", "read", "simdjson", 0.45), ("W4a", "read", "simdjson", 0.35),
    ("W4b", "read", "simdjson", 1.5), ("W1x256", "read", "simdjson", 0.65), ("W2shuffled", "read", "simdjson", 0.8),
    ("W2x10MB", "read", "simdjson", 0.5), ("W2x100MB", "read", "simdjson", 0.7),
    ("W1", "write", "rapidjson", 0.25), ("W2", "write", "rapidjson", 0.28), ("W4a", "write", "rapidjson", 0.25),
    ("W4b", "write", "rapidjson", 0.35), ("W1x256", "write", "rapidjson", 0.3),
    ("W1", "tree", "simdjson-dom", 2.5), ("W2", "tree", "simdjson-dom", 2.5),
    ("W1", "read", "rttr", 0.12), ("W2", "read", "rttr", 0.12), ("W1", "write", "rttr", 0.15),
    ("W2", "write", "rttr", 0.15),
    ("W1", "read", "qt", 0.05), ("W2", "read", "qt", 0.05), ("W4a", "read", "qt", 0.08), ("W4b", "read", "qt", 0.08),
    ("W1", "write", "qt", 0.02), ("W2", "write", "qt", 0.02), ("W1", "tree", "qt", 0.25), ("W2", "tree", "qt", 0.25),
    ("W2", "alloc", "simdjson", 0.1),
    ("threads8", "read", "one-thread", 1 / 1.8),
    ("queue", "async", "asio", 1.3), ("queue", "async", "glib", 0.9),
    ("mainqueue", "hop", "asio", 1.3), ("mainqueue", "hop", "glib", 0.9),
]
# (workload, kind, what that is, nanoseconds at most): what is held against no peer.
LIMITS = [
    ("timers", "1-10s", "of each second, by 10,000 timers of 1 to 10 s", 10e6),
    ("timers", "10-100ms", "of each second, by 10,000 timers of 10 to 100 ms", 250e6),
    ("timers", "late", "beyond the leeway, of 99 firings in 100", 1e6),
    ("log", "untaken", "a log line that nobody takes", 20),
]
CACHES = ["lru%s%s%s" % (entries, keys, threads) for entries in ("1000", "1000000") for keys in ("fresh", "reused")
          for threads in ("", "x4")]
CACHE_KINDS = ("hit", "miss", "mixed", "evict")
GOALS += [(workload, kind, BEST, 0.9) for workload in CACHES for kind in CACHE_KINDS]
# The memory that reading W2 takes at most, in lengths of the text.
PEAK_GOAL = 3.0

# In the order of tables and charts.
NAMES = {
    OURS: "KVTFoundation", "simdjson": "simdjson, mapped by hand",
    "simdjson-native": "simdjson, for this processor", "simdjson-dom": "simdjson's tree",
    "rapidjson": "RapidJSON", "boost-json": "Boost.JSON", "nlohmann": "nlohmann", "rttr": "RTTR", "qt": "Qt 6",
    "poco": "Poco", "std": "the standard library", BEST: "the quickest of them",
    "by-hand": "structs, by hand", "memcpy": "copying the text", "asio": "Asio", "glib": "GLib",
}
# Kinds in the order of tables; others follow.
KINDS = ("read", "write", "tree", "copy", "hash", "equal", "archive", "unarchive")


def digits(value):
    """Three significant ones, and all of an integer part."""
    return "%.*f" % (max(0, 2 - len(str(int(value))) + 1), value)


def time_text(ns):
    for unit, size in (("ms", 1e6), ("µs", 1e3)):
        if ns >= size:
            return digits(ns / size) + " " + unit
    return digits(ns) + " ns"


def count_text(blocks):
    return "%d" % blocks if blocks == int(blocks) else "%.1f" % blocks


def in_order(figures):
    known = list(NAMES)
    return sorted(figures, key=lambda who: (known.index(who) if who in known else len(known), who))


def ratios(results):
    """(workload, kind, peer, ratio) of everything that has a peer."""
    found = []
    for workload, kinds in results.times.items():
        for kind, figures in kinds.items():
            found += [(workload, kind, who, results.ratio(workload, kind, who))
                      for who in in_order(figures) if who != OURS and OURS in figures]
    for workload, kinds in results.blocks.items():
        found += [(workload, "alloc", who, results.ratio(workload, "alloc", who))
                  for who in in_order(kinds.get("read", {})) if who != OURS]
    return [each for each in found if each[3] is not None]


def text_sizes(folder, results):
    return {workload: os.path.getsize(os.path.join(folder, "data", workload + ".json")) for workload in results.peaks}


def scalings(results):
    """(workload, kind, who, how many times the work of one thread eight threads do)."""
    return [(workload, kind, who, figures_of(figures["one-thread"])["ns"] / figures_of(times)["ns"])
            for workload, kinds in results.times.items() for kind, figures in kinds.items() if "one-thread" in figures
            for who, times in figures.items() if who != "one-thread"]


def lines(results, sizes):
    """What ./bench prints."""
    yield "%-16s %-6s %-13s %9s %6s %9s" % ("workload", "kind", "who", "time", "cv", "ours ÷ it")
    for workload, kinds in results.times.items():
        for kind, figures in kinds.items():
            for who in in_order(figures):
                one = figures_of(figures[who])
                ratio = results.ratio(workload, kind, who) if who != OURS else None
                yield "%-16s %-6s %-13s %9s %5.1f%% %9s" % (workload, kind, who, time_text(one["ns"]), 100 * one["cv"],
                                                            "%.3f" % ratio if ratio else "")
    yield ""
    for workload, kinds in results.blocks.items():
        for kind, figures in kinds.items():
            for who in in_order(figures):
                yield "allocations %s %s %s: %s blocks, at most %.0f bytes at once" % (
                    workload, kind, who, count_text(figures[who]), results.heap[workload][kind][who])
    yield ""
    for each in ratios(results):
        yield "ratio %s %s %s %.3f" % each
    for workload, kinds in results.peaks.items():
        for kind, figures in kinds.items():
            for who in in_order(figures):
                yield "peak %s %s %s %.2f" % (workload, kind, who, figures[who] / sizes[workload])
    for each in scalings(results):
        yield "scaling %s %s %s %.2f" % each
    yield ""
    for workload, kind, peer, most in GOALS:
        ratio = results.ratio(workload, kind, peer)
        if ratio is not None:
            yield "goal %s %s %s ≤ %.3g: %.3f, %s" % (workload, kind, peer, most, ratio, verdict(ratio, most))
    for workload, kind, what, most in LIMITS:
        ours = ours_ns(results, workload, kind)
        if ours is not None:
            yield "goal %s %s (%s) ≤ %s: %s, %s" % (workload, kind, what, time_text(most), time_text(ours), verdict(ours, most))


def ours_ns(results, workload, kind):
    times = results.times.get(workload, {}).get(kind, {}).get(OURS)
    return figures_of(times)["ns"] if times else None


def verdict(value, most):
    return "met" if value <= most else "missed"


# ---- what stays in the tree -------------------------------------------------------------------------------------------


def circumstances(folder):
    """When, with what and on what kind of machine; nothing that names one."""
    with open(os.path.join(folder, "..", "CMakeCache.txt")) as cache:
        compiler = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", cache.read(), re.M).group(1)
    version = subprocess.run([compiler, "--version"], capture_output=True, text=True, check=True).stdout.splitlines()[0]
    number = re.search(r"\d+\.\d+\.\d+", version).group(0)
    with open("/proc/cpuinfo") as info:
        virtual = "hypervisor" in info.read()
    return {"date": datetime.date.today().isoformat(),
            "compiler": ("clang " if "clang" in version else "g++ ") + number + " -O3",
            "machine": "%d-core %s %s" % (os.cpu_count(), platform.machine().replace("_", "-"),
                                          "virtual machine" if virtual else "machine")}


def as_json(results, sizes, where):
    def rounded(table, digits):
        return {workload: {kind: {who: round(value, digits) for who, value in figures.items()}
                           for kind, figures in kinds.items()} for workload, kinds in table.items()}

    times = {workload: {kind: {who: {"ns": round(figures_of(all_)["ns"], 1), "cv": round(figures_of(all_)["cv"], 4)}
                               for who, all_ in figures.items()}
                        for kind, figures in kinds.items()} for workload, kinds in results.times.items()}
    found = {}
    for workload, kind, peer, ratio in ratios(results):
        found.setdefault(workload, {}).setdefault(kind, {})[peer] = round(ratio, 4)
    return json.dumps(dict(where, times=times, ratios=found, blocks=rounded(results.blocks, 3),
                           heap=rounded(results.heap, 0), peaks=results.peaks, text_bytes=sizes), indent=1) + "\n"


def table(head, rows):
    yield "| " + " | ".join(head) + " |"
    yield "|" + "---|" * len(head)
    for row in rows:
        yield "| " + " | ".join(row) + " |"


def goals_section(results, sizes, where):
    rows = []
    for workload, kind, peer, most in GOALS:
        ratio = results.ratio(workload, kind, peer)
        if ratio is None or is_of_caches(workload):
            continue
        if peer == "one-thread":
            rows.append((workload, kind, "one thread", "≥ %.2g × its work" % (1 / most), "%.2f ×" % (1 / ratio),
                         verdict(ratio, most)))
        else:
            rows.append((workload, "blocks of a read" if kind == "alloc" else kind, NAMES[peer], "≤ %.3g" % most,
                         "%.2f" % ratio, verdict(ratio, most)))
    for workload, kind, what, most in LIMITS:
        ours = ours_ns(results, workload, kind)
        if ours is not None:
            rows.append((workload, kind, what, "≤ " + time_text(most), time_text(ours), verdict(ours, most)))
    ours = results.peaks["W2"]["read"][OURS] / sizes["W2"]
    rows.append(("W2", "peak memory of a read", "the text", "< %.3g ×" % PEAK_GOAL, "%.2f ×" % ours, verdict(ours, PEAK_GOAL)))
    yield "%s, %s, %s." % (where["date"], where["compiler"], where["machine"])
    yield ""
    yield from table(("workload", "what", "beside", "goal", "measured", ""), rows)


def times_section(results):
    kinds = {kind for figures in results.times.values() for kind in figures}
    for kind in sorted(kinds, key=lambda each: (KINDS.index(each) if each in KINDS else len(KINDS), each)):
        workloads = [each for each in results.times if OURS in results.times[each].get(kind, {}) and
                     not each.startswith("threads") and not is_of_caches(each)]
        if not workloads:  # it is one of peers alone
            continue
        peers = in_order({who for workload in workloads for who in results.times[workload][kind]})
        yield "**%s**" % kind.capitalize()
        yield ""
        yield from table([""] + workloads, [
            [NAMES.get(who, who)] + [time_text(figures_of(results.times[each][kind][who])["ns"])
                                     if who in results.times[each][kind] else "" for each in workloads] for who in peers])
        yield ""
    noise = sorted(figures_of(times)["cv"] for kinds in results.times.values() for figures in kinds.values()
                   for times in figures.values())
    yield "Coefficient of variation over the rounds: %.1f %% at the median figure, %.1f %% at the ninth decile." % (
        100 * noise[len(noise) // 2], 100 * noise[len(noise) * 9 // 10])


def caches_section(results):
    """Each operation's time, and what part it is of the quickest peer's."""
    yield from table([""] + list(CACHE_KINDS), [
        [workload] + ["%s: %.2f" % (time_text(figures_of(results.times[workload][kind][OURS])["ns"]),
                                    results.ratio(workload, kind, BEST)) for kind in CACHE_KINDS]
        for workload in CACHES if OURS in results.times.get(workload, {}).get(CACHE_KINDS[0], {})])
    ratios_of_all = [results.ratio(workload, kind, BEST) for workload in CACHES for kind in CACHE_KINDS]
    yield ""
    yield "Goal: 0.9 of the quickest in each; met in %d of %d." % (
        sum(each is not None and each <= 0.9 for each in ratios_of_all), len(ratios_of_all))


def memory_section(results, sizes):
    workloads = [each for each in results.blocks if "read" in results.blocks[each] and OURS in results.blocks[each]["read"]]
    peers = in_order({who for workload in workloads for who in results.blocks[workload]["read"] if who != "memcpy"})
    yield "Blocks that a read takes:"
    yield ""
    yield from table([""] + workloads, [[NAMES.get(who, who)] + [count_text(results.blocks[each]["read"][who])
                                                                 if who in results.blocks[each]["read"] else ""
                                                                 for each in workloads] for who in peers])
    yield ""
    yield "The most memory that a read takes beyond the text, in lengths of the text:"
    yield ""
    peaks = list(results.peaks)
    peers = in_order({who for workload in peaks for who in results.peaks[workload]["read"]})
    yield from table([""] + peaks, [[NAMES.get(who, who)] + ["%.2f" % (results.peaks[each]["read"][who] / sizes[each])
                                                             if who in results.peaks[each]["read"] else ""
                                                             for each in peaks] for who in peers])
    yield ""
    yield "Eight threads, as a multiple of one thread's work: " + ", ".join(
        "%s %s %.2f" % (NAMES[who], kind, value) for _, kind, who, value in scalings(results)) + "."


def paste(path, sections):
    """Puts each section between its markers in a document."""
    with open(path, encoding="utf-8") as file:
        text = file.read()
    for name, content in sections.items():
        begin, end = "<!-- bench: %s -->\n" % name, "<!-- bench: end -->"
        start = text.index(begin) + len(begin)
        text = text[:start] + "\n" + "\n".join(content).rstrip() + "\n\n" + text[text.index(end, start):]
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)
