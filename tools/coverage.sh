#!/usr/bin/env bash
# Line and branch coverage of the engine's own code (not tests/, not tools/) by the test suite,
# less the GUI matches. A measuring tool for changes to the suite; ./test.sh does not run it.
# Builds in build-coverage/ and leaves the report in build-coverage/html/.
set -euo pipefail
cd "$(dirname "$0")/.."

if ! command -v lcov >/dev/null; then
  as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y lcov
fi

dir=build-coverage
jobs=${JOBS:-2}
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Coverage -DOSTREL_NATIVE=OFF \
  -DCMAKE_CXX_FLAGS_COVERAGE="-Og --coverage" -DCMAKE_EXE_LINKER_FLAGS_COVERAGE=--coverage >/dev/null
cmake --build "$dir" -j "$jobs" >/dev/null
find "$dir" -name '*.gcda' -delete
# A failing or timed-out test still leaves its counters: report them, then fail.
status=0
(cd "$dir" && ctest -LE gui -j "$jobs" --output-on-failure >ctest.log) || { status=$?; tail -30 "$dir/ctest.log"; }

rc=(--rc lcov_branch_coverage=1)
lcov "${rc[@]}" --quiet --capture --directory "$dir" --output-file "$dir/all.info"
lcov "${rc[@]}" --quiet --extract "$dir/all.info" "$PWD/board/*" "$PWD/search/*" "$PWD/book/*" \
  "$PWD/platform/*" "$PWD/tablebases/*" "$PWD/shell/*" --output-file "$dir/engine.info"
genhtml "${rc[@]}" --quiet "$dir/engine.info" --output-directory "$dir/html"
lcov "${rc[@]}" --summary "$dir/engine.info"
exit "$status"
