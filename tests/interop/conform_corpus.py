#!/usr/bin/env python3
"""Conforms real files with `velmora conform`, and lets dciodvfy judge them before and after.

    conform_corpus.py [--sample N] VELMORA FILE|FOLDER...
    conform_corpus.py [--sample N] --corpus FOLDER VELMORA

Two things are shown. What dciodvfy can read in full gets no error that it did not have; the errors that are counted with
a reason are listed below. And ten files that are taken apart (attributes out, dates in old forms, sequences emptied) get
back what can be known. --sample takes every N-th file, unless VELMORA_LONG is set; --corpus names the folder to take
where VELMORA_CORPUS names none. Needs dciodvfy (dicom3tools), and python3-pydicom to take files apart. The exit status is
77 without dciodvfy or files, and 1 when an error is new or something did not come back.
"""
import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
import warnings
from collections import Counter
from pathlib import Path

try:
    import pydicom
except ImportError:
    pydicom = None

warnings.simplefilter("ignore")
SECONDS = 60
SKIPPED = 77
MOST_OUTPUT = 4 << 20
TAKEN_APART = 10

# Errors that may come, with the reason.
EXPLAINED = [
    (r"Laterality\(0020,0060\).*condition unsatisfied",
     "the body part was no code before, so that its having no side was not seen"),
    (r"(PerformingPhysicianName|OperatorsName).*Length invalid",
     "an optional name that is too long is cut by the cleaning, which does not look at the parts of a name"),
    (r"TransferSyntaxUID\(0002,0010\)", "a transfer syntax that is no UID loses its letters when the head is written"),
]

# What dciodvfy says when it did not judge a data set as a whole.
NOT_JUDGED = ("read failed", "Information Object Not found")


def errors_of(path):
    """The lines of dciodvfy that are errors; None: it did not end in time or said too much."""
    try:
        with tempfile.TemporaryFile() as out:
            subprocess.run(["sh", "-c", 'ulimit -v 3000000; dciodvfy -new "$0" 2>&1 | head -c %d' % MOST_OUTPUT, path],
                           stdout=out, timeout=SECONDS, check=False)
            out.seek(0)
            text = out.read().decode("latin-1")
    except subprocess.TimeoutExpired:
        return None
    if len(text) >= MOST_OUTPUT:
        return None
    return [line for line in text.splitlines() if line.startswith("Error")]


def conform(velmora, source, target):
    """True when the file was written, whether or not something is lacking."""
    done = subprocess.run([velmora, "conform", "--quiet", str(source), str(target)], stdout=subprocess.DEVNULL,
                          stderr=subprocess.PIPE, timeout=SECONDS, check=False)
    if done.returncode < 0 or done.returncode > 3:
        raise RuntimeError(f"{source}: velmora ended with {done.returncode}")
    return done.returncode in (0, 1) and Path(target).exists()


def reason_of(line):
    return next((reason for pattern, reason in EXPLAINED if re.search(pattern, line)), None)


def compare(velmora, files, folder):
    """Prints each new error; gives the number of those without a reason."""
    counts, unexplained = Counter(), 0
    for number, path in enumerate(files):
        target = folder / f"{number}.dcm"
        if not conform(velmora, path, target):
            counts["not written"] += 1
            continue
        before, after = errors_of(str(path)), errors_of(str(target))
        target.unlink()
        if before is None or after is None:
            counts["too much output"] += 1
            continue
        counts["files"] += 1
        counts["errors before"] += len(before)
        counts["errors after"] += len(after)
        if any(word in line for line in before for word in NOT_JUDGED):
            counts["not judged before"] += 1
            continue
        for line in sorted(set(after) - set(before)):
            reason = reason_of(line)
            unexplained += reason is None
            print(f"{path.name}: {line[:200]}: {reason or 'UNEXPLAINED'}")
    print(", ".join(f"{count} {name}" for name, count in counts.items()))
    if counts["errors after"] > counts["errors before"]:
        print("there are more errors than before: UNEXPLAINED")
        unexplained += 1
    return unexplained


# ---- taking apart -----------------------------------------------------------------------------------------------------

DEMANDED = ["PatientID", "AccessionNumber", "ReferringPhysicianName", "StudyID", "InstanceNumber"]


def take_apart(path, target):
    """Breaks a file. Gives what has to come back, or None when the file does not serve."""
    data = pydicom.dcmread(path)
    wanted = {}
    if "StudyDate" not in data or not re.fullmatch(r"\d{8}", str(data.StudyDate)):
        return None
    wanted["StudyDate"], wanted["SOPClassUID"] = str(data.StudyDate), str(data.SOPClassUID)
    wanted["SOPInstanceUID"], wanted["Modality"] = str(data.SOPInstanceUID), str(data.Modality)
    wanted["HighBit"], wanted["BitsStored"] = data.HighBit, data.BitsStored
    if data.HighBit != data.BitsStored - 1 or str(data.file_meta.MediaStorageSOPInstanceUID) != data.SOPInstanceUID:
        return None
    date = wanted["StudyDate"]
    data.StudyDate = f"{date[:4]}.{date[4:6]}.{date[6:]}"
    if re.fullmatch(r"\d{6}", str(data.get("StudyTime", ""))):
        time = wanted["StudyTime"] = str(data.StudyTime)
        data.StudyTime = f"{time[:2]}:{time[2:4]}:{time[4:]}"
    for name in ["SOPClassUID", "SOPInstanceUID", "Modality", "HighBit"] + DEMANDED:
        if name in data:
            del data[name]
    data.ReferencedImageSequence = []
    data.BodyPartExamined = ""
    pydicom.dcmwrite(target, data)
    return wanted


def serves(path):
    try:
        data = pydicom.dcmread(path, stop_before_pixels=True)
        return {"SOPClassUID", "SOPInstanceUID", "Modality", "HighBit", "BitsStored"} <= {e.keyword for e in data} \
            and re.match(r"1\.2\.840\.10008\.5\.1\.4\.1\.1\.(2|4|20|128)$", str(data.SOPClassUID)) \
            and "MediaStorageSOPInstanceUID" in data.file_meta
    except Exception:   # pydicom raises many kinds on broken files, which do not serve
        return False


def restore(velmora, files, folder):
    """Takes files apart and conforms them; gives the number of what did not come back."""
    faults, done = 0, 0
    for path in files:
        if done == TAKEN_APART:
            break
        broken, target = folder / "broken.dcm", folder / "restored.dcm"
        wanted = take_apart(path, broken) if serves(path) else None
        if wanted is None:
            continue
        done += 1
        if not conform(velmora, broken, target):
            print(f"{path.name}: not written: UNEXPLAINED")
            faults += 1
            continue
        data = pydicom.dcmread(target)
        lost = [name for name, value in wanted.items() if str(data.get(name, "")) != str(value)]
        lost += [name for name in DEMANDED if name not in data]
        lost += [name for name in ("ReferencedImageSequence", "BodyPartExamined") if name in data]
        if data.get("PixelData") != pydicom.dcmread(path).get("PixelData"):
            lost.append("PixelData")
        if lost:
            print(f"{path.name}: {', '.join(lost)}: UNEXPLAINED")
        faults += len(lost)
    print(f"{done} files taken apart, {faults} attributes that did not come back")
    return faults


def files_of(paths):
    for path in map(Path, paths):
        if path.is_dir():
            yield from sorted(p for p in path.rglob("*") if p.is_file() and p.suffix != ".tsv")
        elif path.is_file():
            yield path


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--sample", type=int, default=1)
    parser.add_argument("--corpus")
    parser.add_argument("velmora")
    parser.add_argument("paths", nargs="*")
    choice = parser.parse_args()
    paths = choice.paths or [os.environ.get("VELMORA_CORPUS") or choice.corpus or ""]
    files = list(files_of(p for p in paths if p))
    if shutil.which("dciodvfy") is None or not files:
        print("dciodvfy or files are missing")
        return SKIPPED
    step = 1 if os.environ.get("VELMORA_LONG") else choice.sample
    with tempfile.TemporaryDirectory() as name:
        faults = compare(choice.velmora, files[::step], Path(name))
        if pydicom is not None:
            pydicom.config.settings.writing_validation_mode = pydicom.config.IGNORE \
                if hasattr(pydicom.config, "settings") else None
            faults += restore(choice.velmora, files, Path(name))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
