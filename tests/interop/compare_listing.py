#!/usr/bin/env python3
"""Compares `velmora dump --format tsv` with what pydicom and dcmdump see in the same files.

    compare_listing.py VELMORA FILE|FOLDER...

For each file that both peers can read, each element is compared: depth, path, tag, length, and the VR where the stream
has one. Every difference is printed with its reason; one without a known reason is marked UNEXPLAINED and makes the
exit status 1. Needs python3-pydicom and dcmtk.
"""
import os
import re
import subprocess
import sys
import warnings
from collections import Counter, namedtuple
from concurrent.futures import ProcessPoolExecutor
from difflib import SequenceMatcher

import pydicom
from pydicom.datadict import dictionary_VR
from pydicom.dataelem import RawDataElement

warnings.simplefilter("ignore")
pydicom.config.replace_un_with_known_vr = False

UNDEFINED = -1
SECONDS = 60

# vr is None where the peer does not tell the stream's own
Element = namedtuple("Element", "depth path tag vr length")


def key(element):
    return element[:3] + (element.length,)


# ---- the three listings ------------------------------------------------------------------

def list_velmora(program, path):
    run = subprocess.run([program, "dump", "--format", "tsv", path], capture_output=True, timeout=SECONDS)
    elements = []
    for line in run.stdout.decode("ascii").splitlines():
        depth, where, tag, vr, length, _offset = line.split("\t")
        elements.append(Element(int(depth), where, tag, vr, int(length)))
    return run.returncode, elements, run.stderr.decode("utf-8", "replace")


def tag_text(tag):
    return "%04x,%04x" % (tag.group, tag.element)


def step_text(tag, number):
    return "%04X%04X[%d]" % (tag.group, tag.element, number)


def is_sequence(element):
    if element.VR is not None:
        return element.VR == "SQ"
    try:
        return dictionary_VR(element.tag) == "SQ"
    except KeyError:
        return False


def walk_pydicom(dataset, depth, path, elements):
    for tag in list(dataset._dict):
        stored = dataset._dict[tag]
        if isinstance(stored, RawDataElement):
            length, vr, opens = stored.length, stored.VR, is_sequence(stored)
        else:
            length = UNDEFINED if stored.is_undefined_length else None
            vr, opens = stored.VR, stored.VR == "SQ"
        length = UNDEFINED if length == 0xFFFFFFFF else length
        elements.append(Element(depth, path, tag_text(tag), vr and str(getattr(vr, "value", vr)), length))
        if opens:
            for number, item in enumerate(dataset[tag].value or [], 1):
                below = step_text(tag, number)
                walk_pydicom(item, depth + 1, below if path == "-" else path + "/" + below, elements)


def list_pydicom(path):
    """None when pydicom cannot read the file."""
    try:
        dataset = pydicom.dcmread(path, force=True)
        elements = []
        walk_pydicom(dataset.file_meta, 0, "-", elements)
        walk_pydicom(dataset, 0, "-", elements)
        return elements
    except Exception:
        return None


DUMP_LINE = re.compile(r"^( *)\(([0-9a-f]{4}),([0-9a-f]{4})\) (\S\S) .*# *(u/l|\d+), *\d+ [^#]*$", re.S)


def dump_lines(text):
    """The lines of a dump; a value with line feeds makes one of several."""
    whole = ""
    for line in text.split("\n"):
        whole = whole + "\n" + line if whole else line
        if DUMP_LINE.match(whole):
            yield whole
            whole = ""
        elif not re.match(r" *\([0-9a-f]{4},[0-9a-f]{4}\)", whole):
            whole = ""


def list_dcmdump(path):
    """None when dcmdump cannot read the file."""
    run = subprocess.run(["dcmdump", "-q", "-M", path], capture_output=True, timeout=SECONDS)
    if run.returncode != 0:
        return None
    elements, around = [], []   # around: the open sequences as [level, tag, items so far]
    for line in dump_lines(run.stdout.decode("latin-1")):
        indent, group, number, vr, length = DUMP_LINE.match(line).groups()
        level = len(indent) // 2
        if group == "fffe":
            while around and level <= around[-1][0]:
                around.pop()
            if number == "e000" and around:
                around[-1][2] += 1
            continue
        while around and level <= around[-1][0]:
            around.pop()
        path_text = "/".join("%s[%d]" % (step[1].replace(",", "").upper(), step[2]) for step in around) or "-"
        elements.append(Element(len(around), path_text, group + "," + number, vr,
                                UNDEFINED if length == "u/l" else int(length)))
        if " (Sequence with " in line or " (PixelSequence" in line:
            around.append([level, group + "," + number, 0])
    return elements


# ---- differences and their reasons -------------------------------------------------------

def pair(ours, theirs):
    """Aligns two listings by depth, path and tag. Gives (ours or None, theirs or None)."""
    names_a, names_b = [e[:3] for e in ours], [e[:3] for e in theirs]
    start = 0
    while start < min(len(ours), len(theirs)) and names_a[start] == names_b[start]:
        start += 1
    yield from zip(ours[:start], theirs[:start])
    matcher = SequenceMatcher(None, names_a[start:], names_b[start:], autojunk=False)
    for what, a, a_end, b, b_end in matcher.get_opcodes():
        if what == "equal":
            yield from zip(ours[start + a:start + a_end], theirs[start + b:start + b_end])
        else:
            yield from ((e, None) for e in ours[start + a:start + a_end])
            yield from ((None, e) for e in theirs[start + b:start + b_end])


def differences(ours, theirs, peer, rest, other, explicit):
    """(text, reason) for each difference from a peer; reason is None when it is not known.

    rest counts what the other peer has: where the peers differ from each other, nobody can agree with both.
    """
    found, seen = [], Counter(e[:3] for e in ours)
    moved = {key(e) for e in ours} & {key(e) for e in theirs}
    reason_two = "the peers differ, %s agrees" % other
    for mine, yours in pair(ours, theirs):
        if mine and yours:
            if yours.length is not None and mine.length != yours.length:
                odd = peer == "dcmdump" and mine.length % 2 == 1 and yours.length == mine.length + 1
                reason = "dcmdump shows an odd length as the even one that it would write" if odd else \
                    reason_two if key(mine) in rest else None
                found.append(("length of %s %s: %d, %s has %d" % (mine.path, mine.tag, mine.length, peer, yours.length),
                              reason))
            if explicit and yours.vr is not None and mine.vr != yours.vr:
                found.append(("VR of %s %s: %s, %s has %s" % (mine.path, mine.tag, mine.vr, peer, yours.vr),
                              reason_vr(mine, yours, rest, other)))
        elif key(mine or yours) in moved and seen[(mine or yours)[:3]] == 1:
            found.append(("%s has %s %s in another place" % (peer, (mine or yours).path, (mine or yours).tag),
                          "%s keeps some elements in the order of their tags" % peer))
        elif mine:
            found.append(("%s has no %s %s of %d bytes" % (peer, mine.path, mine.tag, mine.length),
                          "%s keeps one of several with the same tag" % peer if seen[mine[:3]] > 1 else
                          reason_two if key(mine) in rest else None))
        else:
            found.append(("%s has %s %s of %s bytes as well" % (peer, yours.path, yours.tag, yours.length),
                          reason_two if key(yours) not in rest else None))
    return found


def reason_vr(mine, yours, rest, other):
    if rest.get(key(mine)) == mine.vr:
        return "the peers differ, %s agrees" % other
    if mine.vr == "UN" and yours.vr == "SQ" and mine.length == UNDEFINED:
        return "pydicom makes SQ of a UN of undefined length"
    if not yours.vr.isalpha():
        return "these letters are no VR, the one by definition counts"
    return None


# ---- the run -----------------------------------------------------------------------------

def compare(job):
    program, path = job
    if path.endswith(".zst"):
        return path, "other", [], 0
    peers = {"pydicom": list_pydicom(path), "dcmdump": list_dcmdump(path)}
    status, ours, messages = list_velmora(program, path)
    if None in peers.values():
        readable = "one" if any(v is not None for v in peers.values()) else "none"
        return path, readable, [("exit status %d" % status, messages)] if status else [], len(ours)
    found = []
    if status != 0:
        found.append(("exit status %d: %s" % (status, messages), None))
    for peer, other in (("pydicom", "dcmdump"), ("dcmdump", "pydicom")):
        rest = {key(e): e.vr for e in peers[other]}
        found += differences(ours, peers[peer], peer, rest, other, peer == "pydicom")
    return path, "both", found, len(ours)


def files_of(arguments):
    for argument in arguments:
        if os.path.isdir(argument):
            for folder, _, names in sorted(os.walk(argument)):
                yield from (os.path.join(folder, n) for n in sorted(names) if not n.endswith((".tsv", ".md")))
        else:
            yield argument


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    jobs = [(sys.argv[1], path) for path in files_of(sys.argv[2:])]
    kinds, reasons, unexplained, elements = Counter(), Counter(), 0, 0
    with ProcessPoolExecutor(2) as pool:
        for path, kind, found, count in pool.map(compare, jobs, chunksize=8):
            kinds[kind] += 1
            if kind != "both":
                continue
            elements += count
            for text, reason in found:
                reasons[reason or "UNEXPLAINED"] += 1
                unexplained += reason is None
                print("%s: %s: %s" % (os.path.basename(path), text, reason or "UNEXPLAINED"))
    print("%d files that both peers read, %d elements; %d that one reads, %d that none reads, %d compressed" %
          (kinds["both"], elements, kinds["one"], kinds["none"], kinds["other"]))
    for reason, count in reasons.most_common():
        print("%8d  %s" % (count, reason))
    sys.exit(1 if unexplained else 0)


if __name__ == "__main__":
    main()
