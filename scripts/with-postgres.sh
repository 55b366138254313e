#!/bin/sh
# Runs a command against a throwaway PostgreSQL cluster:
#   scripts/with-postgres.sh ctest --test-dir build -R tst_dialect
# The cluster lives in a temporary folder, listens only on a Unix socket in that folder, trusts every
# local user, and is stopped and deleted when the command ends, whatever happened. The command sees
# AGR_TEST_PG=postgresql://postgres@<socket folder, percent-encoded>:<port>/agrtest.
# Works without a terminal and as root (the server then runs as the "postgres" user).
set -eu

if [ "$#" -eq 0 ]; then
    echo "usage: $0 COMMAND [ARGS...]" >&2
    exit 2
fi

find_bindir() {
    if [ -n "${PG_BINDIR:-}" ] && [ -x "$PG_BINDIR/initdb" ]; then
        echo "$PG_BINDIR"
        return
    fi
    if command -v pg_config >/dev/null 2>&1; then
        dir=$(pg_config --bindir 2>/dev/null || true)
        if [ -n "$dir" ] && [ -x "$dir/initdb" ]; then
            echo "$dir"
            return
        fi
    fi
    for dir in $(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -t/ -k5 -n -r); do
        if [ -x "$dir/initdb" ]; then
            echo "$dir"
            return
        fi
    done
    if command -v initdb >/dev/null 2>&1; then
        dirname "$(command -v initdb)"
        return
    fi
    echo "with-postgres: no PostgreSQL server binaries found (set PG_BINDIR)" >&2
    exit 3
}

BINDIR=$(find_bindir)
BASE=$(mktemp -d "${TMPDIR:-/tmp}/agrpg.XXXXXX")
DATA="$BASE/data"
SOCK="$BASE/sock"
LOG="$BASE/server.log"
mkdir -p "$DATA" "$SOCK"

# initdb refuses to run as root: hand the folder to the postgres user and run the server tools as them.
if [ "$(id -u)" -eq 0 ]; then
    PGUSER_OS=${AGR_PG_OS_USER:-postgres}
    chown -R "$PGUSER_OS" "$BASE"
    chmod 755 "$BASE"
    as_server() { runuser -u "$PGUSER_OS" -- "$@"; }
else
    as_server() { "$@"; }
fi

STARTED=0
cleanup() {
    status=$?
    if [ "$STARTED" -eq 1 ]; then
        as_server "$BINDIR/pg_ctl" -D "$DATA" -m immediate -w stop >/dev/null 2>&1 || true
    fi
    rm -rf "$BASE"
    exit "$status"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

as_server "$BINDIR/initdb" -D "$DATA" -U postgres -A trust -E UTF8 --no-locale >"$BASE/initdb.log" 2>&1 || {
    cat "$BASE/initdb.log" >&2
    echo "with-postgres: initdb failed" >&2
    exit 3
}

# With no TCP listener the port only names the socket file inside our own folder, so it cannot clash
# with another server; a random one still keeps parallel runs apart in logs.
PORT=$((20000 + $(od -An -N2 -tu2 /dev/urandom | tr -d ' ') % 40000))

as_server "$BINDIR/pg_ctl" -D "$DATA" -l "$LOG" -w -t 60 \
    -o "-k $SOCK -p $PORT -c listen_addresses= -c fsync=off -c synchronous_commit=off -c full_page_writes=off" \
    start >/dev/null 2>&1 || {
    cat "$LOG" >&2 2>/dev/null || true
    echo "with-postgres: the server did not start" >&2
    exit 3
}
STARTED=1

as_server "$BINDIR/createdb" -h "$SOCK" -p "$PORT" -U postgres agrtest || {
    echo "with-postgres: createdb failed" >&2
    exit 3
}

ENCODED=$(printf '%s' "$SOCK" | sed 's|%|%25|g; s|/|%2F|g; s| |%20|g')
AGR_TEST_PG="postgresql://postgres@$ENCODED:$PORT/agrtest"
export AGR_TEST_PG

set +e
"$@"
rc=$?
set -e
exit "$rc"
