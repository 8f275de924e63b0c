#!/usr/bin/env bash
# The threaded tests built and run under ThreadSanitizer (make test-tsan).
#
# Configures $TSAN_BUILD (default build-tsan) with -DVELAR_SANITIZE=thread, builds only the test
# executables listed below and runs, in each, the tests whose threads meet: the streamer thread
# against host calls (start, step, stop, destruction, positioning, trick play, a full ring), the
# output ring and the logger, the downloader loop with real segment transfers on a loopback
# server, concurrent transfers of the HTTP client, and the host-side tests of tests/velar (a DASH
# file repositioned and released while downloading among them). Any report stops the run
# (halt_on_error) and fails the script; a filter that selects no test fails it too.
# Suppressions, if ever needed, go to tests/tsan.supp, each with the reason it is not a bug.
set -euo pipefail

cd "$(dirname "$0")/.."
ROOT=$(pwd)
BUILD=${TSAN_BUILD:-build-tsan}
JOBS=${JOBS:-$(nproc)}

# Test executable and the gtest filter of its threaded tests.
TESTS=(
    "platform_tests  CircularBuffer*:ContigMemBuffer*:ZunLog*"
    "avfile_tests    *AvStreamer*:*PesOutput*:*AvFileDash*"
    "dash_tests      *DashDownloader*:*DashDownloadCommand*:*DashSegmentQueue*:*DashDownloadObserver*"
    "manifest_tests  *HttpDownload*"
    "velar_tests     *HostThreads*:*Mp4Service*"
)

start=$(date +%s)
targets=()
for entry in "${TESTS[@]}"; do
    targets+=("${entry%% *}")
done

# Debug: the quickest to build, and the tests spend their time waiting, not computing.
cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=Debug -DVELAR_SANITIZE=thread >/dev/null
cmake --build "$BUILD" --target "${targets[@]}" -j "$JOBS"
built=$(date +%s)

export TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 history_size=4${TSAN_OPTIONS:+ $TSAN_OPTIONS}"
if [[ -f "$ROOT/tests/tsan.supp" ]]; then
    TSAN_OPTIONS+=" suppressions=$ROOT/tests/tsan.supp"
fi

failed=0
for entry in "${TESTS[@]}"; do
    read -r exe filter <<<"$entry"
    binary="$BUILD/tests/$exe"
    count=$("$binary" --gtest_filter="$filter" --gtest_list_tests | grep -c '^  ' || true)
    if [[ "$count" -eq 0 ]]; then
        echo "test-tsan: $exe: the filter $filter selects no test" >&2
        failed=1
        continue
    fi
    t0=$(date +%s)
    # Run from the build's test folder, as ctest does.
    if (cd "$BUILD/tests" && "./$exe" --gtest_filter="$filter" --gtest_brief=1); then
        echo "test-tsan: $exe: $count tests clean in $(( $(date +%s) - t0 )) s"
    else
        echo "test-tsan: $exe: FAILED (a ThreadSanitizer report or a failing test, see above)" >&2
        failed=1
    fi
done

echo "test-tsan: build $(( built - start )) s, tests $(( $(date +%s) - built )) s"
exit "$failed"
