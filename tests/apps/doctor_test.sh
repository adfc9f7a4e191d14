#!/usr/bin/env bash
# The doctor in small worlds that are right and wrong in known places: doctor_test.sh TSYNCFINDER ICONS [CAJA-PLUGIN CMAKE BUILD-FOLDER]
set -euo pipefail
program=$1 icons=$2 plugin=${3-} cmake=${4-} build=${5-}
work=$(mktemp -d)
started=()
finish() {
    [ ${#started[@]} -eq 0 ] || kill -KILL "${started[@]}" 2>/dev/null || true
    rm -rf "$work"
}
trap finish EXIT
fail() { echo "doctor: $1" >&2; exit 1; }
# eventually COMPLAINT COMMAND…
eventually() {
    local complaint=$1 deadline=$((SECONDS + 30))
    shift
    until "$@"; do
        [ $SECONDS -lt $deadline ] || fail "$complaint"
        sleep 0.05
    done
}

export HOME=$work XDG_CONFIG_HOME=$work/config XDG_DATA_HOME=$work/data XDG_RUNTIME_DIR=$work/run
export XDG_DATA_DIRS=$work/share XDG_CONFIG_DIRS=$work/etc GSETTINGS_BACKEND=memory CAJA_EXTENSION_DIRS=$work/plugins
unset DBUS_SESSION_BUS_ADDRESS XDG_CURRENT_DESKTOP
mkdir -p "$work"/{run,config/gtk-3.0,config/autostart,config/systemd/user,etc/autostart,plugins,share/icons,share/dbus-1/services}

# expect CHECK PATTERN…: what one run of the doctor says, "STATE TEXT" for each check.
expect() {
    local state check text
    local -A said=()
    while read -r state check text; do said[${check%:}]="$state $text"; done <<<"$("$program" doctor || true)"
    while [ $# -gt 0 ]; do
        # shellcheck disable=SC2053 # a pattern
        [[ ${said[$1]-} == $2 ]] || fail "$1: expected $2, found ${said[$1]-}"
        shift 2
    done
}

! "$program" doctor >"$work/said" || fail "no bus is no problem"
grep -q '^problem  bus: There is no session bus' "$work/said" || fail "$(cat "$work/said")"
grep -q '^         → Run this in a desktop session' "$work/said" || fail "no advice"

dbus-daemon --config-file="${BASH_SOURCE[0]%/*}/../support/private_bus.conf" --nofork --nopidfile --print-address=1 \
    >"$work/address" 2>/dev/null &
started+=($!)
eventually "no bus" test -s "$work/address"
DBUS_SESSION_BUS_ADDRESS=$(cat "$work/address")
export DBUS_SESSION_BUS_ADDRESS
missing=()
command -v tsyncquenz >/dev/null || missing=(service 'warning *is not installed.')
expect bus 'ok *' activation 'warning *' extension 'problem The extension does not run *' \
    daemon 'warning Nobody owns *' unit 'ok No systemd user manager *' switch-nemo '' "${missing[@]}"
{ "$program" doctor --json || true; } | jq -e 'any(.check == "daemon" and .state == "warning" and
    (.text | startswith("Nobody owns ")) and (.advice | length > 0))' >/dev/null || fail "no JSON"

# The service: without a storage, without its rclone, with one that answers and one that does not; and what systemd
# says of the extension's unit.
mkdir "$work/bin" "$work/run/systemd"
ln -s /bin/false "$work/bin/gsettings" # the real one has been asked
touch "$work/run/systemd/private"
export PATH=$work/bin:$PATH
printf '#!/bin/sh\nexit 0\n' >"$work/bin/tsyncquenz"
chmod +x "$work/bin/tsyncquenz"
printf '#!/bin/sh\nexec sleep 60\n' >"$work/bin/systemctl"
chmod +x "$work/bin/systemctl"
expect service 'warning *no storage is set up.' unit 'warning systemctl does not answer.'
mkdir -p "$work/config/tsyncquenz"
echo '{"storage":"mine:sync"}' >"$work/config/tsyncquenz/settings.json"
for world in 'ok:ok:rclone v1.60.1-DEV:ok:enabled' 'problem:ok:rclone v1.53.3:warning:disabled' \
    'warning:problem:nonsense:warning:masked-runtime' 'problem:problem::problem:Failed to get unit file state'; do
    IFS=: read -r version storage line unit state <<<"$world"
    printf '#!/bin/sh\necho "%s"\n' "$state" >"$work/bin/systemctl"
    # shellcheck disable=SC2016 # for the script
    printf '#!/bin/sh\n[ -n "%s" ] || exit 1\n[ $1 = version ] && echo "%s" || [ %s = ok ]\n' "$line" "$line" "$storage" >"$work/bin/rclone"
    chmod +x "$work/bin/rclone"
    expect rclone "$version *" storage "$storage mine:sync *" unit "$unit *" \
        service 'warning tsyncquenz is set up and does not run.'
done
rm "$work/run/systemd/private"

"$program" run --log-level error &
extension=$!
started+=("$extension")
answers() { "$program" status >/dev/null 2>&1; }
eventually "the extension does not answer" answers
expect extension 'ok tsyncfinder (process *' version 'ok *'
kill -STOP "$extension"
expect extension 'problem *does not answer.'
kill -CONT "$extension"

# Switches of the file managers' own.
rm "$work/bin/gsettings"
printf '#!/bin/sh\n' >"$work/bin/nemo"
printf "#!/bin/sh\necho \"['TSyncFinderPlugin']\"\n" >"$work/bin/gsettings"
chmod +x "$work/bin/nemo" "$work/bin/gsettings"
printf '[General]\nlibtsyncfinder-dolphin=false\n[Show]\nlibtsyncfinder-dolphin=true\n' >"$work/config/kservicemenurc"
mkdir -p "$work/data/flatpak/app/org.kde.dolphin" "$work/etc"
expect switch-nemo "warning Nemo's own settings*" switch-dolphin ''
rm "$work/config/kservicemenurc" "$work/bin/nemo"
ln -sf /bin/false "$work/bin/gsettings"
printf '[Show]\nlibtsyncfinder-dolphin=false\n' >"$work/etc/kservicemenurc"
expect switch-dolphin "warning Dolphin's own settings*$work/etc/kservicemenurc." \
    flatpak 'warning Dolphin is installed as a Flatpak, org.kde.dolphin, *'

# The report tells all that, and no names.
HOME=$work/home "$program" doctor --report >"$work/report" || true
for line in "TSyncFinder " "System: " "Settings: autostart=on" "Extension: badgesShown=true" "problem storage" \
    "warning switch-dolphin: Dolphin's own settings switch the menu off, in …" "ok extension: tsyncfinder (process"; do
    grep -q "^$line" "$work/report" || fail "no $line in $(cat "$work/report")"
done
! grep -q -e "$work" -e mine:sync -e "$(uname -n)" "$work/report" || fail "names in $(cat "$work/report")"
rm "$work/config/tsyncquenz/settings.json" # no more questions to rclone

# Emblems: the theme of the person inherits from one that is there; the cache file of one hides them.
printf '[Settings]\ngtk-icon-theme-name=Fancy\n' >"$work/config/gtk-3.0/settings.ini"
mkdir -p "$work/share/icons/Fancy" "$work/share/icons/Plain/16/emblems"
printf '[Icon Theme]\nInherits=Plain,Gone\n' >"$work/share/icons/Fancy/index.theme"
printf '[Icon Theme]\nInherits=Fancy\nDirectories=8,16/emblems\n[8]\nSize=8\n' >"$work/share/icons/Plain/index.theme"
expect emblems 'problem Not found from the icon theme Fancy (*gtk-3.0/settings.ini): emblem-tsyncfinder-update, *'
for badge in update sync error upload tovik; do touch "$work/share/icons/Plain/16/emblems/emblem-tsyncfinder-$badge.png"; done
expect emblems 'ok *, in Plain'
touch "$work/share/icons/Plain/icon-theme.cache"
expect emblems 'problem *'
{ "$program" doctor || true; } | grep "gtk-update-icon-cache -f $work/share/icons/Plain" >/dev/null ||
    fail "the advice about the cache"
rm -r "$work/share/icons/Plain"
mkdir -p "$work/share/icons/hicolor"
cp -r "$icons/hicolor/." "$work/share/icons/hicolor"
cp /usr/share/icons/hicolor/index.theme "$work/share/icons/hicolor"

# What starts it.
expect emblems 'ok *, in hicolor' autostart 'problem *'
echo '[Desktop Entry]' >"$work/etc/autostart/tsyncfinder-autostart.desktop"
expect autostart "ok $work/etc/*"
printf '[Desktop Entry]\nHidden=true\n' >"$work/config/autostart/tsyncfinder-autostart.desktop"
ln -s /dev/null "$work/config/systemd/user/tsyncfinder.service"
expect autostart 'warning *' unit "warning The unit is masked, by $work/config/*" settings 'ok *'
DBUS_SESSION_BUS_ADDRESS=unix:path=/nowhere "$program" run --automatic 2>/dev/null || fail "it starts though masked"

# Settings, and a file manager without a plugin.
printf '#!/bin/sh\n' >"$work/bin/caja"
chmod +x "$work/bin/caja"
"$program" config badges off >/dev/null
expect settings 'warning "badges" is off.' plugin-caja 'warning Caja has no plugin*'
echo '{' >"$work/config/tsyncfinder/settings.json"
expect settings 'problem The settings cannot be read*'

# Plugins.
[ -n "$plugin" ] || exit 0
printf 'tsyncfinder-plugin-version=0.0.1\0' >"$work/plugins/libtsyncfinder-caja.so"
expect plugin-caja 'problem *is version 0.0.1, *'
cp "$plugin" "$work/plugins/libtsyncfinder-caja.so.new"
mv "$work/plugins/libtsyncfinder-caja.so.new" "$work/plugins/libtsyncfinder-caja.so"
expect plugin-caja 'ok version * is installed; Caja does not run'
# A program of that name stands for the file manager.
cp "$(command -v sleep)" "$work/caja"
"$work/caja" 1000 &
started+=($!)
expect plugin-caja 'problem * has not loaded it.'
kill "$!"
wait "$!" 2>/dev/null || true
LD_PRELOAD="$work/plugins/libtsyncfinder-caja.so" "$work/caja" 1000 &
started+=($!)
eventually "the module is not loaded" grep -q libtsyncfinder "/proc/$!/maps"
expect plugin-caja 'ok * and loaded; it shows no folder*'
kill "$!"
cp "$(readlink -f /usr/bin/python3)" "$work/caja.new"
mv "$work/caja.new" "$work/caja"
LD_PRELOAD="$work/plugins/libtsyncfinder-caja.so" PYTHONHOME=/usr "$work/caja" - <<'END' &
from gi.repository import Gio, GLib
bus = Gio.bus_get_sync(Gio.BusType.SESSION)
for method, argument in (("BeginObserving", GLib.Variant("(s)", ("file:///",))),
                         ("TellLongest", GLib.Variant("(t)", (150999,)))):
    bus.call_sync("com.quarnhold.TovikDrive-Quen.TSyncFinder", "/com/quarnhold/TovikDrive_Quen/TSyncFinder",
                  "com.quarnhold.TovikDrive_Quen.FinderSync1", method, argument, None, 0, -1)
GLib.MainLoop().run()
END
started+=($!)
held() { (expect plugin-caja 'warning *it shows folders to the extension, and held it up for 150 ms at the longest*') 2>/dev/null; }
eventually "the time of the plugin is not told" held
rm "$work/plugins/libtsyncfinder-caja.so"
cp "$plugin" "$work/plugins/libtsyncfinder-caja.so"
expect plugin-caja 'warning * has loaded a former one.'

# Installed where Caja does not look: the installation says so and what to do, and so does the doctor.
rm "$work/plugins/libtsyncfinder-caja.so"
"$cmake" --install "$build" --prefix "$work/prefix" --component caja >"$work/said" 2>&1
advice=$(grep -o "ln -s $work/prefix/.*libtsyncfinder-caja.so /.*" "$work/said") || fail "$(cat "$work/said")"
lying=$(cut -d ' ' -f 3 <<<"$advice")
[ -f "$lying" ] || fail "not installed: $lying"
mkdir "$work/prefix/bin"
cp "$program" "$work/prefix/bin/tsyncfinder"
program=$work/prefix/bin/tsyncfinder
expect plugin-caja "problem The plugin lies in vain at $lying: Caja looks into $work/plugins."
ln -s "$lying" "$work/plugins/"
expect plugin-caja 'warning * has loaded a former one.'
