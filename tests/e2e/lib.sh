# Shared set-up of the end-to-end test scripts (sourced, not run). ctest sets VELAR_BUILD_DIR,
# VELAR_SOURCE_DIR and VELAR_TEST_WORK_DIR; by hand the defaults below find a build in build/.
#
# Gives: PLAY (the velar-play binary), MEDIA (generated clips, made once under a lock shared with
# the C++ tests), WORK (a scratch folder of this script, removed when every check passed), CHECK
# (check_output.py) and PSPARSE (psparse.py), plus the helpers below. Every velar-play run is
# bounded by `timeout`.
set -euo pipefail

E2E_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
VELAR_SOURCE_DIR=${VELAR_SOURCE_DIR:-$(cd "$E2E_DIR/../.." && pwd)}
VELAR_BUILD_DIR=${VELAR_BUILD_DIR:-$VELAR_SOURCE_DIR/build}
VELAR_TEST_WORK_DIR=${VELAR_TEST_WORK_DIR:-$VELAR_BUILD_DIR/tests/work}

PLAY=$VELAR_BUILD_DIR/tools/velar-play
CHECK=(python3 "$E2E_DIR/check_output.py")
PSPARSE=(python3 "$E2E_DIR/psparse.py")
PLAY_TIMEOUT=${PLAY_TIMEOUT:-60}

if [ ! -x "$PLAY" ]; then
    echo "velar-play not built: $PLAY" >&2
    exit 1
fi

MEDIA=$VELAR_TEST_WORK_DIR/media
mkdir -p "$MEDIA"
flock "$MEDIA/.testmedia.lock" bash "$VELAR_SOURCE_DIR/tests/data/make-media.sh" "$MEDIA" </dev/null

WORK=$(mktemp -d "$VELAR_TEST_WORK_DIR/e2e.$(basename "$0" .sh).XXXXXX")
FAILURES=0

# ok MESSAGE / bad MESSAGE: record one check.
ok() { echo "ok   $*"; }
bad() {
    echo "FAIL $*"
    FAILURES=$((FAILURES + 1))
}

# check NAME COMMAND...: runs COMMAND; a zero status passes. Its output is shown either way.
check() {
    local name=$1
    shift
    local out
    if out=$("$@" 2>&1); then
        ok "$name: $out"
    else
        bad "$name: $out"
    fi
}

# play OUT ARGS...: runs velar-play -o OUT ARGS... under timeout; sets PLAY_STATUS, PLAY_STDERR
# (file) and PLAY_SECONDS.
play() {
    local out=$1
    shift
    PLAY_STDERR=$WORK/stderr.$RANDOM.txt
    local start=$SECONDS
    set +e
    timeout "$PLAY_TIMEOUT" "$PLAY" -o "$out" "$@" 2>"$PLAY_STDERR"
    PLAY_STATUS=$?
    set -e
    PLAY_SECONDS=$((SECONDS - start))
}

# expect_played NAME: the last play ended with status 0 and an empty standard error... except for
# what FFmpeg itself prints, which the library does not route through its log.
expect_played() {
    if [ "$PLAY_STATUS" -eq 0 ]; then
        ok "$1: exit 0 in ${PLAY_SECONDS}s"
    else
        bad "$1: exit $PLAY_STATUS: $(tail -n 3 "$PLAY_STDERR")"
    fi
}

# finish: summary and exit status; the scratch folder is kept when a check failed.
finish() {
    if [ "$FAILURES" -eq 0 ]; then
        rm -rf "$WORK"
        echo "all checks passed"
        exit 0
    fi
    echo "$FAILURES check(s) failed; scratch files kept in $WORK"
    exit 1
}
