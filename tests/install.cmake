# What a build installs, and programs in C, C++ and Fortran that find it in several ways.
find_program(LYRA_PKGCONF NAMES pkgconf pkg-config)
mark_as_advanced(LYRA_PKGCONF)
set(fc "")
if(LYRA_BUILD_FORTRAN)
    set(fc ${CMAKE_Fortran_COMPILER})
endif()
set(tools 0)
if(TARGET lyr-fft)
    set(tools 1)
endif()
list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
set(settings build=${PROJECT_BINARY_DIR} source=${PROJECT_SOURCE_DIR} cmake=${CMAKE_COMMAND}
    cc=${CMAKE_C_COMPILER} cxx=${CMAKE_CXX_COMPILER} fc=${fc} pkgconf=${LYRA_PKGCONF}
    "emulator=${emulator}" toolchain=${CMAKE_TOOLCHAIN_FILE} tools=${tools})
foreach(way files cmake subproject pkg-config)
    if(way STREQUAL "pkg-config" AND NOT LYRA_PKGCONF)
        continue()
    endif()
    add_test(NAME install_${way} COMMAND ${Python3_EXECUTABLE}
             ${CMAKE_CURRENT_SOURCE_DIR}/install_check.py ${way} ${settings})
endforeach()
add_test(NAME fortran_source COMMAND ${Python3_EXECUTABLE}
         ${PROJECT_SOURCE_DIR}/tools/gen_fortran.py --check)
if(tools)
    add_test(NAME tool_documents COMMAND ${Python3_EXECUTABLE}
             ${CMAKE_CURRENT_SOURCE_DIR}/tool_documents.py $<TARGET_FILE:lyr-fft>)
    add_test(NAME tool_spectrum COMMAND ${Python3_EXECUTABLE}
             ${CMAKE_CURRENT_SOURCE_DIR}/spectrum_check.py $<TARGET_FILE:lyr-fft>)
endif()

# Packages, and the archive of the sources.
find_program(LYRA_DPKG_DEB dpkg-deb)
find_program(LYRA_FILE file)
find_program(LYRA_LINTIAN lintian)
mark_as_advanced(LYRA_DPKG_DEB LYRA_FILE LYRA_LINTIAN)
set(package_check ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/package_check.py)
if(LYRA_DPKG_DEB AND LYRA_FILE AND LYRA_GZIP AND LYRA_PKGCONF)
    set(lintian "")
    if(LYRA_LINTIAN)
        set(lintian ${LYRA_LINTIAN})
    endif()
    add_test(NAME debian_packages COMMAND ${package_check} debian cpack=${CMAKE_CPACK_COMMAND}
             build=${PROJECT_BINARY_DIR} cc=${CMAKE_C_COMPILER} fc=${fc} readelf=${CMAKE_READELF}
             lintian=${lintian} "emulator=${emulator}")
endif()
add_test(NAME source_archive COMMAND ${package_check} source cpack=${CMAKE_CPACK_COMMAND}
         build=${PROJECT_BINARY_DIR} cmake=${CMAKE_COMMAND})
