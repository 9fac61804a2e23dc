#!/bin/sh
# Checks tesker-desktop against the programs of real packages, in a root of their own: what import
# makes of their entries against what GLib makes of them, and what their desktop makes of an export.
# Not a test of every day: the root takes some 1.5 GB and a network. It is kept, for the next time.
#
# usage: real_packages.sh PROGRAMS ROOT       as root; PROGRAMS is build/release/bin
set -eu

if [ $# -ne 2 ]; then
  sed -n 's/^# usage: /usage: /p' "$0" >&2
  exit 2
fi
programs=$1
root=$2
here=$(dirname "$0")
packages="mousepad gimp evince vlc firefox-esr libreoffice-writer xterm
  python3-gi gir1.2-glib-2.0 desktop-file-utils shared-mime-info libglib2.0-bin"

if [ ! -e "$root/.filled" ]; then
  debootstrap --variant=minbase bookworm "$root"
  printf '#!/bin/sh\nexit 101\n' >"$root/usr/sbin/policy-rc.d"
  chmod +x "$root/usr/sbin/policy-rc.d"
  # shellcheck disable=SC2086 # a list of packages
  DEBIAN_FRONTEND=noninteractive chroot "$root" apt-get install -y -q --no-install-recommends $packages
  touch "$root/.filled"
fi

rm -rf "$root/opt/tesker"
mkdir -p "$root/opt/tesker"
for program in ToolFinder tesker-apps tesker-desktop tesker-make-sample; do
  cp "$programs/$program" "$root/opt/tesker/"
done
cp "$here/world.py" "$here/real_packages.py" "$root/opt/tesker/"
# shellcheck disable=SC2016 # the inner shell expands its own arguments
exec unshare --mount sh -c '
  mount -t proc proc "$1/proc"
  exec chroot "$1" env -i HOME=/root LC_ALL=C PATH=/opt/tesker:/usr/bin:/bin python3 -B /opt/tesker/real_packages.py' sh "$root"
