# Sourced by the other scripts: goes to the top of the tree, whatever directory the caller is in.
# shellcheck shell=bash
set -euo pipefail
script=$0  # as the user called it
program=$(readlink -f "$0")
cd "$(dirname "${BASH_SOURCE[0]}")/.."
mkdir -p build

# Steps that there will be, or 0 where nobody said, and those begun; titles of the ones that failed, and whether the
# script goes on after one.
steps=0
steps_begun=0
failed_steps=()
keep_going=false

report_seconds=60  # between two lines about a step that goes on, where they are not shown on a terminal

# show_help [ARGUMENTS]: the usage, and the comment at the script's head.
show_help() {
    printf 'usage: %s%s\n\n' "$script" "${1:+ $1}"
    sed -n '2,${ /^#/!q; s/^# \{0,1\}//p; }' "$program"
}

# help_only ARGUMENT...: for scripts without arguments.
help_only() {
    case ${1:-} in
        -h | --help)
            show_help ""
            exit 0
            ;;
        ?*)
            echo "$script: it takes no arguments but --help" >&2
            exit 2
            ;;
    esac
}

# minutes SECONDS
minutes() { printf '%d:%02d' $(($1 / 60)) $(($1 % 60)); }

# last_line FILE: what a program wrote last, without what a terminal would obey.
last_line() { tail -n 1 "$1" | LC_ALL=C tr -cd ' -~'; }

# report_step TITLE LOG: until it is ended, or the script is: how long the step has taken, and the last line of its log.
# On a terminal one line that changes, elsewhere a line now and then.
report_step() {
    local title=$1 log=$2 started=$SECONDS line width seconds
    # Without the caller's output while it sleeps: whoever reads that would wait for the sleep's end.
    while sleep 1 >&- 2>&- && kill -0 $$ 2>/dev/null; do
        seconds=$((SECONDS - started))
        if [[ -t 1 ]]; then
            width=$(tput cols 2>/dev/null || echo 80)
            line="$title, $(minutes "$seconds"): $(last_line "$log")"
            printf '\r\033[K%s' "${line:0:width-1}"
        elif [[ $((seconds % report_seconds)) -eq 0 && $seconds -gt 0 ]]; then
            echo "$title goes on, $(minutes "$seconds"): $(last_line "$log")"
        fi
    done
}

# end_report PROCESS
end_report() {
    kill "$1" 2>/dev/null || true
    wait "$1" 2>/dev/null || true
    if [[ -t 1 ]]; then printf '\r\033[K'; fi
}

# step TITLE COMMAND...: runs the command with its output kept in build/TITLE.log, and tells where that is, what goes on
# and how it ended; where it fails, shows the output as well and returns its status, or 0 to keep going.
step() {
    local title=$1 log status started=$SECONDS number report
    shift
    log="build/${title//[^A-Za-z0-9]/-}.log"
    steps_begun=$((steps_begun + 1))
    number="[$steps_begun$([[ $steps -eq 0 ]] || echo "/$steps")]"
    echo "$number $title (log: $log)"
    : >"$log"
    report_step "$number $title" "$log" </dev/null &
    report=$!
    # Not as part of a condition: there bash would carry on after a command that fails inside the function called.
    set +e
    (set -e; "$@") </dev/null >"$log" 2>&1
    status=$?
    set -e
    end_report "$report"
    if [[ $status -ne 0 ]]; then
        cat "$log"
        echo "FAILED: $title (status $status, $((SECONDS - started)) s): $*"
        failed_steps+=("$title")
        if $keep_going; then return 0; else return "$status"; fi
    fi
    echo "$number $title: done ($((SECONDS - started)) s; so far $(minutes "$SECONDS"))"
}

# try_next LINE...: what the user may want to do now.
try_next() {
    printf '\nTry next:\n'
    printf '    %s\n' "$@"
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

# build_and_test: both compilers, all tests of both builds; four steps.
build_and_test() {
    step "Build with gcc" build release
    step "Build with clang" build clang
    step "Tests of the clang build" run_tests clang
    step "Tests of the gcc build" run_tests release
}

# build_and_fuzz: a few seconds of each fuzz target; two steps.
build_and_fuzz() {
    step "Build of the fuzz targets" build fuzz --target fuzz_targets
    step "Fuzz targets" run_tests fuzz
}

# test_summary TITLE: ctest's summary out of the output that `step TITLE run_tests ...` kept.
test_summary() {
    sed -n '/tests passed/,$p' "build/${1//[^A-Za-z0-9]/-}.log" | grep . || echo "not run"
}

# show_summaries TITLE...
show_summaries() {
    local title
    echo
    for title in "$@"; do printf '%s:\n%s\n' "$title" "$(test_summary "$title")"; done
}
