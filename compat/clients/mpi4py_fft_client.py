"""mpi4py-fft: slabs and pencils, complex and real transforms of arrays of 2 to 4 dimensions.

Run by mpirun -np 1, 2 or 4; prints figures that do not depend on the number of ranks.
"""
import sys

import numpy
from mpi4py import MPI
from mpi4py_fft import PFFT, newDistArray

world = MPI.COMM_WORLD
faults = 0


def show(name, array):
    """The norm and a weighted sum over all ranks, by global places."""
    local = numpy.asarray(array)
    where = numpy.meshgrid(*[numpy.arange(s.start, s.stop) for s in array.local_slice()],
                           indexing="ij")
    w = numpy.cos(sum((0.3 + 0.2 * k) * x for k, x in enumerate(where)))
    sums = numpy.array([(abs(local) ** 2).sum(), (local * w).sum().real, (local * w).sum().imag])
    total = numpy.zeros_like(sums)
    world.Allreduce(sums, total)
    if world.rank == 0:
        print(name, *(f"{x:.8e}" for x in total))


def fill(array):
    where = numpy.meshgrid(*[numpy.arange(s.start, s.stop) for s in array.local_slice()],
                           indexing="ij")
    phase = sum((k + 1) * x ** 2 for k, x in enumerate(where))
    array[:] = numpy.sin(phase + 1.0)
    if array.dtype.kind == "c":
        array[:] += 1j * numpy.cos(2.0 * phase)


def transform(name, shape, **arguments):
    global faults
    plan = PFFT(world, shape, **arguments)
    u = newDistArray(plan, False)
    fill(u)
    before = u.copy()
    v = plan.forward(u, newDistArray(plan, True), normalize=True)
    show(name, v)
    back = plan.backward(v, newDistArray(plan, False))
    if abs(numpy.asarray(back) - numpy.asarray(before)).max() > 1e-12:
        faults += 1
        print("wrong:", name)


for shape in ((24, 16), (12, 20, 18), (16, 15, 14), (8, 9, 10, 12)):
    for dtype in (complex, float):
        kind = "complex" if dtype is complex else "real"
        transform(f"pencil {shape} {kind}", shape, dtype=dtype)
        transform(f"slab {shape} {kind}", shape, dtype=dtype, slab=True)
transform("collapsed", (12, 10, 8), dtype=float, collapse=True)
transform("axes in turn", (12, 10, 8), axes=[2, 0, 1], dtype=complex)
transform("threads", (24, 20, 16), dtype=complex, threads=2)
sys.exit(1 if world.allreduce(faults) else 0)
