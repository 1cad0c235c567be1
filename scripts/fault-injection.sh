#!/usr/bin/env bash
# Kills an edit at each of its system calls in turn, and makes each call fail
# with each of a few errors in turn, then looks at the file: it must hold
# its old text or its new text, never anything else (except in place, which
# rewrites the file's own bytes and so cannot be atomic: its rows show how
# often a kill leaves it part written), and a command that exits 0 must have
# made its change. zelcfg's edits are run side by side with
# crudini's and git config's on the same file, for comparison.
#
#   scripts/fault-injection.sh [BUILD_DIR] [TOOL ...]
#
# BUILD_DIR (default build) holds tools/zelcfg/zelcfg and the XML plug-in.
# TOOLs are row names of the table below (default: all whose program is
# installed). Needs strace; crudini and git for their rows. Prints one
# Markdown table row per tool (docs/reliability.md shows the last run).
# ERRORS="EIO ENOSPC" narrows the errors injected.
set -euo pipefail

build=${1:-build}
[ $# -gt 0 ] && shift
zelcfg=$(cd "$build" && pwd)/tools/zelcfg/zelcfg
plugin_dir=$(cd "$build" && pwd)/plugins/xml
[ -x "$zelcfg" ] || { echo "fault-injection: no $zelcfg; build it first (make build)" >&2; exit 2; }
command -v strace >/dev/null || { echo "fault-injection: strace is needed (apt-get install strace)" >&2; exit 2; }

errors=${ERRORS:-EIO ENOSPC EDQUOT EINTR}
# The calls by which a program reads, writes, replaces and locks a file.
syscalls="openat read pread64 write pwrite64 fsync fdatasync ftruncate close rename renameat renameat2
          link linkat unlink unlinkat fchmod fchown flock fcntl"

cfg_text=$'# settings\n[s]\na=1\nb=2\n[t]\nc=3\n'
xml_text=$'<?xml version="1.0"?>\n<c>\n  <s><a>1</a><b>2</b></s>\n</c>\n'

# name | file | command (run in the file's directory; $F is the file)
rows=(
    "zelcfg set|f.cfg|$zelcfg set \$F s.a 2"
    "zelcfg unset|f.cfg|$zelcfg unset \$F s.b"
    "zelcfg remove-block|f.cfg|$zelcfg remove-block \$F t"
    "zelcfg set --in-place|f.cfg|$zelcfg set --in-place \$F s.a 2"
    "zelcfg set (XML)|f.xml|$zelcfg set \$F s.a 2"
    "zelcfg set --in-place (XML)|f.xml|$zelcfg set --in-place \$F s.a 2"
    "crudini --set|f.cfg|crudini --set \$F s a 2"
    "crudini --del|f.cfg|crudini --del \$F s b"
    "git config|f.cfg|git config --file \$F s.a 2"
    "git config --unset|f.cfg|git config --file \$F --unset s.b"
)

work=$(mktemp -d "${TMPDIR:-/tmp}/fault-injection.XXXXXX")
trap 'rm -rf "$work"' EXIT

# A fresh directory holding only the file, with its old text.
fresh() {
    rm -rf "$work/d" && mkdir "$work/d"
    case "$1" in
        *.xml) printf '%s' "$xml_text" >"$work/d/$1" ;;
        *) printf '%s' "$cfg_text" >"$work/d/$1" ;;
    esac
}

# Runs the row's command in the fresh directory, under strace with extra
# options (no shell between, whose own calls would count); prints the exit
# status.
run() {
    local file=$1 command=$2
    shift 2
    # shellcheck disable=SC2086 # the command's words are split on purpose
    # The outer redirection silences the shell's own "Killed" notice.
    { (cd "$work/d" && LD_LIBRARY_PATH=$plugin_dir HOME=$work GIT_CONFIG_NOSYSTEM=1 \
        strace -f -qq -o /dev/null "$@" -- ${command//\$F/$file} >/dev/null 2>&1); } 2>/dev/null && echo 0 || echo $?
}

# old, new or other: what the file holds now. A missing file is other.
state() {
    local file=$1 old=$2 new=$3
    if [ ! -e "$work/d/$file" ]; then echo other
    elif cmp -s "$work/d/$file" "$old"; then echo old
    elif cmp -s "$work/d/$file" "$new"; then echo new
    else echo other; fi
}

# Files beside the edited one after the run: temporary or lock files left.
leftovers() {
    find "$work/d" -mindepth 1 -maxdepth 1 ! -name "$1" | wc -l
}

echo "| Edit | Calls | Kills | Kills leaving old or new text | Kills leaving files behind | ... still there after the next edit | Errors | Errors leaving old or new text | Exit 0 without the change | Errors leaving files behind |"
echo "|---|---|---|---|---|---|---|---|---|---|"
for row in "${rows[@]}"; do
    IFS='|' read -r name file command <<<"$row"
    if [ $# -gt 0 ] && ! printf '%s\n' "$@" | grep -qxF "$name"; then continue; fi
    program=${command%% *}
    command -v "$program" >/dev/null || { echo "| $name | ($program is not installed) |"; continue; }

    # The old and new texts, and how often the command makes each call.
    fresh "$file"; cp "$work/d/$file" "$work/old"
    status=$(run "$file" "$command" -e trace="$(echo $syscalls | tr ' ' ,)" -o "$work/trace")
    [ "$status" = 0 ] || { echo "| $name | (fails without faults: exit $status) |"; continue; }
    cp "$work/d/$file" "$work/new"
    calls=0 kills=0 kill_ok=0 kill_left=0 kill_kept=0 errs=0 err_ok=0 err_lost=0 err_left=0
    for syscall in $syscalls; do
        count=$(grep -cE "^[0-9]+ +$syscall\(" "$work/trace" || true)
        calls=$((calls + count))
        for ((k = 1; k <= count; k++)); do
            fresh "$file"
            run "$file" "$command" -e trace="$syscall" -e inject="$syscall:signal=SIGKILL:when=$k" >/dev/null
            kills=$((kills + 1))
            [ "$(state "$file" "$work/old" "$work/new")" != other ] && kill_ok=$((kill_ok + 1))
            if [ "$(leftovers "$file")" -gt 0 ]; then
                kill_left=$((kill_left + 1))
                # Does a later edit of the file clean up after the killed one?
                run "$file" "$command" -e trace=none >/dev/null
                [ "$(leftovers "$file")" -gt 0 ] && kill_kept=$((kill_kept + 1))
            fi
            for error in $errors; do
                fresh "$file"
                status=$(run "$file" "$command" -e trace="$syscall" -e inject="$syscall:error=$error:when=$k")
                errs=$((errs + 1))
                now=$(state "$file" "$work/old" "$work/new")
                [ "$now" != other ] && err_ok=$((err_ok + 1))
                [ "$status" = 0 ] && [ "$now" != new ] && err_lost=$((err_lost + 1))
                [ "$(leftovers "$file")" -gt 0 ] && err_left=$((err_left + 1))
            done
        done
    done
    echo "| $name | $calls | $kills | $kill_ok | $kill_left | $kill_kept | $errs | $err_ok | $err_lost | $err_left |"
done
