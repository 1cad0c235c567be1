#!/usr/bin/env bash
# The bash completion of zelcfg, with the built tool first on PATH: one row
# per case, the words on the line (the last one being completed) and the
# completions expected, in the order offered. A row's quoting is undone once,
# so "'a b'" stands for the word 'a b' as typed, quotes and all.
# Usage: tool_completion_test.sh ZELCFG COMPLETION_SCRIPT
set -u
[ "$(basename "$1")" = zelcfg ] || { echo "usage: $0 .../zelcfg zelcfg.bash" >&2; exit 2; }
PATH=$(cd "$(dirname "$1")" && pwd):$PATH
# shellcheck source=/dev/null
source "$2"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 2
printf '[Net]\nHost=10.0.0.1\nPort=80\n[Logging]\nLevel=2\n[mypy-foo.*]\nstrict=1\n' >device.cfg
printf 'Version=2\nName = box\n' >build.conf
printf '[global]\ncert = a.pem\n' >pip.cfg
printf '<c v="1">\n  <Net Port="80"><Host>h</Host></Net>\n</c>\n' | tee device.xml >box.conf
printf '<c>\n  <If><Name>a</Name></If>\n  <If><Name>b</Name></If>\n</c>\n' >ports.xml
printf '<p><props><java.version>11</java.version></props></p>\n' >pom.xml

failed=0 rows=0
while IFS='|' read -r line expected; do
    eval "COMP_WORDS=($line)"
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    _zelcfg
    got="${COMPREPLY[*]}"
    expected=${expected# }
    rows=$((rows + 1))
    if [ "$got" != "$expected" ]; then
        echo "FAILED: $line: got '$got', expected '$expected'"
        failed=$((failed + 1))
    fi
done <<'TABLE'
zelcfg re                            | remove-block
zelcfg ed                            | edit
zelcfg edit device.c                 | device.cfg
zelcfg edit device.cfg ''            |
zelcfg --strict-n                    | --strict-name
zelcfg get --type d                  | double
zelcfg --x                           | --xml
zelcfg get --type = b                | bool
zelcfg list device.c                 | device.cfg
zelcfg get device.cfg N              | Net.Host Net.Port
zelcfg set device.cfg ''             | Net.Host Net.Port Logging.Level mypy-foo.\*
zelcfg unset device.cfg "mypy-foo.\*" s | strict
zelcfg get "'device.cfg'" "'mypy-foo.*'" '' | strict
zelcfg remove-block device.cfg L     | Logging
zelcfg --anonymous get build.conf '' | Version Name
zelcfg get build.conf ''             | .Version .Name
zelcfg get build.conf '' N           | Name
zelcfg --ini get pip.cfg g           | global.cert
zelcfg get device.cfg Net.Port ''    |
zelcfg list device.cfg ''            |
zelcfg get device.xml N              | Net.Port Net.Host
zelcfg --xml unset box.conf ''       | v Net.Port Net.Host
zelcfg unset box.conf ''             | v Net.Port Net.Host
zelcfg set device.xml Net.Port ''    |
zelcfg get ports.xml I               | If\[1\].Name If\[2\].Name
zelcfg unset ports.xml "'If[2'"      | If\[2\].Name
zelcfg get pom.xml p                 | props.\"java.version\"
zelcfg get pom.xml "'props.\"j'"        | props.\"java.version\"
zelcfg lint device.xml ''            |
zelcfg --block get device.xml ''     |
TABLE
echo "$rows rows, $failed failed"
[ "$failed" = 0 ]
