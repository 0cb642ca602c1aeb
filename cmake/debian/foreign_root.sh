#!/usr/bin/env bash
# foreign_root.sh ARCHITECTURE FOLDER PACKAGE...
#
# Unpacks Debian packages of another architecture, and what they depend on, into FOLDER, to build
# with their libraries and to run programs by emulation. Nothing is configured, and this machine's
# own packages and list of architectures stay as they are; root is not needed. FOLDER/var/lib/dpkg
# lists the files with FOLDER in front, so that
#
#     DPKG_ADMINDIR=FOLDER/var/lib/dpkg dpkg-shlibdeps -lFOLDER/usr/lib/...
#
# finds which packages a program for that architecture depends on.
set -euo pipefail
export LC_ALL=C.UTF-8

if (($# < 3)); then
    echo "usage: foreign_root.sh ARCHITECTURE FOLDER PACKAGE..." >&2
    exit 2
fi
architecture=$1
mkdir -p "$2"
root=$(readlink -f "$2")
shift 2

apt_folder=$root/var/apt
database=$root/var/lib/dpkg
mkdir -p "$apt_folder"/{lists,archives}/partial "$database"/{info,updates}
: >"$apt_folder/status"
options=(-q -y -o Dir::State="$apt_folder" -o Dir::State::status="$apt_folder/status"
    -o Dir::Cache="$apt_folder" -o APT::Architecture="$architecture"
    -o APT::Architectures="$architecture" -o APT::Install-Recommends=false -o APT::Sandbox::User=
    -o Acquire::Retries=3)
apt-get "${options[@]}" update
apt-get "${options[@]}" --download-only install "$@"

echo 1 >"$database/info/format"
echo "$architecture" >"$database/arch"
: >"$database/status"
for package in "$apt_folder"/archives/*.deb; do
    name=$(dpkg-deb -f "$package" Package)
    # The cross compiler has headers of its own, which these would come before.
    [[ $name != libc6-dev && $name != linux-libc-dev ]] || continue
    [[ $(dpkg-deb -f "$package" Multi-Arch) != same ]] || name+=:$architecture
    dpkg-deb -x "$package" "$root"
    dpkg-deb --fsys-tarfile "$package" | tar -t | sed -e 's,^\.,'"$root"',' -e 's,/$,,' \
        >"$database/info/$name.list"
    dpkg-deb -e "$package" "$database/control"
    for file in shlibs symbols; do
        [[ ! -e $database/control/$file ]] ||
            mv "$database/control/$file" "$database/info/$name.$file"
    done
    rm -r "$database/control"
    printf '%s\nStatus: install ok installed\n\n' "$(dpkg-deb -f "$package")" >>"$database/status"
done
rm -r "$apt_folder"
