#!/bin/sh
# components_test.sh SOURCE WORK: a component that has files is a package, and one that has none is not.
set -eu
source=$1
work=$2
here=$(dirname "$0")

# made WITH_PYTHON: the names of the packages, on one line.
made()
{
    rm -rf "$work"
    cmake -G Ninja -S "$here/stand_in" -B "$work" "-DLINTRIX_SOURCE=$source" "-DWITH_PYTHON=$1" >"$work.log" 2>&1
    cmake --build "$work" --target packages >>"$work.log" 2>&1
    for deb in "$work"/packages/*.deb; do dpkg-deb -f "$deb" Package; done | paste -sd ' '
}

expect()
{
    if [ "$1" != "$2" ]; then
        cat "$work.log"
        echo "'$1' is not '$2'"
        exit 1
    fi
}

expect "$(made OFF)" 'liblintrix0.1'
expect "$(made ON)" 'liblintrix0.1 python3-lintrix'
python=$(echo "$work"/packages/python3-lintrix_*.deb)
expect "$(dpkg-deb -f "$python" Section)" python
expect "$(dpkg-deb -f "$python" Depends)" 'liblintrix0.1 (= 0.1.0-1), python3, python3-numpy, python3-scipy'
