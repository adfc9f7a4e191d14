#!/usr/bin/env bash
# What shells offer after a program's name: completion_test.sh COMPLETIONS TSYNCFINDER DIRSNAPSHOT
# In bash always, in fish where it is installed; zsh's part is only parsed.
set -euo pipefail
files=$1 finder=$2 snapshot=$3
PATH=$(dirname "$finder"):$(dirname "$snapshot"):$PATH
for program in tsyncfinder dirsnapshot; do
    # shellcheck source=/dev/null
    source "$files/bash-completion/completions/$program"
    ! command -v zsh >/dev/null || zsh -n "$files/zsh/vendor-completions/_$program"
done
failed=0
# offers EXPECTED WORD…: the words that are offered for the last one, "-" for none.
offers() {
    local expected=$1 found
    shift
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
    "_$1"
    found="${COMPREPLY[*]:--}"
    [ "$found" = "$expected" ] || { echo "completion: bash: $*: $found and not $expected" >&2; failed=1; }
    if command -v fish >/dev/null && [ "$expected" != - ]; then
        found=$(HOME=/nowhere fish --no-config -c "source $files/fish/vendor_completions.d/$1.fish; complete -C '$*'" 2>/dev/null | cut -f 1 | paste -sd ' ')
        [ "$found" = "$expected" ] || { echo "completion: fish: $*: $found and not $expected" >&2; failed=1; }
    fi
}
offers "config" tsyncfinder con
offers "--json" tsyncfinder status --js
offers "add get set rename remove exists" tsyncfinder secret ""
offers "debug info error" tsyncfinder run --log-level ""
offers "flat" dirsnapshot scan --no-recursive --type fl
offers "-" dirsnapshot scan ""
offers "-" dirsnapshot scan -o ""
offers "-" tsyncfinder badges -- --js
offers "-" tsyncfinder nonsense ""
exit $failed
