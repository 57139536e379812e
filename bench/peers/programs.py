#!/usr/bin/env python3
"""The program beside others as whole processes, in turn, on the files of `bench_peers --make` and on a corpus.

    build/bench/bench/peers/bench_peers --make /dev/shm/velmora_peers
    bench/peers/programs.py build/release/host/velmora --corpus ../shared/corpus

Each line tells of one program the time of the processor and of the clock, in milliseconds, and its largest memory; the
last column how many times the time of the processor of velmora it takes, as the median of the pairs. A program that is
not installed is left out. Processes inherit some memory from the one that starts them: a figure of 12 MB is at most
that.
"""
import argparse
import os
import shutil
import signal
import statistics
import sys
import time

NOWHERE = os.open(os.devnull, os.O_RDWR)


def run(command, limit):
    """One run of a command: (processor seconds, clock seconds, peak MB, status), or None when it took too long."""
    to_nowhere = [(os.POSIX_SPAWN_DUP2, NOWHERE, each) for each in (0, 1, 2)]
    start = time.perf_counter()
    process = os.posix_spawn(command[0], command, os.environ, file_actions=to_nowhere)
    signal.signal(signal.SIGALRM, lambda *_: os.kill(process, signal.SIGKILL))
    signal.setitimer(signal.ITIMER_REAL, limit)
    _, status, used = os.wait4(process, 0)
    signal.setitimer(signal.ITIMER_REAL, 0)
    seconds = time.perf_counter() - start
    if os.WIFSIGNALED(status) and os.WTERMSIG(status) == signal.SIGKILL:
        return None
    return used.ru_utime + used.ru_stime, seconds, used.ru_maxrss / 1024, status


def compare(title, commands, rounds, limit):
    """Runs some commands in turn and prints a line for each; the first is what the others are compared with."""
    runs = {name: [] for name in commands}
    slow = set()
    for _ in range(rounds):
        for name, command in commands.items():
            result = None if name in slow else run(command, limit)
            if result is None:
                slow.add(name)
            else:
                runs[name].append(result)
    print_lines(title, runs, slow, limit)


def compare_each(title, commands, paths, rounds, limit):
    """The same with a process for each of many files, summed up over the files that all of them manage."""
    runs = {name: [] for name in commands}
    refused = {name: set() for name in commands}
    for _ in range(rounds):
        taken = {name: {} for name in commands}
        for path in paths:
            for name, command in commands.items():
                if path in refused[name]:
                    continue
                result = run(command + [path], limit)
                if result is None or (os.WIFSIGNALED(result[3]) or os.WEXITSTATUS(result[3]) > 1):
                    refused[name].add(path)
                else:
                    taken[name][path] = result
        for name, results in taken.items():
            common = [each for path, each in results.items() if not any(path in other for other in refused.values())]
            runs[name].append((sum(each[0] for each in common), sum(each[1] for each in common),
                               max((each[2] for each in common), default=0), 0))
    print_lines(title, runs, set(), limit)
    left_out = {name: len(files) for name, files in refused.items() if files}
    if left_out:
        print(f"\n{title}: {len(paths)} files; not managed, and left out for all: {left_out}\n")


def print_lines(title, runs, slow, limit):
    first = next(iter(runs))
    for name, results in runs.items():
        if name in slow:
            print(f"| {title} | {name} | more than {limit * 1000:.0f} | | | |")
            continue
        processor = [each[0] * 1000 for each in results]
        ratios = [mine[0] / max(ours[0], 1e-6) for mine, ours in zip(results, runs[first])]
        ratio = "" if name == first else f"{statistics.median(ratios):.1f}"
        print(f"| {title} | {name} | {statistics.median(processor):.1f} | {min(processor):.1f} to {max(processor):.1f} "
              f"| {statistics.median(each[1] for each in results) * 1000:.1f} "
              f"| {max(each[2] for each in results):.0f} | {ratio} |")
    sys.stdout.flush()


def files_of(folder):
    found = []
    for place, _, names in os.walk(folder):
        found += [os.path.join(place, name) for name in names]
    return sorted(found)


def main():
    options = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    options.add_argument("velmora", help="the program")
    options.add_argument("--files", default="/dev/shm/velmora_peers", help="what bench_peers --make has made")
    options.add_argument("--corpus", help="a folder of real files")
    options.add_argument("--rounds", type=int, default=7)
    options.add_argument("--corpus-rounds", type=int, default=2)
    options.add_argument("--limit", type=float, default=10, help="seconds after which a process is ended")
    choice = options.parse_args()

    def commands(**of):
        """Those of the programs that are there, with velmora first."""
        found = {"velmora": [os.path.abspath(choice.velmora)] + of.pop("velmora")}
        for name, arguments in of.items():
            path = shutil.which(name)
            if path is not None:
                found[name] = [path] + arguments
        return found

    def dumps(path):
        return commands(velmora=["dump", path], dcmdump=[path], gdcmdump=[path], dicomdump=[path])

    print("| what | program | ms of the processor | least to most | ms of the clock | MB | times velmora |")
    print("|---|---|---|---|---|---|---|")
    version = ["--version"]
    compare("start-up", commands(velmora=version, dcmdump=version, gdcmdump=version, dicomdump=version),
            5 * choice.rounds, choice.limit)
    for name in ("ct_150", "flat_3000", "items_20000x10", "nested_340000", "large_512MiB"):
        compare(f"dump {name}", dumps(f"{choice.files}/{name}.dcm"), choice.rounds, choice.limit)
    small = f"{choice.files}/small_2000"
    compare("dump small_2000", commands(velmora=["dump", small], dcmdump=files_of(small), gdcmdump=["-r", small],
                                        dicomdump=files_of(small)), choice.rounds, choice.limit)
    for name in ("ct_150", "nested_340000"):
        path = f"{choice.files}/{name}.dcm"
        compare(f"check {name}", commands(velmora=["check", path], dciodvfy=[path]), choice.rounds, choice.limit)
    if choice.corpus:
        paths = files_of(choice.corpus)
        compare_each("dump corpus", commands(velmora=["dump"], dcmdump=[], gdcmdump=[], dicomdump=[]), paths,
                     choice.corpus_rounds, choice.limit)
        compare_each("check corpus", commands(velmora=["check"], dciodvfy=[]), paths, choice.corpus_rounds,
                     choice.limit)


if __name__ == "__main__":
    main()
