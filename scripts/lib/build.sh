# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2154
# Sourced after environment.sh: configuring, building and testing by preset.

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
