#!/usr/bin/env bash
# Builds FFTW, from the sources of Debian's package, with the vector units of this processor: a
# second yardstick beside the packaged build, which knows SSE2 and AVX alone.
#
# usage: bench/native_fftw.sh FOLDER
#
# Prints the path of the shared library in FOLDER, which is kept and used again as long as processor
# and settings stay the same. Needs apt-get, dpkg-dev, a C compiler and make; sources are fetched
# with lists of packages of their own in FOLDER, the system's are left as they are. Exits with 1 and
# a line that says why where it cannot.
set -euo pipefail
export LC_ALL=C.UTF-8

folder=$(readlink -m "${1:?usage: bench/native_fftw.sh FOLDER}")
jobs=${LYRA_JOBS:-$(nproc)}

die() {
    printf 'native_fftw.sh: %s\n' "$*" >&2
    exit 1
}

flags=$(grep -m 1 '^flags' /proc/cpuinfo 2>/dev/null || true)
has() { [[ " $flags " == *" $1 "* ]]; }
has avx2 || die "this processor has no AVX2: Debian's build is all there is"

# AVX without the second version would cost planning time and win nowhere beside AVX2. The compiler
# may use the whole processor for the rest.
settings=(--enable-shared --disable-static --disable-fortran --disable-doc --enable-threads
    --with-combined-threads --enable-sse2 --enable-avx2 --enable-fma)
if has avx512f && has avx512dq && has avx512vl; then settings+=(--enable-avx512); fi
optimization="-O3 -march=native -fomit-frame-pointer -fstrict-aliasing"
model=$(sed -n 's/^model name\s*: //p' /proc/cpuinfo | head -n 1)
version=$(dpkg-query -W -f '${source:Version}' libfftw3-double3 2>/dev/null) ||
    die "Debian's FFTW (libfftw3-double3) is not installed"
library=$folder/lib/libfftw3.so.3
stamp="$version; $model; ${CC:-gcc} $(${CC:-gcc} -dumpfullversion); ${settings[*]}; $optimization"

if [[ -e $library && $(cat "$folder/stamp" 2>/dev/null) == "$stamp" ]]; then
    echo "$library"
    exit 0
fi

for tool in apt-get dpkg-source make "${CC:-gcc}"; do
    command -v "$tool" >/dev/null || die "no $tool here"
done
rm -rf "$folder"
mkdir -p "$folder/apt/parts" "$folder/apt/lists/partial" "$folder/apt/cache/archives/partial"
exec 3>&1 4>&2 >"$folder/log" 2>&1

# The system's own sources of packages, asked for sources of programs.
for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.{list,sources}; do
    [[ -e $file ]] || continue
    sed -E 's/^Types:.*/Types: deb-src/; s/^deb([ \t])/deb-src\1/; /^Architectures:/d' \
        "$file" >"$folder/apt/parts/${file##*/}"
done
apt=(apt-get -q -o Acquire::Retries=3 -o APT::Sandbox::User= -o Dir::Etc::sourcelist=/dev/null
    -o "Dir::Etc::sourceparts=$folder/apt/parts" -o "Dir::State::lists=$folder/apt/lists"
    -o "Dir::Cache=$folder/apt/cache")
failed() {
    printf 'native_fftw.sh: %s (%s)\n' "$1" "$folder/log" >&4
    exit 1
}
# Other archives of the system may have no sources.
"${apt[@]}" update || true
(cd "$folder" && "${apt[@]}" source --download-only "fftw3=$version") ||
    failed "the source package fftw3 $version cannot be fetched"
(cd "$folder" && dpkg-source --no-check -x fftw3_*.dsc source) ||
    failed "the source package of FFTW cannot be unpacked"
mkdir "$folder/build"
cd "$folder/build"
# Bound to itself: the packaged build may be in the same process.
../source/configure --prefix="$folder" "${settings[@]}" CFLAGS="$optimization" \
    LDFLAGS=-Wl,-Bsymbolic || failed "FFTW cannot be configured"
make -j "$jobs" || failed "FFTW cannot be built"
make install || failed "FFTW cannot be installed"
rm -rf "$folder/source" "$folder/build" "$folder/apt" "$folder"/fftw3_*
echo "$stamp" >"$folder/stamp"
echo "$library" >&3
