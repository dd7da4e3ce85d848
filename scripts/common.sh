# Shared by the scripts of this folder: messages and the installation of Debian packages. Sourced, not run.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

say()  { printf '== %s\n' "$*"; }
fail() { printf '%s\n' "$*" >&2; exit 1; }

as_root() {
  if [ "$(id -u)" = 0 ]; then
    "$@"
  elif command -v sudo >/dev/null && sudo -n true 2>/dev/null; then
    sudo "$@"
  elif command -v sudo >/dev/null && [ -t 0 ]; then
    sudo "$@"
  else
    return 1
  fi
}

missing_packages() {
  local package
  for package in "$@"; do
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || printf '%s\n' "$package"
  done
}

# The math library stands in the component non-free of the mirror that this machine already uses. A sources
# file of its own names it, so that removing that one file undoes the change.
enable_non_free() {
  local codename mirror sources=/etc/apt/sources.list.d/vematrix-non-free.sources
  codename=$(. /etc/os-release && printf '%s' "${VERSION_CODENAME:-}")
  apt-get indextargets --format '$(RELEASE)|$(COMPONENT)' 'Created-By: Packages' | grep -qx "$codename|non-free" && return 0
  mirror=$(apt-get indextargets --format '$(RELEASE)|$(COMPONENT)|$(REPO_URI)' 'Created-By: Packages' \
    | sed -n "s/^$codename|main|//p" | head -n 1)
  [ -n "$mirror" ] || fail "no Debian mirror found in the package sources of this machine; libmkl-dev needs one with the component non-free"
  printf 'Types: deb\nURIs: %s\nSuites: %s\nComponents: non-free\nSigned-By: /usr/share/keyrings/debian-archive-keyring.gpg\n' \
    "$mirror" "$codename" | as_root tee "$sources" >/dev/null \
    || fail "cannot write $sources (root or sudo is needed)"
}

# install_packages NAME... : installs what is missing, and says in one line what could not be had.
install_packages() {
  local missing log
  missing=$(missing_packages "$@")
  [ -n "$missing" ] || return 0
  missing=$(printf '%s' "$missing" | tr '\n' ' ')
  command -v apt-get >/dev/null || fail "missing packages: $missing(this script installs them on Debian only)"
  as_root true || fail "missing packages: $missing(run as root or with sudo, or install them yourself)"
  say "installing $missing"
  log=$(mktemp)
  case " $missing" in *" libmkl-dev "*) enable_non_free ;; esac
  if ! { as_root env DEBIAN_FRONTEND=noninteractive apt-get -q update &&
         as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -y --no-install-recommends install $missing; } >"$log" 2>&1 </dev/null
  then
    tail -n 5 "$log" >&2
    rm -f "$log"
    fail "could not install: $missing"
  fi
  rm -f "$log"
}

# What the library, the program, the demo and the examples are built with.
build_packages=(g++ cmake ninja-build pkg-config libmkl-dev libeigen3-dev libmetis-dev libsuitesparse-dev
                zlib1g-dev libcli11-dev libfmt-dev nlohmann-json3-dev)
# What the tests need beyond that.
test_packages=(libgtest-dev libgmock-dev python3 python3-scipy)

# configure_and_build PRESET [TARGET...] ; further options for cmake in the array cmake_options.
cmake_options=()
configure_and_build() {
  local preset=$1 log
  shift
  log=$(mktemp)
  (cd "$root" && cmake --preset "$preset" "${cmake_options[@]}") >"$log" 2>&1 || { cat "$log" >&2; rm -f "$log"; fail "configuring failed"; }
  rm -f "$log"
  (cd "$root" && cmake --build --preset "$preset" ${1:+--target "$@"})
}
