#!/usr/bin/env bash
# The product built in a bare Debian of another release, by its compiler on its FFmpeg, without optimisation; it opens a
# sample card.
# usage, as root, in a clone: tests/install/build_in_debian.sh SUITE PACKAGE...     the packages that a build needs
set -euo pipefail
source "$(dirname "$0")/debian.sh"

enter_debian "$1"
install_inside "${@:2}"
mkdir "$debian/source"
git ls-files -z | xargs -0 cp --parents -t "$debian/source"
inside cmake -S /source -B /build -G Ninja -DCMAKE_BUILD_TYPE=None -DKY_TESTS=OFF -DKY_WERROR=ON >/dev/null
inside cmake --build /build
inside sh -c '. /etc/os-release; echo "$PRETTY_NAME, $(c++ --version | head -n 1), libavcodec $(pkg-config --modversion libavcodec):"'
inside /build/bin/make_card -q /card
opens_the_take /build/bin/kyhost
