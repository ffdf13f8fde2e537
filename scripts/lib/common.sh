# Shared by the scripts of this folder: where things are, and how a script speaks and waits.
# What a script says of itself goes to standard error.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
deps=$root/.deps

say() {
    printf '%s\n' "$*" >&2
}

fail() {
    say "error: $*"
    exit 1
}

# step WHAT LOG COMMAND...: says WHAT, and runs COMMAND with its whole output in .deps/log/LOG.log;
# from CI's machine nobody fetches that, so there the end of it is shown.
step() {
    local what=$1 log=.deps/log/$2.log
    shift 2
    say "$what ..."
    mkdir -p "$deps/log"
    "$@" </dev/null >"$root/$log" 2>&1 && return
    [[ -z ${CI-} ]] || tail -n 50 "$root/$log" >&2
    fail "$what failed; its output is in $log"
}

# with_lock COMMAND...: runs COMMAND while no other script does so in this checkout.
with_lock() (
    mkdir -p "$deps"
    exec 9>"$deps/lock"
    if ! flock --nonblock 9; then
        say "Waiting for another script that installs or builds here ..."
        flock 9
    fi
    "$@"
)
