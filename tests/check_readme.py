#!/usr/bin/env python3
"""Compares what README.md shows of the program, a dump and a session of commands, with what it prints now.

    check_readme.py README VELMORA MAKE_SAMPLE
"""
import os
import pathlib
import shlex
import subprocess
import sys
import tempfile

readme, velmora, make_sample = (os.path.abspath(each) for each in sys.argv[1:])
lines = pathlib.Path(readme).read_text().split("\n")


def shown_from(beginning):
    """The lines of the block that begins so, its command first."""
    start = next(i for i, line in enumerate(lines) if line.startswith("    $ " + beginning))
    return [line[4:].rstrip() for line in lines[start:lines.index("", start)]]


def printed_by(command, folder):
    program = velmora if command[0] == "velmora" else "/bin/false"
    done = subprocess.run([program, *command[1:]], capture_output=True, text=True, cwd=folder)
    return [line.rstrip() for line in (done.stdout + done.stderr).splitlines()]


def compare(shown, printed):
    for want, got in zip(shown, printed):
        if want != got:
            print(f"README: {want}\nnow:    {got}")
    print(f"{len(shown)} lines in the README, {len(printed)} printed")
    return shown == printed


with tempfile.TemporaryDirectory() as folder:
    os.mkdir(folder + "/build")
    subprocess.run([make_sample, folder + "/build/sample.dcm"], check=True)

    dump = shown_from("./run dump --only")
    printed = printed_by(["velmora", *dump[0].split()[2:]], folder)
    # The legend is left out on the page.
    is_same = compare(dump[1:], [line for line in printed if not line.startswith("Stool syntax")])
    is_same &= len(dump) > 10

    session = shown_from("velmora edit")
    printed = []
    for line in session:
        if line.startswith("$ "):
            printed += [line] + printed_by(shlex.split(line[2:]), folder)
    is_same &= compare(session, printed)
sys.exit(not is_same)
