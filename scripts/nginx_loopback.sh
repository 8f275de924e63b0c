# Serves a folder over HTTP from a private nginx on 127.0.0.1, for the demo and the benchmarks
# (sourced, not run). The configuration is tests/servers/nginx.conf.in, the one the C++ tests use:
# one process in the foreground, logs and temporary files under a state folder of the caller.
#
#   nginx_start WWW_DIR STATE_DIR   starts nginx on a free loopback port; sets NGINX_PID and
#                                   NGINX_PORT; waits (at most 10 s) until it answers. Returns 1
#                                   with a message on standard error when it cannot be started
#                                   (three attempts: a port found free may be taken meanwhile).
#                                   With NGINX_LIFETIME set (seconds), nginx is also stopped
#                                   after that long whatever happens to the caller.
#   nginx_stop                      stops it and waits for it; harmless when none runs.
#
# The caller stops the server on every way out: trap nginx_stop EXIT.

NGINX_BIN=${NGINX_BIN:-/usr/sbin/nginx}
NGINX_PID=
NGINX_PORT=

nginx_start() {
    local www=$1 prefix=$2 root attempt
    root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
    if [ ! -x "$NGINX_BIN" ]; then
        echo "nginx is not installed ($NGINX_BIN): run scripts/install-deps.sh" >&2
        return 1
    fi
    mkdir -p "$prefix/tmp"
    for attempt in 1 2 3; do
        NGINX_PORT=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
        sed -e "s|@PREFIX@|$prefix|g" -e "s|@ROOT@|$www|g" -e "s|@LISTEN@|127.0.0.1:$NGINX_PORT|g" \
            -e "s|@TLS@||g" "$root/tests/servers/nginx.conf.in" >"$prefix/nginx.conf"
        : >"$prefix/access.log"
        ${NGINX_LIFETIME:+timeout "$NGINX_LIFETIME"} "$NGINX_BIN" -p "$prefix/" -c "$prefix/nginx.conf" \
            -e "$prefix/error.log" </dev/null >/dev/null 2>&1 &
        NGINX_PID=$!
        # Ready when it answers anything over HTTP; gone when the port was taken after all.
        local _
        for _ in $(seq 1 200); do
            kill -0 "$NGINX_PID" 2>/dev/null || break
            if curl -s -o /dev/null --max-time 1 "http://127.0.0.1:$NGINX_PORT/"; then
                return 0
            fi
            sleep 0.05
        done
        echo "nginx attempt $attempt on port $NGINX_PORT failed: $(tail -n 1 "$prefix/error.log" 2>/dev/null)" >&2
        nginx_stop
    done
    return 1
}

nginx_stop() {
    if [ -n "${NGINX_PID:-}" ]; then
        kill "$NGINX_PID" 2>/dev/null || true
        wait "$NGINX_PID" 2>/dev/null || true
        NGINX_PID=
    fi
}
