# Sourced by the tests of registration: pciinfo-register as it is installed, and hosts with stand-ins for the commands of
# object managers.
# shellcheck shell=bash
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

build=$1
tests=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
prefix="$work/prefix"
install_component "$build" provider "$prefix"
library=$(find "$prefix" -name libPCIInfoProvider.so)
installed=$(listing "$prefix")
mkdir "$work/tmp"

# in_prefix DIRECTORY: an installation that was moved there is the one to register.
in_prefix() {
    prefix=$1
    share="$prefix/share/pciinfo-provider"
    library=$(find "$prefix" -name libPCIInfoProvider.so)
    rm -f "$work/providers"
    ln -s "$(dirname "$library")" "$work/providers"  # a manager's setting has no place for blanks
}
in_prefix "$prefix"

# host COMMAND...: a fresh host whose object manager has these commands.
host() {
    export MANAGER_STATE="$work/state"
    commands="$work/home/bin"
    rm -rf "$commands" "$MANAGER_STATE"
    mkdir -p "$commands" "$MANAGER_STATE"
    local command
    for command in "$@"; do ln -s "$tests/manager-stub" "$commands/$command"; done
    echo "# comment
providerDirs:   /no/such $work/providers" >"$work/sfcb.cfg"
}

sfcb_host() {
    host pidof systemctl sfcbstage sfcbunstage sfcbrepos
    mkdir -p "$MANAGER_STATE"/stage/{mofs,regs}
}

# pegasus_host [NAMESPACE]: with this namespace for registrations.
pegasus_host() {
    local interop=${1:-root/PG_InterOp}
    host cimmof cimprovider cimconfig cimcli
    echo "$interop" >"$MANAGER_STATE/interop"
    mkdir -p "$MANAGER_STATE/repository/$interop"
    printf '%s 2.0.0\n' PG_ProviderModule PG_Provider PG_ProviderCapabilities \
        >"$MANAGER_STATE/repository/$interop/classes"
    echo "/no/such:$work/providers" >"$MANAGER_STATE/provider-dirs"
}

# stored KIND NAMESPACE: what OpenPegasus has there of that kind, sorted.
stored() { sort "$MANAGER_STATE/repository/$2/$1"; }

# schema_classes: the classes of the installed schema and their versions, sorted.
schema_classes() {
    sed -n -e 's/^\[.*Version ("\([^"]*\)").*/\1/p' -e 's/^class \([A-Za-z_]*\).*/\1/p' "$share/PCIInfoProvider.mof" |
        while read -r version && read -r class; do echo "$class $version"; done | sort
}
expect_equal "$(schema_classes | wc -l)" 9

# with_version CLASS VERSION: the line of that class with another version, among those of all.
with_version() { schema_classes | sed "s/^$1 .*/$1 $2/"; }

# declare CLASS VERSION: OpenPegasus has the schema, with this version of this class.
declare_schema() {
    mkdir -p "$MANAGER_STATE/repository/root/kavix"
    with_version "$1" "$2" >"$MANAGER_STATE/repository/root/kavix/classes"
    sed -n 's/^Qualifier \([A-Za-z]*\).*/\1 /p' "$share/qualifiers.mof" \
        >"$MANAGER_STATE/repository/root/kavix/qualifiers"
}

others=/usr/bin:/bin  # where all other commands are
# register [OPTION...]: its output goes to $output, its status to $status, what it called to $calls. Wherever it is
# called, the installed files are still there afterwards.
register() {
    rm -f "$MANAGER_STATE/calls"
    status=0
    output=$(cd "$share" && PATH="$commands:$others" TMPDIR="$work/tmp" "$prefix/sbin/pciinfo-register" \
        --sfcb-config "$work/sfcb.cfg" "$@" 2>&1) || status=$?
    calls=$(cat "$MANAGER_STATE/calls" 2>/dev/null || true)
    expect_equal "$(ls -A "$work/tmp")" ""
    expect_equal "$(listing "$prefix")" "$installed"
}

# expect_refusal STATUS TEXT: it ended so, with this in its message, and called nothing that changes anything.
expect_refusal() {
    expect_equal "$status" "$1"
    expect_part "$output" "$2"
    expect_equal "$calls" ""
}

# register_refused STATUS TEXT [OPTION...]
register_refused() {
    register "${@:3}"
    expect_refusal "$1" "$2"
}

# register_ends STATUS TEXT [OPTION...]: it ends so, with this in its output.
register_ends() {
    register "${@:3}"
    expect_equal "$status" "$1"
    expect_part "$output" "$2"
}

# register_well [OPTION...]
register_well() { register_ends 0 "" "$@"; }

# expect_no_part TEXT PART
expect_no_part() {
    [[ $1 != *"$2"* ]] || failed "got:" "$1" "expected it not to hold:" "$2"
}

# commands_shown: the names of the commands that the output shows, in one line.
commands_shown() { sed -n 's/^+ \([^ ]*\).*/\1/p' <<<"$output" | xargs; }
