# shellcheck shell=bash
# What the demos share: the processes that they start and how all ends, showing a tree, building. Sourced, with `here`
# set to the project's folder.
here=${here:?}

work=$(mktemp -d)
started=() # process ids, in the order of their start

finish() {
    local index
    for ((index = ${#started[@]} - 1; index >= 0; index--)); do
        kill "${started[index]}" 2>/dev/null || true
        wait "${started[index]}" 2>/dev/null || true
    done
    rm -rf "$work"
}
trap finish EXIT
trap 'exit 130' INT TERM

fail() {
    echo >&2
    echo "demo: FAILED: $*" >&2
    for log in "$work"/*.log; do
        [ -s "$log" ] || continue
        echo "--- the last lines of $(basename "$log")" >&2
        tail -n 15 "$log" >&2
    done
    exit 1
}

# eventually SECONDS COMMAND…: repeats the command until it succeeds.
eventually() {
    local deadline=$((SECONDS + $1))
    shift
    until "$@"; do
        [ $SECONDS -lt $deadline ] || return 1
        sleep 0.1
    done
}

# show_tree ANSWER: the tree of an answer of `badges`, three levels and at most 60 lines of it.
show_tree() {
    echo
    # shellcheck disable=SC2016 # jq's variables
    jq -r --argjson most 60 '
        {tovik: "  ◆ Tovik Icon", sync: "  ✔ Status Sync", upload: "  ▲ Status Upload",
         update: "  ↻ Status Update", error: "  ✖ Status Error"} as $marks
        | (.[0].path | length) as $start
        | map(. + {way: (.path[$start:] | split("/")[1:])} | select(.way | length <= 3)) as $shown
        | (reduce ($shown[].way | select(length > 0)) as $way ({}; .[$way[:-1] | join("/")] = $way[-1])) as $last
        | ($shown[:$most][]
            | .way as $way
            | ([range(0; $way | length) as $i
                | ($last[$way[:$i] | join("/")] == $way[$i]) as $is_last
                | if $i + 1 < ($way | length) then (if $is_last then "    " else "│   " end)
                  else (if $is_last then "└── " else "├── " end) end] | join(""))
              + (($way[-1] // .path) | gsub("[[:cntrl:]]"; "?")) + ($marks[.badge] // "")),
          (if ($shown | length) > $most then "… and \(($shown | length) - $most) more" else empty end)
    ' "$work/$1.json"
}

heading() { printf '\n── %s\n' "$*"; }

# Passes the build's words into the log, and a moving count onto a terminal; elsewhere a line for each tenth.
follow() {
    local line tenth shown=0
    while IFS= read -r line; do
        printf '%s\n' "$line" >>"$work/build.log"
        [[ $line =~ ^\[([0-9]+)/([0-9]+)\] ]] || continue
        tenth=$((10 * BASH_REMATCH[1] / BASH_REMATCH[2]))
        if [ -t 1 ]; then
            printf '\rdemo: building %s of %s ' "${BASH_REMATCH[1]}" "${BASH_REMATCH[2]}"
        elif [ "$tenth" -gt "$shown" ]; then
            echo "demo: building ${BASH_REMATCH[1]} of ${BASH_REMATCH[2]}"
        fi
        shown=$tenth
    done
    [ ! -t 1 ] || [ "$shown" -eq 0 ] || echo
}

# build_demo "PART…" TARGET…: installs what is missing for the parts of script/bootstrap, and builds.
build_demo() {
    local parts
    read -ra parts <<<"$1"
    shift
    build=$here/build/demo
    "$here/script/bootstrap" "${parts[@]}"
    if [ -d "$build" ]; then echo "demo: building"; else echo "demo: building; the first time takes some minutes"; fi
    if ! { cmake -S "$here" --preset demo && cmake --build "$build" --target "$@"; } 2>&1 | follow; then
        tail -n 40 "$work/build.log" >&2
        fail "the build failed"
    fi
}

# start_bus NAME: a session bus of its own; its address goes to $work/NAME.address.
start_bus() {
    dbus-daemon --config-file="$here/tests/support/private_bus.conf" --nofork --nopidfile --print-address=1 \
        >"$work/$1.address" 2>"$work/$1.log" &
    started+=($!)
    eventually 10 test -s "$work/$1.address" || fail "no private session bus"
}
