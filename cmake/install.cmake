# Installing: the shared libraries as components "runtime" and "runtime_single", what programs are
# built with as "development", lyr-fft and its companions as "tools"; the libraries with FFTW's
# interface as "fftw3" (compat/CMakeLists.txt). Nothing that is installed holds the prefix,
# so the whole tree can be moved.
include(CMakePackageConfigHelpers)

install(TARGETS lyra_fft EXPORT lyra_fft
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT development)
install(TARGETS lyra_fft_static EXPORT lyra_fft ARCHIVE COMPONENT development)
install(FILES include/lyr_fft.h include/lyr_fft.hpp include/lyra_fft.f90 ${lyra_single_include}/lyr_fftf.h
        TYPE INCLUDE COMPONENT development)
if(LYRA_BUILD_FLOAT)
    install(TARGETS lyra_fftf EXPORT lyra_fft
            LIBRARY COMPONENT runtime_single NAMELINK_COMPONENT development)
    install(TARGETS lyra_fftf_static EXPORT lyra_fft ARCHIVE COMPONENT development)
endif()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/lyra_fft)
install(EXPORT lyra_fft NAMESPACE lyra_fft:: DESTINATION ${package_dir}
        FILE lyra_fft-targets.cmake COMPONENT development)
configure_package_config_file(cmake/lyra_fft-config.cmake.in lyra_fft-config.cmake
                              INSTALL_DESTINATION ${package_dir}
                              PATH_VARS CMAKE_INSTALL_INCLUDEDIR
                              NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(lyra_fft-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/lyra_fft-config.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/lyra_fft-config-version.cmake
              cmake/lyra_fft-fortran.cmake
        DESTINATION ${package_dir} COMPONENT development)

# The compiled Fortran module, for users of the same compiler who do not build by CMake.
if(LYRA_BUILD_FORTRAN AND CMAKE_Fortran_COMPILER_ID STREQUAL "GNU")
    set(module_version 15)  # of gfortran's module files, see the first line of one
    if(CMAKE_Fortran_COMPILER_VERSION VERSION_GREATER_EQUAL 15)
        set(module_version 16)
    endif()
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/lyra_fft_modules/lyra_fft.mod
            DESTINATION ${CMAKE_INSTALL_LIBDIR}/fortran/gfortran-mod-${module_version}
            COMPONENT development)
    set(pc_fortran "fmoddir=\${libdir}/fortran/gfortran-mod-${module_version}\n")
else()
    set(pc_fortran "")
endif()

# The prefix as seen from the .pc file; folders given as absolute paths stay where they are.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(pc_prefix ${CMAKE_INSTALL_PREFIX})
if(NOT IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
    cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
               BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE upwards)
    set(pc_prefix "\${pcfiledir}/${upwards}")
endif()
foreach(dir LIBDIR INCLUDEDIR)
    set(pc_${dir} "\${prefix}")
    cmake_path(APPEND pc_${dir} ${CMAKE_INSTALL_${dir}})
endforeach()
configure_file(cmake/lyra_fft.pc.in lyra_fft.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/lyra_fft.pc DESTINATION ${pkgconfig_dir}
        COMPONENT development)
if(LYRA_BUILD_FLOAT)
    lyra_single_file(${CMAKE_CURRENT_BINARY_DIR}/lyra_fft.pc ${CMAKE_CURRENT_BINARY_DIR}/lyra_fftf.pc)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/lyra_fftf.pc DESTINATION ${pkgconfig_dir}
            COMPONENT development)
endif()

# Manual pages and, for the packages, the changelog: compressed, as Debian has them.
find_program(LYRA_GZIP gzip)
mark_as_advanced(LYRA_GZIP)
if(LYRA_GZIP)
    set(compressed "")
    configure_file(cmake/debian/changelog.in changelog @ONLY)
    foreach(source ${PROJECT_SOURCE_DIR}/tools/man/lyr-fft.1 ${PROJECT_SOURCE_DIR}/tools/man/lyr_fft.3
                   ${CMAKE_CURRENT_BINARY_DIR}/changelog)
        cmake_path(GET source FILENAME name)
        set(output ${CMAKE_CURRENT_BINARY_DIR}/compressed/${name}.gz)
        add_custom_command(OUTPUT ${output}
            COMMAND ${CMAKE_COMMAND} -E make_directory compressed
            COMMAND ${LYRA_GZIP} -9nc ${source} > ${output}
            DEPENDS ${source} VERBATIM)
        list(APPEND compressed ${output})
    endforeach()
    add_custom_target(lyra_compressed ALL DEPENDS ${compressed})
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/compressed/lyr_fft.3.gz
            DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT development)
endif()
