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

# with_progress SED COMMAND...: the same, but says how far it is. SED prints the percentages that
# stand in the command's output, a line each.
with_progress() {
  local pattern=$1 log
  shift
  log=$(mktemp)
  if ! "$@" 2>&1 | tee "$log" | sed -un "$pattern" | awk '
      { step = int($1 / 10) }
      step != last { printf "%s%d %%", step < last ? "\n  " : (said ? " " : "  "), step * 10 > "/dev/stderr"; said = 1; last = step }
      END { if (said) print "" > "/dev/stderr" }'; then
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
  NINJA_STATUS="[%p] " with_progress 's/^\[ *\([0-9]*\)%\].*/\1/p' \
    cmake --build --preset "$preset" ${targets[@]+"${targets[@]}"}
}
