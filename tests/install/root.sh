# A minimal Debian of the same release in the folder $root, for the scripts beside this one; it is gone when they end.
# Needs root, and the mirror that apt uses. What that mirror and npm's need to be trusted is taken along.
root=$(mktemp -d -t tavo-root-XXXXXX)
trap 'rm -rf "$root"' EXIT
chmod 755 "$root"

# make_root [PACKAGES]: more packages, with commas between them.
make_root() {
  local release mirror
  release=$(. /etc/os-release && echo "$VERSION_CODENAME")
  mirror=$(apt-get indextargets --format '$(REPO_URI) $(RELEASE)' |
    awk -v release="$release" '$2 == release { print $1; exit }')
  debootstrap --variant=minbase ${1:+--include="$1"} "$release" "$root" "$mirror" >"$root.log" 2>&1 ||
    { tail -5 "$root.log"; exit 1; }
  rm -f "$root.log"
  cp /etc/resolv.conf "$root/etc/" 2>/dev/null || true
  echo "127.0.0.1 localhost" >"$root/etc/hosts"  # which is the installer's to write
}

inside() {
  chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root DEBIAN_FRONTEND=noninteractive \
    ${certificates:+NODE_EXTRA_CA_CERTS="$certificates"} ${registry:+npm_config_registry="$registry"} "$@"
}
