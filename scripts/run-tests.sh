#!/usr/bin/env bash
# Builds and runs the whole test suite three times: a release build, then under
# AddressSanitizer with UndefinedBehaviorSanitizer, then under ThreadSanitizer.
# Usage: scripts/run-tests.sh [release|address|thread ...]   (default: all three)
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc 2>/dev/null || echo 2)
modes=("$@")
[ ${#modes[@]} -gt 0 ] || modes=(release address thread)

for mode in "${modes[@]}"; do
  case "$mode" in
    release) dir=build; flags=(-DCMAKE_BUILD_TYPE=Release) ;;
    address) dir=build-asan; flags=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DVARNO_SANITIZE=address -DVARNO_BENCH=OFF) ;;
    thread) dir=build-tsan; flags=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DVARNO_SANITIZE=thread -DVARNO_BENCH=OFF)
      # The tool's refusals of a wrong command line end before any thread starts, and each
      # case is a process that ThreadSanitizer starts slowly: they run in the other two builds.
      skip='BadInputGetsOneLine|TheToolSaysItInOneLine|DryRunListsEachFrame' ;;
    *) echo "run-tests.sh: unknown mode '$mode' (release, address or thread)" >&2; exit 2 ;;
  esac
  echo "== $mode build ($dir)"
  [ "$mode" = thread ] || skip='^$'  # nothing left out
  cmake -S . -B "$dir" "${flags[@]}" >/dev/null
  cmake --build "$dir" -j"$jobs"
  echo "== $mode tests"
  export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0
  export LSAN_OPTIONS="suppressions=$PWD/scripts/lsan.supp"
  export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
  export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1:suppressions=$PWD/scripts/tsan.supp"
  ctest --test-dir "$dir" --no-tests=error --output-on-failure -j"$jobs" -E "$skip"
done
