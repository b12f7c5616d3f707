#!/bin/bash
# Runs clang-tidy-14 over the sources that the dev preset builds. Needs a built build/dev, since some
# headers are made by the build.
#
# usage: scripts/tidy.sh [--changed COMMIT | FILE...]
set -euo pipefail
# shellcheck source=scripts/setup.sh
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

command -v clang-tidy-14 >/dev/null || tolm_stop "clang-tidy-14 is missing; apt-get install clang-tidy-14."
cd "$tolm_source"
database=build/dev/compile_commands.json
[[ -f "$database" ]] || tolm_stop "$database is missing; build the dev preset first."

if [[ "${1:-}" == --changed ]]; then
  [[ $# == 2 ]] || { echo "usage: scripts/tidy.sh [--changed COMMIT | FILE...]" >&2; exit 2; }
  mapfile -t candidates < <(git diff --name-only --diff-filter=d "$2" -- '*.cpp')
elif [[ $# -gt 0 ]]; then
  candidates=("$@")
else
  mapfile -t candidates < <(git ls-files '*.cpp')
fi

# Files for another host, fuzzers and benchmarks aren't part of this build.
files=()
for file in "${candidates[@]}"; do
  if grep -qF "/$file\"" "$database"; then
    files+=("$file")
  fi
done
tolm_say "clang-tidy: ${#files[@]} files"
[[ ${#files[@]} == 0 ]] && exit 0

# One file for one process. The tests go without the path-sensitive analyser: on the test framework's
# macros it takes longer than everything else together and finds nothing there.
check() {
  local extra=() output
  if [[ "$1" == *_test.cpp ]]; then
    extra=('--checks=-clang-analyzer-*')
  fi
  # The other stream only counts what the filter of .clang-tidy leaves out, unless the tool itself fails.
  if ! output="$(clang-tidy-14 -p build/dev --quiet "${extra[@]}" "$1" 2>&1)"; then
    printf '%s\n' "$output"
    return 1
  fi
}
export -f check
# shellcheck disable=SC2016
printf '%s\0' "${files[@]}" | xargs -0 -n 1 -P "$(nproc)" bash -c 'check "$1"' check ||
  tolm_stop "clang-tidy found something (its lines stand above)."
