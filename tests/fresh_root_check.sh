#!/usr/bin/env bash
# fresh_root_check.sh packages|readme|python
#
# Tries in a new Debian 12, of which nothing but the base system is there, what users do first:
#
#   packages   installs the packages of ./dev packages, runs lyr-fft, and builds and runs programs in
#              C, C++ and Fortran against them, by pkg-config and by CMake; removes everything again
#   readme     clones this repository's last commit and does what README says, in its order: its two
#              commands, and the first program after each; then counts the tests
#   python     clones it and installs the Python package as docs/python.md says; then draws the
#              example's picture and runs the tests of SciPy and NumPy on it
#
# Needs root, the network and mmdebstrap, some gigabytes under TMPDIR, and for the last two minutes
# of building (LYRA_JOBS as for ./dev).
set -euo pipefail
export LC_ALL=C.UTF-8

top=$(dirname "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")")
task=${1:-}
case $task in
packages | readme | python) ;;
*)
    echo "usage: fresh_root_check.sh packages|readme|python" >&2
    exit 2
    ;;
esac
[[ $(id -u) == 0 ]] || { echo "fresh_root_check.sh: root is needed" >&2; exit 2; }

say() {
    printf '==> %s\n' "$*"
}

fresh=$(mktemp -d)
trap 'rm -rf --one-file-system "$fresh"' EXIT
root=$fresh/root
log=$fresh/log

# Run a command in the new system. Its mounts and its processes end with it.
inside() {
    # shellcheck disable=SC2016 # expanded by the inner shell
    unshare --mount --pid --fork --kill-child sh -c '
        mount -t proc proc "$0/proc" && mount -t sysfs -o ro sysfs "$0/sys" &&
            exec chroot "$0" env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
                DEBIAN_FRONTEND=noninteractive ${LYRA_JOBS:+LYRA_JOBS="$LYRA_JOBS"} "$@"
    ' "$root" "$@"
}

# The same, with its output shown only when it fails.
quietly() {
    inside "$@" >"$log" 2>&1 || { tail -n 60 "$log" >&2; echo "failed: $*" >&2; exit 1; }
}

# expect WORDS COMMAND...: what a command prints must hold the words.
expect() {
    local words=$1 output
    shift
    output=$(inside "$@")
    [[ $output == *"$words"* ]] || {
        printf 'not printed by %s: %s\nprinted:\n%s\n' "$*" "$words" "$output" >&2
        exit 1
    }
}

new_system() {
    say "a new Debian 12"
    mmdebstrap --quiet --variant=minbase --include="$1" bookworm "$root"
    cp -L /etc/resolv.conf "$root/etc/resolv.conf"
}

install() {
    quietly apt-get -q -y --no-install-recommends install "$@"
}

# The file of a package, as the new system sees it.
file_of() {
    local file
    for file in "$root/packages/$1"_*.deb; do echo "${file#"$root"}"; done
}

check_packages() {
    local architecture spectrum='1: +0.707 -0.707i' language program
    architecture=$(dpkg --print-architecture)
    new_system ca-certificates
    mkdir "$root/packages"
    cp "$top"/build/packages/*_"$architecture".deb "$root/packages"
    cp -r "$top/examples" "$top/tests/consumers" "$root/root"
    quietly apt-get -q update

    say "the library and the tool"
    install "$(file_of liblyra-fft2)" "$(file_of liblyra-fftf2)" "$(file_of lyra-fft-tools)" \
        "$(file_of lyra-fftw3)"
    inside lyr-fft info
    expect ok lyr-fft verify ocf1024
    expect ok lyr-fft verify --float ocf1024
    expect libLYRA_fft.so.2 ldconfig -p
    expect libLYRA_fftf.so.2 ldconfig -p

    say "C by pkg-config"
    # shellcheck disable=SC2016 # expanded inside
    local by_pkgconf='cd /root && cc examples/first.c $(pkg-config --cflags --libs lyra_fft) -o c'
    install "$(file_of liblyra-fft-dev)" gcc libc6-dev pkgconf
    quietly sh -c "$by_pkgconf"
    expect "$spectrum" /root/c

    say "C++ and Fortran by pkg-config"
    install g++ gfortran
    # shellcheck disable=SC2016
    quietly sh -c 'cd /root && g++ examples/first.cpp -o cxx \
        $(pkg-config --cflags --libs lyra_fft) &&
        gfortran -I "$(pkg-config --variable=fmoddir lyra_fft)" examples/first.f90 -o fortran \
            $(pkg-config --cflags --libs lyra_fft) &&
        gfortran examples/entry_points.f90 -o entry_points $(pkg-config --libs lyra_fft)'
    for program in cxx fortran entry_points; do expect "$spectrum" "/root/$program"; done

    say "C, C++ and Fortran by CMake"
    install cmake make
    for language in C CXX Fortran; do
        quietly sh -c "cd /root && cmake -S consumers -B $language -DLANGUAGES=$language \
            -DEXAMPLES=/root/examples && cmake --build $language"
        for program in lyra_fft lyra_fft_static; do
            expect "$spectrum" "/root/$language/${language,,}_$program"
        done
    done

    if [[ -n $(ls "$root"/packages/python3-lyra-fft_* 2>/dev/null) ]]; then
        say "Python"
        install "$(file_of python3-lyra-fft)" python3-matplotlib python3-scipy
        expect 1.0 python3 -c 'import lyra_fft; print(lyra_fft.irfft(lyra_fft.rfft([1, 2, 3]), 3)[0])'
        quietly sh -c 'cd /root && python3 examples/spectrogram.py picture.png'
        expect_picture /root/picture.png
        quietly python3 -c 'import lyra_fft, scipy.fft
scipy.fft.set_global_backend(lyra_fft.scipy_backend)
scipy.fft.fft([1, 2, 3])
assert lyra_fft.plan_cache_info()["misses"] == 1'
        quietly apt-get -q -y purge python3-lyra-fft
    fi

    say "removing"
    quietly apt-get -q -y purge liblyra-fft2 liblyra-fftf2 liblyra-fft-dev lyra-fftw3 lyra-fft-tools
    if inside find /usr /etc /var/lib/dpkg -iname '*lyr[a_-]*' | grep .; then
        echo "left behind by the packages" >&2
        exit 1
    fi
}

# commands_under FILE HEADING: the commands there, without their comments.
commands_under() {
    # shellcheck disable=SC2016 # marks of code
    sed '/^```/,/^```/d' "$top/$1" |
        sed -n "/^## $2/,/^## /s/^    \([^#]*[^# ]\) *\(#.*\)\?$/\1/p"
}

in_clone() {
    inside sh -c 'cd /root/lyra && exec "$@"' sh "$@"
}

tests_of() {
    in_clone ctest --test-dir "$1" -N | sed -n 's/^Total Tests: //p'
}

# What a visitor has: the sources, and nothing installed.
new_system_with_clone() {
    new_system git,ca-certificates
    git -C "$top" bundle create -q "$root/root/lyra.bundle" HEAD
    quietly git clone -q /root/lyra.bundle /root/lyra
}

expect_picture() {
    [[ $(head -c 4 "$root$1" | tail -c 3) == PNG ]] || { echo "no picture: $1" >&2; exit 1; }
}

check_readme() {
    local command compile count
    new_system_with_clone
    compile=$(commands_under README.md "A first program")
    [[ $compile == cc*./first ]] || { echo "README has another first program" >&2; exit 1; }
    while read -r command; do
        say "$command"
        # shellcheck disable=SC2086 # words
        time in_clone $command </dev/null
        say "${compile//$'\n'/; }"
        in_clone rm -f first
        expect "1: +0.707 -0.707i" sh -ec "cd /root/lyra; $compile"
    done < <(commands_under README.md "Two commands")
    expect_picture /root/lyra/build/demo/spectrum.png

    say "as many tests as where everything was there before"
    quietly sh -c 'cd /root/lyra && cmake --preset release -B /root/second \
        -DLYRA_BUILD_PYTHON=ON -DPython3_EXECUTABLE=/usr/bin/python3'
    count=$(tests_of build)
    say "$count tests"
    ((count == $(tests_of /root/second)))
}

check_python() {
    local command suite modules python=environment/bin/python
    new_system_with_clone
    quietly apt-get -q update
    while read -r command; do
        [[ $command != *build/packages/* ]] || continue  # those are tried with the packages
        say "$command"
        command=${command/apt install/apt-get -q -y --no-install-recommends install}
        # shellcheck disable=SC2086 # words
        time quietly sh -ec 'cd /root/lyra; "$@"' sh $command </dev/null
    done < <(commands_under docs/python.md Installing)

    say "the example"
    install python3-matplotlib python3-scipy python3-pytest python3-hypothesis
    expect /environment/ "/root/lyra/$python" -c 'import lyra_fft; print(lyra_fft.__file__)'
    quietly sh -c "cd /root && lyra/$python lyra/examples/spectrogram.py picture.png"
    expect_picture /root/picture.png

    for suite in functions backend numpy; do
        case $suite in
        functions) modules="scipy.fft.tests scipy.fft._pocketfft.tests scipy.fftpack.tests" ;;
        backend) modules=scipy.fft.tests ;;
        numpy) modules=numpy.fft.tests ;;
        esac
        say "tests of $modules (on $suite)"
        # shellcheck disable=SC2086 # words
        inside env LYRA_FFT_SUITE=$suite PYTHONPATH=/root/lyra/python/tests "/root/lyra/$python" \
            -m pytest -p no:cacheprovider -q -p installed_suites --pyargs $modules 2>&1 | tail -n 3
    done
}

start=$SECONDS
case $task in
packages) check_packages ;;
readme) check_readme ;;
python) check_python ;;
esac
say "$task: good, in $((SECONDS - start)) s"
