"""Kills the engine at one call after another, starts anew, puts back by "Disabled" and compares: scripts/killmatrix"""

import argparse
import collections
import json
import pathlib
import queue
import random
import signal
import sys
import threading

from attempt import Bench
from roads import ROADS
from wine import ROOT, Prefix, Strike

KINDS = [("service/", "services"), ("power/Update", "updates"), ("power/balanced/sleep/hibernate", "hibernation"),
         ("power/", "power plan"), ("user/toasts", "toasts"), ("user/balloons", "balloons"), ("user/", "effects")]
FURTHER_SAMPLES = 5
SHORT = {"Disabled-Game in-process": 12, "Game-Disabled in-process": 4, "Game-Battery in the console": 3,
         "start, Disabled stored over Game": 2}


class Results:
    """A line of JSON for each count and each attempt, appended as they come, so that a run can go on later."""

    def __init__(self, path, fresh):
        if fresh:
            path.unlink(missing_ok=True)
        self._path = path
        self._lock = threading.Lock()
        self.calls = {}
        self.attempts = {}
        for line in path.read_text().splitlines() if path.exists() else []:
            self._take(json.loads(line))

    def _take(self, entry):
        if "calls" in entry:
            self.calls[entry["road"]] = entry["calls"]
        else:
            self.attempts[entry["road"], entry["call"], entry["round"]] = entry

    def add(self, entry):
        with self._lock:
            self._take(entry)
            with self._path.open("a") as file:
                file.write(json.dumps(entry) + "\n")


def chosen_calls(calls, options, road):
    """Calls with the round that each belongs to: all, every k-th, or one out of each of as many equal parts as there are
    kills to be. With fewer calls than kills all of them are struck, again and again. The first is 0, which never
    comes: so it is seen that the road itself leads back."""
    if options.call:
        return [(call, 0) for call in options.call]
    if options.every:
        return [(0, 0)] + [(call, 0) for call in range(1, calls + 1, options.every)]
    kills = options.sample or road.kills
    if kills >= calls:
        return [(0, 0)] + [(1 + i % calls, i // calls) for i in range(kills)]
    source = random.Random(f"{options.seed} {road.name}")
    bounds = [1 + calls * i // kills for i in range(kills + 1)]
    return [(0, 0)] + [(source.randrange(low, high), 0) for low, high in zip(bounds, bounds[1:])]


class Worker(threading.Thread):
    """A prefix, and the kills that it takes from the queue."""

    def __init__(self, bench, jobs, results, options):
        super().__init__(daemon=True)
        self._bench = bench
        self._jobs = jobs
        self._results = results
        self._options = options
        self.problem = None

    def run(self):
        try:
            while True:
                self._strike(*self._jobs.get_nowait())
        except queue.Empty:
            pass
        except Exception as error:  # the others go on, and the run tells of it
            self.problem = error

    def _strike(self, road, call, turn):
        mode = Strike.FULL_DISK if self._options.full_disk else Strike.KILL
        try:
            entry = self._bench.strike(road, mode, call)
        except Exception as error:
            # Wine itself gives up now and then; what fails twice is the product's failure.
            print(f"{road.name}, call {call}: {error}; once more", file=sys.stderr, flush=True)
            self._bench.prepare()
            try:
                entry = self._bench.strike(road, mode, call)
            except Exception as again:
                entry = {"struck": True, "differences": [f"the road: {again}"], "exit": -1, "said": "", "seconds": 0,
                         "noted": True}
                self._bench.prepare()
        self._results.add({"road": road.name, "call": call, "round": turn} | entry)
        for difference in entry["differences"] if self._options.call else []:
            print(f"  {road.name}, call {call}: {difference}", flush=True)


def kind_of(difference):
    return next((kind for start, kind in KINDS if difference.startswith(start)), "other")


def print_table(roads, results):
    """The table of the run; the number of kills after which the machine differed."""
    print(f"{'Road':<36}{'calls':>7}{'kills':>7}{'differ':>8}{'notes':>7}{'failed':>8}{'worst s':>9}  what differs")
    different = 0
    for road in roads:
        entries = [entry for (name, _, _), entry in sorted(results.attempts.items()) if name == road.name]
        bad = [entry for entry in entries if entry["differences"]]
        kinds = collections.Counter(kind for entry in bad for kind in {kind_of(text) for text in entry["differences"]})
        different += len(bad)
        print(f"{road.name:<36}{results.calls.get(road.name, 0):>7}{sum(entry['struck'] for entry in entries):>7}"
              f"{len(bad):>8}{sum(entry['noted'] for entry in entries):>7}"
              f"{sum(entry['exit'] != 0 for entry in entries):>8}"
              f"{max((entry['seconds'] for entry in entries), default=0):>9.2f}  "
              + ", ".join(f"{kind} {count}" for kind, count in kinds.most_common()))
    for (name, call, _), entry in sorted(results.attempts.items()):
        if entry["differences"] and any(road.name == name for road in roads):
            print(f"{name}, call {call}: " + "; ".join(entry["differences"]))
    return different


def parse_options():
    parser = argparse.ArgumentParser(prog="scripts/killmatrix", description=__doc__)
    parser.add_argument("--road", action="append", help="only roads whose name has this in it; may be given again")
    parser.add_argument("--sample", type=int, help="kills for each road")
    parser.add_argument("--every", type=int, help="every K-th call in place of a sample")
    parser.add_argument("--call", type=int, action="append", help="this call only, and what differed; may be given again")
    parser.add_argument("--seed", default="1", help="of the sample")
    parser.add_argument("--workers", type=int, default=2, help="Wine prefixes side by side")
    parser.add_argument("--fresh", action="store_true", help="forgets the results of earlier runs")
    parser.add_argument("--full-disk", action="store_true",
                        help="from the call on the settings folder's disk is full, in place of the kill")
    parser.add_argument("--short", action="store_true", help="the few kills that belong to the tests")
    parser.add_argument("--list", action="store_true", help="prints the roads")
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build" / "mingw-release",
                        help="the build that is put to the test")
    return parser.parse_args()


def choose_roads(options):
    if options.short:
        return [road for road in ROADS if road.name in SHORT]
    return [road for road in ROADS if not options.road or any(part in road.name for part in options.road)]


def more_calls(road, options, results):
    """In place of those that never came, since no two runs make quite as many calls: one after the other of a further
    sample, until there are as many kills as there are to be."""
    if options.call or options.every or options.short or options.full_disk:
        return []
    entries = [entry for (name, _, _), entry in results.attempts.items() if name == road.name]
    missing = (options.sample or road.kills) - sum(entry["struck"] for entry in entries)
    turn = 1 + max(entry["round"] for entry in entries)
    source = random.Random(f"{options.seed} {road.name} {turn}")
    return [(source.randint(1, results.calls[road.name]), turn + i) for i in range(missing)]


def count_calls(bench, road):
    """Wine itself gives up now and then, here as at a strike."""
    try:
        return bench.count_calls(road)
    except Exception as error:
        print(f"{road.name}, counting: {error}; once more", file=sys.stderr, flush=True)
        bench.prepare()
        return bench.count_calls(road)


def plan(bench, roads, results, options):
    jobs = queue.Queue()
    for road in roads:
        if road.name not in results.calls:
            results.add({"road": road.name, "calls": count_calls(bench, road)})
        if options.short:
            options.sample = SHORT[road.name]
        for call, turn in chosen_calls(results.calls[road.name], options, road):
            if options.call or (road.name, call, turn) not in results.attempts:
                jobs.put((road, call, turn))
    return jobs


def strike_all(benches, jobs, results, options):
    threads = [Worker(bench, jobs, results, options) for bench in benches]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return threads


def run(options):
    roads = choose_roads(options)
    if options.list or not roads:
        print("\n".join(f"{road.name:<36}{road.kills:>6} kills" for road in ROADS))
        return 0 if options.list else 2
    folder = options.build / "killmatrix"
    library = options.build / "tests" / "platform" / "strike.so"
    kept = "short" if options.short else "full_disk" if options.full_disk else "results"
    names = ["short"] if options.short else [f"prefix{number}" for number in range(options.workers)]
    prefixes = [Prefix(folder / name, options.build, library) for name in names]
    try:
        prefixes[0].make()
        for prefix in prefixes[1:]:
            prefix.copy(prefixes[0])
        benches = [Bench(prefix) for prefix in prefixes]
        for bench in benches:
            bench.prepare()
        results = Results(folder / f"{kept}.jsonl", options.fresh or options.short)
        jobs = plan(benches[0], roads, results, options)
        threads = strike_all(benches, jobs, results, options)
        for _ in range(FURTHER_SAMPLES):
            for road in roads:
                for call, turn in more_calls(road, options, results):
                    jobs.put((road, call, turn))
            if jobs.empty() or any(thread.problem for thread in threads):
                break
            threads = strike_all(benches, jobs, results, options)
    finally:
        # A worker that is in the middle of something when the run is broken off isn't to start its server again.
        for prefix in prefixes:
            prefix.close()
    problems = [thread.problem for thread in threads if thread.problem]
    for problem in problems:
        print(f"killmatrix: a worker gave up: {problem}", file=sys.stderr)
    return 1 if print_table(roads, results) > 0 or problems else 0


def end_in_order(*_):
    signal.signal(signal.SIGTERM, signal.SIG_IGN)
    sys.exit(143)


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, end_in_order)
    sys.exit(run(parse_options()))
