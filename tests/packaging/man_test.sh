#!/usr/bin/env bash
# Every command and option of a program's help stands in its man page: man_test.sh MAN-PAGE PROGRAM
set -euo pipefail
page=$1 program=$2
plain=$(sed 's/\\-/-/g; s/\\f[BIR]//g' "$page")
missing=0

# check_help COMMAND…: the options and subcommands that the help of a command names.
check_help() {
    local help name
    help=$("$program" "$@" --help)
    [ -n "$help" ] || { echo "man: no help of $program $*" >&2; exit 1; }
    while read -r name; do
        grep -qw -e "$name" <<<"$plain" || { echo "man: $page lacks $name of: ${program##*/} $*" >&2; missing=1; }
    done < <(grep -oE '(^| |,)--?[a-z][a-z-]*' <<<"$help" | tr -d ' ,' | sort -u)
    while read -r name; do
        grep -qw -e "$name" <<<"$plain" || { echo "man: $page lacks the command $name" >&2; missing=1; }
        check_help "$@" "$name"
    done < <(sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z0-9]*\) .*/\1/p' <<<"$help")
}
check_help
exit "$missing"
