#!/usr/bin/env bash
# ./run and ./test in a checkout that is copied, moved, called through a link or not writable. In place of cmake, and
# of everything that a build takes time for, stands a program that does what it is told in FAKE and writes down how it
# was called.
#   commands.sh SOURCE_FOLDER
set -eu
source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"
mkdir "$work/bin"

fail() {
    echo "$*"
    for file in calls out err; do
        echo "--- $file"
        cat "$work/$file"
    done
    exit 1
}

# Builds a program pis that prints the checkout's file `edition`, as it is when it is built.
cat >"$work/bin/cmake" <<'FAKE_CMAKE'
#!/usr/bin/env bash
set -eu
echo "cmake $*" >>"$CALLS"
preset=$*
preset=${preset#*--preset }
preset=${preset%% *}
build=$PWD/build/$preset
case "$1" in
    --fresh)
        mkdir -p "$build"
        printf '%s\n' "CMAKE_HOME_DIRECTORY:INTERNAL=$PWD" "CMAKE_CACHEFILE_DIR:INTERNAL=$build" >"$build/CMakeCache.txt"
        touch "$build/build.ninja"
        if [ "${FAKE:-}" = "no configure" ]; then
            echo "no configuration"
            exit 1
        fi
        echo "$PWD" >"$build/home"
        ;;
    --build)
        if [ "${FAKE:-}" = "no build" ]; then
            echo "no compiler"
            exit 1
        fi
        home=$(<"$build/home")
        if cmp -s "$home/src/edition" "$build/edition"; then
            echo "ninja: no work to do."
            exit
        fi
        for ((step = 1; step <= 40; ++step)); do echo "${NINJA_STATUS/\[%f\/%t]/[$step/40]}Building $step"; done
        cp "$home/src/edition" "$build/edition"
        mkdir -p "$build/standalone"
        { echo '#!/bin/sh'; echo "echo pis of $(<"$build/edition") \"\$@\""; } >"$build/standalone/pis"
        chmod 755 "$build/standalone/pis"
        ;;
esac
FAKE_CMAKE
cat >"$work/bin/ctest" <<'FAKE_CTEST'
#!/usr/bin/env bash
echo "ctest $*" >>"$CALLS"
echo "100% tests passed, 0 tests failed out of 7"
FAKE_CTEST
# Every package is there.
cat >"$work/bin/dpkg-query" <<'FAKE_QUERY'
#!/usr/bin/env bash
printf '%s install ok installed\n' "$@"
FAKE_QUERY
printf '#!/bin/sh\nexit 1\n' >"$work/bin/apt-get"
chmod 755 "$work/bin"/*
export PATH=$work/bin:$PATH CALLS=$work/calls
touch "$CALLS"
chmod 666 "$CALLS"

# called COMMAND...: calls it; sets status.
called() {
    : >"$CALLS"
    status=0
    "$@" >"$work/out" 2>"$work/err" </dev/null || status=$?
}
ends_with() { [ "$status" -eq "$1" ] || fail "expected status $1"; }
says() { [ "$(<"$work/out")" = "$1" ] || fail "expected on standard output: $1"; }
says_last() { [ "$(tail -n 1 "$work/out")" = "$1" ] || fail "expected as the last line: $1"; }
complains() { grep -qF -- "$1" "$work/err" || fail "expected on standard error: $1"; }
calls() { [ "$(<"$CALLS")" = "$(printf '%s\n' "$@")" ] || fail "expected the calls:" "$@"; }
kConfigure="cmake --fresh --preset run"
kBuild="cmake --build --preset run --target pis"

checkout=$work/checkout
mkdir "$checkout"
cp -r "$source"/{run,test,scripts,cmake,CMakeLists.txt,CMakePresets.json} "$checkout"
for folder in docs host resource src standalone; do mkdir "$checkout/$folder"; done
echo one >"$checkout/src/edition"

echo "The first time it configures, and says how far the build is"
called "$checkout/run" --version
ends_with 0
says "pis of one --version"
calls "$kConfigure" "$kBuild"
complains "build/run: 4 of 40"
complains "build/run: 40 of 40"
[ "$(grep -c ' of 40$' "$work/err")" -le 11 ] || fail "a line now and then is meant"

echo "Where nothing changed it is silent"
called "$checkout/run" --version
ends_with 0
says "pis of one --version"
calls "$kBuild"
[ ! -s "$work/err" ] || fail "nothing is to be said"

echo "Through links"
ln -s "$checkout/run" "$work/link"
ln -s link "$work/pis-run"
called "$work/pis-run" --version
ends_with 0
says "pis of one --version"
calls "$kBuild"
ln -s "$checkout/test" "$work/pis-test"
called "$work/pis-test" native
ends_with 0
grep -qE '^native +built ' "$work/out" || fail "the stage is to be named"
says_last "7 passed, 0 failed"

echo "An edit is built"
echo two >"$checkout/src/edition"
called "$checkout/run" a "b c"
ends_with 0
says "pis of two a b c"

echo "A build that fails is shown, and the old program does not run"
FAKE="no build" called "$checkout/run"
ends_with 2
says ""
complains "no compiler"
FAKE="no build" called "$checkout/test" native
ends_with 1
says_last "0 passed, 1 failed"
complains "no compiler"

echo "What is described in another way is configured afresh, again and again until that succeeds"
cp "$checkout/CMakePresets.json" "$work/presets"
echo >>"$checkout/CMakePresets.json"
FAKE="no configure" called "$checkout/run"
ends_with 2
calls "$kConfigure"
complains "no configuration"
cp "$work/presets" "$checkout/CMakePresets.json"
called "$checkout/run"
calls "$kConfigure" "$kBuild"
echo >>"$checkout/CMakeLists.txt"
called "$checkout/run"
calls "$kConfigure" "$kBuild"

echo "A copy builds its own sources"
cp -r "$checkout" "$work/copy"
echo three >"$work/copy/src/edition"
called "$work/copy/run"
calls "$kConfigure" "$kBuild"
ends_with 0
says "pis of three serve --link sim:samples/harbour-line.json --speed 10 --start 07:00"

echo "So does a moved checkout"
mv "$work/copy" "$work/moved"
echo four >"$work/moved/src/edition"
called "$work/moved/run" --version
calls "$kConfigure" "$kBuild"
ends_with 0
says "pis of four --version"

echo "Where nothing can be written, what is built runs unless the sources are newer"
as_reader() { "$@"; }
if [ "$(id -u)" -eq 0 ]; then
    as_reader() { setpriv --reuid 65534 --regid 65534 --clear-groups "$@"; }
fi
chmod -R a+rX,a-w "$work/moved"
called as_reader "$work/moved/run" --version
ends_with 0
says "pis of four --version"
calls
complains "$work/moved/build/run cannot be written: running pis as it was built there"
[ "$(wc -l <"$work/err")" -eq 1 ] || fail "one line is meant"
chmod u+w "$work/moved/src/edition"
echo five >"$work/moved/src/edition"
called as_reader "$work/moved/run" --version
ends_with 2
says ""
complains "older than its sources"
chmod -R u+w "$work/moved"
