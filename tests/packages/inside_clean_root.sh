#!/bin/sh
# Runs in the clean root: installs the packages beside it, uses them as README says, purges them.
set -eu
cd "$(dirname "$0")"
readme=$PWD/README.md
. ./readme.sh
export DEBIAN_FRONTEND=noninteractive

apt-get install -y --no-install-recommends ./*.deb
lintrix --version | grep -x 'BLAS threading: OpenMP'
if dpkg -s python3-lintrix >/dev/null 2>&1; then
    check_python
fi

apt-get install -y --no-install-recommends g++ cmake make pkgconf
write_project project
# shellcheck disable=SC2046 # one word a flag
c++ -std=c++20 project/my_program.cpp $(pkg-config --cflags --libs lintrix) -o by_pkg_config
check_program ./by_pkg_config
cmake -S project -B build
cmake --build build
check_program build/my_program

# As another user than root, and under the other user's own folder.
printf '%%%%MatrixMarket matrix coordinate real symmetric\n2 2 3\n1 1 4\n2 1 1\n2 2 3\n' >/tmp/a.mtx
as_another_user() { setpriv --reuid=65534 --regid=65534 --clear-groups env HOME=/tmp "$@"; }
as_another_user lintrix solve /tmp/a.mtx | grep -x 'status            accurate'
if dpkg -s lintrix-mpi >/dev/null 2>&1; then
    as_another_user mpirun --oversubscribe -np 2 lintrix-mpi solve /tmp/a.mtx >said
    grep -x 'status            accurate' said
    grep -x 'ranks             2' said
fi

dpkg-query -W -f='${Package}\n' '*lintrix*' >installed
[ "$(wc -l <installed)" -eq "$(ls ./*.deb | wc -l)" ]
xargs apt-get purge -y <installed
left=$(find / -xdev -name '*lintrix*' ! -path "$PWD" ! -path "$PWD/*")
[ -z "$left" ] || { echo "left behind: $left"; exit 1; }
[ -z "$(dpkg-query -W '*lintrix*' 2>/dev/null)" ]
if ldconfig -p | grep lintrix; then exit 1; fi
echo 'Nothing of the packages is left.'
