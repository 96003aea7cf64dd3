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

# with_progress SED COMMAND...: the same, but says how far it is, in steps of ten. SED prints the
# percentages that stand in the command's output, a line each.
with_progress() {
  local pattern=$1 log
  shift
  log=$(mktemp)
  if ! "$@" 2>&1 | tee "$log" | sed -un "$pattern" | tell_steps; then
    cat "$log" >&2
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
}

tell_steps() {
  local percent step last=0
  while read -r percent; do
    step=$((percent / 10))
    [ "$step" -eq "$last" ] || printf ' %d%%' $((step * 10)) >&2
    last=$step
  done
  [ "$last" -eq 0 ] || printf '\n' >&2
}

# build PRESET [TARGET...]
build() {
  local preset=$1
  shift
  local targets=() began=$SECONDS
  [ $# -eq 0 ] || targets=(--target "$@")
  say "Building ($preset)..."
  quietly cmake --preset "$preset"
  NINJA_STATUS="[%p] " with_progress 's/^\[ *\([0-9]*\)%\].*/\1/p' \
    cmake --build --preset "$preset" ${targets[@]+"${targets[@]}"}
  say "  (built in $((SECONDS - began)) s)"
}
