# Shared by the scripts of this folder; to be sourced.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

say() { printf '%s\n' "$*" >&2; }

# Runs a command whose output matters only when it fails.
quietly() {
  local log
  log=$(mktemp)
  if ! "$@" >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
}

# build PRESET [TARGET...]
build() {
  local preset=$1
  shift
  local targets=()
  [ $# -eq 0 ] || targets=(--target "$@")
  say "Building ($preset)..."
  quietly cmake --preset "$preset"
  quietly cmake --build --preset "$preset" ${targets[@]+"${targets[@]}"}
}
