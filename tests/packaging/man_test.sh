#!/usr/bin/env bash
# Every command and option of a program's help stands in its man page: man_test.sh MAN-PAGE PROGRAM
set -euo pipefail
page=$1 program=$2

# names_in COMMAND…: the options and subcommands that the help of a command names, and below it.
names_in() {
    local help name
    help=$("$program" "$@" --help)
    [ -n "$help" ] || { echo "man: no help of $program $*" >&2; exit 1; }
    grep -oE '(^| |,)--?[a-z][a-z-]*' <<<"$help" | tr -d ' ,'
    while read -r name; do
        echo "$name"
        names_in "$@" "$name"
    done < <(sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z0-9]*\) .*/\1/p' <<<"$help")
}
names=$(names_in | sort -u)
missing=$(sed 's/\\-/-/g; s/\\f[BIR]//g' "$page" | grep -oE '[[:alnum:]_-]+' | sort -u | comm -23 <(echo "$names") -)
[ -z "$missing" ] || { echo "man: $page lacks ${missing//$'\n'/, }" >&2; exit 1; }
