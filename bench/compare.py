#!/usr/bin/env python3
"""How fast `veska` is, held against others in turn: the second half of scripts/bench.

    compare.py BUILD CORPUS [--rounds N] [--only PART...] [--growth]

BUILD is the build folder with the benchmarks. CORPUS is a folder of text, or one with the folders
"text", "html" and "pdf". Each round runs the programs one after the other; ratios are taken within
a round, and their medians are printed. Indexes and copies lie in a folder of their own in TMPDIR.
"""
import argparse
import contextlib
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

PARTS = ["text", "html", "pdf", "update", "query", "show"]


class Run:
    """One process: wall and CPU seconds, peak memory in MB, and what it printed if asked."""

    def __init__(self, command, keep=False, cwd=None):
        out = tempfile.TemporaryFile() if keep else open(os.devnull, "wb")
        start = time.perf_counter()
        pid = os.posix_spawn(command[0], command, ENVIRONMENT,
                             file_actions=[(os.POSIX_SPAWN_DUP2, out.fileno(), 1),
                                           (os.POSIX_SPAWN_DUP2, NULL, 2)])
        _, status, usage = os.wait4(pid, 0)
        self.wall = time.perf_counter() - start
        self.cpu = usage.ru_utime + usage.ru_stime
        self.peak = usage.ru_maxrss / 1024
        self.status = os.waitstatus_to_exitcode(status)
        if keep:
            out.seek(0)
            self.output = out.read().decode("utf-8", "replace")
        out.close()


NULL = os.open(os.devnull, os.O_WRONLY)
ENVIRONMENT = dict(os.environ, LC_ALL="C.UTF-8")


def must(command, **options):
    run = Run(command, **options)
    if run.status not in (0, 1):
        sys.exit(f"failed with {run.status}: {' '.join(command)}")
    return run


def tool(name):
    path = shutil.which(name)
    if path is None:
        sys.exit(f"{name} is missing")
    return path


def shell(script, *arguments):
    return [tool("sh"), "-c", script, "sh", *arguments]


def bytes_below(folder):
    return sum(os.path.getsize(os.path.join(path, name))
               for path, _, names in os.walk(folder) for name in names
               if not os.path.islink(os.path.join(path, name)))


class Bench:
    def __init__(self, build, corpus, rounds, work):
        self.veska = os.path.join(build, "veska")
        self.peer = os.path.join(build, "bench", "ftspeer")
        self.nothing = os.path.join(build, "bench", "nothing")
        self.rounds = rounds
        self.work = work
        split = os.path.isdir(os.path.join(corpus, "text"))
        self.folder = lambda kind: os.path.join(corpus, kind) if split else corpus
        self.kinds = [k for k in ("text", "html", "pdf") if os.path.isdir(self.folder(k))]
        if not split:
            self.kinds = ["text"]

    # Homes and databases by name, made when first asked for.
    def home(self, name):
        return os.path.join(self.work, "home-" + name)

    def database(self, name):
        return os.path.join(self.work, name + ".db")

    def index(self, name, folder):
        shutil.rmtree(self.home(name), ignore_errors=True)
        return must([self.veska, "--home", self.home(name), "-q", "index", folder])

    def peer_index(self, name, folder):
        return must([self.peer, "index", folder, self.database(name)])

    def in_turn(self, jobs):
        """jobs: name -> function that runs it. Result: name -> the runs of all rounds."""
        runs = {name: [] for name in jobs}
        for _ in range(self.rounds):
            for name, job in jobs.items():
                runs[name].append(job())
        return runs

    def table(self, title, runs, ours="veska", measure="cpu", unit="s", scale=1):
        print(f"\n### {title}\n\n| | median {unit} | ours / it | peak MB |\n|---|---|---|---|")
        for name, list_of_runs in runs.items():
            values = [getattr(r, measure) * scale for r in list_of_runs]
            ratio = statistics.median(getattr(o, measure) / max(getattr(r, measure), 1e-9)
                                      for o, r in zip(runs[ours], list_of_runs))
            peak = max(r.peak for r in list_of_runs)
            print(f"| {name} | {statistics.median(values):.2f} | "
                  f"{'' if name == ours else f'{ratio:.2f}'} | {peak:.0f} |", flush=True)

    def fresh(self, kind):
        folder = self.folder(kind)
        jobs = {"veska": lambda: self.index(kind, folder)}
        if kind == "pdf":
            jobs["pdftotext, a process a file"] = lambda: must(shell(
                'find "$1" -type f -exec pdftotext -q -enc UTF-8 {} /dev/null \\;', folder))
        else:
            jobs["FTS5"] = lambda: self.peer_index(kind, folder)
            jobs["wc -w"] = lambda: must(shell(
                'LC_ALL=C find "$1" -type f -print0 | LC_ALL=C xargs -0 wc -w', folder))
            jobs["cat"] = lambda: must(shell('find "$1" -type f -print0 | xargs -0 cat', folder))
        self.table(f"A fresh index of {kind}, CPU", self.in_turn(jobs))
        tables = bytes_below(os.path.join(self.home(kind), "indexes"))
        files = bytes_below(folder)
        print(f"\nIndex {tables / 1e6:.1f} MB of {files / 1e6:.1f} MB: {tables / files:.3f}")

    def update(self):
        folder = os.path.join(self.work, "copy")
        shutil.copytree(self.folder("text"), folder, symlinks=True)
        self.index("copy", folder)
        self.peer_index("copy", folder)
        ours = [self.veska, "--home", self.home("copy"), "-q", "update"]
        theirs = [self.peer, "update", folder, self.database("copy")]
        jobs = {"veska": lambda: must(ours), "FTS5": lambda: must(theirs)}
        self.table("An update with nothing changed, CPU", self.in_turn(jobs))
        files = sorted(os.path.join(path, name) for path, _, names in os.walk(folder)
                       for name in names)
        runs = {"veska": [], "FTS5": []}
        for number in range(self.rounds):
            # Two seconds, so that the times of change differ however coarse they are.
            time.sleep(2)
            for path in files[number::100]:
                if not os.path.islink(path):
                    with contextlib.suppress(OSError), open(path, "a") as file:
                        file.write(f"\nchanged in round {number}\n")
            runs["veska"].append(must(ours))
            runs["FTS5"].append(must(theirs))
        self.table("An update with 1% of the files changed, CPU", runs)
        shutil.rmtree(folder)

    def words(self):
        """A rare and a common word, an infix and a prefix, of those that the text has."""
        home = self.home("text")
        process = subprocess.Popen([self.veska, "--home", home, "words"], stdout=subprocess.PIPE,
                                   text=True, env=ENVIRONMENT)
        count, rare, common = 0, (9, ""), (9999, "")
        for line in process.stdout:
            count += 1
            files, word = line.rstrip("\n").split("\t")
            if word.isascii() and word.isalpha() and len(word) > 4:
                rare = min(rare, (abs(int(files) - 3), word))
                common = min(common, (abs(int(files) - 5000), word))
        process.wait()
        return rare[1], common[1], count

    def query(self):
        if not os.path.isdir(self.home("text")):
            self.index("text", self.folder("text"))
        if not os.path.exists(self.database("text")):
            self.peer_index("text", self.folder("text"))
        rare, common, count = self.words()
        print(f"\nQueries over {count} words; rare: {rare}, common: {common}. A new process each.")
        queries = {"rare word": (rare, rare), "common word, 20 best": (common, common),
                   "two words": (f"{rare} {common}", f"{rare} AND {common}"),
                   "prefix": ("inde*", "inde*"), "infix": ("*ndexin*", "inde*"),
                   "phrase": ('"source code"', '"source code"')}
        rounds = self.rounds
        self.rounds = 15 * rounds
        for name, (ours, theirs) in queries.items():
            jobs = {
                "veska, names": lambda q=ours: must(
                    [self.veska, "--home", self.home("text"), "search", "-l", "-n", "20", q]),
                "veska, snippets": lambda q=ours: must(
                    [self.veska, "--home", self.home("text"), "search", q]),
                "FTS5": lambda q=theirs: must([self.peer, "query", self.database("text"), q]),
                "an empty process": lambda: must([self.nothing])}
            label = name if name != "infix" else "infix (FTS5: a prefix)"
            self.table(f"{label}, wall", self.in_turn(jobs), "veska, names", "wall", "ms", 1000)
        self.rounds = rounds

    def show(self):
        folder = os.path.join(self.work, "large")
        os.mkdir(folder)
        path = os.path.join(folder, "large.txt")
        with open(path, "w") as file:
            for number in range(1_600_000):
                file.write(f"line {number} of a large file, with words enough to fill some space\n")
        self.index("large", folder)
        show = [self.veska, "--home", self.home("large"), "show", path]
        jobs = {"veska": lambda: must(shell('"$@" | head -n 1', *show)),
                "cat": lambda: must([tool("cat"), path])}
        size = os.path.getsize(path) / 1e6
        self.table(f"The first line of a file of {size:.0f} MB, wall", self.in_turn(jobs),
                   measure="wall", unit="ms", scale=1000)

    def growth(self):
        print("\n### Ten times the files\n\n| files | CPU s | peak MB |\n|---|---|---|")
        results = []
        for files in (100_000, 1_000_000):
            folder = os.path.join(self.work, f"many-{files}")
            for number in range(files):
                if number % 500 == 0:
                    part = os.path.join(folder, str(number // 500))
                    os.makedirs(part)
                with open(os.path.join(part, f"{number}.txt"), "w") as file:
                    file.write(f"file {number} of many, word{number % 5000} other{number % 77}\n")
            run = self.index("many", folder)
            results.append(run)
            print(f"| {files} | {run.cpu:.2f} | {run.peak:.0f} |", flush=True)
            shutil.rmtree(folder)
        small, large = results
        print(f"| ratio | {large.cpu / small.cpu:.1f} | {large.peak / small.peak:.1f} |")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build")
    parser.add_argument("corpus")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--only", nargs="+", choices=PARTS, default=PARTS)
    parser.add_argument("--growth", action="store_true", help="index a million small files too")
    options = parser.parse_args()
    corpus = os.path.abspath(options.corpus)
    with tempfile.TemporaryDirectory(prefix="veska-bench-") as work:
        bench = Bench(os.path.abspath(options.build), corpus, options.rounds, work)
        for part in options.only:
            if part in ("text", "html", "pdf"):
                if part in bench.kinds:
                    bench.fresh(part)
            else:
                getattr(bench, part)()
        if options.growth:
            bench.growth()


if __name__ == "__main__":
    main()
