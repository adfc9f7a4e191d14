#!/bin/bash
# The page about the daemon's protocol: every message, method and notification is on it, and every example on
# it works, on a bus and in a home of its own: against the stand-in daemon, or against the sync service on
# a disk, which makes no public links.
#
# usage: protocol_page_test.sh SOURCE_FOLDER DAEMON_PROGRAM
set -eu
page=$1/docs/daemon-protocol.md
interface=$1/resources/dbus/com.quarnhold.TovikDrive_Quen.tsync_xpcProtocol.xml
program=$2
names=$(sed -n 's/.*Message{"\([^"]*\)".*/\1/p' "$1/src/protocol/messages.h"
    sed -n 's/.*TSYNC_\(NOTE\|COMMAND\)_[A-Z_]* "\(.*\)"/\2/p' "$1/src/protocol/names.h")
methods=$(sed -n 's/.*<method name="\([^"]*\)".*/\1/p' "$interface")
[ "$(echo "$names" | wc -l)" -eq 54 ] || { echo "not 54 names in the headers" >&2; exit 1; }
[ "$(echo "$methods" | wc -l)" -eq 42 ] || { echo "not 42 methods in the introspection" >&2; exit 1; }
# lacking NAMES: those that the input lacks
lacking() { comm -23 <(sort -u <<<"$1") <(sort -u); }
missing=$(tr '`"' '\n' <"$page" | lacking "$names")
[ -z "$missing" ] || { echo "not on the page: $missing" >&2; exit 1; }
missing=$(sed -n 's/^call \([^ ]*\).*/\1/p' "$page" | lacking "$methods")
[ -z "$missing" ] || { echo "no example: $missing" >&2; exit 1; }

HOME=$(mktemp -d)
export HOME
unset XDG_DATA_HOME XDG_CONFIG_HOME XDG_STATE_HOME XDG_CACHE_HOME
trap 'rm -rf "$HOME"' EXIT

examples() { awk '/^```sh$/ { on = 1; next } /^```$/ { on = 0 } on' "$page"; }
if [ "$(basename "$program")" = tsyncquenz ]; then
    mkdir -p "$HOME/.config/rclone"
    printf '[server]\ntype = local\n' > "$HOME/.config/rclone/rclone.conf"
    "$program" setup "server:$HOME/space"
    start="exec '$program' run --log-level info 2> '$HOME/log'"
    change='s/^call linkForSharing.*/if &; then exit 1; fi/'
else
    start="exec '$program' --log-level info \"\$@\" 2> '$HOME/log'"
    change=
fi
{
    echo "set -eu; tsyncquenz-sandbox() { $start; }"
    examples | sed "$change"
    # Behind the commands, on the same queue. Each was acted on as it was meant, and the daemon still stands. It
    # has ended before its bus does.
    echo 'call getSyncStatus_; kill $!; wait $! || true'
} > "$HOME/examples.sh"
timeout 240 dbus-run-session --config-file="$1/tests/support/private_bus.conf" -- bash "$HOME/examples.sh"
if grep -E "error: " "$HOME/log" | grep -vE "make a link to|share by e-mail"; then exit 1; fi
test "$(grep -c "Command kTFinderSync" "$HOME/log")" -eq 7
