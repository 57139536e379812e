#!/usr/bin/env python3
"""Writes the definition directory from tables of facts about the standard.

    python3 definitions/tools/make_definitions.py FACTS

FACTS is a folder with templates.tsv, modules.tsv, macros.tsv, functional_groups.tsv, private_creators.tsv and
codes.tsv. What they do not tell stands beside this script: conditions.txt (when an attribute of type 1C or 2C has to
be there), types.txt (types that differ from the standard's, with the reason), templates.txt (sections of the standard
and further names), usages.txt (modules that a template uses in its own way), code_words.txt (everyday words for the
code tables). A second run gives the same files.

The checks at the end stop the run when the files would make a template that demands too much or too little.
"""
import copy
import csv
import re
import sys
import textwrap
from collections import OrderedDict, defaultdict
from pathlib import Path

HERE = Path(__file__).resolve().parent
TARGET = HERE.parent
DICTIONARY = TARGET.parent / "dictionary" / "tools" / "data_elements.tsv"

EDITION = "edition 2024"
PRINT_EDITION = "edition 2016"
PAGE = 120            # columns of a line
SECOND = 24           # column behind the type, in which VR= or a comment begins
NAME = SECOND + 12    # column of the names: behind VR=xx desc="
NO_LINE_OVER = 2047   # what the library reads

SHARED, PER_FRAME = "(5200,9229)", "(5200,9230)"
DEMANDING = ("1", "2", "2C")

REPEATING = "repeating group 60xx"

# Notes of the facts in words for a reader of the files; one that is not here stands as it is.
NOTES = {
    "byte:U word:U colour:U": "byte, word, color only",
    "byte:C word:C colour:C": "byte, word, color only",
    "byte:C word:C": "byte and word only",
    "colour:U": "color only",
    "added to the base": "not in Secondary Capture Image",
    "retired class; module tables of 2024 used": "the class is retired, the module is today's",
    "(0008,0104) optional here": "Code Meaning (0008,0104) may be left out",
    "newer than 2024b": "newer than edition 2024b",
    "type 2 in 2016, sources differ for 2024": "type 2 in edition 2016, not certain for 2024",
    "retired": "retired from the standard",
    REPEATING: "",
}


def rows(path):
    with open(path, encoding="ascii", newline="") as table:
        return list(csv.DictReader(table, delimiter="\t", quoting=csv.QUOTE_NONE))


def knowledge(name):
    """The lines of a table beside this script, without comments and empty lines."""
    for line in (HERE / name).read_text(encoding="ascii").splitlines():
        if line.strip() and not line.startswith("#"):
            yield line.rstrip()


def sections(name):
    """Lines under headings in brackets: ([heading, ...], line)."""
    headings = []
    for line in knowledge(name):
        if line.startswith("["):
            headings = line.strip("[]").split()
        else:
            yield headings, line


# ---- the dictionary -------------------------------------------------------------------------------------------------

def dictionary_patterns():
    """One regular expression for each row: a wildcard digit x stands for any."""
    patterns = set()
    for line in DICTIONARY.read_text(encoding="ascii").splitlines():
        group, element = line.split("\t")[:2]
        patterns.add((group + element).lower())
    return patterns


class Dictionary:
    def __init__(self):
        patterns = dictionary_patterns()
        self.plain = {p for p in patterns if "x" not in p}
        self.wild = [re.compile(p.replace("x", "[0-9a-f]")) for p in patterns if "x" in p]

    def has(self, tag):
        digits = (tag[1:5] + tag[6:10]).lower()
        return digits in self.plain or any(p.fullmatch(digits) for p in self.wild)


# ---- hand-made knowledge --------------------------------------------------------------------------------------------

class Notes:
    """Texts by module and tag, a row inside a sequence having its own: outer/inner."""

    def __init__(self, name):
        self.texts = {}     # (module, tag): (text, (headings of its line, tag))
        self.waiting = set()
        for headings, line in sections(name):
            tags, text = re.fullmatch(r"([0-9A-F,/ ]+): (.+)", line).groups()
            for tag in tags.split():
                self.waiting.add((tuple(headings), tag))
                for heading in headings:
                    self.texts.setdefault((heading, tag), (text, (tuple(headings), tag)))

    def of(self, module, row):
        tag = row.tag.strip("()")
        for key in ((module, row.outer.strip("()") + "/" + tag), (module, tag)):
            if key in self.texts:
                text, entry = self.texts[key]
                self.waiting.discard(entry)
                return text
        return None

    def unused(self):
        return sorted(self.waiting)


# ---- modules and macros ---------------------------------------------------------------------------------------------

class Row:
    """An attribute or an Include line of a module or macro."""

    def __init__(self, fact, outer):
        self.depth = int(fact["depth"])
        self.tag, self.name, self.type = fact["tag"], fact["name"], fact["type"]
        self.vr, self.macro, self.note = fact["vr"], fact["macro"], fact["note"]
        self.outer = outer        # tag of the sequence around it, or nothing
        self.reason = None        # why the type is not the standard's
        self.standard_type = self.type


class Module:
    """A module or macro: its rows in the order of its table."""

    def __init__(self, facts):
        self.id, self.title, self.table = facts[0]["id"], facts[0]["title"], facts[0]["table"]
        self.rows = []
        around = {}
        for fact in facts:
            row = Row(fact, around.get(int(fact["depth"]) - 1, ""))
            around[row.depth] = row.tag
            self.rows.append(row)

    def top(self):
        return [row for row in self.rows if row.depth == 0]


def read_modules(path):
    found = OrderedDict()
    for fact in rows(path):
        found.setdefault(fact["id"], []).append(fact)
    return OrderedDict((name, Module(facts)) for name, facts in found.items())


def weaken(row, reason):
    """A type that demands nothing, adds nothing, and keeps what is there even when it is empty."""
    if row.type in DEMANDING:
        row.type, row.reason = "1C", reason


class Standard:
    """The facts, with the hand-made knowledge about types and usages put to them."""

    def __init__(self, folder):
        self.modules = read_modules(folder / "modules.tsv")
        self.macros = read_modules(folder / "macros.tsv")
        self.templates = OrderedDict()
        for fact in rows(folder / "templates.tsv"):
            self.templates.setdefault(fact["module_name"], []).append(fact)
        self.groups = rows(folder / "functional_groups.tsv")
        self.set_usages()
        self.set_types()
        self.note_functional_groups()
        self.weaken_functional_groups()

    def set_usages(self):
        for line in knowledge("usages.txt"):
            template, module, usage, said, variant = (part.strip() for part in line.split("|"))
            fact, = (fact for fact in self.templates[template] if fact["module_id"] == module)
            fact["usage"], fact["condition"], fact["note"] = usage, said, ""
            if variant:
                copied = copy.deepcopy(self.modules[module])
                copied.id = fact["module_id"] = variant
                copied.title += " (for %s)" % template
                self.modules[variant] = copied

    def set_types(self):
        types = Notes("types.txt")
        for module in list(self.modules.values()) + list(self.macros.values()):
            for row in module.rows:
                text = types.of(module.id, row) if row.tag else None
                if text is not None:
                    row.type, row.reason = text.split(" ", 1)
        if types.unused():
            sys.exit("types.txt names no row: %s" % types.unused())

    def note_functional_groups(self):
        """Each line that includes a functional group tells its usage and the condition of that."""
        by_place = {(fact["module_name"], fact["macro"]): fact for fact in self.groups}
        for name, facts in self.templates.items():
            for fact in facts:
                for row in self.modules[fact["module_id"]].rows:
                    group = by_place.get((name, row.macro))
                    if group is not None and row.outer in (SHARED, PER_FRAME):
                        row.note = ", ".join(text for text in (group["usage"], group["condition"]) if text)

    def weaken_functional_groups(self):
        """A data set holds a group in the shared item or in each item of a frame, once: neither may ask for it."""
        self.group_macros = OrderedDict()
        for fact in self.groups:
            either = fact["shared"] == "yes" and fact["per_frame"] == "yes"
            optional = either or fact["usage"] != "M"
            self.group_macros[fact["macro"]] = self.group_macros.get(fact["macro"], False) or optional
        for name, optional in self.group_macros.items():
            for row in self.macros[name].top():
                if optional:
                    weaken(row, "a functional group")

    def macro_top(self, name):
        """The rows of a macro that end up at the level of its Include line."""
        for row in self.macros[name].top():
            if row.macro:
                yield from self.macro_top(row.macro)
            else:
                yield row

    def top(self, module):
        for row in module.top():
            if row.macro:
                yield from self.macro_top(row.macro)
            else:
                yield row

    def demands(self, module):
        """Would a data set without the module be found wanting, or be given attributes of it?"""
        return any(row.type in DEMANDING for row in self.top(module))


# ---- lines ----------------------------------------------------------------------------------------------------------

def comment(text):
    return textwrap.wrap(text, PAGE, initial_indent="; ", subsequent_indent="; ", break_long_words=False,
                         break_on_hyphens=False)


def attribute_line(code, name, vr, said):
    """The names stand below each other, in desc= or in a comment; what else there is to say stands on lines below."""
    code = code.ljust(SECOND)
    lines = ['%sVR=%s desc="%s"' % (code, vr, name) if vr else "%s; %s%s" % (code, " " * (NAME - SECOND - 2), name)]
    for text in said:
        lines += textwrap.wrap(text, PAGE, initial_indent=" " * SECOND + ";" + " " * (NAME - SECOND + 1),
                               subsequent_indent=" " * SECOND + ";" + " " * (NAME - SECOND + 3),
                               break_long_words=False, break_on_hyphens=False)
    return lines


class Writer:
    """The files, made one by one and written when all is well."""

    def __init__(self, standard):
        self.standard = standard
        self.dictionary = Dictionary()
        self.conditions = Notes("conditions.txt")
        self.files = OrderedDict()

    def file(self, name, lines):
        assert name not in self.files, name
        text = "\n".join(line.rstrip() for line in lines) + "\n"
        text.encode("ascii")
        assert all(len(line) <= NO_LINE_OVER for line in text.split("\n")), name
        self.files[name] = text

    def write(self):
        for old in TARGET.glob("DICOM_*.txt"):
            old.unlink()
        for name, text in self.files.items():
            (TARGET / name).write_text(text, encoding="ascii", newline="\n")

    def include(self, row):
        said = "Table %s" % self.standard.macros[row.macro].table
        note = NOTES.get(row.note, row.note)
        if note:
            said += ", " + note
        return '%sInclude "%s"' % (">" * row.depth, row.macro.replace("_", " ")) + "  ; " + said

    def row(self, module_id, row, weak=False):
        """One line of a module or macro, with what a reader wants to know."""
        if row.macro:
            return [self.include(row)]
        kind, said = row.type, []
        if weak and row.depth == 0 and row.type in DEMANDING:
            kind = "1C"
            said.append("type %s where the module is used" % row.type)
        elif row.reason:
            said.append("type %s in the standard: %s" % (row.standard_type, row.reason))
        if row.standard_type in ("1C", "2C"):
            condition = self.conditions.of(module_id, row)
            said.append("required " + condition if condition else "conditional, see the table")
        note = NOTES.get(row.note, row.note)
        if note and not note.startswith("usage "):
            said.append(note)
        vr = "" if self.dictionary.has(row.tag) else row.vr
        return attribute_line("%s%s type=%s" % (">" * row.depth, row.tag, kind), row.name, vr, said)

    def print_note(self, module):
        """Print modules have a usage by service user and provider (PS3.4 H) in place of types."""
        if any(row.note.startswith("usage ") and "/" in row.note for row in module.rows):
            return comment("The print management classes give each attribute a usage for user and provider (PS3.4 H) "
                           "and no type: M of the user is type 1 here, MC is type 1C, all else type 3.")
        return []

    def head(self, module, what):
        edition = PRINT_EDITION if self.print_note(module) else EDITION
        lines = comment("%s %s: DICOM PS3.3 Table %s, %s." % (module.title, what, module.table, edition))
        if any(row.note == REPEATING for row in module.rows):
            lines += comment("Group 6000 stands for all overlay groups, 6000 to 601E.")
        return lines

    def attributes(self, module):
        lines = self.head(module, "module") + self.print_note(module)
        lines.append("")
        for row in module.rows:
            lines += self.row(module.id, row)
        self.file("DICOM_Attributes_%s.txt" % module.id, lines)

    def optional_attributes(self, module, has_twin):
        """The same for templates whose data sets may lack the module."""
        lines = self.head(module, "module, where a data set may lack it")
        lines += comment("%s of type 1, 2 or 2C at the top %s 1C here, which is not asked for, not added empty, and kept."
                         % (("As in DICOM_Attributes_%s.txt, but what is" % module.id, "there is") if has_twin else
                            ("Nothing is demanded: what the module has", "is")))
        lines.append("")
        for row in module.rows:
            if row.macro and row.depth == 0 and any(r.type in DEMANDING for r in self.standard.macro_top(row.macro)):
                lines += self.unfolded(row.macro)
            else:
                lines += self.row(module.id, row, weak=True)
        self.file("DICOM_Attributes_%s_Optional.txt" % module.id, lines)

    def unfolded(self, name):
        """A macro's lines in place of its Include line, weakened."""
        macro = self.standard.macros[name]
        lines = comment("%s, Table %s" % (macro.title, macro.table))
        for row in macro.rows:
            if row.macro and row.depth == 0:
                lines += self.unfolded(row.macro)
            else:
                lines += self.row(macro.id, row, weak=True)
        return lines

    def macro(self, macro):
        title = macro.title if macro.title.endswith("Macro") else macro.title + " macro"
        lines = comment("%s: DICOM PS3.3 Table %s, %s." % (title, macro.table, EDITION))
        if self.standard.group_macros.get(macro.id):
            lines += comment("A functional group: it stands in the one shared item or in the item of each frame. Its "
                             "sequence is therefore of type 1C, so that neither place asks for it.")
        lines.append("")
        for row in macro.rows:
            lines += self.row(macro.id, row)
        self.file("DICOM_Include_%s.txt" % macro.id, lines)

    def macros(self):
        """Every macro that a file includes. The optional files hold the lines of some macros in their own place."""
        waiting = list(self.files.values())
        wanted = set()
        while waiting:
            found = set(re.findall(r'^>*Include "([^"]+)"', waiting.pop(), re.M)) - wanted
            wanted |= found
            for name in sorted(found):
                macro = self.standard.macros[name.replace(" ", "_")]
                self.macro(macro)
                waiting.append(self.files["DICOM_Include_%s.txt" % macro.id])

    # ---- module files ----

    def stem(self, fact):
        module = self.standard.modules[fact["module_id"]]
        weak = fact["usage"] != "M" and self.standard.demands(module)
        return module.id + ("_Optional" if weak else "")

    def template_lines(self, facts):
        lines, entity = [], None
        width = max(len(self.stem(fact)) for fact in facts) + 2
        for fact in facts:
            if fact["entity"] not in (entity, "-"):
                entity = fact["entity"]
                lines += ["", "; " + entity]
            note = NOTES.get(fact["note"], fact["note"])
            said = ", ".join(text for text in (fact["usage"], fact["condition"], note) if text)
            lines.append(self.stem(fact).ljust(width) + "; " + said)
        return lines

    def template(self, name, section, codes):
        facts = self.standard.templates[name]
        iod, classes, modality = facts[0]["iod"], facts[0]["sop_class_uid"], facts[0]["modality_code"]
        others = facts[0]["other_sop_class_uids"].replace(",", ", ")
        iod = iod[0].upper() + iod[1:]
        head = comment("%s: DICOM PS3.3 %s, %s." % (iod, section, EDITION))
        if classes:
            head += comment("For SOP class %s." % classes)
        if others:
            head += comment("Fits %s, too." % others if classes else
                            "Fits %s. The library finds it by the modality alone." % others)
        if modality:
            head += comment("For modality %s%s." % (modality.rstrip("+"),
                                                    " with more than one frame" if modality.endswith("+") else ""))
        if name == "OT_Image":
            head += comment("Also for every data set without a kind of its own, images or not, and for every module "
                            "name without a file. So it demands only what all composite objects have.")
        head += comment("Each line names an attributes file. M: mandatory; C: conditional; U: user option. A file "
                        "named ..._Optional demands nothing of a data set that lacks the module.")
        body = self.template_lines(facts)
        self.file("DICOM_Module_%s.txt" % name, head + body)
        for code in codes:
            alias = comment("The same lines as in DICOM_Module_%s.txt, found by the modality %s." % (name, code))
            self.file("DICOM_Module_%s.txt" % code, alias + head + body)


# ---- private attributes ---------------------------------------------------------------------------------------------

def private_line(fact):
    element = "00" + fact["tag"][8:10]
    name = fact["name"] if fact["name"] not in ("", "Unknown", "?") else fact["creator"].replace(";", ",")
    assert '"' not in name and ";" not in name, name   # a semicolon ends the line, in quotes too
    return '%s,%s) VR=%s desc="%s"' % (fact["tag"][:5], element, fact["vr"] or "UN", name)


def private_files(writer, facts):
    stems = OrderedDict()
    for fact in facts:
        stems.setdefault(fact["file_stem"], []).append(fact)
    for stem, found in stems.items():
        creators = sorted({fact["creator"] for fact in found})
        lines = comment("Private attributes of %s." % " and ".join('"%s"' % creator for creator in creators))
        lines += comment("No part of the standard: collected from data sets and from what their makers publish. An "
                         "element stands without its block. Where a meaning is not known, the creator's name stands.")
        lines.append("")
        seen = set()
        for fact in sorted(found, key=lambda fact: (fact["tag"], fact["name"] in ("", "Unknown"))):
            if fact["tag"] not in seen:   # the first line of a tag would be the only one that counts
                lines.append(private_line(fact))
            seen.add(fact["tag"])
        writer.file("DICOM_Private_%s.txt" % stem, lines)


# ---- code tables ----------------------------------------------------------------------------------------------------

TABLES = OrderedDict([
    ("Anatomic_Region", "anatomic regions, DICOM PS3.16 CID 4"),
    ("Anatomic_Region_Common", "common anatomic regions, DICOM PS3.16 CID 4031"),
    ("DX_View", "projection radiography views, DICOM PS3.16 CID 4010"),
    ("DX_View_Modifier", "projection radiography view modifiers, DICOM PS3.16 CID 4011"),
    ("Mammography_View", "mammography views, DICOM PS3.16 CID 4014"),
    ("Mammography_View_Modifier", "mammography view modifiers, DICOM PS3.16 CID 4015"),
    ("Radiopharmaceutical", "radiopharmaceuticals, DICOM PS3.16 CID 25"),
    ("PET_Radiopharmaceutical", "PET radiopharmaceuticals, DICOM PS3.16 CID 4021"),
    ("Radionuclide", "radionuclides, DICOM PS3.16 CID 18"),
    ("Contrast_Agent", "contrast agents, DICOM PS3.16 CID 12"),
    ("Contrast_Ingredient", "contrast ingredients, DICOM PS3.16 CID 13"),
    ("Administration_Route", "routes of administration, DICOM PS3.16 CID 11"),
    ("Interventional_Drug", "drugs given for an examination, DICOM PS3.16 CID 10"),
    ("Patient_Orientation", "patient orientations, DICOM PS3.16 CID 19"),
    ("Patient_Orientation_Modifier", "patient orientation modifiers, DICOM PS3.16 CID 20"),
    ("Patient_Gantry_Relationship", "relations of patient and gantry, DICOM PS3.16 CID 21"),
    ("NM_View_Angulation", "cranio-caudad angulations, DICOM PS3.16 CID 23"),
    ("Laterality", "sides, DICOM PS3.16 CID 244"),
    ("Acquisition_Contrast", "acquisition contrasts"),
])

SYMBOLS = dict(pair.split(":") for pair in (
    "Carbon:C Fluorine:F Sodium:Na Phosphorus:P Potassium:K Chromium:Cr Cobalt:Co Iron:Fe Copper:Cu Gallium:Ga "
    "Selenium:Se Krypton:Kr Strontium:Sr Yttrium:Y Ruthenium:Ru Technetium:Tc Indium:In Iodine:I Xenon:Xe Barium:Ba "
    "Gadolinium:Gd Samarium:Sm Ytterbium:Yb Lutetium:Lu Tantalum:Ta Rhenium:Re Iridium:Ir Gold:Au Thallium:Tl Lead:Pb "
    "Radium:Ra").split())


def nuclide_words(meaning):
    """Of "^99m^Technetium" the short forms: "Tc-99m", "Tc99m" and "99mTc"."""
    _, mass, element = meaning.split("^")
    symbol = SYMBOLS[element]
    return ["%s-%s" % (symbol, mass), symbol + mass, mass + symbol]


def words_of(text):
    return re.split(r"[ ^\t]+", text.strip(" ^"))


class Code_Words:
    """Everyday words by table and code value: those that join the row of the code, and those with a row of their own."""

    def __init__(self):
        self.joined, self.own = defaultdict(list), defaultdict(list)
        self.first = set()
        self.waiting = {}
        for headings, line in sections("code_words.txt"):
            value, text = line.split(": ", 1)
            for heading in headings:
                key = (heading, value.rstrip("!"))
                if value.endswith("!"):
                    self.first.add(key)
                for word in text.split("|"):
                    words = self.own if word.strip().startswith("+") else self.joined
                    words[key].append(word.strip(" +"))
                self.waiting[key] = line

    def take(self, table, value):
        """The words of a code, once: a code may stand under several meanings."""
        key = (table, value)
        line = self.waiting.pop(key, None)
        if line is None:
            return [], []
        # A line for several tables is used when one of them has the code.
        self.waiting = {k: text for k, text in self.waiting.items() if text != line or self.has(k)}
        return self.joined[key], self.own[key]

    def has(self, key):
        return key in self.codes

    def know(self, codes):
        self.codes = codes


def code_rows(table, facts, words):
    """The rows of a table, each with its place: those of few words first, and among them short ones."""
    for fact in facts:
        scheme, value = fact["scheme"], fact["value"]
        joined, own = words.take(table, value)
        if table == "Radionuclide":
            joined = nuclide_words(fact["meaning"])
        later = (table, value) not in words.first
        meaning = fact["meaning"]
        place = (later, len(words_of(meaning)), 0, len(meaning), meaning, value)
        yield place, "%s %s %s" % (scheme, value, " ^ ".join([meaning] + joined))
        for word in own:
            yield (later, len(words_of(word)), 1, len(word), word, value), "%s %s %s" % (scheme, value, word)


def code_tables(writer, facts):
    words = Code_Words()
    words.know({(fact["table"], fact["value"]) for fact in facts})
    tables = OrderedDict()
    for fact in facts:
        tables.setdefault(fact["table"], []).append(fact)
    assert set(tables) == set(TABLES)
    for table, found in tables.items():
        lines = comment("Code table: %s." % TABLES[table])
        lines += comment("Coding scheme, code value, meaning. The words behind a ^ are for lookups as well. Of rows that "
                         "fit a text equally well the first one is taken, so those of few words stand first.")
        lines += [line for _, line in sorted(code_rows(table, found, words), key=lambda row: row[0])]
        assert all(len(line) < 179 for line in lines), table
        writer.file("DICOM_Codes_%s.txt" % table, lines)
    if words.waiting:
        sys.exit("code_words.txt names no code: %s" % sorted(words.waiting))


# ---- what the templates must be -------------------------------------------------------------------------------------

def check_templates(standard):
    """No optional or conditional row may take the place of a type 2 that a mandatory module asks for."""
    for name, facts in standard.templates.items():
        by_tag = defaultdict(list)
        for fact in facts:
            for row in standard.top(standard.modules[fact["module_id"]]):
                kind = row.type
                if fact["usage"] != "M" and kind in DEMANDING:
                    kind = "1C"
                by_tag[row.tag].append((kind, fact["usage"], fact["module_id"]))
        for tag, found in by_tag.items():
            kinds = {kind for kind, usage, _ in found}
            asked = {kind for kind, usage, _ in found if usage == "M"}
            if "2" in asked and "1" not in asked and "1C" in kinds:
                sys.exit("%s: the type 2 of %s is lost: %s" % (name, tag, found))


def make(folder):
    standard = Standard(folder)
    check_templates(standard)
    writer = Writer(standard)

    for line in knowledge("templates.txt"):
        name, section, codes = (part.strip() for part in line.split("|"))
        writer.template(name, section, codes.split())
    missing = [name for name in standard.templates if "DICOM_Module_%s.txt" % name not in writer.files]
    if missing:
        sys.exit("templates.txt lacks %s" % missing)

    usages = defaultdict(set)
    for facts in standard.templates.values():
        for fact in facts:
            usages[fact["module_id"]].add("M" if fact["usage"] == "M" else "U")
    for module in standard.modules.values():
        has_twin = "M" in usages[module.id] or not standard.demands(module)
        if has_twin:
            writer.attributes(module)
        if "U" in usages[module.id] and standard.demands(module):
            writer.optional_attributes(module, has_twin)
    writer.macros()

    private_files(writer, rows(folder / "private_creators.tsv"))
    code_tables(writer, rows(folder / "codes.tsv"))

    if writer.conditions.unused():
        sys.exit("conditions.txt names no conditional row: %s" % writer.conditions.unused())
    writer.write()
    print("%d files" % len(writer.files))


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    make(Path(sys.argv[1]))
