# Shared by run and test, which source it with $root set to the repository's top folder.

# shellcheck shell=sh
# shellcheck disable=SC2154 # root comes from the caller
log=$root/build/log

# One build at a time in this folder; a second caller waits for the first. Starts a new log.
begin_build() {
    mkdir -p "$root/build" 2>/dev/null
    if ! touch "$root/build/.lock" "$log" 2>/dev/null; then
        echo "$root/build cannot be written; remove it, or work as the user it belongs to." >&2
        return 1
    fi
    exec 9>"$root/build/.lock"
    if command -v flock >/dev/null; then flock 9; fi
    : >"$log"
    # A cache that cannot be written would fail every compilation.
    if command -v ccache >/dev/null && [ -w "${CCACHE_DIR:-${HOME:-/nonexistent}}" ]; then
        export CMAKE_CXX_COMPILER_LAUNCHER=ccache
    fi
}

# Others may build again. The program is started without the lock.
end_build() { exec 9>&-; }

say() { echo "$1" >&2; }

# step WORDS COMMAND...: says WORDS on the error stream and runs the command with its output in the log; shows the end
# of its output when it fails.
step() {
    say "$1"
    shift
    step_log=$log.step
    if "$@" >"$step_log" 2>&1 9>&-; then
        step_result=0
    else
        step_result=$?
        grep -v '^\[[0-9]*/[0-9]*\] ' "$step_log" | tail -n 60 >&2 # without ninja's lines of progress
        echo "failed ($step_result): $*   (whole output: $log)" >&2
    fi
    { echo "\$ $*" && cat "$step_log"; } >>"$log"
    rm -f "$step_log"
    return $step_result
}

# build PRESET: configures and builds it.
build() {
    step "configuring $1" in_root cmake --preset "$1" && step "building $1" in_root cmake --build --preset "$1"
}

in_root() { (cd "$root" && "$@"); }

# Makes ready for tests of the mingw build under Wine; the first start takes some seconds, later ones none.
start_wine() {
    # Run by root, the tests are another user's processes, and leave lines for the checks of schemas.
    if [ "$(id -u)" -eq 0 ]; then
        find "$root/build/mingw/tests" -maxdepth 1 -type d -exec chmod o+rwx {} +
    fi
    # What tests that were killed have left.
    for clone in "$root"/build/wine-live-*; do
        [ ! -d "$clone" ] || { NUVRUSB_WINE_CLONE=${clone##*/} "$root/scripts/wine" --stop; rm -rf "$clone"; }
    done
    "$root/scripts/wine" "$root/build/mingw/nuvrusb.exe" --version 9>&-
}

stop_wine() { "$root/scripts/wine" --stop; }
