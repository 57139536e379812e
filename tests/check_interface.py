#!/usr/bin/env python3
"""Checks what the library shows of itself.

    check_interface.py HEADER_DIR SHARED_LIBRARY [STATIC_LIBRARY]

Every public header has to compile alone as C++11 without a warning, with each compiler that is there. Both libraries
have to show the names that the headers declare, and nothing else. The shared one bears the major version in its name
and needs nothing but the C++ standard library. HEADER_DIR is the source tree, or the folder of the installed headers.
"""
import pathlib
import re
import shutil
import subprocess
import sys

FOLDERS = "util frame tree read values dictionary modules write dump".split()
FOR_LOADING = re.compile(r"taking_|node_heap_take_slowly$")   # the host library's way into the static one
HOST_HEADERS = "velmora_host.h velmora_save.h velmora_conform.h".split()
FLAGS = "-std=c++11 -Wall -Wextra -Wpedantic -Wshadow -Werror -fsyntax-only -x c++".split()
NEEDED = re.compile(r"(libstdc\+\+|libc\+\+|libc\+\+abi|libm|libgcc_s|libc|ld-linux[\w-]*|ld64)\.so\.\d+$")


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


def shown_names(library, *options):
    listing = subprocess.run(["nm", "-C", "--defined-only", "--extern-only", *options, library], capture_output=True,
                             text=True, check=True)
    names = set()
    for kind, name in re.findall(r"^[0-9a-f]+ (\w) (.*)$", listing.stdout, flags=re.M):
        # What the compiler shares between libraries of its own accord (weak symbols of templates) is not ours.
        if kind in "TDBR":
            names.add(name.split("(")[0])
    return names


def dynamic_entries(library, kind):
    listing = subprocess.run(["readelf", "-dW", library], capture_output=True, text=True, check=True)
    return re.findall(rf"\({kind}\).*\[(.*)\]", listing.stdout)


def faults_of_headers(source, headers):
    for compiler in filter(shutil.which, ("g++", "clang++")):
        for header in headers:
            done = subprocess.run([compiler, *FLAGS, "-I", source, header], capture_output=True, text=True)
            if done.returncode != 0:
                yield f"{header.relative_to(source)} does not compile alone with {compiler}:\n{done.stderr}"


def faults_of_names(declared, library, shown):
    for name in sorted(declared - shown):
        yield f"{library}: declared but not there: {name}"
    for name in sorted(shown - declared):
        yield f"{library}: there but not declared: {name}"


def faults_of_soname(library):
    version = pathlib.Path(library).resolve().name.partition(".so.")[2]
    names = dynamic_entries(library, "SONAME")
    if names != [f"libVelmora_DICOM.so.{version.split('.')[0]}"] or version.count(".") != 2:
        yield f"{library}: version {version} and soname {names} do not agree"
    for needed in dynamic_entries(library, "NEEDED"):
        if not NEEDED.match(needed):
            yield f"{library}: needs {needed}"


def main():
    source, libraries = pathlib.Path(sys.argv[1]), sys.argv[2:]
    headers = list(public_headers(source))
    declared = declared_names(headers)
    faults = list(faults_of_headers(source, headers + [source / "host" / name for name in HOST_HEADERS]))
    faults += faults_of_soname(libraries[0])
    faults += faults_of_names(declared, libraries[0], shown_names(libraries[0], "-D"))
    for library in libraries[1:]:
        names = {name for name in shown_names(library) if not FOR_LOADING.match(name)}
        faults += faults_of_names(declared, library, names)
    for fault in faults:
        print(fault)
    print(f"{len(headers)} headers, {len(declared)} declared names, {len(faults)} faults")
    return 1 if faults or not declared else 0


sys.exit(main())
