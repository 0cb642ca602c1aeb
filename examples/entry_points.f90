! The spectrum of an impulse at position 1, through the entry points with a trailing underscore:
! everything by reference, plans are 64-bit integers, no module is needed.
program entry_points
    implicit none
    integer, parameter :: forward = -1, estimate = 64
    integer(8), external :: lyr_fft_plan_dft_1d
    complex(8), target :: in(0:7), out(0:7)
    integer(8) :: plan
    integer :: k

    in = 0
    in(1) = 1
    plan = lyr_fft_plan_dft_1d(8, in, out, forward, estimate)
    if (plan == 0) error stop "no plan"
    call lyr_fft_execute(plan)
    do k = 0, 7
        print "(i0, ': ', sp, f6.3, f7.3, 'i')", k, out(k)
    end do
    call lyr_fft_destroy_plan(plan)
end program entry_points
