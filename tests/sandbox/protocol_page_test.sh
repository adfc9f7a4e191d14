#!/bin/sh
# The page about the daemon's protocol: every message, method and notification is on it, and every example on
# it works against the stand-in daemon, on a bus and in a home of its own.
#
# usage: protocol_page_test.sh SOURCE_FOLDER SANDBOX_PROGRAM
set -eu
page=$1/docs/daemon-protocol.md
interface=$1/resources/dbus/com.quarnhold.TovikDrive_Quen.tsync_xpcProtocol.xml
names=$(sed -n 's/.*Message{"\([^"]*\)".*/\1/p' "$1/src/protocol/messages.h"
    sed -n 's/.*TSYNC_\(NOTE\|COMMAND\)_[A-Z_]* "\(.*\)"/\2/p' "$1/src/protocol/names.h")
methods=$(sed -n 's/.*<method name="\([^"]*\)".*/\1/p' "$interface")
[ "$(echo "$names" | wc -l)" -eq 54 ] || { echo "not 54 names in the headers" >&2; exit 1; }
[ "$(echo "$methods" | wc -l)" -eq 42 ] || { echo "not 42 methods in the introspection" >&2; exit 1; }
for name in $names; do
    grep -q "[\`\"]${name}[\`\"]" "$page" || { echo "not on the page: $name" >&2; exit 1; }
done
for method in $methods; do
    grep -q "^call $method\( \|$\)" "$page" || { echo "no example: $method" >&2; exit 1; }
done

HOME=$(mktemp -d)
export HOME
trap 'rm -rf "$HOME"' EXIT
{
    echo "set -eu; tsyncquenz-sandbox() { exec '$2' --log-level info \"\$@\" 2> '$HOME/log'; }"
    awk '/^```sh$/ { on = 1; next } /^```$/ { on = 0 } on' "$page"
    # Behind the commands, on the same queue. Each was acted on as it was meant, and the daemon still stands. It
    # has ended before its bus does.
    echo 'call getSyncStatus_; kill $!; wait $! || true'
} > "$HOME/examples.sh"
timeout 60 dbus-run-session --config-file="$1/tests/support/private_bus.conf" -- bash "$HOME/examples.sh"
if grep -E "error: " "$HOME/log"; then exit 1; fi
test "$(grep -c "Command kTFinderSync" "$HOME/log")" -eq 7
