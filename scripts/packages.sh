# The Debian packages that the system needs, and install_packages, which adds those that are missing. To be sourced.

# What it is built with.
BUILD_PACKAGES=(g++ cmake ninja-build libboost-dev libboost-program-options-dev libexpat1-dev libdeflate-dev
                libpugixml-dev nlohmann-json3-dev libre-dev libssl-dev libsqlite3-dev libcurl4-openssl-dev
                pkg-config)
# What tablets of other machines sign in with: the home's certificates, and codes for their cameras.
LAN_PACKAGES=(openssl qrencode iproute2)
# What the tests need beside that.
TEST_PACKAGES=(libgtest-dev libgmock-dev clang libclang-rt-14-dev lld "${LAN_PACKAGES[@]}")
# What real calls are made with, and the phones that the tests call with.
CALL_PACKAGES=(kamailio kamailio-extra-modules kamailio-sqlite-modules rtpengine-daemon iproute2)
CALL_TEST_PACKAGES=("${CALL_PACKAGES[@]}" baresip-core baresip-ffmpeg linphone-cli sip-tester)
# What the tests in browsers need. npm is a package to itself in Debian, and part of nodejs elsewhere.
WEB_TEST_PACKAGES=(nodejs chromium)
command -v npm >/dev/null || WEB_TEST_PACKAGES+=(npm)
# What counting the instructions of operations needs beside what it is built with.
GUARD_PACKAGES=(libbenchmark-dev valgrind)
# What bench/run needs beside what the system is built with, and the peers that it compares with, as PROGRAM:PACKAGE.
BENCH_PACKAGES=(libbenchmark-dev wrk python3)
BENCH_PEERS=(nginx:nginx-light kamailio:kamailio mosquitto:mosquitto)

# Where maintainer scripts look for programs: first for those that leave the services of these packages stopped.
LEFT_STOPPED="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/left-stopped"

# missing_packages PACKAGE...: those that are not installed, one a line.
missing_packages() {
    local package
    for package in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || echo "$package"
    done
}

# as_root COMMAND...: runs it with the rights that installing needs. Asks for a password only where somebody can type it.
as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif ! command -v sudo >/dev/null; then
        echo "Installing needs root and there is no sudo. As root, run: $*" >&2
        return 1
    elif [ -t 0 ]; then
        sudo "$@"
    else
        sudo -n "$@"
    fi
}

# install_packages PACKAGE...: returns at once when all are there.
install_packages() {
    if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
        echo "This is no Debian system; what is installed is not looked at. These Debian packages are needed: $*" >&2
        return 0
    fi
    local missing
    mapfile -t missing < <(missing_packages "$@")
    [ "${#missing[@]}" -ne 0 ] || return 0
    echo "Installing ${missing[*]}"
    if ! { as_root apt-get update -q && as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get -o DPkg::Path="$LEFT_STOPPED:/usr/local/sbin:/usr/sbin:/usr/bin:/sbin:/bin" \
        install -q -y --no-install-recommends "${missing[@]}"; }; then
        echo "These packages are missing and could not be installed: ${missing[*]}" >&2
        return 1
    fi
}

# install_npm_packages FOLDER: what its package-lock.json names, into its node_modules. Returns at once when all is there.
install_npm_packages() {
    cmp -s "$1/package-lock.json" "$1/node_modules/.lock" 2>/dev/null && return 0
    npm ci --prefix "$1" --ignore-scripts --no-audit --no-fund --loglevel=error && cp "$1/package-lock.json" "$1/node_modules/.lock"
}

# install_if_possible PACKAGE...: for what can be done without. Says nothing where installing is not possible at all:
# whoever misses a program names it.
install_if_possible() {
    command -v apt-get >/dev/null || return 0
    [ "$(id -u)" -eq 0 ] || { command -v sudo >/dev/null && { [ -t 0 ] || sudo -n true 2>/dev/null; }; } || return 0
    install_packages "$@" || true
}
