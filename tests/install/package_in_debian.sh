#!/usr/bin/env bash
# A package in a bare Debian 12, which has nothing but what the package depends on: it opens a sample card, and a tree
# installed under /opt/x does the same after the package is gone.
# usage, as root: tests/install/package_in_debian.sh BUILD_DIR PACKAGE.deb
set -euo pipefail
source "$(dirname "$0")/debian.sh"

enter_debian bookworm
cp "$2" "$debian/package.deb"
install_inside /package.deb
inside /usr/libexec/kyxdcam/make_card -q /card
inside dpkg-query -W -f 'The package ${Package} ${Version}:\n' kyxdcam
opens_the_take kyhost

inside "${quiet_apt[@]}" remove kyxdcam >/dev/null
test ! -e "$debian/usr/bin/kyhost"
DESTDIR=$debian cmake --install "$1" --prefix /opt/x >/dev/null
echo "A tree under /opt/x:"
opens_the_take /opt/x/bin/kyhost
