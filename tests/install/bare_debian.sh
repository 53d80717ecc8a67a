#!/usr/bin/env bash
# A package in a bare Debian 12, which has nothing but what the package depends on: it opens a sample card, and a tree
# installed under /opt/x does the same after the package is gone.
# usage, as root: tests/install/bare_debian.sh BUILD_DIR PACKAGE.deb     needs debootstrap
set -euo pipefail
build=$(realpath "$1") package=$(realpath "$2")
root=$(mktemp -d)
leave() {
  mountpoint -q "$root/proc" && umount "$root/proc"
  rm -rf --one-file-system "$root"
}
trap leave EXIT

inside() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive "$@"; }
take=/card/BPAV/CLPR/632_0001_01/632_0001_01.SMI
opens_the_take() { inside "$1" info "$take" | grep -e '^video 0:.* 103 frames' -e '^audio 0:.* 197760 samples'; }

debootstrap --variant=minbase bookworm "$root" >"$root.log" || { tail "$root.log"; exit 1; }
rm "$root.log"
mountpoint -q "$root/proc" || mount -t proc proc "$root/proc"

cp "$package" "$root/package.deb"
inside apt-get install -y -qq --no-install-recommends /package.deb >/dev/null
inside /usr/libexec/kyxdcam/make_card -q /card
echo "The package $(inside dpkg-query -W -f '${Package} ${Version}' kyxdcam):"
opens_the_take kyhost

inside apt-get remove -y -qq kyxdcam >/dev/null
test ! -e "$root/usr/bin/kyhost"
DESTDIR=$root cmake --install "$build" --prefix /opt/x >/dev/null
echo "A tree under /opt/x:"
opens_the_take /opt/x/bin/kyhost
