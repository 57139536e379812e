#!/usr/bin/env python3
"""Makes the manual pages and the completion of shells from what the program tells of itself.

    make_pages.py VELMORA            writes docs/man/*.[15], completion/velmora.bash and completion/_velmora
    make_pages.py --check VELMORA    says which of them are not what it would write, and ends with 1 if any is not

Names, options, choices, examples and exit statuses come from `velmora help --format json` alone. What a page has beyond
them stands in docs/man/sections, a file for each page: "# TITLE" begins a section, a line set in by four blanks is shown
as it is, "TERM :: text" is a row of a list, all other lines are paragraphs with an empty line between two.
"""
import json
import re
import subprocess
import sys
from pathlib import Path

MAN = Path(__file__).resolve().parent
TOP = MAN.parent.parent
DATE = "2026-11-23"

# What the values of options and the arguments are, by the words that the help uses for them.
KINDS = {"FILE": "file", "LIST": "file", "PATH": "file", "IN": "file", "OUT": "file", "A": "file", "B": "file",
         "FOLDER": "folder", "TAG": "tag", "TAG=VALUE": "assignment", "NAME": "template", "TABLE": "table",
         "COMMAND": "command", "NAME|FILE": "template_or_file", "TAG|TEXT": "tag"}


# ---- manual pages ----------------------------------------------------------------------

def roff(text, is_literal=False):
    """A text in which nothing is taken for a request or an escape."""
    text = text.replace("\\", "\\e")
    text = text.replace("-", "\\-") if is_literal else re.sub(r"(?<![A-Za-z0-9)])-", r"\\-", text)
    text = text.replace("'", "\\(aq").replace('"', "\\(dq").replace("^", "\\(ha").replace("~", "\\(ti")
    return re.sub(r"(?m)^\.", r"\\&.", text)


def paragraphs(text):
    return "\n.PP\n".join(roff(line) for line in text.strip("\n").split("\n"))


def option_rows(table):
    lines = []
    for option in table["options"]:
        names = ([f"\\fB\\-{option['letter']}\\fR"] if "letter" in option else []) + \
                [f"\\fB{roff('--' + option['name'], True)}\\fR"]
        value = f" \\fI{roff(option['value'], True)}\\fR" if "value" in option else ""
        lines += [".TP", ", ".join(names) + value, "\n.br\n".join(roff(part) for part in option["text"].split("\n"))]
    return lines


def literal(lines):
    return [".PP", ".RS 4", ".nf"] + [roff(line, True) for line in lines] + [".fi", ".RE"]


def section_lines(text):
    """The sections of a file as lines of a page."""
    lines, block = [], []
    after_heading = False

    def end_block():
        nonlocal after_heading
        if not block:
            return
        if block[0].startswith("    "):
            lines.extend(literal([line[4:] for line in block]))
        elif " :: " in block[0]:
            term, _, rest = " ".join(block).partition(" :: ")
            lines.extend([".TP", f"\\fB{roff(term, True)}\\fR", roff(rest)])
        else:
            lines.extend(([] if after_heading else [".PP"]) + [roff(line) for line in block])
        after_heading = False
        block.clear()

    for line in text.split("\n"):
        if line.startswith("# "):
            end_block()
            lines.append(f".SH {line[2:]}")
            after_heading = True
        elif not line.strip():
            end_block()
        else:
            block.append(line)
    end_block()
    return lines


def extra(name):
    path = MAN / "sections" / f"{name}.txt"
    return section_lines(path.read_text()) if path.exists() else []


def statuses(text):
    lines = [".SH EXIT STATUS"]
    for part in re.split(r", (?=\d )", text):
        number, _, meaning = part.partition(" ")
        lines += [".TP", f"\\fB{number}\\fR", roff(meaning)]
    return lines


def see_also(names):
    return [".SH SEE ALSO"] + [f".BR {roff(name, True)} ({section})" + ("," if i + 1 < len(names) else "")
                               for i, (name, section) in enumerate(names)]


def title(name, section, version):
    return [f'.\\" Made by docs/man/make_pages.py.', f'.TH {roff(name, True).upper()} {section} {DATE} "velmora {version}" "Velmora_DICOM"']


def synopsis(usage):
    words = usage.split(" ")
    rest = " ".join(f"\\fI{roff(word, True)}\\fR" for word in words[1:])
    return [".SH SYNOPSIS", f"\\fBvelmora {roff(words[0], True)}\\fR {rest}"]


def command_page(command, version):
    name = f"velmora-{command['name']}"
    summary = command["summary"]
    lines = title(name, 1, version)
    lines += [".SH NAME", f"{roff(name, True)} \\- {roff(summary[0].lower() + summary[1:])}"]
    lines += synopsis(command["usage"]) + [".SH DESCRIPTION", paragraphs(command["text"]), ".SH OPTIONS"]
    for i, table in enumerate(command["tables"]):
        if table["title"] != "Options":
            lines.append(f".SS {roff(table['title'])}")
        lines += option_rows(table)
    has_journal = any(option["name"] == "journal" for option in options_of(command))
    lines += extra(command["name"]) + (extra("journal") if has_journal else []) + statuses(command["statuses"])
    lines += [".SH EXAMPLES"] + literal(command["examples"].strip("\n").split("\n"))[1:]
    return lines + see_also([("velmora", 1)])


def program_page(commands, version):
    lines = title("velmora", 1, version)
    lines += [".SH NAME", "velmora \\- look into DICOM and ACR\\-NEMA data sets, check, mend and write them"]
    lines += [".SH SYNOPSIS", "\\fBvelmora\\fR \\fICOMMAND\\fR [\\fIOPTIONS\\fR] \\fIARGUMENTS\\fR", ".br",
              "\\fBvelmora help\\fR [\\fICOMMAND\\fR]", ".br", "\\fBvelmora \\-\\-version\\fR"]
    lines += [".SH DESCRIPTION", roff("Each command has a page of its own: velmora-dump(1) is that of velmora dump.")]
    group = None
    for command in commands:
        if command["group"] != group:
            group = command["group"]
            lines.append(f".SS {roff(group)}")
        lines += [".TP", f"\\fB{command['name']}\\fR", roff(command["summary"])]
    names = [(f"velmora-{command['name']}", 1) for command in commands] + [("velmora-definitions", 5)]
    return lines + extra("velmora") + see_also(names)


def definitions_page(version):
    lines = title("velmora-definitions", 5, version)
    lines += [".SH NAME", "velmora\\-definitions \\- templates, private attributes and code tables of velmora"]
    return lines + extra("definitions") + see_also([("velmora", 1), ("velmora-template", 1), ("velmora-conform", 1),
                                                    ("velmora-code", 1)])


# ---- completion ------------------------------------------------------------------------

def options_of(command):
    return [option for table in command["tables"] for option in table["options"]]


def flags(option):
    return ([f"-{option['letter']}"] if "letter" in option else []) + [f"--{option['name']}"]


def arguments_of(command):
    """The kinds of the arguments, the last one standing for all that follow."""
    words = command["usage"].split(" ")[1:]
    words = [word.strip("[]").replace("...", "") for word in words if word != "[OPTIONS]"]
    kinds = [KINDS.get(word, "none") for word in words]
    return ["tag_or_file" if kind == "tag" and kinds[-1] == "file" else kind for kind in kinds]   # with --tag, files only


def kind_of(option):
    if "choices" in option:
        return "words " + option["choices"]
    return KINDS.get(option["value"], "none")


BASH = r'''# Completion of velmora for bash. Made by docs/man/make_pages.py.

# What a command takes: its options, and the kinds of its arguments, the last one standing for all that follow.
_velmora_command()
{
    case $1 in
@COMMANDS@
    *) return 1 ;;
    esac
}

# What the value of an option is.
_velmora_value()
{
    case "$1 $2" in
@VALUES@
    *) return 1 ;;
    esac
}

_velmora_complete()
{
    local kind=$1 current=$2 names
    case $kind in
    file) compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    folder) compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -d -- "$current") ;;
    words*) mapfile -t COMPREPLY < <(compgen -W "${kind#words }" -- "$current") ;;
    command) mapfile -t COMPREPLY < <(compgen -W "@NAMES@" -- "$current") ;;
    tag | assignment)
        [[ $current == [A-Za-z]* ]] || return
        names=$("$velmora" dict "$current" 2>/dev/null | cut -f 4)
        mapfile -t COMPREPLY < <(compgen -W "$names" -- "$current")
        if [[ $kind == assignment ]]; then
            compopt -o nospace 2>/dev/null
            COMPREPLY=("${COMPREPLY[@]/%/=}")
        fi
        ;;
    tag_or_file)
        _velmora_complete tag "$current"
        ((${#COMPREPLY[@]} > 0)) || _velmora_complete file "$current"
        ;;
    template) mapfile -t COMPREPLY < <(compgen -W "$("$velmora" template --list 2>/dev/null)" -- "$current") ;;
    template_or_file)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -W "$("$velmora" template --list 2>/dev/null)" -- "$current")
        ;;
    table) mapfile -t COMPREPLY < <(compgen -W "$("$velmora" code --list 2>/dev/null)" -- "$current") ;;
    esac
}

_velmora()
{
    local velmora=${COMP_WORDS[0]} current=${COMP_WORDS[COMP_CWORD]} before="" options="" arguments="" kind=""
    local command=${COMP_WORDS[1]} i count=0
    COMPREPLY=()
    if ((COMP_CWORD == 1)); then
        _velmora_complete "words @NAMES@ --help --version" "$current"
        return
    fi
    _velmora_command "$command" || return

    # "--format=json" comes as three words.
    before=${COMP_WORDS[COMP_CWORD - 1]}
    [[ $current == "=" ]] && current=""
    [[ $before == "=" ]] && before=${COMP_WORDS[COMP_CWORD - 2]}
    if kind=$(_velmora_value "$command" "$before"); then
        _velmora_complete "$kind" "$current"
        return
    fi
    if [[ $current == -?* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
        return
    fi
    for ((i = 2; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
        -?*) _velmora_value "$command" "${COMP_WORDS[i]}" >/dev/null && ((i++)) ;;
        *) ((count++)) ;;
        esac
    done
    for kind in $arguments; do
        ((count-- == 0)) && break
    done
    _velmora_complete "$kind" "$current"
}

complete -F _velmora velmora
'''


def bash_completion(commands):
    rows, values = [], []
    for command in commands:
        options = options_of(command)
        words = " ".join(flag for option in options for flag in flags(option))
        rows.append(f"    {command['name']}) options=\"{words}\" arguments=\"{' '.join(arguments_of(command))}\" ;;")
        for option in options:
            if "value" in option:
                patterns = " | ".join(f'"{command["name"]} {flag}"' for flag in flags(option))
                values.append(f"    {patterns}) echo \"{kind_of(option)}\" ;;")
    names = " ".join(command["name"] for command in commands)
    return BASH.replace("@COMMANDS@", "\n".join(rows)).replace("@VALUES@", "\n".join(values)).replace("@NAMES@", names)


ZSH = r'''#compdef velmora
# Completion of velmora for zsh. Made by docs/man/make_pages.py.

_velmora_tags()
{
    local -a names
    [[ $PREFIX == [A-Za-z]* ]] && names=(${(f)"$(_call_program tags velmora dict ${(q)PREFIX} 2>/dev/null | cut -f 4)"})
    compadd "$@" -a names
}

_velmora_templates()
{
    local -a names=(${(f)"$(_call_program templates velmora template --list 2>/dev/null)"})
    compadd "$@" -a names
}

_velmora_tables()
{
    local -a names=(${(f)"$(_call_program tables velmora code --list 2>/dev/null)"})
    compadd "$@" -a names
}

_velmora_commands()
{
    local -a commands=(
@NAMES@
    )
    _describe command commands
}

_velmora()
{
    local curcontext="$curcontext" state line
    typeset -A opt_args
    _arguments -C '(- *)'{-h,--help}'[names the commands]' '(- *)'{-V,--version}'[the version]' \
        '1:command:_velmora_commands' '*::argument:->arguments'
    [[ $state == arguments ]] || return
    case $words[1] in
@COMMANDS@
    esac
}

_velmora "$@"
'''

ZSH_ACTIONS = {"file": "_files", "folder": "_files -/", "tag": "_velmora_tags", "assignment": "_velmora_tags -S '='",
               "template": "_velmora_templates", "table": "_velmora_tables", "command": "_velmora_commands", "none": "",
               "tag_or_file": " _alternative 'tags\\:tag\\:_velmora_tags' 'files\\:file\\:_files'",
               "template_or_file": " _alternative 'templates\\:template\\:_velmora_templates' 'files\\:file\\:_files'"}


def zsh_quoted(text):
    return "'" + text.replace("'", "'\\''") + "'"


def zsh_action(kind):
    return f"({kind[6:]})" if kind.startswith("words ") else ZSH_ACTIONS[kind]


def zsh_option(option):
    text = re.split(r"\n|;|: ", option["text"])[0].rstrip(".,")
    text = re.sub(r"([\[\]:])", r"\\\1", text)
    value = f":{option['value']}:{zsh_action(kind_of(option))}" if "value" in option else ""
    several = "several times" in option["text"]
    group = "*" if several else f"({' '.join(flags(option))})"
    equals = "=" if "value" in option else ""
    return [zsh_quoted(f"{group}{flag}{equals if flag.startswith('--') else ''}[{text}]{value}") for flag in flags(option)]


def zsh_completion(commands):
    rows = []
    for command in commands:
        specs = [spec for option in options_of(command) for spec in zsh_option(option)]
        kinds = arguments_of(command)
        for i, kind in enumerate(kinds):
            place = "*" if i + 1 == len(kinds) else str(i + 1)
            specs.append(zsh_quoted(f"{place}:{kind.split('_')[0]}:{zsh_action(kind)}"))
        rows.append(f"    {command['name']})\n        _arguments -s \\\n            " + " \\\n            ".join(specs) +
                    " ;;")
    names = "\n".join(f"        {zsh_quoted(command['name'] + ':' + command['summary'].replace(':', chr(92) + ':'))}"
                      for command in commands)
    return ZSH.replace("@NAMES@", names).replace("@COMMANDS@", "\n".join(rows))


# ---- all of them -----------------------------------------------------------------------

def make_all(velmora):
    told = subprocess.run([velmora, "help", "--format", "json"], capture_output=True, check=True).stdout
    version = subprocess.run([velmora, "--version"], capture_output=True, check=True, text=True).stdout
    version = re.match(r"velmora ([0-9.]+)", version).group(1)
    commands = json.loads(told)["commands"]
    files = {MAN / "velmora.1": program_page(commands, version),
             MAN / "velmora-definitions.5": definitions_page(version)}
    for command in commands:
        files[MAN / f"velmora-{command['name']}.1"] = command_page(command, version)
    texts = {path: "\n".join(lines) + "\n" for path, lines in files.items()}
    texts[TOP / "completion" / "velmora.bash"] = bash_completion(commands)
    texts[TOP / "completion" / "_velmora"] = zsh_completion(commands)
    return texts


def main():
    arguments = sys.argv[1:]
    is_check = arguments[:1] == ["--check"]
    if len(arguments) != 1 + is_check:
        sys.exit(__doc__)
    stale = 0
    texts = make_all(arguments[-1])
    old = set(MAN.glob("*.[15]")) - set(texts)
    for path in sorted(old):
        print(f"{path.relative_to(TOP)} belongs to no command any more")
        stale += 1
    for path, text in texts.items():
        if path.exists() and path.read_text() == text:
            continue
        if not is_check:
            path.parent.mkdir(exist_ok=True)
            path.write_text(text)
            continue
        print(f"{path.relative_to(TOP)} is not up to date; run docs/man/make_pages.py VELMORA")
        stale += 1
    sys.exit(1 if stale else 0)


if __name__ == "__main__":
    main()
