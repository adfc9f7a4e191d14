#!/usr/bin/env bash
# The settings by the program: config_test.sh TSYNCFINDER
set -euo pipefail
program=$1
XDG_CONFIG_HOME=$(mktemp -d)
export XDG_CONFIG_HOME
trap 'rm -rf "$XDG_CONFIG_HOME"' EXIT
file=$XDG_CONFIG_HOME/tsyncfinder/settings.json
fail() { echo "config: $1" >&2; exit 1; }

[ "$("$program" config autostart)" = on ] || fail "the default"
mkdir "${file%/*}"
echo '{"log-level":"loud","of a later version":"kept"}' >"$file"
[ "$("$program" config log-level 2>"$XDG_CONFIG_HOME/said")" = info ] || fail "a value that may not be"
grep -q '"log-level" is one of: info, debug, error; it counts as info and not as "loud"' "$XDG_CONFIG_HOME/said" ||
    fail "$(cat "$XDG_CONFIG_HOME/said")"
mv "$file" "$file.elsewhere"
ln -s settings.json.elsewhere "$file"
"$program" config autostart off >/dev/null
[ -L "$file" ] || fail "a link does not stay one"
[ "$(cat "$file")" = '{"autostart":"off","log-level":"loud","of a later version":"kept"}' ] || fail "the file: $(cat "$file")"
# No bus is there: only a start that nobody asked for ends well.
DBUS_SESSION_BUS_ADDRESS=unix:path=/nowhere "$program" run --automatic 2>/dev/null || fail "it starts by itself"
! DBUS_SESSION_BUS_ADDRESS=unix:path=/nowhere "$program" run 2>/dev/null || fail "it does not start when asked"
! "$program" config autostart sometimes 2>/dev/null || fail "a wrong value is taken"
echo '[' >"$file"
! "$program" config autostart on 2>/dev/null || fail "an unreadable file is overwritten"
[ "$(cat "$file")" = '[' ] || fail "an unreadable file is lost"
