# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2034
# Sourced by the scripts: installs what a run needs and gives it a Wine of its own.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)

# Without its preloader Wine's start fails once in some thousand programs: the kernel may then have
# put the heap at 0x7ffe0000, where every Windows program has its shared user data.
build_packages=(cmake ninja-build g++-mingw-w64-x86-64-posix nlohmann-json3-dev wine64
  wine64-preloader)
test_packages=(googletest python3)

say() { printf '\n== %s\n' "$*"; }
fail() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

as_root() {
  if [[ $(id -u) -eq 0 ]]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    fail "root or sudo is needed to run: $*"
  fi
}

# Installs those of the named Debian packages that are missing. Says which before it does; asks
# nothing.
need_packages() {
  command -v dpkg-query >/dev/null ||
    fail "this is no Debian system; install the counterparts of: $*"
  local package missing=()
  for package in "$@"; do
    [[ $(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null) == installed ]] ||
      missing+=("$package")
  done
  [[ ${#missing[@]} -gt 0 ]] || return 0
  say "Installing Debian packages, with what they need: ${missing[*]}"
  # Another program may be installing at this moment: wait for it.
  local apt=(env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o DPkg::Lock::Timeout=600)
  as_root "${apt[@]}" update </dev/null
  as_root "${apt[@]}" install --no-install-recommends "${missing[@]}" </dev/null
}

# Every compiler process takes a core, whatever the build tool's own default is.
cores=$(nproc)
export CMAKE_BUILD_PARALLEL_LEVEL="${CMAKE_BUILD_PARALLEL_LEVEL:-$cores}"
export CTEST_PARALLEL_LEVEL="${CTEST_PARALLEL_LEVEL:-$cores}"
# Wine takes the encoding of file names and of the console from the locale.
export LC_ALL=C.UTF-8

export WINEPREFIX="$root/build/wine" WINEARCH=win64 WINEDEBUG="${WINEDEBUG:--all}"
# Keeps a new prefix from asking for the .NET and HTML engines, and the debugger away from a program
# that crashed: with it the exit code may be 0.
export WINEDLLOVERRIDES="mscoree=;mshtml=;winedbg.exe="
# Tests and examples have no windows; without a display Wine does not look for one.
unset DISPLAY WAYLAND_DISPLAY

run_in_wine() { "$root/cmake/toolchains/run-in-wine" "$@"; }

wine_server() {
  local server
  for server in /usr/lib/wine/wineserver64 /usr/lib/wine/wineserver wineserver; do
    if command -v "$server" >/dev/null; then
      "$server" "$@"
      return
    fi
  done
  fail "no wineserver found; install the package wine64"
}

# Ends the Wine of this run and all that still runs in it.
stop_wine() {
  wine_server -k >/dev/null 2>&1 || true
  wine_server -w >/dev/null 2>&1 || true
}

# Starts the Wine of this run, which then serves every program until the script ends: a server that
# each program starts anew costs seconds a program. A second run in this tree waits here, because
# the end of one would take the other's server along.
start_wine() {
  mkdir -p "$root/build"
  exec {wine_lock}>"$root/build/wine.lock"
  if ! flock --nonblock "$wine_lock"; then
    say "Waiting for another run in this source tree"
    flock "$wine_lock"
  fi
  trap stop_wine EXIT
  stop_wine  # of a run that was killed
  if [[ ! -e $WINEPREFIX/.complete ]]; then
    say "Creating the Wine prefix"
    rm -rf "$WINEPREFIX"
    mkdir -p "$WINEPREFIX"
    start_wine_services --init
    wine_server -w
    touch "$WINEPREFIX/.complete"
  fi
  wine_server -p {wine_lock}>&-
  start_wine_services
}

# Wine's background programs inherit the files of the first program, and whoever reads its output
# through a pipe, as ctest does, then waits for them too. So the first program is one without.
start_wine_services() {
  run_in_wine wineboot "$@" </dev/null >/dev/null 2>&1 {wine_lock}>&- || fail "Wine did not start"
}
