#!/usr/bin/env python3
"""Compares the dump that README.md shows with what the program prints now.

    check_readme.py README VELMORA MAKE_SAMPLE
"""
import pathlib
import subprocess
import sys
import tempfile

readme, velmora, make_sample = sys.argv[1:]
lines = pathlib.Path(readme).read_text().split("\n")
start = next(i for i, line in enumerate(lines) if line.startswith("    $ ./run dump --only"))
end = lines.index("", start)
shown = [line[4:].rstrip() for line in lines[start + 1:end]]
with tempfile.TemporaryDirectory() as folder:
    sample = folder + "/sample.dcm"
    subprocess.run([make_sample, sample], check=True)
    arguments = lines[start].split()[2:-1]
    done = subprocess.run([velmora, *arguments, sample], capture_output=True, text=True, check=True)
# The legend is left out on the page.
printed = [line.rstrip() for line in done.stdout.splitlines() if not line.startswith("Stool syntax")]
for want, got in zip(shown, printed):
    if want != got:
        print(f"README: {want}\nnow:    {got}")
print(f"{len(shown)} lines in the README, {len(printed)} printed")
sys.exit(shown != printed or len(shown) < 10)
