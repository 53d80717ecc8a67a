# A bare Debian in a folder, for scripts that source this; as root, needs debootstrap. Gone when the script ends.
debian=$(mktemp -d)
leave_debian() {
  ! mountpoint -q "$debian/proc" || umount "$debian/proc"
  rm -rf --one-file-system "$debian" "$debian.log"
}
trap leave_debian EXIT

# enter_debian SUITE: makes it.
enter_debian() {
  debootstrap --variant=minbase "$1" "$debian" >"$debian.log" || { tail "$debian.log"; exit 1; }
  mountpoint -q "$debian/proc" || mount -t proc proc "$debian/proc"
}
quiet_apt=(apt-get -y -qq -o Dpkg::Use-Pty=0)
inside() { chroot "$debian" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive "$@"; }
install_inside() { inside "${quiet_apt[@]}" install --no-install-recommends "$@" >/dev/null; }

take=/card/BPAV/CLPR/632_0001_01/632_0001_01.SMI
# opens_the_take KYHOST: shows that it finds all of it.
opens_the_take() { inside "$1" info "$take" | grep -e '^video 0:.* 103 frames' -e '^audio 0:.* 197760 samples'; }
