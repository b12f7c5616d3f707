#!/bin/bash
# Runs every fuzzer for a bounded time on its corpus, new finds kept out of the tree.
#
# usage: scripts/fuzz.sh [SECONDS] [FUZZER...]     20 seconds each by default
set -euo pipefail
# shellcheck source=scripts/setup.sh
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

seconds="${1:-20}"
[[ $# -gt 0 ]] && shift
tolm_environment
tolm_packages build clang
tolm_build fuzz

cd "$tolm_source"
mapfile -t fuzzers < <(find build/fuzz/fuzzers -maxdepth 1 -type f -executable | sort)
[[ ${#fuzzers[@]} -gt 0 ]] || tolm_stop "the fuzz preset built no fuzzer."
for fuzzer in "${fuzzers[@]}"; do
  name="$(basename "$fuzzer")"
  if [[ $# -gt 0 && " $* " != *" $name "* ]]; then
    continue
  fi
  finds="build/fuzz/finds/$name"
  folders=("$finds")
  if [[ -d "fuzz/corpus/${name%_fuzz}" ]]; then
    folders+=("fuzz/corpus/${name%_fuzz}")
  fi
  mkdir -p "$finds"
  tolm_say "$name: $seconds s"
  log="build/fuzz/$name.log"
  # The first folder takes the new inputs; the corpus of the tree is only read.
  timeout $((seconds + 60)) "$fuzzer" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -artifact_prefix="build/fuzz/finds/$name-" "${folders[@]}" >"$log" 2>&1 ||
    { tail -n 60 "$log" >&2; tolm_stop "$name found something; its input lies in build/fuzz/finds/."; }
  tail -n 1 "$log"
done
