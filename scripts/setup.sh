# Shared by ./run and ./test: packages, build, format check. To be sourced from the project's root.

BUILD_PACKAGES=(g++ cmake ninja-build libcli11-dev nlohmann-json3-dev)
TEST_PACKAGES=(libgtest-dev libbenchmark-dev clang-format)

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

# Configures and builds a preset, or the named targets of it.
build_preset() {
    local preset=$1
    shift
    say "building ($preset)"
    local extra=()
    if [ "$preset" = release ] && ! dpkg-query -W libgtest-dev libbenchmark-dev >/dev/null 2>&1; then
        extra=(-DDORVALD_TESTS=OFF -DDORVALD_BENCH=OFF)
    else
        extra=(-DDORVALD_TESTS=ON)
        [ "$preset" = release ] && extra+=(-DDORVALD_BENCH=ON)
    fi
    cmake --preset "$preset" "${extra[@]}" >/dev/null
    cmake --build --preset "$preset" ${1:+--target "$@"} -- --quiet
}

check_format() {
    say "format"
    git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror
}
