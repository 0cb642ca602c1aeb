# The library of single precision is made of the same sources: with LYRA_SINGLE numbers are floats
# (src/precision.h), and internal names are in a namespace of their own, so that one program may
# hold both libraries. Public names begin with lyr_fftf_; what says so is made from the files of
# double precision.

# lyra_single_names(TEXT RESULT): TEXT with the names of single precision. Dimensions, kinds and
# constants are common to both.
function(lyra_single_names text result)
    string(REPLACE "lyr_fft" "lyr_fftf" text "${text}")
    string(REGEX REPLACE "lyr_fftf_(iodim|r2r_kind)" "lyr_fft_\\1" text "${text}")
    string(REPLACE "LFFTGetVersion" "LFFTFGetVersion" text "${text}")
    string(REPLACE "LYRA_FFT" "LYRA_FFTF" text "${text}")
    string(REPLACE "lyra_fft" "lyra_fftf" text "${text}")
    string(REPLACE "LYRA_fft" "LYRA_fftf" text "${text}")
    string(REPLACE "double precision" "single precision" text "${text}")
    set(${result} "${text}" PARENT_SCOPE)
endfunction()

# lyra_single_file(SOURCE RESULT): the same for a file. Nothing is written that is there already.
function(lyra_single_file source file)
    set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
    file(READ ${source} text)
    lyra_single_names("${text}" text)
    file(CONFIGURE OUTPUT ${file} CONTENT "${text}" @ONLY)
endfunction()

# lyra_single_header(HEADER FOLDER): writes lyr_fftf.h, and lyr_fftf_names.h, by which sources that
# use the names of double precision mean those of single precision.
function(lyra_single_header header folder)
    set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header})
    file(READ ${header} text)

    # What both precisions share is in lyr_fft.h.
    set(begin "/* One dimension of a transform or of a batch:")
    set(end "/* ---- Complex transforms")
    string(FIND "${text}" "${begin}" first)
    string(FIND "${text}" "${end}" last)
    string(SUBSTRING "${text}" 0 ${first} opening)
    string(SUBSTRING "${text}" ${last} -1 functions)
    set(begin "/* Name and version texts")
    set(end "} LFFTVersionRecord;\n\n")
    string(FIND "${functions}" "${begin}" first)
    string(FIND "${functions}" "${end}" last)
    string(LENGTH "${end}" length)
    math(EXPR last "${last} + ${length}")
    string(SUBSTRING "${functions}" 0 ${first} before)
    string(SUBSTRING "${functions}" ${last} -1 after)
    string(REGEX REPLACE "\n#include <stddef.h>.*\n#ifdef __cplusplus\nextern"
                         "\n@shared@\n#ifdef __cplusplus\nextern" opening "${opening}")
    set(single "${opening}${before}${after}")
    lyra_single_names("${single}" single)
    string(REPLACE "LYR_FFT_H" "LYR_FFTF_H" single "${single}")
    string(REPLACE "double" "float" single "${single}")
    string(REPLACE "float precision" "single precision" single "${single}")
    string(REGEX REPLACE "\n(                           +[a-z])" "\n  \\1" single "${single}")
    set(shared "/* Dimensions, kinds, signs, flags and the version record are those of double precision. */
#include \"lyr_fft.h\"")
    file(CONFIGURE OUTPUT ${folder}/lyr_fftf.h CONTENT "${single}" @ONLY)

    string(REGEX MATCHALL "lyr_fft_[a-z0-9_]+\\(" functions "${text}")
    string(REPLACE "(" "" functions "${functions}")
    list(REMOVE_DUPLICATES functions)
    set(names "// Public names of double precision stand for those of single precision.\n#pragma once\n\n")
    foreach(name IN LISTS functions ITEMS lyr_fft_plan lyr_fft_complex lyr_fft_version LFFTGetVersion)
        lyra_single_names(${name} other)
        string(APPEND names "#define ${name} ${other}\n")
        if(name IN_LIST functions)
            string(APPEND names "#define ${name}_ ${other}_\n")
        endif()
    endforeach()
    file(CONFIGURE OUTPUT ${folder}/lyr_fftf_names.h CONTENT "${names}" @ONLY)
endfunction()

# lyra_single_settings(TARGET): what is compiled for single precision. Its sources round constants,
# which are written with the digits of double precision.
function(lyra_single_settings target)
    target_compile_definitions(${target} PRIVATE ${lyra_single_definitions})
    target_include_directories(${target} PRIVATE ${lyra_single_include})
    target_compile_options(${target} PRIVATE -Wno-float-conversion -Wno-implicit-float-conversion)
endfunction()
set(lyra_single_definitions LYRA_SINGLE lyr=lyrf lyr_fft_plan_s=lyr_fftf_plan_s)
set(lyra_single_include ${PROJECT_BINARY_DIR}/single)
lyra_single_header(${PROJECT_SOURCE_DIR}/include/lyr_fft.h ${lyra_single_include})
lyra_single_file(${PROJECT_SOURCE_DIR}/cmake/lyra_fft.map ${lyra_single_include}/lyra_fftf.map)
