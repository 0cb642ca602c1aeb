! The entry points with a trailing underscore, without a module: scalars by reference, descriptors
! as integers, plans and addresses as 64-bit integers. Prints "ok", or stops.
program entry_points_test
    use, intrinsic :: iso_c_binding, only: c_ptr, c_f_pointer
    implicit none
    integer, parameter :: n = 24, forward = -1, backward = 1, estimate = 64, redft10 = 5, redft01 = 4
    integer(8), external :: lyr_fft_plan_dft_1d, lyr_fft_plan_many_dft, lyr_fft_plan_guru_dft, &
        lyr_fft_plan_guru64_dft, lyr_fft_plan_r2r_1d, lyr_fft_plan_dft_r2c_1d, lyr_fft_malloc
    integer, external :: lyr_fft_init_threads
    complex(8), target :: x(n), y(n), z(n), half(n / 2 + 1)
    real(8), target :: r(n), s(n), t(n)
    complex(8), pointer :: block(:)
    integer(8) :: plan, address
    integer :: j, descriptor(3)
    integer(8) :: descriptor64(3)

    x = [(cmplx(modulo(j * 37, 101), modulo(j * 53, 89), 8), j = 1, n)]
    plan = lyr_fft_plan_dft_1d(n, x, y, forward, estimate)
    if (plan == 0) error stop "no plan"
    call lyr_fft_execute(plan)
    call check(abs(y(1) - sum(x)) < 1d-9 .and. abs(y(1 + n / 2) - sum(x(1::2) - x(2::2))) < 1d-9, 1)
    call lyr_fft_destroy_plan(plan)

    plan = lyr_fft_plan_dft_1d(n, y, z, backward, estimate)
    call lyr_fft_execute_dft(plan, y, z)
    call check(all(abs(z / n - x) < 1d-12), 2)
    call lyr_fft_destroy_plan(plan)

    ! Two batches of the odd and the even elements, by distances and by descriptors.
    plan = lyr_fft_plan_many_dft(1, [n / 2], 2, x, [n / 2], 2, 1, y, [n / 2], 1, n / 2, forward, 0)
    call lyr_fft_execute(plan)
    call lyr_fft_destroy_plan(plan)
    call check(abs(y(1) - sum(x(1::2))) < 1d-9 .and. abs(y(n / 2 + 1) - sum(x(2::2))) < 1d-9, 3)
    descriptor = [n / 2, 2, 1]
    plan = lyr_fft_plan_guru_dft(1, descriptor, 1, [2, 1, n / 2], x, z, forward, 0)
    call lyr_fft_execute(plan)
    call lyr_fft_destroy_plan(plan)
    call check(all(abs(y - z) < 1d-9), 4)
    descriptor64 = descriptor
    z = 0
    plan = lyr_fft_plan_guru64_dft(1, descriptor64, 0, descriptor64, x, z, forward, 0)
    call lyr_fft_execute(plan)
    call lyr_fft_destroy_plan(plan)
    call check(all(abs(y(:n / 2) - z(:n / 2)) < 1d-9) .and. all(z(n / 2 + 1:) == 0), 5)

    ! Real data.
    r = real(x)
    plan = lyr_fft_plan_dft_r2c_1d(n, r, half, 0)
    call lyr_fft_execute_dft_r2c(plan, r, half)
    call lyr_fft_destroy_plan(plan)
    call check(abs(half(1) - sum(r)) < 1d-9, 6)
    plan = lyr_fft_plan_r2r_1d(n, r, s, redft10, 0)
    call lyr_fft_execute_r2r(plan, r, s)
    call lyr_fft_destroy_plan(plan)
    plan = lyr_fft_plan_r2r_1d(n, s, t, redft01, 0)
    call lyr_fft_execute(plan)
    call lyr_fft_destroy_plan(plan)
    call check(abs(s(1) - 2 * sum(r)) < 1d-9 .and. all(abs(t / (2 * n) - r) < 1d-12), 7)

    ! A block is released by the array itself, not by a variable with its address.
    address = lyr_fft_malloc(16_8 * n)
    call check(address /= 0 .and. modulo(address, 64_8) == 0, 8)
    call c_f_pointer(transfer(address, c_pointer()), block, [n])
    block = x
    call lyr_fft_free(block)

    plan = lyr_fft_plan_dft_1d(n, x, y, 0, estimate)
    call check(plan == 0, 9)
    call lyr_fft_destroy_plan(plan)
    call check(lyr_fft_init_threads() == 1, 10)
    call lyr_fft_plan_with_nthreads(2)
    call lyr_fft_plan_with_nthreads(1)
    call lyr_fft_cleanup_threads()
    call lyr_fft_cleanup()
    print "(a)", "ok"

contains

    subroutine check(good, number)
        logical, intent(in) :: good
        integer, intent(in) :: number
        if (.not. good) then
            print "(a, i0)", "wrong: ", number
            error stop 1
        end if
    end subroutine check

    function c_pointer() result(mold)
        use, intrinsic :: iso_c_binding, only: c_null_ptr
        type(c_ptr) :: mold
        mold = c_null_ptr
    end function c_pointer

end program entry_points_test
