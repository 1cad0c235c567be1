# Sourced by the scripts that check the project on a clean Debian 12
# (check-installed-debs.sh, quick-start-check.sh): a minimal Debian 12 root
# from the mirror this machine's apt uses, built once and kept as a tar file.
# Needs root, and bash.

# debian_base_root TAR PACKAGES LOG: makes TAR, unless it is there, from
# debootstrap's minbase with PACKAGES (comma-separated) added; debootstrap's
# output goes to LOG. The root gets this machine's apt sources, without their
# fetched lists and packages. Returns non-zero, with a message, on failure.
debian_base_root() {
    local tar=$1 packages=$2 log=$3 mirror root
    [ -s "$tar" ] && return 0
    command -v debootstrap >/dev/null ||
        { echo "debootstrap is not installed (scripts/install-deps.sh package)" >&2; return 1; }
    mirror=$(sed -n 's/^URIs:[[:space:]]*//p' /etc/apt/sources.list.d/*.sources 2>/dev/null |
             grep -v security | head -n 1)
    [ -n "$mirror" ] || mirror=$(awk '$1=="deb" {print $2; exit}' /etc/apt/sources.list 2>/dev/null)
    [ -n "$mirror" ] || { echo "no Debian mirror found in apt's sources" >&2; return 1; }
    mkdir -p "$(dirname "$tar")"
    root=$(mktemp -d /var/tmp/zelconfig-base.XXXXXX)
    if ! debootstrap --variant=minbase --include="$packages" bookworm "$root" "$mirror" >"$log" 2>&1; then
        rm -rf --one-file-system "$root"
        echo "debootstrap failed, see $log" >&2
        return 1
    fi
    cp /etc/apt/sources.list.d/*.sources "$root/etc/apt/sources.list.d/" 2>/dev/null || true
    [ -s "$root/etc/apt/sources.list.d/debian.sources" ] && rm -f "$root/etc/apt/sources.list"
    rm -rf "$root/var/lib/apt/lists/"* "$root/var/cache/apt/archives/"*.deb
    tar -C "$root" -cf "$tar.tmp" . && mv "$tar.tmp" "$tar"
    local status=$?
    rm -rf --one-file-system "$root"
    return $status
}
