#!/bin/bash
# Formats every source of the tree with clang-format-14; with --check only says what isn't formatted.
set -euo pipefail
# shellcheck source=scripts/setup.sh
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

mode=(-i)
case "${1:-}" in
  "") ;;
  --check) mode=(--dry-run -Werror) ;;
  *) echo "usage: scripts/format.sh [--check]" >&2; exit 2 ;;
esac

command -v clang-format-14 >/dev/null || tolm_stop "clang-format-14 is missing; apt-get install clang-format-14."
cd "$tolm_source"
git ls-files -co --exclude-standard -z '*.cpp' '*.h' '*.mm' | xargs -0 -n 16 -P "$(nproc)" clang-format-14 "${mode[@]}"
