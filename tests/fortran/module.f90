! The module: transforms of every kind against their defining sums, layouts, absent arguments,
! memory, versions. Prints "ok", or stops.
program module_test
    use lyra_fft
    implicit none
    real(c_double), parameter :: pi = acos(-1.0_c_double), bound = 1e-12_c_double
    integer, parameter :: n = 30, m = 7, sign(2) = [LYR_FFT_FORWARD, LYR_FFT_BACKWARD]
    integer :: s

    do s = 1, 2
        call complex_line(sign(s))
    end do
    call plane()
    call real_data()
    call cosine()
    call batch()
    call descriptors()
    call split()
    call single_precision()
    call memory()
    call refusals_and_versions()
    print "(a)", "ok"

contains

    subroutine check(good, what)
        logical, intent(in) :: good
        character(len=*), intent(in) :: what
        if (.not. good) then
            print "(a)", "wrong: " // what
            error stop 1
        end if
    end subroutine check

    ! Numbers without symmetry.
    elemental function some(j) result(x)
        integer, intent(in) :: j
        complex(c_double_complex) :: x
        x = cmplx(modulo(j * 37 + 11, 101), modulo(j * 53 + 7, 89), c_double_complex) / 100
    end function some

    ! The defining sum.
    pure function sum_of(x, sign) result(y)
        complex(c_double_complex), intent(in) :: x(0:)
        integer, intent(in) :: sign
        complex(c_double_complex) :: y(0:size(x) - 1)
        integer :: j, k, length
        length = size(x)
        do k = 0, length - 1
            y(k) = sum([(x(j) * exp(cmplx(0, sign * 2 * pi * modulo(j * k, length) / length, &
                c_double_complex)), j = 0, length - 1)])
        end do
    end function sum_of

    subroutine complex_line(sign)
        integer, intent(in) :: sign
        complex(c_double_complex), target :: x(n), y(n), z(n)
        type(c_ptr) :: plan
        integer :: j
        x = some([(j, j = 1, n)])
        plan = lyr_fft_plan_dft_1d(n, x, y, sign, LYR_FFT_ESTIMATE)
        call check(c_associated(plan), "line: plan")
        call lyr_fft_execute(plan)
        call check(all(abs(y - sum_of(x, sign)) < bound), "line")
        call lyr_fft_execute_dft(plan, y, z)
        call check(all(abs(z - sum_of(y, sign)) < 100 * bound), "line: other arrays")
        call lyr_fft_destroy_plan(plan)
    end subroutine complex_line

    ! A Fortran array's first dimension is C's last.
    subroutine plane()
        complex(c_double_complex), target :: x(m, n), y(m, n), expected(m, n)
        type(c_ptr) :: plan
        integer :: j, k
        x = reshape(some([(j, j = 1, m * n)]), [m, n])
        plan = lyr_fft_plan_dft_2d(n, m, x, y, LYR_FFT_FORWARD, LYR_FFT_MEASURE)
        call lyr_fft_execute(plan)
        do k = 1, n
            expected(:, k) = sum_of(x(:, k), -1)
        end do
        do j = 1, m
            expected(j, :) = sum_of(expected(j, :), -1)
        end do
        call check(all(abs(y - expected) < bound), "plane")
        call lyr_fft_destroy_plan(plan)

        y = x
        plan = lyr_fft_plan_dft(2, [n, m], y, y, LYR_FFT_FORWARD, 0)
        call lyr_fft_execute(plan)
        call check(all(abs(y - expected) < bound), "plane in place")
        call lyr_fft_destroy_plan(plan)
    end subroutine plane

    subroutine real_data()
        real(c_double), target :: x(n), back(n)
        complex(c_double_complex), target :: y(n / 2 + 1), expected(n)
        type(c_ptr) :: forward, backward
        integer :: j
        x = real(some([(j, j = 1, n)]))
        forward = lyr_fft_plan_dft_r2c_1d(n, x, y, 0)
        backward = lyr_fft_plan_dft_c2r_1d(n, y, back, 0)
        expected = sum_of(cmplx(x, kind=c_double_complex), -1)
        call lyr_fft_execute_dft_r2c(forward, x, y)
        call check(all(abs(y - expected(:n / 2 + 1)) < bound), "real to complex")
        call lyr_fft_execute_dft_c2r(backward, y, back)
        call check(all(abs(back / n - x) < bound), "complex to real")
        call lyr_fft_destroy_plan(forward)
        call lyr_fft_destroy_plan(backward)
    end subroutine real_data

    subroutine cosine()
        real(c_double), target :: x(0:n - 1), y(0:n - 1), expected(0:n - 1)
        type(c_ptr) :: plan
        integer :: j, k
        x = real(some([(j, j = 1, n)]))
        plan = lyr_fft_plan_r2r_1d(n, x, y, LYR_FFT_REDFT10, 0)
        call lyr_fft_execute_r2r(plan, x, y)
        do k = 0, n - 1
            expected(k) = 2 * sum([(x(j) * cos(pi * (j + 0.5_c_double) * k / n), j = 0, n - 1)])
        end do
        call check(all(abs(y - expected) < bound), "cosine")
        call lyr_fft_destroy_plan(plan)
    end subroutine cosine

    ! The rows of an array, and its columns within a larger one.
    subroutine batch()
        complex(c_double_complex), target :: x(m, n), y(m, n), larger(n, m + 1)
        type(c_ptr) :: plan
        integer :: j
        x = reshape(some([(j, j = 1, m * n)]), [m, n])
        plan = lyr_fft_plan_many_dft(1, [n], m, x, istride=m, idist=1, out=y, ostride=m, odist=1, &
            sign=LYR_FFT_FORWARD, flags=0)
        call lyr_fft_execute(plan)
        do j = 1, m
            call check(all(abs(y(j, :) - sum_of(x(j, :), -1)) < bound), "batch")
        end do
        call lyr_fft_destroy_plan(plan)

        plan = lyr_fft_plan_many_dft(1, [n], m, x, [n], m, 1, larger, [m + 1], 1, n, &
            LYR_FFT_BACKWARD, 0)
        call lyr_fft_execute(plan)
        do j = 1, m
            call check(all(abs(larger(:, j) - sum_of(x(j, :), 1)) < bound), "batch, transposed")
        end do
        call lyr_fft_destroy_plan(plan)
    end subroutine batch

    subroutine descriptors()
        complex(c_double_complex), target :: x(2, n), y(n), z(n)
        type(c_ptr) :: plan
        integer :: j
        x = reshape(some([(j, j = 1, 2 * n)]), [2, n])
        plan = lyr_fft_plan_guru_dft(1, [lyr_fft_iodim(n, 2, 1)], 0, [lyr_fft_iodim ::], x, y, -1, 0)
        call lyr_fft_execute(plan)
        call check(all(abs(y - sum_of(x(1, :), -1)) < bound), "descriptors")
        call lyr_fft_destroy_plan(plan)
        plan = lyr_fft_plan_guru64_dft(1, [lyr_fft_iodim64(n, 2, 1)], 0, [lyr_fft_iodim64 ::], x, &
            z, -1, 0)
        call lyr_fft_execute(plan)
        call check(all(y == z), "64-bit descriptors")
        call lyr_fft_destroy_plan(plan)
    end subroutine descriptors

    subroutine split()
        real(c_double), target :: re(n), im(n), re_out(n), im_out(n)
        complex(c_double_complex) :: x(n), y(n)
        type(c_ptr) :: plan
        integer :: j
        x = some([(j, j = 1, n)])
        re = real(x)
        im = aimag(x)
        plan = lyr_fft_plan_guru_split_dft(1, [lyr_fft_iodim(n, 1, 1)], 0, [lyr_fft_iodim ::], re, &
            im, re_out, im_out, 0)
        call lyr_fft_execute_split_dft(plan, re, im, re_out, im_out)
        y = sum_of(x, -1)
        call check(all(abs(re_out - real(y)) + abs(im_out - aimag(y)) < bound), "split")
        call lyr_fft_destroy_plan(plan)
    end subroutine split

    ! The other library, whose numbers are shorter.
    subroutine single_precision()
        type(c_ptr) :: plan
        complex(c_float_complex), target :: x(n), y(n)
        real(c_float), target :: half(n)
        integer :: j
        x = [(cmplx(some(j), kind=c_float_complex), j = 0, n - 1)]
        plan = lyr_fftf_plan_dft_1d(n, x, y, LYR_FFT_FORWARD, LYR_FFT_ESTIMATE)
        call check(c_associated(plan), "plan in single precision")
        call lyr_fftf_execute(plan)
        call lyr_fftf_destroy_plan(plan)
        call check(maxval(abs(y - sum_of(cmplx(x, kind=c_double_complex), LYR_FFT_FORWARD))) < &
            1e-5 * n, "single precision")
        plan = lyr_fftf_plan_r2r_1d(n, half, half, LYR_FFT_R2HC, LYR_FFT_ESTIMATE)
        half = 1
        call lyr_fftf_execute_r2r(plan, half, half)
        call lyr_fftf_destroy_plan(plan)
        call check(abs(half(1) - n) < 1e-4 .and. maxval(abs(half(2:))) < 1e-4, "constant numbers")
    end subroutine single_precision

    subroutine memory()
        type(c_ptr) :: block
        real(c_double), pointer :: x(:)
        block = lyr_fft_malloc(int(8 * n, c_size_t))
        call c_f_pointer(block, x, [n])
        call check(all(x == 0), "memory")
        call lyr_fft_free(block)
        call lyr_fft_free(c_null_ptr)
    end subroutine memory

    subroutine refusals_and_versions()
        complex(c_double_complex), target :: x(1)
        type(LFFTVersionRecord) :: record
        type(c_ptr) :: plan
        interface
            function version_text() bind(c, name="version_text")
                import
                type(c_ptr) :: version_text
            end function version_text
        end interface
        character(kind=c_char), pointer :: text(:)
        integer :: j
        call lyr_fft_plan_with_nthreads(2)
        call check(lyr_fft_init_threads() == 1, "threads")
        call lyr_fft_plan_with_nthreads(1)
        call lyr_fft_cleanup_threads()
        plan = lyr_fft_plan_dft_1d(0, x, x, LYR_FFT_FORWARD, 0)
        call check(.not. c_associated(plan), "length 0")
        call lyr_fft_destroy_plan(plan)
        call check(LFFTGetVersion(record) == 1, "version record")
        call check(all(record%library_version(:6) == ["2", ".", "2", ".", "0", c_null_char]), &
            "version in the record")
        call check(LYR_FFT_VERSION_NUMBER == 20200, "version number")
        call c_f_pointer(version_text(), text, [len(LYR_FFT_VERSION) + 1])
        do j = 1, len(LYR_FFT_VERSION)
            call check(text(j) == LYR_FFT_VERSION(j:j), "version")
        end do
        call check(text(size(text)) == c_null_char, "length of the version")
    end subroutine refusals_and_versions

end program module_test
