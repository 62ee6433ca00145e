# Sourced by the tests of the packages: goes to the top of the tree, and tells what was checked and how long it took.
# shellcheck shell=bash
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

last_step=$SECONDS
# shellcheck disable=SC2034 # for those who source this
project_version=$(sed -n 's/^project([A-Za-z]* VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)

# took TITLE: tells the time since the step before.
took() {
    echo "$1 ($((SECONDS - last_step)) s)"
    last_step=$SECONDS
}

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

time_limit=600  # seconds, for every step that could hang

# limited COMMAND...: runs a program for so long.
limited() { timeout "$time_limit" "$@"; }

# cause LOG: the first line that reads like an error, or the last line.
cause() { grep -m 1 -E '[Ee]rror:|CMake Error|^E: ' "$1" || tail -n 1 "$1"; }

# logged LOG COMMAND...: runs it with its output in a file; when it fails, shows the end of that and says why. In front
# of the command there may be `limited` or `inside`.
logged() {
    local log=$1 status=0
    shift
    "$@" >"$log" 2>&1 </dev/null || status=$?
    if [[ $status -eq 0 ]]; then return; fi
    tail -n 40 "$log" >&2
    while [[ $1 == limited || $1 == inside ]]; do shift; done
    if [[ $status -eq 124 ]]; then fail "$1 was ended after $time_limit s, see $log"; fi
    fail "$1 ended with status $status: $(cause "$log"), see $log"
}

# export_tree DIRECTORY: what belongs to the source, as it stands, into an empty directory.
export_tree() {
    rm -rf "$1"
    mkdir -p "$1"
    tar --create --exclude-vcs --exclude='./build*' --exclude=./compile_commands.json . | tar --extract --directory="$1"
}

# expect_same WHAT EXPECTED-FILE FILE
expect_same() {
    diff -u --label expected --label found "$2" "$3" || fail "$1"
}
