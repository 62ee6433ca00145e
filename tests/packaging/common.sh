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

# logged LOG COMMAND...: runs it with its output in a file, and shows the end of that when it fails.
logged() {
    local log=$1
    shift
    "$@" >"$log" 2>&1 </dev/null || {
        tail -n 40 "$log" >&2
        fail "$1, see $log"
    }
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
