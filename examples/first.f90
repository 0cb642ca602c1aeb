! The spectrum of an impulse at position 1, through the Fortran module.
program first
    use lyra_fft
    implicit none
    complex(c_double_complex), target :: in(0:7), out(0:7)
    type(c_ptr) :: plan
    integer :: k

    in = 0
    in(1) = 1
    plan = lyr_fft_plan_dft_1d(size(in), in, out, LYR_FFT_FORWARD, LYR_FFT_ESTIMATE)
    if (.not. c_associated(plan)) error stop "no plan"
    call lyr_fft_execute(plan)
    do k = 0, 7
        print "(i0, ': ', sp, f6.3, f7.3, 'i')", k, out(k)
    end do
    call lyr_fft_destroy_plan(plan)
end program first
