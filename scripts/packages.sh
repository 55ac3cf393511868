# shellcheck shell=bash disable=SC2034  # sourced; the lists are used there
# Sourced by ./run and ./test: sees to it that the Debian packages they need are there.

# What builds and runs the program pis.
kRunPackages=(cmake g++ ninja-build libboost1.81-dev libboost-url1.81-dev libcli11-dev libfmt-dev
    libhowardhinnant-date-dev libsimdjson-dev libspdlog-dev libssl-dev prometheus-cpp-dev tzdata zlib1g-dev)

# What the tests need besides.
kTestPackages=(ccache chromium clang-14 clang-format-14 clang-tidy-14 googletest libclang-rt-14-dev nginx-light
    pkg-config shellcheck)
# Node and npm may also have come from elsewhere.
command -v node >/dev/null || kTestPackages+=(nodejs)
command -v npm >/dev/null || kTestPackages+=(npm)

# What the 32-bit builds need, on a machine that can run them.
k32BitPackages=(g++-multilib lib32z1-dev)

# What the benchmarks need besides.
kBenchPackages=(libbenchmark-dev libnginx-mod-nchan libsqlite3-dev nginx-light wrk)

# Whether this machine is one that builds and runs programs for the 32-bit host.
can_build_32_bit() {
    [ "$(uname -m)" = x86_64 ]
}

# require_packages NAME...: installs those that are missing; says what is needed and stops where it cannot.
require_packages() {
    if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
        if [ -n "${PIS_PACKAGES_PRESENT:-}" ]; then return; fi
        {
            echo "This is not a Debian system. Install what these Debian 12 packages hold: $*"
            echo "Then call again with PIS_PACKAGES_PRESENT=1 in the environment."
        } >&2
        exit 2
    fi

    local missing=() name present
    # shellcheck disable=SC2016  # the format is dpkg-query's own
    present=$(dpkg-query -W -f='${Package} ${Status}\n' "$@" 2>/dev/null || true)
    for name in "$@"; do
        if [[ $'\n'$present$'\n' != *$'\n'"$name install ok installed"$'\n'* ]]; then missing+=("$name"); fi
    done
    if [ ${#missing[@]} -eq 0 ]; then return; fi

    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "Missing packages; as root: apt-get install ${missing[*]}" >&2
            exit 2
        fi
        as_root=(sudo)
    fi
    echo "Installing ${missing[*]}" >&2
    local install=(env DEBIAN_FRONTEND=noninteractive apt-get install -qq -y --no-install-recommends)
    if ! { "${as_root[@]}" apt-get update -qq && "${as_root[@]}" "${install[@]}" "${missing[@]}"; } >&2; then
        echo "These packages could not be installed: ${missing[*]}" >&2
        exit 2
    fi
}
