#!/bin/sh
# What `make run` shows: zelcfg on the shipped examples, one heading per step,
# each file listed before and after the tool works on it.
# Usage: demo.sh ZELCFG BUILD_DIR
set -eu

if [ $# -ne 2 ]; then
    echo "usage: $0 ZELCFG BUILD_DIR" >&2
    exit 2
fi
zelcfg=$1
copy=$2/sample-copy.cfg

heading() { printf '\n== %s\n' "$*"; }
# Numbered lines, as lint counts them; a carriage return shown as \r.
listing() { sed 's/\r$/\\r/' "$1" | nl -b a -w 4 -s ' | ' | sed 's/ $//'; }
# Echoes the command as a user would type it, then runs it.
run() {
    echo "\$ zelcfg $*"
    "$zelcfg" "$@"
}

echo
echo "zelcfg, the command-line tool of ZelConfig, on the example files"
echo "(zelcfg here is $zelcfg; zelcfg --help lists every command)."

heading "1. Read a value"
echo "Net.Port, the entry Port of the block [Net] in examples/data/sample.cfg, as an integer:"
run get --type int examples/data/sample.cfg Net.Port

heading "2. Change a value, in a copy"
cp examples/data/sample.cfg "$copy"
echo "$copy, a copy of examples/data/sample.cfg, before:"
listing "$copy"
run set "$copy" Net.Port 8080
echo "and after: only the line of Port changed, every other byte is kept"
echo "(set --normalise would write the library's normalised form instead):"
diff -U1 examples/data/sample.cfg "$copy" | tail -n +3

heading "3. List every value"
run list "$copy"

heading "4. Check a file for what a save would lose"
echo "examples/data/legacy.cfg, written by an older tool:"
listing examples/data/legacy.cfg
status=0
run lint examples/data/legacy.cfg || status=$?
# 1 is lint's "findings" status; anything else is a failure of the demo.
[ "$status" -eq 1 ] || { echo "zelcfg lint exited with $status, expected 1" >&2; exit 1; }
echo "(exit status 1: there are findings)"
