# The shared start of the idempotent media scripts of this folder (sourced, not run), once OUT (the
# output folder, absolute) and HASH (what the outputs are made from) are set.
#
# once_begin NAME   exits the calling script at once when OUT/.NAME.stamp holds HASH (everything is
#                   there); otherwise waits for OUT/.NAME.lock (flock on descriptor 9: concurrent
#                   runs are serialised), checks the stamp again, and makes WORK, a temporary folder
#                   under OUT removed on exit. Sets STAMP; the caller moves its results from WORK
#                   into OUT and then writes HASH to STAMP.
once_begin() {
    STAMP="$OUT/.$1.stamp"
    [ "$(cat "$STAMP" 2>/dev/null || true)" = "$HASH" ] && exit 0
    exec 9>"$OUT/.$1.lock"
    flock 9
    [ "$(cat "$STAMP" 2>/dev/null || true)" = "$HASH" ] && exit 0
    WORK=$(mktemp -d "$OUT/.build.XXXXXX")
    trap 'rm -rf "$WORK"' EXIT
}
