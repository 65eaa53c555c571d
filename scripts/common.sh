# What the scripts share; sourced, from any folder.
set -euo pipefail
case ${1-} in
  -h | --help) sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0"; exit ;;
esac

# Refuses, before anything is done, what the script's own line "# Usage:" does not name.
check_words() {
  local usage known word
  usage=$(sed -n 's/^# Usage: *//p' "$0")
  case $usage in '' | *CTEST*) return ;; esac # none, or the words are another program's
  known=" $(sed 's/  .*//; s/[][|]/ /g; s/  */ /g' <<<"$usage") "
  while [ $# -gt 0 ]; do
    word=$1
    shift
    if [[ $word == -* && $known == *" $word "* ]]; then
      [[ $known =~ " $word "[A-Z] && $# -gt 0 ]] && shift
      continue
    fi
    # A word without a dash: only where the usage has one that is no option's value.
    if [[ $word != -* && $(sed 's/--[a-z-]* [A-Z]*//g' <<<"$known") =~ [A-Z] ]]; then continue; fi
    printf '%s: unknown: %s\nUsage: %s\n' "$(basename "$0")" "$word" "$usage" >&2
    exit 2
  done
}
check_words "$@"
cd "$(dirname "${BASH_SOURCE[0]}")/.."

step() { printf '\n== %s\n' "$*"; }
fail() { printf '%s: %s\n' "$(basename "$0")" "$*" >&2; exit 1; }

# own_folder FOLDER: makes it; what lies in it is only touched where an earlier call has made it.
own_folder() {
  local mark=$1/.made-by-gravlin
  if [ -e "$1" ] && [ ! -e "$mark" ] && [ -n "$(ls -A "$1")" ]; then fail "$1 holds files that are not of this script"; fi
  mkdir -p "$1"
  : >"$mark"
}

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
