#!/usr/bin/env bash
# The packages in a folder, which a command makes first, installed, used and purged: package_test.sh FOLDER COMMAND…
#
# Everything happens in a root of its own that lies over this system's and is thrown away: what the packages
# leave there after the purge is seen exactly, and nothing here changes. Exit status 77 where that cannot be
# had.
set -euo pipefail
if [ "${1-}" != --inside ]; then
    packages=$1
    shift
    [ "$(id -u)" -eq 0 ] || { echo "package: needs root, to install packages"; exit 77; }
    command -v dpkg-deb >/dev/null || { echo "package: needs dpkg"; exit 77; }
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    mkdir "$work/layer"
    # shellcheck disable=SC2016 # for the shell inside
    if ! unshare -m sh -c 'mount -t tmpfs tmpfs "$1" && mkdir "$1/up" "$1/work" "$1/root" &&
        mount -t overlay overlay -o "lowerdir=/,upperdir=$1/up,workdir=$1/work" "$1/root"' sh "$work/layer" 2>"$work/why"; then
        echo "package: no root of its own can be made here: $(cat "$work/why")"
        exit 77
    fi
    "$@" >"$work/packages.log" 2>&1 || { cat "$work/packages.log"; exit 1; }
    unshare -m -p -f --kill-child "$0" --inside "$work/layer" "$(cd "$packages" && pwd)" "$(cd "$(dirname "$0")" && pwd)"
    exit
fi

layer=$2 packages=$3 sources=$4
fail() { echo "package: $1" >&2; exit 1; }
mount --make-rprivate /
mount -t tmpfs tmpfs "$layer"
mkdir "$layer/up" "$layer/work" "$layer/root"
mount -t overlay overlay -o "lowerdir=/,upperdir=$layer/up,workdir=$layer/work" "$layer/root"
for folder in sys dev; do mount --rbind "/$folder" "$layer/root/$folder"; done
mount -t proc proc "$layer/root/proc"
for folder in run tmp; do mount -t tmpfs tmpfs "$layer/root/$folder"; done
inside() { chroot "$layer/root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"; }

# ---- installed, on a system that has none of them
rm -f "$layer/root/var/lib/man-db/auto-update" # else all the machine's manual pages are read three times
rm -f "$layer"/root/usr/lib/systemd/user-environment-generators/*gpg* # else each reload asks GnuPG for its settings
names=()
for package in "$packages"/*.deb; do names+=("$(dpkg-deb -f "$package" Package)"); done
inside dpkg --purge "${names[@]}" >"$layer/dpkg.log" 2>&1 || fail "the machine's own ones cannot be purged: $(cat "$layer/dpkg.log")"
# Among two hundred thousand files of others dpkg would look for ours, for seconds: that is done here, at once, and it
# knows of the folders alone that others have, too.
lists=$layer/root/var/lib/dpkg/info
for package in "$packages"/*.deb; do dpkg-deb -c "$package"; done | awk '{ sub(/^\./, "", $6); print $6 }' >"$layer/ours"
grep -v "/$" "$layer/ours" >"$layer/files"
! grep -F -x -f "$layer/files" "$lists"/*.list || fail "files of other packages"
for list in "$lists"/*.list; do : >"$list"; done
sed -n 's,/$,,p' "$layer/ours" | sort -u | while read -r folder; do [ ! -d "$layer/root$folder" ] || echo "${folder:-/.}"; done >"$lists/base-files.list"
cp "$packages"/*.deb "$layer/root/tmp"
inside sh -c 'dpkg -i /tmp/*.deb' >"$layer/dpkg.log" 2>&1 || fail "cannot be installed: $(cat "$layer/dpkg.log")"
echo "package: installed ${names[*]}"

# ---- started: by the unit, by the bus, and by neither when it is masked
mkdir "$layer/root/tmp/home"
if command -v systemd-analyze >/dev/null; then
    inside HOME=/tmp/home XDG_RUNTIME_DIR=/tmp/home systemd-analyze verify --user \
        /usr/lib/systemd/user/tsyncfinder.service /usr/lib/systemd/user/tsyncquenz.service || fail "the units"
fi
for link in graphical-session.target.wants/tsyncquenz.service dbus-com.quarnhold.TovikDrive-Quen.tsync.service; do
    [ -L "$layer/root/etc/systemd/user/$link" ] || fail "the service's unit is not enabled: $link"
done
inside systemctl --quiet --global mask tsyncfinder.service 2>/dev/null
cat >"$layer/root/tmp/session" <<'END'
set -eu
export HOME=/tmp/home XDG_RUNTIME_DIR=/tmp/home XDG_CURRENT_DESKTOP=GNOME GSETTINGS_BACKEND=memory
mkdir -p $HOME
ask() { dbus-send --session --print-reply "$@" --dest=com.quarnhold.TovikDrive-Quen.TSyncFinder \
    /com/quarnhold/TovikDrive_Quen/TSyncFinder com.quarnhold.TovikDrive_Quen.FinderSync1.Version; }
case $1 in
masked)
    # The bus goes on waiting for a program that has ended well; its log says that it has.
    if ask --reply-timeout=1000 2>$HOME/said; then echo "started though masked"; exit 1; fi
    timeout 20 sh -c 'until grep -q "the unit is masked" $HOME/log; do sleep 0.1; done' || { cat $HOME/said $HOME/log; exit 1; }
    ;;
*)
    ask | grep -q string || { echo "the bus does not start it"; exit 1; }
    tsyncfinder doctor || exit 1
    # The service: nothing starts before it is set up, then the bus does.
    tsyncquenz status 2>&1 | grep -q "tsyncquenz setup" || { echo "the service is set up already"; exit 1; }
    mkdir -p $HOME/.config/rclone $HOME/space $HOME/Pictures
    printf '[mine]\ntype = alias\nremote = %s\n' $HOME/space >$HOME/.config/rclone/rclone.conf
    tsyncquenz setup mine: && tsyncquenz add $HOME/Pictures && tsyncquenz status || exit 1
    tsyncquenz-sandbox 2>&1 | grep -q "only one at a time" || { echo "the stand-in beside the service"; exit 1; }
    ;;
esac
END
# The bus's programs write into its own error output.
# shellcheck disable=SC2016
session() { inside sh -c 'mkdir -p /tmp/home; HOME=/tmp/home dbus-run-session -- sh /tmp/session "$1" 2>>/tmp/home/log' sh "$1"; }
session masked || fail "a masked unit: $(cat "$layer/root/tmp/home/log")"
inside systemctl --quiet --global unmask tsyncfinder.service 2>/dev/null
inside systemctl --quiet --global enable tsyncfinder.service 2>/dev/null
session "" >"$layer/doctor.log" || fail "a session: $(cat "$layer/doctor.log" "$layer/root/tmp/home/log")"
for package in "${names[@]}"; do
    manager=${package%-tsyncfinder}
    [ "$manager" = "$package" ] || grep -q "^ok .*plugin-$manager: version .* is installed" "$layer/doctor.log" ||
        fail "the $manager plugin: $(cat "$layer/doctor.log")"
done

# ---- the life of the unit
cp "$sources/user_session.sh" "$layer/root/tmp"
group=tsyncfinder-package-test-$$-$RANDOM
status=0
unshare -p -f --kill-child chroot "$layer/root" /tmp/user_session.sh "$group" || status=$?
find /sys/fs/cgroup -depth -type d -path "*/$group*" -exec rmdir {} + 2>/dev/null || true
[ $status -eq 0 ] || [ $status -eq 77 ] || fail "the unit's life"

# ---- used
inside sh -c 'mkdir -p /tmp/folder/sub && echo x >/tmp/folder/sub/file && dirsnapshot scan -o /tmp/snapshot /tmp/folder &&
    dirsnapshot diff --type flat /tmp/snapshot /tmp/folder' || fail "dirsnapshot"
cp "$sources/../../docs/examples/changes.c" "$layer/root/tmp"
# shellcheck disable=SC2016 # for the shell inside
inside sh -ec 'cc /tmp/changes.c -o /tmp/changes $(pkg-config --cflags --libs dssnapshot) && /tmp/changes /tmp/folder /tmp/another' ||
    fail "the library"
"$sources/../snapshot/exports.sh" "$layer"/root/usr/lib/*/libdssnapshot.so.0 "$layer"/root/usr/include/dssnapshot/snapshot/*.h ||
    fail "a public header is not installed"
for page in tsyncfinder tsyncfinder-panel dirsnapshot tsyncquenz tsyncquenz-sandbox; do
    [ -f "$layer/root/usr/share/man/man1/$page.1.gz" ] || fail "no man page: $page"
done

# ---- purged
inside dpkg --purge "${names[@]}" >"$layer/dpkg.log" 2>&1 || fail "cannot be purged: $(cat "$layer/dpkg.log")"
! grep -i warning "$layer/dpkg.log" || fail "the purge warns"
# What the system itself writes at each installation.
written='^(var/lib/dpkg/|var/log/|var/cache/(man|ldconfig|debconf)/|etc/ld\.so\.cache$|usr/share/icons/hicolor/icon-theme\.cache$|root/)'
left=$(
    # A character device stands for what the machine has and the layer has not.
    find "$layer/up" -mindepth 1 ! -type c -printf '%y %P\n' | while read -r kind path; do
        if [ "$kind" != d ] || [ ! -d "/$path" ]; then echo "$path"; fi
    done | grep -Ev "$written" || true
)
[ -z "$left" ] || fail "left behind: $left"
echo "package: purged, nothing is left"
