# Shared set-up of the end-to-end test scripts (sourced, not run). ctest sets VELAR_BUILD_DIR,
# VELAR_SOURCE_DIR and VELAR_TEST_WORK_DIR; by hand the defaults below find a build in build/.
#
# Gives: PLAY (the velar-play binary), MEDIA (generated clips, made once under a lock shared with
# the C++ tests), WORK (a scratch folder of this script, removed when every check passed), CHECK
# (check_output.py), PSPARSE (psparse.py) and DASH_CHECK (dash_check.py), plus the helpers below.
# Every velar-play run is bounded by `timeout`.
set -euo pipefail

E2E_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
VELAR_SOURCE_DIR=${VELAR_SOURCE_DIR:-$(cd "$E2E_DIR/../.." && pwd)}
VELAR_BUILD_DIR=${VELAR_BUILD_DIR:-$VELAR_SOURCE_DIR/build}
VELAR_TEST_WORK_DIR=${VELAR_TEST_WORK_DIR:-$VELAR_BUILD_DIR/tests/work}

PLAY=$VELAR_BUILD_DIR/tools/velar-play
CHECK=(python3 "$E2E_DIR/check_output.py")
PSPARSE=(python3 "$E2E_DIR/psparse.py")
DASH_CHECK=(python3 "$E2E_DIR/dash_check.py")
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

# expect_failure NAME WANTED_TEXT ARGS...: velar-play ARGS exits 1 within the time-out (within
# FAIL_WITHIN seconds when that is set) and its standard error is exactly one line
# "velar-play: ..." that contains WANTED_TEXT: no crash, no sanitizer report, no second line.
expect_failure() {
    local name=$1 wanted=$2
    shift 2
    play "$WORK/$name.mpg" "$@"
    local lines last
    lines=$(wc -l < "$PLAY_STDERR")
    last=$(tail -n 1 "$PLAY_STDERR")
    if [ "$PLAY_STATUS" -ne 1 ]; then
        bad "$name: exit $PLAY_STATUS (want 1) after ${PLAY_SECONDS}s: $(tail -n 3 "$PLAY_STDERR")"
    elif [ "$lines" -ne 1 ] || [[ "$last" != "velar-play: "*"$wanted"* ]]; then
        bad "$name: want one line with '$wanted', got: $(head -c 2000 "$PLAY_STDERR")"
    elif [ "$PLAY_SECONDS" -gt "${FAIL_WITHIN:-$PLAY_TIMEOUT}" ]; then
        bad "$name: took ${PLAY_SECONDS}s, more than ${FAIL_WITHIN}s: $last"
    else
        ok "$name: exit 1 in ${PLAY_SECONDS}s: $last"
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

# --- DASH: media, settings and servers ------------------------------------------------------
# The DASH client reads its settings file when a presentation is first opened; the tests use the
# default file of the source tree unless the caller names another one.
export VELAR_DASH_SETTINGS=${VELAR_DASH_SETTINGS:-$VELAR_SOURCE_DIR/dash/dash_settings.xml}

# dash_media KIND: makes the DASH media of KIND once (the scripts are idempotent and lock
# themselves) under VELAR_TEST_WORK_DIR and prints its folder.
#   fixtures  make-dash-fixtures.sh, the presentations shared with the C++ tests
#   abr       make-abr-dash.sh, three video representations and audio, 16 s
#   live      make-live-segments.sh, the media of the live simulator
dash_media() {
    local dir
    case $1 in
        fixtures) dir=$VELAR_TEST_WORK_DIR/dash
                  bash "$VELAR_SOURCE_DIR/tests/data/make-dash-fixtures.sh" "$dir" ;;
        abr) dir=$VELAR_TEST_WORK_DIR/abr16
             bash "$VELAR_SOURCE_DIR/tests/data/make-abr-dash.sh" "$dir" 16 ;;
        live) dir=$VELAR_TEST_WORK_DIR/live
              bash "$VELAR_SOURCE_DIR/tests/data/make-live-segments.sh" "$dir" ;;
        *) echo "dash_media: unknown kind $1" >&2; return 1 ;;
    esac </dev/null >&2
    echo "$dir"
}

# Servers started by the helpers below run under `timeout` (bounded even if this script is
# killed) and are stopped when the script exits.
SERVER_LIFETIME=${SERVER_LIFETIME:-900}
# shellcheck source=../../scripts/nginx_loopback.sh
source "$VELAR_SOURCE_DIR/scripts/nginx_loopback.sh"
SERVER_PIDS=()
stop_servers() {
    local pid
    for pid in "${SERVER_PIDS[@]}"; do
        kill "$pid" 2>/dev/null || true
    done
    for pid in "${SERVER_PIDS[@]}"; do
        wait "$pid" 2>/dev/null || true
    done
    SERVER_PIDS=()
}
trap stop_servers EXIT

# wait_until SECONDS COMMAND...: polls COMMAND until it succeeds; fails after SECONDS.
wait_until() {
    local deadline=$((SECONDS + $1))
    shift
    until "$@"; do
        [ "$SECONDS" -lt "$deadline" ] || return 1
        sleep 0.05
    done
}

# first_word_value FILE WORD: the second field of the first line of FILE that starts with WORD.
first_word_value() { awk -v w="$2" '$1 == w { print $2; exit }' "$1" 2>/dev/null; }
has_word_value() { [ -n "$(first_word_value "$1" "$2")" ]; }

# start_nginx ROOT: nginx (scripts/nginx_loopback.sh, the demo's and the benchmarks' starter)
# serving ROOT on a free loopback port for at most SERVER_LIFETIME seconds. Sets NGINX_PORT and
# NGINX_ACCESS_LOG; stopped on exit with the other servers.
start_nginx() {
    local prefix
    prefix=$(mktemp -d "$WORK/nginx.XXXXXX")
    NGINX_LIFETIME=$SERVER_LIFETIME nginx_start "$(cd "$1" && pwd)" "$prefix" || exit 1
    SERVER_PIDS+=("$NGINX_PID")
    NGINX_ACCESS_LOG=$prefix/access.log
}

# start_python_server NAME SCRIPT ARGS...: runs tests/servers/SCRIPT with ARGS and waits for its
# "PORT n" line; sets SERVER_DIR (its folder: stdout.log, stderr.log) and SERVER_PORT.
start_python_server() {
    local name=$1 script=$2
    shift 2
    SERVER_DIR=$(mktemp -d "$WORK/$name.XXXXXX")
    timeout "$SERVER_LIFETIME" python3 "$VELAR_SOURCE_DIR/tests/servers/$script" "$@" \
        >"$SERVER_DIR/stdout.log" 2>"$SERVER_DIR/stderr.log" &
    SERVER_PIDS+=("$!")
    if ! wait_until 10 has_word_value "$SERVER_DIR/stdout.log" PORT; then
        echo "$script did not start: $(cat "$SERVER_DIR/stderr.log")" >&2
        exit 1
    fi
    SERVER_PORT=$(first_word_value "$SERVER_DIR/stdout.log" PORT)
}

# start_fault_server ROOT: tests/servers/fault_server.py serving ROOT. Sets FAULT_PORT,
# FAULT_CONTROL (its control file, initially {}: write {"*": {...}} or {"/path": {...}}) and
# FAULT_LOG (one line per request).
start_fault_server() {
    local dir
    dir=$(mktemp -d "$WORK/fault-control.XXXXXX")
    FAULT_CONTROL=$dir/control.json
    FAULT_LOG=$dir/requests.log
    echo '{}' >"$FAULT_CONTROL"
    start_python_server fault fault_server.py --root "$1" --control "$FAULT_CONTROL" --log "$FAULT_LOG"
    FAULT_PORT=$SERVER_PORT
}

# start_live_server MEDIA [ARGS...]: tests/servers/live_server.py over MEDIA (dash_media live)
# with ARGS (--window, --update, --preroll...). Sets LIVE_PORT, LIVE_AST (epoch seconds) and
# LIVE_LOG (one line per request: epoch ms, path, status).
start_live_server() {
    local media=$1
    shift
    local log
    log=$(mktemp "$WORK/live-requests.XXXXXX")
    start_python_server live live_server.py --media "$media" --log "$log" "$@"
    LIVE_PORT=$SERVER_PORT
    LIVE_LOG=$log
    wait_until 10 has_word_value "$SERVER_DIR/stdout.log" AST
    LIVE_AST=$(first_word_value "$SERVER_DIR/stdout.log" AST)
}

# representation_source DIR ID: the init segment of representation ID in DIR (init-ID.m4s), then
# its media segments (chunk-ID-N.m4s, N a $Number$ or a $Time$) in time order, on standard output:
# a fragmented MP4 that FFmpeg reads as the source of what velar-play played.
representation_source() {
    local names
    names=$(cd "$1" && ls "chunk-$2-"*.m4s | sort -t- -k3 -n)
    # shellcheck disable=SC2086
    (cd "$1" && cat "init-$2.m4s" $names)
}

# same_frames NAME SRC OUT [check_output.py frames options]: the video frames decoded from the
# program stream OUT equal, frame for frame (framemd5), those decoded from the MP4 SRC.
same_frames() {
    local name=$1
    shift
    check "$name" "${CHECK[@]}" frames "$@"
}
