#!/usr/bin/python3
"""A model of how transforms scale on machines of many cores and one or several nodes.

    bench/scaling/scaling.py build/bench/scaling/lyra-replay        # all tables
    bench/scaling/scaling.py REPLAY --machine 2x64 --node-bandwidth 200 ocf4096x4096
    bench/scaling/scaling.py REPLAY --compare                       # on this machine
    bench/scaling/scaling.py REPLAY --write docs/scaling.md         # its tables anew
    bench/scaling/scaling.py build-arm/bench/scaling/lyra-replay --record \\
        build-arm/bench/scaling/trace_plugin.so                     # counts.tsv anew

How a problem is cut into chunks, how many threads a plan gets, and which processors each is bound
to is what the library does: lyra-replay asks it. What chunks and the pool take was counted in the
emulator and is kept in counts.tsv. Rates and bandwidths are assumptions: MACHINES and COSTS.
"""

import argparse
import collections
import os
import re
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
COUNTS = os.path.join(HERE, "counts.tsv")
EMULATOR = ["qemu-aarch64", "-plugin", "{plugin}", "-cpu", "max,sve=off", "-L",
            "/usr/aarch64-linux-gnu"]

PROBLEMS = {"ocf1024*1000": "1000 x 1024", "ocf4096x4096": "4096 x 4096",
            "ocf512x512x512": "512 x 512 x 512", "ocf1048576": "2^20", "ocf16777216": "2^24"}
THREADS = [1, 2, 4, 8, 16, 32, 48, 64, 96, 128, 192]
FEW_THREADS = [t for t in THREADS if t >= 8]  # for what takes too long to count with fewer
POOL_THREADS = [2, 4, 8, 16, 32, 48, 49, 64]
POOL_PROCESSORS = [8, 64]
CACHE_KIB = 1024  # of the emulator's model of a core's own cache
LINE = 64
CACHE_SHARE = 0.75  # of the shared cache that arrays may fill before they count as being in memory
LARGE_POOL = 49  # from so many threads on workers sleep as soon as they have nothing to do

# Assumptions. GHz; instructions per cycle in transforms; GB/s that one core exchanges with memory,
# exchanges with memory, and with a cache that cores share; GB/s of a node's memory, and from one
# node to another; MiB and GB/s of a node's shared cache.
Machine = collections.namedtuple(
    "Machine", "nodes cores ghz ipc core_bandwidth core_cache_bandwidth node_bandwidth "
    "link_bandwidth cache cache_bandwidth")
MACHINES = {
    "1x64": Machine(1, 64, 2.5, 2.0, 15, 25, 150, 40, 32, 400),
    "1x128": Machine(1, 128, 3.0, 2.0, 15, 25, 150, 40, 32, 400),
    "2x64": Machine(2, 64, 2.5, 2.0, 15, 25, 150, 40, 32, 400),
    "2x96": Machine(2, 96, 2.7, 4.0, 30, 50, 400, 100, 48, 1000),
    "4x48": Machine(4, 48, 2.5, 2.0, 15, 25, 80, 25, 24, 300),
}
# Assumptions too. Seconds for a cache line from another core, on the same node and on another one;
# for the kernel to wake a thread, and until it runs; instructions per cycle in the pool.
Costs = collections.namedtuple("Costs", "line far_line wake woken pool_ipc")
COSTS = Costs(60e-9, 150e-9, 1.5e-6, 5e-6, 1.0)


class ScalingError(Exception):
    """The text is one line."""


def output_of(command):
    """(stdout, stderr)."""
    try:
        result = subprocess.run(command, capture_output=True, text=True, timeout=3600)
    except (OSError, subprocess.TimeoutExpired) as error:
        raise ScalingError(str(error)) from error
    if result.returncode:
        raise ScalingError(f"{' '.join(command)}: status {result.returncode}: "
                           f"{result.stderr.strip()[-300:]}")
    return result.stdout, result.stderr


# ---- Counting in the emulator -------------------------------------------------------------------

Mark = collections.namedtuple("Mark", "what numbers own others lines calls")
FUTEX, YIELD = 98, 124


def marks_of(replay, plugin, arguments):
    """(facts, marks) of a program under the emulator."""
    command = [part.format(plugin=plugin) for part in EMULATOR]
    out, err = output_of([*command, replay, *map(str, arguments)])
    counts = {}
    for line in err.splitlines():
        if not line.startswith("mark "):
            continue
        words = line.split()
        calls = {int(n): (int(own), int(others))
                 for n, own, others in (word.split(":") for word in words[13:])}
        counts[int(words[1])] = (int(words[3]), int(words[4]), tuple(map(int, words[6:12])), calls)
    facts, marks = {}, []
    for line in out.splitlines():
        words = line.split()
        if words[0].isdigit():
            # Numbers of marks are used anew in the second execution: the last one counts.
            marks.append(Mark(words[1], tuple(map(int, words[2:7])), *counts[int(words[0])]))
        else:
            facts[words[0]] = words[1]
    return facts, marks


def count_runs(replay, plugin, problem, threads):
    """Rows of an execution: (run, n, chunk, count, which chunk, instructions, lines), and
    facts."""
    facts, marks = marks_of(replay, f"{plugin},cache={CACHE_KIB}", ["runs", problem, threads])
    overhead = marks[1].own - marks[0].own
    rows, runs = [], 0
    alone = [0] * 7  # outside of chunks
    shape = None
    for before, after in zip(marks[1:], marks[2:]):
        took = [after.own - before.own, *(b - a for a, b in zip(before.lines, after.lines))]
        if before.what == "run":
            runs += 1
            if shape:
                raise ScalingError(f"{problem}: runs within runs")
            shape = before.numbers
        if before.what == "chunk":
            n, _, _, chunk, count = shape
            which = "last" if before.numbers[0] == count - 1 else "first"
            rows.append((runs, n, chunk, count, which, took[0] - overhead, *took[1:]))
            if after.what != "chunk_end":
                raise ScalingError(f"{problem}: runs within runs")
        else:
            alone = [a + b for a, b in zip(alone, took)]
        if before.what == "run_end":
            shape = None
    if not runs:
        rows.append((0, 1, 1, 1, "last", *alone))
    return rows, facts


def pool_run(name, marks):
    """The last run of the pool of that name: instructions of the caller to begin and to hand over
    to all workers, and to collect them and to end; its calls of the kernel meanwhile; how often it
    read the clock while it waited."""
    overhead = marks[1].own - marks[0].own
    first = max(k for k, mark in enumerate(marks) if mark.what == name and mark.numbers[0] == 0)
    begin, handed, join, end = marks[first:first + 4]

    def calls(a, b):
        return sum(own - a.calls.get(number, (0, 0))[0] for number, (own, _) in b.calls.items())

    return [handed.own - begin.own - overhead, end.own - join.own - overhead,
            calls(begin, handed), calls(join, end), end.numbers[1]]


POOL_HEAD = "pool processors threads state hand_over collect calls_hand_over calls_collect clock"
HEAD = ("problem threads bytes binding run n chunk count which instructions fetched stored written "
        "far_fetched far_stored far_written")


def record_pool(replay, plugin):
    for processors in POOL_PROCESSORS:
        for threads in POOL_THREADS:
            _, marks = marks_of(replay, plugin, ["pool", threads, processors])
            for state in ("first", "awake", "asleep", "moved", "waiting"):
                if any(mark.what == state for mark in marks):
                    yield "pool", processors, threads, state, *pool_run(state, marks)


def record_problem(replay, plugin, problem):
    for threads in FEW_THREADS if problem == "ocf512x512x512" else THREADS:
        rows, facts = count_runs(replay, plugin, problem, threads)
        size = int(facts["arrays"]) + int(facts["scratch"])
        for row in rows:
            yield problem, threads, size, facts["binding"], *row
        print(problem, threads, file=sys.stderr)


def record(replay, plugin, names):
    """Counts those problems, or "pool", anew; others stay as they are."""
    known = collections.defaultdict(list)
    if os.path.exists(COUNTS):
        with open(COUNTS, encoding="utf-8") as file:
            for line in file:
                known[line.split("\t")[0]].append(line)
    for name in names:
        rows = (record_pool(replay, plugin) if name == "pool" else
                record_problem(replay, plugin, name))
        known[name] = ["\t".join(map(str, row)) + "\n" for row in rows]
    version = re.search(r"version ([\d.]+)", output_of([EMULATOR[0], "--version"])[0])[1]
    with open(COUNTS, "w", encoding="utf-8") as file:
        print("# written by bench/scaling/scaling.py --record", file=file)
        print(f"# {time.strftime('%Y-%m-%d', time.gmtime())}, qemu-user {version}, own cache "
              f"{CACHE_KIB} KiB", file=file)
        others = sorted({name for name in known if name[0] != "#"} - {"pool", *PROBLEMS})
        for head, keys in ((POOL_HEAD, ["pool"]), (HEAD, [*PROBLEMS, *others])):
            print(*(f"# {head}".split(" ")), sep="\t", file=file)
            for key in keys:
                file.writelines(known[key])


# Lines that enter and leave the core's own cache, and those that enter and leave the shared one.
Chunk = collections.namedtuple(
    "Chunk", "instructions fetched stored written far_fetched far_stored far_written")
Run = collections.namedtuple("Run", "n chunk count first last")
Trace = collections.namedtuple("Trace", "size binding runs")


def read_counts():
    """({(problem, threads): Trace}, {(processors, threads, state): [..]})."""
    rows, pool = collections.defaultdict(dict), {}
    sizes = {}
    with open(COUNTS, encoding="utf-8") as file:
        for line in file:
            words = line.split()
            if words[0] == "#":
                continue
            if words[0] == "pool":
                pool[int(words[1]), int(words[2]), words[3]] = list(map(int, words[4:]))
                continue
            key = words[0], int(words[1])
            sizes[key] = int(words[2]), words[3]
            run = rows[key].setdefault(int(words[4]), {})
            run["shape"] = tuple(map(int, words[5:8]))
            run[words[8]] = Chunk(*map(int, words[9:16]))
    traces = {key: Trace(*sizes[key], [Run(*run["shape"], run.get("first"), run["last"])
                                       for _, run in sorted(runs.items())])
              for key, runs in rows.items()}
    for problem, threads in list(traces):
        # So that each run of one thread takes its own time too.
        if threads == FEW_THREADS[0] and len(traces[problem, threads].runs) > 1:
            traces[problem, 1] = all_in_one(traces[problem, threads])
    return traces, pool


def all_in_one(trace):
    """One thread does what several did."""
    runs = []
    for run in trace.runs:
        chunks = [run.first] * (run.count - 1) + [run.last]
        runs.append(Run(run.n, run.n, 1, None, Chunk(*map(sum, zip(*chunks)))))
    return trace._replace(runs=runs)


# ---- Placement ----------------------------------------------------------------------------------

class Placement:
    """Nodes of the caller, on processor 0, and of its workers. Where the kernel may choose among
    several processors it is assumed to take one that nobody has; where it may choose among nodes,
    to fill them evenly."""
    known = {}

    def __init__(self, replay, nodes, cores, policy, threads):
        out, _ = output_of([replay, "placement", str(nodes), str(cores), policy, str(threads)])
        lines = [line.split() for line in out.splitlines()]
        self.threads = int(lines[0][1])
        free = (1 << nodes * cores) - 2
        used = [0] * nodes
        used[0] = 1
        of_node = [((1 << cores) - 1) << cores * node for node in range(nodes)]
        self.nodes = []
        for _, text in lines[1:]:
            mask = int(text, 16) & free
            wanted = [node for node in range(nodes) if mask & of_node[node]] or range(nodes)
            node = min(wanted, key=lambda k: (used[k], k))
            place = mask & of_node[node]
            free &= ~(place & -place)
            used[node] += 1
            self.nodes.append(node)

    @classmethod
    def of(cls, *arguments):
        if arguments not in cls.known:
            cls.known[arguments] = cls(*arguments)
        return cls.known[arguments]


# ---- The model ----------------------------------------------------------------------------------

Result = collections.namedtuple("Result", "seconds limit threads")


class Model:
    """Times of runs: the largest of what cores compute, what each can fetch, what memory and the
    ways between nodes carry, and what the pool adds."""

    def __init__(self, machine, costs, pool, memory, write_allocate):
        self.machine, self.costs, self.pool = machine, costs, pool
        self.memory, self.write_allocate = memory, write_allocate

    def near_bytes(self, chunk):
        """Between a core and the shared cache."""
        return LINE * (chunk.fetched + chunk.written + self.write_allocate * chunk.stored)

    def far_bytes(self, chunk, in_cache):
        """Between the shared cache and memory."""
        lines = chunk.far_fetched + chunk.far_written + self.write_allocate * chunk.far_stored
        return 0 if in_cache else LINE * lines

    def pool_costs(self, threads, state):
        """Instructions of the caller to begin, to hand over to a worker, to collect one, and wakes
        of a worker."""
        large = threads >= LARGE_POOL
        few, many = (LARGE_POOL, 64) if large else (8, 48)
        a, b = self.pool[64, few, state], self.pool[64, many, state]
        hand_over, collect = ((y - x) / (many - few) for x, y in zip(a[:2], b[:2]))
        begin = sum(a[:2]) - (few - 1) * (hand_over + collect)
        return begin, hand_over, collect, b[2] / (many - 1)

    def run(self, run, nodes, threads, state, in_cache):
        """(seconds, what limits) of a run on the caller and workers on `nodes`."""
        m, costs = self.machine, self.costs
        rate = m.ipc * m.ghz * 1e9
        workers = nodes[:run.count - 1]
        chunks = [run.first] * (run.count - 1) + [run.last]
        at = [*workers, 0]  # the caller does the last chunk
        own = [max((chunk.instructions / rate, "work"),
                   (self.near_bytes(chunk) / (m.core_cache_bandwidth * 1e9), "core's bandwidth"),
                   (self.far_bytes(chunk, in_cache) / (m.core_bandwidth * 1e9),
                    "core's bandwidth"))
               for chunk in chunks]
        # The pool.
        end, clock = 0, 0
        collect_one = 0
        if workers:
            begin, hand_over, collect, wakes = self.pool_costs(threads, state)
            clock = begin / (costs.pool_ipc * m.ghz * 1e9)
            for k, node in enumerate(workers):
                line = costs.line if node == 0 else costs.far_line
                clock += hand_over / (costs.pool_ipc * m.ghz * 1e9) + line + wakes * costs.wake
                start = clock + (costs.woken if wakes else line)
                end = max(end, start + own[k][0])
                collect_one = max(collect_one, collect / (costs.pool_ipc * m.ghz * 1e9) + line)
        clock += own[-1][0]
        seconds = max(clock + len(workers) * collect_one, end + collect_one)
        slowest = max(own)
        parts = {slowest[1]: slowest[0], "pool": seconds - slowest[0]}
        mean = sum(chunk.instructions for chunk in chunks) / rate / threads
        if slowest[1] == "work" and slowest[0] > 1.25 * mean:
            parts["chunks"] = parts.pop("work")
        # What all share.
        memory, cache, link = (collections.Counter() for _ in range(3))
        homes = range(m.nodes) if self.memory == "interleaved" else [0]
        for node, chunk in zip(at, chunks):
            near, far = self.near_bytes(chunk), self.far_bytes(chunk, in_cache)
            cache[node] += near
            for home in homes:
                memory[home] += far / len(homes)
                # What is in the caches is in those of the arrays' nodes.
                if home != node:
                    link[home, node] += (near if in_cache else far) / len(homes)
        shared = [(max(memory.values()) / (m.node_bandwidth * 1e9), "memory"),
                  (max(cache.values()) / (m.cache_bandwidth * 1e9), "cache"),
                  (max(link.values(), default=0) / (m.link_bandwidth * 1e9), "link")]
        bound, name = max(shared)
        if bound > seconds:
            return bound, name
        return seconds, max(parts, key=parts.get)

    def execution(self, trace, nodes, threads, state="awake"):
        used = {0, *nodes[:max((run.count for run in trace.runs)) - 1]}
        room = self.machine.cache * 2**20 * (len(used) if self.memory == "interleaved" else 1)
        if threads >= LARGE_POOL:
            state = "awake"  # there is one state: asleep
        seconds, limits = 0, collections.Counter()
        for run in trace.runs:
            took, limit = self.run(run, nodes, threads, state, trace.size <= CACHE_SHARE * room)
            seconds += took
            limits[limit] += took
        return Result(seconds, limits.most_common(1)[0][0], threads)


def simulate(replay, traces, model, problem, threads, policy=None, state="awake"):
    """None when the counts know nothing of so many threads."""
    m = model.machine
    policy = policy or traces[problem, 1].binding
    place = Placement.of(replay, m.nodes, m.cores, policy, threads)
    trace = traces.get((problem, place.threads))
    if not trace:
        return None
    return model.execution(trace, place.nodes, place.threads, state)


# ---- Tables -------------------------------------------------------------------------------------

def time_text(seconds):
    for unit, size in (("s", 1), ("ms", 1e-3), ("us", 1e-6)):
        if seconds >= size:
            return f"{seconds / size:.3g} {unit}"
    return f"{seconds * 1e9:.3g} ns"


def table(head, rows):
    text = "| " + " | ".join(head) + " |\n|" + "---|" * len(head) + "\n"
    return text + "".join("| " + " | ".join(row) + " |\n" for row in rows)


def threads_on(machine):
    return [t for t in THREADS if t <= machine.nodes * machine.cores]


def scaling_table(replay, traces, model, problems):
    """Time and speed-up by threads, bound as the library does by itself."""
    rows = []
    for threads in threads_on(model.machine):
        row = [str(threads)]
        for problem in problems:
            if (problem, threads) not in traces:
                row.append("")
                continue
            policy = traces[problem, threads].binding
            result = simulate(replay, traces, model, problem, threads, policy)
            alone = simulate(replay, traces, model, problem, 1)
            if result and result.threads == threads:
                row.append(f"{time_text(result.seconds)}, {alone.seconds / result.seconds:.1f}, "
                           f"{result.limit}")
            else:
                row.append("")
        if any(row[1:]):
            rows.append(row)
    return table(["threads", *(PROBLEMS.get(p, p) for p in problems)], rows)


def cap_of(replay, machine):
    return Placement.of(replay, machine.nodes, machine.cores, "SPREAD", 512).threads


def policy_table(replay, traces, machine_names, problems, costs, pool):
    rows = []
    for name in machine_names:
        machine = MACHINES[name]
        for threads in (machine.cores // 2, cap_of(replay, machine)):
            threads = max(t for t in THREADS if t <= threads)
            for memory in ("first", "interleaved"):
                model = Model(machine, costs, pool, memory, 0)
                for problem in problems:
                    results = {policy: simulate(replay, traces, model, problem, threads, policy)
                               for policy in ("SPREAD", "CLOSE", "NO")}
                    rows.append([name, str(threads), PROBLEMS.get(problem, problem), memory,
                                 *(f"{time_text(r.seconds)}, {r.limit}" for r in results.values())])
    return table(["machine", "threads", "problem", "memory", "SPREAD", "CLOSE", "NO"], rows)


def process_table(replay, traces, machine_names, problems, costs, pool):
    """Transforms in a second: one process that has the machine, and one on each node."""
    rows = []
    for name in machine_names:
        machine = MACHINES[name]
        local = machine._replace(nodes=1)
        for problem in problems:
            def best(model, limit):
                results = [simulate(replay, traces, model, problem, t, policy)
                           for t in THREADS if t <= limit
                           for policy in ("SPREAD", "CLOSE", "NO")]
                return min((r for r in results if r), key=lambda r: (r.seconds, r.threads))

            whole = [best(Model(machine, costs, pool, memory, 0), cap_of(replay, machine))
                     for memory in ("first", "interleaved")]
            each = best(Model(local, costs, pool, "first", 0), machine.cores)
            rows.append([name, PROBLEMS.get(problem, problem),
                         *(f"{1 / r.seconds:.3g} ({r.threads})" for r in whole),
                         f"{machine.nodes / each.seconds:.3g} ({machine.nodes} x {each.threads})"])
    return table(["machine", "problem", "one process", "one process, interleaved memory",
                  "one process on each node"], rows)


def pool_table(pool):
    names = {"awake": "wait for work", "asleep": "sleep", "first": "are made",
             "moved": "are bound anew"}
    rows = []
    for threads in (2, 4, 8, 48, 49, 64):
        for state, name in names.items():
            if state == "awake" and threads >= LARGE_POOL:
                name = names["asleep"]
            row = [str(threads), name]
            for processors in POOL_PROCESSORS:
                values = pool.get((processors, threads, state))
                row += [f"{values[0]} + {values[1]}", str(values[2] + values[3])] if values else []
            if len(row) > 2:
                rows.append(row)
    head = ["threads", "workers"]
    for processors in POOL_PROCESSORS:
        head += [f"{processors} processors: instructions", "calls of the kernel"]
    return table(head, rows)


def work_table(traces, problems):
    rows = []
    for problem in problems:
        for threads in (1, 8, 64):
            trace = traces[problem, threads]
            for number, run in enumerate(trace.runs, 1):
                chunk = run.first or run.last
                rows.append([PROBLEMS.get(problem, problem), str(threads), str(number),
                             f"{run.count} of {run.chunk}" if run.first else "1",
                             f"{chunk.instructions / 1e6:.2f}",
                             f"{LINE * (chunk.fetched + chunk.written) / 2**20:.2f}",
                             f"{LINE * (chunk.far_fetched + chunk.far_written) / 2**20:.2f}",
                             trace.binding if threads > 1 else ""])
    return table(["problem", "threads", "run", "chunks", "million instructions of a chunk",
                  "MiB that pass its own cache", "and the shared one", "binding"], rows)


def machine_table():
    rows = [[name, f"{m.nodes} x {m.cores}", f"{m.ghz}", f"{m.ipc:g}", f"{m.core_bandwidth}",
             f"{m.core_cache_bandwidth}", f"{m.node_bandwidth}",
             f"{m.link_bandwidth}" if m.nodes > 1 else "",
             f"{m.cache}", f"{m.cache_bandwidth}"] for name, m in MACHINES.items()]
    return table(["machine", "nodes x cores", "GHz", "instructions a cycle", "GB/s of a core",
                  "with shared cache",
                  "GB/s of a node's memory", "GB/s between two nodes", "MiB of a node's cache",
                  "GB/s of it"], rows)


def tables(replay):
    """{name: text} of everything that docs/scaling.md shows."""
    traces, pool = read_counts()
    problems = list(PROBLEMS)
    several = [name for name, m in MACHINES.items() if m.nodes > 1]
    some = ["ocf1024*1000", "ocf4096x4096"]
    result = {"work": work_table(traces, problems), "pool": pool_table(pool),
              "machines": machine_table()}
    for name, machine in MACHINES.items():
        memory = "first"
        model = Model(machine, COSTS, pool, memory, 0)
        result[name] = scaling_table(replay, traces, model, problems)
    result["policies"] = policy_table(replay, traces, several, some, COSTS, pool)
    result["processes"] = process_table(replay, traces, several, problems, COSTS, pool)
    return result


BLOCK = (r"(<!-- Written by bench/scaling/scaling\.py: {name} -->\n\n)"
         r"((?:(?!<!--).)*?)(\n<!-- end -->)")


def check(replay, path, write):
    """Faults: tables of a page that the model does not make, decisions that counts.tsv recorded and
    the library does not take."""
    with open(path, encoding="utf-8") as file:
        page = file.read()
    for name, text in tables(replay).items():
        pattern = re.compile(BLOCK.format(name=re.escape(name)), re.S)
        found = pattern.search(page)
        if not found:
            yield f"{path}: no table {name}"
        elif write:
            page = pattern.sub(lambda m, text=text: m[1] + text + m[3], page)
        elif found[2] != text:
            yield f"{path}: table {name} is not what the model makes: write it anew by --write"
    if write:
        with open(path, "w", encoding="utf-8") as file:
            file.write(page)
    yield from check_decisions(replay)


def check_counts(replay, plugin):
    """Faults: counts of today that differ by more than a few per cent."""
    most = 0.15
    traces, pool = read_counts()
    problem, threads = "ocf1024*1000", 64
    rows, _ = count_runs(replay, plugin, problem, threads)
    for run, row in zip(traces[problem, threads].runs, (row for row in rows if row[4] == "first")):
        if abs(row[5] / run.first.instructions - 1) > most:
            yield (f"{problem}: {row[5]} instructions, {run.first.instructions} were counted: "
                   "count anew by --record")
    _, marks = marks_of(replay, plugin, ["pool", 8, 8])
    for state in ("awake", "asleep"):
        values, known = pool_run(state, marks), pool[8, 8, state]
        if values[2] != known[2] or abs(values[0] / known[0] - 1) > most:
            yield f"pool, {state}: {values}, {known} were counted: count anew by --record"


def check_decisions(replay):
    traces, _ = read_counts()
    for (problem, threads), trace in traces.items():
        if threads not in (8, 64) or problem not in ("ocf1024*1000", "ocf1048576"):
            continue
        out, _ = output_of([replay, "runs", problem, str(threads)])
        runs = [tuple(map(int, line.split()[2:])) for line in out.splitlines()
                if re.match(r"\d+ run ", line)]
        decided = [(run[0], run[3], run[4]) for run in runs]
        decided.append(re.search(r"^binding (\w+)$", out, re.M)[1])
        if decided != [*((run.n, run.chunk, run.count) for run in trace.runs), trace.binding]:
            yield f"{problem} on {threads} threads: {decided}, counts.tsv has something else"


# ---- This machine -------------------------------------------------------------------------------

def compare(replay, problems, turns):
    """Predicted and measured times of two threads here. Chunks alone are measured too: what is put
    to the test is that they share memory, and what the pool adds."""
    traces, _ = read_counts()
    model = Model(MACHINES["1x64"], COSTS, None, "first", 0)

    def measured_bandwidth(threads, mib):
        out, _ = output_of([replay, "bandwidth", str(threads), str(mib), "5"])
        return float(out.split()[1])

    def measured_times(problem, threads):
        out, _ = output_of([replay, "times", problem, str(threads), str(turns)])
        lines = [line.split() for line in out.splitlines()]
        least, median = (1e-9 * int(word) for word in lines[0][1:])
        return least, median, [(words[1], 1e-9 * int(words[-1])) for words in lines[1:]]

    memory, cache = (measured_bandwidth(2, mib) for mib in (128, 4))
    print(f"bandwidth: memory {measured_bandwidth(1, 128) / 1e9:.1f} GB/s by one thread, "
          f"{memory / 1e9:.1f} by two; last-level cache {measured_bandwidth(1, 4) / 1e9:.1f}, "
          f"{cache / 1e9:.1f}")
    empty = dict(line.split()[0::2] for line in output_of([replay, "empty", "2", "300"])[0]
                 .splitlines())
    print("a run of the pool without work, median, nanoseconds:",
          ", ".join(f"{name} {value}" for name, value in empty.items()))
    rows = []
    for problem in problems:
        trace = traces[problem, 8]  # all threads together move as much whatever their number
        in_cache = trace.size <= CACHE_SHARE * 2**25
        moved = [sum(model.near_bytes(chunk) if in_cache else model.far_bytes(chunk, False)
                     for chunk in [run.first] * (run.count - 1) + [run.last])
                 for run in trace.runs]
        least, median, events = measured_times(problem, 2)
        least_alone, alone, _ = measured_times(problem, 1)
        predicted, chunks, runs, limits = 0, [], 0, collections.Counter()
        for what, took in events:
            if what == "chunk_end":
                chunks.append(took)
            elif what == "run_end":
                shared = moved[runs] / (cache if in_cache else memory)
                limits["chunks" if max(chunks) > shared else "memory"] += max(*chunks, shared)
                predicted += max(*chunks, shared) + 1e-9 * int(empty["small"])
                chunks = []
                runs += 1
            else:
                predicted += took
        rows.append([PROBLEMS.get(problem, problem),
                     f"{time_text(least_alone)}, {time_text(alone)}",
                     time_text(predicted), limits.most_common(1)[0][0],
                     f"{time_text(least)}, {time_text(median)}",
                     f"{100 * (predicted / least - 1):+.0f} %, "
                     f"{100 * (predicted / median - 1):+.0f} %"])
    print(table(["problem", "one thread: least, median", "two: predicted", "by",
                 "measured: least, median", "error of the prediction"], rows), end="")


def main():
    parser = argparse.ArgumentParser(
        description="A model of how transforms scale on machines of many cores.")
    parser.add_argument("replay", help="lyra-replay")
    parser.add_argument("problem", nargs="*", help="of those that counts.tsv has, with --record "
                        "also \"pool\"; without any, all")
    parser.add_argument("--record", metavar="PLUGIN", help="write counts.tsv, by the emulator")
    parser.add_argument("--recount", metavar="PLUGIN", help="compare some counts with counts.tsv")
    parser.add_argument("--check", metavar="PAGE", help="compare the tables of a page")
    parser.add_argument("--write", metavar="PAGE", help="write the tables of a page")
    parser.add_argument("--compare", action="store_true", help="predict and measure here")
    parser.add_argument("--turns", type=int, default=5, help="with --compare")
    parser.add_argument("--machine", choices=MACHINES)
    for field in (*Machine._fields, *Costs._fields):
        parser.add_argument("--" + field.replace("_", "-"), type=float,
                            help="instead of the assumed one")
    parser.add_argument("--memory", choices=["first", "interleaved"], default="first",
                        help="arrays are on the caller's node, or on all in turn")
    parser.add_argument("--policy", choices=["SPREAD", "CLOSE", "NO"],
                        help="instead of what the library chooses")
    parser.add_argument("--write-allocate", action="store_true",
                        help="lines are read before they are written")
    arguments = parser.parse_intermixed_args()
    problems = arguments.problem or list(PROBLEMS)
    try:
        if arguments.record:
            record(arguments.replay, arguments.record,
                   arguments.problem or ["pool", *PROBLEMS])
        elif arguments.compare:
            compare(arguments.replay, problems, arguments.turns)
        elif arguments.check or arguments.write or arguments.recount:
            if arguments.recount:
                faults = list(check_counts(arguments.replay, arguments.recount))
            else:
                faults = list(check(arguments.replay, arguments.check or arguments.write,
                                    bool(arguments.write)))
            for fault in faults:
                print(fault)
            return 1 if faults else 0
        elif arguments.machine:
            def changed(record):
                values = {field: getattr(arguments, field) for field in record._fields
                          if getattr(arguments, field) is not None}
                values.update({k: int(v) for k, v in values.items() if k in ("nodes", "cores")})
                return record._replace(**values)

            traces, pool = read_counts()
            for problem in problems:
                if (problem, 1) not in traces:
                    raise ScalingError(f"{problem} was not counted: --record counts it")
            model = Model(changed(MACHINES[arguments.machine]), changed(COSTS), pool,
                          arguments.memory, int(arguments.write_allocate))
            if arguments.policy:
                for key, trace in traces.items():
                    traces[key] = trace._replace(binding=arguments.policy)
            print(scaling_table(arguments.replay, traces, model, problems), end="")
        else:
            for name, text in tables(arguments.replay).items():
                print(f"{name}\n\n{text}")
    except (ScalingError, OSError, KeyError) as error:
        print(f"scaling.py: {error}", file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
