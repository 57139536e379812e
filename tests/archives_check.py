#!/usr/bin/env python3
"""Runs the commands of docs/archives.md, as they stand there, on a small archive.

    archives_check.py ARCHIVES.MD VELMORA

Of a block "sh killed" one worker is killed; a block "sh array" is run as three tasks of a job array.
At the end each result has to be what a run at one go gives, and each journal has to have each of its files once. The
exit status is 77 where GNU parallel is not installed.
"""
import filecmp
import json
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
from collections import Counter
from pathlib import Path

SKIPPED = 77
SECONDS = 120
FILES = 300
MEMORY = "/dev/shm"   # where waiting for the disk costs nothing


def element(group, number, vr, value):
    value += (b"\0" if vr == b"UI" else b" ") * (len(value) % 2)
    return struct.pack("<HH2sH", group, number, vr, len(value)) + value


def data_set(number):
    return b"\0" * 128 + b"DICM" + element(2, 0x10, b"UI", b"1.2.840.10008.1.2.1") + \
        element(8, 0x20, b"DA", b"2004.01.19") + element(8, 0x60, b"CS", b"CT") + \
        element(0x10, 0x20, b"LO", b"ID%d" % number) + element(0x20, 0x13, b"IS", b"%d" % number)


def make_archive(top):
    for number in range(FILES):
        folder = top / f"p{number // 50:04}" / "series"
        folder.mkdir(parents=True, exist_ok=True)
        (folder / f"IM{number % 50:03}.dcm").write_bytes(data_set(number))   # names that come again in each folder


# Stands in front of the program: the first time that the third piece comes, the worker gets six files of it, waits for
# more, and is killed by signal 9 as this script is.
WRAPPER = """#!/bin/bash
if [[ "$*" == *journals/3.jsonl* ]] && mkdir killed 2>/dev/null; then
    mkfifo killed/pipe
    VELMORA "$@" < killed/pipe &
    exec 3> killed/pipe
    head -n 6 >&3
    until [ "$(wc -l 2>/dev/null < journals/3.jsonl)" = 7 ]; do sleep 0.05; done
    kill -9 $! $$
fi
exec VELMORA "$@"
"""


def run_and_kill(text, folder, environment):
    """Runs a block, whose third worker is killed."""
    program = folder / "bin" / "velmora"
    real = os.readlink(program)
    program.unlink()
    program.write_text(WRAPPER.replace("VELMORA", f"'{real}'"))
    program.chmod(0o755)
    status = subprocess.run(["bash", "-c", text], cwd=folder, env=environment, timeout=SECONDS).returncode
    lines = (folder / "journals" / "3.jsonl").read_text().count("\n")
    rows = [line.split("\t") for line in (folder / "jobs.log").read_text().split("\n")]
    failed = [row[0] for row in rows if row[0].isdigit() and row[6:8] != ["0", "0"]]
    if status == 0 or lines != 7 or failed != ["3"]:
        sys.exit(f"no worker was killed: status {status}, {lines} lines, failed {failed}")


def run_block(kind, text, folder, environment):
    if kind == "killed":
        return run_and_kill(text, folder, environment)
    for task in range(3) if kind == "array" else [None]:
        values = environment if task is None else dict(environment, SLURM_ARRAY_TASK_ID=str(task), SLURM_CPUS_PER_TASK="2")
        status = subprocess.run(["bash", "-euc", text], cwd=folder, env=values, timeout=SECONDS).returncode
        if status != 0:
            sys.exit(f"ended with {status}:\n{text}")


def journal_paths(path):
    return [json.loads(line)["path"] for line in path.read_text().split("\n")[1:] if line]


def compare_results(folder, environment):
    failures = []
    for name, arguments in (("implicit", ["convert", "-s", "implicit"]), ("repaired", ["repair", "-q"]),
                            ("explicit", ["convert", "-s", "explicit"])):
        subprocess.run(["velmora", *arguments, "archive", f"whole/{name}"], cwd=folder, env=environment, check=True,
                       stdout=subprocess.DEVNULL, timeout=SECONDS)
        for source in sorted((folder / "archive").rglob("*.dcm")):
            inside = source.relative_to(folder / "archive")
            result, whole = folder / name / inside, folder / "whole" / name / inside
            if not result.exists() or not filecmp.cmp(result, whole, shallow=False):
                failures.append(f"{name}/{inside} is not what it should be")
    for pattern, count in (("journals/[0-9]*.jsonl", FILES), ("journals/repair-*.jsonl", FILES), ("convert.jsonl", FILES),
                           ("check.jsonl", FILES)):
        seen = Counter(path for journal in folder.glob(pattern) for path in journal_paths(journal))
        if len(seen) != count or set(seen.values()) != {1}:
            failures.append(f"{pattern}: {len(seen)} files, {[path for path in seen if seen[path] > 1][:5]} twice")
    return failures


def main():
    text, velmora = Path(sys.argv[1]).read_text(), Path(sys.argv[2]).resolve()
    if shutil.which("parallel") is None:
        sys.exit(SKIPPED)
    with tempfile.TemporaryDirectory(dir=MEMORY if os.access(MEMORY, os.W_OK) else None) as name:
        folder = Path(name).resolve()
        make_archive(folder / "archive")
        (folder / "bin").mkdir()
        (folder / "bin" / "velmora").symlink_to(velmora)
        (folder / ".parallel").mkdir()
        (folder / ".parallel" / "will-cite").touch()
        environment = dict(os.environ, PATH=f"{folder}/bin:{os.environ['PATH']}", HOME=str(folder), LC_ALL="C.UTF-8")
        for kind, block in re.findall(r"```sh ?(\w*)\n(.*?)```", text, re.S):
            run_block(kind, block, folder, environment)
        failures = compare_results(folder, environment)
    print("\n".join(failures))
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
