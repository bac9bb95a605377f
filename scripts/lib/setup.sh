# Sourced by the scripts: where things are, what to install, and how to say so.
set -euo pipefail

top=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
jobs=${CORVANE_JOBS:-$(nproc)}

# ccache keeps nothing that was compiled with a precompiled header unless it is told that this is safe.
export CCACHE_SLOPPINESS=${CCACHE_SLOPPINESS:-pch_defines,time_macros}

run_packages=(g++ cmake ninja-build ccache pkg-config ca-certificates
  libcurl4-openssl-dev libsimdjson-dev libdeflate-dev nlohmann-json3-dev libsqlite3-dev libsodium-dev libsecret-1-dev
  libglib2.0-dev libutf8proc-dev libboost-dev libspdlog-dev libcli11-dev libssl-dev zlib1g-dev)
test_packages=("${run_packages[@]}" libgtest-dev libgmock-dev
  dbus gnome-keyring libsecret-tools python3-dbus python3-gi gir1.2-gcr-3 chromium chromium-driver
  keepassxc libkf5wallet-bin libqca-qt5-2-plugins xvfb xdotool)
bench_packages=("${run_packages[@]}" python3 util-linux valgrind libbenchmark-dev)

say() { printf '\n\033[1m== %s\033[0m\n' "$*"; }
die() { printf '%s: %s\n' "$(basename "$0")" "$*" >&2; exit 1; }

# Installs what is missing; asks for no more rights than it needs.
install_packages() {
  local missing=() package
  for package in "$@"; do
    [ "$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null)" = "install ok installed" ] || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  say "Installing: ${missing[*]}"
  local sudo=()
  [ "$(id -u)" = 0 ] || sudo=(sudo)
  [ ${#sudo[@]} = 0 ] || command -v sudo >/dev/null || die "run as root, or install: ${missing[*]}"
  # apt-get keeps its stories to itself unless something goes wrong.
  local log
  log=$(mktemp)
  if ! { "${sudo[@]}" apt-get update -qq &&
         "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
       } >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    die "could not install: ${missing[*]}"
  fi
  rm -f "$log"
}

# configure PRESET [CMAKE-ARGUMENT...]
configure() {
  local preset=$1 log
  shift
  log=$(mktemp)
  (cd "$top" && cmake --preset "$preset" "$@") >"$log" 2>&1 || { cat "$log" >&2; rm -f "$log"; return 1; }
  rm -f "$log"
}

# build PRESET [TARGET...], with ninja's progress.
build() {
  local preset=$1
  shift
  cmake --build "$top/build/$preset" --parallel "$jobs" ${@:+--target "$@"}
}
