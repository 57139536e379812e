#!/usr/bin/env python3
"""Writes dictionary_table.cpp from the table of data elements.

    python3 dictionary/tools/make_table.py dictionary/tools/data_elements.tsv > dictionary/dictionary_table.cpp

The table has one row a line, split by tabs: group, element, name, alternates of VR and number of values joined by "|",
"RET" or nothing. Rows stand in ascending order of their tags, a wildcard digit "x" counting as 0.
"""
import sys

NAME_WIDTH = 45  # the VR column begins behind a name of this width

# Lines whose blanks differ from the plain layout; the number is the width that the name is padded to.
ODD_WIDTHS = {
    "60xx,3000": 44,
    "0074,100a": 0, "0074,100c": 0, "0074,100e": 0,
    "0088,0912": 0,
    "FFFC,FFFC": 0,
    "FFFE,E000": 0, "FFFE,E00D": 0, "FFFE,E0DD": 0,
}

HEAD = """\
// The data dictionary of DICOM PS3.6 as plain lines, in the form in which such a dictionary is printed: one array of
// lines for each group, groups and elements in ascending order, a wildcard digit "x" counting as 0. This file holds
// nothing else. It is written by dictionary/tools/make_table.py: change the table there, not the lines here.
#include "dictionary/dictionary_internal.h"

// clang-format off
"""


def line(group, element, name, alternates, retired):
    tag = "%s,%s" % (group, element)
    found = alternates.split("|") if alternates else []
    vrs = found[0] if len(found) == 1 else " or ".join("(%s)" % each for each in found)
    text = "(%s) %s" % (tag, name.ljust(ODD_WIDTHS.get(tag, NAME_WIDTH)) if vrs else name)
    return " ".join(part for part in (text, vrs, retired) if part)


def quoted(text):
    return '"%s"' % text.replace("\\", "\\\\").replace('"', '\\"')


def main(path):
    groups = {}
    with open(path, encoding="ascii") as table:
        for row in table:
            columns = row.rstrip("\n").split("\t")
            groups.setdefault(columns[0], []).append(line(*columns))

    print(HEAD)
    for group, lines in groups.items():
        print("static const char *const group_%s[] = {" % group)
        for text in lines:
            print("    %s," % quoted(text))
        print("};\n")
    print("const char *const *const dictionary_lines[DICTIONARY_GROUPS] = {")
    for group in groups:
        print("    group_%s," % group)
    print("};\n")
    print("const int dictionary_sizes[DICTIONARY_GROUPS] = {")
    for group, lines in groups.items():
        print("    %d,   // %s" % (len(lines), group))
    print("};")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])
