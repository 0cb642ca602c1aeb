#!/bin/sh
# GROMACS: 1728 rigid water molecules, 20 steps with long-range electrostatics by particle-mesh Ewald
# (real to complex and complex to real in single precision, 32 x 32 x 32). Prints the energies of every
# fifth step; with --times only the seconds that a transform took, mean of 1002.
set -e
steps=20
[ "$1" != --times ] || steps=500
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
export GMX_MAXBACKUP=-1 OMP_NUM_THREADS=1
cat >run.mdp <<END
nsteps = $steps
dt = 0.002
nstenergy = 5
nstcalcenergy = 5
verlet-buffer-tolerance = -1
rlist = 1.0
rcoulomb = 0.9
rvdw = 0.9
coulombtype = PME
fourierspacing = 0.12
END
cat >water.top <<END
#include "oplsaa.ff/forcefield.itp"
#include "oplsaa.ff/spc.itp"
[ system ]
water
[ molecules ]
SOL 1728
END
{
    gmx -quiet genconf -f "$(dirname "$(command -v gmx)")/../share/gromacs/top/spc216.gro" \
        -nbox 2 2 2 -o water.gro
    gmx -quiet grompp -f run.mdp -c water.gro -p water.top -o run.tpr
    gmx mdrun -s run.tpr -deffnm run -nt 1 -nb cpu -pme cpu -notunepme -reprod
} >log 2>&1 || {
    cat log >&2
    exit 1
}
if [ "$1" = --times ]; then
    # The log's columns: name, ranks, threads, calls, seconds, ..
    awk '/PME 3D-FFT/ { printf "GROMACS, a transform of PME, real 32^3, single precision %.7f\n", $(NF - 2) / $(NF - 3) }' run.log
    exit
fi
printf '%s\n' Coul.-recip. Potential Total-Energy Pressure |
    gmx -quiet energy -f run.edr -o run.xvg >>log 2>&1
grep -v '^[#@]' run.xvg
# The library's reports are among what GROMACS said.
grep -A 20 '^lyra-fftw3' log >&2 || true
