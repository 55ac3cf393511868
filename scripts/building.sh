# shellcheck shell=bash disable=SC2154  # `here` is set where this is sourced
# Sourced by ./run, ./test and the scripts, which set `here` to the checkout's folder: builds presets, each in
# build/PRESET, and shows how far that is.

# What build/PRESET is configured by: every file that CMake reads here.
configuration() {
    (cd "$here" && find . \( -path ./build -o -path ./.git \) -prune -o -type f \
        \( -name CMakeLists.txt -o -name CMakePresets.json -o -name '*.cmake' -o -name '*.in' \) -exec cksum {} + |
        LC_ALL=C sort)
}

# configure PRESET: keeps a configuration only where it was finished, by the same files, for this very folder. One
# that came with a copied or moved checkout would go on building the other one's sources.
configure() {
    local build=$here/build/$1 files
    files=$(configuration)
    if ! grep -qsxF "CMAKE_HOME_DIRECTORY:INTERNAL=$here" "$build/CMakeCache.txt" ||
        ! grep -qsxF "CMAKE_CACHEFILE_DIR:INTERNAL=$build" "$build/CMakeCache.txt"; then
        rm -rf "$build"
    elif [ -f "$build/configured" ] && [ "$files" = "$(<"$build/configured")" ]; then
        return
    fi
    rm -f "$build/configured"
    (cd "$here" && cmake --fresh --preset "$1") || return
    echo "$files" >"$build/configured"
}

# progress WHAT: reads what a build or ctest prints and says on standard error how far it is: at a terminal in one
# line that is written anew, elsewhere in a line now and then. Where there is nothing to do it says nothing.
progress() {
    local line count total tenth=0 said=$SECONDS shown=
    while IFS= read -r line; do
        [[ $line =~ ^(\[|\ *)([0-9]+)/([0-9]+)(\]|\ Test) && $line != *Re-checking* ]] || continue
        count=${BASH_REMATCH[2]} total=${BASH_REMATCH[3]}
        if [ -t 2 ]; then
            printf '\r%s: %d of %d\e[K' "$1" "$count" "$total" >&2
            shown=yes
        elif ((count * 10 / total > tenth || SECONDS - said >= 10)); then
            tenth=$((count * 10 / total)) said=$SECONDS
            printf '%s: %d of %d\n' "$1" "$count" "$total" >&2
        fi
    done
    if [ -n "$shown" ]; then printf '\r\e[K' >&2; fi
}

# build_preset PRESET [ARGUMENT...]: configures and builds it, with arguments of cmake --build. What goes wrong is
# shown whole; build/PRESET.build.log keeps it.
build_preset() {
    local preset=$1 log=$here/build/$1.build.log
    shift
    mkdir -p "$here/build" || return
    if ! configure "$preset" >"$log" 2>&1 ||
        ! (
            set -o pipefail
            cd "$here" && NINJA_STATUS="[%f/%t] " cmake --build --preset "$preset" "$@" 2>&1 |
                tee "$log" | progress "build/$preset"
        ); then
        cat "$log" >&2
        return 1
    fi
}
