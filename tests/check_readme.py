#!/usr/bin/env python3
"""Runs the commands that README.md shows with their output, and compares what is printed.

    check_readme.py README VELMORA MAKE_SAMPLE
"""
import os
import pathlib
import subprocess
import sys
import tempfile

readme, velmora, make_sample = sys.argv[1], *map(os.path.abspath, sys.argv[2:])


def sessions():
    """The commands of the page, each with the lines that it shows below."""
    commands = []
    for line in pathlib.Path(readme).read_text().split("\n"):
        if line.startswith(("    $ velmora ", "    $ ./run ")):
            commands.append((line[6:].split(None, 1)[1], []))
        elif commands and line.startswith("    ") and commands[-1] is not None:
            commands[-1][1].append(line[4:].rstrip())
        elif commands and commands[-1] is not None:
            commands.append(None)
    return [command for command in commands if command is not None]


faults = 0
with tempfile.TemporaryDirectory() as folder:
    os.mkdir(folder + "/build")
    subprocess.run([make_sample, folder + "/build/sample.dcm"], check=True)
    for command, shown in sessions():
        done = subprocess.run(f"'{velmora}' {command}", shell=True, cwd=folder, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True)
        # The legend of the dump is left out on the page.
        printed = [line.rstrip() for line in done.stdout.splitlines() if not line.startswith("Stool syntax")]
        if printed != shown or done.returncode > 1:
            faults += 1
            print(f"velmora {command}: status {done.returncode}\nREADME:", *shown, "now:", *printed, sep="\n")
    print(f"{len(sessions())} commands, {faults} print something else")
sys.exit(faults != 0 or len(sessions()) < 6)
