# Sourced by the tests of this folder: a directory of their own, and expectations that name themselves when they fail.
# shellcheck shell=bash
set -euo pipefail

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'echo "FAILED, line $LINENO: $BASH_COMMAND"' ERR
failures=0

# failed LINE...: reports a failed expectation with the line of the test, not of a helper, and goes on.
failed() {
    echo "FAILED, line ${BASH_LINENO[-2]}:"
    printf '    %s\n' "$@"
    failures=$((failures + 1))
}

# expect_equal ACTUAL EXPECTED
expect_equal() {
    [[ $1 == "$2" ]] || failed "got:" "$1" "expected:" "$2"
}

# expect_part TEXT PART
expect_part() {
    [[ $1 == *"$2"* ]] || failed "got:" "$1" "expected it to hold:" "$2"
}

# install_component BUILD COMPONENT PREFIX
install_component() {
    cmake --install "$1" --component "$2" --prefix "$3" >/dev/null
}

# listing DIRECTORY: every file and link below it, sorted.
listing() {
    (cd "$1" && find . ! -type d | sort)
}

finish() {
    [[ $failures -eq 0 ]] || exit 1
}
