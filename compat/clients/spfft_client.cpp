// SpFFT: transforms of frequencies within a sphere on two or more MPI ranks, complex and real.
// Prints figures that do not depend on the number of ranks; exit status 1 when the way back does
// not return what was there.
#include <mpi.h>

#include <cmath>
#include <complex>
#include <cstdio>
#include <vector>

#include "spfft/spfft.hpp"

namespace {

int faults = 0;

void transform(SpfftTransformType type, int nx, int ny, int nz, int threads, bool timed = false) {
    int rank, size;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    MPI_Comm_size(MPI_COMM_WORLD, &size);
    const int first = nz * rank / size, planes = nz * (rank + 1) / size - first;

    // Columns of frequencies, dealt out in turn; of real data one half.
    std::vector<int> triplets;
    std::vector<std::complex<double>> values;
    int column = 0, columns = 0;
    const bool real = type == SPFFT_TRANS_R2C;
    const double radius = 0.45 * std::fmin(nx, std::fmin(ny, nz));
    for (int x = real ? 0 : -nx / 2 + 1; x < nx / 2; ++x)
        for (int y = -ny / 2 + 1; y < ny / 2; ++y) {
            if (x * x + y * y > radius * radius) continue;
            if (real && x == 0 && y < 0) continue;
            if (column++ % size != rank) continue;
            ++columns;
            for (int z = -nz / 2 + 1; z < nz / 2; ++z) {
                if (x * x + y * y + z * z > radius * radius) continue;
                if (real && x == 0 && y == 0 && z < 0) continue;
                triplets.insert(triplets.end(), {x, y, z});
                const double phase = 1.3 * x + 0.7 * y * y + 0.2 * x * z + z;
                values.emplace_back(std::sin(phase),
                                    real && !x && !y && !z ? 0 : std::cos(2 * phase));
            }
        }
    spfft::Grid grid(nx, ny, nz, columns, planes, SPFFT_PU_HOST, threads, MPI_COMM_WORLD,
                     SPFFT_EXCH_DEFAULT);
    spfft::Transform plan = grid.create_transform(SPFFT_PU_HOST, type, nx, ny, nz, planes,
                                                  static_cast<int>(values.size()),
                                                  SPFFT_INDEX_TRIPLETS, triplets.data());
    double least = 1e30;
    for (int k = 0; k < 100 && timed; ++k) {
        MPI_Barrier(MPI_COMM_WORLD);
        const double start = MPI_Wtime();
        plan.backward(reinterpret_cast<double *>(values.data()), SPFFT_PU_HOST);
        MPI_Barrier(MPI_COMM_WORLD);
        least = std::fmin(least, MPI_Wtime() - start);
    }
    if (timed) {
        if (rank == 0)
            std::printf("SpFFT, %d ranks, %s %d^3, backward %.6f\n", size,
                        real ? "real" : "complex", nx, least);
        return;
    }
    plan.backward(reinterpret_cast<double *>(values.data()), SPFFT_PU_HOST);
    const double *space = plan.space_domain_data(SPFFT_PU_HOST);
    double sums[3] = {0, 0, 0}, total[3];
    const int parts = real ? 1 : 2;
    for (int z = 0; z < planes; ++z)
        for (int k = 0; k < nx * ny; ++k)
            for (int c = 0; c < parts; ++c) {
                const double v = space[(static_cast<long>(z) * nx * ny + k) * parts + c];
                sums[0] += v * v;
                sums[1 + c] += v * std::cos(0.1 * k + 0.3 * (first + z));
            }
    MPI_Allreduce(sums, total, 3, MPI_DOUBLE, MPI_SUM, MPI_COMM_WORLD);
    std::vector<std::complex<double>> back(values.size());
    plan.forward(SPFFT_PU_HOST, reinterpret_cast<double *>(back.data()), SPFFT_FULL_SCALING);
    double error = 0;
    for (size_t k = 0; k < values.size(); ++k)
        error = std::fmax(error, std::abs(back[k] - values[k]));
    if (error > 1e-12) {
        ++faults;
        std::printf("wrong: error %g\n", error);
    }
    if (rank == 0)
        std::printf("%s %dx%dx%d threads %d: %.9e %.9e %.9e\n", real ? "real" : "complex", nx, ny,
                    nz, threads, total[0], total[1], total[2]);
}

}  // namespace

int main(int argc, char **argv) {
    int provided;
    MPI_Init_thread(&argc, &argv, MPI_THREAD_FUNNELED, &provided);
    for (const auto type : {SPFFT_TRANS_C2C, SPFFT_TRANS_R2C})
        if (argc > 1) transform(type, 96, 96, 96, 1, true);
    for (const int threads : {1, 2}) {
        if (argc > 1) break;
        transform(SPFFT_TRANS_C2C, 16, 18, 20, threads);
        transform(SPFFT_TRANS_R2C, 16, 18, 20, threads);
        transform(SPFFT_TRANS_C2C, 36, 36, 36, threads);
        transform(SPFFT_TRANS_R2C, 40, 30, 24, threads);
    }
    MPI_Finalize();
    return faults ? 1 : 0;
}
