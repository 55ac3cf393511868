#!/usr/bin/env bash
# The unit defines nothing global but what its clients and its host know by name, so that it meets no name of
# theirs: the classes with their members, the splitter, the store. Everything else of its own stands in one
# namespace; what remains is the runtime's.
#   defined-symbols.sh ARCHIVE WORK_FOLDER COMPILER [FLAG...]
set -eu
archive=$1
work=$2
shift 2
compiler=("$@")

strings='St6vectorINSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEESaIS5_EE'
allowed=(
    NamedId TripStop ServiceStop Trip Service Vehicle Station PlatformInfo
    PassengerInformationObserver PassengerInformationServer gPassengerInformationServer
    splitStr "_ZlsR${strings}RKS5_"  # operator<< on a vector of strings
    qxMutexBase qxLocalMutex         # the bodies in the host's header
    SignallingControllerPrivate
    std __gnu_cxx _ZnwjPv _ZnwmPv _ZdlPvS_                                  # templates and placement new
    __clang_call_terminate DW.ref.__gxx_personality_v0 __x86.get_pc_thunk   # the compilers' own
)
mkdir -p "$work"

# The outermost name of each global symbol: the class or namespace that it belongs to, or the symbol itself.
outermost_names() {
    nm --defined-only --extern-only --format=posix "$1" | awk 'NF > 1 { print $1 }' | awk '
        /^_Z/ {
            rest = substr($0, 3)
            sub(/^(T[VISTC]|Tv[0-9n]*_[0-9n]*_|Th[0-9n]*_|GV|GR|Z)*P?(N[rVK]*[RO]?)?/, "", rest)
            if (rest ~ /^S[tabsiod]/) { print "std"; next }
            if (match(rest, /^[0-9]+/)) { print substr(rest, RLENGTH + 1, substr(rest, 1, RLENGTH)); next }
        }
        { sub(/^__x86[.]get_pc_thunk[.].*/, "__x86.get_pc_thunk"); print }' | sort -u
}

unknown_names() {
    outermost_names "$1" | grep -vxF -f <(printf '%s\n' "${allowed[@]}") || true
}

# What the check is there to see, it sees.
printf '%s\n' 'struct UpdateRule { void post(); };' 'void UpdateRule::post() {}' \
    'int integerOf(const char*) { return 0; }' 'extern "C" void postEvent() {}' >"$work/strange.cpp"
"${compiler[@]}" -c -o "$work/strange.o" "$work/strange.cpp"
if [ "$(unknown_names "$work/strange.o" | tr '\n' ' ')" != "UpdateRule integerOf postEvent " ]; then
    echo "names that are not the unit's go unnoticed: this check proves nothing"
    exit 1
fi
for name in PassengerInformationServer splitStr gPassengerInformationServer; do
    if ! outermost_names "$archive" | grep -qxF "$name"; then
        echo "the unit does not define $name"
        exit 1
    fi
done

unknown_names "$archive" >"$work/unknown"
if [ -s "$work/unknown" ]; then
    echo "the unit defines names that are not its own:"
    cat "$work/unknown"
    exit 1
fi
