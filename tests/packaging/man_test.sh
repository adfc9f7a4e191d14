#!/usr/bin/env bash
# Every command and option of a program's help stands in its man page: man_test.sh MAN-PAGE PROGRAM
set -euo pipefail
page=$1 program=$2
helps=
commands=

# collect COMMAND…: the help of a command and of all below it, and the names of these.
collect() {
    local help line name is_list=
    help=$("$program" "$@" --help)
    [ -n "$help" ] || { echo "man: no help of $program $*" >&2; exit 1; }
    helps+=$help$'\n'
    while IFS= read -r line; do
        [ "$line" != Subcommands: ] || is_list=1
        [ -n "$line" ] || is_list=
        if [ "$is_list" ] && [[ $line =~ ^\ \ ([a-z][a-z0-9]*)\  ]]; then
            name=${BASH_REMATCH[1]}
            commands+=$name$'\n'
            collect "$@" "$name"
        fi
    done <<<"$help"
}
collect
names=$({ grep -oE '(^| |,)--?[a-z][a-z-]*' <<<"$helps" | tr -d ' ,'; printf %s "$commands"; } | sort -u)
missing=$(sed 's/\\-/-/g; s/\\f[BIR]//g' "$page" | grep -oE '[[:alnum:]_-]+' | sort -u | comm -23 <(echo "$names") -)
[ -z "$missing" ] || { echo "man: $page lacks ${missing//$'\n'/, }" >&2; exit 1; }
