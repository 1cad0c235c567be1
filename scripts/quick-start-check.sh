#!/usr/bin/env bash
# The README's Quick start on a brand-new Debian 12, as a newcomer runs it:
# the project's committed HEAD is cloned into a minimal Debian 12 root
# (debootstrap's minbase with git and make only, from the mirror this
# machine's apt uses; built once and kept in /var/cache/zelconfig-quick-start)
# and `make run` then `make test` run there, each timed. Nothing installed on
# this machine is seen inside: what the project's own files do not install is
# missing, as on a fresh machine. The last lines of a failed command's output
# are shown; the whole of it is in the root's /src/last.log (see --keep).
#   quick-start-check.sh [--keep] [COMMAND ...]
# As root, from anywhere in a clone. COMMAND defaults to "make run" and
# "make test"; --keep leaves the root in place and says where. Needs some
# 3 GB of disk. Exit status 0 when every command passed.
set -uo pipefail

keep=0
[ "${1:-}" = --keep ] && { keep=1; shift; }
[ $# -gt 0 ] || set -- "make run" "make test"
[ "$(id -u)" = 0 ] || { echo "quick-start-check: run as root (debootstrap, chroot)" >&2; exit 2; }
scripts=$(cd "$(dirname "$0")" && pwd)
top=$(git -C "$scripts" rev-parse --show-toplevel 2>/dev/null) ||
    { echo "quick-start-check: $scripts is not in a git clone" >&2; exit 2; }
commit=$(git -C "$top" rev-parse HEAD) || exit 2

cache=/var/cache/zelconfig-quick-start
base=$cache/bookworm-minbase-git-make.tar
# shellcheck source=debian-root.sh
. "$scripts/debian-root.sh"
if [ ! -s "$base" ]; then
    echo "quick-start-check: building the brand-new Debian 12 root once (a few minutes; log: $cache/debootstrap.log)"
    mkdir -p "$cache"
    debian_base_root "$base" git,make,ca-certificates "$cache/debootstrap.log" || exit 2
fi

root=$(mktemp -d /var/tmp/zelconfig-quick-start.XXXXXX)
mounted=()
cleanup() {
    for ((i = ${#mounted[@]} - 1; i >= 0; i--)); do umount -l "${mounted[$i]}" 2>/dev/null; done
    if [ $keep = 1 ]; then
        echo "quick-start-check: the root is kept at $root (chroot $root; the clone is /src/project)"
    else
        rm -rf --one-file-system "$root"
    fi
}
trap cleanup EXIT
tar -C "$root" -xf "$base" || exit 2
cp /etc/resolv.conf "$root/etc/resolv.conf" 2>/dev/null
for m in proc sys dev dev/pts; do mount --bind "/$m" "$root/$m" && mounted+=("$root/$m"); done
mkdir -p "$root/src"
# A clone as a newcomer makes one, at exactly this commit: untracked and
# uncommitted files stay out.
{ git clone -q "$top" "$root/src/project" && git -C "$root/src/project" checkout -q --detach "$commit"; } ||
    { echo "quick-start-check: cannot clone $top at $commit" >&2; exit 2; }
echo "quick-start-check: $(git -C "$top" log -1 --format='%h %s' "$commit")"

status=0
for command in "$@"; do
    echo "quick-start-check: \$ $command"
    start=$(date +%s)
    chroot "$root" /usr/bin/env -i HOME=/root PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
        TERM=dumb CI=true bash -c "cd /src/project && $command" >"$root/src/last.log" 2>&1
    rc=$?
    seconds=$(($(date +%s) - start))
    if [ $rc = 0 ]; then
        echo "quick-start-check: passed in ${seconds}s: $command"
    else
        echo "quick-start-check: FAILED (exit status $rc) after ${seconds}s: $command; its last lines:"
        tail -n 25 "$root/src/last.log" | sed 's/^/    /'
        status=1
        break
    fi
done
exit $status
