# Shared by the scripts: paths, messages and the lock. The messages go to standard error.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
deps=$root/.deps

say() {
    printf '%s\n' "$*" >&2
}

fail() {
    say "error: $*"
    exit 1
}

# step WHAT LOG COMMAND...: prints WHAT, and runs COMMAND with its output in .deps/log/LOG.log. On a CI machine,
# where that file is not available, a failure prints its end.
step() {
    local what=$1 log=.deps/log/$2.log
    shift 2
    say "$what ..."
    mkdir -p "$deps/log"
    "$@" </dev/null >"$root/$log" 2>&1 && return
    [[ -z ${CI-} ]] || tail -n 50 "$root/$log" >&2
    fail "$what failed; its output is in $log"
}

# with_lock COMMAND...: runs COMMAND when no other script of this checkout runs one with the lock.
with_lock() (
    mkdir -p "$deps"
    exec 9>"$deps/lock"
    if ! flock --nonblock 9; then
        say "Waiting for another script that installs or builds here ..."
        flock 9
    fi
    "$@"
)
