# shellcheck shell=sh disable=SC2034 # lists of packages are read by those that source this
# Sourced by ./quickstart, ./test and .ci/run, at the root of the tree: what the machine must have, and how the
# release preset is configured and built. Plain POSIX shell.

# Debian's names of the packages that the whole tree needs: library, command, tests, benchmarks, documents.
lintrix_packages="g++ cmake ninja-build pkgconf libopenblas-openmp-dev libmetis-dev zlib1g-dev libpng-dev \
libcli11-dev libfmt-dev libgtest-dev libgmock-dev libbenchmark-dev libeigen3-dev python3"

# Of what is built and tested where it is found: the Python package; Debian packages, manual pages and completion; lintrix-mpi.
lintrix_python_packages="python3-dev pybind11-dev python3-numpy python3-scipy python3-pytest"
lintrix_packaging_packages="dpkg-dev file mandoc zsh"
lintrix_mpi_packages="openmpi-bin libopenmpi-dev libmumps-dev"

say() { printf '%s\n' "$*"; }

give_up()
{
    say "$0: $*" >&2
    exit 1
}

# Prints those of the given packages that are not installed.
missing_packages()
{
    for package in "$@"; do
        status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null) || status=absent
        if [ "$status" != installed ]; then printf ' %s' "$package"; fi
    done
}

# apt-get with the rights it needs. sudo asks for a password where one is wanted.
apt_get()
{
    if [ "$(id -u)" -eq 0 ]; then
        DEBIAN_FRONTEND=noninteractive apt-get "$@"
    else
        sudo env DEBIAN_FRONTEND=noninteractive apt-get "$@"
    fi
}

apt_install() { apt_get install -y --no-install-recommends "$@"; }

# Package lists may be absent, or so old that the mirror no longer has the files they name.
install_packages()
{
    if ! apt-get install --simulate "$@" >/dev/null 2>&1; then
        apt_get update || return
        apt_install "$@"
    else
        apt_install "$@" || { apt_get update && apt_install "$@"; }
    fi
}

# Has the given packages installed, or tells what to do. Where they all are, it says and does nothing.
require_packages()
{
    if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
        require_tools "$@"
        return
    fi
    missing=$(missing_packages "$@")
    if [ -z "$missing" ]; then return; fi
    if [ "$(id -u)" -ne 0 ] && ! command -v sudo >/dev/null; then
        give_up "these packages are missing, and neither root nor sudo is at hand. As root:
    apt-get install$missing"
    fi
    say "Installing from Debian:$missing"
    # shellcheck disable=SC2086 # one word a package
    install_packages $missing || give_up "the packages could not be installed:$missing"
}

# Has the given packages installed where that can be done; else it says so, and what needs them is left.
want_packages()
{
    (require_packages "$@") || say "Going on without them; what needs them is neither built nor tested."
}

# On a system without Debian's packages: tell what is needed, and go on if the tools are there. CMake tells which
# library is not.
require_tools()
{
    say "This is no Debian system, so nothing is installed here. Needed, by Debian's names: $*"
    for tool in c++ cmake ninja pkg-config; do
        command -v "$tool" >/dev/null || give_up "$tool was not found"
    done
}

# configure PRESET [CMAKE-OPTION...]
configure() { cmake --preset "$@"; }

# build PRESET [OPTION...]: with as many jobs as there are processors for this process.
build()
{
    NINJA_STATUS="[%p %f/%t] " cmake --build --preset "$@" --parallel "$(nproc)"
}
