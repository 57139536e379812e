#!/usr/bin/env python3
"""Compares `velmora dump --format json` with the JSON that pydicom and dcm2json make of the same files.

    compare_json.py [--sample N] VELMORA FILE|FOLDER...
    compare_json.py [--sample N] --corpus FOLDER VELMORA

Every attribute at any depth that both sides know is compared: its VR, and its value, where numbers are numbers and a
reference to a binary value is followed. Each difference is printed with its reason; one without a known reason is
marked UNEXPLAINED and makes the exit status 1, as output that is no valid JSON does. --sample takes every N-th file,
unless VELMORA_LONG is set; --corpus names the folder to take where VELMORA_CORPUS names none.
Needs python3-pydicom or dcmtk, better both. The exit status is 77 without them, and without files.
"""
import argparse
import base64
import json
import math
import os
import shutil
import struct
import subprocess
import sys
import urllib.parse
import warnings
import zlib
from collections import Counter
from concurrent.futures import ProcessPoolExecutor

try:
    import pydicom
except ImportError:
    pydicom = None

warnings.simplefilter("ignore")
if pydicom is not None:
    pydicom.config.replace_un_with_known_vr = False
SECONDS = 60
SKIPPED = 77
BYTE_VRS = ("OB", "OD", "OF", "OL", "OV", "OW", "UN")


# ---- the three outputs -------------------------------------------------------------------

def refuse_constant(name):
    raise ValueError("%s is no JSON" % name)


def parse(output):
    return json.loads(output.decode("utf-8"), parse_constant=refuse_constant)


def run_velmora(program, path):
    run = subprocess.run([program, "dump", "--format", "json", path], capture_output=True, timeout=SECONDS)
    return run.returncode, run.stdout


def run_pydicom(path):
    """None when pydicom is not there or cannot read the file."""
    if pydicom is None:
        return None
    try:
        return pydicom.dcmread(path, force=True).to_json_dict()
    except Exception:
        return None


def run_dcm2json(path):
    """None when dcmtk is not there or cannot read the file."""
    if shutil.which("dcm2json") is None:
        return None
    run = subprocess.run(["dcm2json", "-q", "-fc", "-ee", path], capture_output=True, timeout=SECONDS)
    try:
        return parse(run.stdout) if run.returncode == 0 else None
    except ValueError:
        return None


# ---- what is compared --------------------------------------------------------------------

def walk(dataset, path=""):
    """(path, attribute) of everything in a data set."""
    for tag, attribute in dataset.items():
        attribute["vr"] = attribute["vr"].replace("VR.", "")   # pydicom's slip where it has chosen a VR
        yield path + tag, attribute
        if attribute["vr"] == "SQ":
            for number, item in enumerate(attribute.get("Value", []), 1):
                yield from walk(item or {}, "%s%s[%d]/" % (path, tag, number))


def inflated(data):
    """The data set behind the head of a deflated file, whose group length is at its usual place."""
    head = 144 + struct.unpack_from("<I", data, 140)[0]
    return zlib.decompressobj(-15).decompress(data[head:])


def follow(uri):
    """The bytes that a reference means."""
    parts = urllib.parse.urlsplit(uri)
    place = dict(urllib.parse.parse_qsl(parts.fragment))
    with open(urllib.parse.unquote(parts.path), "rb") as file:
        data = file.read()
    if "inflated-offset" in place:
        data = inflated(data)
    start = int(place.get("offset", place.get("inflated-offset")))
    return data[start:start + int(place["length"])]


def binary(attribute):
    if "InlineBinary" in attribute:
        return base64.b64decode(attribute["InlineBinary"])
    return follow(attribute["BulkDataURI"]) if "BulkDataURI" in attribute else b""


def is_binary(attribute):
    return "InlineBinary" in attribute or "BulkDataURI" in attribute


def as_float(number):
    try:
        return struct.unpack("<f", struct.pack("<f", number))[0]
    except OverflowError:
        return math.inf


def same_value(mine, yours):
    if isinstance(mine, (int, float)) and isinstance(yours, (int, float)):
        return mine == yours or as_float(mine) == as_float(yours)
    if isinstance(mine, dict) and isinstance(yours, dict):
        return {k: v for k, v in mine.items() if v} == {k: v for k, v in yours.items() if v}
    return mine == yours or (not mine and not yours and mine != 0 and yours != 0)


def values_of(attribute):
    if attribute["vr"] == "SQ":
        return [None] * len(attribute.get("Value", []))
    return attribute.get("Value", [])


def same(mine, yours):
    if is_binary(mine) or is_binary(yours):
        return binary(mine) == binary(yours)
    a, b = values_of(mine), values_of(yours)
    return len(a) == len(b) and all(same_value(x, y) for x, y in zip(a, b))


# ---- reasons -----------------------------------------------------------------------------

def shown(attribute):
    if is_binary(attribute):
        value = binary(attribute)
        return "%s %d bytes %s" % (attribute["vr"], len(value), value[:16].hex())
    if attribute["vr"] == "SQ":
        return "SQ of %d items" % len(values_of(attribute))
    return "%s %s" % (attribute["vr"], json.dumps(values_of(attribute), ensure_ascii=False)[:80])


def is_private(path):
    return int(path[-5], 16) % 2 == 1


NUMBERS = {"AT": "H", "FD": "d", "FL": "f", "SL": "i", "SS": "h", "SV": "q", "UL": "I", "US": "H", "UV": "Q"}


def as_number(text):
    try:
        return float(text)
    except ValueError:
        return text


def decode(data, vr):
    """The values that bytes stand for under a VR, little endian; None where that does not tell."""
    if vr in NUMBERS:
        size = struct.calcsize(NUMBERS[vr])
        if len(data) % size:
            return None
        numbers = list(struct.unpack("<%d%s" % (len(data) // size, NUMBERS[vr]), data))
        pairs = zip(numbers[::2], numbers[1::2])
        return ["%04X%04X" % pair for pair in pairs] if vr == "AT" else numbers
    text = data.decode("latin-1").rstrip(" \0")
    texts = [text] if vr in ("LT", "ST", "UT", "UR") else text.split("\\")
    if vr == "PN":
        return [dict(zip(("Alphabetic", "Ideographic", "Phonetic"), t.split("="))) for t in texts if text]
    return [as_number(t) if vr in ("DS", "IS") and t.strip() else t.strip() for t in texts if text]


def is_same_field(mine, yours):
    """Whether a UN holds the bytes of what the peer has under a VR of its own knowledge."""
    if is_binary(yours) or not binary(mine):
        return binary(mine) == binary(yours) and not values_of(yours)
    if yours["vr"] == "SQ":
        return binary(mine)[:4] in (b"\xfe\xff\x00\xe0", b"") or not values_of(yours)
    return same({"vr": yours["vr"], "Value": decode(binary(mine), yours["vr"])}, yours)


def without_carets(attribute):
    names = [{group: name.rstrip("^ ") for group, name in (value or {}).items()} for value in values_of(attribute)]
    return [name for name in names if any(name.values())]


def reason_for(path, mine, yours, peer, other, rest):
    vrs = mine["vr"], yours["vr"]
    a, b = values_of(mine), values_of(yours)
    if path in rest and rest[path]["vr"] == mine["vr"] and same(mine, rest[path]):
        return "the peers differ, %s agrees" % other
    if path.endswith("00080005"):
        return "the texts are in UTF-8, and (0008,0005) says so; %s keeps what it said of the bytes" % peer
    if vrs[0] == "UN" and vrs[1] != "UN" and is_same_field(mine, yours):
        return "the same bytes, but a %s, and so UN" % ("private attribute that is not defined here" if is_private(path)
                                                        else "tag that is newer than the dictionary")
    if vrs == ("PN", "PN") and peer == "dcm2json" and without_carets(mine) == without_carets(yours):
        return "dcm2json leaves out carets at the end of a name"
    if vrs == ("UN", "SQ") and binary(mine)[:2] != b"\xfe\xff" and len(b) == 1 and not b[0]:
        return "a sequence by definition, but its bytes are no items; %s makes an empty one of them" % peer
    if is_binary(mine) and is_binary(yours) and path.endswith("7FE00010") and \
            binary(mine).startswith(binary(yours)) and len(binary(mine)) == len(binary(yours)) + 8:
        return "fragments that the file cuts; %s takes off the delimiter that is not there" % peer
    if vrs[0] == vrs[1] and len(a) < len(b) and same_value(a, b[:len(a)]) and len(b) > 100:
        return "a header without a VR of letters; %s takes the elements behind it for its value" % peer
    if vrs == ("UT", "UR"):
        return "UR is newer than the dictionary"
    if vrs[0] == vrs[1] and "\ufffd" in json.dumps(a, ensure_ascii=False):
        return "bytes that are no characters of the set; %s takes them for Latin-1" % peer
    if vrs == ("CS", "CS") and [str(x).strip() for x in b] == a:
        return "%s leaves the padding of a value that is not the last" % peer
    if vrs == ("CS", "CS") and not all(str(x).isascii() for x in a):
        return "a CS beyond the default repertoire; the set of the data set counts here, %s takes Latin-1" % peer
    return None


def compare_attributes(ours, theirs, peer, other, rest):
    """(text, reason) for each difference; reason is None when it is not known."""
    for path in sorted(set(ours) & set(theirs)):
        mine, yours = ours[path], theirs[path]
        if mine["vr"] == yours["vr"] and same(mine, yours):
            continue
        yield ("%s: %s, %s has %s" % (path, shown(mine), peer, shown(yours)),
               reason_for(path, mine, yours, peer, other, rest))


# ---- the run -----------------------------------------------------------------------------

def compare(job):
    program, path = job
    status, output = run_velmora(program, path)
    if status != 0:
        return path, "unread", [], 0
    try:
        ours = dict(walk(parse(output)))
    except (ValueError, TypeError) as error:
        return path, "compared", [("no valid JSON: %s" % error, None)], 0
    peers = {"pydicom": run_pydicom(path), "dcm2json": run_dcm2json(path)}
    peers = {name: dict(walk(dataset)) for name, dataset in peers.items() if dataset is not None}
    found = []
    for name, theirs in peers.items():
        other = "dcm2json" if name == "pydicom" else "pydicom"
        found += compare_attributes(ours, theirs, name, other, peers.get(other, {}))
    return path, "compared" if peers else "alone", found, len(ours)


def files_of(arguments):
    for argument in arguments:
        if not os.path.exists(argument):
            continue
        if os.path.isdir(argument):
            for folder, _, names in sorted(os.walk(argument)):
                yield from (os.path.join(folder, n) for n in sorted(names) if not n.endswith((".tsv", ".md", ".zst")))
        else:
            yield argument


def main():
    arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    arguments.add_argument("--sample", type=int, default=1)
    arguments.add_argument("--corpus")
    arguments.add_argument("velmora")
    arguments.add_argument("paths", nargs="*")
    options = arguments.parse_args()
    if options.corpus and not options.paths:
        options.paths = [os.environ.get("VELMORA_CORPUS") or options.corpus]
    jobs = [(options.velmora, path) for path in files_of(options.paths)]
    jobs = jobs[::1 if "VELMORA_LONG" in os.environ else options.sample]
    if pydicom is None and shutil.which("dcm2json") is None:
        print("neither pydicom nor dcm2json is there")
        sys.exit(SKIPPED)
    if not jobs:
        print("no files are there")
        sys.exit(SKIPPED)
    kinds, reasons, unexplained, attributes = Counter(), Counter(), 0, 0
    with ProcessPoolExecutor(2) as pool:
        for path, kind, found, count in pool.map(compare, jobs, chunksize=8):
            kinds[kind] += 1
            attributes += count
            for text, reason in found:
                reasons[reason or "UNEXPLAINED"] += 1
                unexplained += reason is None
                print("%s: %s: %s" % (os.path.basename(path), text, reason or "UNEXPLAINED"))
    print("%d files compared, %d attributes; %d that no peer reads, %d that are no data sets" %
          (kinds["compared"], attributes, kinds["alone"], kinds["unread"]))
    for reason, count in reasons.most_common():
        print("%8d  %s" % (count, reason))
    sys.exit(1 if unexplained or kinds["compared"] == 0 else 0)


if __name__ == "__main__":
    main()
