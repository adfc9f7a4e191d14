#!/usr/bin/env bash
# The sync service on a real SFTP server: two computers, each with a home, a session bus and a service of its own, the
# extension beside the first. Files go up with badges that change, and arrive at the other one; an edit there comes
# back; of a conflict both versions stay; a deletion lies in the trash on both sides. Fails when anything of that does
# not happen. Everything is on this machine, OpenSSH's server listens on the loopback, and everything that is started
# and made is gone at the end. Called by script/demo --service.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=script/demo_parts.sh
. "$here/script/demo_parts.sh"

build_demo "demo service" tsyncfinder tsyncquenz images
began=$SECONDS
tsyncfinder=$build/apps/tsyncfinder/tsyncfinder tsyncquenz=$build/apps/tsyncquenz/tsyncquenz

# ---- the storage

server=$work/server
mkdir "$server"
for name in key host_key; do ssh-keygen -q -t ed25519 -N '' -f "$work/$name"; done
[ "$(id -u)" -ne 0 ] || mkdir -p /run/sshd # root's server insists on it
serves() { (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; }
start_server() {
    port=$((20000 + RANDOM % 12000))
    ! serves || return 1 # somebody else's
    /usr/sbin/sshd -D -e -f /dev/null -p $port -h "$work/host_key" -o ListenAddress=127.0.0.1 -o StrictModes=no \
        -o "AuthorizedKeysFile=$work/key.pub" -o UsePAM=no -o PidFile=none -o LogLevel=ERROR -o MaxStartups=100 \
        -o PermitRootLogin=prohibit-password -o "Subsystem=sftp internal-sftp" 2>"$work/sshd.log" &
    started+=($!)
    eventually 5 serves
}
eventually 30 start_server || fail "no SFTP server"
echo "[127.0.0.1]:$port $(cat "$work/host_key.pub")" >"$work/known_hosts"

# ---- two computers

# on COMPUTER COMMAND…: in its session.
on() {
    local home=$work/$1
    shift
    env -u DISPLAY -u WAYLAND_DISPLAY HOME="$home" XDG_CONFIG_HOME="$home/.config" XDG_STATE_HOME="$home/.local/state" \
        XDG_DATA_HOME="$home/.local/share" XDG_CACHE_HOME="$home/.cache" XDG_RUNTIME_DIR="$home/run" \
        DBUS_SESSION_BUS_ADDRESS="$(head -n 1 "$work/$(basename "$home").address")" "$@"
}
# person COMPUTER COMMAND…: what a person types there, a command of tsyncquenz.
person() {
    printf '\n%s$ tsyncquenz' "$1"
    printf ' %s' "${@:2}" | sed "s#$work/$1#~#g"
    echo
    on "$1" "$tsyncquenz" "${@:2}" || fail "$1: the command failed: tsyncquenz ${*:2}"
}
status() { on "$1" "$tsyncquenz" status --json 2>/dev/null; }
is_in_step() { [ "$(status "$1" | jq -r '[.pairs[].state] | unique | join(" ")')" = "in step" ]; }
answers() { status "$1" >/dev/null; }
start_computer() {
    mkdir -p "$work/$1/run" "$work/$1/.config/rclone" "$work/$1/Documents"
    chmod 700 "$work/$1/run"
    cat >"$work/$1/.config/rclone/rclone.conf" <<END
[mine]
type = sftp
host = 127.0.0.1
port = $port
user = $(id -un)
key_file = $work/key
known_hosts_file = $work/known_hosts
skip_links = true
shell_type = unix
END
    start_bus "$1"
}
start_service() {
    on "$1" "$tsyncquenz" run 2>"$work/$1-service.log" &
    started+=($!)
    eventually 20 answers "$1" || fail "$1: the service does not answer"
}
for computer in desk laptop; do start_computer "$computer"; done
desk=$work/desk/Documents laptop=$work/laptop/Documents

# badge PATH: the extension's, beside the first computer.
badge() { on desk "$tsyncfinder" badges --json --depth 0 "$1" | jq -r '.[0].badge'; }
badge_is() { [ "$(badge "$2")" = "$1" ]; }
# answer_has BADGE PATH: in the tree of one answer, which is kept for show_tree.
answer_has() {
    on desk "$tsyncfinder" badges --json --depth 9 "$desk" >"$work/seen.json" || return 1
    jq -e --arg badge "$1" --arg path "$2" 'any(.[]; .path == $path and .badge == $badge)' "$work/seen.json" >/dev/null
}

heading "A storage of one's own: the folder of an SFTP server"
person desk setup "mine:$server"
# So slow that the upload can be seen.
RCLONE_BWLIMIT=6M start_service desk
on desk "$tsyncfinder" run 2>"$work/extension.log" &
started+=($!)

heading "Up: a folder is synced, and its badges change"
mkdir -p "$desk/Pictures"
echo "Buy milk" >"$desk/todo.txt"
echo "Old notes" >"$desk/old.txt"
head -c 12M /dev/urandom >"$desk/Pictures/harbour.raw"
person desk add "$desk"
eventually 60 answer_has upload "$desk/Pictures/harbour.raw" || fail "no upload was seen"
show_tree seen
eventually 60 is_in_step desk || fail "the upload did not end: $(status desk)"
eventually 10 answer_has sync "$desk/Pictures/harbour.raw" || fail "no badge after the upload: $(badge "$desk/Pictures/harbour.raw")"
show_tree seen
diff -r -x .tsyncquenz "$desk" "$server/Documents" || fail "what arrived at the server differs"
echo
echo "On the server: equal, byte by byte."

heading "Down: the other computer"
person laptop setup "mine:$server"
start_service laptop
person laptop add "$laptop"
eventually 60 is_in_step laptop || fail "the download did not end: $(status laptop)"
diff -r -x .tsyncquenz "$desk" "$laptop" || fail "what arrived at the other computer differs"
(cd "$laptop" && find . -name .tsyncquenz -prune -o -type f -printf 'laptop: %P, %s bytes\n')

heading "A deletion, on the first one: it rests for half a minute, and is looked at later"
rm "$desk/old.txt"
deleted=$SECONDS

heading "Back: an edit on the other computer"
echo "and bread" >>"$laptop/todo.txt"
eventually 30 cmp -s "$laptop/todo.txt" "$server/Documents/todo.txt" || fail "the edit did not go up"
person desk resume # looks at once; by itself within a minute or more
comes_to_desk() { cmp -s "$laptop/todo.txt" "$desk/todo.txt"; }
eventually 90 comes_to_desk || fail "the edit did not come back: $(status desk)"
echo "desk: todo.txt: $(paste -sd ' ' "$desk/todo.txt")"

heading "A conflict: both change one file, and neither knows of the other"
person desk pause
person laptop pause
echo "from the desk" >"$desk/todo.txt"
echo "from the laptop" >"$laptop/todo.txt"
person desk resume
eventually 60 grep -qs "from the desk" "$server/Documents/todo.txt" || fail "the first edit did not go up"
person laptop resume
has_both() { grep -rqs "from the desk" "$1" --include='todo*' && grep -rqs "from the laptop" "$1" --include='todo*'; }
eventually 60 has_both "$laptop" || fail "the other computer has lost a version"
eventually 60 has_both "$server/Documents" || fail "the server has lost a version"
person desk resume
eventually 90 has_both "$desk" || fail "the first computer has lost a version"
(cd "$desk" && for file in todo*; do echo "desk: $file: $(cat "$file")"; done)

heading "The deletion: in the storage's trash, and then in the other desktop's"
is_in_trash_there() { [ ! -e "$server/Documents/old.txt" ] && grep -rqs "Old notes" "$server/.tsyncquenz"; }
eventually 90 is_in_trash_there || fail "it is not in the storage's trash: $(cd "$server" && find . | head -n 30)"
(cd "$server" && echo "server: $(grep -rls "Old notes" .tsyncquenz)")
person laptop resume
is_in_trash_here() { [ ! -e "$laptop/old.txt" ] && grep -rqs "Old notes" "$work/laptop/.local/share/Trash"; }
eventually 120 is_in_trash_here || fail "it is not in the trash of the other computer: $(status laptop)"
echo "laptop: ~/$(cd "$work/laptop" && grep -rls "Old notes" .local/share/Trash)"
echo "After $((SECONDS - deleted)) seconds; half a minute of quiet on each side is on purpose."

heading "In the end"
for computer in desk laptop; do
    eventually 60 is_in_step "$computer" || fail "$computer is not in step: $(status "$computer")"
    person "$computer" status
done
diff -r -x .tsyncquenz "$desk" "$laptop" || fail "the computers differ"
eventually 10 badge_is tovik "$desk" || fail "the folder's badge is $(badge "$desk")"
echo
echo "demo: all as it should be, in $((SECONDS - began)) seconds"
