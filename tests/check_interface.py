#!/usr/bin/env python3
"""Checks what the library shows of itself.

    check_interface.py SOURCE_DIR LIBRARY

Every public header has to compile alone as C++11 without a warning, with each compiler that is there, and the shared
library has to export the names that the headers declare, and nothing else.
"""
import pathlib
import re
import shutil
import subprocess
import sys

FOLDERS = "util frame tree read values dictionary modules write dump".split()
FLAGS = "-std=c++11 -Wall -Wextra -Wpedantic -Wshadow -Werror -fsyntax-only -x c++".split()


def public_headers(source):
    for folder in FOLDERS:
        for header in sorted((source / folder).glob("*.h")):
            if not header.name.endswith("_internal.h"):
                yield header


def without_comments(text):
    return re.sub(r"//[^\n]*|/\*.*?\*/|^#[^\n]*", "", text, flags=re.S | re.M)


def declared_names(headers):
    names = set()
    for header in headers:
        for declaration in re.findall(r"\bDICOM_EXPORT\b([^;]*);", without_comments(header.read_text())):
            head = re.split(r"[(\[]", declaration)[0]
            names.add(re.findall(r"\w+", head)[-1])
    return names


def exported_names(library):
    listing = subprocess.run(["nm", "-D", "-C", "--defined-only", library], capture_output=True, text=True, check=True)
    names = set()
    for line in listing.stdout.splitlines():
        name = line.split(None, 2)[2]
        # What the compiler shares between libraries of its own accord (weak symbols of templates) is not ours.
        if line.split(None, 2)[1] in "TDBR":
            names.add(name.split("(")[0])
    return names


def main():
    source, library = pathlib.Path(sys.argv[1]), sys.argv[2]
    faults = []
    headers = list(public_headers(source))
    for compiler in ("g++", "clang++"):
        for header in headers if shutil.which(compiler) else []:
            done = subprocess.run([compiler, *FLAGS, "-I", source, header], capture_output=True, text=True)
            if done.returncode != 0:
                faults.append(f"{header.relative_to(source)} does not compile alone with {compiler}:\n{done.stderr}")

    declared, exported = declared_names(headers), exported_names(library)
    faults += [f"declared but not exported: {name}" for name in sorted(declared - exported)]
    faults += [f"exported but not declared: {name}" for name in sorted(exported - declared)]
    for fault in faults:
        print(fault)
    print(f"{len(headers)} headers, {len(declared)} declared names, {len(exported)} exported names, {len(faults)} faults")
    return 1 if faults else 0


sys.exit(main())
