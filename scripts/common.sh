# What the scripts share; sourced, from any folder.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

step() { printf '\n== %s\n' "$*"; }
fail() { printf '%s: %s\n' "$(basename "$0")" "$*" >&2; exit 1; }

# build PRESET [TARGET]...: configures and builds, everything without a target.
build() {
  local preset=$1 log
  shift
  step "Building ($preset)"
  log=$(mktemp)
  cmake --preset "$preset" >"$log" 2>&1 || { cat "$log"; rm -f "$log"; return 1; }
  rm -f "$log"
  cmake --build --preset "$preset" ${1+--target "$@"}
}
