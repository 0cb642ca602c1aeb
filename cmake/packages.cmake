# Packages: cpack -G DEB writes liblyra-fft2 and liblyra-fftf2 (the shared libraries), liblyra-fft-dev,
# lyra-fftw3 (the libraries with FFTW's interface), lyra-fft-tools and, with LYRA_BUILD_PYTHON,
# python3-lyra-fft;
# cpack --config CPackSourceConfig.cmake writes the source archive. The presets packages and
# packages-arm put libraries where Debian has them; ./dev packages makes everything.
set(CPACK_PACKAGE_NAME lyra-fft)
set(CPACK_PACKAGE_VENDOR "LYRA FFT maintainers")
set(CPACK_PACKAGE_CONTACT "${LYRA_PACKAGE_CONTACT}")
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL runtime development)
if(LYRA_BUILD_FLOAT)
    list(APPEND CPACK_COMPONENTS_ALL runtime_single)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/installed_size.cmake)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME liblyra-fft2)
set(CPACK_DEBIAN_RUNTIME_SINGLE_PACKAGE_NAME liblyra-fftf2)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME liblyra-fft-dev)
set(CPACK_DEBIAN_FFTW3_PACKAGE_NAME lyra-fftw3)
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME lyra-fft-tools)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_SINGLE_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_FFTW3_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION math)
# The first line is the synopsis.
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "fast Fourier transforms in double precision - library
Transforms of complex and real data and real-to-real transforms of every
length in up to three dimensions, with any strides and batches, on one or
several threads. Planning measures nothing and always gives the same
plan.")
set(CPACK_COMPONENT_RUNTIME_SINGLE_DESCRIPTION "fast Fourier transforms in single precision - library
Transforms of complex and real data and real-to-real transforms of every
length in up to three dimensions, with any strides and batches, on one or
several threads. Planning measures nothing and always gives the same
plan.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "fast Fourier transforms - development
Headers for C and C++, the Fortran module, the static libraries, the files
by which pkg-config and CMake find the LYRA FFT library, documentation
and examples.")
set(CPACK_COMPONENT_FFTW3_DESCRIPTION "fast Fourier transforms - for FFTW programs
The interface of FFTW 3, in double and single precision, on top of the
LYRA FFT library, in a directory of its own: it replaces nothing. Programs
that are linked with FFTW run on it when the library path names that
directory, as 'lyr-fft run' does.")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "fast Fourier transforms - tools
The program lyr-fft analyses sounds, prints how transforms are planned,
and verifies and measures them.")

# The module is for one minor version of Python, and for NumPy's interface since 1.24.
if(TARGET lyra_python)
    math(EXPR python_next "${LYRA_PYTHON_MINOR} + 1")
    set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-lyra-fft)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
        "python3 (>= 3.${LYRA_PYTHON_MINOR}~), python3 (<< 3.${python_next}), python3-numpy (>= 1:1.24), python3-numpy-abi9, liblyra-fft2 (= ${PROJECT_VERSION})")
    if(TARGET lyra_fftf)
        string(APPEND CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS ", liblyra-fftf2 (= ${PROJECT_VERSION})")
    endif()
    set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS python3-scipy)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
        ${PROJECT_SOURCE_DIR}/cmake/debian/python/postinst
        ${PROJECT_SOURCE_DIR}/cmake/debian/python/prerm)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_STRICT_PERMISSION ON)
    set(CPACK_COMPONENT_PYTHON_DESCRIPTION "fast Fourier transforms - Python
The package lyra_fft: Fourier, cosine and sine transforms of NumPy's
arrays with the names, arguments and meaning of scipy.fft, and a backend
that lets scipy.fft itself use them.")
endif()

# Dependencies are found from the programs: by the packages that are installed, or, for another
# architecture, unpacked. Without them what is known of the library is written down: it needs
# functions of libc 2.34.
if(CMAKE_CROSSCOMPILING AND A64_ROOT)
    file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/CPackForeign.cmake
         "set(ENV{DPKG_ADMINDIR} \"${A64_ROOT}/var/lib/dpkg\")\n")
    set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_BINARY_DIR}/CPackForeign.cmake)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
        ${A64_LIBRARIES} ${A64_ROOT}/lib/aarch64-linux-gnu ${A64_ROOT}/lib)
endif()
if(CMAKE_CROSSCOMPILING AND NOT A64_ROOT)
    set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libc6 (>= 2.34)")
    set(CPACK_DEBIAN_RUNTIME_SINGLE_PACKAGE_DEPENDS "libc6 (>= 2.34)")
    set(CPACK_DEBIAN_FFTW3_PACKAGE_DEPENDS "libc6 (>= 2.34)")
else()
    set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_RUNTIME_SINGLE_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_FFTW3_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS}
        ${CMAKE_BINARY_DIR})
endif()
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_DEBIAN_RUNTIME_SINGLE_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_DEBIAN_FFTW3_PACKAGE_SUGGESTS lyra-fft-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS lyra-fftw3)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "liblyra-fft2 (= ${PROJECT_VERSION})")
if(LYRA_BUILD_FLOAT)
    string(APPEND CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
           ", liblyra-fftf2 (= ${PROJECT_VERSION})")
endif()
if(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
endif()

# What every package of Debian holds; left out of other installations.
set(components runtime development)
if(LYRA_BUILD_FLOAT)
    list(APPEND components runtime_single)
endif()
if(TARGET lyra_fftw3)
    list(APPEND components fftw3)
    list(APPEND CPACK_COMPONENTS_ALL fftw3)
endif()
if(TARGET lyr-fft)
    list(APPEND components tools)
    list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
if(TARGET lyra_python)
    list(APPEND components python)
    list(APPEND CPACK_COMPONENTS_ALL python)
endif()
foreach(component IN LISTS components)
    string(TOUPPER ${component} upper)
    set(documents ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    install(FILES cmake/debian/copyright DESTINATION ${documents} COMPONENT ${component}
            EXCLUDE_FROM_ALL)
    if(LYRA_GZIP)
        install(FILES ${CMAKE_CURRENT_BINARY_DIR}/compressed/changelog.gz DESTINATION ${documents} COMPONENT ${component} EXCLUDE_FROM_ALL)
    endif()
endforeach()

# The pages and the examples, with the folders that their links know.
set(documents ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME})
install(FILES README.md CONTRIBUTING.md CHANGELOG.md DESTINATION ${documents} COMPONENT development
        EXCLUDE_FROM_ALL)
install(DIRECTORY docs DESTINATION ${documents} COMPONENT development EXCLUDE_FROM_ALL
        FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.png")
install(DIRECTORY examples DESTINATION ${documents} COMPONENT development EXCLUDE_FROM_ALL
        FILES_MATCHING PATTERN "*.c" PATTERN "*.cpp" PATTERN "*.f90" PATTERN "*.py")

set(CPACK_SOURCE_GENERATOR TGZ)
set(CPACK_SOURCE_PACKAGE_FILE_NAME lyra-fft-${PROJECT_VERSION})
set(CPACK_SOURCE_IGNORE_FILES "/\\.git$" "/\\.git/" "/build[^/]*/" "/\\.cache/" "/__pycache__/"
                              "\\.sw[a-p]$" "~$" "/CMakeUserPresets\\.json$"
                              "/compile_commands\\.json$")
include(CPack)
