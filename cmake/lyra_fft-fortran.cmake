# lyra_fft_add_fortran(SOURCE): target lyra_fft::lyra_fft_fortran, the module from its source by the
# project's own Fortran compiler, whose module files no other compiler may be able to read. Link
# lyra_fft::lyra_fft or lyra_fft::lyra_fft_static beside it.
function(lyra_fft_add_fortran source)
    if(TARGET lyra_fft_fortran)
        return()
    endif()
    set(modules ${CMAKE_CURRENT_BINARY_DIR}/lyra_fft_modules)
    add_library(lyra_fft_fortran STATIC ${source})
    set_target_properties(lyra_fft_fortran PROPERTIES Fortran_MODULE_DIRECTORY ${modules}
                                                      POSITION_INDEPENDENT_CODE ON)
    target_include_directories(lyra_fft_fortran INTERFACE $<BUILD_INTERFACE:${modules}>)
    add_library(lyra_fft::lyra_fft_fortran ALIAS lyra_fft_fortran)
endfunction()
