#!/bin/bash
# Installs what a task needs and this machine lacks, with the package manager of Debian.
#
#   scripts/setup.sh TASK...     TASK: run | test | page | check | reference | packages | bench | metrics | fuzz | coverage | armhf | target
#
# Nothing is asked and nothing is installed twice; when all is there, this takes a fraction of a second.
set -euo pipefail
cd "$(dirname "$0")/.."

RUN_PACKAGES=(g++ cmake ninja-build pkg-config libcli11-dev libsimpleini-dev libboost-dev nlohmann-json3-dev)
TEST_PACKAGES=("${RUN_PACKAGES[@]}" libgtest-dev libgmock-dev make python3 python3-can can-utils tshark curl)
BENCH_PACKAGES=("${RUN_PACKAGES[@]}" libbenchmark-dev valgrind python3)
CHECK_PACKAGES=(clang clang-format clang-tidy)
REFERENCE_PACKAGES=(doxygen python3)
# clang++ with the libraries of its sanitizers and of libFuzzer, and the program that names what a finding points to.
FUZZ_PACKAGES=("${RUN_PACKAGES[@]}" clang libclang-rt-dev llvm python3)
COVERAGE_PACKAGES=(gcovr)
# What asks Debian's packages what a program needs, and what makes an empty Debian to install packages in.
PACKAGES_PACKAGES=("${RUN_PACKAGES[@]}" dpkg-dev file debootstrap)
METRICS_PACKAGES=(python3 python3-can python3-prometheus-client)
# 32-bit ARM: a compiler, and what runs its programs here. They need no library beyond the compiler's.
ARMHF_PACKAGES=("${RUN_PACKAGES[@]}" libgtest-dev libgmock-dev python3 g++-arm-linux-gnueabihf qemu-user)
# The emulated machine: kernels and programs that are unpacked for it.
TARGET_PACKAGES=("${ARMHF_PACKAGES[@]}" qemu-system-arm cpio kmod)
TARGET_FILES=(linux-image-arm64:arm64 linux-image-armmp:armhf busybox-static:armhf can-utils:armhf)
CLIENTS=tests/interop/js
# The page in a browser without a window.
PAGE_PACKAGES=("${RUN_PACKAGES[@]}" chromium make)
BROWSER=tests/page

fail() {
  echo "setup: $1" >&2
  exit 1
}

packages=()
with_clients=false
with_browser=false
with_prometheus=false
with_target=false
for task in "$@"; do
  case $task in
    run) packages+=("${RUN_PACKAGES[@]}") ;;
    test)
      packages+=("${TEST_PACKAGES[@]}")
      with_clients=true
      # Another edition of these than Debian's serves as well.
      command -v node >/dev/null || packages+=(nodejs)
      command -v npm >/dev/null || packages+=(npm)
      ;;
    page)
      packages+=("${PAGE_PACKAGES[@]}")
      with_browser=true
      command -v node >/dev/null || packages+=(nodejs)
      command -v npm >/dev/null || packages+=(npm)
      ;;
    check) packages+=("${CHECK_PACKAGES[@]}") ;;
    reference) packages+=("${REFERENCE_PACKAGES[@]}") ;;
    fuzz) packages+=("${FUZZ_PACKAGES[@]}") ;;
    coverage) packages+=("${COVERAGE_PACKAGES[@]}") ;;
    packages) packages+=("${PACKAGES_PACKAGES[@]}") ;;
    metrics)
      packages+=("${METRICS_PACKAGES[@]}")
      # Its package would start a server that collects from this machine, so that it is unpacked, not installed.
      command -v prometheus >/dev/null || with_prometheus=true
      ;;
    bench) packages+=("${BENCH_PACKAGES[@]}") ;;
    armhf) packages+=("${ARMHF_PACKAGES[@]}") ;;
    target)
      packages+=("${TARGET_PACKAGES[@]}")
      with_target=true
      ;;
    *) fail "unknown task '$task', there are run, test, page, check, reference, packages, bench, metrics, fuzz, coverage, armhf and target" ;;
  esac
done

# A package counts as installed when dpkg has it, whichever package asked for it.
missing_packages() {
  local installed
  installed=" $(dpkg-query -W -f '${db:Status-Status} ${Package} ' "$@" 2>/dev/null || true)"
  local package
  for package in "$@"; do
    [[ $installed == *" installed $package "* ]] || echo "$package"
  done
}

install_packages() {
  command -v apt-get >/dev/null || fail "install these by hand, this is no Debian: $*"
  local as_root=()
  if [[ $(id -u) -ne 0 ]]; then
    command -v sudo >/dev/null || fail "needs root to install: $*"
    sudo -n true 2>/dev/null || [[ -t 0 ]] || fail "needs root to install, and sudo asks for a password: $*"
    as_root=(sudo)
  fi
  echo "setup: installing $*"
  # tshark would ask whether everybody may capture; a trace is read from a file here, so the answer is no.
  local apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq -o Dpkg::Use-Pty=0)
  if [[ " $* " == *" tshark "* ]] && command -v debconf-set-selections >/dev/null; then
    echo "wireshark-common wireshark-common/install-setuid boolean false" | "${as_root[@]}" debconf-set-selections
  fi
  "${apt[@]}" install -y --no-install-recommends "$@" >/dev/null 2>&1 && return
  # The list of packages is missing on a fresh machine, or older than the mirror.
  local log
  log=$(mktemp)
  if ! { "${apt[@]}" update && "${apt[@]}" install -y --no-install-recommends "$@"; } >"$log" 2>&1; then
    tail -n 5 "$log" >&2
    rm -f "$log"
    fail "apt-get could not install: $*"
  fi
  rm -f "$log"
}

# One of the clients' packages is compiled. Debian's npm knows where the headers of Debian's node are; any other would
# download them, even though they come with node, below the same prefix.
use_headers_of_node() {
  local node prefix
  node=$(command -v node)
  prefix=$(dirname "$(dirname "$(readlink -f "$node")")")
  if [[ -f $prefix/include/node/node_api.h ]]; then
    export npm_config_nodedir=$prefix
  fi
}

# @param folder with a package-lock.json
install_modules() {
  local folder=$1
  [[ -f $folder/package-lock.json ]] || return 0
  # npm leaves a copy of the lock file behind: as long as it is not older, nothing has to be done.
  [[ $folder/node_modules/.package-lock.json -nt $folder/package-lock.json ]] && return 0
  echo "setup: npm ci in $folder"
  use_headers_of_node
  (cd "$folder" && npm ci --no-audit --no-fund --loglevel=error) || fail "npm ci failed in $folder"
}

mapfile -t missing < <(missing_packages "${packages[@]}" | sort -u)
[[ ${#missing[@]} -eq 0 ]] || install_packages "${missing[@]}"
if $with_clients; then
  install_modules "$CLIENTS"
fi
if $with_browser; then
  install_modules "$BROWSER"
fi
if $with_prometheus; then
  tests/target/fetch-packages prometheus "prometheus:$(dpkg --print-architecture)"
fi
if $with_target; then
  tests/target/fetch-packages root "${TARGET_FILES[@]}"
fi
