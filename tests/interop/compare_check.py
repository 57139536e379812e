#!/usr/bin/env python3
"""Compares what `velmora check` says about values with what dciodvfy says about the same files.

    compare_check.py [--sample N] VELMORA FILE|FOLDER...
    compare_check.py [--sample N] --corpus FOLDER VELMORA

For each tag of a file, both sides say whether a value is wrong (its characters, length, form or size), whether the
number of values is wrong, and whether the attribute is retired. Where one side says so and the other does not, the
difference is printed with its reason; one without a known reason is marked UNEXPLAINED and makes the exit status 1.
dciodvfy judges more than values (modules, and what depends on other attributes): that is not compared. --sample takes
every N-th file, unless VELMORA_LONG is set; --corpus names the folder to take where VELMORA_CORPUS names none.
Needs dicom3tools. The exit status is 77 without it, and without files.
"""
import argparse
import json
import os
import re
import shutil
import subprocess
import sys
from collections import Counter, defaultdict, namedtuple
from concurrent.futures import ThreadPoolExecutor

SECONDS = 60
SKIPPED = 77
MEMORY_KB = 2000000   # what dciodvfy may take for a damaged file
OUTPUT_BYTES = 4000000

# What is judged of an attribute, by the kinds of our findings.
KINDS = {"characters": "value", "length": "value", "old-form": "value", "size": "value", "range": "value",
         "values": "values", "retired": "retired"}

Judgement = namedtuple("Judgement", "tag what vr text")


def tag_of(match):
    return match.group(1).lower() + "," + match.group(2).lower()


# ---- our side ----------------------------------------------------------------------------

def judge_by_velmora(program, path):
    run = subprocess.run([program, "check", "--format", "jsonl", path], capture_output=True, timeout=SECONDS)
    found = []
    for line in run.stdout.decode("utf-8").splitlines():
        finding = json.loads(line)
        if finding["kind"] in KINDS and "tag" in finding:
            found.append(Judgement(finding["tag"], KINDS[finding["kind"]], finding["vr"], finding["text"]))
        elif "tag" in finding:
            found.append(Judgement(finding["tag"], "other", finding["vr"], finding["text"]))
    return run.returncode, found


# ---- the other side ----------------------------------------------------------------------

TAG = r"\(0x([0-9a-fA-F]{4}),0x([0-9a-fA-F]{4})\)"
VALUE = re.compile(r"Error - Value invalid for this VR - " + TAG + r" +(\w\w|\?).*")
RETIRED = re.compile(r"Warning - Retired attribute - " + TAG + r" +(\w\w).*")
SIZE = re.compile(TAG + r" +(\w\w).* - Error - Bad Value Length - not a multiple.*")
NUMBER = re.compile(r"Error - Bad attribute Value Multiplicity (\d+) \((\S+) Required by Dictionary\) Element=<(\w+)>.*")
# Behind one of these nothing is judged that the rest of the file says.
STOPPED = re.compile(r"read failed|aborted|value representation unsupported|supposed to be explicit|"
                     r"illegal zero bytes where explicit|segmentation|seek failed", re.IGNORECASE)


def judge_by_dciodvfy(path):
    # A damaged file can make it write without end.
    command = "ulimit -v %d; dciodvfy \"$1\" 2>&1 | head -c %d" % (MEMORY_KB, OUTPUT_BYTES)
    try:
        run = subprocess.run(["sh", "-c", command, "sh", path], capture_output=True, timeout=SECONDS)
    except subprocess.TimeoutExpired:
        return False, []
    found, is_whole = [], len(run.stdout) < OUTPUT_BYTES
    for line in run.stdout.decode("latin-1").split("\n"):
        for pattern, what in ((VALUE, "value"), (RETIRED, "retired"), (SIZE, "value")):
            match = pattern.match(line)
            if match:
                reason = line.rsplit(" - ", 1)[-1]
                found.append(Judgement(tag_of(match), what, match.group(3), reason))
        match = NUMBER.match(line)
        if match:
            found.append(Judgement(match.group(3), "values", "", "%s values, %s by the dictionary" % match.group(1, 2)))
        if STOPPED.search(line):
            is_whole = False
    return is_whole, found


def dictionary_row(program, text, rows={}):
    if text not in rows:
        run = subprocess.run([program, "dict", text], capture_output=True, timeout=SECONDS)
        rows[text] = run.stdout.decode("utf-8").split("\n")[0].split("\t")
    return rows[text]


def is_retired(program, tag):
    return "RET" in dictionary_row(program, tag)


def with_tags(program, found):
    """Keywords into tags."""
    return [each if "," in each.tag else each._replace(tag=dictionary_row(program, each.tag)[0] or each.tag)
            for each in found]


# ---- differences and their reasons -------------------------------------------------------

# (what, pattern of the text, reason) of what only one side says. The first that fits counts.
OURS_ONLY = [
    ("value", r'Expecting 6, 8 or 10 bytes|not from set "0123456789\.\\"',
     "a date is one value of digits to us, no list and no zero bytes"),
]
THEIRS_ONLY = [
    ("value", r"Nothing but zero components|Leading zeroes|Empty component|Missing component|Illegal root",
     "we judge a UID by its characters and its length, not by its components"),
    ("value", r"Length invalid for this VR = \d+, expected <= 64$",
     "in a name each component group counts for itself; we count all of it, up to 320"),
    ("retired", r"Group Length", "group lengths are read as any other attribute"),
]
FREE_TEXTS = ("LO", "LT", "PN", "SH", "ST", "UT")
NUMBERS_IN_TEXT = ("DA", "DS", "DT", "IS", "TM")


def explain_ours(each, is_whole):
    for what, pattern, reason in OURS_ONLY:
        if what == each.what and re.search(pattern, each.text):
            return reason
    return None if is_whole else "dciodvfy does not read this file to its end"


def explain_theirs(each, mine, is_retired):
    """mine: what we say of anything in this file, by tag and what."""
    for what, pattern, reason in THEIRS_ONLY:
        if what == each.what and re.search(pattern, each.text):
            return reason
    if each.what == "retired" and not is_retired:
        return "our dictionary, of an earlier edition, has it as current or not at all"
    if (each.tag, "other") in mine:
        return "we say it in another way: padding, an odd length, no VR, a fault of the stream"
    if each.text.startswith("VL is") and any(what == "other" for _, what in mine):
        return "we say in another place what is wrong with the stream"
    if int(each.tag[:4], 16) % 2 == 1:
        return "the VR of a private attribute comes from other lists"
    if each.text.startswith("Character invalid") and each.vr in FREE_TEXTS:
        return "in free text we do not look at the characters"
    if each.text.startswith("Character invalid") and each.vr in NUMBERS_IN_TEXT:
        return "we judge dates, times and numbers by their characters, not by what they say"
    return None


def compare(job):
    program, path = job
    status, ours = judge_by_velmora(program, path)
    is_whole, theirs = judge_by_dciodvfy(path)
    theirs = with_tags(program, theirs)
    if status == 3:
        return path, "unreadable", [], 0
    mine, yours = defaultdict(list), defaultdict(list)
    for side, found in ((mine, ours), (yours, theirs)):
        for each in found:
            side[each.tag, each.what].append(each)
    differences, agreed = [], 0
    for key in sorted(set(mine) | set(yours)):
        if key[1] == "other":
            continue
        if key in mine and key in yours:
            agreed += 1
            continue
        who = "velmora" if key in mine else "dciodvfy"
        each = (mine if key in mine else yours)[key][0]
        reason = explain_ours(each, is_whole) if key in mine else \
            explain_theirs(each, mine, is_retired(program, each.tag))
        differences.append(("only %s: %s %s: %s" % (who, key[0], each.vr, each.text[:160]), reason))
    return path, "whole" if is_whole else "in part", differences, agreed


# ---- the run -----------------------------------------------------------------------------

def files_of(arguments):
    for argument in arguments:
        if os.path.isdir(argument):
            for folder, _, names in sorted(os.walk(argument)):
                yield from (os.path.join(folder, n) for n in sorted(names) if not n.endswith((".tsv", ".md")))
        else:
            yield argument


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--sample", type=int, default=1)
    parser.add_argument("--corpus")
    parser.add_argument("velmora")
    parser.add_argument("files", nargs="*")
    options = parser.parse_args()
    places = options.files or [os.environ.get("VELMORA_CORPUS") or options.corpus or ""]
    files = list(files_of([p for p in places if os.path.exists(p)]))
    if "VELMORA_LONG" not in os.environ:
        files = files[::options.sample]
    if not files or shutil.which("dciodvfy") is None:
        print("no files, or no dciodvfy")
        sys.exit(SKIPPED)
    kinds, reasons, agreed = Counter(), Counter(), 0
    with ThreadPoolExecutor(2) as pool:
        for path, kind, differences, count in pool.map(compare, [(options.velmora, f) for f in files]):
            kinds[kind] += 1
            agreed += count
            for text, reason in differences:
                reasons[reason or "UNEXPLAINED"] += 1
                print("%s: %s: %s" % (os.path.basename(path), text, reason or "UNEXPLAINED"))
    print("%d files that both read whole, %d that dciodvfy reads in part, %d that are unreadable; %d judgements agree" %
          (kinds["whole"], kinds["in part"], kinds["unreadable"], agreed))
    for reason, count in reasons.most_common():
        print("%8d  %s" % (count, reason))
    sys.exit(1 if reasons["UNEXPLAINED"] else 0)


if __name__ == "__main__":
    main()
