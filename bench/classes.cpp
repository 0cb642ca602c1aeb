#include "classes.h"

#include <charconv>
#include <sstream>

namespace lyr_bench {

const std::vector<problem_class> &problem_classes() {
    static const std::vector<problem_class> classes = {
        {"pow2-c2c", "powers of two", true, "ocf",
         "2 4 8 16 32 64 128 256 512 1024 2048 4096 8192 16384 32768 65536 131072 262144 524288 "
         "1048576 2097152 4194304"},
        {"pow2-small", "powers of two that fit the first-level cache, or nearly", false, "ocf",
         "2 4 8 16 32 64 128 256 512 1024 2048 4096 8192"},
        {"pow2-cached", "powers of two 8 to 32768", false, "ocf",
         "8 16 32 64 128 256 512 1024 2048 4096 8192 16384 32768"},
        {"pow2-long", "powers of two from 65536 on", false, "ocf",
         "65536 131072 262144 524288 1048576 2097152 4194304"},
        {"smooth-c2c", "products of 2, 3, 5, 7 and sometimes 13", true, "ocf",
         "6 10 12 15 20 24 30 36 48 60 80 96 100 120 144 180 200 240 320 360 480 500 600 720 840 "
         "1000 1200 1536 1920 2000 2520 3000 4000 5040 6000 7680 10000 12000 20000 30000 40320 "
         "50000 65520 100000 120000 250000 500000 720720 1000000"},
        {"smooth-long", "long products of 2, 3, 5, 7 and sometimes 13", false, "ocf",
         "100000 120000 250000 390625 500000 531441 720720 823543 1000000 1500000 2000000"},
        {"tabled", "small and middle lengths, densely", false, "ocf",
         "12 16 24 30 32 36 45 48 54 56 60 64 80 96 112 120 128 135 144 160 162 175 180 189 210 "
         "216 240 252 256 270 288 300 324 336 360 378 384 400 416 420 432 480 486 512 540 560 576 "
         "600 640 720 768 800 896 900 945 960 1008 1024 1050 1056 1080 1134 1152 1200 1215 1280 "
         "1296 1323 1350 1440 1458 1470 1500 1512 1568 1620 1680 1701 1728 1764 1792 1800 1890 "
         "1944 2000 2016 2048 2100 2160 2268 2304 2352 2400 2430 2520 2560 2592 2646 2688 2700 "
         "2800 2880 2916 2940 3000 3024 3072 3136 3150 3200 3240 3360 3375 3402 3456 3600 3780 "
         "3840 3888 3920 4000 4096 4200 4320 4374 4500 4800 4860 5040 5145 5184 5376 5400 5600 "
         "5760 6000 6048 6144 6300 6400 6480 6720 6912 7056 7200 7350 7500 7680 7776 7938 8000 "
         "8100 8192 8505 8640 8820 8960 9000 9216 9408 9450 16384"},
        {"awkward-c2c", "primes and products of large primes", true, "ocf",
         "11 13 17 19 23 29 31 37 41 47 53 83 97 101 127 131 211 331 509 1009 1763 1949 4099 8191 "
         "10007 65537 100003"},
        {"inplace-c2c", "in place", true, "icf",
         "16 64 120 256 1000 1024 4096 10000 65536 1048576 256x256 64x64x64 64*4096"},
        {"inplace-long", "in place, long", false, "icf",
         "65536 131072 262144 524288 1048576 2097152 4194304 100000 250000 531441 1000000 2000000"},
        {"batch-c2c-contiguous", "batches, one transform after another", true, "ocf",
         "4*16384 8*16384 16*16384 32*16384 64*16384 100*10485 128*8192 256*4096 1024*1024"},
        {"batch-long", "batches of 1, 4 and 16 MiB, one transform after another", false, "ocf",
         "4*16384 4*65536 4*262144 8*8192 8*32768 8*131072 16*4096 16*16384 16*65536 32*2048 "
         "32*8192 32*32768 64*1024 64*4096 64*16384 100*655 100*2621 100*10485 128*512 128*2048 "
         "128*8192 256*256 256*1024 256*4096 1024*64 1024*256 1024*1024"},
        {"batch-c2c-interleaved", "batches, transforms side by side", true, "ocf",
         "4*16384i 8*16384i 16*16384i 32*16384i 64*16384i 100*10485i 128*8192i 256*4096i "
         "1024*1024i"},
        {"batch-c2c-small", "batches that fit the first-level cache", true, "ocf",
         "8*128 16*64 64*16 100*10 8*128i 16*64i 64*16i 100*10i"},
        // Side by side to one after another (9 and, padded, 1), one after another to side by side
        // (3), padded rows (4), every second element (3), single transforms with strides (2), side
        // by side with gaps (2).
        {"layouts", "transposed, padded and strided arrays", true, "ocf",
         "16:4096:1*4096:1:16 32:2048:1*2048:1:32 64:1024:1*1024:1:64 128:512:1*512:1:128 "
         "256:256:1*256:1:256 256:1000:1*1000:1:256 1024:256:1*256:1:1024 100:1000:1*1000:1:100 "
         "1000:100:1*100:1:1000 64:1040:1*1024:1:64 "
         "64:1:1024*1024:64:1 256:1:256*256:256:1 1000:1:100*100:1000:1 "
         "16:1:1*4096:20:20 64:1:1*1024:72:72 256:1:1*256:260:260 1000:1:1*100:1024:1024 "
         "16:2:1*4096:32:16 64:2:1*1024:128:64 256:2:1*256:512:256 "
         "1024:5:5 4096:7:7 "
         "64:1032:1032*1024:1:1 256:512:512*256:2:2"},
        {"batch-2d3d", "two and three dimensions, batches side by side", true, "o",
         "cf8x8*512i cf16x16*64i cf16x16*1024i cf32x32*100i cf64x64*16i cf100x100*8i cf4x4x4*1000i "
         "cf8x8x8*64i cf16x16x16*32i rf8x8*512i rf32x32*64i rf8x8x8*64i rb8x8*512i rb32x32*64i "
         "rb8x8x8*64i"},
        {"permuted", "planes and volumes whose dimensions change their order", true, "o",
         "cf64:1:64x64:64:1 cf256:1:256x256:256:1 cf100:1:60x60:100:1 "
         "cf32:1024:1x32:32:1024x32:1:32 "
         "cf32:32:1024x32:1024:1x32:1:32 cf32:1:1024x32:32:32x32:1024:1 "
         "cf64:1:4096x64:64:64x64:4096:1 "
         "rf32:1088:1x32:34:544x32:1:32 rf64:4224:1x64:66:2112x64:1:64 "
         "rb32:1:1088x32:544:34x32:32:1 "
         "rb64:1:4224x64:2112:66x64:64:1"},
        {"split-c2c", "real and imaginary parts in separate arrays", true, "oscf",
         "64 256 1024 4096 16384 64*256 64x64 256x256 1024x1024"},
        {"pow2-r2c", "real to complex, powers of two", true, "orf",
         "4 8 16 32 64 128 256 512 1024 2048 4096 8192 16384 32768 65536 131072 262144 524288 "
         "1048576 2097152 4194304"},
        {"pow2-c2r", "complex to real, powers of two", true, "orb",
         "4 8 16 32 64 128 256 512 1024 2048 4096 8192 16384 32768 65536 131072 262144 524288 "
         "1048576 2097152 4194304"},
        {"pow2-real-cached", "real to complex and back, powers of two 4 to 32768", false, "or",
         "f4 f8 f16 f32 f64 f128 f256 f512 f1024 f2048 f4096 f8192 f16384 f32768 "
         "b4 b8 b16 b32 b64 b128 b256 b512 b1024 b2048 b4096 b8192 b16384 b32768"},
        {"pow2-real-long", "real to complex and back, powers of two from 131072 on", false, "or",
         "f131072 f262144 f524288 f1048576 f2097152 f4194304 "
         "b131072 b262144 b524288 b1048576 b2097152 b4194304"},
        {"smooth-r2c", "real to complex, products of 2, 3, 5 and 7", true, "orf",
         "12 30 60 100 120 240 360 500 720 1000 2000 5040 10000 20000 40320 100000 250000 500000 "
         "1000000"},
        {"smooth-c2r", "complex to real, products of 2, 3, 5 and 7", true, "orb",
         "12 30 60 100 120 240 360 500 720 1000 2000 5040 10000 20000 40320 100000 250000 500000 "
         "1000000"},
        {"smooth-real", "real to complex and back, products of 2, 3, 5 and 7", false, "or",
         "f12 f30 f60 f100 f120 f240 f360 f500 f720 f1000 f2000 f5040 f10000 f20000 f40320 f100000 "
         "f250000 f500000 f1000000 b12 b30 b60 b100 b120 b240 b360 b500 b720 b1000 b2000 b5040 "
         "b10000 b20000 b40320 b100000 b250000 b500000 b1000000"},
        {"odd-r2c", "real to complex, odd lengths and primes", true, "orf",
         "9 15 27 45 81 105 243 315 625 1001 2187 3375 11 13 31 37 41 101 331 1009 4099 10007"},
        {"odd-c2r", "complex to real, odd lengths and primes", true, "orb",
         "9 15 27 45 81 105 243 315 625 1001 2187 3375 11 13 31 37 41 101 331 1009 4099 10007"},
        {"batch-r2c", "real to complex, batches one after another and side by side", true, "orf",
         "16*16384 64*16384 100*10485 256*4096 1024*1024 16*16384i 64*16384i 100*10485i 256*4096i "
         "1024*1024i"},
        {"batch-c2r", "complex to real, batches one after another and side by side", true, "orb",
         "16*16384 64*16384 100*10485 256*4096 1024*1024 16*16384i 64*16384i 100*10485i 256*4096i "
         "1024*1024i"},
        {"2d-r2c", "real to complex, two dimensions", true, "orf",
         "64x64 100x100 256x256 512x512 1024x1024 2048x2048"},
        {"2d-c2r", "complex to real, two dimensions", true, "orb",
         "64x64 100x100 256x256 512x512 1024x1024 2048x2048"},
        {"3d-r2c", "real to complex, three dimensions", true, "orf",
         "32x32x32 64x64x64 100x100x100 128x128x128 256x256x256"},
        {"3d-c2r", "complex to real, three dimensions", true, "orb",
         "32x32x32 64x64x64 100x100x100 128x128x128"},
        {"2d-c2c", "two dimensions", true, "ocf",
         "64x64 100x100 256x256 512x512 1000x1000 1024x1024 2048x2048"},
        {"3d-c2c", "three dimensions", true, "ocf",
         "32x32x32 64x64x64 100x100x100 128x128x128 256x256x256"},
        {"threads2", "two threads", true, "ocf",
         "262144 1048576 4194304 1024x1024 2048x2048 128x128x128 256*16384 1024*1024", 2},
        {"threads2-more", "two threads, more shapes", false, "ocf",
         "2048 4096 8192 16384 65536 64x64 256x256 512x512 1000x1000 32x32x32 64x64x64 "
         "100x100x100 256x256x256 16*16384 64*4096 64*4096i 1000*1000 1000*1000i",
         2},
        {"r2r", "real to real", true, "ok",
         "65e00 129e00 1025e00 64e10 1000e10 4096e10 64e01 1000e01 4096e01 64h 1000h 4096h"},
        {"r2r-more", "real to real, the other kinds and other lengths", false, "ok",
         "64f 1000f 4096f 64b 1000b 4096b 64e11 1000e11 4096e11 63o00 127o00 1023o00 64o10 1000o10 "
         "4096o10 64o01 1000o01 4096o01 64o11 1000o11 4096o11 101e00 1001e00 64e00 1000e00 999e10 "
         "999e01 999e11 999h 4095f 1009e10 65537e00 65536e10 64e10x64e10 1000f*64i"},
    };
    return classes;
}

const problem_class *find_class(std::string_view name) {
    for (const problem_class &c : problem_classes()) {
        if (name == c.name) return &c;
    }
    return nullptr;
}

std::vector<std::string> problems_of(const problem_class &c) {
    std::vector<std::string> problems;
    std::istringstream shapes(c.shapes);
    const std::string threads = c.threads > 1 ? " t=" + std::to_string(c.threads) : "";
    for (std::string shape; shapes >> shape;) problems.push_back(c.prefix + shape + threads);
    return problems;
}

bool read_problem(const std::string &text, int64_t max_bytes, bench_problem &what,
                  std::string &error) {
    constexpr int most_threads = 512;
    const size_t blank = text.find(" t=");
    what.threads = 1;
    if (blank != std::string::npos) {
        const char *number = text.data() + blank + 3, *end = text.data() + text.size();
        const auto [stop, status] = std::from_chars(number, end, what.threads);
        if (status != std::errc() || stop != end || what.threads < 1 ||
            what.threads > most_threads) {
            error = "bad number of threads in " + lyr_tools::in_quotes(text);
            return false;
        }
    }
    return lyr_tools::parse_problem(std::string_view(text).substr(0, blank), max_bytes, what.p,
                                    error);
}

std::string name_of(const bench_problem &what) {
    const std::string name = format_problem(what.p);
    return what.threads > 1 ? name + " t=" + std::to_string(what.threads) : name;
}

}  // namespace lyr_bench
