# Sourced by the other scripts: goes to the top of the tree, whatever directory the caller is in.
# shellcheck shell=bash
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
mkdir -p build

# Titles of the steps that failed, and whether the script goes on behind one.
failed_steps=()
keep_going=false

# step TITLE COMMAND...: runs the command with its output kept in build/TITLE.log, and shows one line; where it fails,
# shows the output as well and returns its status, or 0 to keep going.
step() {
    local title=$1 log status started=$SECONDS
    shift
    log="build/${title//[^A-Za-z0-9]/-}.log"
    # Not as part of a condition: there bash would carry on behind a command that fails inside the function called.
    set +e
    (set -e; "$@") </dev/null >"$log" 2>&1
    status=$?
    set -e
    if [[ $status -ne 0 ]]; then
        cat "$log"
        echo "FAILED: $title (status $status, $((SECONDS - started)) s): $*"
        failed_steps+=("$title")
        if $keep_going; then return 0; else return "$status"; fi
    fi
    echo "$title: done ($((SECONDS - started)) s)"
}

# build PRESET [TARGET...]: configures and builds.
build() {
    cmake --preset "$1"
    cmake --build --preset "$1" --parallel "$(nproc)" "${@:2}"
}

# run_tests PRESET [CTEST OPTION...]
run_tests() {
    ctest --preset "$1" --parallel "$(nproc)" "${@:2}"
}

# test_summary TITLE: ctest's summary out of the output that `step TITLE run_tests ...` kept.
test_summary() {
    sed -n '/tests passed/,$p' "build/${1//[^A-Za-z0-9]/-}.log" | grep . || echo "not run"
}
