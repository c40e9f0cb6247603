#!/bin/sh
# packages_test.sh CASE PACKAGES README WORK ['NAME SECTION'...]: one case on the packages in the folder PACKAGES. NAME is one
# of those that are made where their dependencies are found.
set -eu
case=$1
packages=$2
readme=$3
work=$4
shift 4
found=$(printf '%s\n' "$@")
. "$(dirname "$0")/readme.sh"
not_run=77 # what ctest takes for a test that was not run

fail()
{
    echo "$*"
    exit 1
}

# The path of the one package of a name.
package()
{
    set -- "$packages/$1"_*.deb
    [ -f "$1" ] || fail "$1 is missing"
    [ $# -eq 1 ] || fail "more than one package: $*"
    echo "$1"
}

# Each name in turn, with the section that it belongs to.
names_and_sections()
{
    printf '%s\n' "$library libs" "liblintrix-dev libdevel" "lintrix math" "lintrix-doc doc" "$found" | sed '/^$/d'
}

is_made() { names_and_sections | grep -q "^$1 "; }

field() { dpkg-deb -f "$(package "$1")" "$2"; }

# has FIELD OF PACKAGE PATTERN
has()
{
    field "$1" "$2" | tr '\n' ' ' | grep -Eq -e "$3" || fail "$1, $2: '$(field "$1" "$2")' is not like '$3'"
}

library=$(basename "$packages"/liblintrix[0-9]*.deb | sed 's/_.*//')
version=$(field "$library" Version)

EachTellsWhatItIs()
{
    names_and_sections | while read -r name section; do
        has "$name" Section "^$section \$"
        has "$name" Maintainer '^[^<>]+ <[^ @]+@[^ @]+>'
        has "$name" Description '^double-precision linear algebra - [A-Za-z ]+  Lintrix has dense matrices'
        has "$name" Version '^[0-9]+\.[0-9]+\.[0-9]+-1'
    done
    has lintrix-doc Architecture '^all $'
    [ "$(names_and_sections | wc -l)" -eq "$(find "$packages" -maxdepth 1 -name '*.deb' | wc -l)" ] ||
        fail "not these: $(ls "$packages")"
}

TheyDependOnWhatTheyNeed()
{
    # The run path names the OpenMP build of OpenBLAS, so no other will do.
    for needed in libopenblas0-openmp libmetis5 libgomp1 'libstdc\+\+6 \(>= [0-9.]+\)' zlib1g 'libc6 \(>= [0-9.]+\)'; do
        has "$library" Depends "(^|, )$needed"
    done
    has liblintrix-dev Depends "^$library \(= $version\)"
    has lintrix Depends "$library \(= $version\)"
    has lintrix Depends 'libpng16-16'
    if is_made lintrix-mpi; then
        for needed in "$library \(= $version\)" libopenblas0-openmp openmpi-bin libopenmpi3 libmumps-; do
            has lintrix-mpi Depends "(^|, )$needed"
        done
    fi
    if is_made python3-lintrix; then
        for needed in "$library \(= $version\)" 'python3 \(>= 3\.[0-9]+\)' 'python3 \(<< 3\.[0-9]+\)' python3-numpy \
            python3-scipy; do
            has python3-lintrix Depends "(^|, )$needed"
        done
    fi
    dpkg-deb --ctrl-tarfile "$(package "$library")" | tar -xO ./shlibs | grep -Eq "^liblintrix [0-9.]+ $library \(>= " ||
        fail "$library does not tell other packages how to depend on it"
    dpkg-deb --ctrl-tarfile "$(package "$library")" | tar -xO ./triggers | grep -qx 'activate-noawait ldconfig' ||
        fail "$library does not have the loader's cache made anew"
}

EachFileIsInOnePackageAndBelongsToRoot()
{
    for deb in "$packages"/*.deb; do
        dpkg-deb -c "$deb" | awk '$1 !~ /^d/ { print $6 }' >>"$work/files"
        dpkg-deb -c "$deb" | awk '$2 != "root/root" || $1 ~ /^.....w|^........w/ { print; bad = 1 } END { exit bad }' |
            grep -v '^l' && fail "$deb has files that are not root's alone to change"
    done
    twice=$(sort "$work/files" | uniq -d)
    [ -z "$twice" ] || fail "in two packages: $twice"
}

EachHasItsLicenceAndItsChanges()
{
    names_and_sections | while read -r name section; do
        dpkg-deb --fsys-tarfile "$(package "$name")" >"$work/files.tar"
        tar -xOf "$work/files.tar" "./usr/share/doc/$name/copyright" >"$work/copyright"
        for licence in Expat 'Expat with exception for binaries' BSD-3-Clause BSD-3-Clause-pybind11; do
            grep -q "^License: $licence\$" "$work/copyright" || fail "$name, $section: $licence is not told"
        done
        # What is used is described, paragraph by paragraph, and no line is empty inside one.
        awk '/^$/ { in_text = 0 } /^License: / { in_text = 1; next } in_text && /^[^ A-Z]/ { exit 1 }' "$work/copyright" ||
            fail "$name: the copyright file is not of Debian's form"
        tar -xOf "$work/files.tar" "./usr/share/doc/$name/changelog.Debian.gz" | gzip -dc |
            grep -q "^lintrix ($version) " || fail "$name has no changelog of version $version"
    done
}

UnpackedTheyServeAProgram()
{
    for deb in "$packages"/*.deb; do dpkg-deb -x "$deb" "$work/unpacked"; done
    libraries=$(dirname "$(find "$work/unpacked" -name 'liblintrix.so.*' | head -n 1)")
    write_project "$work/project"
    PKG_CONFIG_PATH=$libraries/pkgconfig
    LD_LIBRARY_PATH=$libraries
    export PKG_CONFIG_PATH LD_LIBRARY_PATH
    # shellcheck disable=SC2046 # one word a flag
    c++ -std=c++20 "$work/project/my_program.cpp" $(pkg-config --cflags --libs lintrix) -o "$work/by_pkg_config"
    check_program "$work/by_pkg_config"
    cmake -G Ninja -S "$work/project" -B "$work/build" "-DCMAKE_PREFIX_PATH=$work/unpacked/usr"
    cmake --build "$work/build"
    check_program "$work/build/my_program"
    unset LD_LIBRARY_PATH
    "$work/unpacked/usr/bin/lintrix" --version
    for file in share/man/man1/lintrix.1.gz share/man/man1/lintrix-solve.1.gz \
        share/bash-completion/completions/lintrix; do
        [ -f "$work/unpacked/usr/$file" ] || fail "$file is missing"
    done
    if is_made lintrix-mpi; then
        OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 "$work/unpacked/usr/bin/lintrix-mpi" --version
        for file in share/man/man1/lintrix-mpi.1.gz share/man/man1/lintrix-mpi-solve.1.gz \
            share/bash-completion/completions/lintrix-mpi; do
            [ -f "$work/unpacked/usr/$file" ] || fail "$file is missing"
        done
    fi
    if is_made python3-lintrix; then
        PYTHONPATH=$(dirname "$(find "$work/unpacked" -type d -path '*/dist-packages/lintrix')")
        export PYTHONPATH
        check_python
    fi
    [ -n "$(find "$work/unpacked/usr/share/doc" -name manual.md)" ] || fail "the manual is missing"
}

LintianFindsNoFault()
{
    command -v lintian >/dev/null || {
        echo "not run: lintian is not installed"
        exit $not_run
    }
    # Not for Debian's archive, so that no bug of its asks for the packages.
    lintian --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs "$packages"/*.deb
}

rm -rf "$work"
mkdir -p "$work"
"$case"
