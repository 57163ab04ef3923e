# bash completion for orvane-cli: its commands, each command's options and their values, files.
# Installed as share/bash-completion/completions/orvane-cli. The option lists are those of each
# command's --help, which tests/packaging/packaging_test.cpp compares.

# Browser ids for --browser, from the program's own list (`orvane-cli browsers`, the first word of
# each line) where it has one; nothing where it has not.
_orvane_cli_browsers() {
    local listing line
    listing=$("${COMP_WORDS[0]}" browsers 2>/dev/null) || return 0
    while read -r line; do
        [[ -n $line && ${line%%[[:space:]]*} == "$cur"* ]] && COMPREPLY+=("${line%%[[:space:]]*}")
    done <<<"$listing"
}

_orvane_cli_files() {
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$cur")
}

_orvane_cli() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
    local command="" options="" i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        if [[ ${COMP_WORDS[i]} != -* ]]; then
            command=${COMP_WORDS[i]}
            break
        fi
    done
    case $command in
    "")
        if [[ $cur == -* ]]; then
            mapfile -t COMPREPLY < <(compgen -W "-h --help --version" -- "$cur")
        else
            mapfile -t COMPREPLY < <(compgen -W "sort restore print convert browsers help" -- "$cur")
        fi
        return 0
        ;;
    sort)
        options="--folders-at-top --no-folders-at-top --remove-duplicates --no-remove-duplicates
            --rename-samenamed --no-rename-samenamed --sort-bookmarks-bar --no-sort-bookmarks-bar
            --backup --no-backup --browser --ignore-sync -n --dry-run --json -h --help"
        ;;
    restore) options="--backup --browser -h --help" ;;
    print) options="--json --browser -h --help" ;;
    browsers) options="-h --help" ;;
    convert) options="-f --format -o --output -h --help" ;;
    *) return 0 ;;
    esac

    case $prev in
    --backup | -o | --output)
        _orvane_cli_files
        return 0
        ;;
    -f | --format)
        mapfile -t COMPREPLY < <(compgen -W "binary xml" -- "$cur")
        return 0
        ;;
    --browser)
        _orvane_cli_browsers
        return 0
        ;;
    esac
    # After "--" every word is a file.
    for ((i++; i < COMP_CWORD; i++)); do
        [[ ${COMP_WORDS[i]} == -- ]] && break
    done
    if [[ $cur == -* && $i -eq $COMP_CWORD ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
    else
        _orvane_cli_files
    fi
    return 0
}

complete -F _orvane_cli orvane-cli
