#!/usr/bin/env bash
# The installed extension, and the sync service, under a systemd user manager of its own, as the first process
# of a process namespace: started by the bus, again after a crash, with the session and not against a person's
# will. Exit status 77 where no user manager can run.
set -euo pipefail
unit=tsyncfinder.service
export PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 HOME=/tmp/person XDG_RUNTIME_DIR=/run/user-session
export GSETTINGS_BACKEND=memory
fail() {
    echo "session: $1" >&2
    tail -n 20 /tmp/manager.log >&2
    exit 1
}
eventually() {
    local deadline=$((SECONDS + 60))
    until "$@"; do
        [ $SECONDS -lt $deadline ] || return 1
        sleep 0.3 # each look starts a program
    done
}
of_unit() { systemctl --user show --property "$1" --value "$unit"; }
is() { [ "$(of_unit "$1")" = "$2" ]; }
is_not() { ! is "$@"; }
# What a plugin does: it speaks to the name, and the bus may start the extension.
ask() {
    dbus-send --session --print-reply "$@" --dest=com.quarnhold.TovikDrive-Quen.TSyncFinder \
        /com/quarnhold/TovikDrive_Quen/TSyncFinder com.quarnhold.TovikDrive_Quen.FinderSync1.Version >/dev/null 2>&1
}
refuses() {
    if ask || is_not ActiveState inactive || pgrep -x tsyncfinder >/dev/null; then fail "it starts though $1"; fi
}

mount -t proc proc /proc
mkdir -p /run/systemd/system "$HOME" "$XDG_RUNTIME_DIR/systemd/user" # the first: systemd's sign of its presence
chmod 700 "$XDG_RUNTIME_DIR"
# The manager keeps its processes in control groups below its own.
while IFS=: read -r _ controllers path; do
    case $controllers in
    name=systemd) folder=/sys/fs/cgroup/systemd$path ;;
    '') [ -d /sys/fs/cgroup/unified ] && folder=/sys/fs/cgroup/unified$path || folder=/sys/fs/cgroup$path ;;
    *) continue ;;
    esac
    { mkdir -p "$folder/$1" && echo $$ >"$folder/$1/cgroup.procs"; } 2>/dev/null || true
done </proc/self/cgroup
/lib/systemd/systemd --user >/tmp/manager.log 2>&1 </dev/null &
is_running() { [[ $(systemctl --user is-system-running 2>/dev/null) == @(running|degraded) ]]; }
if ! eventually is_running; then
    echo "session: no systemd user manager can run here: $(tail -n 3 /tmp/manager.log)"
    exit 77
fi
export DBUS_SESSION_BUS_ADDRESS=unix:path=$XDG_RUNTIME_DIR/bus

ask || fail "the bus does not start it"
is ActiveState active || fail "the bus started it, but not by its unit"
tsyncfinder doctor --json >/tmp/doctor.json || fail "the doctor: $(cat /tmp/doctor.json)"
grep -q '"state":"ok","text":"tsyncfinder.service is enabled' /tmp/doctor.json || fail "the doctor: $(cat /tmp/doctor.json)"

crashed=$(of_unit MainPID)
kill -SEGV "$crashed"
eventually is NRestarts 1 || fail "no new one after a crash"
eventually is ActiveState active || fail "the new one does not come up"
eventually ask || fail "the new one does not answer"
systemctl --user stop "$unit"
is Result success || fail "it does not end cleanly: $(systemctl --user status "$unit")"
is ExecMainStatus 0 || fail "it ends with $(of_unit ExecMainStatus)"

# With the session, and to its end.
printf '[Unit]\nBindsTo=graphical-session.target\nBefore=graphical-session.target\n' >"$XDG_RUNTIME_DIR/systemd/user/desktop.target"
systemctl --user daemon-reload
systemctl --user start desktop.target
eventually is ActiveState active || fail "it does not start with the session"
systemctl --user stop desktop.target
eventually is ActiveState inactive || fail "it does not end with the session"
is Result success || fail "it does not end cleanly with the session"

# Not against a person's will.
systemctl --quiet --user mask "$unit"
refuses "masked"
systemctl --quiet --user unmask "$unit"
ask || fail "it does not start when it is masked no more"
systemctl --user stop "$unit"
systemctl --quiet --global disable "$unit" 2>/dev/null
systemctl --user daemon-reload
refuses "disabled"
systemctl --quiet --global enable "$unit" 2>/dev/null
mkdir "$XDG_RUNTIME_DIR/systemd/user/$unit.d"
printf '[Service]\nExecStopPost=/bin/touch /tmp/ended\n' >"$XDG_RUNTIME_DIR/systemd/user/$unit.d/test.conf"
systemctl --user daemon-reload
tsyncfinder config autostart off >/dev/null
# The bus goes on waiting for the name of a program that has ended well, so this is the last request.
! ask --reply-timeout=1000 || fail "it starts though the settings say no"
eventually test -e /tmp/ended || fail "it was not even asked, or goes on though the settings say no"
eventually is ActiveState inactive || fail "it goes on though the settings say no"

# The sync service under the limits of its unit: rclone brings a file to the storage, and ends with it.
mkdir -p "$HOME/.config/rclone" "$HOME/space" "$HOME/Pictures"
printf '[mine]\ntype = alias\nremote = %s\n' "$HOME/space" >"$HOME/.config/rclone/rclone.conf"
echo x >"$HOME/Pictures/file"
tsyncquenz setup mine: >/dev/null || fail "the service cannot be set up"
systemctl --user start tsyncquenz.service || fail "the service does not start"
tsyncquenz add "$HOME/Pictures" >/dev/null || fail "the service takes no folder"
eventually test -f "$HOME/space/Pictures/file" || fail "nothing comes to the storage: $(tsyncquenz status)"
systemctl --user stop tsyncquenz.service
if ! eventually sh -c '! pgrep -x rclone >/dev/null'; then fail "rclone outlives the service"; fi
echo "session: started, restarted, stopped and refused as it should be"
