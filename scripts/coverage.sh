#!/bin/bash
# Line coverage of the libraries below the front-ends, by every test. Prints the figures by file and
# fails below 95 %. The report with the lines lies in build/coverage/report/index.html.
set -euo pipefail
# shellcheck source=scripts/setup.sh
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

least=95
tolm_environment
tolm_packages build test packaging coverage
build="$tolm_source/build/coverage"
find "$build" -name '*.gcda' -delete 2>/dev/null || true
# Left out: runs whose system calls are made to fail one by one, which spoils the counters' own files, and a
# run whose standard error is compared while its working folder goes away, where the counters complain.
"$tolm_source/test" --preset coverage --no-install -- \
  -E '^FaultTest\.|^BadInputTest\.ATitleOfTwoDots' "$@" || tolm_stop "a test failed; no figure is given then."
# Stands among the tests of packages for its length, and is the one of unattended runs.
ctest --test-dir "$build" -R '^packaging_unattended$' --no-tests=error --output-on-failure --timeout 1200 ||
  tolm_stop "the test of unattended runs failed; no figure is given then."

cd "$tolm_source"
mkdir -p "$build/report"
# A line counts that any test program reached. Branches the compiler adds for exceptions don't count.
gcovr --root . --object-directory "$build" -j "$(nproc)" \
  --filter 'vpn/Common/' --filter 'vpn/tools/TOLM/TOLMEngine/' --filter 'vpn/tools/TOLM/TOLMAuthoring/' \
  --filter 'vpn/tools/TOLM/TOLMBundle/' --filter 'vpn/tools/TOLM/TOLMFrontEnd/' --exclude '.*_test\.(cpp|h)' \
  --exclude-throw-branches --exclude-unreachable-branches --exclude-directories '.*tolm_offline_qt.*' \
  --html-details "$build/report/index.html" --txt "$build/report/lines.txt" --print-summary \
  --fail-under-line "$least" | tee "$build/report/summary.txt" ||
  { cat "$build/report/lines.txt"; tolm_stop "line coverage is below $least %."; }
cat "$build/report/lines.txt"
grep '^lines:' "$build/report/summary.txt"
