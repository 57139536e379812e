#!/usr/bin/env python3
"""Converts files to each native syntax and back, and compares what is in them.

    round_trip.py [--sample N] [--corpus FOLDER] VELMORA [FILE|FOLDER...]

For each file that VELMORA reads, and for implicit, explicit and big:
- the converted file has the same elements with the same value bytes, in little-endian terms, and the same fragments;
- converted back, it has the same elements and values, and the same bytes unless VRs were lost in between;
- dcmdump, gdcmdump and pydicom have nothing to say about it that they did not say about the original.
A difference without a known reason is printed, marked UNEXPLAINED, and makes the exit status 1. The reasons are in
EXCEPTIONS, and are counted at the end; --verbose prints what they excuse. Of python3-pydicom, dcmtk and gdcm-tools,
what is not there is left out, and said so.

--sample N takes every N-th file; VELMORA_LONG in the environment, all. --corpus names the folder where no files are
named, VELMORA_CORPUS in the environment another one. Exit status 77: no files are there.
"""
import argparse
import collections
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import warnings
import zlib
from concurrent.futures import ProcessPoolExecutor

try:
    import pydicom
    pydicom.config.replace_un_with_known_vr = False
except ImportError:
    pydicom = None

DCMDUMP, GDCMDUMP = shutil.which("dcmdump"), shutil.which("gdcmdump")
SECONDS = 60
SKIPPED = 77
SYNTAXES = ("implicit", "explicit", "big")

EXCEPTIONS = {
    "compressed": "compressed pixel data is refused in implicit and big, which cannot have it (DICOM PS3.5, A.4)",
    "directory-syntax": "a media directory is refused in implicit and big, which it must not have (DICOM PS3.10, 8.6)",
    "directory-offset": "a media directory whose offsets point at no record is refused",
    "no-vr": "implicit VR does not tell the VR of an attribute that no dictionary knows: it comes back as UN",
    "dictionary-vr": "implicit VR leaves the VR to the dictionary and to the pixels",
    "blank-vr": "no VR stands in the explicit stream, but other bytes: the dictionary and the pixels tell it",
    "unknown-vr": "a VR that the standard does not know is written as UN",
    "long-un": "a value that is too long for its VR's length field is a UN in explicit VR",
    "cut": "a remark on an odd length, of a value that the end of the original cuts off: what is there is kept",
    "no-items": "a sequence by the dictionary, whose bytes are no items: they are kept, as UN where VRs stand",
    "head": "a compressed syntax without pixel data to compress is not called so any more after implicit or big",
    "same-value": "a remark on a value that is so in the original, where the peer took it for UN or did not get to it",
    "unknown-sequence": "dcmdump remarks on sequences of implicit VR that its dictionary does not know",
    "unknown-tag": "pydicom remarks on attributes of implicit VR that its dictionary does not know",
    "big-unknown": "a UN of undefined length is little endian in any syntax (DICOM PS3.5, 6.2.2); pydicom and gdcm "
                   "take it for big",
}

# told: the VR stands in the stream; open: of undefined length; items: the bytes of a sequence with a length
Element = collections.namedtuple("Element", "path tag vr value told open items", defaults=(b"",))
DIRECTORY_OFFSETS = ("0004,1200", "0004,1202", "0004,1400", "0004,1420", "0004,1504")
UNITS = dict(AT=2, FD=8, FL=4, OD=8, OF=4, OL=4, OV=8, OW=2, SL=4, SS=2, SV=8, UL=4, US=2, UV=8)


# ---- what VELMORA sees ---------------------------------------------------------------------

def run(*arguments):
    return subprocess.run(arguments, capture_output=True, timeout=SECONDS)


def turned(value, unit):
    whole = len(value) // unit * unit
    out = bytearray(value)
    for i in range(unit):
        out[i:whole:unit] = value[unit - 1 - i:whole:unit]
    return bytes(out)


def inflated(data):
    """The bytes that offsets count in: those of the data set, where it is deflated."""
    for wbits in (-15, 47):
        engine = zlib.decompressobj(wbits)
        try:
            return engine.decompress(data) + engine.flush()
        except zlib.error:
            continue
    return data


def fragments(data, offset, order):
    """The items of encapsulated data, as one value with a mark between them."""
    out = []
    while offset + 8 <= len(data):
        group, element, length = struct.unpack_from(order + "HHI", data, offset)
        if (group, element) != (0xFFFE, 0xE000):
            break
        out.append(data[offset + 8:offset + 8 + length])
        offset += 8 + length
    return b"|".join(out)


def transfer_syntax(data):
    found = re.search(rb"\x02\x00\x10\x00UI..([0-9.]+)", data[:4096], re.S) if data[128:132] == b"DICM" else None
    return found.group(1).decode() if found else ""


def end_of_head(data):
    length = struct.unpack_from("<I", data, 140)[0]
    return 144 + length


class Listing:
    """The elements of a file behind its head, with their values in little-endian order."""

    def __init__(self, velmora, path):
        with open(path, "rb") as file:
            self.bytes = file.read()
        done = run(velmora, "dump", "--format", "tsv", path)
        self.readable = done.returncode == 0
        self.messages = done.stderr.decode("utf-8", "replace")
        self.syntax = transfer_syntax(self.bytes)
        self.elements = []
        rows = [line.split("\t") for line in done.stdout.decode("ascii").splitlines()]
        deflated = self.syntax.endswith((".1.99", ".4.95", ".4.205"))
        body = inflated(self.bytes[end_of_head(self.bytes):]) if deflated else self.bytes
        big = self.syntax == "1.2.840.10008.1.2.2" or self.is_big(rows, body)
        for _depth, where, tag, vr, length, offset in rows:
            if tag.startswith("0002,"):
                continue
            self.elements.append(self.element(body, big, where, tag, vr, int(length), int(offset)))
        self.follow_records(rows)

    def follow_records(self, rows):
        """Offsets of a media directory, as the number of the record that they point at."""
        records = {}
        for _depth, where, tag, _vr, _length, offset in rows:
            found = re.fullmatch(r"00041220\[(\d+)\]", where)
            if found and tag == "0004,1400":
                records[int(offset) - 16] = "record %s" % found.group(1)
        for i, each in enumerate(self.elements):
            if each.tag in DIRECTORY_OFFSETS and len(each.value) == 4 and records:
                place = struct.unpack("<I", each.value)[0]
                self.elements[i] = each._replace(value=records.get(place, "offset %d" % place if place else "none"))

    @staticmethod
    def is_big(rows, body):
        """Without a head: the first tag tells."""
        for _depth, _where, tag, vr, length, offset in rows:
            at = int(offset) - 8
            if at >= 0 and body[at:at + 4] == struct.pack(">HH", int(tag[:4], 16), int(tag[5:], 16)):
                return True
            if at >= 0 and body[at:at + 4] == struct.pack("<HH", int(tag[:4], 16), int(tag[5:], 16)):
                return False
        return False

    def element(self, body, big, where, tag, vr, length, offset):
        letters = vr.encode()
        told = letters in (body[offset - 4:offset - 2], body[offset - 8:offset - 6])
        if length == -1 and tag == "7fe0,0010":
            return Element(where, tag, vr, fragments(body, offset, ">" if big else "<"), told, True)
        if length == -1 or vr == "SQ":
            return Element(where, tag, "SQ" if vr != "UN" else vr, b"", told, length == -1,
                           body[offset:offset + max(length, 0)])
        value = body[offset:offset + length]
        if big and vr in UNITS and not self.stands_as_un(body, offset, tag):
            value = turned(value, UNITS[vr])
        return Element(where, tag, vr, value, told, False)

    @staticmethod
    def stands_as_un(body, offset, tag):
        return body[offset - 8:offset - 4] == b"UN\0\0"


# ---- comparing -----------------------------------------------------------------------------

Difference = collections.namedtuple("Difference", "step what reason")


def has_items(element):
    return element.value == b"" and element.vr in ("SQ", "UN")


def reason_for_vr(a, b, syntaxes):
    if "UN" in (a.vr, b.vr) and len(a.value) > 65535:
        return "long-un"
    if not re.fullmatch("[A-Z]{2}", a.vr) or a.vr not in KNOWN_VRS:
        return "unknown-vr"
    if "implicit" in syntaxes:
        return "no-vr" if b.vr == "UN" else "dictionary-vr"
    return None if a.told else "blank-vr"


KNOWN_VRS = set("AE AS AT CS DA DS DT FD FL IS LO LT OB OD OF OL OV OW PN SH SL SQ SS ST SV TM UC UI UL UN UR US UT "
                "UV".split())


def compare(step, a, b, syntaxes):
    """Yields what differs between two listings."""
    def in_order(listing):
        kept = [e for e in listing.elements if not e.tag.endswith(",0000")]
        return sorted(kept, key=lambda e: (e.path, e.tag))
    ours, theirs = in_order(a), in_order(b)
    count = collections.Counter((e.path, e.tag) for e in ours)
    count.subtract((e.path, e.tag) for e in theirs)
    for (path, tag), n in count.items():
        if n > 0:
            yield Difference(step, "%s %s is lost" % (path, tag), None)
        if n < 0:
            yield Difference(step, "%s %s is new" % (path, tag), None)
    if any(count.values()):
        return
    for x, y in zip(ours, theirs):
        place = "%s %s" % (x.path, x.tag)
        if x.value != y.value and not (has_items(x) and has_items(y)):
            reason = "no-items" if x.vr == "SQ" and y.vr == "UN" and x.items == y.value else None
            what = "%s: value of %d bytes became one of %d" % (place, len(x.value), len(y.value))
            yield Difference(step, what, reason)
        if x.vr != y.vr:
            yield Difference(step, "%s: VR %s became %s" % (place, x.vr, y.vr), reason_for_vr(x, y, syntaxes))


# ---- what others say -----------------------------------------------------------------------

def masked(text):
    return re.sub(r"0x[0-9a-f]+|\d+", "#", re.sub(r"\([0-9a-fA-F]{4},\s?[0-9a-fA-F]{4}\)", "(tag)", text))


def dcmdump_says(path):
    if DCMDUMP is None:
        return set()
    done = run(DCMDUMP, "-q", "+E", path)
    lines = done.stderr.decode("latin-1").replace(path, "FILE").splitlines()
    loud = run(DCMDUMP, "-M", path)
    lines += loud.stderr.decode("latin-1").replace(path, "FILE").splitlines()
    return {masked(line) for line in lines if line.startswith(("W:", "E:", "F:"))}


def walk(dataset):
    for element in dataset:
        if element.VR == "SQ":
            for item in element.value:
                walk(item)
        else:
            str(element.value)[:64]


def pydicom_says(path):
    if pydicom is None:
        return set()
    with warnings.catch_warnings(record=True) as said:
        warnings.simplefilter("always")
        try:
            walk(pydicom.dcmread(path, force=True))
        except Exception as error:     # whatever it is, it is a complaint
            return {masked("%s: %s" % (type(error).__name__, error))} | {masked(str(w.message)) for w in said}
    return {masked(str(w.message)) for w in said}


def gdcmdump_says(path):
    if GDCMDUMP is None:
        return set()
    done = run(GDCMDUMP, path)
    said = {masked(line) for line in done.stderr.decode("latin-1").replace(path, "FILE").splitlines() if line.strip()}
    return said | ({"exit status %d" % done.returncode} if done.returncode else set())


PEERS = (("dcmdump", dcmdump_says), ("gdcmdump", gdcmdump_says), ("pydicom", pydicom_says))
LONGEST = dict(AE=16, CS=16, DS=16, IS=12, LO=64, SH=16, UI=64, LT=10240, ST=1024)
UID = re.compile(rb"(0|[1-9][0-9]*)(\.(0|[1-9][0-9]*))*")


def is_faulty(element, vr):
    """Whether a value breaks the rules of the VR that a remark is about."""
    values = element.value.rstrip(b"\0 ").split(b"\\")
    if vr == "PN":
        return any(len(part) > 64 for value in values for part in value.split(b"="))
    if vr == "UI" and any(value and not UID.fullmatch(value) for value in values):
        return True
    return any(len(value) > LONGEST.get(vr, 1 << 32) for value in values)


def reason_for_remark(peer, remark, syntax, original, listing):
    """The reason for a remark of a peer about the converted file, which has the values of the original one."""
    about = re.search(r"(?:allowed for|for) VR ([A-Z]{2})|The (PN) component length", remark)
    if about:
        vr = about.group(1) or about.group(2)
        before = {(e.path, e.tag): e.value for e in original.elements}
        if any(e.vr == vr and is_faulty(e, vr) and before.get((e.path, e.tag)) == e.value for e in listing.elements):
            return "same-value"
    if peer == "dcmdump" and "is odd" in remark and "bytes that are there are kept" in original.messages:
        return "cut"
    if peer == "dcmdump" and "is odd" in remark and "lenght is odd" in original.messages:
        return "same-value"
    if peer == "dcmdump" and syntax == "implicit" and "VR UN and undefined length" in remark:
        return "unknown-sequence"
    if peer == "pydicom" and syntax == "implicit" and remark.startswith("Unknown DICOM tag"):
        return "unknown-tag"
    if peer != "dcmdump" and syntax == "big" and any(e.vr == "UN" and e.open for e in listing.elements):
        return "big-unknown"
    return None


# ---- one file ------------------------------------------------------------------------------

def syntax_of(listing, path):
    named = {"1.2.840.10008.1.2": "implicit", "1.2.840.10008.1.2.2": "big"}.get(listing.syntax)
    if named or listing.syntax:
        return named or "explicit"
    return "implicit"


NATIVE = ("1.2.840.10008.1.2", "1.2.840.10008.1.2.1", "1.2.840.10008.1.2.2")
REFUSALS = {
    "is compressed": "compressed",
    "is a media directory": "directory-syntax",
    "points to offset": "directory-offset",
}


def check_file(job):
    velmora, path, folder = job
    differences = []
    original = Listing(velmora, path)
    if not original.readable or not original.elements:
        return path, None, []
    name = os.path.join(folder, "%d-%s" % (os.getpid(), abs(hash(path))))

    def convert(source, syntax, suffix):
        target = "%s.%s" % (name, suffix)
        done = run(velmora, "convert", "--syntax", syntax, source, target)
        text = done.stderr.decode("utf-8", "replace")
        if done.returncode == 0:
            return target
        known = [reason for words, reason in REFUSALS.items() if words in text]
        what = text.strip().splitlines()[-1].split(": ", 2)[-1] if text.strip() else "without a word"
        differences.append(Difference(syntax, "refused: " + what, known[0] if known else None))
        return None

    said_before = {peer: says(path) for peer, says in PEERS}
    first = syntax_of(original, path)
    direct = convert(path, first, "direct")
    for syntax in SYNTAXES:
        there = direct if syntax == first else convert(path, syntax, syntax)
        if there is None:
            continue
        listing = Listing(velmora, there)
        differences += compare(syntax, original, listing, (first, syntax))
        for peer, says in PEERS:
            for line in sorted(says(there) - said_before[peer]):
                reason = reason_for_remark(peer, line, syntax, original, listing)
                differences.append(Difference(syntax, "%s: %s" % (peer, line), reason))
        if syntax == first or direct is None:
            continue
        back = convert(there, first, "back")
        if back is None:
            continue
        differences += compare(syntax + " and back", Listing(velmora, direct), Listing(velmora, back), (first, syntax))
        if syntax != "implicit":
            differences += compare_bytes(syntax + " and back", direct, back)
    for each in os.listdir(folder):
        if os.path.join(folder, each).startswith(name + "."):
            os.unlink(os.path.join(folder, each))
    return path, len(original.elements), differences


def compare_bytes(step, path, other):
    with open(path, "rb") as file, open(other, "rb") as file_back:
        a, b = file.read(), file_back.read()
    body_a, body_b = a[end_of_head(a):], b[end_of_head(b):]
    if body_a != body_b:
        yield Difference(step, "other bytes", None)
    elif a != b:
        has_pixels = b"\xe0\x7f\x10\0" in body_a
        was_native = transfer_syntax(a) in NATIVE
        yield Difference(step, "another head", None if has_pixels or was_native else "head")


def files_of(arguments):
    for argument in arguments:
        if os.path.isfile(argument):
            yield argument
        for top, _folders, names in sorted(os.walk(argument)):
            for name in sorted(names):
                yield os.path.join(top, name)


def main():
    arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    arguments.add_argument("--sample", type=int, default=1)
    arguments.add_argument("--corpus")
    arguments.add_argument("--verbose", action="store_true")
    arguments.add_argument("velmora")
    arguments.add_argument("paths", nargs="*")
    options = arguments.parse_args()
    if options.corpus and not options.paths:
        options.paths = [os.environ.get("VELMORA_CORPUS") or options.corpus]
    paths = list(files_of(options.paths))[::1 if "VELMORA_LONG" in os.environ else options.sample]
    if not paths:
        print("no files are there")
        return SKIPPED
    for peer, there in (("pydicom", pydicom), ("dcmdump", DCMDUMP), ("gdcmdump", GDCMDUMP)):
        if not there:
            print("%s is not there: its part is left out" % peer)
    files = elements = unexplained = 0
    reasons = collections.Counter()
    with tempfile.TemporaryDirectory() as folder, ProcessPoolExecutor(2) as pool:
        for path, count, differences in pool.map(check_file, [(options.velmora, path, folder) for path in paths]):
            files += count is not None
            elements += count or 0
            for each in differences:
                unexplained += each.reason is None
                reasons[each.reason] += 1
                if each.reason is None or options.verbose:
                    print("%s %s: %s: %s" % (each.reason or "UNEXPLAINED", path, each.step, each.what))
    print("%d files with %d elements, %d differences, %d unexplained" %
          (files, elements, sum(reasons.values()), unexplained))
    for reason, count in sorted((r, n) for r, n in reasons.items() if r):
        print("%6d %s: %s" % (count, reason, EXCEPTIONS[reason]))
    return 1 if unexplained or files == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
