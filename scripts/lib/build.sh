# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2154
# Sourced after environment.sh: configuring, building and testing by preset, and work beside it.

build_preset() {
  local preset=$1
  shift
  say "Building $preset"
  (cd "$root" && cmake --preset "$preset" && cmake --build --preset "$preset" "$@")
}

# Further arguments go to ctest.
test_preset() {
  local preset=$1
  shift
  say "Testing $preset"
  (cd "$root" && ctest --preset "$preset" "$@")
}

# Runs a command beside what follows, one at a time, and keeps what it prints for await_beside.
run_beside() {
  "$@" >"$root/build/beside.log" 2>&1 &
  beside=$!
}

# Waits for that command, shows what it printed and fails when it did.
await_beside() {
  local status=0
  wait "$beside" || status=$?
  cat "$root/build/beside.log"
  return "$status"
}
