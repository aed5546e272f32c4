# SPDX-License-Identifier: Apache-2.0
# Shared by ./run and ./test: packages, build, format check. To be sourced from the project's root.

BUILD_PACKAGES=(g++ cmake ninja-build libcli11-dev nlohmann-json3-dev
                libcpp-httplib-dev pkgconf)
TEST_PACKAGES=(libgtest-dev libbenchmark-dev clang-format)
EXTRA_PACKAGES=(chromium-headless-shell tshark zsh) # for what is left out where they are missing: 40 s to install
PACKAGING_PACKAGES=(debhelper dpkg-dev fakeroot lintian logrotate systemd)

say() {
    printf '\n== %s\n' "$*"
}

# Installs those of the named Debian packages that are missing.
need_packages() {
    local missing=() package
    for package in "$@"; do
        if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed'; then
            missing+=("$package")
        fi
    done
    [ "${#missing[@]}" -eq 0 ] && return 0
    say "installing ${missing[*]}"
    local root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || {
            echo "missing packages: ${missing[*]}; install them as root with apt-get install" >&2
            exit 1
        }
        root=(sudo)
    fi
    "${root[@]}" apt-get update -qq
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}" >/dev/null
}

# Of ninja's counted steps one for every ten percent, and everything else that it prints: for what is no terminal.
progress() {
    awk '!/^\[[0-9]+\/[0-9]+\]/ { print; fflush(); next }
         { split(substr($1, 2), step, "/"); tenth = int(10 * step[1] / (step[2] + 0))
           if (tenth > shown) { shown = tenth; print "  " $1; fflush() } }'
}

# Configures and builds a preset, or the named targets of it; through ccache where there is one. Without the packages of
# the tests it is the programs alone.
build_preset() {
    local preset=$1 begun=$SECONDS extra=()
    shift
    say "building ($preset)"
    if ! dpkg-query -W libgtest-dev libbenchmark-dev >/dev/null 2>&1; then
        extra=(-DDORVALD_TESTS=OFF -DDORVALD_BENCH=OFF)
    fi
    if command -v ccache >/dev/null; then
        extra+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    fi
    cmake --preset "$preset" "${extra[@]}" >/dev/null
    if [ -t 1 ]; then
        cmake --build --preset "$preset" ${1:+--target "$@"}
    else
        cmake --build --preset "$preset" ${1:+--target "$@"} | progress
    fi
    echo "  built in $((SECONDS - begun)) s"
}

test_preset() {
    local shown=()
    [ -t 1 ] && shown=(--progress)
    say "tests ($1)"
    ctest --preset "$1" -j "$(nproc)" --no-tests=error "${shown[@]}"
}

check_format() {
    say "format"
    git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror
    if git grep -L 'SPDX-License-Identifier: Apache-2.0' -- '*.cpp' '*.h' '*.def' '*.h.in' '*.cmake' '*CMakeLists.txt' '*.sh' | grep .; then
        echo "these begin without their licence line (SPDX-License-Identifier: Apache-2.0)" >&2
        return 1
    fi
}
