#!/bin/sh
# clean_root_test.sh PACKAGES README WORK: Debian 12 anew, from the mirror that apt uses here; in it the packages are
# installed, used and removed. Ends with 77, which ctest takes for not run, where no such root can be had.
set -eu
packages=$1
readme=$2
work=$3
here=$(cd "$(dirname "$0")" && pwd)

not_run()
{
    echo "not run: $*"
    exit 77
}

# Where apt would fetch a package of Debian's own from.
mirror()
{
    apt-get download --print-uris base-files 2>/dev/null | sed -n "s|^'\(.*\)/pool/.*|\1|p" | head -n 1
}

command -v mmdebstrap >/dev/null || not_run "mmdebstrap is not installed"
site=$(mirror)
rm -rf "$work"
mkdir -p "$work/lintrix_test"
cp "$packages"/*.deb "$readme" "$here/readme.sh" "$here/inside_clean_root.sh" "$work/lintrix_test"

begun='The clean root stands.'
# The shell of the hook puts in the folder of the root.
# shellcheck disable=SC2016
if mmdebstrap --variant=apt --format=null --customize-hook="copy-in $work/lintrix_test /srv" \
    --customize-hook="echo '$begun'" --customize-hook='chroot "$1" sh /srv/lintrix_test/inside_clean_root.sh' \
    bookworm /dev/null "${site:-http://deb.debian.org/debian}" >"$work/log" 2>&1; then
    grep -qx 'Nothing of the packages is left.' "$work/log" || {
        cat "$work/log"
        exit 1
    }
    sed -n "/^$begun/,\$p" "$work/log"
else
    cat "$work/log"
    grep -qx "$begun" "$work/log" || not_run "no root could be made (see above)"
    exit 1
fi
