# One codelet object library per vector target and precision: the same sources, compiled in the
# target's own namespace with the target's own flags.
set(lyra_complex_families
    src/codelets/family_2_6.cpp src/codelets/family_7_9.cpp src/codelets/family_10_12.cpp
    src/codelets/family_13_16.cpp src/codelets/family_17_23.cpp src/codelets/family_29_37.cpp
    src/codelets/registers_2_30.cpp src/codelets/registers_32_144.cpp src/codelets/dense_3_64.cpp
    src/codelets/far_4_144.cpp src/codelets/stage_pairs.cpp src/codelets/split_stages.cpp
    src/codelets/wide_14_15.cpp src/codelets/wide_20_24.cpp)
set(lyra_codelet_sources
    ${lyra_complex_families} src/codelets/prime_11_73.cpp src/codelets/real_matrix.cpp src/codelets/real_pass.cpp src/codelets/r2r_pass.cpp src/codelets/real_2_16.cpp
    src/codelets/real_32_64.cpp src/codelets/real_128.cpp src/codelets/real_table.cpp
    src/codelets/table.cpp)

# lyra_add_codelets(TARGET NAME HEADER FLAGS...): objects TARGET in namespace NAME from vector header
# src/codelets/simd/HEADER.
function(lyra_add_codelets target name header)
    add_library(${target} OBJECT)
    foreach(source IN LISTS lyra_codelet_sources)
        target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/${source})
    endforeach()
    target_compile_definitions(${target} PRIVATE LYR_ISA=${name}
                                                 LYR_ISA_HEADER="codelets/simd/${header}")
    # Straight-line kernels are worth optimising in every configuration, but not for debugging the
    # minutes that -O3 and descriptions of inlined code cost. Sanitizers would take minutes for each
    # file; the tests' guard zones watch what kernels read and write.
    target_compile_options(${target} PRIVATE ${ARGN} $<IF:$<CONFIG:Debug>,-O1$<SEMICOLON>-g0,-O3>
                                             -fno-sanitize=all)
    lyra_library_settings(${target})
    # Complex butterflies have more values than registers: put them in order before registers are
    # given out, not only after. Takes 4 to 14 % off; long real transforms would lose by it.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        list(TRANSFORM lyra_complex_families PREPEND ${PROJECT_SOURCE_DIR}/ OUTPUT_VARIABLE families)
        set_source_files_properties(${families} PROPERTIES
                                    COMPILE_OPTIONS "-fschedule-insns;-fsched-pressure")
        # Most values of all has a whole transform of 64 (kernel/on_stack.h). Takes another 2 % off.
        if(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
            set(options -fschedule-insns -fsched-pressure -flive-range-shrinkage -frename-registers
                        -fno-sched-critical-path-heuristic)
            set_source_files_properties(${PROJECT_SOURCE_DIR}/src/codelets/dense_3_64.cpp
                                        PROPERTIES COMPILE_OPTIONS "${options}")
        endif()
    endif()
    # These passes leave fusing to the compiler.
    set_source_files_properties(${PROJECT_SOURCE_DIR}/src/codelets/r2r_pass.cpp PROPERTIES
                                COMPILE_OPTIONS -ffp-contract=fast)
endfunction()

# Sanitizers leave kernels alone, so builds with them can take those of another build.
set(LYRA_KERNELS "" CACHE PATH "Build folder whose kernels are taken instead of compiling them")
set(LYRA_SINGLE_KERNELS "${LYRA_KERNELS}" CACHE PATH "The same for those of single precision alone")

# lyra_take_codelets(TARGET FOLDER): the objects that the build in FOLDER has under that name.
function(lyra_take_codelets target folder)
    list(TRANSFORM lyra_codelet_sources REPLACE "(.+)" "${folder}/CMakeFiles/${target}.dir/\\1.o"
         OUTPUT_VARIABLE objects)
    add_library(${target} OBJECT IMPORTED)
    set_target_properties(${target} PROPERTIES IMPORTED_OBJECTS "${objects}")
endfunction()

# lyra_add_isa(NAME VECTOR FLAGS...): objects lyra_codelets_NAME from vector header
# src/codelets/simd/VECTOR.h and lyra_codelets_NAME_single from VECTOR_single.h.
function(lyra_add_isa name vector)
    if(LYRA_KERNELS)
        lyra_take_codelets(lyra_codelets_${name} ${LYRA_KERNELS})
    else()
        lyra_add_codelets(lyra_codelets_${name} ${name} ${vector}.h ${ARGN})
    endif()
    if(LYRA_BUILD_FLOAT AND LYRA_SINGLE_KERNELS)
        lyra_take_codelets(lyra_codelets_${name}_single ${LYRA_SINGLE_KERNELS})
    elseif(LYRA_BUILD_FLOAT)
        lyra_add_codelets(lyra_codelets_${name}_single ${name} ${vector}_single.h ${ARGN})
        lyra_single_settings(lyra_codelets_${name}_single)
    endif()
endfunction()

if(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
    set(lyra_isas neon neon_fcma)
    lyra_add_isa(neon vec_neon -march=armv8-a -ffp-contract=off)
    lyra_add_isa(neon_fcma vec_neon -march=armv8.3-a -ffp-contract=off)
else()
    set(lyra_isas generic128)
    lyra_add_isa(generic128 vec_generic128 -ffp-contract=fast)
endif()
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    list(APPEND lyra_isas avx2 avx512)
    lyra_add_isa(avx2 vec_avx2 -mavx2 -mfma -ffp-contract=off)
    # GCC 12 takes the undefined operands of its own AVX-512 intrinsics for a mistake of ours.
    lyra_add_isa(avx512 vec_avx512 -mavx512f -mavx512dq -mavx512vl -mfma -ffp-contract=off
                 $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized$<SEMICOLON>-Wno-uninitialized>)
endif()
