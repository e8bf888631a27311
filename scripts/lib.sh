# What the scripts share; source it as the first thing. Sets `root`, the project's folder.
# shellcheck shell=bash
set -euo pipefail

root=$(dirname "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")")

say() { printf '%s\n' "$*" >&2; }
die() {
  say "${0##*/}: $*"
  exit 1
}

# configure PRESET [NAME=VALUE...]: runs CMake for the preset unless that was done already with
# these settings. Later changes of CMake's own files are noticed by Ninja.
configure() {
  local preset=$1 dir=$root/build/$1 setting
  shift
  if [[ -f $dir/build.ninja && ! $root/CMakePresets.json -nt $dir/build.ninja ]]; then
    local known=1
    for setting in "$@"; do
      grep -q "^${setting%%=*}:[A-Z]*=${setting#*=}\$" "$dir/CMakeCache.txt" || known=0
    done
    ((known)) && return
  fi
  (cd "$root" && cmake --preset "$preset" "${@/#/-D}")
}

# Passes Ninja's output on without the lines that it prints when there is nothing to do.
say_only_work() {
  grep --line-buffered -vE 'Re-checking globbed directories|^ninja: no work to do' || true
}

# build PRESET [NAME=VALUE...] [-- TARGET...]: configures, then builds the targets, or all; silent
# when there is nothing to do. One build at a time: a second one waits.
build() {
  local preset=$1 dir=$root/build/$1 settings=()
  shift
  while (($#)) && [[ $1 != -- ]]; do
    settings+=("$1")
    shift
  done
  mkdir -p "$root/build"
  # Chained with &&, as `set -e` is off wherever a caller tests this function's result.
  (
    flock 9
    configure "$preset" "${settings[@]}" &&
      touch "$dir/.building" &&
      cmake --build "$dir" ${2:+--target "${@:2}"} | say_only_work &&
      mv "$dir/.building" "$dir/.built"
  ) 9>"$root/build/.lock"
}

# sources_newer_than STAMP: has anything that the build reads changed, come or gone since then?
sources_newer_than() {
  [[ -e $1 ]] || return 0
  local changed
  changed=$(cd "$root" && find CMakeLists.txt CMakePresets.json cmake api crypto storage index \
    analyzers host cli tests bench fuzz -newer "$1" -print -quit 2>/dev/null) || true
  [[ -n $changed ]]
}
