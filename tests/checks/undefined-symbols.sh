#!/usr/bin/env bash
# The unit asks of its surroundings exactly the host interfaces, three functions of zlib, and the C and
# C++ runtime.
#   undefined-symbols.sh ARCHIVE WORK_FOLDER COMPILER [FLAG...]
set -eu
archive=$1
work=$2
shift 2
compiler=("$@")

text='NSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE'
host=(
    "_Z13base64_encodeB5cxx11PKhj"                           # base64_encode
    "_Z15addNewEventItemN9EventItem10EVENT_TYPEEiPv"         # addNewEventItem
    "_Z28prepareElemStringFieldForSvrR$text"                 # prepareElemStringFieldForSvr
    "_Z5debugiPKcz"                                          # debug
    "_Z11handleErroriPKcz"                                   # handleError
    "_ZN10QXReceiver23addOperationToSendQueueEiiiiRK$text"   # QXReceiver::addOperationToSendQueue
    "_ZN12qxLocalMutex4initEv"
    "_ZN12qxLocalMutex5enterEv"
    "_ZN12qxLocalMutex5leaveEv"
    "_ZN12qxLocalMutexD1Ev"
    "_ZTV12qxLocalMutex"
    "debugLevel"
    "gQXReceiver"
)
zlib=(deflate deflateEnd deflateInit_)
mkdir -p "$work"

# Nothing of the list may be left over: what the unit no longer asks for is no host interface.
nm --undefined-only --format=posix "$archive" | awk 'NF > 1 { print $1 }' | sort -u >"$work/undefined"
for symbol in "${host[@]}" "${zlib[@]}"; do
    if ! grep -qxF -- "$symbol" "$work/undefined"; then
        echo "the unit does not ask for $symbol"
        exit 1
    fi
done

# Nothing else may be missing: with these defined and zlib and the runtime linked, the whole archive links.
{
    for symbol in "${host[@]}"; do printf '.globl %s\n%s:\n' "$symbol" "$symbol"; done
    echo '.section .note.GNU-stack,"",@progbits'
} >"$work/host.s"
echo 'int main() { return 0; }' >"$work/main.cpp"
"${compiler[@]}" -no-pie -o "$work/linked" "$work/main.cpp" "$work/host.s" \
    -Wl,--whole-archive "$archive" -Wl,--no-whole-archive -lz

# And without zlib or the host it does not, so the check above can fail.
if "${compiler[@]}" -no-pie -o "$work/linked" "$work/main.cpp" \
    -Wl,--whole-archive "$archive" -Wl,--no-whole-archive -lz 2>/dev/null; then
    echo "the archive links without a host: this check proves nothing"
    exit 1
fi
