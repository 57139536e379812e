#!/usr/bin/env python3
"""Asks bash and zsh to complete command lines of velmora, each as a user would with the tab key.

    completion_check.py FOLDER VELMORA     the folder of the completion files

A shell that is not installed is left out. The exit status is 1 when a completion is not as it should be, 77 when there
is neither shell.
"""
import os
import pty
import re
import select
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

SKIPPED = 77
SECONDS = 20

# The line up to the cursor, words that are offered, words that are not.
ROWS = [
    ("velmora du", ["dump"], ["dict"]),
    ("velmora c", ["check", "convert", "conform", "code"], ["dump"]),
    ("velmora dump --fo", ["--format"], ["--files-from"]),
    ("velmora dump --format ", ["tree", "tsv", "json"], ["lines", "--only"]),
    ("velmora dump -f j", ["json"], ["tree"]),
    ("velmora convert -s ", ["implicit", "explicit", "big"], []),
    ("velmora check --format ", ["lines", "jsonl"], ["tsv"]),
    ("velmora check --ignore r", ["repaired", "retired", "range", "required"], ["vr"]),
    ("velmora dump im", ["image.dcm"], ["other"]),
    ("velmora repair --journal im", ["image.dcm"], []),
    ("velmora check --definitions st", ["study"], ["stray.dcm"]),
    ("velmora get PatientBirthD", ["PatientBirthDate"], ["PatientName"]),
    ("velmora get PatientName im", ["image.dcm"], ["other"]),
    ("velmora get -t PatientName --all im", ["image.dcm"], []),
    ("velmora dict StudyInstanceU", ["StudyInstanceUID"], []),
    ("velmora template CT_", ["CT_Image"], ["MR_Image"]),
    ("velmora conform --module MR_I", ["MR_Image"], ["CT_Image"]),
    ("velmora code Anatomic_Reg", ["Anatomic_Region"], []),
    ("velmora help conv", ["convert"], ["check"]),
]
BASH_ROWS = ROWS + [("velmora dump --format=t", ["tree", "tsv"], ["json"]),
                    ("velmora edit --set PatientSe", ["PatientSex="], [])]


def ask_bash(bash, script, line, folder, environment):
    words = line.split(" ")
    split = [part for word in words for part in (word.replace("=", " = ").split(" ") if "=" in word else [word])]
    asked = 'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _velmora; printf "%s\\n" "${COMPREPLY[@]}"'
    run = subprocess.run([bash, "--norc", "-c", asked, "bash", script] + split, cwd=folder, env=environment,
                         capture_output=True, text=True, timeout=SECONDS)
    if run.stderr:
        return ["messages:", run.stderr]
    return run.stdout.split()


def read_until(terminal, mark):
    text, end = "", time.time() + SECONDS
    while mark not in text and time.time() < end:
        if select.select([terminal], [], [], 0.2)[0]:
            text += os.read(terminal, 65536).decode("latin-1")
    return text


def ask_zsh(zsh, folder_of_files, lines, folder, environment):
    """One shell for all lines; what it writes to its terminal for each."""
    child, terminal = pty.fork()
    if child == 0:
        os.chdir(folder)
        os.execve(zsh, [zsh, "-f", "-i"], dict(environment, TERM="dumb", COLUMNS="200"))
    answers = []
    try:
        def say(text):
            os.write(terminal, text.encode())
        say(f"PS1= PS2=; unsetopt zle_bracketed_paste prompt_cr prompt_sp; fpath=({folder_of_files} $fpath); "
            "autoload -Uz compinit; compinit -D -u; setopt auto_list no_list_ambiguous no_auto_menu no_beep; "
            "LISTMAX=1000; echo rea''dy\n")
        read_until(terminal, "ready")
        for i, line in enumerate(lines):
            say(line + "\t")
            time.sleep(0.1)
            say(f"\x15echo do''ne{i}\n")
            answers.append(read_until(terminal, f"done{i}"))
    finally:
        os.kill(child, 9)
        os.waitpid(child, 0)
        os.close(terminal)
    return answers


def compare(shell, line, given, wanted, unwanted):
    words = given.split() if isinstance(given, str) else given
    words = [re.sub("[\x07\x08\r]", "", word).rstrip("/=") if shell == "zsh" else word.rstrip("/") for word in words]
    typed = line.split(" ")[-1]
    lacking = [word for word in wanted if word not in words]
    too_many = [word for word in unwanted if word in words and word != typed]
    if not lacking and not too_many:
        return 0
    print(f"{shell}: {line!r}: not offered: {lacking}, offered: {too_many}; there was: {words[:40]}")
    return 1


def main():
    files, velmora = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
    bash, zsh = shutil.which("bash"), shutil.which("zsh")
    if not bash and not zsh:
        sys.exit(SKIPPED)
    failures = 0
    with tempfile.TemporaryDirectory() as folder:
        for name in ("image.dcm", "other", "stray.dcm"):
            (Path(folder) / name).write_text("x")
        (Path(folder) / "study").mkdir()
        (Path(folder) / "bin").mkdir()
        (Path(folder) / "bin" / "velmora").symlink_to(velmora)
        environment = dict(os.environ, PATH=f"{folder}/bin:{os.environ['PATH']}")
        for line, wanted, unwanted in BASH_ROWS if bash else []:
            failures += compare("bash", line, ask_bash(bash, files / "velmora.bash", line, folder, environment), wanted,
                                unwanted)
        if zsh:
            answers = ask_zsh(zsh, files, [row[0] for row in ROWS], folder, environment)
            for (line, wanted, unwanted), answer in zip(ROWS, answers):
                failures += compare("zsh", line, answer.split("echo do''ne")[0], wanted, unwanted)
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
