#!/usr/bin/env bash
# What does bash propose?   Usage: completion.sh BUILD
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
for program in kvgrab kvcam; do
    # shellcheck source=/dev/null
    source "$1/share/bash-completion/completions/$program"
done
mkdir -p "$folder/kvgrab" "$folder/my configurations"
touch "$folder/one.toml" "$folder/one.png" "$folder/kvgrab/"{left,right}.sock
export XDG_RUNTIME_DIR=$folder
cd "$folder"
failed=0

# The words before the cursor and what is proposed: all of it, or with ... at its end at least that.
proposes() { # PROPOSED WORD...
    local wanted=$1 got
    shift
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    "_$1" || true # compopt fails outside a completion
    got=$(printf '%s\n' "${COMPREPLY[@]}" | sort | paste -sd ' ')
    if [ "$got" != "$wanted" ] && [[ $wanted != *... || $got != *"${wanted% ...}"* ]]; then
        printf '%s proposes "%s" and not "%s"\n' "$*" "$got" "$wanted" >&2
        failed=1
    fi
}

proposes 'check ctl execute features get list run set' kvgrab ''
proposes 'features' kvgrab fe
proposes '--every-frame --export' kvgrab --e
proposes '--model' kvgrab run --mo
proposes '--json' kvgrab ctl --j
proposes '' kvgrab list --ex
proposes 'mono12 mono12p mono8' kvgrab --format mono
proposes 'png' kvgrab --export = pn
proposes 'all net sim' kvgrab list --cameras ''
proposes 'all net sim' kvgrab list --cameras =
proposes '/left /right ...' kvgrab --memory ''
proposes 'left' kvgrab ctl --memory le
proposes 'kvgrab my configurations one.toml' kvgrab --config ''
proposes 'kvgrab my configurations one.toml' kvgrab check ''
proposes 'kvgrab my configurations' kvgrab -d ''
proposes 'one.png one.toml' kvgrab --log-file on
proposes 'change configuration' kvgrab --memory /left ctl c
proposes 'change configuration' kvgrab ctl --memory = /left c
proposes 'one.toml' kvgrab ctl save o
proposes '' kvgrab ctl status ''
proposes '--ready-file --resend-depth' kvcam --re
proposes 'one.png one.toml' kvcam --description on
exit $failed
