#!/bin/sh
# The shared library shows exactly the functions that the public headers declare.
#
#   exports.sh LIBRARY HEADER…
set -eu
library=$1
shift
shown=$(nm -D --defined-only "$library" | awk '{ print $NF }' | sort)
declared=$(cat "$@" | tr '\n' ' ' | grep -o 'DS_API [^(;]*(' | grep -v __attribute__ |
    sed 's/.*[ *]\([A-Za-z0-9_]*\)($/\1/' | sort)
[ -n "$declared" ] || { echo "no function is declared in $*" >&2; exit 1; }
[ "$shown" = "$declared" ] || {
    printf 'shown:\n%s\n\ndeclared:\n%s\n' "$shown" "$declared" >&2
    exit 1
}
