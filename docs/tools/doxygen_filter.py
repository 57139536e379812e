#!/usr/bin/env python3
"""Hands a header to Doxygen: its plain comments as Doxygen's.

    doxygen_filter.py HEADER

A comment in front of a declaration belongs to it and to the declarations that follow without an empty line; one behind
a declaration on its line belongs to that. "//   name  text" in a comment is a list of arguments. The first comment of a
file, and each that no declaration follows, is the file's.
"""
import re
import sys

COMMENT = re.compile(r"\s*//( ?)(.*)")
TRAILING = re.compile(r"(.*[;,{}A-Za-z0-9_\"'\])])(\s+)// (.*)")
ARGUMENT = re.compile(r"  (\S.*?)\s{2,}(.*)$")


def escape(text):
    """What Doxygen would take for a command, a tag or an entity."""
    return re.sub(r"[\\@<>&#%*_\"~`|]", lambda m: "\\" + m[0] if m[0] not in "*_~`|" else
                  {"*": "&lowast;", "_": "_", "~": "\\~", "`": "`", "|": "\\|"}[m[0]], text)


def list_of_arguments(lines):
    """Lines of a comment without their slashes; arguments become items, code stays code."""
    result, in_code, in_list, before = [], False, False, ""
    for line in lines:
        is_code = line.startswith("    ") and not in_list and (in_code or before == "")
        before = line
        if is_code and not in_code:
            result += ["", "@code{.cpp}"]
        if in_code and not is_code:
            result += ["@endcode", ""]
        in_code = is_code
        argument = ARGUMENT.match(line)
        if is_code:
            result.append(line)
        elif argument:
            result += [] if in_list else [""]
            result.append("- **" + escape(argument[1]) + "** " + escape(argument[2]))
            in_list = True
        elif line.startswith("  "):
            result.append("  " + escape(line.strip()))
        else:
            if in_list and line:
                result.append("")
            in_list = False
            result.append(escape(line))
    return result + (["@endcode"] if in_code else [])


def each_declared(code):
    """"int a, *b;" as "int a;" and "int *b;": a comment behind them is about each."""
    match = re.match(r"(\s*(?:unsigned )?[a-z][\w:]*)\s+(\*?\w+(?: = \w+)?(?:, \*?\w+(?: = \w+)?)+);$", code)
    return [f"{match[1]} {name};" for name in match[2].split(", ")] if match else [code]


def block_of(lines, indent, command=""):
    return [indent + "/** " + command] + [indent + "  " + line for line in list_of_arguments(lines)] + [indent + "*/"]


def main():
    lines = open(sys.argv[1], encoding="utf-8").read().split("\n")
    result, block, shared, column = [], [], [], -1
    is_first, depth = True, 0
    inside = None   # lines of a comment of the other kind
    for line in lines:
        if re.match(r"/\* (?!----)", line) and "*/" not in line:
            inside = []
        if inside is not None:
            text = re.sub(r"^(/\*|  )\s|\s*\*/$", "", line)
            inside.append("  " + text if re.match(r"\w+ {2,}\S", text) else text)
            if "*/" in line:
                result += block_of(inside, "", "@file")
                inside = None
            continue
        comment = COMMENT.match(line)
        if comment and not re.match(r"\s*// ----", line):
            at = line.index("//")
            if column >= 0 and at == column:   # goes on from the line above
                result.append(line[:at] + "///< " + escape(comment[2]))
                continue
            block.append(comment[2] if comment[1] else "")
            indent = line[:at]
            continue
        if re.match(r"\s*// ----|/\* ----.*\*/$", line):
            line = ""
        is_declaration = re.match(r"\s*[A-Za-z~]", line) and not re.match(r"\s*(public|private|namespace|return)\b", line)
        if block and is_first:
            result += block_of(block, "", "@file")
            block, is_first = [], False
        elif block and line.strip() == "":
            result += block_of(block, "", "@file")
            block = []
        elif block:
            shared = block
            block = []
            result += block_of(shared, indent)
        elif is_declaration and shared and depth == 0:
            result += block_of(shared, re.match(r"\s*", line)[0])
        if line.strip() == "":
            shared = []
        trailing = TRAILING.match(line)
        column = -1
        if trailing:
            column = len(trailing[1] + trailing[2])
            line = "\n".join(code + trailing[2] + "///< " + escape(trailing[3]) for code in each_declared(trailing[1]))
        code = re.sub(r"//.*", "", line)
        depth += code.count("(") - code.count(")")
        if code.strip().endswith("{") and not re.match(r"\s*(namespace|$)", code):
            shared = []
        result.append(line)
    sys.stdout.write("\n".join(result))


main()
