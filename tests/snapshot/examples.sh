#!/bin/sh
# The examples of the library's documentation, as somebody runs them who has installed it: found by pkg-config and
# by CMake; and each of its headers, alone, in C and in C++.
#
#   examples.sh SOURCES CMAKE BUILD
set -eu
examples=$1/docs/examples
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for component in libdssnapshot0 libdssnapshot-dev; do
    "$2" --install "$3" --prefix "$work/usr" --component "$component" >"$work/log" || { cat "$work/log"; exit 1; }
done
pc=$(find "$work/usr" -name dssnapshot.pc)
PKG_CONFIG_PATH=$(dirname "$pc")
LD_LIBRARY_PATH=$(dirname "$PKG_CONFIG_PATH")
export PKG_CONFIG_PATH LD_LIBRARY_PATH

# expect STATUS TEXT COMMAND…
expect() {
    status=0
    said=$(shift 2 && "$@" 2>&1) || status=$?
    [ "$status: $said" = "$1: $2" ] || { printf '%s: %s, %s\n' "$*" "$status" "$said" >&2; exit 1; }
}

flags=$(pkg-config --cflags dssnapshot)
# shellcheck disable=SC2046,SC2086 # the flags are words
cc -Wall -Wextra -Werror "$examples/changes.c" $flags $(pkg-config --libs dssnapshot) -o "$work/changes"
for header in "$work"/usr/include/dssnapshot/snapshot/*.h; do
    for language in "c -std=c11" "c++ -std=c++17"; do
        # shellcheck disable=SC2086
        printf '#include <snapshot/%s>\nint used;\n' "${header##*/}" |
            cc -x $language -Wall -Wextra -Wpedantic -Werror -fsyntax-only $flags -
    done
done
{ "$2" -S "$1/tests/packaging/outside" -B "$work/build" -DCMAKE_PREFIX_PATH="$work/usr" &&
    "$2" --build "$work/build"; } >"$work/log" || { cat "$work/log"; exit 1; }
odd=$(printf 'b\377')
mkdir -p "$work/of/d"
printf 12345 >"$work/of/a"
printf 123 >"$work/of/d/$odd"
expect 0 "       5 /a
       3 /d/$odd" /usr/bin/python3 "$examples/largest.py" "$work/of" 2
touch -d @1600000000 "$work/of/d"
expect 0 "" "$work/changes" "$work/of" "$work/snapshot"
rm "$work/of/a"
touch "$work/of/d/c"
touch -d '+1 hour' "$work/of/d/$odd"
touch -d @1600000000 "$work/of/d"
expect 1 "A /d/c
D /a
M /d/$odd" "$work/changes" "$work/of" "$work/snapshot"
expect 0 "" "$work/changes" "$work/of" "$work/snapshot"
expect 2 "$work/no/folder: cannot be written" "$work/build/user" "$work/of" "$work/no/folder"
