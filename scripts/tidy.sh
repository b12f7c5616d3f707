#!/bin/bash
# Runs clang-tidy-14 over the sources that the dev preset builds. Needs a built build/dev, since some
# headers are made by the build.
#
# usage: scripts/tidy.sh [--fast] [--changed COMMIT | FILE...]
#
# With --fast without the path-sensitive analyser, which takes three times as long as all other checks.
set -euo pipefail
# shellcheck source=scripts/setup.sh
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

command -v clang-tidy-14 >/dev/null || tolm_stop "clang-tidy-14 is missing; apt-get install clang-tidy-14."
cd "$tolm_source"
database=build/dev/compile_commands.json
[[ -f "$database" ]] || tolm_stop "$database is missing; build the dev preset first."

# Read by check(), which runs in shells of its own.
export tolm_fast=false
if [[ "${1:-}" == --fast ]]; then
  tolm_fast=true
  shift
fi
if [[ "${1:-}" == --changed ]]; then
  [[ $# == 2 ]] || { echo "usage: scripts/tidy.sh [--fast] [--changed COMMIT | FILE...]" >&2; exit 2; }
  mapfile -t candidates < <(git diff --name-only --diff-filter=d "$2" -- '*.cpp')
elif [[ $# -gt 0 ]]; then
  candidates=("$@")
else
  mapfile -t candidates < <(git ls-files '*.cpp')
fi

# Files for another host, fuzzers and benchmarks aren't part of this build. A file that was clean stays
# so until its object is built anew or the list of checks changes.
declare -A objects
while read -r object file; do
  objects["${file#"$tolm_source"/}"]="$object"
done < <(sed -n -e 's/^  "command": .* -o \([^ ]*\) -c .*$/\1/p' -e 's/^  "file": "\(.*\)",\?$/\1/p' "$database" |
  paste -d ' ' - -)
stamps=build/dev/tidy
if $tolm_fast; then
  stamps=build/dev/tidy-fast
fi
files=()
for file in "${candidates[@]}"; do
  object="build/dev/${objects[$file]:-}"
  stamp="$stamps/$file.ok"
  if [[ -n "${objects[$file]:-}" && ! ( -f "$object" && "$stamp" -nt "$object" && "$stamp" -nt .clang-tidy ) ]]; then
    files+=("$file")
  fi
done
tolm_say "clang-tidy: ${#files[@]} files, $((${#candidates[@]} - ${#files[@]})) clean since the last time or not in this build"
[[ ${#files[@]} == 0 ]] && exit 0

# One file for one process. The tests go without the path-sensitive analyser: on the test framework's
# macros it takes longer than everything else together and finds nothing there.
check() {
  local extra=() output stamp="$2/$1.ok"
  mkdir -p "$(dirname "$stamp")"
  # The time of the stamp is that of the start: an object that is built meanwhile is newer.
  touch "$stamp.new"
  if [[ "$1" != *_test.cpp ]] && ! $tolm_fast; then
    extra=('--checks=clang-analyzer-*,-clang-analyzer-security.insecureAPI.*,-clang-analyzer-optin.cplusplus.VirtualCall')
    # The toolkit's event loop frees what it is handed, which the analyser can't see.
    [[ "$1" == */TOLMOffline/* ]] && extra=("${extra[0]},-clang-analyzer-cplusplus.NewDeleteLeaks")
  fi
  # The other stream only counts what the filter of .clang-tidy leaves out, unless the tool itself fails.
  if ! output="$(clang-tidy-14 -p build/dev --quiet "${extra[@]}" "$1" 2>&1)"; then
    printf '%s\n' "$output"
    rm -f "$stamp.new"
    return 1
  fi
  mv "$stamp.new" "$stamp"
}
export -f check
# shellcheck disable=SC2016
printf '%s\0' "${files[@]}" | xargs -0 -n 1 -P "$(nproc)" bash -c 'check "$2" "$1"' check "$stamps" ||
  tolm_stop "clang-tidy found something (its lines stand above)."
