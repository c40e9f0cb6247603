#!/bin/sh
# Runs in the clean root: installs the packages beside it, uses them as README says, purges them.
set -eu
cd "$(dirname "$0")"
readme=$PWD/README.md
. ./readme.sh
export DEBIAN_FRONTEND=noninteractive

apt-get install -y --no-install-recommends ./*.deb
lintrix --version | grep -x 'BLAS threading: OpenMP'

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
setpriv --reuid=65534 --regid=65534 --clear-groups lintrix solve /tmp/a.mtx | grep -x 'status            accurate'

dpkg-query -W -f='${Package}\n' '*lintrix*' >installed
[ "$(wc -l <installed)" -ge 4 ]
xargs apt-get purge -y <installed
left=$(find / -xdev -name '*lintrix*' ! -path "$PWD" ! -path "$PWD/*")
[ -z "$left" ] || { echo "left behind: $left"; exit 1; }
[ -z "$(dpkg-query -W '*lintrix*' 2>/dev/null)" ]
if ldconfig -p | grep lintrix; then exit 1; fi
echo 'Nothing of the packages is left.'
