#!/usr/bin/env python3
"""Makes docs/messages.md: every message of the library and the program, from the sources, with what messages.txt says.

    make_messages.py            writes docs/messages.md
    make_messages.py --check    says what is wrong and gives 1: a message without an entry in messages.txt, an entry
                                without a message, or a document that is not what would be written
    make_messages.py --list     the messages without an entry, as messages.txt wants them

A message of the library is any text in it that is more than a word and that messages.txt does not name as none: so a
new one cannot be forgotten, whatever carries it to Error_Fct. A message of the host is a text that goes to one of the
functions in REPORTERS or into one of the variables in TARGETS. What a command prints as its result is no message.
"""
import pathlib
import re
import sys

SOURCE = pathlib.Path(__file__).resolve().parents[2]
TABLE = SOURCE / "docs/tools/messages.txt"
DOCUMENT = SOURCE / "docs/messages.md"

LIBRARY = "util frame tree read values dictionary modules write dump".split()
FOLDERS = LIBRARY + ["host", "host/program"]
DATA = {"dictionary/dictionary_table.cpp", "dump/uid_names.cpp", "host/program/html_page.cpp"}

# The functions of the host that take a message with the first argument that it may be in, and the level that they give
# it; and the variables that messages are put together in.
REPORTERS = {"report_fault": (1, "warning"), "report_remark": (1, "warning"), "report_about": (1, "warning"),
             "skip_damage": (2, "warning"), "warn": (0, "warning"), "Error_Fct": (2, "warning"),
             "finding_of": (1, "finding"), "wrong_use": (1, "usage"), "complain": (0, "error"),
             "complain_about": (1, "error"), "fail": (0, "error"), "say_failure": (1, "error"), "refuse": (0, "error")}
TARGETS = {"error": "error", "refusal": "error", "fault": "warning", "NO_MEMORY": "error", "TOO_LARGE": "error"}
LEVELS = {"LEVEL_MEMORY": "memory", "LEVEL_FILE": "file", "Flag_Error_Warning": "warning",
          "Flag_Error_Report": "remark", "LEVEL_LOCATION": "trace 11", "LEVEL_READ_FAILURE": "trace 12",
          "LEVEL_OPERATION": "trace 13", "LEVEL_ATTRIBUTE": "trace 14", "LEVEL_FUNCTION": "trace 15"}
TOKEN = re.compile(r"""//[^\n]*|/\*.*?\*/|^[ \t]*\#[ \t]*include[^\n]*|R"(\w*)\(.*?\)\1"|(?P<text>(?:"(?:\\.|[^"\\\n])*"\s*)+)
                       |'(?:\\.|[^'\\])*'|(?P<sign>[A-Za-z_]\w*|::|[(){}\[\],;=?:+]|[^\s\w])""", re.S | re.X | re.M)


# ---- sources ---------------------------------------------------------------------------

class Token:
    def __init__(self, text, sign):
        self.text, self.sign = text, sign


def unescape(text):
    """The text of a literal without the control bytes that stand for colours."""
    text = re.sub(r"\\x([0-9A-Fa-f]{2})|\\([0-7]{3})", lambda m: chr(int(m[1], 16) if m[1] else int(m[2], 8)), text)
    text = text.replace('\\"', '"').replace("\\n", "\n").replace("\\t", "\t").replace("\\\\", "\\")
    return re.sub(r"[\x01-\x08\xf0\xf1]", "", text)


def tokens_of(path):
    tokens = []
    for match in TOKEN.finditer(path.read_text()):
        if match["text"] is not None:
            parts = re.findall(r'"((?:\\.|[^"\\])*)"', match["text"])
            tokens.append(Token("".join(unescape(part) for part in parts), None))
        elif match["sign"] is not None:
            tokens.append(Token(None, match["sign"]))
    return tokens


def arguments_of(tokens, at):
    """The arguments of the call whose bracket stands at a place, as lists of tokens."""
    depth, arguments = 0, [[]]
    for token in tokens[at:]:
        if token.sign in ("(", "{", "["):
            depth += 1
            if depth == 1:
                continue
        elif token.sign in (")", "}", "]"):
            depth -= 1
            if depth == 0:
                break
        if token.sign == "," and depth == 1:
            arguments.append([])
        else:
            arguments[-1].append(token)
    return arguments


def joined(tokens):
    """The texts of an expression, with "..." for what stands between them; one for each branch of a condition."""
    branches, depth = [[]], 0
    for token in tokens:
        depth += token.sign in ("(", "{", "[")
        depth -= token.sign in (")", "}", "]")
        if depth == 0 and token.sign in ("?", ":"):
            branches.append([])
        branches[-1].append(token)
    for branch in branches:
        text, open_value = "", False
        for token in branch:
            if token.text is not None:
                text += ("..." if open_value else "") + token.text
                open_value = False
            elif re.match(r"\w", token.sign) and token.sign not in ("std", "string", "c_str", "data"):
                open_value = True
        text += "..." if open_value and text else ""
        if is_sentence(text):
            yield text


def is_sentence(text):
    return re.search(r"[A-Za-z]{2,}\W* \W*\w|[A-Za-z%]\W* [a-z]{2,}", text.replace("...", "")) is not None


def key_of(text):
    return " ".join(re.sub(r"^\W*(WARNING|Warning|ERROR|Error):?\s", "", text.strip()).split())


def level_of_call(name, arguments):
    if name == "REPORT_LINE":
        return "warning"
    words = [token.sign for token in arguments[1]] if len(arguments) > 1 else []
    return next((LEVELS[word] for word in words if word in LEVELS), "")


def library_messages(path):
    tokens, level, level_end = tokens_of(path), "", -1
    for at, token in enumerate(tokens):
        if token.sign in ("REPORT", "REPORT_LINE", "Error_Fct") and tokens[at + 1].sign == "(":
            arguments = arguments_of(tokens, at + 1)
            level = level_of_call(token.sign, arguments)
            level_end = at + sum(len(argument) + 1 for argument in arguments)
        if token.text is not None and is_sentence(token.text):
            yield token.text, level if at <= level_end else ""


def host_messages(path):
    tokens = tokens_of(path)
    for at, token in enumerate(tokens[:-1]):
        expressions, level = [], ""
        if token.sign in REPORTERS and tokens[at + 1].sign == "(":
            first, level = REPORTERS[token.sign]
            expressions = arguments_of(tokens, at + 1)[first:]
        elif token.sign == "snprintf" and tokens[at + 1].sign == "(":
            arguments = arguments_of(tokens, at + 1)
            level = "warning"
            is_told = arguments[0][-1].sign in TARGETS or path.name == "media_directory.cpp"
            expressions = arguments[2:] if is_told else []
        elif token.sign in TARGETS or (token.sign == "text" and path.name == "load.cpp"):
            level = TARGETS.get(token.sign, "error")
            start = at + 1 + 2 * (tokens[at + 1].sign == "[")
            start += tokens[start].sign == "+"
            if tokens[start].sign == "=" and tokens[start + 1].sign != "=":
                end = next(i for i in range(start, len(tokens)) if tokens[i].sign == ";")
                expressions = [tokens[start + 1:end]]
        elif token.sign == "return" and path.name == "encoding.cpp":
            end = next(i for i in range(at, len(tokens)) if tokens[i].sign == ";")
            level, expressions = "warning", [tokens[at + 1:end]]
        for expression in expressions:
            for text in joined(expression):
                yield text, level


class Message:
    def __init__(self, folder, text, level):
        self.folder, self.text, self.level, self.files = folder, text, level, []


def messages_of_sources(none):
    found = {}
    for folder in FOLDERS:
        for path in sorted(path for path in (SOURCE / folder).iterdir() if path.suffix in (".cpp", ".h")):
            name = str(path.relative_to(SOURCE))
            if name in DATA:
                continue
            messages = library_messages(path) if folder in LIBRARY else host_messages(path)
            for text, level in messages:
                if any(pattern.search(text) for pattern in none):
                    continue
                message = found.setdefault((folder, key_of(text)), Message(folder, text.strip(), level))
                message.level = message.level or level
                if path.name not in message.files:
                    message.files.append(path.name)
    return found


# ---- the table -------------------------------------------------------------------------

class Entry:
    def __init__(self, line):
        self.line, self.cause, self.advice, self.level, self.used = line, "", "", "", False


def read_table():
    """Returns the entries by the texts that they are about, and the patterns of what is no message."""
    entries, none, texts, entry = {}, [], [], None
    for number, line in enumerate(TABLE.read_text().splitlines(), 1):
        if line.startswith("#") or not line.strip():
            continue
        field = re.match(r"  (cause|do|level): (.*)", line)
        if line.startswith("none: "):
            none.append(re.compile(line[6:]))
        elif field is None:
            if entry is not None and (entry.cause or entry.level):
                texts, entry = [], None
            entry = entry or Entry(number)
            entries[line] = entry
        elif field[1] == "cause":
            entry.cause = field[2]
        elif field[1] == "do":
            entry.advice = field[2]
        else:
            entry.level = field[2]
    return entries, none


# ---- the document ----------------------------------------------------------------------

HEAD = """# Messages

Every message of the library and of the program `velmora`, with what causes it and what can be done. This page is made
by `docs/tools/make_messages.py` from the sources and from `docs/tools/messages.txt`; a test holds it to them.

Texts stand here as in the sources, odd spelling included, without the control bytes that colour them. `%s`, `%d` and
the like stand for what differs from case to case, `...` for a text that is put in. The library speaks through
`Error_Fct`; its levels are

| level | what it is | where a host hears of it |
|---|---|---|
| memory | memory ran out, or a size is beyond all bounds | 1 |
| file | a file could not be read or written | 2 |
| warning | something is wrong with a data set, a definition file or a call | `Flag_Error_Warning`; 3 in `velmora` |
| remark | something is unusual, or was put right without doubt | `Flag_Error_Report`; 8 in `velmora`, shown with `-v` |
| trace | what the library is doing | 11 to 15 |

The program prints each message on standard error as `velmora: FILE: at offset N in PATH: TEXT`, and counts what repeats.
Its own levels are error (the exit status becomes 3), usage (2: the command line is wrong), warning, finding (a line of
`velmora check`) and result (a line that tells what was done).
"""
TITLES = {"host": "host (loading and saving)", "host/program": "host/program (the commands)"}


def cell(text):
    return text.replace("|", "\\|").replace("\n", " ")


def code(text):
    text = " ".join(text.split())
    return f"`` {cell(text)} ``" if "`" in text else f"`{cell(text)}`"


def document_of(found, entries):
    lines = [HEAD]
    for folder in FOLDERS:
        here = [message for message in found.values() if message.folder == folder]
        told = [m for m in here if not m.level.startswith("trace")]
        traces = sorted((m.level, " ".join(m.text.split())) for m in here if m.level.startswith("trace"))
        if not here:
            continue
        lines += [f"## {TITLES.get(folder, folder)}", ""]
        if told:
            lines += ["| message | level | cause | what to do |", "|---|---|---|---|"]
        for message in told:
            entry = entries.get(key_of(message.text))
            if entry is not None:
                level = entry.level or message.level
                lines.append(f"| {code(message.text)} | {level} | {cell(entry.cause)} | {cell(entry.advice)} |")
        if traces:
            lines += ["" if told else None, "Traces, which call for nothing: " +
                      "; ".join(f"{code(text)} ({level[6:]})" for level, text in traces) + "."]
        lines = [line for line in lines if line is not None] + [""]
    return "\n".join(lines).rstrip("\n") + "\n"


def main():
    entries, none = read_table()
    found = messages_of_sources(none)
    faults = []
    for (folder, key), message in found.items():
        entry = entries.get(key)
        if entry is not None:
            entry.used = True
            message.level = entry.level or message.level
        if message.level == "":
            faults.append(f"{folder}: nothing says of which level this is: {key}")
        if entry is None and not message.level.startswith("trace"):
            faults.append(f"{folder}/{message.files[0]}: no entry in messages.txt for: {key}")
            if "--list" in sys.argv:
                print(f"{key}\n  cause: \n  do: ")
        elif entry is not None and not entry.level.startswith("trace") and (not entry.cause or not entry.advice):
            faults.append(f"messages.txt:{entry.line}: cause or do is missing for: {key}")
    faults += [f"messages.txt:{e.line}: no source says: {text}" for text, e in entries.items() if (
        not any(key == text for _, key in found))]
    if "--list" in sys.argv:
        return 0
    document = document_of(found, entries)
    if "--check" in sys.argv:
        if not DOCUMENT.exists() or DOCUMENT.read_text() != document:
            faults.append("docs/messages.md is not what docs/tools/make_messages.py would write: run it")
    elif not faults:
        DOCUMENT.write_text(document)
    for fault in faults:
        print(fault)
    if faults:
        print("What a message says, say in docs/tools/messages.txt; then run docs/tools/make_messages.py")
    print(f"{len(found)} messages, {len(faults)} faults")
    return 1 if faults else 0


sys.exit(main())
