# Completion of velmora for bash. Made by docs/man/make_pages.py.

# What a command takes: its options, and the kinds of its arguments, the last one standing for all that follow.
_velmora_command()
{
    case $1 in
    dump) options="-f --format -o --only --raw --charset --indent --inline --with-head --color -v --verbose --files-from -0 --null -j --jobs --print-stats --definitions -h --help" arguments="file" ;;
    get) options="-t --tag -a --all -p --path -H --with-filename --no-filename --json -r --raw --limit --charset --files-from -0 --null -j --jobs --print-stats --definitions -h --help" arguments="tag_or_file file" ;;
    check) options="-f --format -v --verbose -q --quiet -m --module --ignore --files-from -0 --null -j --jobs --print-stats --journal --resume --definitions -h --help" arguments="file" ;;
    diff) options="-f --format --ignore --head --exact -q --quiet --definitions -h --help" arguments="file file" ;;
    repair) options="-q --quiet -s --syntax --group-length --defined-length --no-private --standard-groups --as-un --base --in-place --dry-run -v --verbose --files-from -0 --null -j --jobs --print-stats --journal --resume --definitions -h --help" arguments="file file" ;;
    convert) options="-s --syntax --group-length --defined-length --no-private --standard-groups --as-un --base --in-place --dry-run -v --verbose --files-from -0 --null -j --jobs --print-stats --journal --resume --definitions -h --help" arguments="file file" ;;
    conform) options="-m --module -t --set --uid-root --override -q --quiet -s --syntax --group-length --defined-length --no-private --standard-groups --as-un --base --in-place --dry-run -v --verbose --files-from -0 --null -j --jobs --print-stats --journal --resume --definitions -h --help" arguments="file file" ;;
    edit) options="-t --set -d --delete -a --all -s --syntax --group-length --defined-length --no-private --standard-groups --as-un --base --in-place --dry-run -v --verbose --files-from -0 --null -j --jobs --print-stats --journal --resume --definitions -h --help" arguments="file file" ;;
    template) options="-l --list -f --format --definitions -h --help" arguments="template_or_file" ;;
    dict) options="--definitions -h --help" arguments="tag" ;;
    uid) options="--definitions -h --help" arguments="none" ;;
    code) options="-l --list --definitions -h --help" arguments="table none" ;;
    help) options="-f --format --definitions -h --help" arguments="command" ;;
    *) return 1 ;;
    esac
}

# What the value of an option is.
_velmora_value()
{
    case "$1 $2" in
    "dump -f" | "dump --format") echo "words tree tsv json html" ;;
    "dump -o" | "dump --only") echo "tag" ;;
    "dump --charset") echo "none" ;;
    "dump --inline") echo "none" ;;
    "dump --color") echo "words auto always never" ;;
    "dump --files-from") echo "file" ;;
    "dump -j" | "dump --jobs") echo "none" ;;
    "dump --definitions") echo "folder" ;;
    "get -t" | "get --tag") echo "tag" ;;
    "get --limit") echo "none" ;;
    "get --charset") echo "none" ;;
    "get --files-from") echo "file" ;;
    "get -j" | "get --jobs") echo "none" ;;
    "get --definitions") echo "folder" ;;
    "check -f" | "check --format") echo "words lines jsonl" ;;
    "check -m" | "check --module") echo "template" ;;
    "check --ignore") echo "words stream structure order repaired odd-length vr retired padding characters length backslash old-form values range size required" ;;
    "check --files-from") echo "file" ;;
    "check -j" | "check --jobs") echo "none" ;;
    "check --journal") echo "file" ;;
    "check --definitions") echo "folder" ;;
    "diff -f" | "diff --format") echo "words lines jsonl" ;;
    "diff --ignore") echo "tag" ;;
    "diff --definitions") echo "folder" ;;
    "repair -s" | "repair --syntax") echo "words implicit explicit big" ;;
    "repair --base") echo "folder" ;;
    "repair --files-from") echo "file" ;;
    "repair -j" | "repair --jobs") echo "none" ;;
    "repair --journal") echo "file" ;;
    "repair --definitions") echo "folder" ;;
    "convert -s" | "convert --syntax") echo "words implicit explicit big" ;;
    "convert --base") echo "folder" ;;
    "convert --files-from") echo "file" ;;
    "convert -j" | "convert --jobs") echo "none" ;;
    "convert --journal") echo "file" ;;
    "convert --definitions") echo "folder" ;;
    "conform -m" | "conform --module") echo "template" ;;
    "conform -t" | "conform --set") echo "assignment" ;;
    "conform --uid-root") echo "none" ;;
    "conform --override") echo "file" ;;
    "conform -s" | "conform --syntax") echo "words implicit explicit big" ;;
    "conform --base") echo "folder" ;;
    "conform --files-from") echo "file" ;;
    "conform -j" | "conform --jobs") echo "none" ;;
    "conform --journal") echo "file" ;;
    "conform --definitions") echo "folder" ;;
    "edit -t" | "edit --set") echo "assignment" ;;
    "edit -d" | "edit --delete") echo "tag" ;;
    "edit -s" | "edit --syntax") echo "words implicit explicit big" ;;
    "edit --base") echo "folder" ;;
    "edit --files-from") echo "file" ;;
    "edit -j" | "edit --jobs") echo "none" ;;
    "edit --journal") echo "file" ;;
    "edit --definitions") echo "folder" ;;
    "template -f" | "template --format") echo "words tree tsv" ;;
    "template --definitions") echo "folder" ;;
    "dict --definitions") echo "folder" ;;
    "uid --definitions") echo "folder" ;;
    "code --definitions") echo "folder" ;;
    "help -f" | "help --format") echo "words text json" ;;
    "help --definitions") echo "folder" ;;
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
    command) mapfile -t COMPREPLY < <(compgen -W "dump get check diff repair convert conform edit template dict uid code help" -- "$current") ;;
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
        _velmora_complete "words dump get check diff repair convert conform edit template dict uid code help --help --version" "$current"
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
